#include <gmock/gmock.h>

#include "common/HostFolder.h"
#include "formats/ShellLink.h"
#include "platform/RegistryValues.h"
#include "platform/files/DiskVolume.h"
#include "platform/model/RegistryRoots.h"
#include "platform/volume/FindWindows.h"
#include "platform/volume/StartTable.h"
#include "platform/volume/VolumeRefusals.h"

namespace bkfd {
namespace {

using testing::AllOf;
using testing::HasSubstr;

constexpr RegistryRoot kMachine = RegistryRoot::LocalMachine;
constexpr RegistryRoot kUsers = RegistryRoot::Users;

TEST(FindWindows, SaysWhatLiesThereByAnySpelling) {
    const struct {
        std::vector<const char*> files;
        const char* windowsFolder;
        VolumeKind kind;
        TextView folder;  // of Windows; empty for an error
        const char* error;
    } rows[] = {
        {{"machine.json", "Windows/System32/config/SOFTWARE"}, "", VolumeKind::Image, u"", ""},
        {{"WINDOWS/system32/config/software"}, "", VolumeKind::WindowsNT, u"WINDOWS", ""},
        {{"winnt/SYSTEM32/Config/SOFTWARE"}, "", VolumeKind::WindowsNT, u"winnt", ""},
        {{"Windows/system.dat", "Windows/User.DAT"}, "", VolumeKind::Windows9x, u"Windows", ""},
        {{"drive_c/windows/x", "system.reg"}, "", VolumeKind::Wine, u"windows", ""},
        {{"old/win/System32/config/SOFTWARE"}, "OLD/Win", VolumeKind::WindowsNT, u"old\\win", ""},
        {{"WINDOWS/system.dat"}, "", {}, u"", "looked for machine.json"},
        {{"old/x"}, "old", {}, u"", "old is no Windows folder"},
        {{"Windows/System32/config/SOFTWARE", "WINNT/system32/config/software"},
         "",
         {},
         u"",
         "two Windows folders, WINNT and Windows"},
    };
    for (const auto& row : rows) {
        const HostFolder disk;
        for (const char* file : row.files) disk.Write(file, "x");
        const auto found = FindWindows(disk.Path(), row.windowsFolder);
        if (const auto* error = std::get_if<VolumeError>(&found)) {
            EXPECT_THAT(error->message, AllOf(HasSubstr(disk.Path()), HasSubstr(row.error)));
            EXPECT_STRNE(row.error, "");
            continue;
        }
        EXPECT_EQ(std::get<FoundWindows>(found).kind, row.kind) << row.files[0];
        EXPECT_EQ(std::get<FoundWindows>(found).windowsFolder, row.folder) << row.files[0];
    }
}

TEST(FindWindows, AHibernatedWindowsIsntChanged) {
    const struct {
        std::string content;
        bool mayChange;
    } rows[] = {{"hibr....", false}, {"HIBR", false},           {"RSTR", false}, {"wake", true},
                {"WAKE", true},      {std::string(8, 0), true}, {"", true}};
    for (const auto& row : rows) {
        const HostFolder disk;
        disk.Write("Hiberfil.SYS", row.content);
        const FoundWindows found{VolumeKind::WindowsNT, disk.Path(), disk.Path(), u"W", ""};
        EXPECT_EQ(!WhyNotToChange(found), row.mayChange) << row.content;
    }
}

/// A registry in memory over files of the host.
class Disk {
  public:
    void Set(RegistryRoot root, TextView key, TextView name, TextView text,
             RegistryType type = RegistryType::String) {
        tree_.Root(root).Make(key).values.Set(name, MakeStringValue(text, type));
    }
    void SetNumber(TextView key, TextView name, std::uint32_t number) {
        tree_.Root(kMachine).Make(key).values.Set(name, MakeDwordValue(number));
    }
    void Has(std::initializer_list<const char*> files) const {
        for (const char* file : files) folder.Write(file, "x");
    }

    TreeRoots& Roots() { return roots_; }
    StartTable Table(const MachineFacts& facts, const std::vector<VolumeUser>& users) {
        DiskVolume volume({{u'C', folder.Path()}}, journal_);
        CodePage codePage(facts.codePage);
        return MakeStartTable({roots_, volume, facts, codePage, users});
    }

    HostFolder folder;

  private:
    class NoJournal final : public DiskJournal {
      public:
        Status NoteWriting() override { return {}; }
        Status NoteMoves(const VolumeMoves&) override { return {}; }
        Status NoteRemoval(const Text&) override { return {}; }
        void NoteOutcome(bool) override {}
    };

