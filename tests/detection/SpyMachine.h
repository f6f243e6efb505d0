#pragma once

#include <functional>
#include <map>
#include <string>

#include "platform/Machine.h"

namespace bkfd {

/// The file calls of a machine, counted, with hooks that run before some of them.
class SpyFiles final : public Files {
  public:
    explicit SpyFiles(Files& files) : files_(files) {}

    std::map<std::string, int> calls;          // by name, and by name, blank and path
    std::function<void()> beforeLongPathName;  // such as a file's vanishing
    std::function<void()> beforeOpen;
    std::function<void()> beforeSearch;

    Result<std::uint32_t> GetFileAttributesW(TextView path) override {
        return files_.GetFileAttributesW(path);
    }
    Status SetFileAttributesW(TextView path, std::uint32_t attributes) override {
        return files_.SetFileAttributesW(path, attributes);
    }
    Status SetFileAttributesA(std::string_view path, std::uint32_t attributes) override {
        return files_.SetFileAttributesA(path, attributes);
    }
    Status DeleteFileW(TextView path) override { return files_.DeleteFileW(path); }
    Status DeleteFileA(std::string_view path) override { return files_.DeleteFileA(path); }
    Status MoveFileW(TextView source, TextView target) override {
        return files_.MoveFileW(source, target);
    }
    Status MoveFileA(std::string_view source, std::string_view target) override {
        return files_.MoveFileA(source, target);
    }
    Status MoveFileExW(TextView source, TextView target) override {
        return files_.MoveFileExW(source, target);
    }
    Status CreateDirectoryW(TextView path) override { return files_.CreateDirectoryW(path); }
    Result<std::unique_ptr<OpenFile>> CreateFileW(TextView path, FileMode mode) override {
        Count("CreateFile", ToUtf8(path));
        if (beforeOpen) beforeOpen();
        return files_.CreateFileW(path, mode);
    }
    Handle FindFirstFileA(std::string_view path, FindData& data) override {
        Count("FindFirstFile", std::string(path));
        const Handle search = files_.FindFirstFileA(path, data);
        if (search != kInvalidHandle) ++openSearches_;
        return search;
    }
    Handle FindFirstFileW(TextView path, FindData& data) override {
        return files_.FindFirstFileW(path, data);
    }
    Status FindNextFileW(Handle search, FindData& data) override {
        return files_.FindNextFileW(search, data);
    }
    Status SetCurrentDirectoryW(TextView path) override {
        return files_.SetCurrentDirectoryW(path);
    }
    Result<Text> GetVolumeInformationW(TextView root) override {
        return files_.GetVolumeInformationW(root);
    }
    Status FindClose(Handle search) override {
        --openSearches_;
        return files_.FindClose(search);
    }
    SearchPathResult SearchPathW(TextView name, std::span<char16_t> buffer) override {
        Count("SearchPath", ToUtf8(name));
        if (beforeSearch) beforeSearch();
        return files_.SearchPathW(name, buffer);
    }
    SearchPathResult SearchPathA(std::string_view name, std::span<char> buffer) override {
        Count("SearchPathA", std::string(name));
        return files_.SearchPathA(name, buffer);
    }
    std::uint32_t GetLongPathNameW(TextView path, std::span<char16_t> buffer) override {
        Count("GetLongPathName", ToUtf8(path));
        if (beforeLongPathName) beforeLongPathName();
        return files_.GetLongPathNameW(path, buffer);
    }

    int OpenSearches() const { return openSearches_; }

  private:
    void Count(const std::string& call, const std::string& path) {
        ++calls[call];
        ++calls[call + ' ' + path];
    }

    Files& files_;
    int openSearches_ = 0;
};

/// A machine with counted file calls, parts of which can be made to run out of memory.
class SpyMachine final : public Machine {
  public:
    explicit SpyMachine(Machine& machine) : machine_(machine), files(machine.FileSystem()) {}

    bool failRegistry = false;
    bool failProcesses = false;

    SystemFacts& System() override { return machine_.System(); }
    Registry& RegistryKeys() override {
        if (failRegistry) throw std::bad_alloc();
        return machine_.RegistryKeys();
    }
    Files& FileSystem() override { return files; }
    Processes& ProcessTable() override {
        if (failProcesses) throw std::bad_alloc();
        return machine_.ProcessTable();
    }
    Restart& Session() override { return machine_.Session(); }
    Components& ComponentObjects() override { return machine_.ComponentObjects(); }
    Shell& ShellCommands() override { return machine_.ShellCommands(); }
    Http& HttpRequests() override { return machine_.HttpRequests(); }

  private:
    Machine& machine_;

  public:
    SpyFiles files;
};

}  // namespace bkfd
