// What platform and windows stand on: owned handles, texts of calls, the look-up of calls.
#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "win32/DynamicCall.h"
#include "win32/NativeText.h"
#include "win32/Owned.h"

namespace bkfd {
namespace {

std::vector<int> closed;

struct NumberTraits {
    using Type = int;
    static int Invalid() { return -1; }
    static void Close(int number) { closed.push_back(number); }
};

TEST(Owned, ClosesEachResourceOnce) {
    closed.clear();
    {
        Owned<NumberTraits> first(1);
        Owned<NumberTraits> moved(std::move(first));
        EXPECT_FALSE(first.IsThere());
        moved = Owned<NumberTraits>(2);
        EXPECT_EQ(closed, std::vector<int>{1}) << "the one that is replaced goes at once";
        Owned<NumberTraits> given(3);
        EXPECT_EQ(given.Release(), 3);
        const Owned<NumberTraits> zero(0);
        EXPECT_TRUE(zero.IsThere()) << "each kind has its own value for none";
        const Owned<NumberTraits> none;
    }
    EXPECT_EQ(closed, (std::vector<int>{1, 0, 2}));
}

TEST(NativeText, HidesNothingBehindANul) {
    const NativeText text(TextView(u"a\0b", 3));
    EXPECT_EQ(TextView(u"a\uFFFDb"), FromWide(text.Wide(), 3));
    EXPECT_EQ(text.Size(), HasWideCalls() ? 8u : 4u);
}

TEST(ReadText, AsksAgainForTextsThatDontFit) {
    for (const std::size_t length : {0u, 511u, 512u, 5000u}) {
        const auto fill = [length](auto* buffer, unsigned long size) {
            if (length >= size) return length + 1;
            std::fill_n(buffer, length, 'x');
            return length;
        };
        EXPECT_EQ(ReadText(fill, fill), Text(length, u'x')) << length;
    }
}

TEST(DynamicCall, ComesFromTheSystemFolderOrNotAtAll) {
    const struct {
        const char* library;
        const char* name;
        bool isThere;
    } rows[] = {
        {"kernel32.dll", "GetVersion", true},
        {"psapi.dll", "EnumProcesses", true},
        {"kernel32.dll", "NoSuchCall", false},
        {"nosuch.dll", "GetVersion", false},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(FindProcedure(row.library, row.name) != nullptr, row.isThere)
            << row.library << " " << row.name;
    }
}

}  // namespace
}  // namespace bkfd
