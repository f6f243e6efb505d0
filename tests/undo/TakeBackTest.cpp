#include <gtest/gtest.h>

#include "common/EngineFixture.h"
#include "common/FaultSweep.h"
#include "common/UndoSweep.h"
#include "platform/RegistryValues.h"
#include "platform/RootNames.h"
#include "platform/undo/UndoFolder.h"
#include "platform/undo/UndoMachine.h"
#include "services/FileUtil.h"
#include "services/RegistryAccess.h"
#include "testing/FaultMachine.h"
#include "undo/KeptChanges.h"
#include "undo/TakeBack.h"
#include "undo/UndoExport.h"
#include "undo/UndoRecords.h"
#include "undo/UndoText.h"

namespace bkfd {
namespace {

using Outcome = UndoStep::Outcome;

constexpr TextView kKey = u"Software\\Odd Values";
constexpr TextView kDeepKey = u"Software\\Tree\\Mixed Name\\Deep\\er";
constexpr TextView kNameWithNul(u"Val\0ue", 6);

/// The engine on a machine whose changes are kept.
class UndoFixture : public EngineFixture {
  public:
    UndoFixture() {
        Use(undo);
        machine.AddFile(u"C:\\Tools\\Mixed Case.dll", "12345", FileAttribute::Hidden);
        machine.AddFile(u"C:\\Tools\\\u0431\u0142.exe", "67");
        machine.AddFile(u"C:\\Tools\\other.txt", "other");
        // The program's own temporary files have such names.
        for (const TextView name : {u"bkf0012.tmp", u"sc0012.tmp"}) {
            machine.AddFile(machine.System().GetTempPathW() + Text(name), "theirs");
        }
        const auto text = [](TextView characters) { return MakeStringValue(characters); };
        const RegistryValue values[] = {
            {RegistryType::None, {1}},
            text(u"text"),
            MakeStringValue(u"%x%", RegistryType::ExpandString),
            {RegistryType::Binary, {0, 255}},
            MakeDwordValue(7),
            {RegistryType{5}, {1, 2, 3, 4}},
            {RegistryType{6}, {'l', 0}},
            {RegistryType::MultiString, {'a', 0, 0, 0, 'b', 0, 0, 0, 0, 0}},
            {RegistryType{8}, {}},
            {RegistryType{11}, {1, 2, 3, 4, 5, 6, 7, 8}},
            {RegistryType{0xFFFF0007}, {9}},
            {RegistryType::Dword, {1, 2, 3}},
            {RegistryType::String, {'n', 0}},
            {RegistryType::String, {'a', 0, 0, 0, 'b', 0, 0, 0}},
            {RegistryType::String, {0, 0xD8, 'x', 0, 0, 0}},
            {RegistryType::String, {'o', 0, 'd'}},
        };
        for (const RegistryValue& value : values) {
            const Text number = ToText(static_cast<std::int64_t>(names.size()));
            names.push_back(u"Value " + number + Text(1, static_cast<char16_t>(0xD800)));
            machine.SetValue(HKCU, kKey, names.back(), value);
        }
        names.emplace_back();
        names.emplace_back(kNameWithNul);
        machine.SetValue(HKCU, kKey, u"", text(u"default"));
        machine.SetValue(HKCU, kKey, kNameWithNul, text(u"hidden"));
        machine.SetValue(HKCU, kKey, u"Val", text(u"not hidden"));
        machine.SetValue(HKLM, kDeepKey, u"z", text(u"1"));
        machine.SetValue(HKLM, kDeepKey, kNameWithNul, text(u"hidden too"));
        machine.SetValue(HKLM, kDeepKey, u"A", text(u"2"));
        machine.SetValue(HKLM, u"Software\\Tree\\Mixed Name", u"m", text(u"3"));
        machine.AddKey(HKLM, u"Software\\Tree\\Mixed Name\\Empty");
        machine.SetValue(HKLM, u"Software\\Classes\\Both", u"", text(u"machine's"));
        machine.SetValue(HKCU, u"Software\\Classes\\Both", u"", text(u"user's"));
        machine.SetValue(HKLM, u"Software\\Classes\\One", u"v", text(u"machine's"));
    }

