#include "formats/HiveChecker.h"

#include <algorithm>
#include <map>
#include <set>

#include "formats/Hive.h"

namespace bkfd {

using namespace hive;

namespace {

class Checker {
  public:
    Checker(const Hive& hive, std::size_t most)
        : hive_(hive),
          most_(most),
          isCell_(hive.BinsSize() / kCellUnit),
          isUsed_(hive.BinsSize() / kCellUnit) {}

    std::vector<HiveFinding> Run() {
        CheckBaseBlock();
        CheckBins();
        CheckKey(hive_.BaseBlock().root, kNoCell);
        CheckSecurities();
        CheckLostCells();
        return std::move(findings_);
    }

  private:
    void Tell(HiveRule rule, CellOffset cell) {
        if (findings_.size() < most_) findings_.push_back({path_, {rule, cell}});
    }

    void CheckBaseBlock() {
        const HiveBaseBlock& base = hive_.BaseBlock();
        const bool isSizePossible = base.binsSize > 0 && base.binsSize % kBinUnit == 0;
        if (!base.isChecksumRight) Tell(HiveRule::BaseChecksum, kNoCell);
        if (base.primarySequence != base.secondarySequence) Tell(HiveRule::BaseSequences, kNoCell);
        if (base.type != kPrimaryFile || base.format != 1) Tell(HiveRule::BaseType, kNoCell);
        if (!isSizePossible) Tell(HiveRule::BinsSize, kNoCell);
        if (base.binsSize > hive_.BinsSize()) Tell(HiveRule::CutOff, kNoCell);
    }

    void CheckBins() {
        const ByteView bins = hive_.Bins();
        std::size_t at = 0;
        while (at < bins.size()) {
            const auto offset = static_cast<CellOffset>(at);
            const bool isWhole = bins.size() - at >= kBinHeaderSize;
            if (!isWhole || !HasText(bins, at, "hbin") || Read32(bins, at + 4) != offset) {
                return Tell(HiveRule::BinHeader, offset);
            }
            const std::size_t size = Read32(bins, at + 8);
            if (size == 0 || size % kBinUnit != 0 || size > bins.size() - at) {
                return Tell(HiveRule::BinSize, offset);
            }
            CheckCells(at + kBinHeaderSize, at + size);
            at += size;
        }
    }

    /// The cells of a bin fill it without a gap.
    void CheckCells(std::size_t at, std::size_t end) {
        while (at < end) {
            const auto stored = static_cast<std::int32_t>(Read32(hive_.Bins(), at));
            const auto size = static_cast<std::size_t>(std::abs(std::int64_t{stored}));
            if (size < kCellUnit || size % kCellUnit != 0 || size > end - at) {
                return Tell(HiveRule::CellSize, static_cast<CellOffset>(at));
            }
            if (stored < 0) isCell_[at / kCellUnit] = true;
            at += size;
        }
    }

    /// Marks a cell in use as belonging to something; false if it is none or belongs to something
    /// else. `fault` is what reading it gave.
    bool Use(CellOffset offset, const std::optional<HiveFault>& fault) {
        if (fault) {
            Tell(fault->rule, fault->cell);
            return false;
        }
        if (!isCell_[offset / kCellUnit]) {
            Tell(HiveRule::CellInside, offset);
            return false;
        }
        if (isUsed_[offset / kCellUnit]) {
            Tell(HiveRule::CellTwice, offset);
            return false;
        }
        isUsed_[offset / kCellUnit] = true;
        return true;
    }
    bool Use(CellOffset offset) { return Use(offset, hive_.Cell(offset).fault); }

    void CheckKey(CellOffset offset, CellOffset parent) {
        const auto key = hive_.Key(offset);
        if (!Use(offset, key.fault)) return;
        const bool isRoot = parent == kNoCell;
        const HiveName name = key->Name();
        const bool isNamed = isRoot || name.Length() > 0;
        const bool isWhole = name.isLatin1 || name.bytes.size() % 2 == 0;
        if (!isNamed || !isWhole || name.Length() > kLongestKeyName) {
            Tell(HiveRule::KeyName, offset);
        }
        // Other keys may have the flag, which Windows XP has given to users.
        if (isRoot && (key->Flags() & kIsRoot) == 0) Tell(HiveRule::KeyRootFlag, offset);
        if (!isRoot && key->Parent() != parent) Tell(HiveRule::KeyParent, offset);
        if (key->Class() != kNoCell && key->ClassSize() > 0) {
            Use(key->Class(), hive_.ClassName(*key).fault);
        }
        CheckSecurity(*key);
        CheckValues(*key);
        CheckSubkeys(*key);
    }

