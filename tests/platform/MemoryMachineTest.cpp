#include "platform/RegistryValues.h"
#include "platform/RootNames.h"
#include "testing/MemoryMachine.h"

#include <gmock/gmock.h>

#include "common/CodePageDigests.h"
#include "platform/model/CodePage.h"
#include "platform/witness/WitnessMachine.h"
#include "testing/FaultMachine.h"
#include "testing/MachineDump.h"

namespace bkfd {
namespace {

constexpr TextView kFile = u"C:\\WINDOWS\\system32\\a.dll";
constexpr TextView kMoved = u"C:\\WINDOWS\\system32\\b.dll";

TEST(MemoryMachine, HeldAndLockedFilesResistMovesUntilTheirHoldersEnd) {
    constexpr auto NT = WindowsFamily::NT;
    constexpr auto Old = WindowsFamily::Windows9x;
    constexpr std::uint32_t kShared = SystemError::SharingViolation;
    const struct {
        const char* label;
        WindowsFamily family;
        bool isHeld;
        bool isLocked;
        std::uint32_t before;  // the code of a move while the holder runs
        std::uint32_t after;   // and once it has ended
    } rows[] = {
        {"NT, free", NT, false, false, 0, 0},
        {"NT, held", NT, true, false, 0, 0},
        {"NT, locked by its holder", NT, true, true, kShared, 0},
        {"NT, locked by nobody", NT, false, true, kShared, kShared},
        {"9x, free", Old, false, false, 0, 0},
        {"9x, held", Old, true, false, kShared, 0},
        {"9x, locked by its holder", Old, true, true, kShared, 0},
        {"9x, locked by nobody", Old, false, true, kShared, kShared},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        MemoryMachine machine(row.family);
        machine.AddFile(kFile, "x");
        // The holder reports the path in a form of its own.
        const Text module = row.isHeld ? u"\\??\\c:\\windows\\SYSTEM32\\A.dll" : u"C:\\other.dll";
        machine.AddProcess({8, u"\\SystemRoot\\explorer.exe", {module}});
        if (row.isLocked) machine.LockFile(kFile);
        EXPECT_EQ(machine.FileSystem().MoveFileW(kFile, kMoved).code, row.before);
        if (row.before == 0) continue;
        const auto process = machine.ProcessTable().OpenProcess(ProcessAccess::All, 8);
        EXPECT_EQ(machine.ProcessTable().TerminateProcess(process.value, 0).code, 0u);
        EXPECT_EQ(machine.FileSystem().MoveFileW(kFile, kMoved).code, row.after);
    }
}

TEST(MemoryMachine, DenialsHoldForTheKeyAndAllBelow) {
    MemoryMachine machine(WindowsFamily::NT);
    machine.SetString(HKLM, u"Software\\Secret\\Sub", u"v", u"1");
    machine.SetString(HKLM, u"Software\\SecretNot", u"v", u"1");
    machine.DenyRead(HKLM, u"software\\secret\\");
    machine.DenyWrite(HKLM, u"Software\\Classes\\CLSID");
    Registry& registry = machine.RegistryKeys();
    for (const TextView key : {u"Software\\Secret", u"SOFTWARE\\SECRET\\Sub"}) {
        EXPECT_EQ(registry.RegQueryValueExW(HKLM, key, u"v").code, SystemError::AccessDenied);
        EXPECT_EQ(registry.RegEnumKeyExW(HKLM, key).code, SystemError::AccessDenied);
    }
    EXPECT_EQ(registry.RegQueryValueExW(HKLM, u"Software\\SecretNot", u"v").code, 0u);
    EXPECT_EQ(registry.RegSetValueExW(HKLM, u"Software\\Secret", u"v", {}).code, 0u);
    EXPECT_EQ(registry.RegSetValueExW(HKCR, u"CLSID\\{1}", u"", {}).code,
              SystemError::AccessDenied);
    EXPECT_EQ(registry.RegDeleteKeyW(HKCR, u"CLSID\\{1}").code, SystemError::AccessDenied);
}

TEST(MemoryMachine, ClassesAreTheUsersBeforeTheMachines) {
    const auto answers = [](MemoryMachine& machine) {
        machine.SetString(HKLM, u"Software\\Classes\\both", u"", u"machine");
        machine.SetString(HKLM, u"Software\\Classes\\both", u"only", u"machine");
        machine.SetString(HKCU, u"Software\\Classes\\both", u"", u"user");
        machine.SetString(HKCU, u"Software\\Classes\\mine", u"", u"user");
        Registry& registry = machine.RegistryKeys();
        (void)registry.RegSetValueExW(HKCR, u"both", u"new", MakeStringValue(u"n"));
        (void)registry.RegSetValueExW(HKCR, u"fresh", u"", MakeStringValue(u"n"));
        const auto keys = registry.RegEnumKeyExW(HKCR, u"");
        return ToUtf8(machine.GetString(HKCR, u"both", u"")) + " " +
               ToUtf8(machine.GetString(HKCR, u"both", u"only")) + " " +
               std::to_string(keys.value.size()) +
               (machine.HasValue(HKCU, u"Software\\Classes\\both", u"new") ? " user" : " machine") +
               (machine.HasKey(HKLM, u"Software\\Classes\\fresh") ? " machine" : " user");
    };
    MemoryMachine xp(WindowsFamily::NT);
    EXPECT_EQ(answers(xp), "user machine 3 user machine");
    MemoryMachine old(WindowsFamily::Windows9x);
    EXPECT_EQ(answers(old), "machine machine 2 machine machine");
    MemoryMachine nt4(WindowsFamily::NT);
    nt4.SetVersion(4, 0, 1381);
    EXPECT_EQ(answers(nt4), "machine machine 2 machine machine");
}

TEST(MemoryMachine, StreamsGoWithTheirFile) {
    MemoryMachine machine(WindowsFamily::NT);
    Files& files = machine.FileSystem();
    machine.AddFile(u"C:\\x\\a.exe", "x");
    machine.AddFile(u"C:\\x\\a.exe:b.dll", "stream");
    EXPECT_EQ(files.GetFileAttributesW(u"C:\\x\\A.EXE:B.dll").code, 0u);
    EXPECT_EQ(files.MoveFileW(u"C:\\x\\a.exe:b.dll", u"C:\\x\\c").code, SystemError::InvalidName);
    EXPECT_EQ(files.MoveFileW(u"C:\\x\\a.exe", u"C:\\x\\a:c").code, SystemError::InvalidName);
    EXPECT_EQ(files.MoveFileW(u"C:\\x\\a.exe", u"C:\\c.exe").code, 0u);
    EXPECT_THAT(DumpFiles(machine), testing::HasSubstr("C:\\c.exe 1\nC:\\c.exe:b.dll 6\n"));
    EXPECT_EQ(files.DeleteFileW(u"C:\\c.exe").code, 0u);
    EXPECT_EQ(files.GetFileAttributesW(u"C:\\c.exe:b.dll").code, SystemError::FileNotFound);
}

TEST(MemoryMachine, SearchesGoInTheSystemsOrder) {
    for (const auto family : {WindowsFamily::NT, WindowsFamily::Windows9x}) {
        std::vector<Text> folders{u"C:\\Program Files\\Brackenfold",
                                  u"C:\\cur",
                                  u"C:\\WINDOWS\\system32",
                                  u"C:\\WINDOWS\\system",
                                  u"C:\\WINDOWS",
                                  u"C:\\p1",
                                  u"D:\\p2"};
        if (family == WindowsFamily::Windows9x) folders.erase(folders.begin() + 2);
        MemoryMachine machine(family);
        machine.SetEnvironment(u"Path", u"C:\\p1;;D:\\p2");
        machine.AddFolder(u"C:\\cur");
        ASSERT_EQ(machine.FileSystem().SetCurrentDirectoryW(u"C:\\cur").code, 0u);
        for (const Text& folder : folders) machine.AddFile(folder + u"\\a.exe");
        std::vector<Text> found;
        Text buffer(300, u' ');
        while (const auto count = machine.FileSystem().SearchPathW(u"a.exe", buffer).count) {
            found.push_back(buffer.substr(0, count - 6));
            ASSERT_EQ(machine.FileSystem().DeleteFileW(buffer).code, 0u);
        }
        EXPECT_EQ(found, folders);
    }
}

TEST(MemoryMachine, ToolhelpFieldsAreCutTo259) {
    MemoryMachine machine(WindowsFamily::Windows9x);
    machine.AddProcess({4, Text(u"C:\\") + Text(400, u'x'), {}});
    Processes& processes = machine.ProcessTable();
    ProcessEntry entry;
    entry.size = kProcessRecordSize;
    EXPECT_EQ(
        processes
            .Process32First(processes.CreateToolhelp32Snapshot(SnapshotHolds::Processes, 0), entry)
            .code,
        0u);
    EXPECT_EQ(entry.exeFile, Text(u"C:\\") + Text(256, u'x') + Text(1, u'\0'));
}

TEST(MemoryMachine, AHandleOutlivesItsProcess) {
    MemoryMachine machine(WindowsFamily::NT);
    machine.AddProcess({8, u"C:\\a.exe", {}});
    machine.AddProcess({12, u"C:\\b.exe", {}, true, false});
    Processes& processes = machine.ProcessTable();
    EXPECT_EQ(processes.OpenProcess(ProcessAccess::QueryAndRead, 12).code,
              SystemError::AccessDenied);
    const auto first = processes.OpenProcess(ProcessAccess::All, 8);
    const auto second = processes.OpenProcess(ProcessAccess::All, 8);
    EXPECT_EQ(processes.TerminateProcess(first.value, 0).code, 0u);
    EXPECT_EQ(processes.TerminateProcess(second.value, 0).code, SystemError::AccessDenied);
    EXPECT_EQ(processes.OpenProcess(ProcessAccess::Terminate, 8).code,
              SystemError::InvalidParameter);
    std::vector<ModuleHandle> modules(4);
    std::uint32_t needed = 0;
    EXPECT_NE(processes.EnumProcessModules(first.value, modules, 16, needed).code, 0u);
    EXPECT_EQ(processes.CloseHandle(first.value).code, 0u);
    EXPECT_EQ(processes.CloseHandle(second.value).code, 0u);
    EXPECT_EQ(machine.OpenHandleCount(), 0u);
}

TEST(MemoryMachine, ManyValuesKeepTheirOrderAndIgnoreCase) {
    MemoryMachine machine(WindowsFamily::NT);
    Registry& registry = machine.RegistryKeys();
    std::vector<Text> expected;
    for (std::int64_t i = 40; i > 0; --i) {
        const Text name = u"Value" + ToText(i);
        machine.SetString(HKLM, u"K", name, u"old");
        if (i % 3 != 0) expected.push_back(name);
    }
    for (std::int64_t i = 3; i <= 40; i += 3) {
        EXPECT_TRUE(registry.RegDeleteValueW(HKLM, u"K", u"VALUE" + ToText(i)).IsOk());
    }
    machine.SetString(HKLM, u"K", u"vALUE40", u"new");
    machine.SetString(HKLM, u"K", u"Value3", u"again");
    expected.push_back(u"Value3");
    EXPECT_EQ(registry.RegEnumValueW(HKLM, u"K").value, expected);
    EXPECT_EQ(TextOfValue(registry.RegQueryValueExW(HKLM, u"K", u"value40").value), u"new");
    EXPECT_TRUE(registry.RegQueryValueExW(HKLM, u"K", u"Value6").IsNotThere());
}

TEST(MemoryMachine, CodePagesConvertCharacterByCharacter) {
    const struct {
        std::uint32_t page;
        Text text;
        std::string bytes;
        Text back;
    } rows[] = {
        {1252, u"\u20AC\u00E9\u0416z", "\x80\xE9?z", u"\u20AC\u00E9?z"},
        {1252, u"\u0081", "\x81", u"\u0081"},
        {1251, u"\u0416\u00E9", "\xC6\x65", u"\u0416\u0065"},
        {932, u"\u65E5a", "\x93\xFA\x61", u"\u65E5a"},
        {65001, u"\U0001F600\u00E9", "\xF0\x9F\x98\x80\xC3\xA9", u"\U0001F600\u00E9"},
        {1252, Text(1, char16_t{0xD800}) + u"a", "?a", u"?a"},
        {1252, u"\u0142\uFF21\U0001F600", "lA??", u"lA??"},
        {1255, u"\u05D0", "\xE0", u"\u05D0"},
        {1253, u"\uF8F9", "\xAA", u"\uF8F9"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.page);
        MemoryMachine machine(WindowsFamily::NT);
        machine.SetCodePage(row.page);
        EXPECT_EQ(machine.System().WideCharToMultiByte(row.text), row.bytes);
        EXPECT_EQ(machine.System().MultiByteToWideChar(row.bytes), row.back);
    }
}

TEST(MemoryMachine, CodePagesAreThoseOfWindows) {
    for (const auto& row : kCodePageDigests) {
        CodePage page(row.page);
        const std::uint32_t digest =
            DigestOfCodePage([&](char16_t unit) { return page.Encode(Text(1, unit)); });
        EXPECT_EQ(digest, row.digest) << row.page;
    }
}

TEST(MemoryMachine, ARestartNeedsThePrivilegeAndDropsWhatIsGone) {
    MemoryMachine machine(WindowsFamily::NT);
    machine.AddFile(u"C:\\a.exe");
    machine.AddProcess({4, u"C:\\a.exe", {u"C:\\gone.dll", u"c:\\A.EXE"}});
    machine.AddProcess({8, u"C:\\gone.exe", {}});
    Restart& session = machine.Session();
    EXPECT_EQ(session.ExitWindowsEx(ExitFlag::Reboot, 0).code, SystemError::PrivilegeNotHeld);
    const auto token = session.OpenProcessToken(TokenAccess::AdjustPrivileges);
    const auto luid = session.LookupPrivilegeValueA("SeShutdownPrivilege");
    EXPECT_EQ(session.AdjustTokenPrivileges(token.value, luid.value, kPrivilegeEnabled).code, 0u);
    EXPECT_EQ(session.ExitWindowsEx(ExitFlag::Reboot, 0).code, 0u);
    EXPECT_EQ(DumpProcesses(machine), "process 4 C:\\a.exe\n  c:\\A.EXE\n");
    EXPECT_EQ(machine.System().GetTickCount(), 0u);
}

TEST(FaultMachine, TheNthCallFailsOnceOrFromThenOn) {
    MemoryMachine memory(WindowsFamily::NT);
    FaultMachine machine(memory);
    const auto run = [&] {
        std::string codes;
        for (int i = 0; i < 4; ++i) {
            codes += machine.FileSystem().GetFileAttributesW(u"C:\\").IsOk() ? '.' : 'x';
        }
        (void)machine.System().GetTickCount();  // can't fail, doesn't count
        return codes;
    };
    EXPECT_EQ(run(), "....");
    EXPECT_EQ(machine.CallCount(), 4u);
    machine.FailCall(2, FaultPlan::Lasting::Once);
    EXPECT_EQ(run(), ".x..");
    EXPECT_EQ(machine.FailedCall(), "GetFileAttributesW");
    machine.FailCall(3, FaultPlan::Lasting::FromThenOn);
    EXPECT_EQ(run(), "..xx");
    machine.FailCall(5, FaultPlan::Lasting::Once);
    EXPECT_EQ(run(), "....");
    EXPECT_EQ(machine.FailedCall(), "");
}

TEST(WitnessMachine, NotesOnceWhatIsThereAndCantBeRead) {
    MemoryMachine memory(WindowsFamily::NT);
    memory.SetString(HKLM, u"Secret", u"v", u"1");
    memory.DenyRead(HKLM, u"Secret");
    memory.AddFile(u"C:\\closed.exe", "x");
    memory.MakeUnreadable(u"C:\\closed.exe");
    memory.AddProcess({12, u"C:\\a.exe", {}, true, false});
    WitnessMachine machine(memory);
    for (int i = 0; i < 2; ++i) {
        (void)machine.RegistryKeys().RegQueryValueExW(HKLM, i == 0 ? u"Secret" : u"secret\\", u"v");
        (void)machine.RegistryKeys().RegEnumKeyExW(HKLM, u"NotThere");
        (void)machine.FileSystem().CreateFileW(u"C:\\closed.exe", FileMode::Read);
        (void)machine.FileSystem().CreateFileW(u"C:\\none.exe", FileMode::Read);
        (void)machine.FileSystem().CreateFileW(u"C:\\none\\a.exe", FileMode::Read);
        (void)machine.FileSystem().CreateFileW(u"C:\\WINDOWS", FileMode::Read);
        (void)machine.FileSystem().CreateFileW(u"C:\\closed.exe", FileMode::CreateNew);
        (void)machine.ProcessTable().OpenProcess(ProcessAccess::QueryAndRead, 12);
        (void)machine.ProcessTable().OpenProcess(ProcessAccess::QueryAndRead, 99);
    }
    EXPECT_EQ(machine.Unreadable(),
              (std::vector<UnreadableItem>{
                  {u"registry", u"HKEY_LOCAL_MACHINE\\Secret", SystemError::AccessDenied},
                  {u"file", u"C:\\closed.exe", SystemError::AccessDenied},
                  {u"process", u"12", SystemError::AccessDenied}}));
}

TEST(WitnessMachine, NotesAListOfProcessesThatCantBeRead) {
    for (const WindowsFamily family : {WindowsFamily::NT, WindowsFamily::Windows9x}) {
        MemoryMachine memory(family);
        FaultMachine faulty(memory);
        faulty.FailCall(1, FaultPlan::Lasting::FromThenOn, SystemError::AccessDenied);
        WitnessMachine machine(faulty);
        std::uint32_t needed = 0;
        if (family == WindowsFamily::NT) {
            (void)machine.ProcessTable().EnumProcesses({}, needed);
        } else {
            (void)machine.ProcessTable().CreateToolhelp32Snapshot(SnapshotHolds::Processes, 0);
        }
        EXPECT_EQ(
            machine.Unreadable(),
            (std::vector<UnreadableItem>{{u"process-list", u"all", SystemError::AccessDenied}}));
    }
}

TEST(WitnessMachine, NotesAFileThatASearchCantSee) {
    MemoryMachine memory(WindowsFamily::NT);
    memory.AddFile(kFile, "x");
    FaultMachine faulty(memory);
    faulty.FailCall(1, FaultPlan::Lasting::FromThenOn, SystemError::AccessDenied);
    WitnessMachine machine(faulty);
    FindData data;
    EXPECT_EQ(machine.FileSystem().FindFirstFileA("C:\\WINDOWS\\system32\\a.dll", data),
              kInvalidHandle);
    EXPECT_EQ(machine.Unreadable(),
              (std::vector<UnreadableItem>{{u"file", Text(kFile), SystemError::AccessDenied}}));
}

}  // namespace
}  // namespace bkfd
