#pragma once

#include "formats/HiveCells.h"

namespace bkfd {

/// The lists of a key's subkeys as they are changed: one leaf, or several under a list of lists.
/// Entries stay in the order of the names. Members throw `HiveStop`.
class HiveSubkeyLists {
  public:
    HiveSubkeyLists(HiveCells& cells, CellOffset key);

    void Add(CellOffset subkey, TextView name);
    void Remove(CellOffset subkey);

  private:
    struct Entry {
        CellOffset key = kNoCell;
        std::uint32_t hint = 0;
    };
    struct Leaf {
        CellOffset cell = kNoCell;
        HiveListKind kind{};
        std::vector<Entry> entries;
    };

    Leaf Read(CellOffset list) const;
    void Store(Leaf& leaf);
    void StoreRoot();
    CellOffset StoreCell(CellOffset cell, const Bytes& content);
    std::size_t LeafFor(TextView name) const;
    std::size_t PlaceIn(const Leaf& leaf, TextView name) const;
    int Compare(CellOffset subkey, TextView name) const;
    HiveListKind KindOfVersion() const;

    HiveCells& cells_;
    CellOffset key_;
    CellOffset root_ = kNoCell;  // the list of lists, if there is one
    std::vector<CellOffset> leaves_;
};

}  // namespace bkfd
