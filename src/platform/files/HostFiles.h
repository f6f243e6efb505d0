#pragma once

#include <dirent.h>

#include <ctime>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Machine.h"

/// Files of the host, written so that a crash leaves the old or the new state.
namespace bkfd {

/// Owns a file descriptor; -1 is none.
class HostFile {
  public:
    HostFile() = default;
    explicit HostFile(int descriptor) : descriptor_(descriptor) {}
    ~HostFile() { Close(); }
    HostFile(HostFile&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    HostFile& operator=(HostFile&& other) noexcept {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }

    int Get() const { return descriptor_; }
    bool IsOpen() const { return descriptor_ >= 0; }
    void Close();

  private:
    int descriptor_ = -1;
};

/// Is called before each step that changes what lies on the disk, with the step's name; tests end
/// the process in it.
using WritePointHook = std::function<void(const char* step)>;
void SetWritePointHook(WritePointHook hook);
void ReachWritePoint(const char* step);

/// A time of the host in its time zone, to the millisecond.
Date ToLocalDate(const timespec& time);

/// The Windows error code for errno's value.
Status StatusOfErrno(int error);

/// A host's file name as text and back, byte for byte: generalised UTF-8, in which a byte that
/// belongs to no character stands as a lone surrogate, U+DC00 + the byte.
Text FromHostName(std::string_view name);
std::string ToHostName(TextView text);

/// Opens a file to read, or a folder to list, without a new time of access where the system allows
/// that. -1 or null with errno set.
int OpenUntouched(const std::string& path, int flags);
DIR* OpenFolderUntouched(const std::string& path);
/// The whole file; nothing if it can't be read or isn't a regular one, with errno set.
std::optional<std::string> ReadHostFile(const std::string& path);
/// Writes all bytes at the file's position.
Status WriteAll(int descriptor, std::string_view bytes);
/// Replaces the file's content: written beside, synced, renamed. Owner and mode stay.
Status ReplaceHostFile(const std::string& path, std::string_view bytes);
/// Removes what a crash has left beside a file that was to be replaced.
void RemoveUnfinishedReplacement(const std::string& path);
Status SyncHostFolder(const std::string& path);
/// "/a" of "/a/b".
std::string HostParent(const std::string& path);

}  // namespace bkfd
