#pragma once

#include <cstdint>
#include <span>

namespace bkfd {

/// A list of what is known of particular builds of files: sizes in bytes or content hashes,
/// ascending, none twice. A size and a hash work as a pair, but the lists of a pair aren't
/// parallel. The data is that of signatures/*.txt.
using SignatureList = std::span<const std::int32_t>;

extern const SignatureList kParasiteSizes;
extern const SignatureList kParasiteHashes;
// Good files that carry no company name.
extern const SignatureList kGoodSizes;
extern const SignatureList kGoodHashes;

}  // namespace bkfd
