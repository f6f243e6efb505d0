#include "platform/RootNames.h"
#include "removal/CPaRemover.h"

#include <gtest/gtest.h>

#include <optional>

#include "HijackedMachine.h"
#include "RemovalBench.h"
#include "base/RuntimeError.h"
#include "resources/StringTable.h"

namespace bkfd {
namespace {

using enum MessageResult;

constexpr char16_t kStampKey[] = u"Software\\Tarnwick Labs\\Brackenfold\\Current Version";
constexpr char16_t kStampName[] = u"PaRemover Cleanup Time";
constexpr char kUnexpected[] = "Unexpected error. Please use 'Contact Support' tab to report. ";

CPaRemover MakeRemover(RemovalBench& bench) {
    CPaRemover remover;
    remover.Init(bench.log);
    return remover;
}

Text StampOf(RemovalBench& bench) {
    return bench.machine.GetString(HKCU, kStampKey, kStampName);
}

/// "style number" of a string of the table as a message.
std::string Question(int style, int number) {
    return std::to_string(style) + ' ' + ToUtf8(ResourceString(number)) + '\n';
}

bool Logged(const RemovalBench& bench, const std::string& line) {
    return bench.log->text.find(line) != std::string::npos;
}

TEST(Check, FindsFilesAndHelperObjectsAndChangesNothing) {
    struct Row {
        const char* label;
        void (*prepare)(MemoryMachine& machine);
        std::int16_t found;
    };
    const Row rows[] = {
        {"clean", [](MemoryMachine&) {}, 0},
        {"everything", [](MemoryMachine& machine) { Hijack(machine); }, -1},
        {"a dead helper object alone",
         [](MemoryMachine& machine) {
             machine.AddKey(RegistryRoot::LocalMachine, Text(kHelperObjects) + kDeadClsid);
         },
         -1},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.label);
        RemovalBench bench;
        row.prepare(bench.machine);
        const std::string before = bench.machine.Dump();
        CPaRemover remover = MakeRemover(bench);
        remover.ParasitesFound = 5;
        remover.Check();
        EXPECT_EQ(remover.ParasitesFound, row.found);
        EXPECT_EQ(bench.machine.Dump(), before);
        EXPECT_TRUE(bench.log->text.ends_with(row.found ? "5 CPaRemover.Check: True\n"
                                                        : "5 CPaRemover.Check: False\n"));
    }
}

struct Decision {
    const char* label;
    bool found;
    std::optional<int> stampAge;  // seconds from the stamped boot to this one; none: no stamp
    std::vector<MessageResult> answers;
    std::vector<std::pair<int, int>> messages;  // style and number
    bool stampStays;
    bool cleansUp = false;
    bool restarts = false;
};

const Decision kDecisions[] = {
    {"found, no stamp, OK", true, {}, {Ok, Cancel}, {{49, 150}, {65, 153}}, false, true},
    {"found, no stamp, Cancel", true, {}, {Cancel}, {{49, 150}}, false},
    {"found, same boot, OK", true, 0, {Ok, Cancel}, {{49, 149}, {65, 153}}, true, true},
    {"found, same boot, Cancel", true, 0, {Cancel}, {{49, 149}}, false},
    {"found, other boot: no second offer", true, 3600, {}, {}, true},
    {"nothing, no stamp", false, {}, {}, {}, false},
    {"nothing, same boot, OK", false, 0, {Ok}, {{49, 151}}, true, false, true},
    {"nothing, same boot, Cancel", false, 0, {Cancel}, {{49, 151}}, false},
    {"nothing, other boot", false, 3600, {}, {}, false},
    {"just under 2 minutes", false, 119, {Cancel}, {{49, 151}}, false},
    {"2 minutes", true, 120, {}, {}, true},
    {"2 minutes the other way", true, -120, {}, {}, true},
    {"just under 2 minutes the other way", false, -119, {Cancel}, {{49, 151}}, false},
};

TEST(Perform, DecidesByTheTable) {
    for (const Decision& row : kDecisions) {
        SCOPED_TRACE(row.label);
        RemovalBench bench;
        if (row.stampAge) {
            bench.machine.SetString(HKCU, kStampKey, kStampName,
                                    DateToText(AddSeconds(GetBootTime(), -*row.stampAge)));
        }
        for (const MessageResult answer : row.answers) bench.toolkit.Answer({answer});
        CPaRemover remover = MakeRemover(bench);
        remover.ParasitesFound = row.found ? -1 : 0;

        const bool ended = EndsProgram([&] { remover.Perform(); });

        std::string messages;
        for (const auto& [style, number] : row.messages) messages += Question(style, number);
        EXPECT_EQ(bench.Messages(), messages);
        EXPECT_EQ(!StampOf(bench).empty(), row.stampStays);
        EXPECT_EQ(Logged(bench, "CleanUp started"), row.cleansUp);
        EXPECT_EQ(ended, row.restarts);
        EXPECT_EQ(bench.machine.RestartCount(), row.restarts ? 1 : 0);
    }
}

TEST(Perform, TwoMinutesAreTwoMinutesAtAnyTime) {
    for (std::uint32_t second = 0; second < 200; ++second) {
        RemovalBench bench;
        bench.machine.SetNow(AddSeconds(ToDate({2026, 11, 16, 9, 0, 0, 0}), second * 7919));
        bench.machine.SetString(HKCU, kStampKey, kStampName,
                                DateToText(AddSeconds(GetBootTime(), -120)));
        MakeRemover(bench).Perform();
        EXPECT_EQ(StampOf(bench), u"") << second;
    }
}

TEST(Perform, InvalidStampIsReportedAtEachStartAndStays) {
    for (const char16_t* stamp : {u"*", u"AAAA"}) {
        RemovalBench bench;
        bench.machine.SetString(HKCU, kStampKey, kStampName, stamp);
        bench.toolkit.Answer({Ok, Ok});
        MakeRemover(bench).Perform();
        MakeRemover(bench).Perform();
        ASSERT_EQ(bench.toolkit.Messages().size(), 2U);
        EXPECT_TRUE(ToUtf8(bench.toolkit.Messages()[1].prompt).starts_with(kUnexpected));
        EXPECT_EQ(bench.toolkit.Messages()[1].style, 48);
        EXPECT_TRUE(Logged(bench, " 0 CPaRemover.Perform: ")) << bench.log->text;
        EXPECT_EQ(StampOf(bench), stamp);
    }
}

TEST(Perform, RefusedRestartIsShownAndEndsTheProgramToo) {
    RemovalBench bench;
    bench.machine.DenyRestart();
    bench.machine.SetString(HKCU, kStampKey, kStampName, DateToText(GetBootTime()));
    bench.toolkit.Answer({Ok, Ok});
    CPaRemover remover = MakeRemover(bench);
    EXPECT_TRUE(EndsProgram([&] { remover.Perform(); }));
    const std::string refusal =
        "A required privilege is not held by the client. Please restart Windows manually.\n";
    EXPECT_EQ(bench.Messages(), Question(49, 151) + "48 " + refusal);
    EXPECT_EQ(bench.log->text, "0 CPaRemover.Perform: " + refusal);
    EXPECT_NE(StampOf(bench), u"");
}

// The order of the steps is what keeps parasites from restoring one another.
constexpr char kWholeCleanUp[] = R"(5 CPaRemover.CleanUp: CleanUp started
5 CPaDetector.DetectParasites: RunningStartupNonamer found: c:\nonamer.exe
5 CPaDetector.DetectParasites: RunningStartupNonamer found: c:\бад32.exe
5 CPaDetector.DetectParasites: Running parasite module: c:\windows\notes.txt:s.dll
5 CPaDetector.DetectParasites: Running parasite module: c:\temp\b.tmp
5 CPaDetector.DetectParasites: Running parasite process: c:\temp\a.tmp.exe
5 : Deleting BHO({11111111-1111-1111-1111-111111111111})
5 : Deleting BHO({22222222-2222-2222-2222-222222222222})
5 CStartupManager.RemoveItemInfo: Deleted: 'HKEY_LOCAL_MACHINE\SOFTWARE\Microsoft\Windows\CurrentVersion\Run', 'foreign', 'C:\бад32.exe'
5 CProcessManager.RenameFileNT: File renamed sucessfullly: 'C:\WINDOWS\helper.dll', (5, 1610612951)
5 CProcessManager.RenameFileNT: File renamed sucessfullly: 'c:\nonamer.exe', (5, 1610612951)
5 CProcessManager.RenameFileNT: File renamed sucessfullly: 'c:\бад32.exe', (5, 1610612951)
5 CProcessManager.RenameParasiteFile: Converting filename 'c:\windows\notes.txt:s.dll' -> 'c:\windows\notes.txt'
5 CProcessManager.RenameFileNT: File renamed sucessfullly: 'c:\windows\notes.txt', (5, 1610612951)
5 CProcessManager.RenameFileNT: File renamed sucessfullly: 'c:\temp\b.tmp', (5, 1610612951)
5 CProcessManager.RenameFileNT: File renamed sucessfullly: 'c:\temp\a.tmp.exe', (5, 1610612951)
5 CProcessManager.RenameParasiteFilesEx: FilesToPostDelete.Count=0
5 CProcessManager.MyTerminateProcess: Process for file '8' terminated successfully. 
5 CProcessManager.MyTerminateProcess: Process for file '12' terminated successfully. 
5 CProcessManager.MyTerminateProcess: Process for file '16' terminated successfully. 
5 CProcessManager.MyTerminateProcess: Process for file '20' terminated successfully. 
5 CPaRemover.RestoreConfigurationSettings: Restoring all configuration settings
)";

