#include "services/KeyedList.h"

#include <algorithm>
#include <bit>
#include <type_traits>

#include "base/RuntimeError.h"

namespace bkfd {
namespace {

constexpr std::size_t kFirstSlotCount = 16;

/// FNV-1a over the lower-cased units.
std::uint32_t HashIgnoreCase(TextView key) {
    std::uint64_t hash = 14695981039346656037ULL;
    for (const char16_t unit : key) {
        const bool isPlain = unit < u'A' || (unit > u'Z' && unit < 0x80);
        hash = (hash ^ (isPlain ? unit : ToLower(unit))) * 1099511628211ULL;
    }
    return static_cast<std::uint32_t>(hash ^ (hash >> 32));
}

}  // namespace

void KeyedList::Reserve(std::size_t count) {
    entries_.reserve(count);
    ReserveSlots(count);
}

void KeyedList::Add(Variant item) {
    Insert({std::move(item), {}, 0, false}, entries_.size());
}

void KeyedList::Add(Variant item, Text key) {
    Insert({std::move(item), std::move(key), 0, true}, entries_.size());
}

void KeyedList::Add(Variant item, const Variant& key, const Variant& before, const Variant& after) {
    if (!before.IsEmpty() && !after.IsEmpty()) {
        throw RuntimeError(ErrorNumber::InvalidProcedureCall);
    }
    std::size_t index = entries_.size();
    if (!before.IsEmpty()) index = IndexOf(before);
    if (!after.IsEmpty()) index = IndexOf(after) + 1;
    Insert({std::move(item), key.AsText(), 0, !key.IsEmpty()}, index);
}

void KeyedList::Remove(TextView key) {
    entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(IndexOfKey(key)));
    RefillSlots();
}

const Variant& KeyedList::Item(std::int32_t position) const {
    return entries_[IndexOfPosition(position)].item;
}

const Variant& KeyedList::Item(TextView key) const {
    return entries_[IndexOfKey(key)].item;
}

const Variant& KeyedList::Item(const Variant& positionOrKey) const {
    return entries_[IndexOf(positionOrKey)].item;
}

void KeyedList::Clear() {
    entries_.clear();
    slots_.clear();
}

bool KeyedList::Exists(TextView key) const {
    return Lookup(key, HashIgnoreCase(key)) != entries_.size();
}

Variant KeyedList::Invoke(TextView name, std::span<Variant> arguments) {
    if (name == u"Count" && arguments.empty()) return Count();
    if (name == u"Item" && arguments.size() == 1) return Item(arguments[0]);
    return Object::Invoke(name, arguments);
}

void KeyedList::Insert(Entry&& entry, std::size_t index) {
    static_assert(std::is_nothrow_move_constructible_v<Entry> &&
                  std::is_nothrow_move_assignable_v<Entry>);
    if (entry.hasKey) {
        entry.hash = HashIgnoreCase(entry.key);
        if (Lookup(entry.key, entry.hash) != entries_.size()) {
            throw RuntimeError(ErrorNumber::KeyAlreadyAssociated);
        }
        ReserveSlots(entries_.size() + 1);  // first: behind the insertion nothing may fail
    }
    const bool hasKey = entry.hasKey;
    const bool atEnd = index == entries_.size();
    if (atEnd) {
        entries_.push_back(std::move(entry));
        if (hasKey) AddSlot(index);
    } else {
        entries_.insert(entries_.begin() + static_cast<std::ptrdiff_t>(index), std::move(entry));
        RefillSlots();
    }
}

std::size_t KeyedList::IndexOf(const Variant& positionOrKey) const {
    return positionOrKey.IsText() ? IndexOfKey(positionOrKey.TextRef())
                                  : IndexOfPosition(positionOrKey.AsInteger());
}

std::size_t KeyedList::IndexOfPosition(std::int32_t position) const {
    if (position < 1 || position > Count()) throw RuntimeError(ErrorNumber::SubscriptOutOfRange);
    return static_cast<std::size_t>(position) - 1;
}

std::size_t KeyedList::IndexOfKey(TextView key) const {
    const std::size_t index = Lookup(key, HashIgnoreCase(key));
    if (index == entries_.size()) throw RuntimeError(ErrorNumber::InvalidProcedureCall);
    return index;
}

std::size_t KeyedList::Lookup(TextView key, std::uint32_t hash) const {
    if (slots_.empty()) return entries_.size();
    const std::size_t mask = slots_.size() - 1;
    for (std::size_t at = hash & mask; slots_[at].entry != 0; at = (at + 1) & mask) {
        const std::size_t index = slots_[at].entry - 1;
        if (slots_[at].hash == hash && EqualsIgnoreCase(entries_[index].key, key)) return index;
    }
    return entries_.size();
}

void KeyedList::ReserveSlots(std::size_t count) {
    if (count * 2 <= slots_.size()) return;
    slots_ = std::vector<Slot>(std::max(kFirstSlotCount, std::bit_ceil(count * 2)));
    RefillSlots();
}

void KeyedList::AddSlot(std::size_t index) {
    const std::uint32_t hash = entries_[index].hash;
    const std::size_t mask = slots_.size() - 1;
    std::size_t at = hash & mask;
    while (slots_[at].entry != 0) at = (at + 1) & mask;
    slots_[at] = {hash, static_cast<std::uint32_t>(index + 1)};
}

void KeyedList::RefillSlots() {
    std::ranges::fill(slots_, Slot{});
    for (std::size_t i = 0; i < entries_.size(); ++i) {
        if (entries_[i].hasKey) AddSlot(i);
    }
}

}  // namespace bkfd
