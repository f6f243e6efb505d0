#include "platform/hive/JournalFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>

namespace bkfd {
namespace {

constexpr std::string_view kMark = "bkfdreg1";
constexpr std::string_view kEnd = "bkfddone";
constexpr std::size_t kMostFiles = 1000;

std::uint32_t Crc32(ByteView bytes) {
    return static_cast<std::uint32_t>(crc32_z(0, bytes.data(), bytes.size()));
}

class Writer {
  public:
    Bytes bytes;

    void Add(std::uint64_t value, std::size_t size) {
        for (std::size_t i = 0; i < size; ++i) {
            bytes.push_back(static_cast<std::uint8_t>(value >> 8 * i));
        }
    }
    template <class Range>
    void Add(const Range& range) {
        bytes.insert(bytes.end(), range.begin(), range.end());
    }
    template <class Range>
    void AddSized(const Range& range) {
        Add(range.size(), 4);
        Add(range);
    }
};

/// Reads on until something is missing; everything is empty from there.
class Reader {
  public:
    explicit Reader(ByteView bytes) : left_(bytes) {}

    bool HasFailed() const { return hasFailed_; }
    bool IsAtEnd() const { return left_.empty(); }

    ByteView Take(std::size_t size) {
        hasFailed_ = hasFailed_ || size > left_.size();
        if (hasFailed_) return {};
        const ByteView taken = left_.first(size);
        left_ = left_.subspan(size);
        return taken;
    }
    std::uint32_t Take32() {
        const ByteView taken = Take(4);
        return taken.empty() ? 0 : Read32(taken, 0);
    }
    std::uint64_t Take64() {
        const ByteView taken = Take(8);
        return taken.empty() ? 0 : Read64(taken, 0);
    }
    ByteView TakeSized() { return Take(Take32()); }

