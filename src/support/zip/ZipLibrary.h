#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>

#include "base/Text.h"

/// The zip library behind `mZip`: four calls with fixed records, as programs of the time know
/// them.
///
/// Texts cross this boundary in 8-bit form, UTF-8 with lone surrogates kept. In the records they
/// are 4-byte references, on every architecture, so that the records keep their sizes.
namespace bkfd {

/// A reference to a text that `ZpText` stored, 0 for none.
using ZpTextRef = std::uint32_t;

/// Stores a text until the next `ZpInit`; the reference goes into a record.
ZpTextRef ZpText(std::string text);

/// 32 slots of 4 bytes. Slots that aren't named stay 0.
struct ZpOptionRecord {
    std::array<std::uint32_t, 32> slots{};
};
static_assert(sizeof(ZpOptionRecord) == 128);

namespace ZpSlot {
inline constexpr std::size_t BaseFolder = 1;  // a text reference
inline constexpr std::size_t Encrypt = 5;
inline constexpr std::size_t SystemAndHidden = 6;
inline constexpr std::size_t VolumeLabel = 7;
inline constexpr std::size_t NoDirectoryEntries = 9;
inline constexpr std::size_t Verbose = 12;
inline constexpr std::size_t Quiet = 13;
inline constexpr std::size_t CrLfToLf = 14;
inline constexpr std::size_t LfToCrLf = 15;
inline constexpr std::size_t NoFolderNames = 16;
inline constexpr std::size_t Append = 17;
inline constexpr std::size_t Delete = 20;
inline constexpr std::size_t Update = 21;   // replace entries whose file is newer, add missing ones
inline constexpr std::size_t Freshen = 22;  // replace entries whose file is newer, add none
inline constexpr std::size_t Recursion = 29;  // 0 none, 2 into subfolders
}  // namespace ZpSlot

/// 1024 text references: file names, with wildcards in the last part.
struct ZpListRecord {
    std::array<ZpTextRef, 1024> names{};
};
static_assert(sizeof(ZpListRecord) == 4096);

/// What the library calls while it works; none may throw.
struct ZpCallbacks {
    /// A message and its length in bytes.
    void (*print)(const char* text, std::uint32_t length) = nullptr;
    /// Fills the buffer with a NUL-terminated password; non-zero, or an empty password, cancels.
    int (*password)(std::span<char> buffer, const char* prompt, const char* name) = nullptr;
    /// Fills the buffer with the archive's NUL-terminated comment.
    void (*comment)(std::span<char> buffer) = nullptr;
    /// Called after each entry with its name and size; non-zero cancels.
    int (*service)(const char* name, std::uint32_t size) = nullptr;
};

/// Results of `ZpArchive`, the library's usual numbers.
namespace ZpResult {
inline constexpr std::int32_t Ok = 0;
inline constexpr std::int32_t BadArchive = 3;  // the old archive can't be read
inline constexpr std::int32_t NoMemory = 4;
inline constexpr std::int32_t TooBig = 6;  // archive or entry would pass the format's limits
inline constexpr std::int32_t Cancelled = 9;
inline constexpr std::int32_t TempFailed = 10;  // the new archive can't be written
inline constexpr std::int32_t NothingToDo = 12;
inline constexpr std::int32_t CannotReplace = 15;  // it can't take the old one's place
inline constexpr std::int32_t OpenFailed = 18;     // a named file can't be read
}  // namespace ZpResult

void ZpInit(const ZpCallbacks& callbacks);
void ZpSetOptions(const ZpOptionRecord& options);
/// The options of the last `ZpSetOptions`.
ZpOptionRecord ZpGetOptions();
/// Adds files to the archive, or with `ZpSlot::Delete` removes entries from it, by the first
/// `count` names of the list. Entries of the old archive that aren't concerned stay, those that are
/// replaced keep their place, or go to the end with `ZpSlot::Append`. The new archive is written
/// beside the old one and moved into its place, so that after any failure the old one is whole.
std::int32_t ZpArchive(std::int32_t count, const std::string& archive, const ZpListRecord& list);

}  // namespace bkfd
