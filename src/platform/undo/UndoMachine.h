#pragma once

#include <map>
#include <set>

#include "platform/forward/NamedProcesses.h"
#include "platform/undo/RecordedOperation.h"
#include "platform/undo/UndoRecorder.h"

namespace bkfd {

/// A machine whose changes can be taken back: before each change of the registry, of a file's name,
/// attributes or content, what was there is written to the record of the running operation and lies
/// on the disk; then the change goes through. What can't be kept isn't changed: the call fails with
/// the error of the keeping. A file that is deleted is moved beside the record instead. The
/// program's own logs, backups, temporary files and records are left out.
class UndoMachine : public Machine, public UndoKeeper {
  public:
    /// Is the installed keeper as long as it is there. `program` is the program's version.
    UndoMachine(Machine& target, Text program);
    ~UndoMachine() override;
    UndoMachine(const UndoMachine&) = delete;
    UndoMachine& operator=(const UndoMachine&) = delete;

    void Begin(TextView operation, std::optional<RecordId> undoes) override {
        recorder_.Begin(operation, undoes);
    }
    void End() override { recorder_.End(); }
    void Conclude(bool isWhole) override { recorder_.Conclude(isWhole); }
    RecordId Record() const override { return recorder_.Id(); }
    Status Failure() const override { return recorder_.Failure(); }

    SystemFacts& System() override { return target_.System(); }
    Registry& RegistryKeys() override { return registry_; }
    Files& FileSystem() override { return files_; }
    Processes& ProcessTable() override { return processes_; }
    Restart& Session() override { return restart_; }
    Components& ComponentObjects() override { return target_.ComponentObjects(); }
    Shell& ShellCommands() override { return target_.ShellCommands(); }
    Http& HttpRequests() override { return target_.HttpRequests(); }

  private:
    /// A record names keys as the native view has them, as export files do.
    class UndoRegistry final : public ForwardRegistry {
      public:
        UndoRegistry(Machine& target, UndoRecorder& recorder, CallGate& gate)
            : ForwardRegistry(target.RegistryKeys(), gate),
              system_(target.System()),
              recorder_(recorder) {}
        Status RegSetValueExW(RegistryBase base, TextView subkey, TextView name,
                              const RegistryValue& value) override;
        Status RegDeleteValueW(RegistryBase base, TextView subkey, TextView name) override;
        Status RegDeleteKeyW(RegistryBase base, TextView subkey) override;

      private:
        struct Place {
            RegistryRoot root = RegistryRoot::LocalMachine;
            Text key;
        };

        Result<bool> Exists(const Place& place);
        bool Shows(RegistryRoot root);
        Result<Place> PlaceOf(RegistryRoot root, TextView subkey, const TextView* value);
        Status AddMissingKeys(const Place& place, std::vector<UndoChange>& changes);
        Status AddOrder(const Place& place, std::vector<UndoChange>& changes);
        Result<std::vector<NamedRegistryValue>> ValuesOf(const Place& place);
        Result<Text> Spelled(const Place& place);

        SystemFacts& system_;
        UndoRecorder& recorder_;
        Text spelledParent_;  // whose subkeys' names are known:
        std::map<Text, Text> spelled_;
        std::map<Text, Text> seenValues_;  // the name of one that a key held, by place
    };

    class UndoFiles final : public ForwardFiles {
      public:
        UndoFiles(Machine& target, UndoRecorder& recorder, CallGate& gate)
            : ForwardFiles(target.FileSystem(), gate),
              system_(target.System()),
              recorder_(recorder) {}
        Status SetFileAttributesW(TextView path, std::uint32_t attributes) override;
        Status SetFileAttributesA(std::string_view path, std::uint32_t attributes) override;
        Status DeleteFileW(TextView path) override;
        Status DeleteFileA(std::string_view path) override;
        Status MoveFileW(TextView source, TextView target) override;
        Status MoveFileA(std::string_view source, std::string_view target) override;
        Status MoveFileExW(TextView source, TextView target) override;
        Status CreateDirectoryW(TextView path) override;
        Result<std::unique_ptr<OpenFile>> CreateFileW(TextView path, FileMode mode) override;

      private:
        bool IsOwn(TextView path);
        bool IsTemporaryName(TextView path);
        Text ProgramFolder();
        Status Forgotten(TextView path, Status outcome);
        Status NoteAttributes(TextView path, std::uint32_t attributes);
        Result<Text> Spelled(TextView path);
        Result<bool> CanMove(TextView source, TextView target);
        Status NoteMove(TextView source, TextView target);
        Status NoteContent(TextView path);
        Status KeepCopy(TextView path, const Text& kept);

        SystemFacts& system_;
        UndoRecorder& recorder_;
        std::set<Text> temporary_;  // lower-cased paths of files that this run has made
    };

    class UndoProcesses final : public NamedProcesses {
      public:
        UndoProcesses(Machine& target, UndoRecorder& recorder, CallGate& gate)
            : NamedProcesses(target, gate), recorder_(recorder) {}
        Status TerminateProcess(Handle process, std::uint32_t exitCode) override;

      private:
        UndoRecorder& recorder_;
    };

    class UndoRestart final : public ForwardRestart {
      public:
        UndoRestart(Machine& target, UndoRecorder& recorder, CallGate& gate)
            : ForwardRestart(target.Session(), gate), recorder_(recorder) {}
        Status ExitWindowsEx(std::uint32_t flags, std::uint32_t reason) override;

      private:
        UndoRecorder& recorder_;
    };

    Machine& target_;
    UndoRecorder recorder_;
    UndoRegistry registry_;
    UndoFiles files_;
    UndoProcesses processes_;
    UndoRestart restart_;
    UndoKeeper* keeperBefore_;
};

}  // namespace bkfd
