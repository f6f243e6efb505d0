#include <gtest/gtest.h>
#include <windows.h>

#include <string>

#include "common/CodePageDigests.h"

namespace bkfd {
namespace {

/// The system holds what the machine images are held against.
TEST(CodePages, AreThoseOfTheSystem) {
    for (const auto& row : kCodePageDigests) {
        const std::uint32_t digest = DigestOfCodePage([&](char16_t unit) {
            const auto character = static_cast<wchar_t>(unit);
            char room[8];
            const int count = WideCharToMultiByte(row.page, 0, &character, 1, room, sizeof room,
                                                  nullptr, nullptr);
            return std::string(room, static_cast<std::size_t>(count));
        });
        EXPECT_EQ(digest, row.digest) << row.page;
    }
}

}  // namespace
}  // namespace bkfd
