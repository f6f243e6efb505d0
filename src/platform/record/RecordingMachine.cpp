#include "platform/record/RecordingMachine.h"

#include "platform/RegistryViews.h"

namespace bkfd {

RecordingMachine::RecordingMachine(Machine& target)
    : ForwardMachine(target, OpenGate()),
      registry_(target, changes_),
      files_(target, changes_),
      processes_(target, changes_),
      restart_(target.Session(), changes_) {}

// ---------------------------------------------------------------- registry

RecordedChange RecordingMachine::RecordingRegistry::ValueChange(RecordedChange::Kind kind,
                                                                RegistryBase base, TextView subkey,
                                                                TextView name) {
    RecordedChange change;
    change.kind = kind;
    change.root = base.root;
    change.name = NativeKey(system_, base, subkey);
    if (change.name != subkey) change.nameInView = subkey;
    change.valueName = name;
    auto before = target_.RegQueryValueExW(base, subkey, name);
    if (before.IsOk()) change.before = std::move(before.value);
    return change;
}

Status RecordingMachine::RecordingRegistry::RegSetValueExW(RegistryBase base, TextView subkey,
                                                           TextView name,
                                                           const RegistryValue& value) {
    RecordedChange change = ValueChange(RecordedChange::Kind::SetValue, base, subkey, name);
    change.after = value;
    change.outcome = target_.RegSetValueExW(base, subkey, name, value);
    changes_.push_back(change);
    return change.outcome;
}

Status RecordingMachine::RecordingRegistry::RegDeleteValueW(RegistryBase base, TextView subkey,
                                                            TextView name) {
    RecordedChange change = ValueChange(RecordedChange::Kind::DeleteValue, base, subkey, name);
    change.outcome = target_.RegDeleteValueW(base, subkey, name);
    changes_.push_back(change);
    return change.outcome;
}

Status RecordingMachine::RecordingRegistry::RegDeleteKeyW(RegistryBase base, TextView subkey) {
    RecordedChange change;
    change.kind = RecordedChange::Kind::DeleteKey;
    change.root = base.root;
    change.name = NativeKey(system_, base, subkey);
    if (change.name != subkey) change.nameInView = subkey;
    for (const Text& name : target_.RegEnumValueW(base, subkey).value) {
        auto value = target_.RegQueryValueExW(base, subkey, name);
        if (value.IsOk()) change.deletedValues.emplace_back(name, std::move(value.value));
    }
    change.outcome = target_.RegDeleteKeyW(base, subkey);
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
