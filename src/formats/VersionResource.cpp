#include "formats/VersionResource.h"

#include <algorithm>

namespace bkfd {
namespace {

constexpr std::uint16_t kTypeVersion = 16;   // RT_VERSION
constexpr std::uint16_t kVersionInfoId = 1;  // VS_VERSION_INFO
constexpr std::size_t kMaxRecord = 0x10000;  // the record's own length has 16 bits
constexpr std::size_t kMaxSections = 1024;   // Windows loads no image with more than 96
constexpr std::size_t kMaxDirectory = 4096;  // entries of one resource directory
constexpr std::uint32_t kSubdirectory = 0x80000000;

std::optional<Bytes> ReadBytes(ByteSource& file, std::uint64_t offset, std::size_t count) {
    Bytes bytes(count);
    if (!file.Read(offset, bytes)) return std::nullopt;
    return bytes;
}

// ---------------------------------------------------------------- PE

struct Section {
    std::uint32_t address;
    std::uint32_t size;  // in the file
    std::uint32_t offset;
};

/// An entry of a resource directory that has a number.
struct DirectoryEntry {
    std::uint32_t id;
    std::uint32_t offset;  // from the directory's root, with the subdirectory bit
};

/// The resources of a PE file. The tree has exactly three levels (type, name, language), which also
/// ends every cycle.
class PeResources {
  public:
    PeResources(ByteSource& file, std::uint64_t header) : file_(file), header_(header) {}

    std::optional<Bytes> ReadVersion() {
        if (!ReadHeaders()) return std::nullopt;
        const auto type = Choose(0, {kTypeVersion}, false);
        if (!type || (*type & kSubdirectory) == 0) return std::nullopt;
        const auto name = Choose(*type & ~kSubdirectory, {kVersionInfoId}, false);
        if (!name || (*name & kSubdirectory) == 0) return std::nullopt;
        // Neutral, English, English (United States): the order of the system's own search.
        const auto language = Choose(*name & ~kSubdirectory, {0x0000, 0x0009, 0x0409}, true);
        if (!language || (*language & kSubdirectory) != 0) return std::nullopt;
        return ReadData(*language);
    }

  private:
    bool ReadHeaders() {
        constexpr std::size_t kFileHeader = 24;  // the signature included
        constexpr std::uint16_t kMagic32 = 0x10B;
        constexpr std::uint16_t kMagic64 = 0x20B;
        const auto header = ReadBytes(file_, header_, kFileHeader + 2);
        if (!header) return false;
        const std::size_t sectionCount = ReadUint16(*header, 6);
        const std::uint16_t magic = ReadUint16(*header, kFileHeader);
        if (sectionCount > kMaxSections || (magic != kMagic32 && magic != kMagic64)) return false;

        const std::size_t countOffset = kFileHeader + (magic == kMagic32 ? 92 : 108);
        const auto directories = ReadBytes(file_, header_ + countOffset, 4 + 3 * 8);
        constexpr std::size_t kResourceIndex = 2;
        if (!directories || ReadUint32(*directories, 0) <= kResourceIndex) return false;
        root_ = ReadUint32(*directories, 4 + kResourceIndex * 8);
        return root_ != 0 &&
               ReadSections(header_ + kFileHeader + ReadUint16(*header, 20), sectionCount);
    }

    bool ReadSections(std::uint64_t offset, std::size_t count) {
        constexpr std::size_t kSectionHeader = 40;
        const auto table = ReadBytes(file_, offset, count * kSectionHeader);
        if (!table) return false;
        for (std::size_t at = 0; at < table->size(); at += kSectionHeader) {
            sections_.push_back({ReadUint32(*table, at + 12), ReadUint32(*table, at + 16),
                                 ReadUint32(*table, at + 20)});
        }
        return true;
    }

    /// Reads what the image would hold at `address`.
    std::optional<Bytes> ReadImage(std::uint64_t address, std::size_t count) {
        for (const Section& section : sections_) {
            if (address < section.address || address - section.address >= section.size) continue;
            const std::uint64_t within = address - section.address;
            if (count > section.size - within) return std::nullopt;
            return ReadBytes(file_, section.offset + within, count);
        }
        return std::nullopt;
    }

    std::optional<std::vector<DirectoryEntry>> ReadDirectory(std::uint32_t offset) {
        constexpr std::size_t kHeader = 16;
        constexpr std::size_t kEntry = 8;
        const std::uint64_t start = std::uint64_t{root_} + offset;
        const auto header = ReadImage(start, kHeader);
        if (!header) return std::nullopt;
        const std::size_t named = ReadUint16(*header, 12);
        const std::size_t numbered = ReadUint16(*header, 14);
        if (numbered == 0 || numbered > kMaxDirectory) return std::nullopt;
        const auto table = ReadImage(start + kHeader + named * kEntry, numbered * kEntry);
        if (!table) return std::nullopt;
        std::vector<DirectoryEntry> entries;
        for (std::size_t at = 0; at < table->size(); at += kEntry) {
            entries.push_back({ReadUint32(*table, at), ReadUint32(*table, at + 4)});
        }
        return entries;
    }

