#include "formats/HiveSubkeyLists.h"

#include <algorithm>

namespace bkfd {

using namespace hive;

namespace {

constexpr std::size_t kSubkeyListAt = 28;  // of a key
// A list fits into a bin of one page, as Windows keeps it.
constexpr std::size_t kRoomInBin = kBinUnit - kBinHeaderSize - 4 - kListHeaderSize;
constexpr std::size_t kMostPlain = kRoomInBin / 4;
constexpr std::size_t kMostHinted = kRoomInBin / 8;
constexpr std::size_t kMostLeaves = 0xFFFF;

std::size_t EntrySize(HiveListKind kind) {
    return kind == HiveListKind::Plain ? 4 : 8;
}

std::size_t MostEntries(HiveListKind kind) {
    return kind == HiveListKind::Plain ? kMostPlain : kMostHinted;
}

const char* SignatureOf(HiveListKind kind) {
    return kind == HiveListKind::Plain ? "li" : kind == HiveListKind::Hints ? "lf" : "lh";
}

/// None if one of the first characters has no byte, so that nobody relies on it.
std::uint32_t HintOf(TextView name) {
    std::uint32_t hint = 0;
    for (std::size_t i = 0; i < std::min<std::size_t>(4, name.size()); ++i) {
        if (name[i] > 0xFF) return 0;
        hint |= std::uint32_t{name[i]} << 8 * i;
    }
    return hint;
}

Bytes ListHeader(std::string_view signature, std::size_t count) {
    Bytes list(signature.begin(), signature.end());
    list.resize(kListHeaderSize);
    Write16(list, 2, static_cast<std::uint16_t>(count));
    return list;
}

void Append32(Bytes& bytes, std::uint32_t value) {
    bytes.resize(bytes.size() + 4);
    Write32(bytes, bytes.size() - 4, value);
}

}  // namespace

HiveSubkeyLists::HiveSubkeyLists(HiveCells& cells, CellOffset key) : cells_(cells), key_(key) {
    const auto nk = cells.View().Key(key);
    if (!nk) throw HiveStop{HiveOutcome::Damaged, *nk.fault};
    if (nk->SubkeyCount() == 0) return;
    const ByteView list = cells.Content(nk->SubkeyList());
    if (!HasText(list, 0, "ri")) {
        leaves_.push_back(nk->SubkeyList());
        return;
    }
    root_ = nk->SubkeyList();
    const std::size_t count = Read16(list, 2);
    if (count > (list.size() - kListHeaderSize) / 4) {
        throw HiveStop{HiveOutcome::Damaged, {HiveRule::ListSize, root_}};
    }
    for (std::size_t i = 0; i < count; ++i) {
        leaves_.push_back(Read32(list, kListHeaderSize + 4 * i));
    }
}

HiveSubkeyLists::Leaf HiveSubkeyLists::Read(CellOffset list) const {
    const ByteView cell = cells_.Content(list);
    Leaf leaf{list, {}, {}};
    if (HasText(cell, 0, "li")) {
        leaf.kind = HiveListKind::Plain;
    } else if (HasText(cell, 0, "lf")) {
        leaf.kind = HiveListKind::Hints;
    } else if (HasText(cell, 0, "lh")) {
        leaf.kind = HiveListKind::Hashes;
    } else {
        throw HiveStop{HiveOutcome::Damaged, {HiveRule::ListSignature, list}};
    }
    const std::size_t size = EntrySize(leaf.kind);
    const std::size_t count = Read16(cell, 2);
    if (count > (cell.size() - kListHeaderSize) / size) {
        throw HiveStop{HiveOutcome::Damaged, {HiveRule::ListSize, list}};
    }
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t at = kListHeaderSize + i * size;
        leaf.entries.push_back({Read32(cell, at), size == 4 ? 0 : Read32(cell, at + 4)});
    }
    return leaf;
}

/// Puts content into the cell, or into a new one if it is too small or there is none.
CellOffset HiveSubkeyLists::StoreCell(CellOffset cell, const Bytes& content) {
    if (cell == kNoCell || cells_.Content(cell).size() < content.size()) {
        if (cell != kNoCell) cells_.Free(cell);
        cell = cells_.Allocate(content.size());
    }
    cells_.Put(cell, 0, content);
    return cell;
}

void HiveSubkeyLists::Store(Leaf& leaf) {
    Bytes content = ListHeader(SignatureOf(leaf.kind), leaf.entries.size());
    for (const Entry& entry : leaf.entries) {
        Append32(content, entry.key);
        if (leaf.kind != HiveListKind::Plain) Append32(content, entry.hint);
    }
    leaf.cell = StoreCell(leaf.cell, content);
}

