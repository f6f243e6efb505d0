#include "removal/CPaRemover.h"

#include <gtest/gtest.h>

#include <optional>

#include "base/RuntimeError.h"
#include "common/BrowserKeys.h"
#include "common/RemovalFixture.h"
#include "resources/StringTable.h"

namespace bkfd {
namespace {

using enum MessageResult;

constexpr char16_t kStampKey[] = u"Software\\Tarnwick Labs\\Brackenfold\\Current Version";
constexpr char16_t kStampName[] = u"PaRemover Cleanup Time";
constexpr char kUnexpected[] = "Unexpected error. Please use 'Contact Support' tab to report. ";

/// The files that `Hijack` adds, all of which a cleanup disables.
constexpr const char16_t* kParasites[] = {u"C:\\WINDOWS\\helper.dll", u"C:\\WINDOWS\\notes.txt",
                                          u"C:\\nonamer.exe",         u"C:\\бад32.exe",
                                          u"C:\\TEMP\\a.tmp.exe",     u"C:\\TEMP\\b.tmp"};

/// A parasite at every place where one shows itself: a helper object in a file without a company
/// and a dead one, a startup item that runs, a program and a module with names of temporary files,
/// a stream, a name outside the code page, and the browser's settings. The program itself runs too,
/// with modules of the caller's choice.
void Hijack(MemoryMachine& machine, std::vector<Text> ownModules = {}) {
    AddHelperObject(machine, kFirstClsid, u"Helper", u"C:\\WINDOWS\\helper.dll");
    AddHelperObject(machine, kSecondClsid, u"");
    machine.SetString(HKLM, kRun, u"nonamer", u"C:\\nonamer.exe -q");
    machine.SetString(HKLM, kRun, u"foreign", u"C:\\бад32.exe");
    machine.SetString(HKCU, kMainKey, u"Start Page", u"http://hijacked/");
    for (const char16_t* file : kParasites) machine.AddFile(file, "bytes");
    machine.AddFile(u"C:\\WINDOWS\\explorer.exe", "bytes");
    machine.AddProcess({4, u"C:\\Program Files\\Brackenfold\\Brackenfold.exe",
                        std::move(ownModules), false, true});
    machine.AddProcess({8,
                        u"C:\\WINDOWS\\explorer.exe",
                        {u"C:\\WINDOWS\\helper.dll", u"C:\\WINDOWS\\notes.txt:s.dll"}});
    machine.AddProcess({12, u"C:\\NONAMER.EXE", {u"C:\\TEMP\\b.tmp"}});
    machine.AddProcess({16, u"C:\\TEMP\\A.TMP.EXE", {}});
    machine.AddProcess({20, u"C:\\бад32.exe", {}});
}

/// "style number" of a string of the table as a message.
std::string Question(int style, StringId string) {
    return std::to_string(style) + ' ' + ToUtf8(ResourceString(string)) + '\n';
}

struct Fixture : RemovalFixture {
    Fixture() { remover.Init(log); }

    Text Stamp() { return machine.GetString(HKCU, kStampKey, kStampName); }
    void SetStamp(const Text& stamp) { machine.SetString(HKCU, kStampKey, kStampName, stamp); }
    bool CleanUpEndsProgram() {
        return EndsProgram([this] { remover.CleanUp(); });
    }