    /// The offset that the first of `ids` to be there leads to, or the first of all entries.
    std::optional<std::uint32_t> Choose(std::uint32_t directory,
                                        std::initializer_list<std::uint32_t> ids, bool elseFirst) {
        const auto entries = ReadDirectory(directory);
        if (!entries) return std::nullopt;
        for (const std::uint32_t id : ids) {
            const auto entry = std::ranges::find(*entries, id, &DirectoryEntry::id);
            if (entry != entries->end()) return entry->offset;
        }
        if (!elseFirst) return std::nullopt;
        return entries->front().offset;
    }

    std::optional<Bytes> ReadData(std::uint32_t entryOffset) {
        const auto entry = ReadImage(std::uint64_t{root_} + entryOffset, 16);
        if (!entry) return std::nullopt;
        const std::size_t size = std::min<std::size_t>(ReadUint32(*entry, 4), kMaxRecord);
        return ReadImage(ReadUint32(*entry, 0), size);
    }

    ByteSource& file_;
    const std::uint64_t header_;
    std::uint32_t root_ = 0;  // address of the resource directory in the image
    std::vector<Section> sections_;
};

// ---------------------------------------------------------------- NE

constexpr std::uint16_t kIntegerId = 0x8000;
constexpr std::size_t kNameEntry = 12;

/// Position of the table's entry for VERSION resource 1, or 0.
std::size_t FindNeEntry(const Bytes& table) {
    constexpr std::size_t kTypeEntry = 8;
    std::size_t type = 2;  // behind the alignment shift
    while (type + kTypeEntry <= table.size() && ReadUint16(table, type) != 0) {
        const std::size_t names = type + kTypeEntry;
        const std::size_t end = names + ReadUint16(table, type + 2) * kNameEntry;
        if (ReadUint16(table, type) == (kTypeVersion | kIntegerId)) {
            for (std::size_t name = names; name < end && name + kNameEntry <= table.size();
                 name += kNameEntry) {
                if (ReadUint16(table, name + 6) == (kVersionInfoId | kIntegerId)) return name;
            }
            return 0;
        }
        type = end;
    }
    return 0;
}

std::optional<Bytes> ReadNeVersion(ByteSource& file, std::uint64_t headerOffset) {
    const auto header = ReadBytes(file, headerOffset, 0x28);
    if (!header) return std::nullopt;
    const std::size_t tableStart = ReadUint16(*header, 0x24);
    const std::size_t tableEnd = ReadUint16(*header, 0x26);  // where the resident names begin
    if (tableEnd <= tableStart + 2) return std::nullopt;
    const auto table = ReadBytes(file, headerOffset + tableStart, tableEnd - tableStart);
    if (!table) return std::nullopt;
    const std::uint16_t shift = ReadUint16(*table, 0);
    const std::size_t entry = FindNeEntry(*table);
    if (entry == 0 || shift > 15) return std::nullopt;
    const std::uint64_t offset = std::uint64_t{ReadUint16(*table, entry)} << shift;
    const std::uint64_t size = std::uint64_t{ReadUint16(*table, entry + 2)} << shift;
    // The size is in whole units; the last one may be cut by the end of the file.
    const std::uint64_t available = file.Size() > offset ? file.Size() - offset : 0;
    const std::uint64_t length = std::min({size, available, std::uint64_t{kMaxRecord}});
    return ReadBytes(file, offset, static_cast<std::size_t>(length));
}

}  // namespace

std::optional<Bytes> ReadVersionResource(ByteSource& file) {
    const auto stub = ReadBytes(file, 0, 64);
    if (!stub || (*stub)[0] != 'M' || (*stub)[1] != 'Z') return std::nullopt;
    const std::uint32_t header = ReadUint32(*stub, 60);
    const auto signature = ReadBytes(file, header, 4);
    if (!signature) return std::nullopt;
    constexpr std::uint32_t kPeSignature = 0x00004550;
    constexpr std::uint16_t kNeSignature = 0x454E;
    if (ReadUint32(*signature, 0) == kPeSignature) return PeResources(file, header).ReadVersion();
    if (ReadUint16(*signature, 0) == kNeSignature) return ReadNeVersion(file, header);
    return std::nullopt;
}

}  // namespace bkfd
