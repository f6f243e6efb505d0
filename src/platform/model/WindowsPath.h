#pragma once

#include "platform/Machine.h"

/// Paths as Windows reads them, on any system.
namespace bkfd::WindowsPath {

/// The absolute path ("C:\a\b.exe") of a path as a caller gives it: it ends at its first NUL, is
/// relative to `currentFolder`, may hold slashes, "." and "..", and blanks and points at its end,
/// which don't count. "\\?\C:\..." is taken as it is and may have 32,767 characters; other paths
/// are `PathNotFound` from 260 characters on. A character that no name can hold is `InvalidName`,
/// but "*" and "?" in the last component are left to the caller. A drive's root keeps its
/// backslash.
Result<Text> Full(TextView path, TextView currentFolder);

/// "C:\a" of "C:\a\b.exe"; "C:\" of "C:\a"; empty for a root.
TextView Parent(TextView fullPath);
/// "b.exe" of "C:\a\b.exe"; empty for a root.
TextView Name(TextView fullPath);
/// The folder and a name in it.
Text Join(TextView folder, TextView name);
/// The position of the colon that separates a stream's name from its file's, or npos.
std::size_t StreamColon(TextView fullPath);
bool HasWildcards(TextView name);
/// * and ? as directory searches read them; "*.*" is everything.
bool MatchesWildcards(TextView name, TextView pattern);
/// Whether a name is one that MS-DOS could have given: up to eight characters, a point and three.
bool IsShortName(TextView name);
/// The path as a process list may give it ("\??\C:\a", "\SystemRoot\a") as a plain lower-case path.
Text FoldReported(TextView path, TextView windowsFolder);

}  // namespace bkfd::WindowsPath
