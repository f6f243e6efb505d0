#include "platform/volume/VolumeMachine.h"

#include <time.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iterator>
#include <set>

#include "platform/RegistryValues.h"
#include "platform/hive/RegistryCommit.h"
#include "platform/model/WindowsPath.h"
#include "platform/volume/CregStore.h"
#include "platform/volume/JournalFolders.h"
#include "platform/volume/VolumeRefusals.h"
#include "platform/volume/VolumeStores.h"

namespace bkfd {
namespace {

constexpr RegistryRoot kLocalMachine = RegistryRoot::LocalMachine;
constexpr RegistryRoot kUsers = RegistryRoot::Users;
constexpr RegistryRoot kCurrentUser = RegistryRoot::CurrentUser;
constexpr TextView kClasses = u"Software\\Classes";
/// The machine's and the users' part of the 95 family's registry, in the Windows folder.
constexpr const char* k95Files[] = {"SYSTEM.DAT", "USER.DAT"};
/// The key of a prefix's only user, as Wine has it.
constexpr TextView kWineUser = u"S-1-5-21-0-0-0-1000";
constexpr TextView kDefaultUser = u".DEFAULT";
/// Of the user's own classes, since Windows 2000 and since Windows Vista.
constexpr TextView kClassesFiles[] = {
    u"Local Settings\\Application Data\\Microsoft\\Windows\\UsrClass.dat",
    u"AppData\\Local\\Microsoft\\Windows\\UsrClass.dat"};

/// The host's time, and what was waited for besides: nothing runs there that could need the time.
/// Windows counts as started before the host.
class HostClock final : public ModelClock {
  public:
    Date Now() override {
        timespec now{};
        clock_gettime(CLOCK_REALTIME, &now);
        return AddSeconds(ToLocalDate(now), static_cast<std::int64_t>(waited_ / 1000));
    }
    std::uint32_t TickCount() override {
        constexpr std::uint64_t kUpBeforeHost = 3'600'000;
        timespec up{};
        clock_gettime(CLOCK_BOOTTIME, &up);
        return static_cast<std::uint32_t>(static_cast<std::uint64_t>(up.tv_sec) * 1000 +
                                          static_cast<std::uint64_t>(up.tv_nsec) / 1'000'000 +
                                          kUpBeforeHost + waited_);
    }
    void Sleep(std::uint32_t milliseconds) override { waited_ += milliseconds; }
    /// Nothing runs that could start anew.
    void Restart() override {}

  private:
    std::uint64_t waited_ = 0;  // milliseconds
};

/// Lets changes of files through, or none. They need no journal: each is one call of the host, and
/// the record of the operation tells what was asked for.
class VolumeGate final : public DiskJournal {
  public:
    explicit VolumeGate(bool mayChange) : mayChange_(mayChange) {}

    void Watch(DiskVolume& volume) { volume_ = &volume; }

    Status NoteWriting() override {
        return mayChange_ ? volume_->SettleFiles() : Status{SystemError::WriteProtect};
    }
    Status NoteMoves(const VolumeMoves&) override { return NoteWriting(); }
    Status NoteRemoval(const Text&) override { return NoteWriting(); }
    void NoteOutcome(bool) override {}
    /// Until the next change of a file, or the commit, nothing reaches the disk.
    bool NoteWritten(const WrittenBytes&) override { return true; }

  private:
    bool mayChange_;
    DiskVolume* volume_ = nullptr;
};

/// Where the registry of one user lies.
struct UserStores {
    VolumeUser user;
    VolumeRegistry::Store own;
    Text ownBelow;  // where the user's keys begin in it
    VolumeRegistry::Store classes;
};

/// What is opened before there is a machine.
struct VolumeParts {
    VolumeParts(const FoundWindows& what, const VolumeOptions& wishes)
        : found(what),
          options(wishes),
          gate(wishes.mayChange),
          stores(std::filesystem::canonical(what.folder).string()),
          registry(std::make_unique<VolumeRegistry>()),
          facts(what.kind == VolumeKind::Windows9x ? WindowsFamily::Windows9x : WindowsFamily::NT) {
    }