    RegistryTree tree_;
    TreeRoots roots_{tree_};
    NoJournal journal_;
};

constexpr TextView kNT = u"Software\\Microsoft\\Windows NT\\CurrentVersion";
constexpr TextView kCurrent = u"Software\\Microsoft\\Windows\\CurrentVersion";
constexpr TextView kControlSet = u"System\\CurrentControlSet";
constexpr auto kExpand = RegistryType::ExpandString;

Text At(TextView key, TextView below) {
    return Text(key) + u'\\' + Text(below);
}

TEST(VolumeFacts, AreThoseOfTheRegistry) {
    Disk disk;
    disk.Set(kMachine, kNT, u"CurrentVersion", u"6.3");
    disk.SetNumber(kNT, u"CurrentMajorVersionNumber", 10);
    disk.SetNumber(kNT, u"CurrentMinorVersionNumber", 0);
    disk.Set(kMachine, kNT, u"CurrentBuild", u"1.511.1 () (Obsolete data - do not use)");
    disk.Set(kMachine, kNT, u"CurrentBuildNumber", u"19045");
    disk.Set(kMachine, kNT, u"SystemRoot", u"d:\\Windows");
    disk.Set(kMachine, At(kControlSet, u"Control\\Nls\\CodePage"), u"ACP", u"1251");
    const Text variables = At(kControlSet, u"Control\\Session Manager\\Environment");
    disk.Set(kMachine, variables, u"Path", u"%SystemRoot%\\system32;%Tools%", kExpand);
    disk.Set(kMachine, variables, u"Tools", u"D:\\Tools");
    const Text profiles = At(kNT, u"ProfileList");
    const struct {
        TextView sid;
        TextView path;
    } profileRows[] = {{u"S-1-5-18", u"%systemroot%\\system32\\config\\systemprofile"},
                       {u"S-1-5-21-1-2-3-1001", u"%SystemDrive%\\Users\\Анна"},
                       {u"S-1-5-21-1-2-3-1002", u"E:\\Users\\Bo\\"},
                       {u"S-1-5-21-1-2-3-1001.bak", u"D:\\USERS\\анна"},
                       {u"S-1-5-21-1-2-3-1003", u""}};
    for (const auto& row : profileRows) {
        disk.Set(kMachine, At(profiles, row.sid), u"ProfileImagePath", row.path, kExpand);
    }
    disk.Set(kUsers, u"S-1-5-21-1-2-3-1002\\Environment", u"PATH", u"E:\\Bin");
    disk.Set(kUsers, u"S-1-5-21-1-2-3-1002\\Environment", u"TEMP", u"%USERPROFILE%\\T", kExpand);

    EXPECT_EQ(WindowsDriveLetter(disk.Roots(), WindowsFamily::NT), u'D');
    MachineFacts facts = ReadFacts(disk.Roots(), WindowsFamily::NT, u"D:\\Windows");
    EXPECT_EQ(facts.major, 10);
    EXPECT_EQ(facts.build, 19045);
    EXPECT_EQ(facts.codePage, 1251U);
    EXPECT_EQ(facts.programFolder, u"D:\\Program Files\\Brackenfold");
    const std::vector<VolumeUser> users = ReadUsers(disk.Roots(), facts);
    ASSERT_EQ(users.size(), 2U);
    EXPECT_EQ(users[0].profile, u"D:\\Users\\Анна");
    EXPECT_EQ(users[1].name, u"Bo");
    AddUserEnvironment(disk.Roots(), users[1], facts);
    EXPECT_EQ(*facts.Environment(u"path"), u"D:\\Windows\\system32;D:\\Tools;E:\\Bin");
    EXPECT_EQ(*facts.Environment(u"temp"), u"E:\\Users\\Bo\\T");
}

TEST(VolumeFacts, OfThe95FamilyAreThoseOfItsOwnKeys) {
    Disk disk;
    disk.Set(kMachine, kCurrent, u"VersionNumber", u"4.10.1998");
    disk.Set(kMachine, kCurrent, u"SubVersionNumber", u" A ");
    const MachineFacts facts = ReadFacts(disk.Roots(), WindowsFamily::Windows9x, u"C:\\WIN98");
    EXPECT_EQ(facts.minor, 10);
    EXPECT_EQ(facts.build, 1998);
    EXPECT_EQ(facts.servicePack, u"A");
    EXPECT_EQ(facts.SystemFolder(), u"C:\\WIN98\\system");
}

/// "PATH: modules" of each process, system files left out.
std::string Shown(const StartTable& table) {
    std::string text;
    for (const ProcessRecord& process : table.processes) {
        text += ToUtf8(process.path) + ':';
        for (const Text& module : process.modules) text += ' ' + ToUtf8(module);
        text += '\n';
    }
    return text;
}

TEST(StartTable, HasWhatTheNextStartRunsAndNothingWhoseFileIsMissing) {
    Disk disk;
    disk.Has({"WINDOWS/system32/smss.exe", "WINDOWS/system32/winlogon.exe",
              "WINDOWS/system32/userinit.exe", "WINDOWS/system32/svchost.exe",
              "WINDOWS/system32/rundll32.exe", "WINDOWS/explorer.exe", "WINDOWS/evil.exe",
              "WINDOWS/system32/n.dll", "WINDOWS/system32/s.dll", "WINDOWS/system32/i.dll",
              "WINDOWS/system32/o.dll", "WINDOWS/system32/r.dll", "Program Files/A B/c.exe",
              "Program Files/Svc/svc.exe", "WINDOWS/system32/boot.exe"});
    disk.Set(kMachine, At(kNT, u"Winlogon"), u"Shell", u"Explorer.exe, evil.exe,gone.exe");
    disk.Set(kMachine, At(kNT, u"Winlogon"), u"Userinit", u"C:\\WINDOWS\\system32\\userinit.exe,");
    disk.Set(kMachine, At(kNT, u"Winlogon\\Notify\\Bad"), u"DllName", u"n.dll");
    disk.Set(kMachine, At(kNT, u"Windows"), u"AppInit_DLLs", u"i.dll,missing.dll");
    disk.Set(kMachine, At(kControlSet, u"Control\\Session Manager"), u"BootExecute",
             TextView(u"autocheck autochk *\0boot -x\0", 28), RegistryType::MultiString);
    const struct {
        TextView name;
        std::uint32_t start;
        std::uint32_t type;
        TextView image;
        TextView library;
    } services[] = {
        {u"Shared", 2, 0x20, u"%SystemRoot%\\system32\\svchost.exe -k netsvcs", u"s.dll"},
        {u"Own", 2, 0x110, u"C:\\Program Files\\Svc\\svc.exe -run", u""},
        {u"Manual", 3, 0x10, u"C:\\WINDOWS\\evil.exe", u""},
        {u"Driver", 2, 1, u"system32\\evil.exe", u""},
    };
    for (const auto& service : services) {
        const Text key = At(kControlSet, u"Services\\" + Text(service.name));
        disk.SetNumber(key, u"Start", service.start);
        disk.SetNumber(key, u"Type", service.type);
        disk.Set(kMachine, key, u"ImagePath", service.image, kExpand);
        disk.Set(kMachine, At(key, u"Parameters"), u"ServiceDll", service.library, kExpand);
    }
    disk.Set(kMachine, At(kCurrent, u"ShellServiceObjectDelayLoad"), u"Web", u"{O}");
    disk.Set(kUsers, u"S-1\\Software\\Classes\\CLSID\\{O}\\InProcServer32", u"", u"o.dll");
    disk.Set(kMachine, u"Software\\Classes\\CLSID\\{O}\\InProcServer32", u"", u"O.DLL");
    disk.Set(kUsers, At(u"S-1", At(kCurrent, u"Run")), u"c", u"C:\\Program Files\\A B\\c.exe /x");
    disk.Set(kMachine, At(kCurrent, u"Run"), u"r", u"rundll32 r.dll,Start");
    disk.Set(kMachine, At(kCurrent, u"RunOnce"), u"gone", u"C:\\gone.exe");

    MachineFacts facts = ReadFacts(disk.Roots(), WindowsFamily::NT, u"C:\\WINDOWS");
    facts.major = 5;
    const StartTable table = disk.Table(facts, {{u"S-1", u"Kit", u"C:\\Kit"}});
    EXPECT_EQ(Shown(table),
              "\\SystemRoot\\system32\\smss.exe:\n"
              "C:\\WINDOWS\\system32\\boot.exe: C:\\WINDOWS\\system32\\i.dll\n"
              "\\??\\C:\\WINDOWS\\system32\\winlogon.exe: C:\\WINDOWS\\system32\\n.dll "
              "C:\\WINDOWS\\system32\\i.dll\n"
              "C:\\WINDOWS\\system32\\userinit.exe: C:\\WINDOWS\\system32\\i.dll\n"
              "C:\\Program Files\\Svc\\svc.exe: C:\\WINDOWS\\system32\\i.dll\n"
              "C:\\WINDOWS\\system32\\svchost.exe: C:\\WINDOWS\\system32\\s.dll "
              "C:\\WINDOWS\\system32\\i.dll\n"
              "C:\\WINDOWS\\Explorer.exe: C:\\WINDOWS\\system32\\O.DLL "
              "C:\\WINDOWS\\system32\\i.dll\n"
              "C:\\WINDOWS\\evil.exe: C:\\WINDOWS\\system32\\i.dll\n"
              "C:\\WINDOWS\\system32\\rundll32.exe: C:\\WINDOWS\\system32\\r.dll "
              "C:\\WINDOWS\\system32\\i.dll\n"
              "C:\\Program Files\\A B\\c.exe: C:\\WINDOWS\\system32\\i.dll\n");
    const auto place = [&](TextView file) -> StartPlace {
        for (const StartPlace& one : table.places) {
            if (EqualsIgnoreCase(one.file, file)) return one;
        }
        return {};
    };
    using Kind = StartPlace::Kind;
    const StartPlace expected[] = {
        {Kind::Service, u"Shared", u"C:\\WINDOWS\\system32\\s.dll", u""},
        {Kind::Winlogon, u"Notify\\Bad", u"C:\\WINDOWS\\system32\\n.dll", u""},
        {Kind::Run, u"r", u"C:\\WINDOWS\\system32\\r.dll", u""},
        {Kind::Run, u"c", u"C:\\Program Files\\A B\\c.exe", u"Kit"},
    };
    for (const StartPlace& one : expected) EXPECT_EQ(place(one.file), one) << ToUtf8(one.name);
}

std::string Number(std::uint32_t number, int bytes) {
    std::string text;
    for (int i = 0; i < bytes; ++i) text += static_cast<char>(number >> 8 * i);
    return text;
}

/// A link with an empty list of identifiers, a local path and a relative one.
std::string MakeLink(const std::string& local, const std::string& relative) {
    std::string link =
        Number(0x4C, 4) + std::string("\x01\x14\x02\0\0\0\0\0\xC0\0\0\0\0\0\0\x46", 16);
    link += Number(0x2 | 0x8, 4) + std::string(0x4C - 24, '\0');
    const std::string path = local + '\0';
    link += Number(0x1C + static_cast<std::uint32_t>(path.size()) + 1, 4) + Number(0x1C, 4) +
            Number(1, 4) + Number(0, 4) + Number(0x1C, 4) + Number(0, 4) +
            Number(0x1C + static_cast<std::uint32_t>(path.size()), 4) + path + '\0';
    return link + Number(static_cast<std::uint32_t>(relative.size()), 2) + relative;
}

TEST(StartTable, FollowsLinksOfStartFolders) {
    Disk disk;
    disk.Has({"Tools/clock.exe", "Start/direct.exe", "Start/desktop.ini"});
    disk.folder.Write("Start/Clock.lnk", MakeLink("C:\\Tools\\clock.exe", ""));
    disk.folder.Write("Start/Moved.lnk", MakeLink("X:\\gone.exe", "..\\Tools\\clock.exe"));
    disk.folder.Write("Start/Torn.lnk", MakeLink("C:\\Tools\\clock.exe", "").substr(0, 90));
    disk.Set(kMachine, At(kCurrent, u"Explorer\\Shell Folders"), u"Common Startup", u"C:\\START");
    const StartTable table =
        disk.Table(ReadFacts(disk.Roots(), WindowsFamily::NT, u"C:\\WINDOWS"), {});
    std::vector<std::string> places;
    for (const StartPlace& place : table.places) {
        places.push_back(ToUtf8(place.name) + " " + ToUtf8(place.file));
    }
    EXPECT_THAT(places, testing::ElementsAre("Clock.lnk C:\\Tools\\clock.exe",
                                             "direct.exe C:\\Start\\direct.exe",
                                             "Moved.lnk C:\\Tools\\clock.exe"));
}

TEST(ShellLink, AnyCutOrByteIsReadOrRefused) {
    const auto decode = [](std::string_view bytes) { return FromUtf8(bytes); };
    const std::string whole = MakeLink("C:\\Tools\\clock.exe", "..\\clock.exe");
    const auto read = [&](const std::string& bytes) {
        return ReadShellLink({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()},
                             decode);
    };
    ASSERT_TRUE(read(whole));
    EXPECT_EQ(read(whole)->relativePath, u"..\\clock.exe");
    for (std::size_t cut = 0; cut < whole.size(); ++cut) {
        EXPECT_FALSE(read(whole.substr(0, cut))) << cut;
        for (const char byte : {'\0', '\xFF'}) {
            std::string changed = whole;
            changed[cut] = byte;
            (void)read(changed);
        }
    }
}

}  // namespace
}  // namespace bkfd
