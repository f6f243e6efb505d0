#include "formats/HiveLog.h"

#include <algorithm>

#include "formats/Marvin32.h"

namespace bkfd {

using namespace hive;

namespace {

constexpr std::size_t kSector = 512;
constexpr std::size_t kEntryHeaderSize = 40;
constexpr std::size_t kHashedHeaderSize = 32;
constexpr std::size_t kPageReferenceSize = 8;
constexpr std::size_t kFirstBinTimeAt = kBaseBlockSize + 20;
constexpr std::uint32_t kMostSectors = 8;
constexpr std::uint32_t kIsLocked = 1;  // the one flag that log entries carry

/// An entry of a log of the new form.
struct LogEntry {
    std::uint32_t sequence = 0;
    std::uint32_t flags = 0;
    std::uint32_t binsSize = 0;
    std::vector<HivePage> pages;
};

struct Log {
    ByteView bytes;
    HiveBaseBlock base;
    std::vector<LogEntry> entries;  // of the new form: from the first on, their numbers in a row
};

/// Whether a log's base block is whole; a log whose writing broke off isn't.
bool IsUsable(const HiveBaseBlock& base) {
    const bool isLog = base.type == kOldLog || base.type == kOldestLog || base.type == kNewLog;
    return isLog && !base.IsDirty() && base.binsSize > 0 && base.binsSize % kBinUnit == 0;
}

/// The pages of an entry; nothing if they don't fit into it or into the hive.
std::optional<std::vector<HivePage>> ReadPages(ByteView entry, std::uint32_t binsSize) {
    const std::size_t count = Read32(entry, 20);
    if (count > (entry.size() - kEntryHeaderSize) / kPageReferenceSize) return std::nullopt;
    std::size_t at = kEntryHeaderSize + count * kPageReferenceSize;
    std::vector<HivePage> pages;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t reference = kEntryHeaderSize + i * kPageReferenceSize;
        const std::uint32_t offset = Read32(entry, reference);
        const std::uint32_t size = Read32(entry, reference + 4);
        if (size > entry.size() - at || offset > binsSize || size > binsSize - offset) {
            return std::nullopt;
        }
        pages.push_back({kBaseBlockSize + std::uint64_t{offset}, entry.subspan(at, size)});
        at += size;
    }
    return pages;
}

/// The entry that begins the bytes; nothing if none does or it is broken.
std::optional<LogEntry> ReadEntry(ByteView bytes, std::size_t& size) {
    if (bytes.size() < kEntryHeaderSize || !HasText(bytes, 0, "HvLE")) return std::nullopt;
    size = Read32(bytes, 4);
    if (size < kEntryHeaderSize || size % kSector != 0 || size > bytes.size()) return std::nullopt;
    const ByteView entry = bytes.first(size);
    LogEntry read;
    read.flags = Read32(entry, 8);
    read.sequence = Read32(entry, 12);
    read.binsSize = Read32(entry, 16);
    if (read.binsSize == 0 || read.binsSize % kBinUnit != 0) return std::nullopt;
    if (HiveLogHash(entry.subspan(kEntryHeaderSize)) != Read64(entry, 24)) return std::nullopt;
    if (HiveLogHash(entry.first(kHashedHeaderSize)) != Read64(entry, 32)) return std::nullopt;
    auto pages = ReadPages(entry, read.binsSize);
    if (!pages) return std::nullopt;
    read.pages = *std::move(pages);
    return read;
}

/// Reads on until an entry is broken or a number doesn't follow; what stands behind is what earlier
/// writes have left.
void ReadEntries(Log& log) {
    std::size_t at = kSector;
    std::uint32_t expected = log.base.primarySequence;
    while (at < log.bytes.size()) {
        std::size_t size = 0;
        auto entry = ReadEntry(log.bytes.subspan(at), size);
        if (!entry || entry->sequence != expected) return;
        log.entries.push_back(*std::move(entry));
        at += size;
        ++expected;
    }
}

class RecoveryPlanner {
  public:
    RecoveryPlanner(ByteView file, std::span<const ByteView> logs) : file_(file) {
        for (const ByteView bytes : logs) {
            const auto base = ReadHiveBaseBlock(bytes);
            if (base && IsUsable(*base)) logs_.push_back({bytes, *base, {}});
        }
    }

    HiveRecovery Plan() {
        recovery_.size = file_.size();
        const auto base = ReadHiveBaseBlock(file_);
        if (!base || !base->IsDirty()) return std::move(recovery_);
        base_ = *base;
        std::ranges::copy(file_.first(kBaseBlockUsed), recovery_.baseBlock.begin());
        recovery_.state =
            ReplayEntries() || ReplayBitmap() ? HiveState::Recovered : HiveState::Unrecovered;
        return std::move(recovery_);
    }

