#pragma once

#include <map>
#include <set>
#include <vector>

#include "formats/Hive.h"

namespace bkfd {

/// How a change of a hive ended.
enum class HiveOutcome {
    Done,
    NotFound,    // the key or value isn't there
    HasSubkeys,  // a key that is to be deleted
    TooLong,     // a name or data longer than the form can hold
    Full,        // the hive can't grow further
    Damaged,     // what the change needs is broken
};

/// Ends a change of a hive at any depth; the change is taken back then.
struct HiveStop {
    HiveOutcome outcome = HiveOutcome::Damaged;
    HiveFault fault;
};

/// The bytes of a hive as they are changed: cells are allocated and freed, every change is noted by
/// its page, and the changes since `Begin` can be taken back. Members throw `HiveStop`.
class HiveCells {
  public:
    /// `room` begins with the file's bytes, `fileSize` of them, and has zeros behind, into which
    /// the hive can grow.
    HiveCells(std::span<std::uint8_t> room, std::size_t fileSize)
        : room_(room), fileSize_(fileSize) {}

    ByteView File() const { return room_.first(fileSize_); }
    /// Reads it as it is now; valid until the next change.
    const Hive& View() const;
    /// Numbers of the pages of 4096 bytes of the file that were changed.
    const std::set<std::size_t>& ChangedPages() const { return changedPages_; }

    void Begin();
    void TakeBack();

    /// A cell in use with room for that many bytes, all zero.
    CellOffset Allocate(std::size_t size);
    void Free(CellOffset cell);
    /// The content of a cell in use.
    ByteView Content(CellOffset cell) const;

    void Put16(CellOffset cell, std::size_t at, std::uint16_t value);
    void Put32(CellOffset cell, std::size_t at, std::uint32_t value);
    void Put64(CellOffset cell, std::size_t at, std::uint64_t value);
    void Put(CellOffset cell, std::size_t at, ByteView bytes);

    /// Puts bytes anywhere into the file, which grows if it must; can't be taken back.
    void PutIntoFile(std::size_t at, ByteView bytes);

  private:
    struct Change {
        std::size_t at = 0;
        Bytes before;
    };

    void Write(std::size_t at, ByteView bytes);
    void WriteSize(CellOffset cell, std::int64_t size);
    void NotePages(std::size_t at, std::size_t size);

    void Prepare();
    void AddBin(CellOffset at, std::size_t size);
    void Grow(std::size_t cellSize);
    void CheckEnd();
    CellOffset EndOfBin(CellOffset cell) const;
    void AddFree(CellOffset cell, std::uint32_t size);
    void RemoveFree(CellOffset cell);

    std::span<std::uint8_t> room_;
    std::size_t fileSize_;
    mutable std::optional<Hive> view_;
    std::set<std::size_t> changedPages_;

    std::vector<Change> changes_;  // since `Begin`
    std::vector<std::size_t> newPages_;
    std::size_t fileSizeBefore_ = 0;

    bool isPrepared_ = false;
    bool isEndChecked_ = false;
    std::vector<CellOffset> bins_;              // where they begin, and the end of the last
    std::map<CellOffset, std::uint32_t> free_;  // sizes by place
    std::set<std::pair<std::uint32_t, CellOffset>> bySize_;
    std::vector<bool> isUsed_;  // by offset / 8: a cell in use begins there
};

}  // namespace bkfd
