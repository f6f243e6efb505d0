#include <algorithm>
#include <optional>

#include "platform/Machine.h"
#include "services/FileUtil.h"
#include "services/Logger.h"
#include "services/SysUtil.h"

namespace bkfd {
namespace {

/// Lines of this source that aren't failures are the start lines of a run.
constexpr TextView kStartSource = u"FMain.Form_Initialize";
/// A full log beyond the limit keeps its newest part when it is opened. The report holds the log as
/// a form field, so it has to stay small enough to send.
constexpr std::uint64_t kLogLimit = 512 * 1024;
constexpr std::uint64_t kKeptPart = kLogLimit / 2;

/// The end of a file from `offset` on; nothing if it can't be read.
std::optional<Bytes> ReadFrom(OpenFile& file, std::uint64_t offset, std::uint64_t size) {
    Bytes bytes(static_cast<std::size_t>(size - offset));
    const auto count = file.ReadFile(offset, bytes);
    if (!count.IsOk() || count.value != bytes.size()) return std::nullopt;
    return bytes;
}

/// One of the two logs.
class LogFile {
  public:
    Status Open(const Text& path) {
        path_ = path;
        auto file = TheMachine().FileSystem().CreateFileW(path, FileMode::Append);
        if (!file.IsOk()) return file;
        file_ = std::move(file.value);
        mayEndInsideLine_ = true;  // a run that was cut off
        return {};
    }

    void Append(const std::string& line) {
        if (file_ == nullptr) return;
        std::string whole = line;
        if (mayEndInsideLine_ && EndsInsideLine()) whole.insert(0, "\r\n");
        const Status written =
            file_->WriteFile({reinterpret_cast<const std::uint8_t*>(whole.data()), whole.size()});
        mayEndInsideLine_ = !written.IsOk();
    }

  private:
    bool EndsInsideLine() const {
        const auto file = TheMachine().FileSystem().CreateFileW(path_, FileMode::Read);
        if (!file.IsOk()) return false;
        const auto size = file.value->GetFileSize();
        if (!size.IsOk() || size.value == 0) return false;
        const auto last = ReadFrom(*file.value, size.value - 1, size.value);
        return last && last->front() != '\n';
    }

    Text path_;
    std::unique_ptr<OpenFile> file_;
    bool mayEndInsideLine_ = false;
};

/// The newest part of a log that is too long, from a line's start on; nothing for another log.
std::optional<Bytes> NewestPart(const Text& path) {
    const auto file = TheMachine().FileSystem().CreateFileW(path, FileMode::Read);
    if (!file.IsOk()) return std::nullopt;
    const auto size = file.value->GetFileSize();
    if (!size.IsOk() || size.value <= kLogLimit) return std::nullopt;
    auto part = ReadFrom(*file.value, size.value - kKeptPart, size.value);
    if (!part) return std::nullopt;
    const auto lineEnd = std::ranges::find(*part, '\n');
    if (lineEnd != part->end()) part->erase(part->begin(), lineEnd + 1);
    return part;
}

/// Old lines go in one step: a crash leaves the whole log or its newest part. A log that can't be
/// shortened grows on until a later start shortens it.
void DropOldLines(const Text& path) {
    const auto kept = NewestPart(path);
    if (!kept) return;
    try {
        FileUtil::WriteTextFile(path, FromBytes(*kept));
    } catch (...) {
        (void)CurrentError();
    }
}

bool BreaksLine(char16_t unit) {
    return unit < u' ' || (unit >= 0x7F && unit <= 0x9F) || unit == 0x2028 || unit == 0x2029;
}

Text OnOneLine(Text text) {
    std::ranges::replace_if(text, BreaksLine, u' ');
    return text;
}

class FileLogger final : public Logger {
  public:
    void Open(const Text& fullLogPath, const Text& shortLogPath) override {
        DropOldLines(fullLogPath);
        // One that remains is written to as well, so failing here is no reason to stop.
        (void)TheMachine().FileSystem().DeleteFileW(shortLogPath);
        const Status fullOpened = full_.Open(fullLogPath);
        const Status shortOpened = short_.Open(shortLogPath);
        Check(fullOpened, fullLogPath);
        Check(shortOpened, shortLogPath);
    }

    void Write(std::int32_t code, const Text& message, LogLevel level,
               const Text& source) override {
        try {
            const std::string line = Line(code, message, level, source);
            full_.Append(line);
            if (level != LogLevel::Trace || source == kStartSource) short_.Append(line);
        } catch (...) {
            // The line is lost, not the work.
            (void)CurrentError();
        }
    }

  private:
    static void Check(Status opened, const Text& path) {
        if (opened.IsOk()) return;
        throw RuntimeError(ErrorNumber::PathFileAccess, u"Log '" + path + u"' can't be opened: " +
                                                            SysUtil::SystemErrorText(opened.code));
    }

    static std::string Line(std::int32_t code, const Text& message, LogLevel level,
                            const Text& source) {
        Text line = FormatDate(TheMachine().System().GetLocalTime());
        line.append(u" ").append(ToText(static_cast<std::int32_t>(level)));
        line.append(u" ").append(ToHex(static_cast<std::uint32_t>(code)));
        line.append(u" ").append(source).append(u": ").append(message);
        return ToUtf8(OnOneLine(std::move(line))) + "\r\n";
    }

    LogFile full_;
    LogFile short_;
};

}  // namespace

LoggerRef MakeFileLogger() {
    return std::make_shared<FileLogger>();
}

}  // namespace bkfd
