#include "platform/undo/UndoMachine.h"

#include "platform/forward/ProgramOfProcess.h"

namespace bkfd {
namespace {

class NoGate final : public CallGate {
  public:
    Status Enter(const char*) override { return {}; }
};

CallGate& OpenGate() {
    static NoGate gate;
    return gate;
}

}  // namespace

UndoMachine::UndoMachine(Machine& target, Text program)
    : target_(target),
      recorder_(target, std::move(program)),
      registry_(target, recorder_, OpenGate()),
      files_(target, recorder_, OpenGate()),
      processes_(target, recorder_, OpenGate()),
      restart_(target, recorder_, OpenGate()),
      keeperBefore_(InstallUndoKeeper(this)) {}

UndoMachine::~UndoMachine() {
    InstallUndoKeeper(keeperBefore_);
}

Result<Handle> UndoMachine::UndoProcesses::OpenProcess(std::uint32_t access,
                                                       std::uint32_t processId) {
    auto opened = target_.OpenProcess(access, processId);
    if (opened.IsOk()) opened_[opened.value] = processId;
    return opened;
}

Status UndoMachine::UndoProcesses::CloseHandle(Handle handle) {
    opened_.erase(handle);
    return target_.CloseHandle(handle);
}

Status UndoMachine::UndoProcesses::TerminateProcess(Handle process, std::uint32_t exitCode) {
    UndoChange change;
    change.kind = UndoChange::Kind::EndProcess;
    const auto known = opened_.find(process);
    if (known != opened_.end()) change.processId = known->second;
    change.name = ProgramOfProcess(machine_, change.processId);
    const Status noted = recorder_.Note({change});
    return noted.IsOk() ? recorder_.Tell(target_.TerminateProcess(process, exitCode)) : noted;
}

Status UndoMachine::UndoRestart::ExitWindowsEx(std::uint32_t flags, std::uint32_t reason) {
    UndoChange change;
    change.kind = UndoChange::Kind::Restart;
    const Status noted = recorder_.Note({change});
    return noted.IsOk() ? recorder_.Tell(target_.ExitWindowsEx(flags, reason)) : noted;
}

}  // namespace bkfd