  private:
    ByteView left_;
    bool hasFailed_ = false;
};

void ReadPage(Reader& reader, JournalEntry& entry) {
    const std::uint64_t number = reader.Take64();
    JournalPage& page = entry.pages[number];
    const ByteView before = reader.TakeSized();
    page.before.assign(before.begin(), before.end());
    const std::uint32_t sectors = reader.Take32();
    for (std::uint32_t i = 0; i < sectors && !reader.HasFailed(); ++i) {
        page.after.push_back(reader.Take32());
    }
}

/// False for an entry that no commit writes.
bool ReadEntry(Reader& reader, JournalEntry& entry) {
    const ByteView kind = reader.Take(1);
    if (kind.empty() || kind[0] < 1 || kind[0] > 3) return false;
    entry.kind = static_cast<JournalKind>(kind[0]);
    const ByteView path = reader.TakeSized();
    entry.path.assign(path.begin(), path.end());
    entry.sizeBefore = reader.Take64();
    entry.sizeAfter = reader.Take64();
    for (Sha256* const hash : {&entry.before, &entry.after}) {
        const ByteView taken = reader.Take(hash->size());
        std::ranges::copy(taken, hash->begin());
    }
    const std::uint32_t pages = reader.Take32();
    for (std::uint32_t i = 0; i < pages && !reader.HasFailed(); ++i) ReadPage(reader, entry);
    const auto isRight = [&](const auto& page) {
        const std::uint64_t at = page.first * kFilePage;
        const std::uint64_t size =
            at < entry.sizeBefore ? std::min<std::uint64_t>(kFilePage, entry.sizeBefore - at) : 0;
        return page.first < (std::uint64_t{1} << 40) && page.second.before.size() == size &&
               page.second.after.size() <= kFilePage / kFileSector;
    };
    return !reader.HasFailed() && std::ranges::all_of(entry.pages, isRight);
}

}  // namespace

FilePages JournalEntry::PagesBefore() const {
    FilePages all;
    for (const auto& [number, page] : pages) {
        if (!page.before.empty()) all[number] = page.before;
    }
    return all;
}

FilePages JournalEntry::AllPages() const {
    FilePages all;
    for (const auto& [number, page] : pages) all[number] = page.before;
    return all;
}

std::vector<std::uint32_t> SectorChecksums(ByteView page) {
    std::vector<std::uint32_t> sums;
    for (std::size_t at = 0; at < page.size(); at += kFileSector) {
        sums.push_back(Crc32(page.subspan(at, std::min(kFileSector, page.size() - at))));
    }
    return sums;
}

Bytes WriteJournal(const Journal& journal) {
    Writer writer;
    writer.Add(kMark);
    writer.Add(journal.entries.size(), 4);
    for (const JournalEntry& entry : journal.entries) {
        writer.Add(static_cast<std::uint8_t>(entry.kind), 1);
        writer.AddSized(entry.path);
        writer.Add(entry.sizeBefore, 8);
        writer.Add(entry.sizeAfter, 8);
        writer.Add(entry.before);
        writer.Add(entry.after);
        writer.Add(entry.pages.size(), 4);
        for (const auto& [number, page] : entry.pages) {
            writer.Add(number, 8);
            writer.AddSized(page.before);
            writer.Add(page.after.size(), 4);
            for (const std::uint32_t sum : page.after) writer.Add(sum, 4);
        }
    }
    writer.Add(Crc32(writer.bytes), 4);
    if (journal.isFinished) writer.Add(kEnd);
    return std::move(writer.bytes);
}

std::optional<Journal> ReadJournal(ByteView file) {
    Journal journal;
    if (!HasText(file, 0, kMark)) return std::nullopt;
    journal.isFinished =
        file.size() > kEnd.size() && HasText(file, file.size() - kEnd.size(), kEnd);
    const auto parse = [&](ByteView body) {
        journal.entries.clear();
        if (body.size() < kMark.size() + 8) return false;
        const ByteView summed = body.first(body.size() - 4);
        if (Crc32(summed) != Read32(body, summed.size())) return false;
        Reader reader(summed.subspan(kMark.size()));
        const std::uint32_t count = reader.Take32();
        if (count > kMostFiles) return false;
        journal.entries.resize(count);
        return std::ranges::all_of(journal.entries,
                                   [&](auto& e) { return ReadEntry(reader, e); }) &&
               reader.IsAtEnd();
    };
    if (journal.isFinished && parse(file.first(file.size() - kEnd.size()))) return journal;
    journal.isFinished = false;
    // A crash may have left a part of the mark at the end.
    for (std::size_t part = 0; part < kEnd.size() && part <= file.size(); ++part) {
        const std::size_t size = file.size() - part;
        if (HasText(file, size, kEnd.substr(0, part)) && parse(file.first(size))) return journal;
    }
    return std::nullopt;
}

Status CreateJournalFile(const std::string& path, const Journal& journal) {
    if (access(path.c_str(), F_OK) == 0) return {SystemError::FileExists};
    const Bytes bytes = WriteJournal(journal);
    // Whole under its name or not at all: one that can't be read was damaged later.
    const Status status =
        ReplaceHostFile(path, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    if (!status.IsOk()) (void)unlink(path.c_str());
    return status;
}

Status FinishJournalFile(const std::string& path) {
    const HostFile file(open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NOFOLLOW));
    struct stat facts {};
    if (!file.IsOpen() || fstat(file.Get(), &facts) != 0) return StatusOfErrno(errno);
    // Over a part of the mark that a crash has left.
    const auto content = ReadHostFile(path);
    if (!content) return StatusOfErrno(errno);
    const auto* const data = reinterpret_cast<const std::uint8_t*>(content->data());
    std::size_t size = content->size();
    for (std::size_t part = 1; part < kEnd.size() && part < size; ++part) {
        const bool isPart = HasText({data, size}, size - part, kEnd.substr(0, part));
        if (isPart && ReadJournal({data, size - part})) {
            size -= part;
            break;
        }
    }
    ReachWritePoint("finish the journal");
    if (lseek(file.Get(), static_cast<off_t>(size), SEEK_SET) < 0) return StatusOfErrno(errno);
    Status status = WriteAll(file.Get(), kEnd);
    ReachWritePoint("sync the finished journal");
    if (status.IsOk() && fsync(file.Get()) != 0) status = StatusOfErrno(errno);
    // What isn't durable isn't to be believed.
    if (!status.IsOk() && ftruncate(file.Get(), static_cast<off_t>(size)) != 0) {
        return StatusOfErrno(errno);
    }
    return status;
}

bool IsUnfinishedJournal(const std::string& path) {
    const HostFile file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    struct stat facts {};
    if (!file.IsOpen() || fstat(file.Get(), &facts) != 0 || !S_ISREG(facts.st_mode)) return false;
    const auto size = static_cast<std::uint64_t>(facts.st_size);
    Bytes mark(kMark.size());
    Bytes end(kEnd.size());
    if (!ReadAt(file.Get(), 0, mark) || !HasText(mark, 0, kMark)) return false;
    return !ReadAt(file.Get(), size - end.size(), end) || !HasText(end, 0, kEnd);
}

}  // namespace bkfd
