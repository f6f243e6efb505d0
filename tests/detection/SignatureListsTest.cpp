#include "resources/SignatureLists.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <sstream>
#include <vector>

namespace bkfd {
namespace {

struct NamedList {
    const char* name;
    SignatureList values;
};
const NamedList kLists[] = {{"parasite_sizes", kParasiteSizes},
                            {"parasite_hashes", kParasiteHashes},
                            {"good_sizes", kGoodSizes},
                            {"good_hashes", kGoodHashes}};

std::ptrdiff_t Multiples(SignatureList sizes) {
    return std::ranges::count_if(sizes, [](std::int32_t size) { return size % 512 == 0; });
}

std::size_t Shared(SignatureList a, SignatureList b) {
    std::vector<std::int32_t> shared;
    std::ranges::set_intersection(a, b, std::back_inserter(shared));
    return shared.size();
}

/// In the form that tools/add_signature.py keeps in signature_summary.txt.
std::string Summary() {
    std::ostringstream text;
    for (const auto& [name, values] : kLists) {
        text << name << ": " << values.size() << ',';
        for (const std::int32_t value : values.first(4)) text << ' ' << value;
        text << " ...";
        for (const std::int32_t value : values.last(4)) text << ' ' << value;
        text << '\n';
    }
    text << "parasite sizes that are multiples of 512: " << Multiples(kParasiteSizes) << '\n';
    text << "good sizes that are multiples of 512: " << Multiples(kGoodSizes) << '\n';
    text << "sizes in both lists: " << Shared(kParasiteSizes, kGoodSizes) << '\n';
    text << "hashes in both lists: " << Shared(kParasiteHashes, kGoodHashes) << '\n';
    return text.str();
}

TEST(SignatureLists, AreWhatTheirSummarySays) {
    std::ifstream file(BKFD_SOURCE_DIR "/tests/detection/signature_summary.txt");
    const std::string expected(std::istreambuf_iterator<char>(file), {});
    EXPECT_EQ(Summary(), expected);
}

}  // namespace
}  // namespace bkfd
