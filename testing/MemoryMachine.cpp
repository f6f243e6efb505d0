#include "testing/MemoryMachine.h"

#include "platform/RegistryValues.h"
#include "platform/model/WindowsPath.h"

namespace bkfd {
namespace {

constexpr TextView kClasses = u"Software\\Classes\\";

}  // namespace

void ManualClock::Restart() {
    Advance(kRestartMilliseconds);
    tickCount = 0;
}

void ManualClock::Advance(std::uint32_t milliseconds) {
    CivilTime civil = ToCivil(now);
    civil.second += static_cast<int>(milliseconds / 1000);
    civil.millisecond += static_cast<int>(milliseconds % 1000);
    now = ToDate(civil);
    tickCount += milliseconds;
}

MemoryMachine::MemoryMachine(WindowsFamily family)
    : ModelMachine(MachineFacts(family), volume_, clock_, nullptr),
      volume_([this] { return clock_.now; }) {
    for (const Text& folder :
         {facts_.SystemFolder(), facts_.programFolder, facts_.WindowsFolder()}) {
        volume_.PutFolder(folder);
    }
}

RegistryKey& MemoryMachine::RealKey(RegistryRoot root, TextView key) {
    if (root != RegistryRoot::ClassesRoot) return tree_.Root(root).Make(key);
    return tree_.Root(RegistryRoot::LocalMachine).Make(Text(kClasses) + Text(key));
}

void MemoryMachine::SetValue(RegistryRoot root, TextView key, TextView name, RegistryValue value) {
    RealKey(root, key).values.Set(name, std::move(value));
}

void MemoryMachine::SetString(RegistryRoot root, TextView key, TextView name, TextView text) {
    SetValue(root, key, name, MakeStringValue(text));
}

void MemoryMachine::SetDword(RegistryRoot root, TextView key, TextView name, std::uint32_t number) {
    SetValue(root, key, name, MakeDwordValue(number));
}

void MemoryMachine::AddKey(RegistryRoot root, TextView key) {
    RealKey(root, key);
}

Text MemoryMachine::GetString(RegistryRoot root, TextView key, TextView name) {
    const auto value = registry_.RegQueryValueExW(root, key, name);
    return value.IsOk() ? TextOfValue(value.value) : Text();
}

bool MemoryMachine::HasKey(RegistryRoot root, TextView key) {
    return registry_.RegEnumKeyExW(root, key).IsOk();
}

bool MemoryMachine::HasValue(RegistryRoot root, TextView key, TextView name) {
    return registry_.RegQueryValueExW(root, key, name).IsOk();
}

void MemoryMachine::AddFile(TextView path, Bytes content, std::uint32_t attributes) {
    volume_.Put(path, std::move(content));
    if (attributes != FileAttribute::Archive) rules_.At(path).attributes = attributes;
}

void MemoryMachine::AddFile(TextView path, std::string_view content, std::uint32_t attributes) {
    AddFile(path, Bytes(content.begin(), content.end()), attributes);
}

void MemoryMachine::AddFolder(TextView path) {
    volume_.PutFolder(path);
}

void MemoryMachine::SetShortName(TextView path, TextView shortName) {
    volume_.SetShortName(path, shortName);
}

Bytes MemoryMachine::FileContent(TextView path) const {
    const Bytes* content = volume_.Content(path);
    return content == nullptr ? Bytes() : *content;
}

std::uint32_t MemoryMachine::AttributesOf(TextView path) {
    return files_.GetFileAttributesW(path).value;
}

void MemoryMachine::SetVersion(std::int32_t major, std::int32_t minor, std::int32_t build,
                               TextView servicePack) {
    facts_.major = major;
    facts_.minor = minor;
    facts_.build = build;
    facts_.servicePack = servicePack;
}

void MemoryMachine::SetCodePage(std::uint32_t number) {
    facts_.codePage = number;
    codePage_ = CodePage(number);
}

void MemoryMachine::SetProgramFile(TextView path) {
    facts_.programFolder = WindowsPath::Parent(path);
    facts_.programFile = WindowsPath::Name(path);
}

Status MemoryMachine::RestartMachine() {
    clock_.Restart();
    processes_.DropMissing([this](const Text& path) { return volume_.Find(path).IsOk(); });
    return {};
}

}  // namespace bkfd
