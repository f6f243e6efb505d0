#include "formats/Hive.h"
#include "formats/HiveLog.h"
#include "formats/HiveLogSamples.h"
#include "fuzz/Fuzzer.h"

using namespace bkfd;

std::vector<Bytes> FuzzCorpus() {
    return {samples::OldLog(8, 1), samples::NewLog(7, {1, 2})};
}

/// Whatever a log says, its pages are its own bytes, lie within the image, and leave a hive.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Bytes kDirty = [] {
        Bytes file = samples::Version(0);
        samples::SetSequences(file, 8, 7);
        return file;
    }();
    const ByteView log(data, size);
    const HiveRecovery recovery = PlanHiveRecovery(kDirty, {&log, 1});
    for (const HivePage& page : recovery.pages) {
        const std::uint8_t* const end = page.bytes.data() + page.bytes.size();
        Require(page.bytes.data() >= data && end <= data + size, "a page is the log's own");
        Require(page.at + page.bytes.size() <= recovery.size, "a page lies in the image");
    }
    if (recovery.state != HiveState::Recovered || recovery.size > 1U << 24) return 0;
    Bytes image = kDirty;
    image.resize(recovery.size);
    ApplyHiveRecovery(recovery, image);
    const auto base = ReadHiveBaseBlock(image);
    Require(base && !base->IsDirty(), "a completed hive is clean");
    return 0;
}