    FoundWindows found;
    VolumeOptions options;
    HostClock clock;
    VolumeGate gate;
    VolumeStores stores;
    std::unique_ptr<VolumeRegistry> registry;
    MachineFacts facts;
    std::unique_ptr<DiskVolume> volume;
    std::vector<UserStores> users;
    std::vector<VolumeProblem> problems;
    std::vector<std::string> profiles95;  // the users' registry files of the 95 family
    std::vector<std::string> notes;
    std::set<char16_t> diskLetters;  // of drives that are the machine's
};

using MaybeError = std::optional<VolumeError>;

Text WindowsPathOf(const VolumeParts& parts) {
    const WindowsFamily family = parts.facts.family;
    const char16_t letter = WindowsDriveLetter(*parts.registry, family);
    return Text(1, letter) + u":\\" + parts.found.windowsFolder;
}

/// Facts and drives, once the machine's part of the registry is there.
void ReadMachine(VolumeParts& parts) {
    const Text windows = WindowsPathOf(parts);
    parts.facts = ReadFacts(*parts.registry, parts.facts.family, windows);
    if (!parts.options.programFolder.empty()) {
        parts.facts.programFolder = parts.options.programFolder;
    }
    if (parts.found.kind == VolumeKind::WindowsNT) {
        parts.diskLetters = ReadDiskLetters(*parts.registry);
    }
    DriveFolders drives = parts.options.drives;
    drives.emplace(windows[0], parts.found.drive);
    parts.volume = std::make_unique<DiskVolume>(std::move(drives), parts.gate);
    parts.gate.Watch(*parts.volume);
}

bool IsLink(const std::string& path) {
    std::error_code ignored;
    return std::filesystem::is_symlink(path, ignored);
}

/// Opens a registry file under its real path, which must not lead out of the volume.
VolumeStores::Opened OpenBelow(
    const VolumeParts& parts, const std::string& path,
    const std::function<VolumeStores::Opened(const std::string& real)>& open) {
    std::error_code failure;
    const std::string real = std::filesystem::canonical(path, failure).string();
    if (failure) {
        const bool isMissing = failure == std::errc::no_such_file_or_directory && !IsLink(path);
        return RegistryFileError{
            isMissing ? SystemError::FileNotFound : SystemError::CantResolveFilename, path,
            isMissing ? "isn't there" : "can't be reached: " + failure.message()};
    }
    if (!parts.stores.MayWrite(real)) {
        return RegistryFileError{SystemError::CantResolveFilename, path,
                                 "leads out of " + parts.found.folder + " by a link"};
    }
    return open(real);
}

/// Of new users and of the time before a logon: one that isn't there holds nothing.
void MissDefaultUser(VolumeParts& parts, const std::string& path, const RegistryFileError& error) {
    if (error.code == SystemError::FileNotFound) return;
    parts.problems.push_back({path, error.message});
    parts.registry->MountUnreadable(kUsers, kDefaultUser, {error.code});
}

// ---------------------------------------------------------------- the NT family

class NTVolume {
  public:
    explicit NTVolume(VolumeParts& parts) : parts_(parts) {}

    MaybeError Open() {
        if (auto error = MountMachine()) return error;
        ReadMachine(parts_);
        for (const VolumeUser& user : ReadUsers(*parts_.registry, parts_.facts)) OpenUser(user);
        return std::nullopt;
    }

  private:
    std::string ConfigFile(const char* name) const {
        return FindInAnyCase(parts_.found.windowsHost, std::string("System32/config/") + name);
    }

    MaybeError MountMachine() {
        constexpr struct {
            const char* file;
            TextView key;
        } kHives[] = {{"SOFTWARE", u"SOFTWARE"}, {"SYSTEM", u"SYSTEM"}};
        VolumeRegistry::Store system;
        for (const auto& hive : kHives) {
            const std::string path = ConfigFile(hive.file);
            if (path.empty()) {
                return VolumeError{parts_.found.windowsHost + " lacks System32/config/" +
                                   hive.file + ", without which nothing can be said"};
            }
            auto opened = OpenBelow(parts_, path, [&](const std::string& real) {
                return parts_.stores.OpenHive(real, u"\\Registry\\Machine\\" + Text(hive.key));
            });
            if (const auto* error = std::get_if<RegistryFileError>(&opened)) {
                return VolumeError{path + ' ' + error->message};
            }
            system = std::get<VolumeRegistry::Store>(opened);
            parts_.registry->Mount(kLocalMachine, hive.key, system);
        }
        MountControlSet(system);
        MountDefaultUser();
        return std::nullopt;
    }

