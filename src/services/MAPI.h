#pragma once

#include "base/Date.h"
#include "services/KeyedList.h"
#include "ui/Toolkit.h"

namespace bkfd {

/// The full name of the hosts file.
Text GetHostsFilePath();
/// When Windows started, to the second. The tick count counts as signed: beyond 2147483647 ms of
/// uptime the result lies in the future.
Date GetBootTime();
/// Shows a message with the default pointer and puts the pointer back afterwards. An empty title is
/// the program's.
MessageResult ShowMessage(const Text& prompt, int style, const Text& title = {});
/// True when the top bit of `GetVersion`'s result is clear.
bool IsWindowsNT();
/// True on the NT family when the major version is exactly 4.
bool IsWindowsNT4();
/// The 8 bytes of the date's value, encoded by `SysUtil::BytesToText`.
Text DateToText(Date date);
/// The inverse. Text that isn't valid, or holds fewer than 8 bytes, is a RuntimeError.
Date TextToDate(TextView text);
/// Sorts the items as texts, ignoring case. Keys are gone afterwards.
void SortKeyedList(KeyedList& list);

}  // namespace bkfd
