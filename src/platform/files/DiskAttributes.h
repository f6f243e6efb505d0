#pragma once

#include <optional>
#include <string>

#include "platform/Machine.h"

/// What the drivers of Windows' file systems, Samba and Wine tell of a file by extended attributes.
namespace bkfd {

/// `FileAttribute`: of ntfs-3g's "system.ntfs_attrib_be", or of "user.DOSATTRIB", which Samba and
/// Wine keep, or of the mode and the name. `path` is no link.
Result<std::uint32_t> ReadDosAttributes(const std::string& path);
/// Sets the read-only, hidden, system and archive attributes where the file keeps them; what it was
/// not asked for stays. The change lies on the disk.
Status WriteDosAttributes(const std::string& path, std::uint32_t attributes);
/// The short name that the NTFS driver tells ("system.ntfs_dos_name"); nothing where it tells none.
std::optional<Text> ReadShortName(const std::string& path);
/// Whether the file has that stream: ntfs-3g shows "a.txt:b" as the attribute "user.b" of a.txt.
bool KeepsStream(const std::string& path, TextView name);

}  // namespace bkfd
