#include <gmock/gmock.h>

#include "common/HostFolder.h"
#include "formats/ShellLink.h"
#include "platform/RegistryValues.h"
#include "platform/files/DiskVolume.h"
#include "platform/model/RegistryRoots.h"
#include "platform/volume/FindWindows.h"
#include "platform/volume/StartTable.h"
#include "platform/volume/TaskFiles.h"
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
        {{"old/win/System32/config/SOFTWARE"},
         "D:\\old\\win\\",
         VolumeKind::WindowsNT,
         u"old\\win",
         ""},
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

/// "kind name: file, user" of each place.
std::vector<std::string> PlacesOf(const StartTable& table) {
    std::vector<std::string> places;
    for (const StartPlace& place : table.places) {
        places.push_back(std::to_string(static_cast<int>(place.kind)) + ' ' + ToUtf8(place.name) +
                         ": " + ToUtf8(place.file) + ", " + ToUtf8(place.user));
    }
    return places;
}

std::vector<std::string> NamesAndFiles(const StartTable& table) {
    std::vector<std::string> places;
    for (const StartPlace& place : table.places) {
        places.push_back(ToUtf8(place.name) + " " + ToUtf8(place.file));
    }
    return places;
}

/// A file of the system folder that a registry value starts or has loaded.
struct PlaceRow {
    RegistryRoot root;
    Text key;
    TextView name;
    TextView text;  // with "@", which becomes the file
    StartPlace::Kind kind;
    TextView place;
    TextView extension = u".dll";
};

