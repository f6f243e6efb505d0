#include "base/Date.h"

#include <cmath>

namespace bkfd {
namespace {

constexpr std::int64_t kMillisecondsADay = 86'400'000;

/// Days from 30 December 1899 of a proleptic Gregorian date.
std::int64_t DayNumber(std::int64_t year, int month, int day) {
    year -= month <= 2;
    const std::int64_t era = (year >= 0 ? year : year - 399) / 400;
    const std::int64_t yearOfEra = year - era * 400;
    const std::int64_t dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    const std::int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * 146'097 + dayOfEra - 693'899;
}

/// Milliseconds since 30 December 1899 on a straight time line.
std::int64_t ToMilliseconds(Date date) {
    const double days = std::trunc(date);
    const double fraction = std::fabs(date - days);
    return static_cast<std::int64_t>(days) * kMillisecondsADay +
           std::llround(fraction * static_cast<double>(kMillisecondsADay));
}

Date FromMilliseconds(std::int64_t milliseconds) {
    std::int64_t days = milliseconds / kMillisecondsADay;
    std::int64_t rest = milliseconds % kMillisecondsADay;
    if (rest < 0) {
        rest += kMillisecondsADay;
        --days;
    }
    const double fraction = static_cast<double>(rest) / static_cast<double>(kMillisecondsADay);
    return static_cast<double>(days) + (days < 0 ? -fraction : fraction);
}

void AppendPadded(Text& out, int number, std::size_t width) {
    const Text digits = ToText(number);
    if (digits.size() < width) out.append(width - digits.size(), u'0');
    out += digits;
}

}  // namespace

Date ToDate(const CivilTime& civil) {
    const std::int64_t seconds = (civil.hour * 60LL + civil.minute) * 60 + civil.second;
    return FromMilliseconds(DayNumber(civil.year, civil.month, civil.day) * kMillisecondsADay +
                            seconds * 1000 + civil.millisecond);
}

CivilTime ToCivil(Date date) {
    const std::int64_t milliseconds = ToMilliseconds(date);
    std::int64_t days = milliseconds / kMillisecondsADay;
    std::int64_t rest = milliseconds % kMillisecondsADay;
    if (rest < 0) {
        rest += kMillisecondsADay;
        --days;
    }
    const std::int64_t shifted = days + 693'899;
    const std::int64_t era = (shifted >= 0 ? shifted : shifted - 146'096) / 146'097;
    const std::int64_t dayOfEra = shifted - era * 146'097;
    const std::int64_t yearOfEra =
        (dayOfEra - dayOfEra / 1460 + dayOfEra / 36'524 - dayOfEra / 146'096) / 365;
    const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const std::int64_t shiftedMonth = (5 * dayOfYear + 2) / 153;

    CivilTime civil;
    civil.day = static_cast<int>(dayOfYear - (153 * shiftedMonth + 2) / 5 + 1);
    civil.month = static_cast<int>(shiftedMonth < 10 ? shiftedMonth + 3 : shiftedMonth - 9);
    civil.year = static_cast<int>(yearOfEra + era * 400 + (civil.month <= 2 ? 1 : 0));
    civil.hour = static_cast<int>(rest / 3'600'000);
    civil.minute = static_cast<int>(rest / 60'000 % 60);
    civil.second = static_cast<int>(rest / 1000 % 60);
    civil.millisecond = static_cast<int>(rest % 1000);
    return civil;
}

Date AddSeconds(Date date, std::int64_t seconds) {
    return FromMilliseconds(ToMilliseconds(date) + seconds * 1000);
}

Text FormatDate(Date date) {
    const CivilTime civil = ToCivil(date);
    Text out;
    AppendPadded(out, civil.year, 4);
    AppendPadded(out += u'-', civil.month, 2);
    AppendPadded(out += u'-', civil.day, 2);
    AppendPadded(out += u' ', civil.hour, 2);
    AppendPadded(out += u':', civil.minute, 2);
    AppendPadded(out += u':', civil.second, 2);
    return out;
}

bool ParseDate(TextView text, Date& date) {
    constexpr TextView kPattern = u"0000-00-00 00:00:00";
    if (text.size() != kPattern.size()) return false;
    int fields[6] = {};
    std::size_t field = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (kPattern[i] != u'0') {
            if (text[i] != kPattern[i] && !(kPattern[i] == u' ' && text[i] == u'T')) return false;
            ++field;
        } else if (text[i] < u'0' || text[i] > u'9') {
            return false;
        } else {
            fields[field] = fields[field] * 10 + (text[i] - u'0');
        }
    }
    const CivilTime civil{fields[0], fields[1], fields[2], fields[3], fields[4], fields[5], 0};
    const Date parsed = ToDate(civil);
    if (ToCivil(parsed) != civil) return false;
    date = parsed;
    return true;
}

}  // namespace bkfd
