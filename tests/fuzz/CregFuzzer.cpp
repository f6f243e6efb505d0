#include "formats/Creg.h"
#include "formats/CregSample.h"
#include "formats/RegistryDump.h"
#include "fuzz/Fuzzer.h"

using namespace bkfd;

std::vector<Bytes> FuzzCorpus() {
    return {samples::CregFile()};
}

/// No key is told twice, and no value without its own bytes.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    RegistryDump dump;
    WalkCreg({data, size}, FromUtf8, dump);
    Require(dump.keys <= size && dump.values <= size / 12, "the file's size bounds what is told");
    return 0;
}
