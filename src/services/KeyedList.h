#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "base/Variant.h"

namespace bkfd {

/// An ordered list of values, each with an optional unique key. Positions count from 1, in order.
/// Keys ignore case (simple, locale-free folding); the empty text is a key like any other. `Add`,
/// `Exists` and `Item` by key take about constant time. A failure is a RuntimeError and leaves the
/// list as it was.
class KeyedList : public Object {
  public:
    KeyedList() = default;
    KeyedList(KeyedList&&) = default;
    KeyedList& operator=(KeyedList&&) = default;

    std::int32_t Count() const { return static_cast<std::int32_t>(entries_.size()); }

    /// Makes room for that many entries in all, so that adding them moves nothing.
    void Reserve(std::size_t count);
    /// Appends an item without a key.
    void Add(Variant item);
    /// Appends an item under a key. A key that is there already is KeyAlreadyAssociated.
    void Add(Variant item, Text key);
    /// The full form: an empty variant as `key` means no key; `before` or `after`, a position or a
    /// key, place the item there. Both at once are InvalidProcedureCall.
    void Add(Variant item, const Variant& key, const Variant& before, const Variant& after = {});

    /// A key that isn't there is InvalidProcedureCall.
    void Remove(TextView key);
    /// By position: out of range is SubscriptOutOfRange.
    const Variant& Item(std::int32_t position) const;
    /// By key: a key that isn't there is InvalidProcedureCall.
    const Variant& Item(TextView key) const;
    const Variant& Item(const Text& key) const { return Item(TextView(key)); }
    const Variant& Item(const char16_t* key) const { return Item(TextView(key)); }
    /// An integer is a position, a text a key.
    const Variant& Item(const Variant& positionOrKey) const;
    void Clear();
    bool Exists(TextView key) const;

    /// Members by name: "Count", "Item".
    Variant Invoke(TextView name, std::span<Variant> arguments) override;

    /// Walks the items in order. The list must not be changed meanwhile.
    class Iterator;
    Iterator begin() const;
    Iterator end() const;

  private:
    struct Entry {
        Variant item;
        Text key;
        std::uint32_t hash = 0;
        bool hasKey = false;
    };
    /// A place of the hash table: the entry's hash, so that most probes end here, and 1 + its index
    /// in entries_; 0 is free.
    struct Slot {
        std::uint32_t hash = 0;
        std::uint32_t entry = 0;
    };

    void Insert(Entry&& entry, std::size_t index);
    std::size_t IndexOf(const Variant& positionOrKey) const;
    std::size_t IndexOfPosition(std::int32_t position) const;
    std::size_t IndexOfKey(TextView key) const;
    /// The index of the entry with that key, or entries_.size().
    std::size_t Lookup(TextView key, std::uint32_t hash) const;
    void ReserveSlots(std::size_t count);
    void AddSlot(std::size_t index);
    void RefillSlots();

    std::vector<Entry> entries_;
    std::vector<Slot> slots_;  // open addressing, a power of two, at most half full
};

class KeyedList::Iterator {
  public:
    using value_type = Variant;
    using difference_type = std::ptrdiff_t;

    explicit Iterator(const Entry* entry) : entry_(entry) {}
    const Variant& operator*() const { return entry_->item; }
    const Variant* operator->() const { return &entry_->item; }
    Iterator& operator++() {
        ++entry_;
        return *this;
    }
    bool operator==(const Iterator&) const = default;

  private:
    const Entry* entry_;
};

inline KeyedList::Iterator KeyedList::begin() const {
    return Iterator(entries_.data());
}
inline KeyedList::Iterator KeyedList::end() const {
    return Iterator(entries_.data() + entries_.size());
}

}  // namespace bkfd