TEST(CleanUp, RemovesRepairsStampsAndRestarts) {
    RemovalBench bench;
    Hijack(bench.machine);
    bench.toolkit.Answer({Ok});
    const Text stamp = DateToText(GetBootTime());
    CPaRemover remover = MakeRemover(bench);

    EXPECT_TRUE(EndsProgram([&] { remover.CleanUp(); }));

    EXPECT_EQ(bench.log->text, kWholeCleanUp);
    EXPECT_EQ(bench.Messages(), Question(65, 153));
    EXPECT_EQ(StampOf(bench), stamp);
    EXPECT_EQ(bench.machine.RestartCount(), 1);
    for (const char16_t* parasite : kParasites)
        EXPECT_FALSE(bench.machine.HasFile(parasite)) << ToUtf8(parasite);
    EXPECT_EQ(bench.machine.DumpProcesses(), "");
    EXPECT_EQ(bench.machine.GetString(RegistryRoot::LocalMachine, kRun, u"nonamer"),
              u"C:\\nonamer.exe -q");
    EXPECT_FALSE(bench.machine.HasValue(RegistryRoot::LocalMachine, kRun, u"foreign"));

    // The next start finds nothing, and a start after the restart forgets the stamp.
    bench.log->text.clear();
    remover.Check();
    EXPECT_TRUE(Logged(bench, "CPaRemover.Check: False"));
    remover.Perform();
    EXPECT_EQ(StampOf(bench), u"");
}

