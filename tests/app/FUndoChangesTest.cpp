#include <gtest/gtest.h>

#include "StartedProgram.h"
#include "common/BrowserKeys.h"
#include "platform/undo/UndoFolder.h"
#include "platform/undo/UndoMachine.h"
#include "testing/Describe.h"
#include "testing/MachineDump.h"
#include "ui/Keys.h"

namespace bkfd {
namespace {

using enum MessageResult;

constexpr char kCleanUp[] = "49 Are you sure you want to start automatic parasite cleanup?\n";
constexpr char kComplete[] =
    "65 Operation complete successfully. Close all opened documents then press OK button to "
    "restart Windows. \n";
constexpr char16_t kStartPage[] = u"Start Page";

/// The program on a machine whose changes are kept.
class Undoing : public StartedProgram {
  public:
    explicit Undoing(WindowsFamily family = WindowsFamily::NT)
        : StartedProgram(family), keeping_(machine, u"4.54.0") {
        Use(keeping_);
        machine.AddFile(u"C:\\x.tmp", "bytes");
        machine.SetString(HKCU, kMainKey, kStartPage, u"http://hijacked/");
        Start();
        machine.AddProcess({8, u"C:\\x.tmp", {}});
    }
    void CleanUp() {
        toolkit.Answer({Ok, Cancel});
        main->PressKey(Key::F12);
    }
    /// What the user does in the window, which is closed behind it.
    void InWindow(const std::function<void(Form&)>& action) {
        toolkit.Then([this, action] {
            Form* const window = Window(u"FUndoChanges");
            ASSERT_NE(window, nullptr);
            EXPECT_EQ(window->Owner(), main.get());
            action(*window);
            window->PressKey(Key::Escape);
        });
        Choose(u"mnuUndoChanges");
        EXPECT_EQ(Window(u"FUndoChanges"), nullptr);
        EXPECT_FALSE(toolkit.HasAnswersLeft());
    }
    Text StartPage() { return machine.GetString(HKCU, kMainKey, kStartPage); }

