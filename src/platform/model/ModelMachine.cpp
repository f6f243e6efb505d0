#include "platform/model/ModelMachine.h"

namespace bkfd {

ModelMachine::ModelMachine(MachineFacts facts, Volume& volume, ModelClock& clock, ChangeLog* log,
                           std::unique_ptr<RegistryRoots> roots)
    : volume_(volume),
      clock_(clock),
      facts_(std::move(facts)),
      codePage_(facts_.codePage),
      roots_(roots ? std::move(roots) : std::make_unique<TreeRoots>(tree_)),
      registry_(*roots_, facts_, log),
      processes_(facts_, log),
      files_({volume, rules_, facts_, codePage_, processes_, log}),
      system_(facts_, codePage_, clock),
      session_(facts_, processes_, [this] { return RestartMachine(); }),
      components_(facts_) {
    processes_.OnEnded(
        [this](const ProcessRecord& ended) { ReleaseLocks(ended, processes_, facts_, rules_); });
}

ModelMachine::ModelMachine(const ModelMachine& from, Volume& volume, ModelClock& clock)
    : ModelMachine(from.facts_, volume, clock, nullptr, from.roots_->Fork()) {
    rules_ = from.rules_;
    registry_.CopyDenials(from.registry_);
    processes_.Replace(from.processes_.All());
    if (from.processes_.HoldsNothing()) processes_.HoldNothing();
    components_.CopyClasses(from.components_);
    http_ = from.http_;
}

}  // namespace bkfd
