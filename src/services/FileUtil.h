#pragma once

#include "base/Text.h"

namespace bkfd::FileUtil {

/// Makes the folder, whose parent must exist. A folder that exists already is no failure; any other
/// failure is a RuntimeError PathFileAccess.
void CreateFolder(const Text& path);
/// True when a file of that name exists; a folder is none.
bool FileExists(const Text& path);
bool FolderExists(const Text& path);
/// Replaces the file's content; each character becomes one byte, its upper half dropped. A crash
/// leaves the old content or the new. A failure is a RuntimeError PathFileAccess, and the old
/// content stays.
void WriteTextFile(const Text& path, TextView text);
/// The whole file, one character a byte. An absent file gives the empty text; a file that can't be
/// read is a RuntimeError PathFileAccess.
Text ReadTextFile(const Text& path);
/// The whole file. A file that is missing (FileNotFound) or can't be read (PathFileAccess) is a
/// RuntimeError.
Bytes ReadBinaryFile(const Text& path);

}  // namespace bkfd::FileUtil