    /// The registry as exports, and the files; the records are left out.
    std::string State() {
        std::string state;
        for (const RegistryRoot root : {HKCU, HKLM}) {
            state += ToUtf8(RegistryAccess().ExportKey(root, u"Software"));
            // An export can't name it.
            const TextView key = root == HKCU ? kKey : kDeepKey;
            const auto value = machine.RegistryKeys().RegQueryValueExW(root, key, kNameWithNul);
            state += value.IsOk() ? ToUtf8(DescribeValue(value.value)) + '\n' : "";
        }
        for (const VolumeEntry& entry : machine.AllFiles()) {
            if (entry.path.starts_with(u"C:\\Program Files")) continue;
            const Bytes content = machine.FileContent(entry.path);
            state += ToUtf8(entry.path) + ' ' + std::string(content.begin(), content.end()) + ' ' +
                     std::to_string(machine.AttributesOf(entry.path)) + '\n';
        }
        return state;
    }

    /// Does it as an operation and returns its record.
    template <class Work>
    RecordId Record(const Work& work) {
        const RecordedOperation operation(UndoOperation::kCleanUp);
        work();
        return undo.Record();
    }

    FaultMachine faulty{machine};
    UndoMachine undo{faulty, u"4.5.6"};
    std::vector<Text> names;
    Registry& registry = undo.RegistryKeys();
    Files& files = undo.FileSystem();
};

using Work = void (*)(UndoFixture&);

const struct WorkRow {
    const char* label;
    Work work;
} kWork[] = {
    {"SetOver",
     [](UndoFixture& f) {
         for (const Text& name : f.names) {
             (void)f.registry.RegSetValueExW(HKCU, kKey, name, {RegistryType::Binary, {1, 1}});
         }
     }},
    {"SetNew",
     [](UndoFixture& f) {
         for (const TextView key :
              {kKey, TextView(u"Software\\New"), TextView(u"Software\\N\\e\\w\\")}) {
             (void)f.registry.RegSetValueExW(HKCU, key, u"n", MakeDwordValue(1));
         }
     }},
    {"DeleteEverySecond",
     [](UndoFixture& f) {
         for (std::size_t i = 0; i < f.names.size(); i += 2) {
             (void)f.registry.RegDeleteValueW(HKCU, kKey, ToLower(f.names[i]));
         }
     }},
    {"DeleteFromTheEnd",
     [](UndoFixture& f) {
         for (auto name = f.names.rbegin(); name != f.names.rend(); ++name) {
             (void)f.registry.RegDeleteValueW(HKCU, u"software\\ODD values\\", *name);
         }
     }},
    {"SetAndDeleteAgain",
     [](UndoFixture& f) {
         const Text& name = f.names[1];
         (void)f.registry.RegSetValueExW(HKCU, kKey, name, MakeDwordValue(1));
         (void)f.registry.RegDeleteValueW(HKCU, kKey, name);
         (void)f.registry.RegSetValueExW(HKCU, kKey, ToLower(name), MakeDwordValue(2));
         (void)f.registry.RegDeleteValueW(HKCU, kKey, f.names[3]);
         (void)f.registry.RegDeleteKeyW(HKCU, kKey);
         (void)f.registry.RegSetValueExW(HKCU, kKey, u"only", MakeDwordValue(3));
     }},
    {"DeleteTree",
     [](UndoFixture&) {
         (void)RegistryAccess().DeleteKey(HKLM, u"SOFTWARE\\tree\\mixed name");
         (void)RegistryAccess().DeleteKey(HKCU, u"Software\\Odd Values");
     }},
    {"ViewOfClasses",
     [](UndoFixture& f) {
         constexpr auto kView = RegistryRoot::ClassesRoot;
         (void)f.registry.RegSetValueExW(kView, u"Both", u"", MakeDwordValue(1));
         (void)f.registry.RegSetValueExW(kView, u"One", u"v", MakeDwordValue(1));
         (void)f.registry.RegSetValueExW(kView, u"None", u"v", MakeDwordValue(1));
         (void)f.registry.RegDeleteKeyW(kView, u"BOTH");
         (void)f.registry.RegDeleteValueW(kView, u"Both", u"");
         (void)f.registry.RegDeleteValueW(kView, u"One", u"V");
     }},
    {"MoveAndStrip",
     [](UndoFixture& f) {
         (void)f.files.SetFileAttributesW(u"c:\\TOOLS\\mixed case.dll", FileAttribute::Archive);
         (void)f.files.MoveFileW(u"c:\\TOOLS\\mixed case.dll", u"C:\\Tools\\away");
         (void)f.files.MoveFileW(u"C:\\Tools\\\u0431\u0142.exe", u"C:\\Tools\\\u0142.x");
     }},
    {"DeleteAndReplace",
     [](UndoFixture& f) {
         (void)f.files.DeleteFileW(u"C:\\tools\\MIXED case.dll");
         (void)f.files.MoveFileW(u"C:\\Tools\\other.txt", u"C:\\Tools\\Mixed Case.dll");
         (void)f.files.MoveFileExW(u"C:\\Tools\\Mixed Case.dll", u"C:\\Tools\\\u0431\u0142.exe");
     }},
    {"TemporaryNames",
     [](UndoFixture& f) {
         const Text folder = f.machine.System().GetTempPathW();
         (void)f.files.MoveFileW(folder + u"sc0012.tmp", folder + u"parasite_sc");
         (void)f.files.MoveFileExW(folder + u"bkf0012.tmp", u"C:\\Tools\\other.txt");
     }},
    {"WriteFiles",
     [](UndoFixture&) {
         FileUtil::WriteTextFile(u"C:\\Tools\\new.txt", u"new");
         FileUtil::WriteTextFile(u"C:\\Tools\\other.txt", u"changed");
     }},
};

class EveryWork : public testing::TestWithParam<WorkRow> {};

TEST_P(EveryWork, IsTakenBackExactlyAndDoneAgain) {
    UndoFixture fixture;
    const std::string before = fixture.State();
    RecordId id = fixture.Record([&] { GetParam().work(fixture); });
    const std::string after = fixture.State();
    EXPECT_NE(after, before);
    for (const std::string& wanted : {before, after, before}) {
        const UndoResult result = TakeBack(id);
        EXPECT_TRUE(result.IsWhole()) << ToUtf8(ResultSentence(result));
        EXPECT_EQ(fixture.State(), wanted);
        ASSERT_GT(result.record, id);
        id = result.record;
    }
}

/// Lets the call fail in the work or in its undo; false if there were fewer calls.
bool FailsAndComesBack(Work work, bool isUndo, std::size_t call, FaultPlan::Lasting lasting) {
    UndoFixture fixture;
    const std::string before = fixture.State();
    if (isUndo) (void)fixture.Record([&] { work(fixture); });
    fixture.faulty.FailCall(call, lasting);
    try {
        if (isUndo) {
            (void)TakeBack(1);
        } else {
            (void)fixture.Record([&] { work(fixture); });
        }
    } catch (const RuntimeError&) {
        // Told, and nothing done.
    }
    const std::string failed = fixture.faulty.FailedCall();
    fixture.faulty.FailCall(0, lasting);
    SCOPED_TRACE((isUndo ? "undo, " : "work, ") + std::to_string(call) + ": " + failed);
    EXPECT_EQ(TakeAllBack(), "");
    EXPECT_EQ(fixture.State(), before);
    return !failed.empty() && !testing::Test::HasFailure();
}

TEST_P(EveryWork, IsTakenBackWhicheverCallFailed) {
    using enum FaultPlan::Lasting;
    for (const bool isUndo : {false, true}) {
        for (const auto lasting : {Once, FromThenOn}) {
            std::size_t call = 1;
            while (FailsAndComesBack(GetParam().work, isUndo, call, lasting)) call += EveryOne(47);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Undo, EveryWork, testing::ValuesIn(kWork),
                         [](const auto& tested) { return std::string(tested.param.label); });

/// The steps that didn't simply succeed, a line each.
std::string Trouble(const UndoResult& result) {
    std::string text;
    for (const UndoStep& step : result.steps) {
        if (step.outcome == Outcome::Done) continue;
        text += ToUtf8(OutcomeTitle(step.outcome)) + ": " + ToUtf8(PlaceOf(step.change)) + " [" +
                ToUtf8(step.before) + "|" + ToUtf8(step.after) + "|" + ToUtf8(step.now) + "] " +
                ToUtf8(step.error) + '\n';
    }
    return text;
}

TEST(TakeBack, TellsWhatElseHasChangedAndLeavesItUnlessForced) {
    const struct {
        const char* label;
        Work work;
        void (*meddle)(MemoryMachine&);
        std::string trouble;
        bool canBeForced = true;
    } rows[] = {
        {"value set to something else",
         [](UndoFixture& f) {
             (void)f.registry.RegSetValueExW(HKCU, kKey, u"v", MakeDwordValue(1));
         },
         [](MemoryMachine& m) { m.SetDword(HKCU, kKey, u"v", 2); },
         "conflict: HKEY_CURRENT_USER\\Software\\Odd Values\\v [|dword:00000001|dword:00000002] "
         "the value was set to something else\n"},
        {"key made again",
         [](UndoFixture&) {
             (void)RegistryAccess().DeleteKey(HKLM, u"Software\\Tree\\Mixed Name\\Deep");
         },
         [](MemoryMachine& m) {
             m.SetDword(HKLM, u"Software\\Tree\\Mixed Name\\Deep\\er", u"z", 2);
         },
         "already as before: HKEY_LOCAL_MACHINE\\Software\\Tree\\Mixed Name\\Deep [0 values||0 "
         "values] \n"
         "conflict: HKEY_LOCAL_MACHINE\\Software\\Tree\\Mixed Name\\Deep\\er [3 values||1 value] "
         "the key was made again with something else in it\n"},
        {"made key in use",
         [](UndoFixture& f) { (void)f.registry.RegSetValueExW(HKCU, u"Software\\Made", u"v", {}); },
         [](MemoryMachine& m) { m.SetDword(HKCU, u"Software\\Made", u"theirs", 2); },
         "conflict: HKEY_CURRENT_USER\\Software\\Made [|empty|not empty] "
         "the key holds something else now\n",
         false},
        {"name taken again",
         [](UndoFixture& f) {
             (void)f.files.MoveFileW(u"C:\\Tools\\other.txt", u"C:\\Tools\\away");
         },
         [](MemoryMachine& m) { m.AddFile(u"C:\\Tools\\other.txt", "theirs"); },
         "conflict: C:\\Tools\\other.txt "
         "[C:\\Tools\\other.txt|C:\\Tools\\away|C:\\Tools\\other.txt, "
         "C:\\Tools\\away] the name is taken by another file\n"},
        {"another file in its place",
         [](UndoFixture& f) {
             (void)f.files.MoveFileW(u"C:\\Tools\\other.txt", u"C:\\Tools\\away");
         },
         [](MemoryMachine& m) { m.AddFile(u"C:\\Tools\\away", "theirs"); },
         "conflict: C:\\Tools\\other.txt [C:\\Tools\\other.txt|C:\\Tools\\away|C:\\Tools\\away] "
         "there is another file in its place\n"},
        {"file gone",
         [](UndoFixture& f) {
             (void)f.files.MoveFileW(u"C:\\Tools\\other.txt", u"C:\\Tools\\away");
         },
         [](MemoryMachine& m) { (void)m.FileSystem().DeleteFileW(u"C:\\Tools\\away"); },
         "conflict: C:\\Tools\\other.txt [C:\\Tools\\other.txt|C:\\Tools\\away|] "
         "the file isn't there any more\n",
         false},
        {"other attributes",
         [](UndoFixture& f) {
             (void)f.files.SetFileAttributesW(u"C:\\Tools\\Mixed Case.dll", FileAttribute::Archive);
         },
         [](MemoryMachine& m) {
             (void)m.FileSystem().SetFileAttributesW(u"C:\\Tools\\Mixed Case.dll",
                                                     FileAttribute::ReadOnly);
         },
         "conflict: C:\\Tools\\Mixed Case.dll [hidden|archive|read-only] "
         "the file has other attributes now\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        UndoFixture fixture;
        const std::string before = fixture.State();
        const RecordId id = fixture.Record([&] { row.work(fixture); });
        row.meddle(fixture.machine);
        const std::string meddled = fixture.State();
        const UndoResult careful = TakeBack(id);
        EXPECT_EQ(Trouble(careful), row.trouble);
        EXPECT_FALSE(careful.IsWhole());
        if (careful.Count(Outcome::Done) == 0) EXPECT_EQ(fixture.State(), meddled);
        EXPECT_EQ(LastUndoable(ListUndoRecords()), id);
        const UndoResult forced = TakeBack(id, {.force = true});
        EXPECT_EQ(forced.IsWhole(), row.canBeForced) << Trouble(forced);
        if (row.canBeForced) EXPECT_NE(LastUndoable(ListUndoRecords()), id);
    }
}

TEST(TakeBack, ForcedMovesTheOtherFileAside) {
    UndoFixture fixture;
    const RecordId id = fixture.Record(
        [&] { (void)fixture.files.MoveFileW(u"C:\\Tools\\other.txt", u"C:\\Tools\\away"); });
    fixture.machine.AddFile(u"C:\\Tools\\other.txt", "theirs");
    EXPECT_TRUE(TakeBack(id, {.force = true}).IsWhole());
    EXPECT_EQ(FileUtil::ReadTextFile(u"C:\\Tools\\other.txt"), u"other");
    EXPECT_EQ(FileUtil::ReadTextFile(u"C:\\Tools\\other.txt.taken1"), u"theirs");
}

TEST(TakeBack, MakesAPartlyUndoneRecordWhole) {
    UndoFixture fixture;
    const std::string before = fixture.State();
    // As a cleanup does where a disabled file of an earlier one lies in the way.
    const RecordId id = fixture.Record([&] {
        (void)fixture.registry.RegSetValueExW(HKCU, kKey, u"v", MakeDwordValue(1));
        (void)fixture.files.MoveFileW(u"C:\\Tools\\other.txt", u"C:\\Tools\\aside");
        (void)fixture.files.MoveFileW(u"C:\\Tools\\Mixed Case.dll", u"C:\\Tools\\other.txt");
        (void)fixture.files.SetFileAttributesW(u"C:\\Tools\\aside", FileAttribute::Hidden);
        (void)fixture.files.DeleteFileW(u"C:\\Tools\\aside");
    });
    fixture.machine.SetDword(HKCU, kKey, u"v", 2);
    EXPECT_FALSE(TakeBack(id).IsWhole());
    const UndoResult forced = TakeBack(id, {.force = true});
    EXPECT_TRUE(forced.IsWhole()) << Trouble(forced);
    EXPECT_EQ(fixture.State(), before);
}

/// The 9x family keeps a text up to its first NUL, whatever was set.
TEST(TakeBack, KnowsATextThatTheFamilyCut) {
    for (const WindowsFamily family : {WindowsFamily::NT, WindowsFamily::Windows9x}) {
        UndoFixture fixture;
        fixture.machine.Facts() = MachineFacts(family);
        fixture.machine.SetString(HKCU, kKey, u"v", u"theirs");
        const RecordId id = fixture.Record([&] {
            (void)fixture.registry.RegSetValueExW(HKCU, kKey, u"v",
                                                  MakeStringValue(Text(260, u'\0')));
        });
        fixture.machine.SetString(HKCU, kKey, u"v", u"");
        EXPECT_EQ(TakeBack(id).IsWhole(), family == WindowsFamily::Windows9x);
    }
}

TEST(TakeBack, ListsWhatCannotBeUndone) {
    UndoFixture fixture;
    fixture.machine.AddProcess({77, u"C:\\Tools\\\u0431\u0142.exe", {}, false, false});
    const RecordId id = fixture.Record([&] {
        const auto opened = fixture.undo.ProcessTable().OpenProcess(ProcessAccess::All, 77);
        (void)fixture.undo.ProcessTable().TerminateProcess(opened.value, 0);
        (void)fixture.undo.Session().ExitWindowsEx(3, 0);
    });
    const UndoResult result = TakeBack(id);
    EXPECT_TRUE(result.IsWhole());
    EXPECT_EQ(Trouble(result),
              "can't be undone: Windows [||] \ncan't be undone: "
              "C:\\Tools\\\u0431\u0142.exe (77) [C:\\Tools\\\u0431\u0142.exe||] \n");
}

TEST(UndoMachine, ChangesNothingThatCannotBeKept) {
    for (std::size_t call = 1; call <= 12; ++call) {
        SCOPED_TRACE(call);
        UndoFixture fixture;
        FaultMachine full(fixture.machine);
        UndoMachine keeping(full, u"1.0.0");
        const std::string before = fixture.State();
        const RecordedOperation operation(UndoOperation::kCleanUp);
        full.FailCall(call, FaultPlan::Lasting::FromThenOn, SystemError::DiskFull);
        const Status set =
            keeping.RegistryKeys().RegSetValueExW(HKCU, kKey, u"v", MakeDwordValue(1));
        const Status moved =
            keeping.FileSystem().MoveFileW(u"C:\\Tools\\other.txt", u"C:\\Tools\\away");
        EXPECT_FALSE(moved.IsOk());
        if (!set.IsOk()) EXPECT_EQ(fixture.State(), before);
        if (full.FailedCall() == "WriteFile" || full.FailedCall() == "FlushFileBuffers") {
            EXPECT_EQ(keeping.Failure().code, SystemError::DiskFull);
            EXPECT_NE(WhyNotKept().find(u"can't be kept"), Text::npos);
        }
    }
}

TEST(UndoMachine, LeavesOutWhatChangesNothingAndItsOwnFiles) {
    UndoFixture fixture;
    const RecordId id = fixture.Record([&] {
        const auto value = fixture.registry.RegQueryValueExW(HKCU, kKey, fixture.names[1]);
        (void)fixture.registry.RegSetValueExW(HKCU, kKey, fixture.names[1], value.value);
        (void)fixture.registry.RegDeleteValueW(HKCU, kKey, u"none");
        (void)fixture.registry.RegDeleteKeyW(HKCU, u"Software\\None");
        (void)fixture.registry.RegDeleteKeyW(HKCU, u"Software");
        FileUtil::WriteTextFile(ProgramFolder() + u"\\BKFD.log", u"log");
        FileUtil::CreateFolder(ProgramFolder() + u"\\Backup");
        FileUtil::WriteTextFile(ProgramFolder() + u"\\Backup\\a.reg", u"backup");
    });
    EXPECT_EQ(id, 0u);
    EXPECT_TRUE(ListUndoRecords().empty());
}

TEST(UndoMachine, CountsARefusalUntilTheChangeIsMadeAfterAll) {
    constexpr TextView kFile = u"C:\\Tools\\other.txt";
    for (const bool isDeleted : {true, false}) {
        for (const bool isFreed : {true, false}) {
            UndoFixture fixture;
            const auto change = [&] {
                return isDeleted ? fixture.files.DeleteFileW(kFile)
                                 : fixture.files.MoveFileW(kFile, u"C:\\Tools\\away");
            };
            const std::string before = fixture.State();
            const RecordId id = fixture.Record([&] {
                fixture.machine.LockFile(kFile);
                EXPECT_FALSE(change().IsOk());
                if (isFreed) fixture.machine.UnlockFile(kFile);
                EXPECT_EQ(change().IsOk(), isFreed);
            });
            const UndoSummary summary = ListUndoRecords().front();
            EXPECT_EQ(ToUtf8(StateTitle(summary)), isFreed ? "complete" : "partly failed");
            EXPECT_EQ(summary.changes, isFreed ? 1u : 0u);
            fixture.machine.UnlockFile(kFile);
            EXPECT_TRUE(TakeBack(id).IsWhole());
            EXPECT_EQ(fixture.State(), before);
        }
    }
}

TEST(UndoRecords, AreListedByTheirStateAndForgottenOnDemand) {
    UndoFixture fixture;
    const auto set = [&](std::uint32_t number) {
        return fixture.Record([&] {
            (void)fixture.registry.RegSetValueExW(HKCU, kKey, u"v", MakeDwordValue(number));
            (void)fixture.files.DeleteFileW(u"C:\\Tools\\other.txt");
        });
    };
    set(1);
    const RecordId second = set(2);
    (void)TakeBack(second);
    const Text folder = UndoFolderPath(fixture.machine.System());
    fixture.machine.AddFile(folder + u"\\0007.undo", "a text");
    fixture.machine.AddFile(folder + u"\\8.undo", "no name of ours");
    std::string list;
    for (const UndoSummary& record : ListUndoRecords()) {
        list += std::to_string(record.id) + ' ' + ToUtf8(OperationTitle(record.operation)) + ' ' +
                std::to_string(record.changes) + ' ' + ToUtf8(StateTitle(record)) + '\n';
    }
    EXPECT_EQ(list,
              "7  0 not a record of this program\n3 Undo 1 complete\n2 Automatic cleanup 1 undone\n"
              "1 Automatic cleanup 2 complete\n");
    EXPECT_EQ(LastUndoable(ListUndoRecords()), 1u);
    EXPECT_THROW(TakeBack(7), RuntimeError);
    EXPECT_THROW(TakeBack(9), RuntimeError);
    ForgetRecord(1);
    EXPECT_FALSE(fixture.machine.HasFile(folder + u"\\0001.undo"));
    EXPECT_FALSE(fixture.machine.HasFile(folder + u"\\0001-3.kept"));
    EXPECT_EQ(LastUndoable(ListUndoRecords()), std::nullopt);
}

TEST(UndoExport, TellsWhatWasThere) {
    UndoFixture fixture;
    const RecordId id = fixture.Record([&] {
        (void)fixture.registry.RegSetValueExW(HKCU, kKey, u"v", MakeDwordValue(1));
        (void)fixture.registry.RegSetValueExW(HKCU, kKey, u"v", MakeDwordValue(2));
        (void)fixture.registry.RegSetValueExW(HKCU, kKey, u"", MakeDwordValue(2));
        (void)fixture.registry.RegSetValueExW(HKCU, u"Software\\New", u"n", MakeDwordValue(2));
        (void)RegistryAccess().DeleteKey(HKLM, u"Software\\Tree\\Mixed Name\\Deep");
        // It was there and empty, so it isn't new.
        (void)fixture.registry.RegSetValueExW(HKLM, u"Software\\Tree\\Mixed Name\\Deep", u"n",
                                              MakeDwordValue(2));
    });
    EXPECT_EQ(
        ToUtf8(ExportBefore(ReadRecord(id))),
        "Windows Registry Editor Version 5.00\r\n\r\n"
        "; No export can name this value: HKEY_LOCAL_MACHINE\\Software\\Tree\\Mixed Name\\Deep"
        "\\er, Val ue\r\n\r\n"
        "[HKEY_CURRENT_USER\\Software\\Odd Values]\r\n\"v\"=-\r\n@=\"default\"\r\n\r\n"
        "[-HKEY_CURRENT_USER\\Software\\New]\r\n\r\n"
        "[HKEY_LOCAL_MACHINE\\Software\\Tree\\Mixed Name\\Deep\\er]\r\n\"z\"=\"1\"\r\n"
        "\"A\"=\"2\"\r\n\r\n[HKEY_LOCAL_MACHINE\\Software\\Tree\\Mixed "
        "Name\\Deep]\r\n\"n\"=-\r\n\r\n");
}

}  // namespace
}  // namespace bkfd
