#include <cstdlib>

#include "common/MemorySource.h"
#include "formats/VersionSamples.h"
#include "fuzz/Fuzzer.h"

using namespace bkfd;

std::vector<Bytes> FuzzCorpus() {
    std::vector<Bytes> corpus;
    for (auto& sample : samples::VersionSamples()) corpus.push_back(std::move(sample.file));
    return corpus;
}

/// A record has 64 KiB at most, and each of its characters stands in one field at most.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    MemorySource source({data, data + size});
    const VersionStrings strings = ReadVersionStrings(source, FromUtf8);
    std::size_t characters = 0;
    for (const auto& [name, value] : strings) characters += name.size() + value.size();
    if (characters > 0x10000 || source.BytesRead() > 0x80000) std::abort();
    return 0;
}
