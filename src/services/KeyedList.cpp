#include "services/KeyedList.h"

#include <algorithm>

#include "base/RuntimeError.h"

namespace bkfd {
namespace {

/// FNV-1a over the lower-cased units.
std::size_t HashIgnoreCase(TextView key) {
    std::uint64_t hash = 14695981039346656037ULL;
    for (const char16_t unit : key) hash = (hash ^ ToLower(unit)) * 1099511628211ULL;
    return static_cast<std::size_t>(hash ^ (hash >> 32));
}

}  // namespace

void KeyedList::Add(Variant item) {
    Insert({std::move(item), {}, false}, entries_.size());
}

void KeyedList::Add(Variant item, Text key) {
    Insert({std::move(item), std::move(key), true}, entries_.size());
}

void KeyedList::Add(Variant item, const Variant& key, const Variant& before, const Variant& after) {
    if (!before.IsEmpty() && !after.IsEmpty()) {
        throw RuntimeError(ErrorNumber::InvalidProcedureCall);
    }
    std::size_t index = entries_.size();
    if (!before.IsEmpty()) index = IndexOf(before);
    if (!after.IsEmpty()) index = IndexOf(after) + 1;
    Insert({std::move(item), key.AsText(), !key.IsEmpty()}, index);
}

void KeyedList::Remove(TextView key) {
    const std::size_t index = Lookup(key);
    if (index == entries_.size()) throw RuntimeError(ErrorNumber::InvalidProcedureCall);
    entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(index));
    RebuildSlots(slots_.size());
}

const Variant& KeyedList::Item(std::int32_t position) const {
    if (position < 1 || position > Count()) throw RuntimeError(ErrorNumber::SubscriptOutOfRange);
    return entries_[static_cast<std::size_t>(position) - 1].item;
}

const Variant& KeyedList::Item(TextView key) const {
    const std::size_t index = Lookup(key);
    if (index == entries_.size()) throw RuntimeError(ErrorNumber::InvalidProcedureCall);
    return entries_[index].item;
}

const Variant& KeyedList::Item(const Variant& positionOrKey) const {
    return entries_[IndexOf(positionOrKey)].item;
}

void KeyedList::Clear() {
    entries_.clear();
    slots_.clear();
}

bool KeyedList::Exists(TextView key) const {
    return Lookup(key) != entries_.size();
}

Variant KeyedList::Invoke(TextView name, std::span<Variant> arguments) {
    if (name == u"Count" && arguments.empty()) return Count();
    if (name == u"Item" && arguments.size() == 1) return Item(arguments[0]);
    return Object::Invoke(name, arguments);
}

void KeyedList::Insert(Entry entry, std::size_t index) {
    if (entry.hasKey && Exists(entry.key)) throw RuntimeError(ErrorNumber::KeyAlreadyAssociated);
    const bool atEnd = index == entries_.size();
    const bool hasKey = entry.hasKey;
    entries_.insert(entries_.begin() + static_cast<std::ptrdiff_t>(index), std::move(entry));
    if (entries_.size() * 2 > slots_.size()) {
        RebuildSlots(std::max<std::size_t>(8, slots_.size() * 2));
    } else if (!atEnd) {
        RebuildSlots(slots_.size());
    } else if (hasKey) {
        AddSlot(index);
    }
}

std::size_t KeyedList::IndexOf(const Variant& positionOrKey) const {
    if (positionOrKey.IsText()) {
        const std::size_t index = Lookup(positionOrKey.TextRef());
        if (index == entries_.size()) throw RuntimeError(ErrorNumber::InvalidProcedureCall);
        return index;
    }
    const std::int32_t position = positionOrKey.AsInteger();
    if (position < 1 || position > Count()) throw RuntimeError(ErrorNumber::SubscriptOutOfRange);
    return static_cast<std::size_t>(position) - 1;
}

std::size_t KeyedList::Lookup(TextView key) const {
    if (slots_.empty()) return entries_.size();
    const std::size_t mask = slots_.size() - 1;
    for (std::size_t at = HashIgnoreCase(key) & mask; slots_[at] != 0; at = (at + 1) & mask) {
        const std::size_t index = slots_[at] - 1;
        if (EqualsIgnoreCase(entries_[index].key, key)) return index;
    }
    return entries_.size();
}

void KeyedList::AddSlot(std::size_t index) {
    const std::size_t mask = slots_.size() - 1;
    std::size_t at = HashIgnoreCase(entries_[index].key) & mask;
    while (slots_[at] != 0) at = (at + 1) & mask;
    slots_[at] = static_cast<Slot>(index + 1);
}

void KeyedList::RebuildSlots(std::size_t slotCount) {
    slots_.assign(slotCount, 0);
    for (std::size_t i = 0; i < entries_.size(); ++i) {
        if (entries_[i].hasKey) AddSlot(i);
    }
}

}  // namespace bkfd
