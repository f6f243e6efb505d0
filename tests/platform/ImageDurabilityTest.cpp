#include <gmock/gmock.h>

#include <random>
#include <set>

#include "common/FullDisk.h"
#include "common/WritePoints.h"
#include "platform/RegistryValues.h"
#include "platform/RootNames.h"
#include "platform/ScratchImage.h"
#include "platform/model/RegistryTree.h"
#include "testing/MachineDump.h"

namespace bkfd {
namespace {

/// A machine with something of every kind in it.
void Fill(ScratchImage& image) {
    image.Write("machine.json", R"({
  "family": "nt",
  "now": "2026-11-16T09:39:04",
  "processes": [
    {"id": 4, "path": "C:\\a.exe", "modules": ["C:\\b.dll"]},
    {"id": 8, "path": "C:\\gone.exe"}
  ],
  "files": {"C:\\b.dll": {"attributes": 1, "locked": true}}
})");
    image.Write("registry/1.reg",
                "REGEDIT4\r\n\r\n[HKEY_LOCAL_MACHINE\\Software\\A]\r\n\"x\"=\"1\"\r\n\r\n"
                "[HKEY_LOCAL_MACHINE\\Software\\A\\Sub]\r\n\r\n");
    image.Write("registry/2.reg",
                "REGEDIT4\r\n\r\n[HKEY_LOCAL_MACHINE\\Software\\B]\r\n\"x\"=\"1\"\r\n\r\n");
    for (const char* name : {"a.exe", "b.dll", "c.txt"}) {
        image.Write(std::string("drives/c/") + name, name);
    }
}

bool Set(Machine& machine, TextView key, TextView name, TextView text) {
    return machine.RegistryKeys().RegSetValueExW(HKLM, key, name, MakeStringValue(text)).IsOk();
}

void WriteFileWhole(Machine& machine, TextView path, std::string_view content) {
    auto file = machine.FileSystem().CreateFileW(path, FileMode::CreateNew);
    if (!file.IsOk()) return;
    (void)file.value->WriteFile(Bytes(content.begin(), content.end()));
    (void)file.value->FlushFileBuffers();
}

using Step = void (*)(Machine&);

/// The scripted changes, one call each or one whole file.
constexpr Step kSteps[] = {
    [](Machine& m) { (void)Set(m, u"Software\\A", u"x", u"2"); },
    [](Machine& m) { (void)m.FileSystem().MoveFileW(u"C:\\a.exe", u"C:\\t.exe"); },
    [](Machine& m) { (void)Set(m, u"Software\\New\\Deep", u"", u"7"); },
    [](Machine& m) {
        const auto process = m.ProcessTable().OpenProcess(ProcessAccess::All, 4);
        (void)m.ProcessTable().TerminateProcess(process.value, 0);
    },
    [](Machine& m) { (void)m.FileSystem().SetFileAttributesW(u"C:\\b.dll", 2); },
    [](Machine& m) { (void)m.FileSystem().MoveFileW(u"C:\\b.dll", u"C:\\parasite_b.dll"); },
    [](Machine& m) { (void)m.RegistryKeys().RegDeleteKeyW(HKLM, u"Software\\A\\Sub"); },
    [](Machine& m) { (void)m.RegistryKeys().RegDeleteValueW(HKLM, u"Software\\B", u"x"); },
    [](Machine& m) { WriteFileWhole(m, u"C:\\new.txt", "new content"); },
    [](Machine& m) { (void)m.FileSystem().MoveFileExW(u"C:\\new.txt", u"C:\\c.txt"); },
    [](Machine& m) { (void)m.FileSystem().DeleteFileW(u"C:\\t.exe"); },
    [](Machine& m) {
        const auto token = m.Session().OpenProcessToken(TokenAccess::AdjustPrivileges);
        (void)m.Session().AdjustTokenPrivileges(
            token.value, m.Session().LookupPrivilegeValueA("SeShutdownPrivilege").value,
            kPrivilegeEnabled);
        (void)m.Session().ExitWindowsEx(ExitFlag::Reboot, 0);
    },
};

/// It tells restarts apart; the time itself moves on with each use.
Date BootTime(Machine& machine) {
    return AddSeconds(machine.System().GetLocalTime(),
                      -static_cast<std::int64_t>(machine.System().GetTickCount() / 1000));
}

std::string State(ImageMachine& machine) {
    auto moved = machine.FileSystem().CreateFileW(u"C:\\c.txt", FileMode::Read);
    Bytes content(20);
    if (moved.IsOk()) content.resize(moved.value->ReadFile(0, content).value);
    return Dump(machine) + "c.txt: " + std::string(content.begin(), content.end()) +
           "\nboot: " + ToUtf8(FormatDate(BootTime(machine))) + "\n";
}

/// A crash now would leave the machine's changes in its image.
void ExpectCrashSafe(const ScratchImage& image, ImageMachine& machine) {
    const ScratchImage crashed;
    for (const auto& [name, content] : image.Snapshot()) crashed.Write(name, content);
    EXPECT_EQ(Dump(*crashed.Load()), Dump(machine));
}

void ExpectNoTemporaryFile(const ScratchImage& image) {
    for (const auto& [name, content] : image.Snapshot()) {
        EXPECT_EQ(name.find("bkfd-new"), std::string::npos) << name;
    }
}

/// The state before the first step and after each one, from runs that nothing disturbs.
std::vector<std::string> ExpectedStates() {
    ScratchImage image;
    Fill(image);
    auto machine = image.Load();
    std::vector<std::string> states{State(*machine)};
    for (const Step step : kSteps) {
        step(*machine);
        states.push_back(State(*machine));
    }
    return states;
}

/// Runs the script in a process that ends at that write; `finished` receives how many steps had
/// returned.
bool RunUntil(const ScratchImage& image, int point, std::size_t& finished) {
    int ends[2];
    if (pipe(ends) != 0) return false;
    const bool wasEnded = EndsAt(point, [&] {
        auto machine = image.Load();
        for (const Step step : kSteps) {
            step(*machine);
            if (write(ends[1], "x", 1) != 1) std::abort();
        }
    });
    close(ends[1]);
    char marks[100];
    finished = static_cast<std::size_t>(read(ends[0], marks, sizeof marks));
    close(ends[0]);
    return wasEnded;
}

TEST(ImageDurability, ACrashLeavesTheOldOrTheNewState) {
    const std::vector<std::string> states = ExpectedStates();
    ASSERT_EQ(std::set<std::string>(states.begin(), states.end()).size(), states.size());
    int point = 1;
    for (;; ++point) {
        SCOPED_TRACE(point);
        ScratchImage image;
        Fill(image);
        std::size_t done = 0;
        const bool wasEnded = RunUntil(image, point, done);
        for (int load = 0; load < 2; ++load) {
            const auto machine = image.Load();
            ASSERT_NE(machine, nullptr);
            const std::string state = State(*machine);
            const bool isNext = done + 1 < states.size() && state == states[done + 1];
            EXPECT_TRUE(state == states[done] || isNext) << "after " << done << " steps:\n"
                                                         << state << "expected:\n"
                                                         << states[done];
        }
        EXPECT_FALSE(image.Has("registry.journal"));
        // What a crash left half written goes with the next file that is written beside it.
        WriteFileWhole(*image.Load(), u"C:\\next.txt", "x");
        ExpectNoTemporaryFile(image);
        if (HasFailure() || !wasEnded) break;
    }
    EXPECT_GT(point, 60);
}

TEST(ImageDurability, ACrashWhileFoldingAfterACrashLosesNothing) {
    const std::vector<std::string> states = ExpectedStates();
    for (int point = 1;; ++point) {
        SCOPED_TRACE(point);
        ScratchImage image;
        Fill(image);
        {
            auto machine = image.Load();
            for (const Step step : kSteps) step(*machine);
            // The journal as it is before the fold at the machine's end.
            std::filesystem::copy(image.Path("registry.journal"), image.Path("kept"));
        }
        std::filesystem::rename(image.Path("kept"), image.Path("registry.journal"));
        const bool wasEnded = EndsAt(point, [&] { (void)image.Load(); });
        const auto machine = image.Load();
        ASSERT_NE(machine, nullptr);
        EXPECT_EQ(State(*machine), states.back());
        if (HasFailure() || !wasEnded) break;
    }
}

TEST(ImageDurability, AJournalThatCantBeFoldedKeepsWhatItHas) {
    ScratchImage image;
    Fill(image);
    const std::string inTheWay = image.Path("registry/1.reg.bkfd-new");
    std::filesystem::create_directory(inTheWay);
    const auto fails = [&](TextView name) {
        const auto machine = image.Load();
        return Set(*machine, u"Software\\A", name, u"1") && !machine->Fold().IsOk();
    };
    EXPECT_TRUE(fails(u"first"));
    EXPECT_TRUE(fails(u"second"));
    // A record that was cut off goes, those before it stay.
    image.Write("registry.journal", image.Read("registry.journal") + "00000000 {");
    EXPECT_TRUE(fails(u"third"));
    image.Write("registry.journal", image.Read("registry.journal") + "00000000 {}\n");
    EXPECT_TRUE(fails(u"fourth"));
    std::filesystem::remove(inTheWay);
    EXPECT_EQ(
        DumpRegistry(*image.Load()),
        "[HKEY_LOCAL_MACHINE\\Software\\A]\n  first = \"1\"\n  fourth = \"1\"\n"
        "  second = \"1\"\n  third = \"1\"\n  x = \"1\"\n[HKEY_LOCAL_MACHINE\\Software\\A\\Sub]\n"
        "[HKEY_LOCAL_MACHINE\\Software\\B]\n  x = \"1\"\n");
    EXPECT_FALSE(image.Has("registry.journal"));
}

TEST(ImageDurability, AJournalBeginsAnewBehindEachFold) {
    ScratchImage image;
    Fill(image);
    const auto machine = image.Load();
    for (const Step step : {kSteps[0], kSteps[4]}) {
        step(*machine);
        EXPECT_TRUE(machine->Fold().IsOk());
    }
    kSteps[2](*machine);
    ExpectCrashSafe(image, *machine);
}

TEST(ImageDurability, AFullDiskLeavesNoPartOfARecordOrFile) {
    ScratchImage image;
    Fill(image);
    const auto machine = image.Load();
    kSteps[0](*machine);
    {
        const FullDisk full(image.Read("registry.journal").size() + 20);
        const std::string before = Dump(*machine);
        kSteps[2](*machine);
        EXPECT_EQ(Dump(*machine), before);
    }
    {
        const FullDisk full(20);
        EXPECT_FALSE(machine->Fold().IsOk());
        ExpectNoTemporaryFile(image);
    }
    kSteps[6](*machine);
    kSteps[7](*machine);
    ExpectCrashSafe(image, *machine);
}

TEST(ImageDurability, AMoveThatFailsLeavesNamesAndAttributes) {
    ScratchImage image;
    Fill(image);
    image.Write("drives/c/c.txt:stream", "s");
    const auto machine = image.Load();
    EXPECT_TRUE(machine->FileSystem().SetFileAttributesW(u"C:\\c.txt", 2).IsOk());
    const std::string before = Dump(*machine);
    // The host has room for the file's name, but not for that of its stream.
    EXPECT_FALSE(
        machine->FileSystem().MoveFileW(u"C:\\c.txt", Text(u"C:\\") + Text(252, u'n')).IsOk());
    EXPECT_EQ(Dump(*machine), before);
    kSteps[0](*machine);
    ExpectCrashSafe(image, *machine);
}

TEST(ImageDurability, AJournalThatWasCutLosesItsLastRecordOnly) {
    ScratchImage image;
    Fill(image);
    auto machine = image.Load();
    // The first record is that of the time.
    std::vector<std::string> states(2, DumpRegistry(*machine));
    for (int i = 0; i < 4; ++i) {
        (void)Set(*machine, u"Software\\A", u"x", ToText(i + 10));
        states.push_back(DumpRegistry(*machine));
    }
    const std::string journal = image.Read("registry.journal");
    machine.reset();
    for (std::size_t length = 0; length <= journal.size(); ++length) {
        SCOPED_TRACE(length);
        ScratchImage cut;
        Fill(cut);
        cut.Write("registry.journal", journal.substr(0, length));
        const std::string left = cut.Read("registry.journal");
        const auto lines = static_cast<std::size_t>(std::ranges::count(left, '\n'));
        const auto loaded = cut.Load();
        ASSERT_NE(loaded, nullptr);
        EXPECT_EQ(DumpRegistry(*loaded), states[lines == 0 ? 0 : lines - 1]);
    }
}

TEST(ImageDurability, JournalsThatArentUnderstoodAreErrors) {
    const std::string header = "Brackenfold journal 1\n";
    const struct {
        const char* label;
        std::string journal;
        std::size_t line;
        const char* message;
    } rows[] = {
        {"newer form", "Brackenfold journal 2\n", 1, "newer form"},
        {"foreign", "hello\n", 1, "newer form"},
        {"damaged in the middle", header + "00000000 {}\n00000000 {}\n", 2, "damaged"},
        {"no moves", header + "fec0b71a {\"change\":\"move\"}\n", 2, "isn't known"},
        {"half a move", header + "37273187 {\"change\":\"move\",\"moves\":[[\"C:\\\\a\"]]}\n", 2,
         "isn't known"},
        {"no path", header + "59e78767 {\"change\":\"remove\"}\n", 2, "isn't known"},
        {"no such root", header + "4c4ea42d {\"change\":\"set value\",\"root\":1,\"key\":\"K\"}\n",
         2, "isn't known"},
        {"a root deleted", header + "a3cb1693 {\"change\":\"delete key\",\"root\":2147483649}\n", 2,
         "isn't known"},
        {"nested beyond use",
         header + "ec90f289 {\"change\":\"move\",\"x\":" + std::string(100'000, '[') +
             std::string(100'000, ']') + "}\n" + header,
         2, "damaged"},
        {"unknown kind", header + "311350a6 {\"change\":\"fly\"}\n", 2, "isn't known"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        ScratchImage image;
        Fill(image);
        image.Write("registry.journal", row.journal);
        const auto before = image.Snapshot();
        const auto loaded = LoadMachineImage(image.Path());
        const auto* error = std::get_if<ImageError>(&loaded);
        ASSERT_NE(error, nullptr);
        EXPECT_EQ(error->file, image.Path("registry.journal"));
        EXPECT_EQ(error->line, row.line);
        EXPECT_THAT(error->message, testing::HasSubstr(row.message));
        EXPECT_EQ(image.Snapshot(), before);
    }
}

TEST(ImageDurability, ValuesGoBackIntoTheFileOfTheirKey) {
    ScratchImage image;
    Fill(image);
    const std::string other = image.Read("registry/2.reg");
    image.Write("machine.json", R"({"family": "nt"})");
    const std::string settings = image.Read("machine.json");
    {
        auto machine = image.Load();
        EXPECT_TRUE(Set(*machine, u"software\\a", u"X", u"2"));
        EXPECT_TRUE(Set(*machine, u"Software\\A\\Sub\\New", u"n", u"1"));
        EXPECT_TRUE(machine->RegistryKeys().RegDeleteKeyW(HKLM, u"Software\\A\\Sub\\New").IsOk());
    }
    EXPECT_EQ(image.Read("registry/1.reg"),
              "REGEDIT4\r\n\r\n[HKEY_LOCAL_MACHINE\\Software\\A]\r\n\"x\"=\"2\"\r\n\r\n"
              "[HKEY_LOCAL_MACHINE\\Software\\A\\Sub]\r\n\r\n");
    EXPECT_EQ(image.Read("registry/2.reg"), other);
    EXPECT_EQ(image.Read("machine.json"), settings) << "nothing of it has changed";
    // Greek isn't in the code page: the file gets the form that can hold it.
    EXPECT_TRUE(Set(*image.Load(), u"Software\\B", u"\u03B1", u"\u03B2"));
    EXPECT_EQ(image.Read("registry/2.reg").substr(0, 2), "\xFF\xFE");
    EXPECT_THAT(DumpRegistry(*image.Load()), testing::HasSubstr("\u03B1 = \"\u03B2\""));
}

TEST(ImageDurability, ATimeOfItsOwnGoesOnFromUseToUse) {
    ScratchImage image;
    Fill(image);
    Date bootTime = 0;
    const auto now = [&] {
        const auto machine = image.Load();
        const Date time = machine->System().GetLocalTime();
        bootTime = BootTime(*machine);
        return time;
    };
    const Date begin = now();
    const Date booted = bootTime;
    EXPECT_EQ(now(), begin) << "nothing was changed";
    const Step changes[] = {
        [](Machine& m) { WriteFileWhole(m, u"C:\\new.txt", "x"); },
        [](Machine& m) { (void)m.FileSystem().CreateDirectoryW(u"C:\\folder"); },
        [](Machine& m) { (void)m.FileSystem().CreateFileW(u"C:\\c.txt", FileMode::Append); },
        [](Machine& m) { (void)Set(m, u"Software\\A", u"x", u"2"); },
        [](Machine& m) {
            m.System().Sleep(600'000);
            (void)m.FileSystem().MoveFileW(u"C:\\a.exe", u"C:\\t.exe");
        },
    };
    Date last = begin;
    for (const Step& change : changes) {
        change(*image.Load());
        EXPECT_GE(now(), AddSeconds(last, 1));
        EXPECT_NEAR(bootTime, booted, 1e-6);
        last = now();
    }
    EXPECT_GE(last, AddSeconds(begin, 600));

    // No later time could be read back.
    image.Write("machine.json", R"({"family": "nt", "now": "9999-12-31T23:59:30"})");
    for (const Step& step : {kSteps[0], *std::rbegin(kSteps)}) step(*image.Load());
    EXPECT_EQ(FormatDate(now()), u"9999-12-31 23:59:59");
}

TEST(ImageDurability, NoTimeIsSeenTwiceBesideAChangeWhereverTheProcessEnds) {
    int point = 0;
    for (bool wasEnded = true; wasEnded && !HasFailure();) {
        SCOPED_TRACE(++point);
        ScratchImage image;
        Fill(image);
        const Date begin = image.Load()->System().GetLocalTime();
        wasEnded = EndsAt(point, [&] { WriteFileWhole(*image.Load(), u"C:\\new.txt", "x"); });
        if (image.Has("drives/c/new.txt")) {
            EXPECT_GT(image.Load()->System().GetLocalTime(), begin);
        }
    }
    EXPECT_GT(point, 5);
}

TEST(ImageDurability, WhatIsntChangedInTheSettingsKeepsItsForm) {
    struct Row {
        const char* label;
        const char* before;
        const char* after;
    };
    const Row rows[] = {
        {"replaced where it stands",
         "{ \"files\" : {\"C:\\\\A.exe\": {\"attributes\": 1}},\n\t\"family\" : \"nt\",\"build\":  "
         "2600 }\n",
         "{ \"files\":{\"c:\\\\a.exe\":{\"attributes\":2}},\n\t\"family\" : \"nt\",\"build\":  "
         "2600 }\n"},
        {"added behind the others, indented as they are",
         "{\n    \"family\": \"nt\",\n    \"environment\": {\"x\": \"}, \\\"\"}\n}\n",
         "{\n    \"family\": \"nt\",\n    \"environment\": {\"x\": \"}, \\\"\"},\n    \"files\": "
         "{\n"
         "      \"c:\\\\a.exe\": {\n        \"attributes\": 2\n      }\n    }\n}\n"},
        {"a name with an escape", "{\"famil\\u0079\": \"nt\", \"fi\\u006ces\": {}}",
         "{\"famil\\u0079\": \"nt\", \"files\":{\"c:\\\\a.exe\":{\"attributes\":2}}}"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.label);
        ScratchImage image;
        image.Write("machine.json", row.before);
        image.Write("drives/c/a.exe", "a");
        EXPECT_TRUE(image.Load()->FileSystem().SetFileAttributesW(u"C:\\a.exe", 2).IsOk());
        EXPECT_EQ(image.Read("machine.json"), row.after);
    }
}

TEST(ImageDurability, LaterFilesAndDeletionsDecide) {
    ScratchImage image;
    image.Write("registry/1.reg",
                "REGEDIT4\n\n[HKEY_LOCAL_MACHINE\\K]\n\"a\"=\"1\"\n\"b\"=\"1\"\n");
    image.Write("registry/2.reg",
                "REGEDIT4\n\n[-HKEY_LOCAL_MACHINE\\K]\n\n[HKEY_LOCAL_MACHINE\\K]\n\"a\"=\"2\"\n");
    image.Write("registry/3.reg", "REGEDIT4\n\n[HKEY_LOCAL_MACHINE\\K]\n\"c\"=\"3\"\n\"a\"=-\n");
    {
        auto machine = image.Load();
        EXPECT_EQ(DumpRegistry(*machine), "[HKEY_LOCAL_MACHINE\\K]\n  c = \"3\"\n");
        EXPECT_TRUE(Set(*machine, u"K", u"a", u"4"));
        EXPECT_TRUE(Set(*machine, u"L", u"", u"5"));
        EXPECT_TRUE(machine->RegistryKeys().RegDeleteValueW(HKLM, u"K", u"c").IsOk());
    }
    EXPECT_EQ(DumpRegistry(*image.Load()),
              "[HKEY_LOCAL_MACHINE\\K]\n  a = \"4\"\n[HKEY_LOCAL_MACHINE\\L]\n  @ = \"5\"\n");
}

TEST(ImageDurability, ChangesStandWhereNoDeletionUndoesThem) {
    ScratchImage image;
    image.Write("registry/1.reg",
                "REGEDIT4\n\n[HKEY_LOCAL_MACHINE\\K]\n\"a\"=\"1\"\n\n[-HKEY_LOCAL_MACHINE\\K]\n");
    image.Write("registry/2.reg", "REGEDIT4\n\n[HKEY_LOCAL_MACHINE\\Only\\Through\\This]\n");
    {
        auto machine = image.Load();
        EXPECT_TRUE(Set(*machine, u"K\\Below", u"b", u"2"));
        EXPECT_TRUE(Set(*machine, u"K", u"c", u"3"));
        EXPECT_TRUE(machine->RegistryKeys().RegDeleteKeyW(HKLM, u"Only\\Through\\This").IsOk());
    }
    EXPECT_EQ(DumpRegistry(*image.Load()),
              "[HKEY_LOCAL_MACHINE\\K]\n  c = \"3\"\n[HKEY_LOCAL_MACHINE\\K\\Below]\n  b = \"2\"\n"
              "[HKEY_LOCAL_MACHINE\\Only\\Through]\n");
}

/// Keys above, below and beside each other, some named in several files; names that differ in case.
void ChangeAtRandom(Machine& machine, std::mt19937& random) {
    const auto pick = [&](auto&... choices) {
        const TextView all[] = {choices...};
        return Text(all[random() % sizeof...(choices)]);
    };
    Text key = u"Software";
    for (auto depth = random() % 3; depth > 0; --depth) {
        key += pick(u"\\A", u"\\a", u"\\B", u"\\A b");
    }
    const Text name = pick(u"", u"x", u"X", u"y", u"z");
    const Text file = pick(u"C:\\a.exe", u"C:\\A.EXE", u"C:\\f\\b.dll", u"C:\\g\\b.dll");
    const Text other = pick(u"C:\\f\\A.exe", u"C:\\c.txt", u"C:\\a.exe", u"C:\\f\\c");
    switch (random() % 8) {
        case 0:
        case 1:
            (void)Set(machine, key, name, ToText(static_cast<std::int64_t>(random() % 100)));
            break;
        case 2:
            (void)machine.RegistryKeys().RegDeleteValueW(HKLM, key, name);
            break;
        case 3:
            (void)machine.RegistryKeys().RegDeleteKeyW(HKLM, key);
            break;
        case 4:
            WriteFileWhole(machine, random() % 2 == 0 ? file : file + u":stream", "content");
            break;
        case 5:
            (void)machine.FileSystem().DeleteFileW(file);
            break;
        case 6:
            (void)machine.FileSystem().MoveFileExW(file, other);
            break;
        default:
            (void)machine.FileSystem().MoveFileExW(pick(u"C:\\f", u"C:\\g"),
                                                   pick(u"C:\\g", u"C:\\F"));
    }
}

TEST(ImageDurability, WhateverIsChangedIsReadBack) {
    ScratchImage image;
    Fill(image);
    image.Write("drives/c/f/b.dll:stream", "content");
    image.Write(
        "registry/3.reg",
        "REGEDIT4\r\n\r\n[HKEY_LOCAL_MACHINE\\Software\\A\\B]\r\n\"x\"=\"1\"\r\n\"x\"=\"2\"\r\n\r\n"
        "[-HKEY_LOCAL_MACHINE\\Software\\A]\r\n\r\n"
        "[HKEY_LOCAL_MACHINE\\Software\\a]\r\n\"y\"=-\r\n\r\n");
    std::mt19937 random(1);  // NOLINT: the same run each time
    for (int use = 0; use < 30; ++use) {
        SCOPED_TRACE(use);
        auto machine = image.Load();
        for (int i = 0; i < 25; ++i) ChangeAtRandom(*machine, random);
        const std::string before = Dump(*machine);
        // Every other one from the journal alone.
        if (use % 2 == 0) ASSERT_TRUE(machine->Fold().IsOk());
        machine.reset();
        ASSERT_EQ(Dump(*image.Load()), before);
    }
}

}  // namespace
}  // namespace bkfd
