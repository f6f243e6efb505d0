#pragma once

#include "platform/memory/FileRules.h"
#include "platform/memory/MachineFacts.h"
#include "platform/memory/ModelComponents.h"
#include "platform/memory/ModelFiles.h"
#include "platform/memory/ModelHttp.h"
#include "platform/memory/ModelProcesses.h"
#include "platform/memory/ModelRegistry.h"
#include "platform/memory/ModelSession.h"
#include "platform/memory/ModelShell.h"
#include "platform/memory/ModelSystem.h"

namespace bkfd {

/// What all modelled machines share: everything but where the bytes of files lie, what the time is
/// and how changes last.
class ModelMachine : public Machine {
  public:
    const MachineFacts& Facts() const { return facts_; }

    /// The machine's state for people and assertions: "[key]" and its values, files with size and
    /// what is particular about them, processes with modules. A key or folder that something
    /// below it stands for is left out. Sorted, UTF-8, one item a line.
    std::string Dump() const { return DumpRegistry() + DumpFiles() + DumpProcesses(); }
    std::string DumpRegistry() const;
    std::string DumpFiles() const;
    std::string DumpProcesses() const;

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
    ModelMachine(MachineFacts facts, Volume& volume, ModelClock& clock, ChangeLog* log);

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
