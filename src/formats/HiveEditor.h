#pragma once

#include "formats/HiveCells.h"

namespace bkfd {

/// What became of a change, and the broken rule if it was `Damaged`.
struct HiveChange {
    HiveOutcome outcome = HiveOutcome::Done;
    HiveFault fault;
};

/// Changes single keys and values of a hive of version 1.3 to 1.6. A change touches as few cells as
/// it can, and is made as a whole or not at all. Names may hold NULs and lone surrogates. Sizes,
/// counts, hashes, times and references are kept right; sequence numbers and checksum are left to
/// who writes the hive. Times are those of the clock, FILETIME.
class HiveEditor {
  public:
    using Clock = std::function<std::uint64_t()>;

    HiveEditor(std::span<std::uint8_t> room, std::size_t fileSize, Clock clock)
        : cells_(room, fileSize), clock_(std::move(clock)) {}

    ByteView File() const { return cells_.File(); }
    HiveCells& Cells() { return cells_; }
    const HiveCells& Cells() const { return cells_; }

    /// Makes keys below `key`, one below the other, where they are missing.
    HiveChange MakeKeys(CellOffset key, std::span<const Text> names);
    /// The same, and sets a value of the last one; an old value keeps its place and its name's
    /// case. The data must not be a view of the hive.
    HiveChange SetValue(CellOffset key, std::span<const Text> names, TextView name,
                        std::uint32_t type, ByteView data);
    HiveChange DeleteValue(CellOffset key, TextView name);
    /// Deletes a key without subkeys, with its values.
    HiveChange DeleteSubkey(CellOffset parent, TextView name);

  private:
    HiveChange Run(const std::function<void()>& change);

    CellOffset Make(CellOffset key, std::span<const Text> names);
    CellOffset AddKey(CellOffset parent, TextView name);
    void RemoveKey(CellOffset parent, const HiveKey& key);
    void Stamp(CellOffset key);

    void AddValue(CellOffset key, TextView name, std::uint32_t type, ByteView data);
    void ChangeValue(CellOffset key, const HiveValue& value, std::uint32_t type, ByteView data);
    void RemoveValue(CellOffset key, const HiveValue& value);
    void NoteData(CellOffset key, std::size_t size);
    CellOffset StoreData(ByteView data);
    CellOffset StoreSegments(ByteView data);
    void FreeData(const HiveValue& value);

    void AddSecurityReference(CellOffset security);
    void ReleaseSecurity(CellOffset security);

    HiveCells cells_;
    Clock clock_;
};

}  // namespace bkfd