TEST(StartTable, EachPlaceIsToldOfWhatItStarts) {
    using Kind = StartPlace::Kind;
    const Text lsa = At(kControlSet, u"Control\\Lsa");
    const Text active = u"Software\\Microsoft\\Active Setup\\Installed Components";
    const Text sockets = At(kControlSet, u"Services\\WinSock2\\Parameters");
    const Text user = u"S-1\\";
    const Text current32 = u"Software\\Wow6432Node\\Microsoft\\Windows\\CurrentVersion";
    const PlaceRow rows[] = {
        {kMachine, lsa, u"Notification Packages", u"", Kind::SecurityPackage,
         u"Notification Packages"},
        {kMachine, At(kControlSet, u"Control\\SecurityProviders"), u"SecurityProviders",
         u"msapsspc.dll, @", Kind::SecurityPackage, u"SecurityProviders"},
        {kMachine, At(kControlSet, u"Control\\Print\\Monitors\\Port"), u"Driver", u"@",
         Kind::PrintMonitor, u"Port"},
        {kMachine, At(kNT, u"Winlogon\\GPExtensions\\{G}"), u"DllName", u"@", Kind::Winlogon,
         u"GPExtensions\\{G}"},
        {kMachine, At(kNT, u"Winlogon"), u"UIHost", u"@", Kind::Winlogon, u"UIHost", u".exe"},
        {kUsers, user + At(kCurrent, u"Policies\\System"), u"Shell", u"@ /x", Kind::Winlogon,
         u"Shell", u".exe"},
        {kUsers, user + u"Environment", u"UserInitMprLogonScript", u"@", Kind::Winlogon,
         u"UserInitMprLogonScript", u".vbs"},
        {kMachine, At(active, u"{New}"), u"StubPath", u"@", Kind::ActiveSetup, u"{New}", u".exe"},
        {kMachine, At(active, u"{Newer}"), u"StubPath", u"@", Kind::ActiveSetup, u"{Newer}",
         u".exe"},
        {kMachine, At(kCurrent, u"RunOnceEx\\1"), u"a", u"@|Main|x", Kind::OtherRun,
         u"RunOnceEx\\1\\a"},
        {kMachine, At(kCurrent, u"RunOnceEx\\1"), u"b", u"||@ -x", Kind::OtherRun,
         u"RunOnceEx\\1\\b", u".exe"},
        {kUsers, user + At(kNT, u"Windows"), u"Load", u"%Own%\\@", Kind::OtherRun, u"Windows: Load",
         u".exe"},
        {kMachine, At(kCurrent, u"Run"), u"of each", u"%Own%\\@", Kind::Run, u"of each", u".exe"},
        {kMachine, At(kCurrent, u"Run"), u"stream", u"rundll32 C:\\WINDOWS\\system32\\@", Kind::Run,
         u"stream", u".txt:s.dll"},
        {kMachine, At(kCurrent, u"Run"), u"batch", u"@", Kind::Run, u"batch", u".bat"},
        {kMachine, At(kNT, u"Image File Execution Options\\explorer.exe"), u"Debugger", u"@ -p",
         Kind::Debugger, u"explorer.exe", u".exe"},
        {kMachine, At(sockets, u"NameSpace_Catalog5\\Catalog_Entries64\\1"), u"LibraryPath", u"@",
         Kind::Winsock, u"NameSpace_Catalog5\\1"},
        {kMachine, At(kControlSet, u"Control\\Session Manager\\AppCertDlls"), u"x", u"@",
         Kind::SessionManager, u"AppCertDlls\\x"},
        {kMachine, At(kCurrent, u"Explorer\\ShellIconOverlayIdentifiers\\O"), u"", u"{O}",
         Kind::DelayLoad, u"O"},
        {kMachine, At(current32, u"Run"), u"32", u"C:\\WINDOWS\\system32\\@", Kind::Run, u"32",
         u".exe"},
    };
    Disk disk;
    disk.Has({"WINDOWS/system32/lsass.exe", "WINDOWS/system32/winlogon.exe",
              "WINDOWS/system32/spoolsv.exe", "WINDOWS/system32/rundll32.exe",
              "WINDOWS/system32/wscript.exe", "WINDOWS/system32/cmd.exe", "WINDOWS/explorer.exe",
              "Program Files/Internet Explorer/iexplore.exe", "WINDOWS/system32/not.exe",
              "WINDOWS/system32/not.txt", "WINDOWS/system32/not.dll"});
    const Text system = u"C:\\WINDOWS\\system32\\";
    std::vector<Text> files;
    for (const PlaceRow& row : rows) {
        const Text file =
            u"f" + ToText(static_cast<std::int64_t>(files.size())) + Text(row.extension);
        const bool isFor32 = row.key == At(current32, u"Run");
        files.push_back((isFor32 ? Text(u"C:\\WINDOWS\\SysWOW64\\") : system) + file);
        std::string host = ToUtf8(files.back().substr(3));
        std::ranges::replace(host, '\\', '/');
        disk.folder.Write(host, "x");
        Text text(row.text);
        const bool isList = row.name == u"Notification Packages";
        if (isList) text = TextView(u"scecli\0@", 8);
        if (text.find(u'@') != Text::npos) text.replace(text.find(u'@'), 1, file);
        disk.Set(row.root, row.key, row.name, text, isList ? RegistryType::MultiString : kExpand);
    }
    disk.SetNumber(At(kControlSet, u"Services\\Spooler"), u"Start", 2);
    disk.Set(kMachine, At(kControlSet, u"Control\\Session Manager\\Environment"),
             u"PROCESSOR_ARCHITECTURE", u"AMD64");
    disk.Set(kMachine, At(active, u"{Newer}"), u"Version", u"5,10,0");
    disk.Set(kUsers, user + At(active, u"{Newer}"), u"Version", u"5,9,1");
    disk.Set(kUsers, user + u"Environment", u"Own", u"C:\\WINDOWS\\system32");
    disk.Set(kMachine, u"Software\\Classes\\CLSID\\{O}\\InProcServer32", u"", u"f18.dll");
    // None of these starts anything.
    disk.Set(kMachine, At(kCurrent, u"Run"), u"text", u"not.txt");
    disk.Set(kMachine, At(kCurrent, u"Run"), u"library", u"not.dll");
    disk.Set(kMachine, At(active, u"{Done}"), u"StubPath", u"not.exe");
    disk.Set(kUsers, user + At(active, u"{Done}"), u"Locale", u"EN");
    disk.Set(kMachine, At(active, u"{Off}"), u"StubPath", u"not.exe");
    disk.SetNumber(At(active, u"{Off}"), u"IsInstalled", 0);
    disk.Set(kMachine, At(kNT, u"Image File Execution Options\\iexplore.exe"), u"Debugger",
             u"gone");

    const StartTable table = disk.Table(ReadFacts(disk.Roots(), WindowsFamily::NT, u"C:\\WINDOWS"),
                                        {{u"S-1", u"Kit", u""}});
    for (std::size_t i = 0; i < files.size(); ++i) {
        const PlaceRow& row = rows[i];
        const bool isUsers = row.root == kUsers || row.kind == Kind::ActiveSetup;
        const StartTable one{
            {}, {{row.kind, Text(row.place), files[i], isUsers ? Text(u"Kit") : Text()}}};
        EXPECT_THAT(PlacesOf(table), testing::IsSupersetOf(PlacesOf(one))) << ToUtf8(row.key);
    }
    EXPECT_EQ(Shown(table).find("not."), std::string::npos) << Shown(table);
    EXPECT_THAT(Shown(table), AllOf(HasSubstr("wscript.exe:"), HasSubstr("cmd.exe:"),
                                    HasSubstr("SysWOW64\\f19.exe:")));
}