/// Tells the key where its lists are.
void HiveSubkeyLists::StoreRoot() {
    CellOffset list = kNoCell;
    if (leaves_.empty()) {
        if (root_ != kNoCell) cells_.Free(root_);
        root_ = kNoCell;
    } else if (root_ == kNoCell && leaves_.size() == 1) {
        list = leaves_.front();
    } else {
        if (leaves_.size() > kMostLeaves) throw HiveStop{HiveOutcome::Full, {}};
        Bytes content = ListHeader("ri", leaves_.size());
        for (const CellOffset leaf : leaves_) Append32(content, leaf);
        root_ = list = StoreCell(root_, content);
    }
    cells_.Put32(key_, kSubkeyListAt, list);
}

int HiveSubkeyLists::Compare(CellOffset subkey, TextView name) const {
    const auto key = cells_.View().Key(subkey);
    if (!key) throw HiveStop{HiveOutcome::Damaged, *key.fault};
    return key->Name().Compare(name);
}

/// The last leaf that doesn't begin behind the name.
std::size_t HiveSubkeyLists::LeafFor(TextView name) const {
    std::size_t i = leaves_.size() - 1;
    while (i > 0) {
        const Leaf leaf = Read(leaves_[i]);
        if (!leaf.entries.empty() && Compare(leaf.entries.front().key, name) < 0) break;
        --i;
    }
    return i;
}

std::size_t HiveSubkeyLists::PlaceIn(const Leaf& leaf, TextView name) const {
    const auto place = std::ranges::partition_point(
        leaf.entries, [&](const Entry& entry) { return Compare(entry.key, name) < 0; });
    return static_cast<std::size_t>(place - leaf.entries.begin());
}

HiveListKind HiveSubkeyLists::KindOfVersion() const {
    return cells_.View().BaseBlock().minor >= kFirstWithHashes ? HiveListKind::Hashes
                                                               : HiveListKind::Hints;
}

void HiveSubkeyLists::Add(CellOffset subkey, TextView name) {
    if (leaves_.empty()) {
        leaves_.push_back(kNoCell);
    }
    const std::size_t number = leaves_.front() == kNoCell ? 0 : LeafFor(name);
    Leaf leaf =
        leaves_[number] == kNoCell ? Leaf{kNoCell, KindOfVersion(), {}} : Read(leaves_[number]);
    const std::uint32_t hint = leaf.kind == HiveListKind::Plain    ? 0
                               : leaf.kind == HiveListKind::Hashes ? HiveNameHash(name)
                                                                   : HintOf(name);
    const auto place = static_cast<std::ptrdiff_t>(PlaceIn(leaf, name));
    leaf.entries.insert(leaf.entries.begin() + place, {subkey, hint});
    if (leaf.entries.size() > MostEntries(leaf.kind)) {
        // What comes in its order, as most does, leaves full lists behind it.
        const bool isLast = static_cast<std::size_t>(place) + 1 == leaf.entries.size();
        const auto half =
            static_cast<std::ptrdiff_t>(isLast ? leaf.entries.size() - 1 : leaf.entries.size() / 2);
        Leaf second{kNoCell, leaf.kind, {leaf.entries.begin() + half, leaf.entries.end()}};
        leaf.entries.erase(leaf.entries.begin() + half, leaf.entries.end());
        Store(second);
        leaves_.insert(leaves_.begin() + static_cast<std::ptrdiff_t>(number) + 1, second.cell);
    }
    Store(leaf);
    leaves_[number] = leaf.cell;
    StoreRoot();
}

void HiveSubkeyLists::Remove(CellOffset subkey) {
    for (std::size_t i = 0; i < leaves_.size(); ++i) {
        Leaf leaf = Read(leaves_[i]);
        const auto found = std::ranges::find(leaf.entries, subkey, &Entry::key);
        if (found == leaf.entries.end()) continue;
        leaf.entries.erase(found);
        if (leaf.entries.empty()) {
            cells_.Free(leaf.cell);
            leaves_.erase(leaves_.begin() + static_cast<std::ptrdiff_t>(i));
        } else {
            Store(leaf);
        }
        return StoreRoot();
    }
    throw HiveStop{HiveOutcome::Damaged, {HiveRule::SubkeyCount, key_}};
}

}  // namespace bkfd
