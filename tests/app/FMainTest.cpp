#include <gtest/gtest.h>

#include "StartedProgram.h"
#include "common/BrowserKeys.h"
#include "testing/Describe.h"
#include "testing/MachineDump.h"
#include "ui/Keys.h"

namespace bkfd {
namespace {

using enum MessageResult;

constexpr char kQuestion[] = "49 Are you sure you want to start automatic parasite cleanup?\n";
const std::string kStateEntry =
    "5 FMain.LogTabState: Setting: OK, 'User's style sheet is enabled', 'No'\n";

constexpr char16_t kSparedFile[] = u"C:\\pcshared\\nmiehelp.dll";

/// The selected tab and the panels that are visible, such as "2 ucBHO1".
std::string TabState(StartedProgram& it) {
    std::string state = std::to_string(it.Find<TabStrip>(u"ts").SelectedIndex());
    for (const TextView panel : {u"ucHelp1", u"ucBHO1", u"ucCS1", u"ucSupport1"}) {
        if (it.Find<Panel>(panel).Visible()) state += ' ' + ToUtf8(panel);
    }
    return state;
}

TEST(FMain, IsShownAfterTheStartUpAndDescribesTheMachine) {
    StartedProgram it;
    AddHelperObject(it.machine, kFirstClsid, u"It's & 'it'", kSparedFile);
    FMain& main = it.Start();
    EXPECT_EQ(it.log->text,
              "5 CPaRemover.Check: False\n"
              "5 FMain.LogTabState: BHO: {11111111-1111-1111-1111-111111111111}, 'It's  'it'', "
              "'C:\\pcshared\\nmiehelp.dll'\n" +
                  kStateEntry);
    EXPECT_TRUE(it.machine.HasFile(
        u"C:\\Program Files\\Brackenfold\\Backup\\Backup Nov 16, 2026 09-39-04.reg"));
    EXPECT_TRUE(it.toolkit.Messages().empty());
    const std::string shown = Describe(main);
    EXPECT_TRUE(shown.starts_with(
        "form FMain \"Brackenfold\"\n"
        "  menu mnuFile \"&File\"\n    menu mnuRefresh \"&Refresh\"\n    -\n"
        "    menu mnuExit \"&Exit\"\n"
        "  menu mnuTools \"&Tools\"\n    menu mnuBackup \"&Backup Current Settings\"\n"
        "    menu mnuRestore \"&Restore...\"\n    -\n"
        "    menu mnuSafeRemover \"&Safe Remover...\"\n"
        "    menu mnuRestoreDisabledFiles \"Restore Removed &Programs...\"\n"
        "    menu mnuUndoChanges \"&Undo Changes...\"\n"
        "    menu mnuIgnoreList \"&Ignore List...\"\n"
        "  menu mnuHelp \"&Help\"\n    menu mnuVisitWebsite \"Brackenfold &Home Page\"\n    -\n"
        "    menu mnuAbout \"&About Brackenfold...\"\n"
        "  tabs ts (focus)\n    > help \"Help\"\n"
        "      BHO \"Step 1. Remove Browser Helper Objects\"\n"
        "      CS \"Step 2. Restore Configuration Settings\"\n"
        "      Support \"Step 3. Contact Support\"\n"
        "  panel ucHelp1\n    label lblDescr \"Brackenfold is a powerful tool to get rid of"))
        << shown;
    EXPECT_NE(shown.find("  label lblCopyright \"The latest version of Brackenfold is always "
                         "available at http://www.tarnwick.example/brackenfold/\"\n"),
              std::string::npos);
}

TEST(FMain, TabsFollowClicksAndKeys) {
    StartedProgram it;
    FMain& main = it.Start();
    const struct {
        const char* label;
        int key;
        int shift;
        const char* state;
    } rows[] = {
        {"forward", Key::Tab, Shift::Control, "2 ucBHO1"},
        {"forward with Alt", Key::Tab, Shift::Control | Shift::Alt, "3 ucCS1"},
        {"back", Key::Tab, Shift::Control | Shift::Shift, "2 ucBHO1"},
        {"back", Key::Tab, Shift::Control | Shift::Shift, "1 ucHelp1"},
        {"back from the first", Key::Tab, Shift::Control | Shift::Shift, "4 ucSupport1"},
        {"forward from the last", Key::Tab, Shift::Control, "1 ucHelp1"},
        {"without Ctrl", Key::Tab, Shift::None, "1 ucHelp1"},
        {"F12 with Shift", Key::F12, Shift::Shift, "1 ucHelp1"},
        {"F5 with Ctrl", Key::F5, Shift::Control, "1 ucHelp1"},
    };
    EXPECT_EQ(TabState(it), "1 ucHelp1");
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        main.Form_KeyUp(row.key, row.shift);
        EXPECT_EQ(TabState(it), row.state);
    }
    auto& ts = it.Find<TabStrip>(u"ts");
    ts.UserSelect(3);
    EXPECT_EQ(TabState(it), "3 ucCS1");
    main.PressKey(Key::Tab, Shift::Control);
    EXPECT_EQ(TabState(it), "4 ucSupport1");
    EXPECT_EQ(it.log->text, "5 CPaRemover.Check: False\n" + kStateEntry);
}

TEST(FMain, RefreshesTheHiddenLists) {
    StartedProgram it;
    FMain& main = it.Start();
    for (const bool byKey : {true, false}) {
        AddHelperObject(it.machine, kFirstClsid, byKey ? u"first" : u"second", kSparedFile);
        it.machine.SetDword(HKCU, kStylesKey, u"Use My Stylesheet", byKey ? 1 : 0);
        byKey ? main.PressKey(Key::F5) : it.Choose(u"mnuRefresh");
        const std::string shown = Describe(main);
        EXPECT_NE(shown.find(byKey ? "> \"first\"" : "> \"second\""), std::string::npos);
        EXPECT_NE(
            shown.find(byKey ? "| \"Yes\" (bold) (colour 255) (icon i)" : "| \"No\" (icon OK)"),
            std::string::npos);
        EXPECT_EQ(TabState(it), "1 ucHelp1");
    }
}

TEST(FMain, F12AndTheSupportPictureAskForTheCleanUp) {
    StartedProgram it;
    it.machine.AddFile(u"C:\\x.tmp", "bytes");
    FMain& main = it.Start();
    it.machine.AddProcess({8, u"C:\\x.tmp", {}});
    it.toolkit.Answer({Cancel});
    it.toolkit.SetPointer(Pointer::Hourglass);
    main.PressKey(Key::F12);
    EXPECT_EQ(it.toolkit.CurrentPointer(), Pointer::Hourglass);
    EXPECT_TRUE(it.machine.HasFile(u"C:\\x.tmp"));

    it.Find<TabStrip>(u"ts").UserSelect(4);
    it.toolkit.Answer({Ok, Cancel});
    it.Find<Panel>(u"ucSupport1").FindControl(u"Image1")->DoubleClick();
    EXPECT_EQ(it.Messages(),
              std::string(kQuestion) + kQuestion +
                  "65 Operation complete successfully. Close all opened documents then press OK "
                  "button to restart Windows. \n");
    EXPECT_TRUE(it.machine.HasFile(u"C:\\parasite_x.tmp.parasite"));
    EXPECT_EQ(it.toolkit.CurrentPointer(), Pointer::Default);
}

/// What step 2 says of the start page, behind its description.
std::string StartPageRow(StartedProgram& it) {
    const std::string shown = Describe(*it.main);
    const std::string mark = "Start page for the user who is currently logged on\" | ";
    const std::size_t at = shown.find(mark) + mark.size();
    return shown.substr(at, shown.find('\n', at) - at);
}

TEST(FMain, TheListsShowWhatACleanUpOrTheSafeRemoverChanged) {
    for (const bool bySafeRemover : {false, true}) {
        StartedProgram it;
        it.machine.AddFile(u"C:\\x.exe", "bytes");
        it.machine.SetString(HKCU, kMainKey, u"Start Page", u"http://hijacked/");
        FMain& main = it.Start();
        EXPECT_EQ(StartPageRow(it), "\"http://hijacked/\" (icon IE)");
        if (bySafeRemover) {
            it.toolkit.Then([&] {
                Form* window = it.Window(u"FSafeRemover");
                dynamic_cast<TextBox&>(*window->FindControl(u"txtFiles")).UserEdit(u"C:\\x.exe");
                it.toolkit.Answer({Ok, Cancel});
                window->PressKey('D', Shift::Alt);
                EXPECT_EQ(StartPageRow(it), "\"about:blank\" (icon OK)") << "behind the window";
                window->UserClose();
            });
            it.Choose(u"mnuSafeRemover");
        } else {
            it.toolkit.Answer({Ok, Cancel});
            main.PressKey(Key::F12);
        }
        EXPECT_EQ(StartPageRow(it), "\"about:blank\" (icon OK)");
    }
}

TEST(FMain, ClosingItDuringACleanUpLosesNothing) {
    StartedProgram it;
    FMain& main = it.Start();
    it.machine.AddFile(u"C:\\x.tmp", "bytes");
    it.machine.AddProcess({8, u"C:\\x.tmp", {}});
    it.machine.LockFile(u"C:\\x.tmp");
    it.toolkit.onPump = [&] {
        it.machine.AdvanceClock(100);
        main.UserClose();
        it.machine.UnlockFile(u"C:\\x.tmp");
    };
    it.toolkit.Answer({Ok, Cancel});
    main.PressKey(Key::F12);
    EXPECT_FALSE(main.IsLoaded());
    EXPECT_FALSE(it.toolkit.HasAnswersLeft()) << "the cleanup came to its end";
    EXPECT_TRUE(it.machine.HasFile(u"C:\\parasite_x.tmp.parasite"));
    EXPECT_EQ(DumpProcesses(it.machine), "");
    it.toolkit.Run();  // nothing is left to wait for
}

TEST(FMain, MenusDoTheirWork) {
    StartedProgram it;
    it.Start();
    it.machine.AdvanceClock(1000);
    it.toolkit.Answer({Ok, Ok, Ok});
    it.Choose(u"mnuBackup");
    EXPECT_TRUE(it.machine.HasFile(
        u"C:\\Program Files\\Brackenfold\\Backup\\Backup Nov 16, 2026 09-39-05.reg"));
    it.Choose(u"mnuRestore");
    it.Choose(u"mnuVisitWebsite");
    it.Choose(u"mnuRestoreDisabledFiles");
    EXPECT_EQ(it.Window(u"FRestoreFiles"), nullptr);
    EXPECT_EQ(it.Messages(),
              "64 Backup complete successfully.\n"
              "64 Windows Explorer window will be opened now. Double click on backup file to "
              "restore. \n"
              "64 Nothing to restore. No programs are removed or all programs are already "
              "restored.\n");
    const std::vector<Text> launched = {u"open C:\\Program Files\\Brackenfold\\Backup\\",
                                        u"explorer http://www.tarnwick.example/brackenfold/"};
    EXPECT_EQ(it.machine.Launched(), launched);
    it.Choose(u"mnuExit");
    EXPECT_TRUE(it.toolkit.Windows().Forms().empty());
}

TEST(FMain, OpensItsToolsModallyAndUnloadsThem) {
    StartedProgram it;
    FMain& main = it.Start();
    it.machine.AddFile(u"C:\\parasite_a.exe.parasite", "bytes");
    it.machine.SetString(HKCU, kRemovedFiles, u"C:\\a.exe", u"C:\\a.exe");
    const struct {
        TextView entry;
        TextView window;
    } rows[] = {{u"mnuSafeRemover", u"FSafeRemover"},
                {u"mnuRestoreDisabledFiles", u"FRestoreFiles"},
                {u"mnuAbout", u"FAbout"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(ToUtf8(row.entry));
        for (const bool byKey : {true, false}) {
            it.toolkit.Then([&] {
                Form* window = it.Window(row.window);
                ASSERT_NE(window, nullptr);
                EXPECT_EQ(window->Owner(), &main);
                EXPECT_TRUE(main.IsBlocked());
                it.Choose(u"mnuExit");
                byKey ? window->PressKey(Key::Escape) : window->UserClose();
            });
            it.Choose(row.entry);
            EXPECT_EQ(it.Window(row.window), nullptr);
            EXPECT_TRUE(main.Visible() && !main.IsBlocked());
        }
    }
    EXPECT_FALSE(it.toolkit.HasActionsLeft());
}

TEST(FMain, ABackupThatFailsIsLoggedAndClaimsSuccess) {
    StartedProgram it;
    it.machine.AddFile(u"C:\\Program Files\\Brackenfold\\Backup", "a file");
    it.Start();
    EXPECT_TRUE(it.Logged("75 4 FMain.BackupRegistry: "));
    EXPECT_TRUE(it.log->text.ends_with(kStateEntry)) << "the start-up goes on";
    it.toolkit.Answer({Ok});
    it.Choose(u"mnuBackup");
    EXPECT_EQ(it.Messages(), "64 Backup complete successfully.\n");
    EXPECT_EQ(it.toolkit.CurrentPointer(), Pointer::Default);
}

TEST(FMain, ItsPartsFollowTheClientArea) {
    StartedProgram it;
    FMain& main = it.Start();
    for (const Size size : {Size{9000, 6300}, Size{15000, 9000}, Size{300, 200}}) {
        main.UserResize(size.width, size.height);
        const Bounds strip = it.Find<TabStrip>(u"ts").Area();
        EXPECT_EQ(strip.width, size.width - 150);
        EXPECT_EQ(strip.height, std::max(size.height - 450, 0));
        for (const TextView name : {u"ucHelp1", u"ucBHO1", u"ucCS1", u"ucSupport1"}) {
            const Bounds expected{285, 435, std::max(strip.width - 435, 0),
                                  std::max(size.height - 975, 0)};
            EXPECT_EQ(it.Find<Panel>(name).Area(), expected) << ToUtf8(name);
        }
        EXPECT_EQ(it.Find<Label>(u"lblCopyright").Top(), size.height - 300);
    }
}

TEST(FMain, TheSplashWindowEndsByItsTimerOrAClick) {
    for (const char* label : {"by the timer", "by a click", "before the wait"}) {
        SCOPED_TRACE(label);
        StartedProgram it;
        int waits = 0;
        if (label[3] == 'a') {
            it.toolkit.Then([&] {
                ++waits;
                Form* splash = it.Window(u"FSplash");
                ASSERT_NE(splash, nullptr);
                EXPECT_EQ(it.Window(u"FMain"), nullptr);
                EXPECT_EQ(it.toolkit.CurrentPointer(), Pointer::Hourglass);
                splash->FindControl(u"Image1")->MouseUp(MouseButton::Left);
            });
        }
        if (label[3] == 'o') it.toolkit.onPump = [&] { it.toolkit.AdvanceTimers(3000); };
        it.Start();
        EXPECT_EQ(waits, label[3] == 'a' ? 1 : 0);
        EXPECT_EQ(it.Window(u"FSplash"), nullptr);
        EXPECT_EQ(it.toolkit.CurrentPointer(), Pointer::Default);
        it.toolkit.AdvanceTimers(10000);  // nothing fires any more
    }
}

TEST(FMain, CallsByName) {
    StartedProgram it;
    FMain& main = it.Start();
    Variant arguments[] = {std::int32_t{Key::Tab}, std::int32_t{Shift::Control}};
    main.Invoke(u"Form_KeyUp", arguments);
    EXPECT_EQ(TabState(it), "2 ucBHO1");
    EXPECT_THROW(main.Invoke(u"form_keyup", arguments), RuntimeError);
    EXPECT_THROW(main.Invoke(u"Form_KeyUp", {}), RuntimeError);
    Variant noLogger[] = {std::make_shared<KeyedList>()};
    EXPECT_THROW(it.Find<ucBHO>(u"ucBHO1").Invoke(u"Init", noLogger), RuntimeError);
}

}  // namespace
}  // namespace bkfd
