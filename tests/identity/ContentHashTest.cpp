#include <gtest/gtest.h>

#include <functional>
#include <random>

#include "common/DetectionFixture.h"

namespace bkfd {
namespace {

TEST(ContentHash, HasItsWorkedValues) {
    const struct {
        const char* label;
        Bytes bytes;
        std::int32_t hash;
    } rows[] = {
        {"no bytes", {}, 0},
        {"one byte", {0x4D}, 77},
        {"an odd hash is turned to the top", {0x4D, 0x5A}, 1073741952},
        {"four bytes", {0x4D, 0x5A, 0x90, 0x00}, 268435560},
        {"all ones in a byte", {0xFF}, 255},
        {"one", {0x01}, 1},
        {"a zero turns it", {0x01, 0x00}, 1073741824},
        {"abc", {0x61, 0x62, 0x63}, 536871084},
        {"zeros count only behind something", Bytes(5), 0},
        {"saturated in the middle of a long file", Bytes(4000, 0xFF), 2147483647},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        EXPECT_EQ(ContentHash(row.bytes), row.hash);
        EXPECT_EQ(ContentHashByteLoop(row.bytes), row.hash);
    }
}

TEST(ContentHash, SkipsEveryByteBehindThirtyOneOfAllOnes) {
    EXPECT_NE(ContentHash(Bytes(30, 0xFF)), 2147483647);
    Bytes file(31, 0xFF);
    EXPECT_EQ(ContentHash(file), 2147483647);
    file.resize(1000, 0x12);
    EXPECT_EQ(ContentHash(file), 2147483647);
}

TEST(ContentHash, AgreesWithTheByteLoop) {
    std::mt19937 random(1);
    const auto number = [&random](std::uint32_t below) {
        return static_cast<std::uint32_t>(random() % below);
    };
    const auto byte = [&] { return static_cast<std::uint8_t>(number(256)); };
    const struct {
        const char* label;
        std::function<std::uint8_t()> next;
    } rows[] = {
        {"random", byte},
        {"sparse", [&] { return static_cast<std::uint8_t>(number(20) == 0 ? byte() : 0); }},
        {"all FF", [] { return std::uint8_t{0xFF}; }},
        {"mostly FF", [&] { return static_cast<std::uint8_t>(number(30) == 0 ? byte() : 0xFF); }},
        {"00 or FF", [&] { return static_cast<std::uint8_t>(number(2) == 0 ? 0 : 0xFF); }},
        {"text", [&] { return static_cast<std::uint8_t>('a' + number(26)); }},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        for (int repeat = 0; repeat < 20; ++repeat) {
            Bytes buffer(64 + 300);
            for (auto& it : buffer) it = row.next();
            for (std::size_t start = 0; start < 64; start += 1 + number(5)) {
                const auto file = std::span(buffer).subspan(start, number(301));
                ASSERT_EQ(ContentHash(file), ContentHashByteLoop(file)) << file.size();
            }
        }
    }
}

TEST(ContentHash, AgreesWithTheByteLoopCloseToOverflow) {
    std::mt19937 random(2);
    for (int repeat = 0; repeat < 20000; ++repeat) {
        // A hash whose upper bits are ones but for at most one, at each place within a block.
        std::uint32_t hash = 0x7FFFFFFFU << (random() % 26);
        if (random() % 2 == 0) hash ^= 1U << (random() % 31);
        hash = (hash | (random() & 0xFF)) & 0x7FFFFFFF;
        Bytes file = Steered({}, 31 + random() % 64, static_cast<std::int32_t>(hash));
        ASSERT_EQ(ContentHashByteLoop(file), static_cast<std::int32_t>(hash));
        const std::size_t rest = random() % 130;
        const auto top = static_cast<std::uint32_t>(1 + random() % 256);
        for (std::size_t i = 0; i < rest; ++i) {
            file.push_back(static_cast<std::uint8_t>(255 - random() % top));
        }
        ASSERT_EQ(ContentHash(file), ContentHashByteLoop(file)) << hash << ' ' << rest;
    }
}

}  // namespace
}  // namespace bkfd