  private:
    /// The new form: false if no entry of it fits.
    bool ReplayEntries() {
        std::vector<Log*> used;
        for (Log& log : logs_) {
            if (log.base.type != kNewLog) continue;
            ReadEntries(log);
            if (!log.entries.empty()) used.push_back(&log);
        }
        std::ranges::sort(used, {}, [](const Log* log) { return log->base.primarySequence; });
        if (!base_.isChecksumRight && !used.empty()) {
            used.erase(used.begin(), used.end() - 1);  // only the newest knows the base block
            TakeBaseBlock(*used.front());
        }
        const LogEntry* last = nullptr;
        for (const Log* log : used) {
            for (const LogEntry& entry : log->entries) {
                if (base_.isChecksumRight && entry.sequence < base_.secondarySequence) continue;
                if (last != nullptr && entry.sequence != last->sequence + 1) continue;
                recovery_.pages.insert(recovery_.pages.end(), entry.pages.begin(),
                                       entry.pages.end());
                last = &entry;
            }
        }
        if (last == nullptr) return false;
        const std::uint32_t flags = Read32(recovery_.baseBlock, 144);
        Write32(recovery_.baseBlock, 144, (flags & ~kIsLocked) | (last->flags & kIsLocked));
        FinishBaseBlock(last->sequence + 1, last->binsSize);
        return true;
    }

    /// The old form: false if no log of it fits.
    bool ReplayBitmap() {
        const Log* fitting = nullptr;
        for (const Log& log : logs_) {
            if (log.base.type == kNewLog || log.base.lastWritten != LastWritten()) continue;
            const bool isNewer =
                fitting == nullptr || log.base.primarySequence > fitting->base.primarySequence;
            if (isNewer) fitting = &log;
        }
        if (fitting == nullptr || !TakePages(*fitting)) {
            recovery_.pages.clear();
            return false;
        }
        TakeBaseBlock(*fitting);
        FinishBaseBlock(std::max(base_.primarySequence, fitting->base.primarySequence),
                        fitting->base.binsSize);
        return true;
    }

    /// Of the hive, for the old form: the first bin has a copy for a base block that is broken.
    std::uint64_t LastWritten() const {
        if (base_.isChecksumRight) return base_.lastWritten;
        return file_.size() < kFirstBinTimeAt + 8 ? 0 : Read64(file_, kFirstBinTimeAt);
    }

    /// A page for each bit that is set; false if one of them isn't there.
    bool TakePages(const Log& log) {
        const std::size_t sector =
            kSector * std::clamp<std::uint32_t>(log.base.clustering, 1, kMostSectors);
        const std::size_t bits = log.base.binsSize / kSector;
        const std::size_t bitmap = sector + 4;
        std::size_t at = (bitmap + (bits + 7) / 8 + sector - 1) / sector * sector;
        if (!HasText(log.bytes, sector, "DIRT") || at > log.bytes.size()) {
            recovery_.notes.push_back("its log has no bitmap of pages");
            return false;
        }
        for (std::size_t bit = 0; bit < bits; ++bit) {
            if ((log.bytes[bitmap + bit / 8] >> bit % 8 & 1) == 0) continue;
            if (log.bytes.size() - at < kSector) {
                recovery_.notes.push_back("its log is cut off");
                return false;
            }
            recovery_.pages.push_back(
                {kBaseBlockSize + bit * kSector, log.bytes.subspan(at, kSector)});
            at += kSector;
        }
        return true;
    }

    void TakeBaseBlock(const Log& log) {
        std::ranges::copy(log.bytes.first(kBaseBlockUsed), recovery_.baseBlock.begin());
        Write32(recovery_.baseBlock, 28, kPrimaryFile);
    }

    void FinishBaseBlock(std::uint32_t sequence, std::uint32_t binsSize) {
        auto& block = recovery_.baseBlock;
        Write32(block, 4, sequence);
        Write32(block, 8, sequence);
        Write32(block, 40, binsSize);
        Write32(block, kChecksumAt, HiveChecksum(block));
        recovery_.size = std::max<std::uint64_t>(file_.size(), kBaseBlockSize + binsSize);
        // An earlier entry may be of a time at which the hive was larger.
        for (const HivePage& page : recovery_.pages) {
            recovery_.size = std::max(recovery_.size, page.at + page.bytes.size());
        }
    }

    ByteView file_;
    HiveBaseBlock base_;
    std::vector<Log> logs_;
    HiveRecovery recovery_;
};

}  // namespace

HiveRecovery PlanHiveRecovery(ByteView hive, std::span<const ByteView> logs) {
    return RecoveryPlanner(hive, logs).Plan();
}

void ApplyHiveRecovery(const HiveRecovery& recovery, std::span<std::uint8_t> image) {
    if (recovery.state != HiveState::Recovered) return;
    for (const HivePage& page : recovery.pages) {
        std::ranges::copy(page.bytes, image.begin() + static_cast<std::ptrdiff_t>(page.at));
    }
    std::ranges::copy(recovery.baseBlock, image.begin());
}

}  // namespace bkfd
