#pragma once

#include <string>

#include "platform/model/ModelMachine.h"

/// Readable, sorted text of a modelled machine or of a part of it, for people and assertions:
/// UTF-8, one item a line.
namespace bkfd {

/// "[HKEY_LOCAL_MACHINE\Software\X]" for a key that has values or nothing below it, then
/// "  name = "text"", "  name = dword:0000002a" or "  name = hex(3):01,02"; the default value is @.
std::string DumpRegistry(const ModelMachine& machine);
/// "C:\a\b.exe 12", with its attributes when they aren't just archive, "locked" and "unreadable"; a
/// folder only where nothing below it stands for it.
std::string DumpFiles(const ModelMachine& machine);
/// "process 12 C:\a.exe" with "denied" and "self", then "  C:\module.dll" for each module.
std::string DumpProcesses(const ModelMachine& machine);
/// All three.
std::string Dump(const ModelMachine& machine);

}  // namespace bkfd
