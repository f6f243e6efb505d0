#pragma once

#include "platform/Machine.h"

namespace bkfd {

/// The name under which this program finds the file that a program of the view gets by a name of
/// its registry. 32-bit programs on a 64-bit Windows are given the files of SysWOW64 under names in
/// system32, those of system32 under names in "sysnative", and program folders of their own by
/// %ProgramFiles%. Other names, and all of the native view, stay as they are.
Text NameInView(RegistryView view, const Text& fileName);

}  // namespace bkfd
