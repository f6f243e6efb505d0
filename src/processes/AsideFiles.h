#pragma once

#include "base/Text.h"

namespace bkfd {

/// The name to which a file goes while another one takes its place: beside it, of the program's
/// own. A file that was replaced is deleted only when the other one is there. After a crash in
/// between, what it left finds its way back with the next move to or from its name.
Text AsideName(const Text& path, int number);

/// The last of the files that are aside of `path`, empty if there are none.
Text LastAside(const Text& path);
/// A name under which nothing lies yet.
Text FreeAsideName(const Text& path);

/// Whether the disabled file of `path` is there, be it aside.
bool HasDisabledFile(const Text& path);

}  // namespace bkfd
