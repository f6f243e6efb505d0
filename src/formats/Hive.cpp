#include "formats/Hive.h"

#include <algorithm>

#include "base/Utf16Bytes.h"

namespace bkfd {

using namespace hive;

namespace {

constexpr std::uint32_t kSupportsLayers = 2;  // of a base block's flags, in version 1.6
constexpr std::uint32_t kNewestMinor = 6;
constexpr std::uint32_t kOldestMinor = 3;

/// The second copy of a hive that Windows NT 4 and 2000 keep (SYSTEM.ALT): it has the type that
/// logs have later, with bins instead of a bitmap.
bool IsAlternate(ByteView file, const HiveBaseBlock& base) {
    constexpr std::size_t kSector = 512;
    const std::size_t bitmap = kSector * std::clamp<std::uint32_t>(base.clustering, 1, 8);
    return base.type == kOldLog && HasText(file, kBaseBlockSize, "hbin") &&
           !HasText(file, bitmap, "DIRT");
}

/// Why the base block is none of a hive that can be read; empty if it is.
std::string Refusal(ByteView file, const HiveBaseBlock& base) {
    const bool isLog = base.type == kOldLog || base.type == kOldestLog || base.type == kNewLog;
    if (isLog && !IsAlternate(file, base)) {
        return "is the log of a hive, not the hive";
    }
    const std::string version = std::to_string(base.major) + '.' + std::to_string(base.minor);
    if (base.major != 1 || base.minor < kOldestMinor || base.minor > kNewestMinor) {
        return "is a hive of version " + version + "; known are 1.3 to 1.6";
    }
    if (base.minor == kNewestMinor && (base.flags & kSupportsLayers) != 0) {
        return "is a delta hive of version 1.6, which holds the differences from another hive only";
    }
    return {};
}

template <class T>
HiveResult<T> Fault(HiveRule rule, CellOffset cell) {
    return {T{}, HiveFault{rule, cell}};
}

template <class A, class B>
int CompareUnits(const A& a, std::size_t aLength, const B& b, std::size_t bLength) {
    for (std::size_t i = 0; i < std::min(aLength, bLength); ++i) {
        const int difference = HiveUpperCase(a[i]) - HiveUpperCase(b[i]);
        if (difference != 0) return difference;
    }
    return aLength == bLength ? 0 : aLength < bLength ? -1 : 1;
}

}  // namespace

void HiveName::AppendTo(Text& text) const {
    if (isLatin1) {
        text.append(bytes.begin(), bytes.end());
        return;
    }
    for (std::size_t at = 0; at + 1 < bytes.size(); at += 2) {
        text += static_cast<char16_t>(Read16(bytes, at));
    }
}

Text HiveName::ToText() const {
    Text text;
    AppendTo(text);
    return text;
}

int HiveName::Compare(TextView name) const {
    return CompareUnits(*this, Length(), name, name.size());
}

int HiveName::Compare(const HiveName& other) const {
    return CompareUnits(*this, Length(), other, other.Length());
}

HiveName HiveKey::Name() const {
    return {cell_.subspan(kKeySize, Read16(cell_, 72)), (Flags() & kIsNameLatin1) != 0};
}

HiveName HiveValue::Name() const {
    const bool isLatin1 = (Read16(cell_, 16) & kIsValueNameLatin1) != 0;
    return {cell_.subspan(kValueSize, Read16(cell_, 2)), isLatin1};
}

std::variant<Hive, std::string> Hive::Open(ByteView file) {
    const auto base = ReadHiveBaseBlock(file);
    if (!base) return "is no hive";
    std::string refusal = Refusal(file, *base);
    if (!refusal.empty()) return refusal;
    const ByteView behind = file.subspan(std::min(file.size(), kBaseBlockSize));
    // A size that can't be says nothing; the bins end with the file then.
    const bool isPossible = base->binsSize > 0 && base->binsSize % kBinUnit == 0;
    const std::size_t size =
        isPossible ? std::min<std::size_t>(base->binsSize, behind.size()) : behind.size();
    return Hive(*base, behind.first(size));
}

HiveResult<ByteView> Hive::Cell(CellOffset offset) const {
    if (offset < kBinHeaderSize || offset > bins_.size() || bins_.size() - offset < kCellUnit) {
        return Fault<ByteView>(HiveRule::CellOutside, offset);
    }
    if (offset % kCellUnit != 0) return Fault<ByteView>(HiveRule::CellUnaligned, offset);
    const auto stored = static_cast<std::int32_t>(Read32(bins_, offset));
    if (stored >= 0) return Fault<ByteView>(HiveRule::CellFree, offset);
    const auto size = static_cast<std::size_t>(-std::int64_t{stored});
    if (size < kCellUnit || size > bins_.size() - offset) {
        return Fault<ByteView>(HiveRule::CellSize, offset);
    }
    return {bins_.subspan(offset + 4, size - 4), {}};
}

HiveResult<HiveKey> Hive::Key(CellOffset offset) const {
    const auto cell = Cell(offset);
    if (!cell) return {{}, cell.fault};
    if (!HasText(*cell, 0, "nk")) return Fault<HiveKey>(HiveRule::KeySignature, offset);
    if (cell->size() < kKeySize || cell->size() - kKeySize < Read16(*cell, 72)) {
        return Fault<HiveKey>(HiveRule::KeySize, offset);
    }
    return {HiveKey(offset, *cell), {}};
}

HiveResult<HiveValue> Hive::Value(CellOffset offset) const {
    const auto cell = Cell(offset);
    if (!cell) return {{}, cell.fault};
    if (!HasText(*cell, 0, "vk")) return Fault<HiveValue>(HiveRule::ValueSignature, offset);
    if (cell->size() < kValueSize || cell->size() - kValueSize < Read16(*cell, 2)) {
        return Fault<HiveValue>(HiveRule::ValueSize, offset);
    }
    return {HiveValue(offset, *cell), {}};
}

void Hive::ForEachSubkey(const HiveKey& key, const EntrySink& sink) const {
    if (key.SubkeyCount() != 0) ForEachEntry(key.SubkeyList(), false, sink);
}

bool Hive::ForEachEntry(CellOffset list, bool isNested, const EntrySink& sink) const {
    const auto fault = [&](HiveRule rule) { return sink(Fault<HiveListEntry>(rule, list)); };
    const auto cell = Cell(list);
    if (!cell) return sink({{}, cell.fault});
    if (cell->size() < kListHeaderSize) return fault(HiveRule::ListSignature);
    const bool isRoot = HasText(*cell, 0, "ri");
    const bool isPlain = HasText(*cell, 0, "li");
    const bool hasHashes = HasText(*cell, 0, "lh");
    if (!isRoot && !isPlain && !hasHashes && !HasText(*cell, 0, "lf")) {
        return fault(HiveRule::ListSignature);
    }
    if (isRoot && isNested) return fault(HiveRule::ListNested);
    const std::size_t entrySize = isRoot || isPlain ? 4 : 8;
    const std::size_t count = Read16(*cell, 2);
    const std::size_t fitting = (cell->size() - kListHeaderSize) / entrySize;
    for (std::size_t i = 0; i < std::min(count, fitting); ++i) {
        const std::size_t at = kListHeaderSize + i * entrySize;
        const CellOffset target = Read32(*cell, at);
        if (isRoot) {
            if (!ForEachEntry(target, true, sink)) return false;
            continue;
        }
        const auto kind = isPlain     ? HiveListKind::Plain
                          : hasHashes ? HiveListKind::Hashes
                                      : HiveListKind::Hints;
        if (!sink({{list, kind, target, isPlain ? 0 : Read32(*cell, at + 4)}, {}})) return false;
    }
    return count <= fitting || fault(HiveRule::ListSize);
}

HiveResult<HiveKey> Hive::FindSubkey(const HiveKey& key, TextView name) const {
    auto found = FindSubkey(key, name, true);
    // Others have written hashes of names beyond ASCII that aren't those of Windows.
    const bool isAscii = std::ranges::all_of(name, [](char16_t unit) { return unit < 0x80; });
    return found || isAscii ? found : FindSubkey(key, name, false);
}

HiveResult<HiveKey> Hive::FindSubkey(const HiveKey& key, TextView name, bool byHash) const {
    auto found = Fault<HiveKey>(HiveRule::NoSuchName, key.Offset());
    const std::uint32_t hash = HiveNameHash(name);
    ForEachSubkey(key, [&](const HiveResult<HiveListEntry>& entry) {
        const bool isOther = entry && entry->kind == HiveListKind::Hashes && entry->hint != hash;
        if (byHash && isOther) return true;
        const auto subkey = entry ? Key(entry->key) : HiveResult<HiveKey>{{}, entry.fault};
        if (subkey && subkey->Name().Compare(name) != 0) return true;
        const bool isDamaged = !found && found.fault->rule != HiveRule::NoSuchName;
        if (subkey || !isDamaged) found = subkey;
        return !subkey;
    });
    return found;
}

HiveResult<HiveValue> Hive::FindValue(const HiveKey& key, TextView name) const {
    auto found = Fault<HiveValue>(HiveRule::NoSuchName, key.Offset());
    ForEachValue(key, [&](const HiveResult<HiveValue>& value) {
        if (value && value->Name().Compare(name) != 0) return true;
        if (value || found.fault->rule == HiveRule::NoSuchName) found = value;
        return !value;
    });
    return found;
}

void Hive::ForEachValue(const HiveKey& key, const ValueSink& sink) const {
    if (key.ValueCount() == 0) return;
    const auto list = Cell(key.ValueList());
    if (!list) {
        sink({{}, list.fault});
        return;
    }
    const std::size_t fitting = list->size() / 4;
    const std::size_t count = std::min<std::size_t>(key.ValueCount(), fitting);
    for (std::size_t i = 0; i < count; ++i) {
        if (!sink(Value(Read32(*list, 4 * i)))) return;
    }
    if (key.ValueCount() > fitting) {
        sink(Fault<HiveValue>(HiveRule::ValueListSize, key.ValueList()));
    }
}

std::optional<HiveFault> Hive::Data(const HiveValue& value, std::vector<ByteView>& pieces) const {
    pieces.clear();
    const std::uint32_t size = value.DataSize();
    if (size == 0) return std::nullopt;
    if (value.IsInline()) {
        if (size > 4) return HiveFault{HiveRule::InlineSize, value.Offset()};
        pieces.push_back(value.InlineData());
        return std::nullopt;
    }
    const auto cell = Cell(value.Data());
    if (!cell) return cell.fault;
    if (size > kLongestCellData && base_.minor >= kFirstWithBigData && HasText(*cell, 0, "db")) {
        auto fault = SegmentedData(value, *cell, pieces);
        if (fault) pieces.clear();
        return fault;
    }
    if (cell->size() < size) return HiveFault{HiveRule::DataSize, value.Data()};
    pieces.push_back(cell->first(size));
    return std::nullopt;
}

std::optional<HiveFault> Hive::SegmentedData(const HiveValue& value, ByteView record,
                                             std::vector<ByteView>& pieces) const {
    if (record.size() < kBigDataSize) return HiveFault{HiveRule::BigDataSignature, value.Data()};
    const std::size_t count = Read16(record, 2);
    const auto list = Cell(Read32(record, 4));
    if (!list) return list.fault;
    std::size_t left = value.DataSize();
    for (std::size_t i = 0; i < std::min(count, list->size() / 4) && left > 0; ++i) {
        const CellOffset offset = Read32(*list, 4 * i);
        const auto segment = Cell(offset);
        if (!segment) return segment.fault;
        const std::size_t size = std::min<std::size_t>(left, kLongestCellData);
        if (segment->size() < size) return HiveFault{HiveRule::DataSize, offset};
        pieces.push_back(segment->first(size));
        left -= size;
    }
    if (left > 0) return HiveFault{HiveRule::BigDataSegments, value.Data()};
    return std::nullopt;
}

HiveResult<Text> Hive::ClassName(const HiveKey& key) const {
    if (key.Class() == kNoCell || key.ClassSize() == 0) return {};
    const auto cell = Cell(key.Class());
    if (!cell) return {{}, cell.fault};
    if (cell->size() < key.ClassSize()) return Fault<Text>(HiveRule::ClassSize, key.Class());
    return {FromUtf16Bytes(cell->first(key.ClassSize())), {}};
}

HiveResult<ByteView> Hive::SecurityDescriptor(const HiveKey& key) const {
    const auto cell = Cell(key.Security());
    if (!cell) return cell;
    if (!HasText(*cell, 0, "sk")) {
        return Fault<ByteView>(HiveRule::SecuritySignature, key.Security());
    }
    if (cell->size() < kSecuritySize || cell->size() - kSecuritySize < Read32(*cell, 16)) {
        return Fault<ByteView>(HiveRule::SecuritySize, key.Security());
    }
    return {cell->subspan(kSecuritySize, Read32(*cell, 16)), {}};
}

}  // namespace bkfd
