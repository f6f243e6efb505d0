#pragma once

#include <functional>
#include <string_view>

#include "platform/model/ModelMachine.h"
#include "testing/MemoryVolume.h"

namespace bkfd {

/// A clock that moves only when it is told to.
class ManualClock final : public ModelClock {
  public:
    /// How long a restart takes, so that the next start has a boot time of its own.
    static constexpr std::uint32_t kRestartMilliseconds = 180'000;

    Date Now() override { return now; }
    std::uint32_t TickCount() override { return tickCount; }
    void Sleep(std::uint32_t milliseconds) override { Advance(milliseconds); }
    void Restart() override;
    void Advance(std::uint32_t milliseconds);

    Date now = ToDate({2026, 11, 16, 9, 39, 4, 0});
    std::uint32_t tickCount = 3'600'000;
};

/// A machine in memory with the drive C: and the folders of an installation, no files, no keys and
/// no processes. What it is to hold is set by the operations below, which ask nobody; the seam's
/// operations behave as the Windows of its family does.
class MemoryMachine final : public ModelMachine {
  public:
    explicit MemoryMachine(WindowsFamily family);

    // The registry.
    void SetValue(RegistryRoot root, TextView key, TextView name, RegistryValue value);
    void SetString(RegistryRoot root, TextView key, TextView name, TextView text);
    void SetDword(RegistryRoot root, TextView key, TextView name, std::uint32_t number);
    void AddKey(RegistryRoot root, TextView key);
    /// The characters of a text value, empty if there is none.
    Text GetString(RegistryRoot root, TextView key, TextView name);
    bool HasKey(RegistryRoot root, TextView key);
    bool HasValue(RegistryRoot root, TextView key, TextView name);
    /// The key and all below it refuse reading, or writing.
    void DenyRead(RegistryRoot root, TextView key) { registry_.DenyRead(root, key); }
    void DenyWrite(RegistryRoot root, TextView key) { registry_.DenyWrite(root, key); }

    // The files. Folders and drives are made where they are missing.
    void AddFile(TextView path, Bytes content, std::uint32_t attributes = FileAttribute::Archive);
    void AddFile(TextView path, std::string_view content = {},
                 std::uint32_t attributes = FileAttribute::Archive);
    void AddFolder(TextView path);
    /// The 8.3 name that an existing file or folder is found under too.
    void SetShortName(TextView path, TextView shortName);
    bool HasFile(TextView path) const { return volume_.Content(path) != nullptr; }
    /// Empty for a file that isn't there.
    Bytes FileContent(TextView path) const;
    std::uint32_t AttributesOf(TextView path);
    /// The file can't be moved or deleted until the processes that hold it have ended; if none
    /// holds it, never.
    void LockFile(TextView path) { rules_.At(path).isLocked = true; }
    void UnlockFile(TextView path) { rules_.At(path).isLocked = false; }
    /// The file is there, and opening it fails with `AccessDenied`.
    void MakeUnreadable(TextView path) { rules_.At(path).isUnreadable = true; }

    // The processes, in order.
    void AddProcess(ProcessRecord record) { processes_.Add(std::move(record)); }
    std::vector<ProcessRecord> ProcessList() const { return processes_.All(); }
    /// Handles to processes, snapshots and tokens that haven't been closed.
    std::size_t OpenHandleCount() const { return processes_.OpenHandleCount(); }

    // The facts.
    MachineFacts& Facts() { return facts_; }
    void SetVersion(std::int32_t major, std::int32_t minor, std::int32_t build,
                    TextView servicePack = {});
    void SetEnvironment(TextView name, TextView value) { facts_.SetEnvironment(name, Text(value)); }
    void SetCodePage(std::uint32_t number);
    void SetProgramFile(TextView path);
    void SetNow(Date now) { clock_.now = now; }
    void SetTickCount(std::uint32_t milliseconds) { clock_.tickCount = milliseconds; }
    /// Both the local time and the tick count go on.
    void AdvanceClock(std::uint32_t milliseconds) { clock_.Advance(milliseconds); }
    /// A restart fails with `PrivilegeNotHeld`.
    void DenyRestart() { facts_.isRestartDenied = true; }
    int RestartCount() const { return session_.RestartCount(); }

    // Component objects, by programmatic identifier, class identifier or file.
    void AddComponent(TextView name, std::function<ObjectRef()> make) {
        components_.Install(name, std::move(make));
    }
    void RemoveComponent(TextView name) { facts_.missingComponents.emplace_back(name); }

  private:
    RegistryKey& RealKey(RegistryRoot root, TextView key);
    Status RestartMachine() override;

    ManualClock clock_;
    MemoryVolume volume_;
};

/// Installs a machine and, at its end, the one that was installed before.
class InstalledMachine {
  public:
    explicit InstalledMachine(Machine& machine) : previous_(InstallMachine(&machine)) {}
    ~InstalledMachine() { InstallMachine(previous_); }
    InstalledMachine(const InstalledMachine&) = delete;
    InstalledMachine& operator=(const InstalledMachine&) = delete;

  private:
    Machine* previous_;
};

}  // namespace bkfd
