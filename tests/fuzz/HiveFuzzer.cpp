#include "formats/HiveChecker.h"
#include "formats/HiveSamples.h"
#include "formats/RegistryDump.h"
#include "fuzz/Fuzzer.h"

using namespace bkfd;

std::vector<Bytes> FuzzCorpus() {
    return {HiveMaker(samples::SmallRoot()).File(), HiveMaker(samples::SmallRoot(), 3).File()};
}

/// What is told is bounded by the file's size, and what the checker finds right can be read whole.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const ByteView file(data, size);
    const RegistryDump dump = DumpHive(file);
    Require(dump.keys <= size / hive::kKeySize + 2, "the hive has room for the keys told");
    Require(dump.values <= size / hive::kValueSize + 2, "and for the values");
    Require(!CheckHive(file).empty() || dump.unreadable == 0, "what is right can be read");
    return 0;
}
