#pragma once

#include <filesystem>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>

#include "common/HostFolder.h"
#include "common/RemovalFixture.h"
#include "platform/files/HostFiles.h"
#include "platform/image/MachineImage.h"
#include "removal/CPaRemover.h"

namespace bkfd {

struct ImageFolder {
    std::string path;
};

/// A copy of an example machine, or of another image.
struct ExampleCopy : HostFolder {
    explicit ExampleCopy(const std::string& name)
        : ExampleCopy(ImageFolder{BKFD_SOURCE_DIR "/examples/machines/" + name}) {}
    explicit ExampleCopy(const ImageFolder& from) {
        std::filesystem::copy(from.path, Path(), std::filesystem::copy_options::recursive);
    }
    std::unique_ptr<ImageMachine> Load() const {
        return std::get<std::unique_ptr<ImageMachine>>(LoadMachineImage(Path()));
    }
};

/// What the machine's folder holds at the durable writes of the work, in their order: what is left
/// there if the process ends at that point. What two points in a row leave alike is there once; the
/// last one is of the work's end.
template <class Copy>
std::list<Copy> StatesAtWritePoints(const Copy& machine, const std::function<void()>& work) {
    std::list<Copy> states;
    std::map<std::string, std::string> last;
    const auto keep = [&](const char*) {
        auto now = machine.Snapshot();
        for (const auto& entry : std::filesystem::recursive_directory_iterator(machine.Path())) {
            if (entry.is_directory()) now.emplace(entry.path().string(), "");
        }
        if (now == last) return;
        last = std::move(now);
        states.emplace_back(ImageFolder{machine.Path()});
    };
    SetWritePointHook(keep);
    work();
    SetWritePointHook({});
    keep("end");
    return states;
}

/// A user who says OK to everything.
class WillingToolkit final : public HeadlessToolkit {
  public:
    MessageResult ShowMessageBox(const Text&, int, const Text&) override {
        return MessageResult::Ok;
    }
};

/// The engine on a machine, with a log of its own.
class Engine : public EngineFixture {
  public:
    explicit Engine(Machine& on) {
        Use(on);
        InstallToolkit(&willing_);
    }

    /// True at the normal end: the restart, which ends the program.
    bool CleanUp() {
        CPaRemover remover;
        remover.Init(log);
        return EndsProgram([&] { remover.CleanUp(); });
    }

  private:
    WillingToolkit willing_;
};

/// Lower-cased paths of all files with their content; one that can't be read has none.
using FileSet = std::map<Text, Bytes>;

inline void CollectFiles(Files& files, const Text& folder, FileSet& found) {
    FindData data;
    const Handle search = files.FindFirstFileW(folder + u"\\*", data);
    if (search == kInvalidHandle) return;
    do {
        if (data.name == u"." || data.name == u"..") continue;
        const Text path = folder + u"\\" + data.name;
        if ((data.attributes & FileAttribute::Directory) != 0) {
            CollectFiles(files, path, found);
            continue;
        }
        Bytes& content = found[ToLower(path)];
        if (auto file = files.CreateFileW(path, FileMode::Read); file.IsOk()) {
            content.resize(data.sizeLow);
            (void)file.value->ReadFile(0, content);
        }
    } while (files.FindNextFileW(search, data).IsOk());
    (void)files.FindClose(search);
}

inline FileSet FilesOf(Machine& machine) {
    FileSet found;
    CollectFiles(machine.FileSystem(), u"C:", found);
    return found;
}

}  // namespace bkfd
