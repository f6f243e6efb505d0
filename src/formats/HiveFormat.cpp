#include "formats/HiveFormat.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "base/Text.h"

namespace bkfd {
namespace {

constexpr std::pair<HiveRule, const char*> kRules[] = {
    {HiveRule::CutOff, "is cut off: its bins go on behind the file's end"},
    {HiveRule::BaseChecksum, "has a wrong checksum"},
    {HiveRule::BaseSequences, "has two sequence numbers that differ"},
    {HiveRule::BaseType, "isn't that of a hive's primary file"},
    {HiveRule::BinsSize, "names a size of the bins that can't be"},
    {HiveRule::BinHeader, "isn't where a bin with the right header begins"},
    {HiveRule::BinSize, "begins a bin of a wrong size"},
    {HiveRule::CellOutside, "lies outside of the bins"},
    {HiveRule::CellUnaligned, "isn't at a multiple of 8 bytes"},
    {HiveRule::CellFree, "is free"},
    {HiveRule::CellSize, "has a size that can't be"},
    {HiveRule::CellInside, "begins inside another cell"},
    {HiveRule::CellTwice, "belongs to two places"},
    {HiveRule::CellUnreferenced, "is in use, but nothing points to it"},
    {HiveRule::KeySignature, "is no key"},
    {HiveRule::KeySize, "is too short for a key and its name"},
    {HiveRule::KeyName, "has a key name of a wrong length"},
    {HiveRule::KeyRootFlag, "marks a root where none is, or the reverse"},
    {HiveRule::KeyParent, "names another key as the one above it"},
    {HiveRule::KeyOrder, "isn't in the order of the names"},
    {HiveRule::KeyCircle, "lies below itself"},
    {HiveRule::KeyDepth, "lies too deep"},
    {HiveRule::KeyTooMany, "names more subkeys than the hive can hold"},
    {HiveRule::ListSignature, "is no list of subkeys"},
    {HiveRule::ListSize, "is too short for the subkeys that it lists"},
    {HiveRule::ListNested, "is a list of lists within another"},
    {HiveRule::ListVersion, "is a list of a kind that this version doesn't have"},
    {HiveRule::ListHash, "lists a key with a wrong hash"},
    {HiveRule::ListHint, "lists a key with a wrong beginning of its name"},
    {HiveRule::SubkeyCount, "counts other subkeys than are listed"},
    {HiveRule::LargestSubkeyName, "has a subkey with a name longer than it says"},
    {HiveRule::LargestValueName, "has a value with a name longer than it says"},
    {HiveRule::LargestValueData, "has a value with more data than it says"},
    {HiveRule::ClassSize, "is too short for the class name"},
    {HiveRule::ValueListSize, "is too short for the values that it lists"},
    {HiveRule::ValueTooMany, "names more values than the hive can hold"},
    {HiveRule::ValueSignature, "is no value"},
    {HiveRule::ValueSize, "is too short for a value and its name"},
    {HiveRule::ValueName, "has a value name of a wrong length"},
    {HiveRule::ValueTwice, "has the name of another value of its key"},
    {HiveRule::InlineSize, "has more than 4 bytes of data in itself"},
    {HiveRule::DataSize, "is too short for the value's data"},
    {HiveRule::DataTooMuch, "names more data than the hive can hold"},
    {HiveRule::BigDataSignature, "is no record of data in segments"},
    {HiveRule::BigDataSegments, "doesn't have the segments that the data needs"},
    {HiveRule::SecuritySignature, "is no security descriptor"},
    {HiveRule::SecuritySize, "is too short for its security descriptor"},
    {HiveRule::SecurityRing, "isn't linked into the ring of security descriptors"},
    {HiveRule::SecurityCount, "counts other keys than use this security descriptor"},
    {HiveRule::NoSuchName, "has nothing of that name"},
};

/// The units that have no simple upper case in Windows' table although they are some letter's lower
/// case: sharp s, and scripts whose case Unicode knew later.
bool IsWithoutUpperCase(char16_t lower, char16_t upper) {
    return lower == 0x00DF || (upper >= 0x13A0 && upper <= 0x13F5) ||
           (upper >= 0x1C90 && upper <= 0x1CBF) || upper == 0x0130;
}

std::array<char16_t, 0x10000> MakeUpperCases() {
    std::array<char16_t, 0x10000> table{};
    for (std::uint32_t unit = 0; unit < table.size(); ++unit) {
        table[unit] = static_cast<char16_t>(unit);
    }
    // Backwards: of several letters with one lower case the first is the upper case.
    for (std::uint32_t unit = static_cast<std::uint32_t>(table.size()); unit-- > 0;) {
        const auto upper = static_cast<char16_t>(unit);
        const char16_t lower = ToLower(upper);
        if (lower != upper && !IsWithoutUpperCase(lower, upper)) table[lower] = upper;
    }
    return table;
}

}  // namespace

std::uint32_t HiveChecksum(ByteView baseBlock) {
    std::uint32_t sum = 0;
    for (std::size_t at = 0; at < hive::kChecksumAt; at += 4) sum ^= Read32(baseBlock, at);
    if (sum == 0xFFFFFFFF) return 0xFFFFFFFE;
    return sum == 0 ? 1 : sum;
}

std::optional<HiveBaseBlock> ReadHiveBaseBlock(ByteView file) {
    if (file.size() < hive::kBaseBlockUsed || !HasText(file, 0, "regf")) return std::nullopt;
    HiveBaseBlock block;
    block.primarySequence = Read32(file, 4);
    block.secondarySequence = Read32(file, 8);
    block.lastWritten = Read64(file, 12);
    block.major = Read32(file, 20);
    block.minor = Read32(file, 24);
    block.type = Read32(file, 28);
    block.format = Read32(file, 32);
    block.root = Read32(file, 36);
    block.binsSize = Read32(file, 40);
    block.clustering = Read32(file, 44);
    block.flags = Read32(file, 144);
    block.isChecksumRight = Read32(file, hive::kChecksumAt) == HiveChecksum(file);
    return block;
}

char16_t HiveUpperCase(char16_t unit) {
    static const std::array<char16_t, 0x10000> kTable = MakeUpperCases();
    return kTable[unit];
}

int CompareHiveNames(std::u16string_view a, std::u16string_view b) {
    const std::size_t common = std::min(a.size(), b.size());
    for (std::size_t i = 0; i < common; ++i) {
        const int difference = HiveUpperCase(a[i]) - HiveUpperCase(b[i]);
        if (difference != 0) return difference;
    }
    return a.size() == b.size() ? 0 : a.size() < b.size() ? -1 : 1;
}

std::uint32_t HiveNameHash(std::u16string_view name) {
    std::uint32_t hash = 0;
    for (const char16_t unit : name) hash = hash * 37 + HiveUpperCase(unit);
    return hash;
}

const char* Describe(HiveRule rule) {
    const auto* const row =
        std::ranges::find(kRules, rule, [](const auto& entry) { return entry.first; });
    return row == std::end(kRules) ? "is wrong" : row->second;
}

std::string Describe(const HiveFault& fault) {
    if (fault.cell == kNoCell) return std::string("the base block ") + Describe(fault.rule);
    char place[32];
    std::snprintf(place, sizeof place, "cell 0x%x ", fault.cell);
    return place + std::string(Describe(fault.rule));
}

}  // namespace bkfd
