#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "base/Text.h"

/// One fuzz target: libFuzzer's entry point and the inputs to start from. It aborts on a broken
/// promise. Link it with FuzzDriver.cpp, or with SeedWriter.cpp and clang's -fsanitize=fuzzer.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

std::vector<bkfd::Bytes> FuzzCorpus();

/// Ends the run if a promise doesn't hold.
inline void Require(bool holds, const char* promise) {
    if (holds) return;
    std::fprintf(stderr, "broken promise: %s\n", promise);
    std::abort();
}
