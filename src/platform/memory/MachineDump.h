#pragma once

#include <string>
#include <vector>

#include "platform/memory/FileRules.h"
#include "platform/memory/ModelProcesses.h"
#include "platform/memory/Volume.h"

/// Readable, sorted text of a modelled machine's parts: UTF-8, one item a line.
namespace bkfd {

/// "[HKEY_LOCAL_MACHINE\Software\X]" for a key that has values or nothing below it, then
/// "  name = "text"", "  name = dword:0000002a" or "  name = hex(3):01,02"; the default value is @.
std::string DumpRegistryTree(const RegistryTree& tree);
/// "C:\a\b.exe 12", with its attributes when they aren't just archive, "locked" and "unreadable".
std::string DumpVolumeEntries(const std::vector<VolumeEntry>& entries, const FileRules& rules);
/// "process 12 C:\a.exe" with "denied" and "self", then "  C:\module.dll" for each module.
std::string DumpProcessRecords(const std::vector<ProcessRecord>& records);

}  // namespace bkfd
