#include "platform/memory/ModelMachine.h"

#include "platform/memory/MachineDump.h"

namespace bkfd {

ModelMachine::ModelMachine(MachineFacts facts, Volume& volume, ModelClock& clock, ChangeLog* log)
    : facts_(std::move(facts)),
      codePage_(facts_.codePage),
      registry_(tree_, facts_.HasUserClasses(), log),
      processes_(facts_, log),
      files_({volume, rules_, facts_, codePage_, processes_, log}),
      system_(facts_, codePage_, clock),
      session_(facts_, processes_, [this] { return RestartMachine(); }),
      components_(facts_) {
    processes_.OnEnded(
        [this](const ProcessRecord& ended) { ReleaseLocks(ended, processes_, facts_, rules_); });
}

std::string ModelMachine::DumpRegistry() const {
    return DumpRegistryTree(tree_);
}

std::string ModelMachine::DumpFiles() const {
    return DumpVolumeEntries(DumpedFiles(), rules_);
}

std::string ModelMachine::DumpProcesses() const {
    return DumpProcessRecords(processes_.All());
}

}  // namespace bkfd
