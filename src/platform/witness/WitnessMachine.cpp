#include "platform/witness/WitnessMachine.h"

#include "platform/RegistryViews.h"
#include "platform/RootNames.h"

namespace bkfd {
namespace {

Text KeyName(RegistryRoot root, Text key) {
    while (key.ends_with(u'\\')) key.pop_back();
    return Text(RegistryRootName(root)).append(1, u'\\').append(key);
}

/// A name that no file can have isn't an unreadable file.
bool IsNoName(Status status) {
    return status.code == SystemError::InvalidName || status.code == SystemError::BadPathname;
}

/// A file that is read with notes about what of it can't be.
class WitnessOpenFile final : public OpenFile {
  public:
    WitnessOpenFile(std::unique_ptr<OpenFile> target, Text path, Witness& witness)
        : target_(std::move(target)), path_(std::move(path)), witness_(witness) {}

    Result<std::uint64_t> GetFileSize() override { return Watch(target_->GetFileSize()); }
    Result<std::size_t> ReadFile(std::uint64_t offset, std::span<std::uint8_t> buffer) override {
        return Watch(target_->ReadFile(offset, buffer));
    }
    Status WriteFile(std::span<const std::uint8_t> bytes) override {
        return target_->WriteFile(bytes);
    }
    Status FlushFileBuffers() override { return target_->FlushFileBuffers(); }

  private:
    template <class Outcome>
    Outcome Watch(Outcome outcome) {
        witness_.Note(u"file", path_, outcome);
        return outcome;
    }

    std::unique_ptr<OpenFile> target_;
    Text path_;
    Witness& witness_;
};

}  // namespace

void Witness::Note(TextView kind, TextView name, Status outcome) {
    if (outcome.IsOk() || outcome.IsNotThere()) return;
    if (!seen_.emplace(Text(kind), ToLower(name)).second) return;
    items_.push_back({Text(kind), Text(name), outcome.code});
}

WitnessMachine::WitnessMachine(Machine& target)
    : ForwardMachine(target, OpenGate()),
      registry_(target, witness_),
      files_(target, witness_),
      processes_(target.ProcessTable(), witness_) {}

template <class Outcome>
Outcome WitnessMachine::WitnessRegistry::Watch(Outcome outcome, RegistryBase base,
                                               TextView subkey) {
    if (outcome.IsOk() || IsNoName(outcome)) return outcome;
    const Text key = KeyName(base.root, NativeKey(system_, base, subkey));
    witness_.Note(u"registry", key, outcome);
    return outcome;
}

Result<RegistryValue> WitnessMachine::WitnessRegistry::RegQueryValueExW(RegistryBase base,
                                                                        TextView subkey,
                                                                        TextView name) {
    return Watch(target_.RegQueryValueExW(base, subkey, name), base, subkey);
}

Result<std::vector<Text>> WitnessMachine::WitnessRegistry::RegEnumKeyExW(RegistryBase base,
                                                                         TextView subkey) {
    return Watch(target_.RegEnumKeyExW(base, subkey), base, subkey);
}

Result<std::vector<Text>> WitnessMachine::WitnessRegistry::RegEnumValueW(RegistryBase base,
                                                                         TextView subkey) {
    return Watch(target_.RegEnumValueW(base, subkey), base, subkey);
}

Result<std::uint32_t> WitnessMachine::WitnessFiles::GetFileAttributesW(TextView path) {
    const auto outcome = target_.GetFileAttributesW(path);
    if (!IsNoName(outcome)) witness_.Note(u"file", path, outcome);
    return outcome;
}

Result<std::unique_ptr<OpenFile>> WitnessMachine::WitnessFiles::CreateFileW(TextView path,
                                                                            FileMode mode) {
    auto opened = target_.CreateFileW(path, mode);
    if (mode != FileMode::Read) return opened;
    if (!opened.IsOk()) {
        // A folder can't be read as a file by anybody.
        const auto attributes = target_.GetFileAttributesW(path);
        const bool isFolder =
            attributes.IsOk() && (attributes.value & FileAttribute::Directory) != 0;
        if (!isFolder && !IsNoName(opened)) witness_.Note(u"file", path, opened);
        return opened;
    }
    return std::unique_ptr<OpenFile>(
        std::make_unique<WitnessOpenFile>(std::move(opened.value), Text(path), witness_));
}

/// A failure tells no reason. A file that isn't found though it is there lies in a folder that
/// can't be read.
Handle WitnessMachine::WitnessFiles::FindFirstFileA(std::string_view path, FindData& data) {
    const Handle search = target_.FindFirstFileA(path, data);
    if (search == kInvalidHandle) {
        (void)GetFileAttributesW(system_.MultiByteToWideChar(path));
    }
    return search;
}

Status WitnessMachine::WitnessProcesses::EnumProcesses(std::span<std::uint32_t> ids,
                                                       std::uint32_t& needed) {
    const Status outcome = target_.EnumProcesses(ids, needed);
    witness_.Note(u"process-list", u"all", outcome);
    return outcome;
}

Result<Handle> WitnessMachine::WitnessProcesses::OpenProcess(std::uint32_t access,
                                                             std::uint32_t processId) {
    const auto opened = target_.OpenProcess(access, processId);
    const bool hasEnded = opened.code == SystemError::InvalidParameter;
    if (!hasEnded) witness_.Note(u"process", ToText(processId), opened);
    if (opened.IsOk()) names_[opened.value] = processId;
    return opened;
}

Status WitnessMachine::WitnessProcesses::EnumProcessModules(Handle process,
                                                            std::span<ModuleHandle> modules,
                                                            std::uint32_t bytes,
                                                            std::uint32_t& needed) {
    const Status outcome = target_.EnumProcessModules(process, modules, bytes, needed);
    const auto found = names_.find(process);
    if (found != names_.end()) witness_.Note(u"process", ToText(found->second), outcome);
    return outcome;
}

Handle WitnessMachine::WitnessProcesses::CreateToolhelp32Snapshot(std::uint32_t flags,
                                                                  std::uint32_t processId) {
    const Handle snapshot = target_.CreateToolhelp32Snapshot(flags, processId);
    if (snapshot != kInvalidHandle) return snapshot;
    if ((flags & SnapshotHolds::Modules) != 0) {
        witness_.Note(u"process", ToText(processId), {SystemError::AccessDenied});
    } else {
        witness_.Note(u"process-list", u"all", {SystemError::AccessDenied});
    }
    return snapshot;
}

}  // namespace bkfd