    CPaRemover remover;
};

TEST(Check, FindsFilesAndHelperObjectsAndChangesNothing) {
    const struct {
        const char* label;
        void (*prepare)(MemoryMachine& machine);
        std::int16_t found;
    } rows[] = {
        {"clean", [](MemoryMachine&) {}, 0},
        {"everything", [](MemoryMachine& machine) { Hijack(machine); }, -1},
        {"a dead helper object alone",
         [](MemoryMachine& machine) { AddHelperObject(machine, kFirstClsid, u""); }, -1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        Fixture fixture;
        row.prepare(fixture.machine);
        const std::string before = Dump(fixture.machine);
        fixture.remover.ParasitesFound = 5;
        fixture.remover.Check();
        EXPECT_EQ(fixture.remover.ParasitesFound, row.found);
        EXPECT_EQ(Dump(fixture.machine), before);
        EXPECT_TRUE(fixture.log->text.ends_with(row.found ? "5 CPaRemover.Check: True\n"
                                                          : "5 CPaRemover.Check: False\n"));
    }
}

struct Decision {
    const char* label;
    bool found;
    std::optional<int> stampAge;  // seconds from the stamped boot to this one; none: no stamp
    std::vector<MessageResult> answers;
    std::vector<std::pair<int, StringId>> messages;  // with their styles
    bool stampStays;
    bool cleansUp = false;
    bool restarts = false;
};

const Decision kDecisions[] = {
    {"found, no stamp, OK",
     true,
     {},
     {Ok, Cancel},
     {{49, StringId::ParasitesFound}, {65, StringId::CleanUpComplete}},
     false,
     true},
    {"found, no stamp, Cancel", true, {}, {Cancel}, {{49, StringId::ParasitesFound}}, false},
    {"found, same boot, OK",
     true,
     0,
     {Ok, Cancel},
     {{49, StringId::ParasitesStillFound}, {65, StringId::CleanUpComplete}},
     true,
     true},
    {"found, same boot, Cancel", true, 0, {Cancel}, {{49, StringId::ParasitesStillFound}}, false},
    {"found, other boot: no second offer", true, 3600, {}, {}, true},
    {"nothing, no stamp", false, {}, {}, {}, false},
    {"nothing, same boot, OK",
     false,
     0,
     {Ok},
     {{49, StringId::RestartStillNeeded}},
     true,
     false,
     true},
    {"nothing, same boot, Cancel", false, 0, {Cancel}, {{49, StringId::RestartStillNeeded}}, false},
    {"nothing, other boot", false, 3600, {}, {}, false},
    {"just under 2 minutes", false, 119, {Cancel}, {{49, StringId::RestartStillNeeded}}, false},
    {"2 minutes", true, 120, {}, {}, true},
    {"2 minutes the other way", true, -120, {}, {}, true},
    {"just under 2 minutes the other way",
     false,
     -119,
     {Cancel},
     {{49, StringId::RestartStillNeeded}},
     false},
};

TEST(Perform, DecidesByTheTable) {
    for (const Decision& row : kDecisions) {
        SCOPED_TRACE(row.label);
        Fixture fixture;
        if (row.stampAge) {
            fixture.SetStamp(DateToText(AddSeconds(GetBootTime(), -*row.stampAge)));
        }
        for (const MessageResult answer : row.answers) fixture.toolkit.Answer({answer});
        fixture.remover.ParasitesFound = row.found ? -1 : 0;

        const bool ended = EndsProgram([&] { fixture.remover.Perform(); });

        std::string messages;
        for (const auto& [style, string] : row.messages) messages += Question(style, string);
        EXPECT_EQ(fixture.Messages(), messages);
        EXPECT_EQ(!fixture.Stamp().empty(), row.stampStays);
        EXPECT_EQ(fixture.Logged("CleanUp started"), row.cleansUp);
        EXPECT_EQ(ended, row.restarts);
        EXPECT_EQ(fixture.machine.RestartCount(), row.restarts ? 1 : 0);
    }
}

TEST(Perform, TwoMinutesAreTwoMinutesAtAnyTime) {
    for (std::uint32_t second = 0; second < 200; ++second) {
        Fixture fixture;
        fixture.machine.SetNow(AddSeconds(ToDate({2026, 11, 16, 9, 0, 0, 0}), second * 7919));
        fixture.SetStamp(DateToText(AddSeconds(GetBootTime(), -120)));
        fixture.remover.Perform();
        EXPECT_EQ(fixture.Stamp(), u"") << second;
    }
}

TEST(Perform, InvalidStampIsReportedAtEachStartAndStays) {
    for (const char16_t* stamp : {u"*", u"AAAA"}) {
        Fixture fixture;
        fixture.SetStamp(stamp);
        fixture.toolkit.Answer({Ok, Ok});
        fixture.remover.Perform();
        fixture.remover.Perform();
        ASSERT_EQ(fixture.toolkit.Messages().size(), 2U);
        EXPECT_TRUE(ToUtf8(fixture.toolkit.Messages()[1].prompt).starts_with(kUnexpected));
        EXPECT_EQ(fixture.toolkit.Messages()[1].style, 48);
        EXPECT_TRUE(fixture.Logged(" 0 CPaRemover.Perform: ")) << fixture.log->text;
        EXPECT_EQ(fixture.Stamp(), stamp);
    }
}

TEST(Perform, RefusedRestartIsShownAndEndsTheProgramToo) {
    Fixture fixture;
    fixture.machine.DenyRestart();
    fixture.SetStamp(DateToText(GetBootTime()));
    fixture.toolkit.Answer({Ok, Ok});
    EXPECT_TRUE(EndsProgram([&] { fixture.remover.Perform(); }));
    const std::string refusal =
        "A required privilege is not held by the client. Please restart Windows manually.\n";
    EXPECT_EQ(fixture.Messages(), Question(49, StringId::RestartStillNeeded) + "48 " + refusal);
    EXPECT_EQ(fixture.log->text, "0 CPaRemover.Perform: " + refusal);
    EXPECT_NE(fixture.Stamp(), u"");
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
    Fixture fixture;
    Hijack(fixture.machine);
    fixture.toolkit.Answer({Ok});
    const Text stamp = DateToText(GetBootTime());
    EXPECT_TRUE(fixture.CleanUpEndsProgram());
    EXPECT_EQ(fixture.log->text, kWholeCleanUp);
    EXPECT_EQ(fixture.Messages(), Question(65, StringId::CleanUpComplete));
    EXPECT_EQ(fixture.Stamp(), stamp);
    EXPECT_EQ(fixture.machine.RestartCount(), 1);
    for (const char16_t* parasite : kParasites) {
        EXPECT_FALSE(fixture.machine.HasFile(parasite)) << ToUtf8(parasite);
    }
    EXPECT_TRUE(fixture.machine.HasFile(u"C:\\WINDOWS\\explorer.exe"));
    EXPECT_EQ(DumpProcesses(fixture.machine), "");
    EXPECT_TRUE(fixture.machine.HasValue(HKLM, kRun, u"nonamer"));
    EXPECT_FALSE(fixture.machine.HasValue(HKLM, kRun, u"foreign"));

    // The next start finds nothing, and a start after the restart forgets the stamp.
    fixture.log->text.clear();
    fixture.remover.Check();
    EXPECT_TRUE(fixture.Logged("CPaRemover.Check: False"));
    fixture.remover.Perform();
    EXPECT_EQ(fixture.Stamp(), u"");
}

TEST(CleanUp, RepairsAndRestartsNothingWhenCancelled) {
    for (const bool isHijacked : {true, false}) {
        SCOPED_TRACE(isHijacked);
        Fixture fixture;
        if (isHijacked) Hijack(fixture.machine);
        fixture.machine.SetString(HKCU, kMainKey, u"Start Page", u"http://hijacked/");
        fixture.toolkit.Answer({Cancel});
        EXPECT_FALSE(fixture.CleanUpEndsProgram());
        EXPECT_EQ(fixture.Messages(), Question(65, StringId::CleanUpComplete));
        EXPECT_EQ(fixture.Stamp(), u"");
        EXPECT_EQ(fixture.machine.RestartCount(), 0);
        EXPECT_EQ(fixture.toolkit.CurrentPointer(), Pointer::Default);
        EXPECT_EQ(fixture.machine.GetString(HKCU, kMainKey, u"Start Page"), u"about:blank");
    }
}

TEST(CleanUp, OwnProcessAmongTheVictimsEndsBeforeTheRepair) {
    Fixture fixture;
    Hijack(fixture.machine, {u"C:\\WINDOWS\\helper.dll"});
    fixture.toolkit.Answer({Ok});
    EXPECT_TRUE(fixture.CleanUpEndsProgram());
    ASSERT_EQ(fixture.toolkit.Messages().size(), 1U);
    EXPECT_TRUE(
        ToUtf8(fixture.toolkit.Messages()[0].prompt).starts_with("Operation complete; term"));
    EXPECT_EQ(DumpProcesses(fixture.machine), "");
    EXPECT_EQ(fixture.machine.GetString(HKCU, kMainKey, u"Start Page"), u"http://hijacked/");
    EXPECT_EQ(fixture.Stamp(), u"");
    EXPECT_EQ(fixture.machine.RestartCount(), 0);
}

TEST(CleanUp, RefusedRestartAndRefusedStampAreLogged) {
    Fixture fixture;
    fixture.machine.DenyRestart();
    fixture.machine.DenyWrite(HKCU, kStampKey);
    fixture.toolkit.Answer({Ok, Ok});
    EXPECT_TRUE(fixture.CleanUpEndsProgram());
    EXPECT_TRUE(
        fixture.Logged("0 CPaRemover.CleanUp: Cannot write the cleanup stamp. Access is denied.\n"
                       "0 CPaRemover.CleanUp: A required privilege is not held by the client. "
                       "Please restart Windows manually.\n"));
}

/// Fails at one question.
class FailingToolkit final : public HeadlessToolkit {
  public:
    MessageResult ShowMessageBox(const Text& prompt, int style, const Text& title) override {
        if (prompt == ResourceString(StringId::CleanUpComplete)) {
            throw RuntimeError(7, u"Out of memory");
        }
        return HeadlessToolkit::ShowMessageBox(prompt, style, title);
    }
};

TEST(CleanUp, FailureIsLoggedShownAndEndsNothing) {
    Fixture fixture;
    FailingToolkit toolkit;
    Toolkit* previous = InstallToolkit(&toolkit);
    toolkit.Answer({Ok});
    EXPECT_FALSE(fixture.CleanUpEndsProgram());
    InstallToolkit(previous);
    ASSERT_EQ(toolkit.Messages().size(), 1U);
    EXPECT_EQ(ToUtf8(toolkit.Messages()[0].prompt), std::string(kUnexpected) + "Out of memory");
    EXPECT_EQ(toolkit.Messages()[0].style, 48);
    EXPECT_EQ(toolkit.CurrentPointer(), Pointer::Default);
    EXPECT_TRUE(fixture.Logged("7 0 CPaRemover.CleanUp: Out of memory\n"));
    EXPECT_EQ(fixture.Stamp(), u"");
}

TEST(CleanUp, TellsAUserWithoutRightsFirst) {
    Fixture fixture;
    Hijack(fixture.machine);
    fixture.machine.Facts().isAdministrator = false;
    const std::string before = Dump(fixture.machine);
    fixture.toolkit.Answer({Cancel});
    fixture.remover.CleanUp();
    EXPECT_EQ(Dump(fixture.machine), before);
    EXPECT_EQ(fixture.Messages(), Question(49, StringId::AskWithoutRights));
    fixture.toolkit.Answer({Ok, Cancel});
    fixture.remover.CleanUp();
    EXPECT_NE(Dump(fixture.machine), before);
}

}  // namespace
}  // namespace bkfd