    /// The one that Windows ran with last.
    void MountControlSet(const VolumeRegistry::Store& system) {
        const auto value = system->QueryValue(u"Select", u"Current");
        const std::uint32_t number = NumberOfValue(value.value).value_or(1);
        Text digits = ToText(number);
        digits.insert(0, 3 - std::min<std::size_t>(3, digits.size()), u'0');
        parts_.registry->Mount(kLocalMachine, u"SYSTEM\\CurrentControlSet", system,
                               u"ControlSet" + digits);
    }

    void MountDefaultUser() {
        const std::string path = ConfigFile("DEFAULT");
        if (path.empty()) return;
        auto opened = OpenBelow(parts_, path, [&](const std::string& real) {
            return parts_.stores.OpenHive(real, u"\\Registry\\User\\.DEFAULT");
        });
        if (const auto* error = std::get_if<RegistryFileError>(&opened)) {
            MissDefaultUser(parts_, path, *error);
        } else {
            parts_.registry->Mount(kUsers, kDefaultUser, std::get<VolumeRegistry::Store>(opened));
        }
    }

    void OpenUser(const VolumeUser& user) {
        UserStores stores{user, nullptr, {}, nullptr};
        stores.own = OpenOf(user, u"NTUSER.DAT", u"\\Registry\\User\\" + user.key);
        if (stores.own == nullptr) return;
        for (const TextView file : kClassesFiles) {
            if (stores.classes != nullptr) break;
            stores.classes =
                OpenOf(user, file, u"\\Registry\\User\\" + user.key + u"_Classes", true);
        }
        parts_.users.push_back(std::move(stores));
    }

    /// Null for one that can't be read, which is then a problem, unless it needn't be there.
    VolumeRegistry::Store OpenOf(const VolumeUser& user, TextView file, const Text& mountedAt,
                                 bool mayBeMissing = false) {
        const Text path = WindowsPath::Join(user.profile, file);
        const auto host = parts_.volume->HostPath(path);
        if (host.IsNotThere() && mayBeMissing) return nullptr;
        if (!host.IsOk()) {
            const char* why = host.IsNotThere() ? "isn't there, so this user isn't looked at"
                                                : "can't be reached";
            parts_.problems.push_back({ToUtf8(path), why});
            return nullptr;
        }
        auto opened = parts_.stores.OpenHive(host.value, mountedAt);
        if (const auto* error = std::get_if<RegistryFileError>(&opened)) {
            parts_.problems.push_back({host.value, error->message});
            return nullptr;
        }
        return std::get<VolumeRegistry::Store>(opened);
    }

