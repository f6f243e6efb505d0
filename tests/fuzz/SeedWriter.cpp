// For libFuzzer, which knows no corpus but folders: with BKFD_FUZZ_SEEDS set to a folder, a target
// writes its first inputs there and ends.

#include <cstdlib>
#include <fstream>
#include <string>

#include "fuzz/Fuzzer.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    const char* folder = std::getenv("BKFD_FUZZ_SEEDS");
    if (folder == nullptr) return 0;
    int number = 0;
    for (const bkfd::Bytes& input : FuzzCorpus()) {
        std::ofstream file(std::string(folder) + "/seed-" + std::to_string(++number));
        file.write(reinterpret_cast<const char*>(input.data()),
                   static_cast<std::streamsize>(input.size()));
        if (!file.flush()) std::exit(1);
    }
    std::exit(0);
}