TEST(StartTable, OfThe95FamilyHasItsIniFilesAndServices) {
    Disk disk;
    disk.Has({"WINDOWS/SYSTEM/MSGSRV32.EXE", "WINDOWS/EXPLORER.EXE", "WINDOWS/bad.exe",
              "WINDOWS/SYSTEM/dial.exe", "WINDOWS/COMMAND.COM", "WINDOWS/a.bat", "WINDOWS/s.exe"});
    disk.folder.Write("WINDOWS/WIN.INI",
                      "[other]\r\nrun=s.exe\r\n[Windows]\r\nload=\r\nRun = dial a.bat\r\n");
    disk.folder.Write("WINDOWS/SYSTEM.INI", "[boot]\r\nshell=Explorer.exe bad.exe\r\n");
    disk.Set(kMachine, At(kCurrent, u"RunServices"), u"S", u"s.exe -x");
    const StartTable table =
        disk.Table(ReadFacts(disk.Roots(), WindowsFamily::Windows9x, u"C:\\WINDOWS"), {});
    EXPECT_EQ(Shown(table),
              "C:\\WINDOWS\\system\\MSGSRV32.EXE:\nC:\\WINDOWS\\explorer.exe:\n"
              "C:\\WINDOWS\\s.exe:\nC:\\WINDOWS\\system\\dial.exe:\n"
              "C:\\WINDOWS\\command.com:\nC:\\WINDOWS\\bad.exe:\n");
    const StartTable batch{
        {}, {{StartPlace::Kind::IniFile, u"WIN.INI run", u"C:\\WINDOWS\\a.bat", u""}}};
    EXPECT_THAT(PlacesOf(table), testing::IsSupersetOf(PlacesOf(batch)));
}

TEST(StartTable, FollowsLinksOfStartFolders) {
    Disk disk;
    disk.Has({"Tools/clock.exe", "Start/direct.exe", "Start/desktop.ini", "Start/Read me.txt"});
    disk.folder.Write("Start/Text.lnk", MakeLink("C:\\Start\\Read me.txt", ""));
    disk.folder.Write("Start/Clock.lnk", MakeLink("C:\\Tools\\clock.exe", ""));
    disk.folder.Write("Start/Moved.lnk", MakeLink("X:\\gone.exe", "..\\Tools\\clock.exe"));
    disk.folder.Write("Start/Torn.lnk", MakeLink("C:\\Tools\\clock.exe", "").substr(0, 90));
    disk.Set(kMachine, At(kCurrent, u"Explorer\\Shell Folders"), u"Common Startup", u"C:\\START");
    const StartTable table =
        disk.Table(ReadFacts(disk.Roots(), WindowsFamily::NT, u"C:\\WINDOWS"), {});
    EXPECT_THAT(NamesAndFiles(table), testing::ElementsAre("Clock.lnk C:\\Tools\\clock.exe",
                                                           "direct.exe C:\\Start\\direct.exe",
                                                           "Moved.lnk C:\\Tools\\clock.exe"));
}

