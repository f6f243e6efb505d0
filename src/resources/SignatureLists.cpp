#include "resources/SignatureLists.h"

namespace bkfd {
namespace {

constexpr std::int32_t kParasiteSizeValues[] = {
#include "resources/signatures/parasite_sizes.inc"
};
constexpr std::int32_t kParasiteHashValues[] = {
#include "resources/signatures/parasite_hashes.inc"
};
constexpr std::int32_t kGoodSizeValues[] = {
#include "resources/signatures/good_sizes.inc"
};
constexpr std::int32_t kGoodHashValues[] = {
#include "resources/signatures/good_hashes.inc"
};

}  // namespace

constinit const SignatureList kParasiteSizes = kParasiteSizeValues;
constinit const SignatureList kParasiteHashes = kParasiteHashValues;
constinit const SignatureList kGoodSizes = kGoodSizeValues;
constinit const SignatureList kGoodHashes = kGoodHashValues;

}  // namespace bkfd
