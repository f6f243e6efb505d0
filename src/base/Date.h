#pragma once

#include <cstdint>

#include "base/Text.h"

namespace bkfd {

/// A local date and time as Windows automation holds it: days since 30 December 1899, the time of
/// day as the fraction. Before that day the fraction still counts forwards from midnight.
using Date = double;

struct CivilTime {
    int year = 1899;
    int month = 12;  // 1 to 12
    int day = 30;    // 1 to 31
    int hour = 0;
    int minute = 0;
    int second = 0;
    int millisecond = 0;

    bool operator==(const CivilTime&) const = default;
};

/// The fields aren't checked: a day or second out of range runs over into the next unit.
Date ToDate(const CivilTime& civil);
/// Rounded to the nearest millisecond.
CivilTime ToCivil(Date date);
/// The date `seconds` later, with the fraction recomputed to whole milliseconds.
Date AddSeconds(Date date, std::int64_t seconds);

/// "2026-11-16 09:39:04": the same in every locale, so that logs can be compared.
Text FormatDate(Date date);
/// The inverse of `FormatDate`, also with a "T" in the middle; false if the text is no such date.
bool ParseDate(TextView text, Date& date);

}  // namespace bkfd