TEST(CleanUp, CancelLeavesNoStampAndTheDefaultPointer) {
    RemovalBench bench;
    Hijack(bench.machine);
    bench.toolkit.Answer({Cancel});
    EXPECT_FALSE(EndsProgram([&] { MakeRemover(bench).CleanUp(); }));
    EXPECT_EQ(StampOf(bench), u"");
    EXPECT_EQ(bench.machine.RestartCount(), 0);
    EXPECT_EQ(bench.toolkit.CurrentPointer(), Pointer::Default);
    EXPECT_EQ(bench.machine.GetString(HKCU, kMainKey, u"Start Page"), u"about:blank");
}

TEST(CleanUp, OnACleanMachineStillRepairs) {
    RemovalBench bench;
    bench.machine.SetString(HKCU, kMainKey, u"Start Page", u"http://hijacked/");
    bench.toolkit.Answer({Cancel});
    MakeRemover(bench).CleanUp();
    EXPECT_EQ(bench.machine.GetString(HKCU, kMainKey, u"Start Page"), u"about:blank");
    EXPECT_EQ(bench.Messages(), Question(65, 153));
}

TEST(CleanUp, OwnProcessAmongTheVictimsEndsBeforeTheRepair) {
    RemovalBench bench;
    Hijack(bench.machine, {u"C:\\WINDOWS\\helper.dll"});
    bench.toolkit.Answer({Ok});
    EXPECT_TRUE(EndsProgram([&] { MakeRemover(bench).CleanUp(); }));
    ASSERT_EQ(bench.toolkit.Messages().size(), 1U);
    EXPECT_TRUE(ToUtf8(bench.toolkit.Messages()[0].prompt).starts_with("Operation complete; term"));
    EXPECT_EQ(bench.machine.DumpProcesses(), "");
    EXPECT_EQ(bench.machine.GetString(HKCU, kMainKey, u"Start Page"), u"http://hijacked/");
    EXPECT_EQ(StampOf(bench), u"");
    EXPECT_EQ(bench.machine.RestartCount(), 0);
}

TEST(CleanUp, RefusedRestartAndRefusedStampAreLogged) {
    RemovalBench bench;
    bench.machine.DenyRestart();
    bench.machine.DenyWrite(HKCU, kStampKey);
    bench.toolkit.Answer({Ok, Ok});
    EXPECT_TRUE(EndsProgram([&] { MakeRemover(bench).CleanUp(); }));
    EXPECT_TRUE(Logged(bench,
                       "0 CPaRemover.CleanUp: Cannot write the cleanup stamp. Access is denied.\n"
                       "0 CPaRemover.CleanUp: A required privilege is not held by the client. "
                       "Please restart Windows manually.\n"));
}

/// Fails at one question.
class FailingToolkit final : public HeadlessToolkit {
  public:
    MessageResult ShowMessageBox(const Text& prompt, int style, const Text& title) override {
        if (prompt == ResourceString(153)) throw RuntimeError(7, u"Out of memory");
        return HeadlessToolkit::ShowMessageBox(prompt, style, title);
    }
};

TEST(CleanUp, FailureIsLoggedShownAndEndsNothing) {
    RemovalBench bench;
    FailingToolkit toolkit;
    Toolkit* previous = InstallToolkit(&toolkit);
    toolkit.Answer({Ok});
    EXPECT_FALSE(EndsProgram([&] { MakeRemover(bench).CleanUp(); }));
    InstallToolkit(previous);
    ASSERT_EQ(toolkit.Messages().size(), 1U);
    EXPECT_EQ(ToUtf8(toolkit.Messages()[0].prompt), std::string(kUnexpected) + "Out of memory");
    EXPECT_EQ(toolkit.Messages()[0].style, 48);
    EXPECT_EQ(toolkit.CurrentPointer(), Pointer::Default);
    EXPECT_TRUE(Logged(bench, "7 0 CPaRemover.CleanUp: Out of memory\n"));
    EXPECT_EQ(StampOf(bench), u"");
}

}  // namespace
}  // namespace bkfd