    VolumeParts& parts_;
};

// ---------------------------------------------------------------- the 95 family

/// Null for one that can't be read.
VolumeRegistry::Store OpenCreg(const std::string& path, CodePage& codePage,
                               std::vector<VolumeProblem>& problems) {
    const auto content = ReadHostFile(path);
    if (!content) return nullptr;
    std::vector<std::string> texts;
    VolumeRegistry::Store store = LoadCregStore(
        {reinterpret_cast<const std::uint8_t*>(content->data()), content->size()},
        [&codePage](std::string_view bytes) { return codePage.Decode(bytes); }, texts);
    for (const std::string& text : texts) problems.push_back({path, text});
    return store;
}

/// The registry of a user who has a profile. Its keys lie below the user's name.
void OpenUser95(VolumeParts& parts, const VolumeUser& user, CodePage& codePage) {
    const Text path = WindowsPath::Join(user.profile, u"USER.DAT");
    const auto host = parts.volume->HostPath(path);
    VolumeRegistry::Store own;
    if (host.IsOk()) own = OpenCreg(host.value, codePage, parts.problems);
    if (own == nullptr) {
        parts.problems.push_back({ToUtf8(path), "can't be read, so this user isn't looked at"});
        return;
    }
    for (const Text& below : {user.key, Text(kDefaultUser), Text()}) {
        if (!own->FindKey(KeyBelow(below, u"Software")).IsOk()) continue;
        parts.users.push_back({user, own, below, {}});
        parts.profiles95.push_back(host.value);
        return;
    }
    parts.problems.push_back({host.value, "holds no user's keys"});
}

MaybeError Open95(VolumeParts& parts) {
    constexpr RegistryRoot kRoots[] = {kLocalMachine, kUsers};
    VolumeRegistry::Store users;
    // The code page of the texts stands in the registry itself.
    for (std::uint32_t page = 1252, known = 0; page != known;) {
        known = page;
        CodePage codePage(page);
        parts.problems.clear();
        for (std::size_t i = 0; i < std::size(k95Files); ++i) {
            const std::string path = FindInAnyCase(parts.found.windowsHost, k95Files[i]);
            const auto opened =
                OpenBelow(parts, path, [&](const std::string& real) -> VolumeStores::Opened {
                    VolumeRegistry::Store store = OpenCreg(real, codePage, parts.problems);
                    if (store != nullptr) return store;
                    return RegistryFileError{SystemError::AccessDenied, real, "can't be read"};
                });
            if (const auto* error = std::get_if<RegistryFileError>(&opened)) {
                return VolumeError{path + ' ' + error->message};
            }
            users = std::get<VolumeRegistry::Store>(opened);
            parts.registry->Mount(kRoots[i], {}, users);
        }
        ReadMachine(parts);
        page = known == 1252 ? parts.facts.codePage : known;
    }
    parts.users.push_back({{Text(kDefaultUser), u"Default", {}}, users, Text(kDefaultUser), {}});
    CodePage codePage(parts.facts.codePage);
    for (const VolumeUser& user : ReadUsers(*parts.registry, parts.facts)) {
        OpenUser95(parts, user, codePage);
    }
    return std::nullopt;
}

// ---------------------------------------------------------------- Wine

Text WineUserName(const VolumeParts& parts) {
    const std::string users = FindInAnyCase(parts.found.drive, "users");
    std::error_code ignored;
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(users, ignored)) {
        const std::string name = entry.path().filename().string();
        if (name != "Public" && entry.is_directory(ignored)) names.push_back(name);
    }
    return names.size() == 1 ? FromHostName(names.front()) : Text();
}

/// Drives that lie within the prefix. The others, Z: above all, are the host's own files.
void AddWineDrives(VolumeParts& parts) {
    std::error_code failure;
    const std::filesystem::path devices = std::filesystem::path(parts.found.folder) / "dosdevices";
    const std::filesystem::path prefix = std::filesystem::canonical(parts.found.folder, failure);
    for (const auto& entry : std::filesystem::directory_iterator(devices, failure)) {
        const std::string name = entry.path().filename().string();
        if (name.size() != 2 || name[1] != ':' || name[0] < 'a' || name[0] > 'z') continue;
        std::error_code broken;
        const std::filesystem::path target = std::filesystem::canonical(entry.path(), broken);
        if (broken) continue;
        const auto letter = static_cast<char16_t>(name[0] - 'a' + 'A');
        if (target.string().starts_with(prefix.string() + '/')) {
            parts.options.drives.emplace(letter, target.string());
        } else {
            parts.diskLetters.insert(letter);
        }
    }
}

MaybeError OpenWine(VolumeParts& parts) {
    const Text userRoot = u"\\Registry\\User\\" + Text(kWineUser);
    const struct {
        const char* file;
        RegistryRoot root;
        Text key;
        Text linkRoot;
    } files[] = {{"system.reg", kLocalMachine, {}, u"\\Registry\\Machine"},
                 {"userdef.reg", kUsers, Text(kDefaultUser), u"\\Registry\\User\\.DEFAULT"},
                 {"user.reg", kUsers, Text(kWineUser), userRoot}};
    VolumeRegistry::Store last;
    for (const auto& file : files) {
        const std::string path = parts.found.folder + '/' + file.file;
        auto opened = OpenBelow(parts, path, [&](const std::string& real) {
            return parts.stores.OpenWine(real, file.linkRoot);
        });
        if (const auto* error = std::get_if<RegistryFileError>(&opened)) {
            // Wine makes the one of new users anew; it starts nothing.
            const bool isNeeded = file.key != kDefaultUser;
            if (isNeeded) return VolumeError{path + ' ' + error->message};
            MissDefaultUser(parts, path, *error);
            continue;
        }
        last = std::get<VolumeRegistry::Store>(opened);
        parts.registry->Mount(file.root, file.key, last);
    }
    AddWineDrives(parts);
    ReadMachine(parts);
    const Text name = WineUserName(parts);
    const Text profile = name.empty() ? Text() : u"C:\\users\\" + name;
    parts.users.push_back({{Text(kWineUser), name, profile}, last, {}, nullptr});
    return std::nullopt;
}

// ---------------------------------------------------------------- the machine

/// Stands before the machine, whose base class keeps references to them.
struct PartsHolder {
    std::unique_ptr<VolumeParts> parts;
};

/// Whether a file is there, or the one whose stream it is. Names of the native system are.
bool IsThere(const Text& path, Files& files) {
    if (path.size() < 3 || path[1] != u':') return true;
    return !files.GetFileAttributesW(path.substr(0, path.find(u':', 2))).IsNotThere();
}

class LoadedVolume final : private PartsHolder, public VolumeMachine {
  public:
    explicit LoadedVolume(std::unique_ptr<VolumeParts> opened)
        : PartsHolder{std::move(opened)},
          VolumeMachine(parts->facts, *parts->volume, parts->clock, nullptr,
                        std::move(parts->registry)),
          machineFacts_(facts_) {
        auto& registry = static_cast<VolumeRegistry&>(Roots());
        parts->volume->AssumeFolder(facts_.programFolder);
        for (const UserStores& one : parts->users) {
            registry.Mount(kUsers, one.user.key, one.own, one.ownBelow);
            if (one.classes != nullptr) {
                registry.Mount(kUsers, one.user.key + u'\\' + Text(kClasses), one.classes);
            }
            chosen_.push_back(one.user);
        }
        processes_.HoldNothing();
    }