    void CheckSecurity(const HiveKey& key) {
        const auto descriptor = hive_.SecurityDescriptor(key);
        if (descriptor.fault) return Tell(descriptor.fault->rule, descriptor.fault->cell);
        ++securities_[key.Security()];
    }

    void CheckValues(const HiveKey& key) {
        if (key.ValueCount() == 0 || !Use(key.ValueList())) return;
        std::set<Text> names;
        hive_.ForEachValue(key, [&](const HiveResult<HiveValue>& value) {
            if (value.fault && value.fault->cell == key.ValueList()) {
                Tell(value.fault->rule, value.fault->cell);
            } else if (Use(value->Offset(), value.fault)) {
                CheckValue(key, *value, names);
            }
            return findings_.size() < most_;
        });
    }

    void CheckValue(const HiveKey& key, const HiveValue& value, std::set<Text>& names) {
        const HiveName name = value.Name();
        if (!name.isLatin1 && name.bytes.size() % 2 != 0) {
            Tell(HiveRule::ValueName, value.Offset());
        }
        if (2 * name.Length() > key.LargestValueName()) {
            Tell(HiveRule::LargestValueName, key.Offset());
        }
        if (value.DataSize() > key.LargestValueData()) {
            Tell(HiveRule::LargestValueData, key.Offset());
        }
        Text upper = name.ToText();
        std::ranges::transform(upper, upper.begin(), HiveUpperCase);
        if (!names.insert(std::move(upper)).second) Tell(HiveRule::ValueTwice, value.Offset());
        CheckData(value);
    }

    void CheckData(const HiveValue& value) {
        const auto fault = hive_.Data(value, pieces_);
        if (fault) Tell(fault->rule, fault->cell);
        const std::uint32_t size = value.DataSize();
        if (fault || size == 0 || value.IsInline() || !Use(value.Data())) return;
        if (size <= kLongestCellData || hive_.BaseBlock().minor < kFirstWithBigData) return;
        const auto record = hive_.Cell(value.Data());
        if (!HasText(*record, 0, "db")) return Tell(HiveRule::BigDataSignature, value.Data());
        const std::size_t count = Read16(*record, 2);
        const CellOffset list = Read32(*record, 4);
        if (count != (size + kLongestCellData - 1) / kLongestCellData) {
            Tell(HiveRule::BigDataSegments, value.Data());
        }
        if (!Use(list)) return;
        const auto segments = hive_.Cell(list);
        for (std::size_t i = 0; i < std::min(count, segments->size() / 4); ++i) {
            Use(Read32(*segments, 4 * i));
        }
    }

    void CheckSubkeys(const HiveKey& key) {
        if (key.SubkeyCount() == 0 || !UseLists(key.SubkeyList())) return;
        const std::size_t length = path_.size();
        std::uint32_t count = 0;
        std::optional<Text> before;
        hive_.ForEachSubkey(key, [&](const HiveResult<HiveListEntry>& entry) {
            if (entry.fault) {
                Tell(entry.fault->rule, entry.fault->cell);
                return findings_.size() < most_;
            }
            ++count;
            const auto subkey = hive_.Key(entry->key);
            const Text name = subkey ? subkey->Name().ToText() : Text();
            path_ += u'\\' + name;
            if (subkey) {
                CheckEntry(*entry, name);
                if (before && CompareHiveNames(*before, name) >= 0) {
                    Tell(HiveRule::KeyOrder, entry->key);
                }
                before = name;
                if (2 * name.size() > key.LargestSubkeyName()) {
                    Tell(HiveRule::LargestSubkeyName, key.Offset());
                }
            }
            if (++depth_ > kDeepestKey) {
                Tell(HiveRule::KeyDepth, entry->key);
            } else {
                CheckKey(entry->key, key.Offset());
            }
            --depth_;
            path_.resize(length);
            return findings_.size() < most_;
        });
        if (count != key.SubkeyCount()) Tell(HiveRule::SubkeyCount, key.Offset());
    }