/// A ".job" file with one trigger.
std::string MakeJob(std::uint32_t flags, std::uint32_t trigger, std::uint32_t triggerFlags) {
    const auto text = [](const std::string& ascii) {
        std::string wide = Number(static_cast<std::uint32_t>(ascii.size()) + 1, 2);
        for (const char c : ascii + '\0') wide += std::string(1, c) + '\0';
        return wide;
    };
    const std::string variable = Number(0, 2) + text("C:\\Tools\\clock.exe") + text("-x") +
                                 text("") + text("Kit") + text("") + Number(0, 4);
    const auto triggers = static_cast<std::uint32_t>(68 + variable.size());
    return Number(0x501, 2) + Number(1, 2) + std::string(16, '\7') + Number(70, 2) +
           Number(triggers, 2) + std::string(24, '\0') + Number(flags, 4) + std::string(16, '\0') +
           variable + Number(1, 2) + Number(48, 2) + std::string(26, '\0') +
           Number(triggerFlags, 4) + Number(trigger, 4) + std::string(12, '\0');
}

std::string TaskText(const std::string& triggers, const std::string& settings) {
    return "<?xml version=\"1.0\"?><Task xmlns=\"x\"><Triggers>" + triggers +
           "</Triggers><Settings>" + settings +
           "</Settings><Actions Context=\"Author\"><Exec><Command>C:\\Tools\\clock.exe</Command>"
           "<Arguments>-x &amp;</Arguments></Exec></Actions></Task>";
}

TEST(StartTable, RunsTheTasksOfTheStartAndOfLogons) {
    const std::string logon = "<LogonTrigger><Enabled>true</Enabled></LogonTrigger>";
    const struct {
        std::string file;
        std::string content;
        bool isStarted;
    } rows[] = {
        {"Tasks/start.job", MakeJob(0, 6, 0), true},
        {"Tasks/logon.job", MakeJob(1, 7, 1), true},
        {"Tasks/daily.job", MakeJob(0, 1, 0), false},
        {"Tasks/off.job", MakeJob(4, 6, 0), false},
        {"Tasks/trigger off.job", MakeJob(0, 6, 4), false},
        {"system32/Tasks/Below/Boot", TaskText("<BootTrigger/>", "<Enabled>true</Enabled>"), true},
        {"system32/Tasks/Logon",
         TaskText(logon + "<TimeTrigger><Enabled>false</Enabled></TimeTrigger>", ""), true},
        {"system32/Tasks/Time", TaskText("<TimeTrigger/>", ""), false},
        {"system32/Tasks/Off", TaskText(logon, "<Enabled>false</Enabled>"), false},
        {"system32/Tasks/Trigger off",
         TaskText("<BootTrigger><Enabled>false</Enabled></BootTrigger>", ""), false},
        {"system32/Tasks/Entities",
         "<!DOCTYPE Task [<!ENTITY a 'b'>]>" + TaskText("<BootTrigger/>", "").substr(21), false},
    };
    Disk disk;
    disk.Has({"Tools/clock.exe"});
    std::vector<std::string> expected;
    for (const auto& row : rows) {
        disk.folder.Write("WINDOWS/" + row.file, row.content);
        const ByteView bytes(reinterpret_cast<const std::uint8_t*>(row.content.data()),
                             row.content.size());
        for (std::size_t cut = 0; cut < bytes.size(); ++cut) {
            const bool isJob = row.file.ends_with(".job");
            const auto task = isJob ? ReadJobFile(bytes.first(cut)) : ReadTaskXml(bytes.first(cut));
            EXPECT_FALSE(task) << row.file << ' ' << cut;
        }
        if (!row.isStarted) continue;
        std::string name = row.file.substr(row.file.find("Tasks/") + 6);
        std::ranges::replace(name, '/', '\\');
        expected.push_back(name + " C:\\Tools\\clock.exe");
    }
    const StartTable table =
        disk.Table(ReadFacts(disk.Roots(), WindowsFamily::NT, u"C:\\WINDOWS"), {});
    EXPECT_THAT(NamesAndFiles(table), testing::UnorderedElementsAreArray(expected));
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
