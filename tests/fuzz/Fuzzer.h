#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/Text.h"

/// One fuzz target: libFuzzer's entry point and the inputs to start from. It aborts on a broken
/// promise. Link it with FuzzDriver.cpp, or with clang's -fsanitize=fuzzer.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

std::vector<bkfd::Bytes> FuzzCorpus();
