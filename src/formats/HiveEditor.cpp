#include "formats/HiveEditor.h"

#include <algorithm>

#include "base/Utf16Bytes.h"
#include "formats/HiveSubkeyLists.h"

namespace bkfd {

using namespace hive;

namespace {

constexpr std::size_t kLongestValueName = 16'383;
constexpr std::size_t kMostSegments = 0xFFFF;

// Places of fields of a key, a value and a security descriptor.
namespace key_at {
constexpr std::size_t kFlags = 2, kTime = 4, kParent = 16, kSubkeyCount = 20, kSubkeyList = 28,
                      kVolatileList = 32, kValueCount = 36, kValueList = 40, kSecurity = 44,
                      kClass = 48, kLargestSubkeyName = 52, kLargestSubkeyClass = 56,
                      kLargestValueName = 60, kLargestValueData = 64, kNameSize = 72;
}
namespace value_at {
constexpr std::size_t kNameSize = 2, kDataSize = 4, kData = 8, kType = 12, kFlags = 16;
}
namespace security_at {
constexpr std::size_t kNext = 4, kBefore = 8, kCount = 12;
}

[[noreturn]] void Stop(const HiveFault& fault) {
    throw HiveStop{HiveOutcome::Damaged, fault};
}

[[noreturn]] void Stop(HiveOutcome outcome) {
    throw HiveStop{outcome, {}};
}

template <class T>
T OrStop(const HiveResult<T>& read) {
    if (!read) Stop(*read.fault);
    return *read;
}

bool IsLatin1(TextView name) {
    return std::ranges::all_of(name, [](char16_t unit) { return unit < 0x100; });
}

Bytes StoredName(TextView name) {
    return IsLatin1(name) ? ToBytes(name) : ToUtf16Bytes(name);
}

bool IsInSegments(const Hive& hive, std::size_t size) {
    return size > kLongestCellData && hive.BaseBlock().minor >= kFirstWithBigData;
}

}  // namespace

HiveChange HiveEditor::Run(const std::function<void()>& change) {
    cells_.Begin();
    try {
        change();
        return {};
    } catch (const HiveStop& stop) {
        cells_.TakeBack();
        return {stop.outcome, stop.fault};
    }
}

HiveChange HiveEditor::MakeKeys(CellOffset key, std::span<const Text> names) {
    return Run([&] { Make(key, names); });
}

HiveChange HiveEditor::SetValue(CellOffset key, std::span<const Text> names, TextView name,
                                std::uint32_t type, ByteView data) {
    return Run([&] {
        const CellOffset made = Make(key, names);
        const auto value = cells_.View().FindValue(OrStop(cells_.View().Key(made)), name);
        if (value) {
            ChangeValue(made, *value, type, data);
        } else if (value.fault->rule == HiveRule::NoSuchName) {
            AddValue(made, name, type, data);
        } else {
            Stop(*value.fault);
        }
        Stamp(made);
    });
}

HiveChange HiveEditor::DeleteValue(CellOffset key, TextView name) {
    return Run([&] {
        const auto value = cells_.View().FindValue(OrStop(cells_.View().Key(key)), name);
        if (!value && value.fault->rule == HiveRule::NoSuchName) Stop(HiveOutcome::NotFound);
        RemoveValue(key, OrStop(value));
        Stamp(key);
    });
}

HiveChange HiveEditor::DeleteSubkey(CellOffset parent, TextView name) {
    return Run([&] {
        const auto key = cells_.View().FindSubkey(OrStop(cells_.View().Key(parent)), name);
        if (!key && key.fault->rule == HiveRule::NoSuchName) Stop(HiveOutcome::NotFound);
        if (OrStop(key).SubkeyCount() != 0) Stop(HiveOutcome::HasSubkeys);
        RemoveKey(parent, *key);
        Stamp(parent);
    });
}

void HiveEditor::Stamp(CellOffset key) {
    cells_.Put64(key, key_at::kTime, clock_());
}

// ---------------------------------------------------------------- keys

CellOffset HiveEditor::Make(CellOffset key, std::span<const Text> names) {
    for (const Text& name : names) {
        const auto found = cells_.View().FindSubkey(OrStop(cells_.View().Key(key)), name);
        if (!found && found.fault->rule != HiveRule::NoSuchName) Stop(*found.fault);
        key = found ? found->Offset() : AddKey(key, name);
    }
    return key;
}

CellOffset HiveEditor::AddKey(CellOffset parent, TextView name) {
    if (name.empty() || name.size() > kLongestKeyName) Stop(HiveOutcome::TooLong);
    const HiveKey above = OrStop(cells_.View().Key(parent));
    const std::uint32_t count = above.SubkeyCount();
    const std::uint16_t largest = above.LargestSubkeyName();
    const CellOffset security = above.Security();
    const Bytes stored = StoredName(name);

    const CellOffset key = cells_.Allocate(kKeySize + stored.size());
    cells_.Put(key, 0, Bytes{'n', 'k'});
    if (IsLatin1(name)) cells_.Put16(key, key_at::kFlags, kIsNameLatin1);
    cells_.Put32(key, key_at::kParent, parent);
    for (const std::size_t list :
         {key_at::kSubkeyList, key_at::kVolatileList, key_at::kValueList, key_at::kClass}) {
        cells_.Put32(key, list, kNoCell);
    }
    cells_.Put32(key, key_at::kSecurity, security);
    cells_.Put16(key, key_at::kNameSize, static_cast<std::uint16_t>(stored.size()));
    cells_.Put(key, kKeySize, stored);
    Stamp(key);
    AddSecurityReference(security);

    HiveSubkeyLists(cells_, parent).Add(key, name);
    cells_.Put32(parent, key_at::kSubkeyCount, count + 1);
    if (2 * name.size() > largest) {
        cells_.Put16(parent, key_at::kLargestSubkeyName,
                     static_cast<std::uint16_t>(2 * name.size()));
    }
    Stamp(parent);
    return key;
}

void HiveEditor::RemoveKey(CellOffset parent, const HiveKey& key) {
    const CellOffset cell = key.Offset();
    const Hive hive = cells_.View();
    while (OrStop(hive.Key(cell)).ValueCount() != 0) {
        HiveResult<HiveValue> first;
        hive.ForEachValue(OrStop(hive.Key(cell)), [&](const HiveResult<HiveValue>& value) {
            first = value;
            return false;
        });
        RemoveValue(cell, OrStop(first));
    }
    if (key.Class() != kNoCell && key.ClassSize() > 0) cells_.Free(key.Class());
    ReleaseSecurity(key.Security());
    HiveSubkeyLists(cells_, parent).Remove(cell);
    const std::uint32_t count = OrStop(hive.Key(parent)).SubkeyCount() - 1;
    cells_.Put32(parent, key_at::kSubkeyCount, count);
    if (count == 0) {
        cells_.Put16(parent, key_at::kLargestSubkeyName, 0);
        cells_.Put32(parent, key_at::kLargestSubkeyClass, 0);
    }
    cells_.Free(cell);
}

// ---------------------------------------------------------------- values

void HiveEditor::AddValue(CellOffset key, TextView name, std::uint32_t type, ByteView data) {
    if (name.size() > kLongestValueName) Stop(HiveOutcome::TooLong);
    const Bytes stored = StoredName(name);
    const CellOffset value = cells_.Allocate(kValueSize + stored.size());
    cells_.Put(value, 0, Bytes{'v', 'k'});
    cells_.Put16(value, value_at::kNameSize, static_cast<std::uint16_t>(stored.size()));
    cells_.Put32(value, value_at::kDataSize, kIsInline);
    const bool isShort = !name.empty() && IsLatin1(name);
    cells_.Put16(value, value_at::kFlags, isShort ? kIsValueNameLatin1 : 0);
    cells_.Put(value, kValueSize, stored);

    const HiveKey above = OrStop(cells_.View().Key(key));
    const std::uint32_t count = above.ValueCount();
    const CellOffset list = above.ValueList();
    Bytes entries(4 * (std::size_t{count} + 1));
    if (count > 0) {
        const ByteView old = cells_.Content(list);
        if (old.size() < entries.size() - 4) Stop({HiveRule::ValueListSize, list});
        std::ranges::copy(old.first(entries.size() - 4), entries.begin());
    }
    Write32(entries, entries.size() - 4, value);
    const bool hasRoom = count > 0 && cells_.Content(list).size() >= entries.size();
    if (count > 0 && !hasRoom) cells_.Free(list);
    const CellOffset place = hasRoom ? list : cells_.Allocate(entries.size());
    cells_.Put(place, 0, entries);
    cells_.Put32(key, key_at::kValueList, place);
    cells_.Put32(key, key_at::kValueCount, count + 1);
    if (2 * name.size() > OrStop(cells_.View().Key(key)).LargestValueName()) {
        cells_.Put32(key, key_at::kLargestValueName, static_cast<std::uint32_t>(2 * name.size()));
    }
    ChangeValue(key, OrStop(cells_.View().Value(value)), type, data);
}

void HiveEditor::NoteData(CellOffset key, std::size_t size) {
    if (size > OrStop(cells_.View().Key(key)).LargestValueData()) {
        cells_.Put32(key, key_at::kLargestValueData, static_cast<std::uint32_t>(size));
    }
}

void HiveEditor::ChangeValue(CellOffset key, const HiveValue& value, std::uint32_t type,
                             ByteView data) {
    if (data.size() > kMostSegments * kLongestCellData) Stop(HiveOutcome::TooLong);
    const CellOffset cell = value.Offset();
    const CellOffset old = value.Data();
    const Hive hive = cells_.View();
    std::vector<ByteView> pieces;
    const auto fault = hive.Data(value, pieces);
    if (fault) Stop(*fault);
    const bool hasCell = !value.IsInline() && value.DataSize() > 0;
    const bool keepsCell = hasCell && data.size() > 4 && !IsInSegments(hive, value.DataSize()) &&
                           !IsInSegments(hive, data.size()) &&
                           cells_.Content(old).size() >= data.size();
    if (keepsCell) {
        cells_.Put(old, 0, data);
    } else {
        if (hasCell) FreeData(value);
        const CellOffset stored = data.size() > 4 ? StoreData(data) : 0;
        cells_.Put32(cell, value_at::kData, stored);
        if (data.size() <= 4) cells_.Put(cell, value_at::kData, data);
    }
    const std::uint32_t isInline = data.size() <= 4 ? kIsInline : 0;
    cells_.Put32(cell, value_at::kDataSize, static_cast<std::uint32_t>(data.size()) | isInline);
    cells_.Put32(cell, value_at::kType, type);
    NoteData(key, data.size());
}

void HiveEditor::RemoveValue(CellOffset key, const HiveValue& value) {
    const CellOffset cell = value.Offset();
    if (!value.IsInline() && value.DataSize() > 0) FreeData(value);
    cells_.Free(cell);
    const HiveKey above = OrStop(cells_.View().Key(key));
    const CellOffset list = above.ValueList();
    const std::size_t count = above.ValueCount();
    const ByteView old = cells_.Content(list);
    if (old.size() / 4 < count) Stop({HiveRule::ValueListSize, list});
    std::size_t at = 0;
    while (at < count && Read32(old, 4 * at) != cell) ++at;
    if (at == count) Stop({HiveRule::ValueListSize, list});
    const Bytes rest(old.begin() + static_cast<std::ptrdiff_t>(4 * (at + 1)),
                     old.begin() + static_cast<std::ptrdiff_t>(4 * count));
    cells_.Put(list, 4 * at, rest);
    cells_.Put32(key, key_at::kValueCount, static_cast<std::uint32_t>(count - 1));
    if (count > 1) return;
    cells_.Free(list);
    cells_.Put32(key, key_at::kValueList, kNoCell);
    cells_.Put32(key, key_at::kLargestValueName, 0);
    cells_.Put32(key, key_at::kLargestValueData, 0);
}

CellOffset HiveEditor::StoreData(ByteView data) {
    if (IsInSegments(cells_.View(), data.size())) return StoreSegments(data);
    const CellOffset cell = cells_.Allocate(data.size());
    cells_.Put(cell, 0, data);
    return cell;
}

CellOffset HiveEditor::StoreSegments(ByteView data) {
    const std::size_t count = (data.size() + kLongestCellData - 1) / kLongestCellData;
    const CellOffset list = cells_.Allocate(4 * count);
    for (std::size_t i = 0; i < count; ++i) {
        // The last one is as long as the others, as Windows has it.
        const CellOffset segment = cells_.Allocate(kLongestCellData);
        const std::size_t at = i * kLongestCellData;
        cells_.Put(segment, 0,
                   data.subspan(at, std::min<std::size_t>(kLongestCellData, data.size() - at)));
        cells_.Put32(list, 4 * i, segment);
    }
    const CellOffset record = cells_.Allocate(kBigDataSize);
    cells_.Put(record, 0, Bytes{'d', 'b'});
    cells_.Put16(record, 2, static_cast<std::uint16_t>(count));
    cells_.Put32(record, 4, list);
    return record;
}

void HiveEditor::FreeData(const HiveValue& value) {
    const CellOffset data = value.Data();
    const ByteView record = cells_.Content(data);
    if (IsInSegments(cells_.View(), value.DataSize()) && HasText(record, 0, "db")) {
        if (record.size() < kBigDataSize) Stop({HiveRule::BigDataSignature, data});
        const std::size_t count = Read16(record, 2);
        const CellOffset list = Read32(record, 4);
        if (cells_.Content(list).size() / 4 < count) Stop({HiveRule::BigDataSegments, data});
        for (std::size_t i = 0; i < count; ++i) cells_.Free(Read32(cells_.Content(list), 4 * i));
        cells_.Free(list);
    }
    cells_.Free(data);
}

// ---------------------------------------------------------------- security descriptors

void HiveEditor::AddSecurityReference(CellOffset security) {
    const ByteView cell = cells_.Content(security);
    if (cell.size() < kSecuritySize || !HasText(cell, 0, "sk")) {
        Stop({HiveRule::SecuritySignature, security});
    }
    cells_.Put32(security, security_at::kCount, Read32(cell, security_at::kCount) + 1);
}

/// One that no key uses any more is taken out of the ring.
void HiveEditor::ReleaseSecurity(CellOffset security) {
    const ByteView cell = cells_.Content(security);
    if (cell.size() < kSecuritySize || !HasText(cell, 0, "sk")) {
        Stop({HiveRule::SecuritySignature, security});
    }
    const std::uint32_t count = Read32(cell, security_at::kCount);
    if (count == 0) Stop({HiveRule::SecurityCount, security});
    if (count > 1) return cells_.Put32(security, security_at::kCount, count - 1);
    const CellOffset next = Read32(cell, security_at::kNext);
    const CellOffset before = Read32(cell, security_at::kBefore);
    const ByteView after = cells_.Content(next);
    const ByteView ahead = cells_.Content(before);
    const bool isRing = after.size() >= kSecuritySize && ahead.size() >= kSecuritySize &&
                        HasText(after, 0, "sk") && HasText(ahead, 0, "sk") &&
                        Read32(after, security_at::kBefore) == security &&
                        Read32(ahead, security_at::kNext) == security;
    if (!isRing) Stop({HiveRule::SecurityRing, security});
    cells_.Put32(next, security_at::kBefore, before);
    cells_.Put32(before, security_at::kNext, next);
    cells_.Free(security);
}

}  // namespace bkfd