  private:
    UndoMachine keeping_;
};

/// The rows, the selected one behind a ">", and the button if it is grey.
std::string Rows(Form& window) {
    const std::string shown = Describe(window);
    const std::size_t begin = shown.find("list lv");
    std::string rows = shown.substr(begin, shown.find("  button cmdClose") - begin);
    rows.erase(0, rows.find('\n') + 1);
    return rows;
}

constexpr char kButton[] = "  button cmdUndo \"&Undo Changes\" (default)\n";
constexpr char kGreyButton[] = "  button cmdUndo \"&Undo Changes\" (default) (disabled)\n";

TEST(FUndoChanges, TakesACleanUpBackAndThatBackToo) {
    for (const WindowsFamily family : {WindowsFamily::NT, WindowsFamily::Windows9x}) {
        Undoing it(family);
        it.CleanUp();
        EXPECT_EQ(it.StartPage(), u"about:blank");
        EXPECT_TRUE(it.machine.HasFile(u"C:\\parasite_x.tmp.parasite"));
        const std::string messages = it.Messages();
        it.InWindow([&](Form& window) {
            const std::string before = Rows(window);
            EXPECT_TRUE(before.starts_with("    > \"2026-11-16 09:39:0"));
            EXPECT_NE(before.find("\" | \"Automatic cleanup\" | \""), std::string::npos);
            EXPECT_TRUE(before.ends_with(kButton)) << before;
            it.toolkit.Answer({Cancel});
            window.PressKey('U', Shift::Alt);
            EXPECT_EQ(it.StartPage(), u"about:blank");
            it.toolkit.Answer({Ok, Ok});
            window.PressKey(Key::Enter);
            EXPECT_EQ(it.StartPage(), u"http://hijacked/");
            EXPECT_TRUE(it.machine.HasFile(u"C:\\x.tmp"));
            const std::string after = Rows(window);
            EXPECT_NE(after.find(" | \"Undo\" | \""), std::string::npos);
            EXPECT_TRUE(after.ends_with(" | \"undone\"\n" + std::string(kGreyButton))) << after;
            EXPECT_NE(Describe(*it.main).find("\"http://hijacked/\""), std::string::npos)
                << "the lists behind it follow";
            dynamic_cast<ListView&>(*window.FindControl(u"lv")).UserSelect(1);
            it.toolkit.Answer({Ok, Ok});
            window.PressKey('U', Shift::Alt);
        });
        EXPECT_EQ(it.StartPage(), u"about:blank");
        EXPECT_TRUE(it.machine.HasFile(u"C:\\parasite_x.tmp.parasite"));
        const std::string told = it.Messages().substr(messages.size());
        EXPECT_TRUE(
            told.starts_with("49 Are you sure you want to undo 'Automatic cleanup' of 2026-"))
            << told;
        EXPECT_NE(told.find("\n64 Undone: "), std::string::npos) << told;
    }
}

TEST(FUndoChanges, TellsOfConflictsAndAsksBeforeItForces) {
    for (const bool forces : {false, true}) {
        Undoing it;
        it.CleanUp();
        it.machine.SetString(HKCU, kMainKey, kStartPage, u"http://own/");
        it.InWindow([&](Form& window) {
            if (forces) {
                it.toolkit.Answer({Ok, Ok, Ok});
            } else {
                it.toolkit.Answer({Ok, Cancel});
            }
            window.PressKey('U', Shift::Alt);
            EXPECT_NE(Rows(window).find(forces ? "\"undone\"" : "\"partly undone\""),
                      std::string::npos)
                << Rows(window);
        });
        EXPECT_EQ(it.StartPage(), forces ? u"http://hijacked/" : u"http://own/");
        EXPECT_TRUE(it.machine.HasFile(u"C:\\x.tmp")) << "the rest is taken back";
        const std::string conflict =
            "HKEY_CURRENT_USER\\Software\\Microsoft\\Internet Explorer\\Main\\Start Page: before "
            "\"http://hijacked/\", after \"about:blank\", now \"http://own/\"";
        EXPECT_NE(it.Messages().find(
                      "\r\n \r\n" + conflict +
                      "\r\n \r\nPress OK to put back what was there before all the same.\n"),
                  std::string::npos)
            << it.Messages();
        EXPECT_TRUE(it.Logged("0 FUndoChanges.cmdUndo_Click: " + conflict));
    }
}

TEST(FUndoChanges, ARecordThatCantBeUsedIsShownAndNotOffered) {
    Undoing it;
    it.toolkit.Answer({Ok});
    it.Choose(u"mnuUndoChanges");
    EXPECT_EQ(it.Messages(), "64 Nothing to undo. No changes are recorded.\n");
    EXPECT_EQ(it.Window(u"FUndoChanges"), nullptr);
    it.machine.AddFile(UndoRecordPath(it.machine.System(), 7), "no record");
    it.InWindow([&](Form& window) {
        EXPECT_TRUE(Rows(window).ends_with(kGreyButton)) << Rows(window);
        window.PressKey('U', Shift::Alt);
        window.PressKey(Key::Enter);
    });
}

TEST(FUndoChanges, ARecordThatGoesMeanwhileIsOneError) {
    Undoing it;
    it.CleanUp();
    it.InWindow([&](Form& window) {
        EXPECT_TRUE(
            it.machine.FileSystem().DeleteFileW(UndoRecordPath(it.machine.System(), 1)).IsOk());
        it.toolkit.Answer({Ok, Ok});
        window.PressKey('U', Shift::Alt);
        EXPECT_EQ(Rows(window), kGreyButton);
    });
    EXPECT_NE(it.Messages().find("\n48 Cannot undo 'Automatic cleanup' of 2026-"),
              std::string::npos)
        << it.Messages();
    EXPECT_TRUE(it.Logged(" 0 FUndoChanges.cmdUndo_Click: "));
    EXPECT_EQ(it.toolkit.CurrentPointer(), Pointer::Default);
    EXPECT_EQ(it.Messages().rfind(std::string(kCleanUp) + kComplete, 0), 0u);
}

}  // namespace
}  // namespace bkfd
