#include "platform/record/RecordingMachine.h"

namespace bkfd {

RecordingMachine::RecordingMachine(Machine& target)
    : ForwardMachine(target, OpenGate()),
      registry_(target.RegistryKeys(), changes_),
      files_(target, changes_),
      processes_(target, changes_),
      restart_(target.Session(), changes_) {}

// ---------------------------------------------------------------- registry

RecordedChange RecordingMachine::RecordingRegistry::ValueChange(RecordedChange::Kind kind,
                                                                RegistryRoot root, TextView subkey,
                                                                TextView name) {
    RecordedChange change;
    change.kind = kind;
    change.root = root;
    change.name = subkey;
    change.valueName = name;
    auto before = target_.RegQueryValueExW(root, subkey, name);
    if (before.IsOk()) change.before = std::move(before.value);
    return change;
}

Status RecordingMachine::RecordingRegistry::RegSetValueExW(RegistryRoot root, TextView subkey,
                                                           TextView name,
                                                           const RegistryValue& value) {
    RecordedChange change = ValueChange(RecordedChange::Kind::SetValue, root, subkey, name);
    change.after = value;
    change.outcome = target_.RegSetValueExW(root, subkey, name, value);
    changes_.push_back(change);
    return change.outcome;
}

Status RecordingMachine::RecordingRegistry::RegDeleteValueW(RegistryRoot root, TextView subkey,
                                                            TextView name) {
    RecordedChange change = ValueChange(RecordedChange::Kind::DeleteValue, root, subkey, name);
    change.outcome = target_.RegDeleteValueW(root, subkey, name);
    changes_.push_back(change);
    return change.outcome;
}

Status RecordingMachine::RecordingRegistry::RegDeleteKeyW(RegistryRoot root, TextView subkey) {
    RecordedChange change;
    change.kind = RecordedChange::Kind::DeleteKey;
    change.root = root;
    change.name = subkey;
    for (const Text& name : target_.RegEnumValueW(root, subkey).value) {
        auto value = target_.RegQueryValueExW(root, subkey, name);
        if (value.IsOk()) change.deletedValues.emplace_back(name, std::move(value.value));
    }
    change.outcome = target_.RegDeleteKeyW(root, subkey);
    changes_.push_back(change);
    return change.outcome;
}

// ---------------------------------------------------------------- files

Status RecordingMachine::RecordingFiles::Note(TextView source, TextView target, Status outcome) {
    RecordedChange change;
    change.kind = RecordedChange::Kind::MoveFile;
    change.name = source;
    change.target = target;
    change.outcome = outcome;
    changes_.push_back(change);
    return outcome;
}

Status RecordingMachine::RecordingFiles::MoveFileW(TextView source, TextView target) {
    return Note(source, target, target_.MoveFileW(source, target));
}

Status RecordingMachine::RecordingFiles::MoveFileA(std::string_view source,
                                                   std::string_view target) {
    return Note(system_.MultiByteToWideChar(source), system_.MultiByteToWideChar(target),
                target_.MoveFileA(source, target));
}

// ---------------------------------------------------------------- processes

Status RecordingMachine::RecordingProcesses::TerminateProcess(Handle process,
                                                              std::uint32_t exitCode) {
    RecordedChange change;
    change.kind = RecordedChange::Kind::EndProcess;
    change.processId = IdOf(process);
    change.name = ProgramOf(change.processId);
    change.outcome = target_.TerminateProcess(process, exitCode);
    changes_.push_back(change);
    return change.outcome;
}

// ---------------------------------------------------------------- restart

Status RecordingMachine::RecordingRestart::ExitWindowsEx(std::uint32_t flags,
                                                         std::uint32_t reason) {
    RecordedChange change;
    change.kind = RecordedChange::Kind::Restart;
    change.outcome = target_.ExitWindowsEx(flags, reason);
    changes_.push_back(change);
    return change.outcome;
}

}  // namespace bkfd
