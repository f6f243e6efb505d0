#pragma once

#include "base/Date.h"

struct _SYSTEMTIME;
struct _FILETIME;

namespace bkfd {

Date ToDate(const _SYSTEMTIME& time);
/// In local time; 0 for a time that the system can't convert.
Date ToLocalDate(const _FILETIME& time);

}  // namespace bkfd
