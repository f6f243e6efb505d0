#pragma once

#include <array>
#include <optional>
#include <string>

#include "formats/LittleEndian.h"

/// Registry hives of the NT family ("regf"): what the reader, the checker and the replay of logs
/// share. Facts are from Maxim Suhanov's "Windows registry file format specification".
namespace bkfd {

/// A cell's place: bytes from the start of the first bin, 4096 bytes behind that of the file.
using CellOffset = std::uint32_t;
inline constexpr CellOffset kNoCell = 0xFFFFFFFF;

namespace hive {

inline constexpr std::size_t kBaseBlockSize = 4096;
inline constexpr std::size_t kBaseBlockUsed = 512;  // what the checksum covers, and the checksum
inline constexpr std::size_t kChecksumAt = 508;
inline constexpr std::size_t kBinHeaderSize = 32;
inline constexpr std::size_t kBinUnit = 4096;
inline constexpr std::size_t kCellUnit = 8;
inline constexpr std::size_t kKeySize = 76;    // without its name
inline constexpr std::size_t kValueSize = 20;  // without its name
inline constexpr std::size_t kListHeaderSize = 4;
inline constexpr std::size_t kBigDataSize = 8;
inline constexpr std::size_t kSecuritySize = 20;          // without its descriptor
inline constexpr std::uint32_t kLongestCellData = 16344;  // longer data is in segments of this size
inline constexpr std::uint32_t kIsInline = 0x80000000;    // of a value's data size
inline constexpr std::uint32_t kFirstWithBigData = 4;     // minor versions
inline constexpr std::uint32_t kFirstWithHashes = 5;
inline constexpr std::size_t kDeepestKey = 512;  // levels, as in Windows
inline constexpr std::size_t kLongestKeyName = 255;

/// Of a base block.
inline constexpr std::uint32_t kPrimaryFile = 0;
inline constexpr std::uint32_t kOldLog = 1;
inline constexpr std::uint32_t kOldestLog = 2;  // up to Windows 2000
inline constexpr std::uint32_t kNewLog = 6;

/// Of a key.
inline constexpr std::uint16_t kIsRoot = 0x0004;
inline constexpr std::uint16_t kIsLink = 0x0010;
inline constexpr std::uint16_t kIsNameLatin1 = 0x0020;
/// Of a value.
inline constexpr std::uint16_t kIsValueNameLatin1 = 0x0001;

}  // namespace hive

/// The head of a hive and of its logs.
struct HiveBaseBlock {
    std::uint32_t primarySequence = 0;
    std::uint32_t secondarySequence = 0;
    std::uint64_t lastWritten = 0;  // FILETIME: 100 ns since 1601
    std::uint32_t major = 0;
    std::uint32_t minor = 0;
    std::uint32_t type = 0;
    std::uint32_t format = 0;
    CellOffset root = kNoCell;
    std::uint32_t binsSize = 0;    // bytes
    std::uint32_t clustering = 0;  // sectors of 512 bytes that a log's base block takes
    std::uint32_t flags = 0;
    bool isChecksumRight = false;

    /// Whether a write to the hive wasn't finished.
    bool IsDirty() const { return !isChecksumRight || primarySequence != secondarySequence; }
};

/// Nothing if the bytes don't begin with at least the used part of a base block.
std::optional<HiveBaseBlock> ReadHiveBaseBlock(ByteView file);
/// Of the first 508 bytes of a base block.
std::uint32_t HiveChecksum(ByteView baseBlock);

/// What Windows sorts and hashes key names by: each unit's upper case.
char16_t HiveUpperCase(char16_t unit);
/// Negative, zero or positive.
int CompareHiveNames(std::u16string_view a, std::u16string_view b);
/// The hash of a name in an lh list.
std::uint32_t HiveNameHash(std::u16string_view name);

/// The rules that a hive can break.
enum class HiveRule {
    CutOff,
    BaseChecksum,
    BaseSequences,
    BaseType,
    BinsSize,
    BinHeader,
    BinSize,
    CellOutside,
    CellUnaligned,
    CellFree,
    CellSize,
    CellInside,
    CellTwice,
    CellUnreferenced,
    KeySignature,
    KeySize,
    KeyName,
    KeyRootFlag,
    KeyParent,
    KeyOrder,
    KeyCircle,
    KeyDepth,
    KeyTooMany,
    ListSignature,
    ListSize,
    ListNested,
    ListVersion,
    ListHash,
    ListHint,
    SubkeyCount,
    LargestSubkeyName,
    LargestValueName,
    LargestValueData,
    ClassSize,
    ValueListSize,
    ValueTooMany,
    ValueSignature,
    ValueSize,
    ValueName,
    ValueTwice,
    InlineSize,
    DataSize,
    DataTooMuch,
    BigDataSignature,
    BigDataSegments,
    SecuritySignature,
    SecuritySize,
    SecurityRing,
    SecurityCount,
    NoSuchName,  // no damage: what was looked for isn't there
};
/// A clause for people: "is no key".
const char* Describe(HiveRule rule);

/// A broken rule and where.
struct HiveFault {
    HiveRule rule{};
    CellOffset cell = kNoCell;  // kNoCell: the base block

    bool operator==(const HiveFault&) const = default;
};
/// "cell 0x1a20 is no key".
std::string Describe(const HiveFault& fault);

}  // namespace bkfd
