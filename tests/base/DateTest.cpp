#include "base/Date.h"

#include <gtest/gtest.h>

#include <ctime>

namespace bkfd {
namespace {

TEST(Date, KnownValues) {
    const struct {
        const char* label;
        CivilTime civil;
        Date date;
    } cases[] = {
        {"noon of day 0", {1899, 12, 30, 12, 0, 0, 0}, 0.5},
        {"the day before: the fraction counts forwards", {1899, 12, 29, 12, 0, 0, 0}, -1.5},
        {"two days before, in the evening", {1899, 12, 28, 18, 0, 0, 0}, -2.75},
        {"the first year of the calendar", {100, 1, 1, 0, 0, 0, 0}, -657434.0},
        {"the last day of the calendar", {9999, 12, 31, 0, 0, 0, 0}, 2958465.0},
        {"a moment of a day", {2026, 11, 16, 9, 39, 4, 0}, 46342 + 34744 / 86400.0},
    };
    for (const auto& c : cases) {
        EXPECT_DOUBLE_EQ(ToDate(c.civil), c.date) << c.label;
        EXPECT_EQ(ToCivil(c.date), c.civil) << c.label;
    }
    EXPECT_EQ(ToCivil(-0.25), ToCivil(0.25)) << "day 0 has two spellings";
}

TEST(Date, TheSystemsCalendarAgreesOnEveryDayOfFourCenturies) {
    constexpr std::int64_t kDayOf1970 = 25569;
    for (std::int64_t day = -109'205; day < 37'000; ++day) {  // from 1601
        const std::time_t seconds = (day - kDayOf1970) * 86400;
        std::tm expected{};
        gmtime_r(&seconds, &expected);
        const CivilTime midnight{
            expected.tm_year + 1900, expected.tm_mon + 1, expected.tm_mday, 0, 0, 0, 0};
        const auto date = static_cast<Date>(day);
        ASSERT_EQ(ToCivil(date), midnight) << day;
        ASSERT_EQ(ToDate(midnight), date) << day;
    }
}

TEST(Date, RoundsAndRunsOver) {
    const Date almostMidnight = 45000 + 86399.9996 / 86400;
    EXPECT_EQ(FormatDate(almostMidnight), FormatDate(45001));
    EXPECT_EQ(FormatDate(ToDate({2023, 12, 31, 23, 59, 60, 0})), u"2024-01-01 00:00:00");
    // Across day 0, where the fraction changes its direction.
    EXPECT_EQ(FormatDate(AddSeconds(ToDate({1899, 12, 30, 0, 0, 1, 0}), -2)),
              u"1899-12-29 23:59:59");
    EXPECT_EQ(FormatDate(AddSeconds(ToDate({1899, 12, 29, 23, 59, 59, 0}), 2)),
              u"1899-12-30 00:00:01");
    EXPECT_EQ(FormatDate(AddSeconds(ToDate({2024, 3, 1}), -86400)), u"2024-02-29 00:00:00");
}

TEST(Date, Parse) {
    const struct {
        const char* label;
        TextView text;
        bool isDate;
    } cases[] = {
        {"as formatted", u"2026-11-16 09:39:04", true},
        {"with T", u"2026-11-16T09:39:04", true},
        {"before day 0", u"1601-01-01 23:00:01", true},
        {"leap day", u"2024-02-29 00:00:00", true},
        {"no leap day", u"1900-02-29 00:00:00", false},
        {"month 13", u"2026-13-01 00:00:00", false},
        {"month 0", u"2026-00-10 00:00:00", false},
        {"hour 24", u"2026-11-16 24:00:00", false},
        {"second 60", u"2026-11-16 09:39:60", false},
        {"another separator", u"2026/11/16 09:39:04", false},
        {"T in another place", u"2026T11-16 09:39:04", false},
        {"no digit", u"2026-11-16 09:39:0a", false},
        {"too short", u"2026-11-16 09:39:0", false},
        {"too long", u"2026-11-16 09:39:041", false},
        {"empty", u"", false},
    };
    for (const auto& c : cases) {
        Date date = 7;
        EXPECT_EQ(ParseDate(c.text, date), c.isDate) << c.label;
        Text expected = c.isDate ? Text(c.text) : FormatDate(7);
        expected[10] = u' ';
        EXPECT_EQ(FormatDate(date), expected) << c.label;
    }
}

}  // namespace
}  // namespace bkfd