    VolumeKind Kind() const override { return parts->found.kind; }
    const std::vector<VolumeUser>& Users() const override { return chosen_; }
    const std::vector<StartPlace>& StartPlaces() const override { return table_.places; }
    Result<std::string> HostPath(TextView path) override { return parts->volume->HostPath(path); }
    Result<std::uint64_t> KeyLastWritten(RegistryRoot root, TextView key) const override {
        return static_cast<VolumeRegistry&>(Roots()).LastWritten(root, key);
    }

    std::vector<std::string> RegistryFiles() const override {
        std::vector<std::string> files = parts->stores.Files();
        if (Kind() != VolumeKind::Windows9x) return files;
        for (const char* name : k95Files) {
            files.push_back(FindInAnyCase(parts->found.windowsHost, name));
        }
        std::ranges::copy(parts->profiles95, std::back_inserter(files));
        return files;
    }

    std::vector<VolumeProblem> Problems() const override {
        std::vector<VolumeProblem> problems = parts->problems;
        parts->stores.AddProblems(problems);
        for (const char16_t letter : parts->volume->MissedDrives()) {
            if (!parts->diskLetters.contains(letter)) continue;
            const std::string name = ToUtf8(TextView(&letter, 1));
            problems.push_back(
                {name + ":\\",
                 "is a drive of this machine, and something on it is named: --drive " + name +
                     "=FOLDER says where it is",
                 u"file"});
        }
        return problems;
    }
    const std::vector<std::string>& Notes() const override { return parts->notes; }

    MaybeError KeepUser(const Text& wanted) {
        if (wanted.empty()) return std::nullopt;
        std::string names;
        for (const VolumeUser& user : chosen_) {
            names += (names.empty() ? "" : ", ") + ToUtf8(user.name);
        }
        std::erase_if(chosen_, [&](const VolumeUser& user) {
            return !EqualsIgnoreCase(user.name, wanted) && !EqualsIgnoreCase(user.key, wanted);
        });
        if (!chosen_.empty()) return std::nullopt;
        return VolumeError{parts->found.folder + " has no user " + ToUtf8(wanted) +
                           " whose registry can be read; it has " +
                           (names.empty() ? "none" : names)};
    }

    void MakeProcesses() {
        table_ = MakeStartTable({Roots(), *parts->volume, facts_, codePage_, chosen_});
        processes_.Replace(table_.processes);
    }

    void ChooseUser(const VolumeUser& user, ModelMachine& machine) override {
        MachineFacts changed = machineFacts_;
        AddUserEnvironment(Roots(), user, changed);
        machine.SetEnvironment(std::move(changed.environment));
        auto& registry = static_cast<VolumeRegistry&>(machine.Roots());
        registry.MountAlso(kCurrentUser, {}, kUsers, user.key);
        // What an earlier user's cleanup has ended would run again, if it is there.
        auto& processes = static_cast<ModelProcesses&>(machine.ProcessTable());
        processes.Replace(table_.processes);
        processes.DropMissing(
            [&](const Text& path) { return IsThere(path, machine.FileSystem()); });
    }

    /// The journal of a change names files of the volume alone. Those of a prefix lie in it,
    /// wherever its drive and the profiles do.
    MaybeError WhyNotToChangeUsers() {
        if (Kind() == VolumeKind::Wine) return std::nullopt;
        for (const VolumeUser& user : chosen_) {
            if (user.profile.empty()) continue;
            const auto host = parts->volume->HostPath(user.profile);
            if (!host.IsOk() || host.value.starts_with(parts->found.folder + '/')) continue;
            return VolumeError{"the registry of " + ToUtf8(user.name) + " lies outside of " +
                               parts->found.folder + ", in " + host.value +
                               ", and can only be read: --user takes another one"};
        }
        return std::nullopt;
    }

