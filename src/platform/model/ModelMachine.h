#pragma once

#include "platform/model/FileRules.h"
#include "platform/model/MachineFacts.h"
#include "platform/model/ModelComponents.h"
#include "platform/model/ModelFiles.h"
#include "platform/model/ModelHttp.h"
#include "platform/model/ModelProcesses.h"
#include "platform/model/ModelRegistry.h"
#include "platform/model/ModelSession.h"
#include "platform/model/ModelShell.h"
#include "platform/model/ModelSystem.h"

namespace bkfd {

/// What all modelled machines share: everything but where the bytes of files lie, what the time is
/// and how changes last.
class ModelMachine : public Machine {
  public:
    const MachineFacts& Facts() const { return facts_; }

    // What the machine holds, for those who write it down.
    RegistryRoots& Roots() const { return *roots_; }
    const FileRules& Rules() const { return rules_; }
    std::vector<VolumeEntry> AllFiles() const { return volume_.All(); }
    std::vector<ProcessRecord> ProcessRecords() const { return processes_.All(); }

    using Variables = std::vector<std::pair<Text, Text>>;
    /// The environment of another user of the machine.
    void SetEnvironment(Variables variables) { facts_.environment = std::move(variables); }

    SystemFacts& System() override { return system_; }
    Registry& RegistryKeys() override { return registry_; }
    Files& FileSystem() override { return files_; }
    Processes& ProcessTable() override { return processes_; }
    Restart& Session() override { return session_; }
    Components& ComponentObjects() override { return components_; }
    Shell& ShellCommands() override { return shell_; }
    Http& HttpRequests() override { return http_; }

    /// What the XML service's requests are; without it the service is missing.
    void SetHttp(ModelHttp::Factory make) { http_.SetFactory(std::move(make)); }
    /// What the shell was asked to open or start, a line each, in order.
    const std::vector<Text>& Launched() const { return shell_.Launched(); }

  protected:
    /// Keeps references to the volume, the clock and the log, which the derived class owns. `log`
    /// may be null.
    /// The registry is `roots`, or `tree_` without them.
    ModelMachine(MachineFacts facts, Volume& volume, ModelClock& clock, ChangeLog* log,
                 std::unique_ptr<RegistryRoots> roots = nullptr);

    /// A copy of another machine's state, over a volume and a clock of its own.
    ModelMachine(const ModelMachine& from, Volume& volume, ModelClock& clock);

    static Volume& VolumeOf(const ModelMachine& machine) { return machine.volume_; }
    static ModelClock& ClockOf(const ModelMachine& machine) { return machine.clock_; }

    /// Sets the new boot time and drops what didn't come up again.
    virtual Status RestartMachine() = 0;

  private:
    Volume& volume_;
    ModelClock& clock_;

  protected:
    MachineFacts facts_;
    CodePage codePage_;
    RegistryTree tree_;
    std::unique_ptr<RegistryRoots> roots_;
    FileRules rules_;
    ModelRegistry registry_;
    ModelProcesses processes_;
    ModelFiles files_;
    ModelSystem system_;
    ModelSession session_;
    ModelComponents components_;
    ModelShell shell_;
    ModelHttp http_;
};

}  // namespace bkfd
