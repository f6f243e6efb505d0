#pragma once

#include <optional>
#include <utility>
#include <vector>

#include "platform/forward/NamedProcesses.h"

namespace bkfd {

/// A change that a machine was asked for, and what became of it.
struct RecordedChange {
    enum class Kind { SetValue, DeleteValue, DeleteKey, MoveFile, EndProcess, Restart };

    Kind kind = Kind::SetValue;
    RegistryRoot root = RegistryRoot::LocalMachine;
    Text name;                            // the key, the file, or the process's program
    Text nameInView;                      // of a key of the 32-bit view: as it was asked for
    Text valueName;                       // of a registry value
    Text target;                          // of a move
    std::optional<RegistryValue> before;  // of a registry value that was there
    std::optional<RegistryValue> after;   // of a registry value that was set
    std::vector<std::pair<Text, RegistryValue>> deletedValues;  // of a key, those that can be read
    std::uint32_t processId = 0;
    Status outcome;
    Text user;  // whose HKEY_CURRENT_USER it was, a key below HKEY_USERS; empty if there is but one

    /// The key's path in the view that it was asked for in.
    const Text& KeyInView() const { return nameInView.empty() ? name : nameInView; }
};

/// Keeps a list of the changes that are asked of its machine, failed ones too, in order. What the
/// program does with its own log and backup files isn't noted: only moves of files are.
class RecordingMachine final : public ForwardMachine {
  public:
    explicit RecordingMachine(Machine& target);

    const std::vector<RecordedChange>& Changes() const { return changes_; }

    Registry& RegistryKeys() override { return registry_; }
    Files& FileSystem() override { return files_; }
    Processes& ProcessTable() override { return processes_; }
    Restart& Session() override { return restart_; }

  private:
    using Record = std::vector<RecordedChange>;

    class RecordingRegistry final : public ForwardRegistry {
      public:
        RecordingRegistry(Machine& target, Record& changes)
            : ForwardRegistry(target.RegistryKeys(), OpenGate()),
              system_(target.System()),
              changes_(changes) {}
        Status RegSetValueExW(RegistryBase base, TextView subkey, TextView name,
                              const RegistryValue& value) override;
        Status RegDeleteValueW(RegistryBase base, TextView subkey, TextView name) override;
        Status RegDeleteKeyW(RegistryBase base, TextView subkey) override;

      private:
        RecordedChange ValueChange(RecordedChange::Kind kind, RegistryBase base, TextView subkey,
                                   TextView name);

        SystemFacts& system_;
        Record& changes_;
    };

    class RecordingFiles final : public ForwardFiles {
      public:
        RecordingFiles(Machine& target, Record& changes)
            : ForwardFiles(target.FileSystem(), OpenGate()),
              system_(target.System()),
              changes_(changes) {}
        Status MoveFileW(TextView source, TextView target) override;
        Status MoveFileA(std::string_view source, std::string_view target) override;

      private:
        Status Note(TextView source, TextView target, Status outcome);

        SystemFacts& system_;
        Record& changes_;
    };

    class RecordingProcesses final : public NamedProcesses {
      public:
        RecordingProcesses(Machine& target, Record& changes)
            : NamedProcesses(target, OpenGate()), changes_(changes) {}
        Status TerminateProcess(Handle process, std::uint32_t exitCode) override;

      private:
        Record& changes_;
    };

    class RecordingRestart final : public ForwardRestart {
      public:
        RecordingRestart(Restart& target, Record& changes)
            : ForwardRestart(target, OpenGate()), changes_(changes) {}
        Status ExitWindowsEx(std::uint32_t flags, std::uint32_t reason) override;

      private:
        Record& changes_;
    };

    Record changes_;
    RecordingRegistry registry_;
    RecordingFiles files_;
    RecordingProcesses processes_;
    RecordingRestart restart_;
};

}  // namespace bkfd
