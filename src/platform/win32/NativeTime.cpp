#include "platform/win32/NativeTime.h"

#include <windows.h>

namespace bkfd {

Date ToDate(const SYSTEMTIME& time) {
    CivilTime civil;
    civil.year = time.wYear;
    civil.month = time.wMonth;
    civil.day = time.wDay;
    civil.hour = time.wHour;
    civil.minute = time.wMinute;
    civil.second = time.wSecond;
    civil.millisecond = time.wMilliseconds;
    return ToDate(civil);
}

Date ToLocalDate(const FILETIME& time) {
    FILETIME local = {};
    SYSTEMTIME fields = {};
    if (::FileTimeToLocalFileTime(&time, &local) == 0) return 0;
    if (::FileTimeToSystemTime(&local, &fields) == 0) return 0;
    return ToDate(fields);
}

}  // namespace bkfd
