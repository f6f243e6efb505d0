#include "platform/image/ImageJournal.h"

#include <fcntl.h>
#include <unistd.h>
#include <zlib.h>

#include <cerrno>
#include <cstdio>

#include "platform/image/JsonShape.h"

namespace bkfd {
namespace {

constexpr std::string_view kHeader = "Brackenfold journal 1\n";
constexpr std::size_t kChecksumLength = 8;
constexpr std::size_t kDeepestRecord = 16;  // records are four deep

std::string Checksum(std::string_view text) {
    const auto* bytes = reinterpret_cast<const Bytef*>(text.data());
    const uLong sum = crc32(0, bytes, static_cast<uInt>(text.size()));
    char digits[16];
    std::snprintf(digits, sizeof digits, "%08lx", sum);
    return digits;
}

bool ParseRecord(std::string_view line, ImageJson& record) {
    if (line.size() < kChecksumLength + 1 || line[kChecksumLength] != ' ') return false;
    const std::string_view json = line.substr(kChecksumLength + 1);
    if (Checksum(json) != line.substr(0, kChecksumLength)) return false;
    // What is nested beyond use is copied by recursion.
    if (ShapeOf(json).depth > kDeepestRecord) return false;
    record = ImageJson::parse(json, nullptr, false);
    return record.is_object();
}

}  // namespace

std::string JournalLine(const ImageJson& record) {
    const std::string json = record.dump();
    return Checksum(json) + ' ' + json + '\n';
}

std::variant<JournalContent, ImageError> ParseJournal(const std::string& path,
                                                      std::string_view content) {
    JournalContent journal;
    if (!content.starts_with(kHeader)) {
        if (kHeader.starts_with(content)) return journal;
        return ImageError{path, 1, "", "is no journal, or one of a newer form"};
    }
    std::string_view rest = content.substr(kHeader.size());
    for (std::size_t line = 2;; ++line) {
        journal.size = content.size() - rest.size();
        const std::size_t end = rest.find('\n');
        if (end == std::string_view::npos) return journal;
        ImageJson record;
        const bool isGood = ParseRecord(rest.substr(0, end), record);
        rest.remove_prefix(end + 1);
        if (!isGood && rest.empty()) return journal;
        if (!isGood) return ImageError{path, line, "", "the record is damaged"};
        journal.records.push_back(std::move(record));
    }
}

std::variant<std::vector<ImageJson>, ImageError> ImageJournal::Read() {
    size_ = 0;
    const auto content = ReadHostFile(path_);
    if (!content) {
        if (errno == ENOENT) return std::vector<ImageJson>{};
        return ImageError{path_, 0, "", "can't be read"};
    }
    auto parsed = ParseJournal(path_, *content);
    if (auto* error = std::get_if<ImageError>(&parsed)) return std::move(*error);
    auto& journal = std::get<JournalContent>(parsed);
    size_ = static_cast<std::int64_t>(journal.size);
    return std::move(journal.records);
}

bool ImageJournal::IsThere() const {
    return access(path_.c_str(), F_OK) == 0;
}

Status ImageJournal::Open() {
    if (file_.IsOpen()) return {};
    ReachWritePoint("make journal");
    HostFile file(open(path_.c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0666));
    if (!file.IsOpen()) return StatusOfErrno(errno);
    // Records that couldn't be folded yet stay; only what was cut off goes.
    if (ftruncate(file.Get(), size_) != 0) return StatusOfErrno(errno);
    lseek(file.Get(), size_, SEEK_SET);
    Status status = size_ == 0 ? WriteAll(file.Get(), kHeader) : Status{};
    if (status.IsOk() && fsync(file.Get()) != 0) status = StatusOfErrno(errno);
    if (status.IsOk()) status = SyncHostFolder(HostParent(path_));
    if (!status.IsOk()) return status;
    if (size_ == 0) size_ = static_cast<std::int64_t>(kHeader.size());
    file_ = std::move(file);
    return {};
}

Status ImageJournal::Append(const ImageJson& record) {
    const Status opened = Open();
    if (!opened.IsOk()) return opened;
    const std::string line = JournalLine(record);
    ReachWritePoint("append");
    // In two parts, so that a test can end the process between them.
    const std::string_view view = line;
    Status status = WriteAll(file_.Get(), view.substr(0, view.size() / 2));
    ReachWritePoint("append the rest");
    if (status.IsOk()) status = WriteAll(file_.Get(), view.substr(view.size() / 2));
    if (status.IsOk() && fdatasync(file_.Get()) != 0) status = StatusOfErrno(errno);
    if (status.IsOk()) {
        size_ += static_cast<std::int64_t>(line.size());
        ReachWritePoint("appended");
        return {};
    }
    if (ftruncate(file_.Get(), size_) == 0) lseek(file_.Get(), size_, SEEK_SET);
    return status;
}

Status ImageJournal::Clear() {
    file_.Close();
    ReachWritePoint("clear journal");
    if (unlink(path_.c_str()) != 0 && errno != ENOENT) return StatusOfErrno(errno);
    size_ = 0;
    return SyncHostFolder(HostParent(path_));
}

}  // namespace bkfd
