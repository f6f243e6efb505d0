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

bool Holds(SignatureList list, std::int32_t value) {
    return std::ranges::find(list, value) != list.end();
}

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

TEST(SignatureLists, AscendBetweenOneAndTheGreatestNumber) {
    for (const auto& [name, values] : kLists) {
        EXPECT_GT(values.front(), 0) << name;
        const auto disorder = std::ranges::adjacent_find(
            values, [](auto before, auto after) { return before >= after; });
        EXPECT_EQ(disorder, values.end()) << name;
    }
}

TEST(SignatureLists, ShareNoHash) {
    EXPECT_EQ(Shared(kParasiteHashes, kGoodHashes), 0U);
}

TEST(SignatureLists, HoldTheKnownRows) {
    const struct {
        const char* label;
        std::vector<SignatureList> lists;
        std::vector<std::int32_t> values;
    } rows[] = {
        {"parasite sizes",
         {kParasiteSizes},
         {2048, 2560, 2645, 4096, 5632, 6144, 7985, 8025, 616448, 635392, 637440, 668160}},
        {"parasite hashes",
         {kParasiteHashes},
         {522891, 4116460, 12649235, 13084053, 2104844698, 2107839065, 2109057513, 2144776197}},
        {"good sizes",
         {kGoodSizes},
         {3584, 4096, 4608, 5120, 5632, 6144, 6656, 9328, 4657152, 6369280, 12598440, 13244072}},
        {"good hashes",
         {kGoodHashes},
         {228221, 1612267, 4108130, 5485141, 2144446872, 2146021194, 2147186337, 2147483647}},
        {"sizes of both kinds",
         {kParasiteSizes, kGoodSizes},
         {4096,  5632,  6144,  6656,  8704,  9728,  10752, 11264, 13312, 13824,
          16384, 16896, 17920, 18432, 18944, 20992, 23552, 24576, 25600, 27648}},
    };
    for (const auto& row : rows) {
        for (const std::int32_t value : row.values) {
            for (const SignatureList list : row.lists) {
                EXPECT_TRUE(Holds(list, value)) << row.label << ' ' << value;
            }
        }
    }
}

}  // namespace
}  // namespace bkfd
