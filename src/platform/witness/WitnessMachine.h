#pragma once

#include <map>
#include <set>
#include <vector>

#include "platform/forward/ForwardMachine.h"

namespace bkfd {

/// Something that is there and could not be read.
struct UnreadableItem {
    Text kind;  // "registry", "file", "process" or, for all processes, "process-list"
    Text name;  // the key, the path, or the process's identifier
    std::uint32_t error = 0;

    bool operator==(const UnreadableItem&) const = default;
};

/// What could not be read, each item once, in the order in which it was met.
class Witness {
  public:
    const std::vector<UnreadableItem>& Items() const { return items_; }

    /// Notes the item if the outcome is a failure other than "not there".
    void Note(TextView kind, TextView name, Status outcome);

  private:
    std::vector<UnreadableItem> items_;
    std::set<std::pair<Text, Text>> seen_;  // kind and lower-cased name
};

/// Notes what its machine could not read, so that results can say that they lack something. A
/// process that has ended meanwhile isn't one that can't be opened.
class WitnessMachine final : public ForwardMachine {
  public:
    explicit WitnessMachine(Machine& target);

    const std::vector<UnreadableItem>& Unreadable() const { return witness_.Items(); }

    Registry& RegistryKeys() override { return registry_; }
    Files& FileSystem() override { return files_; }
    Processes& ProcessTable() override { return processes_; }

  private:
    class WitnessRegistry final : public ForwardRegistry {
      public:
        WitnessRegistry(Machine& target, Witness& witness)
            : ForwardRegistry(target.RegistryKeys(), OpenGate()),
              system_(target.System()),
              witness_(witness) {}
        Result<RegistryValue> RegQueryValueExW(RegistryBase base, TextView subkey,
                                               TextView name) override;
        Result<std::vector<Text>> RegEnumKeyExW(RegistryBase base, TextView subkey) override;
        Result<std::vector<Text>> RegEnumValueW(RegistryBase base, TextView subkey) override;

      private:
        template <class Outcome>
        Outcome Watch(Outcome outcome, RegistryBase base, TextView subkey);

        SystemFacts& system_;
        Witness& witness_;
    };

    class WitnessFiles final : public ForwardFiles {
      public:
        WitnessFiles(Machine& target, Witness& witness)
            : ForwardFiles(target.FileSystem(), OpenGate()),
              system_(target.System()),
              witness_(witness) {}
        Result<std::uint32_t> GetFileAttributesW(TextView path) override;
        Result<std::unique_ptr<OpenFile>> CreateFileW(TextView path, FileMode mode) override;
        Handle FindFirstFileA(std::string_view path, FindData& data) override;

      private:
        SystemFacts& system_;
        Witness& witness_;
    };

    class WitnessProcesses final : public ForwardProcesses {
      public:
        WitnessProcesses(Processes& target, Witness& witness)
            : ForwardProcesses(target, OpenGate()), witness_(witness) {}
        Status EnumProcesses(std::span<std::uint32_t> ids, std::uint32_t& needed) override;
        Result<Handle> OpenProcess(std::uint32_t access, std::uint32_t processId) override;
        Status EnumProcessModules(Handle process, std::span<ModuleHandle> modules,
                                  std::uint32_t bytes, std::uint32_t& needed) override;
        Handle CreateToolhelp32Snapshot(std::uint32_t flags, std::uint32_t processId) override;

      private:
        Witness& witness_;
        std::map<Handle, std::uint32_t> names_;  // handles to the identifiers of their processes
    };

    Witness witness_;
    WitnessRegistry registry_;
    WitnessFiles files_;
    WitnessProcesses processes_;
};

}  // namespace bkfd