    /// Marks a key's lists as used; false if one of them is wrong or another's.
    bool UseLists(CellOffset list) {
        if (!Use(list)) return false;
        const auto cell = hive_.Cell(list);
        if (!HasText(*cell, 0, "ri")) return true;
        const std::size_t there = (cell->size() - kListHeaderSize) / 4;
        bool areRight = true;
        for (std::size_t i = 0; i < std::min<std::size_t>(Read16(*cell, 2), there); ++i) {
            areRight &= Use(Read32(*cell, kListHeaderSize + 4 * i));
        }
        return areRight;
    }

    void CheckEntry(const HiveListEntry& entry, const Text& name) {
        if (entry.kind == HiveListKind::Hashes) {
            if (hive_.BaseBlock().minor < kFirstWithHashes) {
                Tell(HiveRule::ListVersion, entry.list);
            }
            if (entry.hint != HiveNameHash(name)) Tell(HiveRule::ListHash, entry.key);
        } else if (entry.kind == HiveListKind::Hints && !IsHintRight(entry.hint, name)) {
            Tell(HiveRule::ListHint, entry.key);
        }
    }

    /// Versions of Windows differ in what they write for names that aren't ASCII.
    static bool IsHintRight(std::uint32_t hint, const Text& name) {
        const TextView first = TextView(name).substr(0, 4);
        if (std::ranges::any_of(first, [](char16_t unit) { return unit >= 0x80; })) return true;
        for (std::size_t i = 0; i < 4; ++i) {
            const char16_t unit = i < first.size() ? first[i] : u'\0';
            if (HiveUpperCase(static_cast<char16_t>(hint >> 8 * i & 0xFF)) != HiveUpperCase(unit)) {
                return false;
            }
        }
        return true;
    }

    /// All descriptors stand in one ring, linked both ways, each with the number of its keys.
    void CheckSecurities() {
        for (const auto& [offset, count] : securities_) {
            if (!Use(offset)) continue;
            const auto cell = hive_.Cell(offset);
            if (Read32(*cell, 12) != count) Tell(HiveRule::SecurityCount, offset);
        }
        if (securities_.empty()) return;
        std::size_t met = 0;
        CellOffset at = securities_.begin()->first;
        do {
            const auto cell = hive_.Cell(at);
            const CellOffset next = Read32(*cell, 4);
            const auto after = hive_.Cell(next);
            const bool isDescriptor =
                after && after->size() >= kSecuritySize && HasText(*after, 0, "sk");
            if (!isDescriptor || Read32(*after, 8) != at) return Tell(HiveRule::SecurityRing, at);
            // One that no key uses is lost, which is told with the other lost cells.
            met += securities_.contains(at);
            at = next;
        } while (at != securities_.begin()->first);
        if (met != securities_.size()) Tell(HiveRule::SecurityRing, kNoCell);
    }

    void CheckLostCells() {
        for (std::size_t i = 0; i < isCell_.size() && findings_.size() < most_; ++i) {
            if (isCell_[i] && !isUsed_[i]) {
                Tell(HiveRule::CellUnreferenced, static_cast<CellOffset>(i * kCellUnit));
            }
        }
    }

    const Hive& hive_;
    std::size_t most_;
    std::vector<bool> isCell_;                        // by offset / 8: a cell in use begins there
    std::vector<bool> isUsed_;                        // something was found to point there
    std::map<CellOffset, std::uint32_t> securities_;  // how many keys use each
    std::vector<ByteView> pieces_;
    Text path_;
    std::size_t depth_ = 0;
    std::vector<HiveFinding> findings_;
};

}  // namespace

std::vector<HiveFinding> CheckHive(ByteView file, std::size_t most) {
    const auto opened = Hive::Open(file);
    const auto* const hive = std::get_if<Hive>(&opened);
    if (hive == nullptr) return {{{}, {HiveRule::BaseType, kNoCell}}};
    return Checker(*hive, most).Run();
}

}  // namespace bkfd
