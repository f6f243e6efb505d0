#pragma once

#include "platform/hive/PagedWrite.h"

/// The journal of a commit: what registry files held before they were written, so that a commit
/// that broke off is rolled back, and that an undo brings back the very bytes. Little-endian:
///
///     "bkfdreg1", the number of files (32 bits)
///     each file: kind (8 bits), path below the root (length in 32 bits, bytes), size before and
///       after (64 bits each), SHA-256 of the pages (for `Whole`: of the content) before and after,
///       the number of pages (32 bits)
///       each page: number (64 bits), its bytes before (length in 32 bits, bytes), the number of
///         sectors after (32 bits), the CRC-32 of each
///     CRC-32 of all above
///     "bkfddone" once the commit is finished
namespace bkfd {

enum class JournalKind : std::uint8_t {
    Hive = 1,   // pages in place, the base block first and last
    Pages = 2,  // pages in place
    Whole = 3,  // replaced as a whole; page by page, all of the old content
};

struct JournalPage {
    Bytes before;                      // shorter or empty where the file ended
    std::vector<std::uint32_t> after;  // CRC-32 of each 512 bytes; empty where the file ends then
};

struct JournalEntry {
    JournalKind kind = JournalKind::Hive;
    std::string path;  // below the root, "Windows/System32/config/SOFTWARE"
    std::uint64_t sizeBefore = 0;
    std::uint64_t sizeAfter = 0;
    Sha256 before{};
    Sha256 after{};
    std::map<std::uint64_t, JournalPage> pages;

    /// Those of the former file.
    FilePages PagesBefore() const;
    /// The same, with those that it didn't have as empty ones.
    FilePages AllPages() const;
};

struct Journal {
    std::vector<JournalEntry> entries;
    bool isFinished = false;
};

std::vector<std::uint32_t> SectorChecksums(ByteView page);

Bytes WriteJournal(const Journal& journal);
/// Nothing for what is no journal, or none that was written to its end.
std::optional<Journal> ReadJournal(ByteView file);

/// Makes the file of an unfinished journal durable; it must not be there.
Status CreateJournalFile(const std::string& path, const Journal& journal);
/// Notes durably that the commit is finished.
Status FinishJournalFile(const std::string& path);
/// Whether the file is that of a journal, and of a commit that was not finished.
bool IsUnfinishedJournal(const std::string& path);

}  // namespace bkfd
