#include "platform/volume/VolumeFacts.h"

#include <algorithm>

#include "formats/LittleEndian.h"
#include "platform/RegistryValues.h"
#include "platform/model/CodePage.h"
#include "platform/model/WindowsPath.h"

namespace bkfd {
namespace {

constexpr RegistryRoot kMachine = RegistryRoot::LocalMachine;
constexpr TextView kVersionNT = u"Software\\Microsoft\\Windows NT\\CurrentVersion";
constexpr TextView kVersion = u"Software\\Microsoft\\Windows\\CurrentVersion";
constexpr TextView kControl = u"System\\CurrentControlSet\\Control";

RegistryValue ReadValue(RegistryRoots& roots, RegistryRoot root, TextView key, TextView name) {
    const auto value = roots.QueryValue(root, key, name);
    return value.IsOk() ? value.value : RegistryValue();
}

Text ReadPlain(RegistryRoots& roots, TextView key, TextView name) {
    return TextOfValue(ReadValue(roots, kMachine, key, name));
}

/// The numbers of "4.10.2222"; none that isn't there or is longer than a version's can be.
std::vector<std::int32_t> NumbersOf(TextView text) {
    constexpr std::int32_t kTooLarge = 100'000'000;
    std::vector<std::int32_t> numbers;
    bool isInNumber = false;
    for (const char16_t unit : text) {
        const bool isDigit = unit >= u'0' && unit <= u'9';
        if (!isDigit && unit != u'.') break;
        if (isDigit && !isInNumber) numbers.push_back(0);
        isInNumber = isDigit;
        if (isDigit && numbers.back() < kTooLarge) {
            numbers.back() = numbers.back() * 10 + (unit - u'0');
        }
    }
    return numbers;
}

void ReadVersionNT(RegistryRoots& roots, MachineFacts& facts) {
    const auto version = NumbersOf(ReadPlain(roots, kVersionNT, u"CurrentVersion"));
    if (version.size() >= 2) {
        facts.major = version[0];
        facts.minor = version[1];
    }
    // Since Windows 10 the text stays at 6.3 and these say what it is.
    const auto major =
        NumberOfValue(ReadValue(roots, kMachine, kVersionNT, u"CurrentMajorVersionNumber"));
    const auto minor =
        NumberOfValue(ReadValue(roots, kMachine, kVersionNT, u"CurrentMinorVersionNumber"));
    if (major && minor) {
        facts.major = static_cast<std::int32_t>(*major & 0xFF);
        facts.minor = static_cast<std::int32_t>(*minor & 0xFF);
    }
    for (const TextView name : {u"CurrentBuild", u"CurrentBuildNumber"}) {
        const auto build = NumbersOf(ReadPlain(roots, kVersionNT, name));
        // Old systems have a text of another form in the first one.
        if (build.size() == 1 && build[0] != 0) facts.build = build[0];
    }
    facts.servicePack = ReadPlain(roots, kVersionNT, u"CSDVersion");
}

void ReadVersion95(RegistryRoots& roots, MachineFacts& facts) {
    const auto version = NumbersOf(ReadPlain(roots, kVersion, u"VersionNumber"));
    if (version.size() >= 3) {
        facts.major = version[0];
        facts.minor = version[1];
        facts.build = version[2];
    }
    facts.servicePack = Trim(ReadPlain(roots, kVersion, u"SubVersionNumber"));
}

/// Sets the variables of a key; what they name must be set before it is expanded.
void ReadVariables(RegistryRoots& roots, RegistryRoot root, const Text& key, MachineFacts& facts) {
    const auto names = roots.EnumValues(root, key);
    if (!names.IsOk()) return;
    for (const bool wantsExpanded : {false, true}) {
        for (const Text& name : names.value) {
            const RegistryValue value = ReadValue(roots, root, key, name);
            const bool isExpanded = value.type == RegistryType::ExpandString;
            if (isExpanded != wantsExpanded) continue;
            if (!isExpanded && value.type != RegistryType::String) continue;
            Text text = facts.ExpandVariables(TextOfValue(value));
            const Text* before = facts.Environment(name);
            const bool isAddedTo = root == RegistryRoot::Users && EqualsIgnoreCase(name, u"PATH");
            if (isAddedTo && before != nullptr && !before->empty()) text = *before + u';' + text;
            if (!name.empty()) facts.SetEnvironment(name, std::move(text));
        }
    }
}

/// By the processor that Windows was made for.
bool Is64Bit(const MachineFacts& facts) {
    const Text* processor = facts.Environment(u"PROCESSOR_ARCHITECTURE");
    if (processor == nullptr) return false;
    constexpr TextView kOf64Bits[] = {u"AMD64", u"ARM64", u"IA64"};
    return std::ranges::any_of(kOf64Bits,
                               [&](TextView name) { return EqualsIgnoreCase(name, *processor); });
}

void SetFromRegistry(RegistryRoots& roots, MachineFacts& facts, TextView variable, TextView key,
                     TextView name) {
    Text text = ReadText(roots, facts, kMachine, key, name);
    if (!text.empty()) facts.SetEnvironment(variable, std::move(text));
}

/// "S-1-5-18" and its like are no people.
bool IsPersonsAccount(TextView sid) {
    return sid.starts_with(u"S-1-5-21-") || sid.starts_with(u"S-1-12-1-");
}

}  // namespace

Text ReadText(RegistryRoots& roots, const MachineFacts& facts, RegistryRoot root, TextView key,
              TextView name) {
    const RegistryValue value = ReadValue(roots, root, key, name);
    if (value.type == RegistryType::ExpandString) {
        return facts.ExpandVariables(TextOfValue(value));
    }
    return value.type == RegistryType::String ? TextOfValue(value) : Text();
}

char16_t WindowsDriveLetter(RegistryRoots& roots, WindowsFamily family) {
    const TextView key = family == WindowsFamily::NT ? kVersionNT : kVersion;
    const Text folder = ReadPlain(roots, key, u"SystemRoot");
    if (folder.size() < 2 || folder[1] != u':') return u'C';
    const char16_t letter = ToLower(folder[0]);
    if (letter < u'a' || letter > u'z') return u'C';
    return static_cast<char16_t>(letter - u'a' + u'A');
}

MachineFacts ReadFacts(RegistryRoots& roots, WindowsFamily family, const Text& windowsFolder) {
    MachineFacts facts(family);
    facts.servicePack.clear();
    facts.SetEnvironment(u"windir", windowsFolder);
    if (facts.IsNT()) {
        ReadVersionNT(roots, facts);
        facts.SetEnvironment(u"SystemRoot", windowsFolder);
        facts.SetEnvironment(u"SystemDrive", windowsFolder.substr(0, 2));
        ReadVariables(roots, kMachine, KeyBelow(kControl, u"Session Manager\\Environment"), facts);
        facts.SetEnvironment(u"windir", windowsFolder);
        facts.hasTwoViews = Is64Bit(facts);
    } else {
        ReadVersion95(roots, facts);
        facts.SetEnvironment(u"PATH", windowsFolder + u';' + windowsFolder + u"\\COMMAND");
        facts.SetEnvironment(u"TEMP", windowsFolder + u"\\TEMP");
    }
    const auto page = NumbersOf(ReadPlain(roots, KeyBelow(kControl, u"Nls\\CodePage"), u"ACP"));
    if (page.size() == 1 && CodePage::IsKnown(static_cast<std::uint32_t>(page[0]))) {
        facts.codePage = static_cast<std::uint32_t>(page[0]);
    }
    facts.SetEnvironment(u"ProgramFiles", windowsFolder.substr(0, 2) + u"\\Program Files");
    SetFromRegistry(roots, facts, u"ProgramFiles", kVersion, u"ProgramFilesDir");
    SetFromRegistry(roots, facts, u"ProgramFiles(x86)", kVersion, u"ProgramFilesDir (x86)");
    SetFromRegistry(roots, facts, u"CommonProgramFiles", kVersion, u"CommonFilesDir");
    if (facts.IsNT()) {
        const Text profiles = KeyBelow(kVersionNT, u"ProfileList");
        SetFromRegistry(roots, facts, u"ProgramData", profiles, u"ProgramData");
        const Text folder = ReadText(roots, facts, kMachine, profiles, u"ProfilesDirectory");
        const Text all = ReadText(roots, facts, kMachine, profiles, u"AllUsersProfile");
        const Text* data = facts.Environment(u"ProgramData");
        if (!all.empty() && !folder.empty()) {
            facts.SetEnvironment(u"ALLUSERSPROFILE", WindowsPath::Join(folder, all));
        } else if (data != nullptr) {
            facts.SetEnvironment(u"ALLUSERSPROFILE", *data);
        }
    }
    facts.programFolder = *facts.Environment(u"ProgramFiles") + u"\\Brackenfold";
    facts.currentFolder = windowsFolder.substr(0, 2) + u"\\";
    return facts;
}

std::set<char16_t> ReadDiskLetters(RegistryRoots& roots) {
    constexpr TextView kDevices = u"SYSTEM\\MountedDevices";
    constexpr TextView kPrefix = u"\\DosDevices\\";
    constexpr std::size_t kSignatureAndOffset = 12;  // 4 and 8 bytes
    constexpr std::string_view kPartitionId = "DMIO:ID:";
    std::set<char16_t> letters;
    for (const Text& name : roots.EnumValues(kMachine, kDevices).value) {
        const bool isLetter = name.size() == kPrefix.size() + 2 &&
                              EqualsIgnoreCase(TextView(name).substr(0, kPrefix.size()), kPrefix);
        if (!isLetter) continue;
        const Bytes data = ReadValue(roots, kMachine, kDevices, name).data;
        const bool isOfDisk = data.size() == kSignatureAndOffset || HasText(data, 0, kPartitionId);
        if (isOfDisk) {
            letters.insert(static_cast<char16_t>(ToLower(name[kPrefix.size()]) - u'a' + u'A'));
        }
    }
    return letters;
}

std::vector<VolumeUser> ReadUsers(RegistryRoots& roots, const MachineFacts& facts) {
    std::vector<VolumeUser> users;
    const Text list = KeyBelow(facts.IsNT() ? kVersionNT : kVersion, u"ProfileList");
    const auto keys = roots.EnumKeys(kMachine, list);
    for (const Text& key : keys.value) {
        if (facts.IsNT() && !IsPersonsAccount(key)) continue;
        const RegistryValue path =
            ReadValue(roots, kMachine, KeyBelow(list, key), u"ProfileImagePath");
        Text profile = facts.ExpandVariables(TextOfValue(path));
        while (profile.size() > 3 && profile.back() == u'\\') profile.pop_back();
        if (profile.empty()) continue;
        const Text name(facts.IsNT() ? WindowsPath::Name(profile) : TextView(key));
        const bool isKnown = std::ranges::any_of(users, [&](const VolumeUser& other) {
            return EqualsIgnoreCase(other.profile, profile);
        });
        if (!isKnown) users.push_back({key, name, std::move(profile)});
    }
    return users;
}

void AddUserEnvironment(RegistryRoots& roots, const VolumeUser& user, MachineFacts& facts) {
    if (!user.profile.empty()) facts.SetEnvironment(u"USERPROFILE", user.profile);
    facts.SetEnvironment(u"USERNAME", user.name);
    const Text folders =
        user.key + u"\\Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Shell Folders";
    for (const auto& [variable, name] :
         {std::pair{u"APPDATA", u"AppData"}, std::pair{u"LOCALAPPDATA", u"Local AppData"}}) {
        Text path = ReadText(roots, facts, RegistryRoot::Users, folders, name);
        if (!path.empty()) facts.SetEnvironment(variable, std::move(path));
    }
    ReadVariables(roots, RegistryRoot::Users, user.key + u"\\Environment", facts);
}

}  // namespace bkfd
