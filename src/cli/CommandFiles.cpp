#include "cli/CommandFiles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <istream>

#include "cli/Command.h"
#include "platform/files/HostFiles.h"
#include "ui/terminal/PrintableText.h"

namespace bkfd {
namespace {

[[noreturn]] void Fail(const std::string& path, const char* what) {
    throw CommandError(PrintableText(FromUtf8(path)) + ": " + what);
}

/// What can't be synced, as a pipe, is done when it is written.
bool WriteDurably(const HostFile& file, std::span<const std::uint8_t> content) {
    const std::string_view bytes{reinterpret_cast<const char*>(content.data()), content.size()};
    return WriteAll(file.Get(), bytes).IsOk() && (fsync(file.Get()) == 0 || errno == EINVAL);
}

// No report or text is larger; a device may have no end.
constexpr std::size_t kLargestInput = std::size_t{1} << 30;

Bytes ReadAll(std::istream& stream, const std::string& path) {
    Bytes content;
    char room[65'536];
    do {
        stream.read(room, sizeof room);
        content.insert(content.end(), room, room + stream.gcount());
        if (content.size() > kLargestInput) Fail(path, "is larger than 1 GiB");
    } while (stream);
    return content;
}

}  // namespace

Bytes ReadInput(const std::string& path, std::istream& standardInput) {
    if (path == "-") return ReadAll(standardInput, "standard input");
    struct stat facts {};
    if (stat(path.c_str(), &facts) != 0) Fail(path, std::strerror(errno));
    if (S_ISDIR(facts.st_mode)) Fail(path, "is a folder");
    std::ifstream file(path, std::ios::binary);
    if (!file) Fail(path, std::strerror(errno));
    Bytes content = ReadAll(file, path);
    if (file.bad()) Fail(path, "can't be read");
    return content;
}

NewHostFiles::NewHostFiles(std::string folder) : folder_(std::move(folder)) {
    if (folder_.empty()) folder_ = ".";
    isFolderNew_ = mkdir(folder_.c_str(), 0777) == 0;
    if (!isFolderNew_ && errno != EEXIST) Fail(folder_, std::strerror(errno));
    directory_ = open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (directory_ < 0) Fail(folder_, std::strerror(errno));
}

NewHostFiles::~NewHostFiles() {
    if (!isKept_) {
        for (const std::string& name : written_) unlinkat(directory_, name.c_str(), 0);
        if (isFolderNew_) rmdir(folder_.c_str());
    }
    close(directory_);
}

std::string NewHostFiles::Write(const std::string& name, std::span<const std::uint8_t> content) {
    const char* const join = folder_.ends_with('/') ? "" : "/";
    const std::string path = folder_ == "." ? name : folder_ + join + name;
    const HostFile file(openat(directory_, name.c_str(),
                               O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666));
    if (!file.IsOpen()) Fail(path, std::strerror(errno));
    written_.push_back(name);
    if (!WriteDurably(file, content)) Fail(path, std::strerror(errno));
    return path;
}

}  // namespace bkfd