    MaybeError Commit(std::uint32_t record) override {
        const std::string folder = HostJournals();
        if (!parts->volume->SettleFiles().IsOk()) {
            return VolumeError{folder + ": the undo record can't be written"};
        }
        return parts->stores.Commit(folder, record);
    }

    /// Beside the records of undo, whether or not the folder is there.
    std::string HostJournals() {
        Text path = facts_.programFolder + u"\\Undo";
        std::string below;
        for (; path.size() > 3; path = Text(WindowsPath::Parent(path))) {
            const auto host = parts->volume->HostPath(path);
            if (host.IsOk()) return host.value + below;
            below = '/' + ToHostName(WindowsPath::Name(path)) + below;
        }
        const auto root = parts->volume->HostPath(path);
        return root.IsOk() ? root.value + below : std::string();
    }

  private:
    Status RestartMachine() override { return {}; }

    MachineFacts machineFacts_;
    std::vector<VolumeUser> chosen_;
    StartTable table_;
};

MaybeError OpenRegistry(VolumeParts& parts) {
    switch (parts.found.kind) {
        case VolumeKind::WindowsNT:
            return NTVolume(parts).Open();
        case VolumeKind::Windows9x:
            return Open95(parts);
        case VolumeKind::Wine:
            return OpenWine(parts);
        case VolumeKind::Image:
            break;
    }
    return VolumeError{parts.found.folder + " is a machine image"};
}

MaybeError WhyNotToChangeRegistry(const FoundWindows& found) {
    if (auto error = WhyNotToChange(found)) return error;
    if (found.kind != VolumeKind::Windows9x) return std::nullopt;
    return VolumeError{found.folder +
                       ": the registry of this family of Windows is only read, never written; "
                       "clean --plan FOLDER writes files by which that machine does it itself"};
}

/// Deals with the commits that broke off, on the disk or for reading alone. One that can't be dealt
/// with is a problem of the latter.
MaybeError MendRegistry(VolumeParts& parts, const std::vector<std::string>& journals) {
    for (const std::string& journal : journals) {
        auto mended = parts.options.mayChange ? parts.stores.Recover(journal)
                                              : parts.stores.ReadThrough(journal);
        if (auto* const error = std::get_if<VolumeError>(&mended)) {
            if (parts.options.mayChange) return *error;
            parts.problems.push_back(
                {journal, "tells of a write that broke off: " + error->message});
        } else if (std::string& note = std::get<std::string>(mended); !note.empty()) {
            parts.notes.push_back(parts.found.folder + ": " + note);
        }
    }
    return std::nullopt;
}

}  // namespace

std::variant<std::unique_ptr<VolumeMachine>, VolumeError> LoadVolume(const FoundWindows& found,
                                                                     const VolumeOptions& options) {
    if (options.mayChange) {
        auto error = options.keepsRegistry ? WhyNotToChange(found) : WhyNotToChangeRegistry(found);
        if (error) return *error;
    }
    std::vector<std::string> notes;
    std::vector<std::string> journals = FindUnfinishedCommits(found, options);
    for (;;) {
        auto parts = std::make_unique<VolumeParts>(found, options);
        parts->notes = notes;
        if (auto error = MendRegistry(*parts, journals)) return *error;
        if (auto error = OpenRegistry(*parts)) return *error;
        if (options.mayChange) {
            journals.clear();
            notes = parts->notes;
        }
        auto machine = std::make_unique<LoadedVolume>(std::move(parts));
        // The registry may name a folder that nothing else leads to.
        const std::size_t known = journals.size();
        for (std::string& journal : FindUnfinishedJournals(machine->HostJournals())) {
            if (std::ranges::find(journals, journal) == journals.end()) {
                journals.push_back(std::move(journal));
            }
        }
        if (journals.size() > known) continue;
        if (auto error = machine->KeepUser(options.user)) return *error;
        if (options.mayChange) {
            if (auto error = machine->WhyNotToChangeUsers()) return *error;
        }
        if (!machine->Users().empty()) machine->ChooseUser(machine->Users().front(), *machine);
        machine->MakeProcesses();
        return std::unique_ptr<VolumeMachine>(std::move(machine));
    }
}

}  // namespace bkfd
