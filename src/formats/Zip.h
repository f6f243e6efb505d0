#pragma once

#include <array>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/Date.h"
#include "base/Text.h"
#include "formats/ByteSource.h"

/// The zip container (PKWARE's APPNOTE.TXT): stored and deflated entries, traditional encryption,
/// no zip64. Archives and entries stay below 4 GiB and 65,535 entries.
namespace bkfd {

/// Where an archive goes, byte after byte. A failure of the sink is thrown through the writer.
using ByteSink = std::function<void(std::span<const std::uint8_t>)>;

/// One entry as the central directory tells it. Byte texts are kept raw, so that an entry can be
/// copied unchanged.
struct ZipEntry {
    std::string name;  // UTF-8 when `flags` says so, else in the code page of its maker
    Bytes extra;       // extra fields of the central directory
    std::string comment;
    std::uint16_t madeBy = 0;
    std::uint16_t versionNeeded = 20;
    std::uint16_t flags = 0;
    std::uint16_t method = 0;  // 0 stored, 8 deflated; others can be copied only
    std::uint16_t time = 0;    // DOS time and date
    std::uint16_t date = 0;
    std::uint32_t crc = 0;
    std::uint32_t compressedSize = 0;
    std::uint32_t size = 0;
    std::uint16_t internalAttributes = 0;
    std::uint32_t externalAttributes = 0;  // low byte: DOS file attributes
    std::uint32_t localHeader = 0;         // offset in the archive

    bool IsEncrypted() const { return (flags & 1) != 0; }
    bool HasUtf8Name() const { return (flags & 0x800) != 0; }
    /// The name with "/" between its parts, decoded by `codePage` where it isn't UTF-8.
    Text Name(Text (*codePage)(std::string_view)) const;
};

struct ZipDirectory {
    std::vector<ZipEntry> entries;
    std::string comment;
};

/// Reads an archive's central directory. Nothing for a file that is no zip archive, is cut, spans
/// disks or needs zip64.
std::optional<ZipDirectory> ReadZipDirectory(ByteSource& archive);

/// Unpacks a stored or deflated entry piece by piece into `sink`, never more than the entry's size.
/// False when its data is malformed, its size or CRC differs, or it needs a password (`password`
/// empty or wrong); what went into the sink is worth nothing then.
bool ReadZipEntry(ByteSource& archive, const ZipEntry& entry, const std::string& password,
                  const ByteSink& sink);
/// The same as a whole. Nothing also for an entry of more than `limit` bytes. What the archive says
/// of sizes takes no memory before the bytes are there.
std::optional<Bytes> ReadZipEntry(ByteSource& archive, const ZipEntry& entry,
                                  const std::string& password = {}, std::size_t limit = 1U << 30);

/// What a new entry is made of.
struct NewZipEntry {
    Text name;                     // "/" between its parts; a folder's ends in one
    Date modified = 0;             // local time; clamped to 1980 ... 2107
    std::uint32_t attributes = 0;  // DOS file attributes
    bool isVolumeLabel = false;
    std::string password;                 // empty: not encrypted
    std::array<std::uint8_t, 11> salt{};  // random bytes, for encryption only
};

/// Reads the next piece of an entry's content into the buffer; 0 at the end. May throw.
using ContentReader = std::function<std::size_t(std::span<std::uint8_t>)>;

/// Writes an archive: entries in the order of the calls, then `Finish` once. Entries at or above
/// 4 GiB, archives that would pass 4 GiB, more than 65,535 entries and names of more than 65,535
/// bytes are a RuntimeError Overflow.
class ZipWriter {
  public:
    explicit ZipWriter(ByteSink sink);

    /// Deflates the content, or stores it where that isn't smaller. Names that aren't ASCII are
    /// UTF-8 with the flag set.
    void Add(const NewZipEntry& entry, const ContentReader& content);
    /// Takes an entry of another archive over as it is. False, and nothing is written, when its
    /// local header or data can't be read.
    bool Copy(ByteSource& archive, const ZipEntry& entry);
    void Finish(const std::string& comment);

  private:
    void Write(std::span<const std::uint8_t> bytes);
    void Reserve(std::uint64_t bytes) const;
    void Append(ZipEntry entry, std::span<const std::uint8_t> data,
                std::span<const std::uint8_t> descriptor);

    ByteSink sink_;
    std::uint64_t offset_ = 0;
    std::vector<ZipEntry> entries_;
};

}  // namespace bkfd
