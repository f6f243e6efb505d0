#include "formats/HiveCells.h"

#include <algorithm>

#include "formats/HiveChecker.h"

namespace bkfd {

using namespace hive;

namespace {

constexpr std::size_t kBinsSizeAt = 40;                  // of the base block
constexpr std::size_t kMostFree = std::size_t{1} << 19;  // cells that are known as free
constexpr std::size_t kMostBins = std::size_t{1}
                                  << 31;  // bytes; a bit of cell offsets has a meaning

[[noreturn]] void Stop(HiveRule rule, CellOffset cell) {
    throw HiveStop{HiveOutcome::Damaged, {rule, cell}};
}

}  // namespace

const Hive& HiveCells::View() const {
    if (view_) return *view_;
    const auto opened = Hive::Open(File());
    const auto* const hive = std::get_if<Hive>(&opened);
    if (hive == nullptr) Stop(HiveRule::BaseType, kNoCell);
    return view_.emplace(*hive);
}

void HiveCells::Begin() {
    changes_.clear();
    newPages_.clear();
    fileSizeBefore_ = fileSize_;
}

void HiveCells::TakeBack() {
    for (auto change = changes_.rbegin(); change != changes_.rend(); ++change) {
        std::ranges::copy(change->before, room_.begin() + static_cast<std::ptrdiff_t>(change->at));
    }
    for (const std::size_t page : newPages_) changedPages_.erase(page);
    fileSize_ = fileSizeBefore_;
    view_.reset();
    // Seldom enough to find out anew what is free.
    isPrepared_ = isPrepared_ && changes_.empty();
    Begin();
}

void HiveCells::NotePages(std::size_t at, std::size_t size) {
    for (std::size_t page = at / kBinUnit; page * kBinUnit < at + size; ++page) {
        if (changedPages_.insert(page).second) newPages_.push_back(page);
    }
}

/// What is there already isn't written again, so that fewer pages change.
void HiveCells::Write(std::size_t at, ByteView bytes) {
    const auto isSame = [&](std::size_t i) { return room_[at + i] == bytes[i]; };
    std::size_t start = 0;
    std::size_t end = bytes.size();
    while (start < end && isSame(start)) ++start;
    while (start < end && isSame(end - 1)) --end;
    if (start == end) return;
    const auto place = room_.begin() + static_cast<std::ptrdiff_t>(at + start);
    changes_.push_back(
        {at + start, Bytes(place, place + static_cast<std::ptrdiff_t>(end - start))});
    std::ranges::copy(bytes.subspan(start, end - start), place);
    if (at + start < kBaseBlockSize) view_.reset();
    NotePages(at + start, end - start);
}

void HiveCells::PutIntoFile(std::size_t at, ByteView bytes) {
    if (at > room_.size() || bytes.size() > room_.size() - at) {
        throw HiveStop{HiveOutcome::Full, {}};
    }
    fileSize_ = std::max(fileSize_, at + bytes.size());
    view_.reset();
    Write(at, bytes);
    changes_.clear();
    isPrepared_ = false;
}

ByteView HiveCells::Content(CellOffset cell) const {
    const auto content = View().Cell(cell);
    if (!content) throw HiveStop{HiveOutcome::Damaged, *content.fault};
    return *content;
}

void HiveCells::Put(CellOffset cell, std::size_t at, ByteView bytes) {
    const std::size_t size = Content(cell).size();
    if (at > size || bytes.size() > size - at) Stop(HiveRule::CellSize, cell);
    Write(kBaseBlockSize + cell + 4 + at, bytes);
}

void HiveCells::Put16(CellOffset cell, std::size_t at, std::uint16_t value) {
    std::array<std::uint8_t, 2> bytes{};
    Write16(bytes, 0, value);
    Put(cell, at, bytes);
}

void HiveCells::Put32(CellOffset cell, std::size_t at, std::uint32_t value) {
    std::array<std::uint8_t, 4> bytes{};
    Write32(bytes, 0, value);
    Put(cell, at, bytes);
}

void HiveCells::Put64(CellOffset cell, std::size_t at, std::uint64_t value) {
    std::array<std::uint8_t, 8> bytes{};
    Write64(bytes, 0, value);
    Put(cell, at, bytes);
}

/// Negative for a cell in use.
void HiveCells::WriteSize(CellOffset cell, std::int64_t size) {
    std::array<std::uint8_t, 4> bytes{};
    Write32(bytes, 0, static_cast<std::uint32_t>(size));
    Write(kBaseBlockSize + cell, bytes);
}

/// Goes through all bins once: a hive whose bins or cells don't fit into each other isn't changed.
void HiveCells::Prepare() {
    if (isPrepared_) return;
    const std::size_t size = View().BaseBlock().binsSize;
    if (size == 0 || size % kBinUnit != 0 || size >= kMostBins) Stop(HiveRule::BinsSize, kNoCell);
    if (size > View().BinsSize()) Stop(HiveRule::CutOff, kNoCell);
    bins_.clear();
    free_.clear();
    bySize_.clear();
    isUsed_.assign(size / kCellUnit, false);
    const ByteView bins = File().subspan(kBaseBlockSize);
    for (std::size_t at = 0; at < size;) {
        const auto offset = static_cast<CellOffset>(at);
        if (!HasText(bins, at, "hbin") || Read32(bins, at + 4) != offset) {
            Stop(HiveRule::BinHeader, offset);
        }
        const std::size_t binSize = Read32(bins, at + 8);
        if (binSize == 0 || binSize % kBinUnit != 0 || binSize > size - at) {
            Stop(HiveRule::BinSize, offset);
        }
        AddBin(offset, binSize);
        at += binSize;
    }
    bins_.push_back(static_cast<CellOffset>(size));
    isPrepared_ = true;
}

void HiveCells::AddBin(CellOffset at, std::size_t size) {
    const ByteView bins = File().subspan(kBaseBlockSize);
    bins_.push_back(at);
    const std::size_t end = at + size;
    std::uint32_t freeSize = 0;  // of free cells side by side, which count as one
    // The memory for them is bounded: beyond a number that no real hive has they are left alone.
    const auto isWorthKnowing = [&](std::uint32_t free) {
        return free > 0 && free_.size() < kMostFree;
    };
    for (std::size_t cell = at + kBinHeaderSize; cell < end;) {
        const auto stored = static_cast<std::int32_t>(Read32(bins, cell));
        const auto cellSize = static_cast<std::size_t>(std::abs(std::int64_t{stored}));
        const auto offset = static_cast<CellOffset>(cell);
        if (cellSize < kCellUnit || cellSize % kCellUnit != 0 || cellSize > end - cell) {
            Stop(HiveRule::CellSize, offset);
        }
        if (stored < 0) {
            if (isWorthKnowing(freeSize)) AddFree(offset - freeSize, freeSize);
            freeSize = 0;
        } else {
            freeSize += static_cast<std::uint32_t>(cellSize);
        }
        isUsed_[cell / kCellUnit] = stored < 0;
        cell += cellSize;
    }
    if (isWorthKnowing(freeSize)) AddFree(static_cast<CellOffset>(end) - freeSize, freeSize);
}

void HiveCells::AddFree(CellOffset cell, std::uint32_t size) {
    free_[cell] = size;
    bySize_.emplace(size, cell);
}

void HiveCells::RemoveFree(CellOffset cell) {
    const auto found = free_.find(cell);
    bySize_.erase({found->second, cell});
    free_.erase(found);
}

CellOffset HiveCells::EndOfBin(CellOffset cell) const {
    return *std::ranges::upper_bound(bins_, cell);
}

/// Bins behind the end are what a hive has left that became smaller. But if cells still point
/// there, its length is wrong, and a new bin would give them cells of somebody else.
void HiveCells::CheckEnd() {
    if (isEndChecked_) return;
    if (HasText(File(), kBaseBlockSize + bins_.back(), "hbin")) {
        constexpr std::size_t kMost = 1000;
        const std::vector<HiveFinding> findings = CheckHive(File(), kMost);
        for (const HiveFinding& finding : findings) {
            if (finding.fault.rule == HiveRule::CellOutside) {
                throw HiveStop{HiveOutcome::Damaged, finding.fault};
            }
        }
        if (findings.size() == kMost) Stop(HiveRule::BinsSize, kNoCell);
    }
    isEndChecked_ = true;
}

/// Another bin behind the last one, free as a whole, with room for a cell of that size.
void HiveCells::Grow(std::size_t cellSize) {
    const std::size_t size = (kBinHeaderSize + cellSize + kBinUnit - 1) / kBinUnit * kBinUnit;
    const std::size_t start = bins_.back();
    const std::size_t at = kBaseBlockSize + start;
    if (start + size >= kMostBins || at > room_.size() || size > room_.size() - at) {
        throw HiveStop{HiveOutcome::Full, {}};
    }
    CheckEnd();
    fileSize_ = std::max(fileSize_, at + size);
    Bytes bin(size);  // over what may lie behind the bins
    std::ranges::copy(std::string_view("hbin"), bin.begin());
    Write32(bin, 4, static_cast<std::uint32_t>(start));
    Write32(bin, 8, static_cast<std::uint32_t>(size));
    Write32(bin, kBinHeaderSize, static_cast<std::uint32_t>(size - kBinHeaderSize));
    Write(at, bin);
    NotePages(at, size);  // zeros too: the file has to have them
    std::array<std::uint8_t, 4> binsSize{};
    Write32(binsSize, 0, static_cast<std::uint32_t>(start + size));
    Write(kBinsSizeAt, binsSize);
    bins_.push_back(static_cast<CellOffset>(start + size));
    isUsed_.resize((start + size) / kCellUnit, false);
    AddFree(static_cast<CellOffset>(start + kBinHeaderSize),
            static_cast<std::uint32_t>(size - kBinHeaderSize));
}

CellOffset HiveCells::Allocate(std::size_t size) {
    Prepare();
    if (size >= kMostBins) throw HiveStop{HiveOutcome::Full, {}};
    const auto wanted =
        static_cast<std::uint32_t>((4 + size + kCellUnit - 1) / kCellUnit * kCellUnit);
    auto found = bySize_.lower_bound({wanted, 0});
    if (found == bySize_.end()) {
        Grow(wanted);
        found = bySize_.lower_bound({wanted, 0});
    }
    const auto [there, cell] = *found;
    RemoveFree(cell);
    if (there > wanted) {
        WriteSize(cell + wanted, there - wanted);
        AddFree(cell + wanted, there - wanted);
    }
    WriteSize(cell, -std::int64_t{wanted});
    isUsed_[cell / kCellUnit] = true;
    Put(cell, 0, Bytes(wanted - 4));
    return cell;
}

void HiveCells::Free(CellOffset cell) {
    Prepare();
    std::uint32_t size = static_cast<std::uint32_t>(Content(cell).size()) + 4;
    if (!isUsed_[cell / kCellUnit]) Stop(HiveRule::CellInside, cell);
    isUsed_[cell / kCellUnit] = false;
    const CellOffset end = cell + size;
    const auto behind = free_.find(end);
    if (behind != free_.end() && EndOfBin(cell) > end) {
        size += behind->second;
        RemoveFree(end);
    }
    auto before = free_.lower_bound(cell);
    if (before != free_.begin() && (--before)->first + before->second == cell &&
        EndOfBin(before->first) == EndOfBin(cell)) {
        cell = before->first;
        size += before->second;
        RemoveFree(cell);
    }
    WriteSize(cell, size);
    AddFree(cell, size);
}

}  // namespace bkfd
