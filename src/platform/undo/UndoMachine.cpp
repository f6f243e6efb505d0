#include "platform/undo/UndoMachine.h"

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

Status UndoMachine::UndoProcesses::TerminateProcess(Handle process, std::uint32_t exitCode) {
    UndoChange change;
    change.kind = UndoChange::Kind::EndProcess;
    change.processId = IdOf(process);
    change.name = ProgramOf(change.processId);
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
