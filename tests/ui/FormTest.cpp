#include <gmock/gmock.h>

#include "UiTest.h"
#include "base/RuntimeError.h"
#include "testing/Describe.h"

namespace bkfd {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class FormTest : public UiTest {};

TEST_F(FormTest, LoadsOnceShowsHidesAndUnloads) {
    FSample form(log);
    form.Load();
    form.Show();
    form.Show();
    EXPECT_THAT(TakeLog(), ElementsAre("load", "activate"));
    form.Hide();
    EXPECT_TRUE(form.IsLoaded());
    form.SetVisible(true);
    EXPECT_THAT(TakeLog(), ElementsAre("activate"));

    form.stays = true;
    form.UserClose();
    EXPECT_TRUE(form.Visible());
    form.stays = false;
    form.mnuExit.Choose();
    EXPECT_FALSE(form.Visible());
    form.Unload();
    EXPECT_THAT(TakeLog(), ElementsAre("close box", "unload by code", "unload"));
    EXPECT_THAT(toolkit.Windows().Forms(), IsEmpty());

    form.Show();
    EXPECT_THAT(TakeLog(), ElementsAre("load", "activate"));
}

TEST_F(FormTest, RunsUntilTheLastFormIsUnloaded) {
    FSample first(log), second(log);
    first.Show();
    second.Show(&first);
    second.Hide();
    toolkit.Then([&] { first.UserClose(); });
    toolkit.Then([&] { second.Unload(); });
    toolkit.Run();
    EXPECT_FALSE(toolkit.HasActionsLeft());
}

TEST_F(FormTest, AModalFormBlocksTheOthersUntilItIsHidden) {
    FSample owner(log), child(log), grandchild(log);
    owner.Show();
    toolkit.Then([&] {
        EXPECT_TRUE(owner.IsBlocked());
        owner.mnuExit.Choose();
        owner.UserClose();
        owner.cmdHide.Click();
        owner.ts.UserSelect(2);
        owner.PressKey(Key::Escape);
        EXPECT_EQ(owner.ts.SelectedIndex(), 1u);
        toolkit.Then([&] { grandchild.PressKey(Key::Escape); });
        grandchild.ShowModal(&child);
        EXPECT_TRUE(owner.Visible() && child.Visible() && !grandchild.Visible());
        EXPECT_TRUE(owner.IsBlocked() && !child.IsBlocked());
        toolkit.Then([&] { child.Hide(); });
    });
    TakeLog();
    child.ShowModal(&owner);
    EXPECT_FALSE(owner.IsBlocked());
    EXPECT_TRUE(child.IsLoaded());
    EXPECT_EQ(toolkit.Windows().Active(), &owner);
    EXPECT_THAT(TakeLog(), ElementsAre("load", "activate", "load", "activate", "escape", "activate",
                                       "activate"));
}

TEST_F(FormTest, AFormOwnedByTheModalOneIsNotBlocked) {
    FSample modal(log), tool(log), other(log);
    other.Show();
    toolkit.Then([&] {
        tool.Show(&modal);
        EXPECT_FALSE(tool.IsBlocked());
        EXPECT_FALSE(modal.IsBlocked());
        EXPECT_TRUE(other.IsBlocked());
        EXPECT_THROW(modal.ShowModal(), RuntimeError);
        modal.Unload();
    });
    modal.ShowModal();
}

TEST_F(FormTest, AnErrorInAModalLoopComesOutAndUnblocksTheOthers) {
    struct Row {
        const char* label;
        std::function<void(FSample&, HeadlessToolkit&)> arrange;
    };
    const auto fail = [] { throw RuntimeError(ErrorNumber::DeviceIo); };
    const Row rows[] = {
        {"while it is activated", [&](FSample& form, HeadlessToolkit&) { form.onActivate = fail; }},
        {"by an event", [&](FSample&, HeadlessToolkit& script) { script.Then(fail); }},
        {"with nothing to do", [](FSample&, HeadlessToolkit&) {}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.label);
        FSample owner(log), child(log);
        owner.Show();
        row.arrange(child, toolkit);
        EXPECT_THROW(child.ShowModal(&owner), RuntimeError);
        EXPECT_FALSE(child.Visible() || child.IsModal() || owner.IsBlocked());
    }
}

TEST_F(FormTest, ResizingPlacesTheControlsOfPanelsToo) {
    FSample form(log);
    form.Show();
    form.UserResize(12000, 9000);
    EXPECT_EQ(form.ts.Area(), (Bounds{75, 75, 11850, 8550}));
    EXPECT_EQ(form.ucList.lv.Area(), (Bounds{0, 300, 11415, 6825}));
    form.UserResize(10, 10);
    EXPECT_EQ(form.ucList.lv.Height(), 0);
}

TEST_F(FormTest, HandlersMayDestroyWhatTheyRunIn) {
    struct Row {
        const char* label;
        std::function<void(FSample&)> act;
    };
    std::unique_ptr<FSample> form;
    const auto destroy = [&] { form.reset(); };
    const auto destroyOnKey = [&](int&, int) { form.reset(); };
    const auto destroyOnCharacter = [&](int&) { form.reset(); };
    const Row rows[] = {
        {"click", [&](FSample& f) { f.cmdHide.onClick = destroy, f.cmdHide.Click(); }},
        {"default key", [&](FSample& f) { f.cmdHide.onClick = destroy, f.PressKey(Key::Escape); }},
        {"key down", [&](FSample& f) { f.onKeyDown = destroyOnKey, f.PressKey('A'); }},
        {"key press", [&](FSample& f) { f.onKeyPress = destroyOnCharacter, f.PressKey(27); }},
        {"key up", [&](FSample& f) { f.onKeyUp = destroyOnKey, f.PressKey('A'); }},
        {"menu", [&](FSample& f) { f.mnuExit.onClick = destroy, f.mnuExit.Choose(); }},
        {"row",
         [&](FSample& f) {
             f.ucList.lv.onItemClick = [&](const ListItemRef&) { form.reset(); };
             f.ucList.lv.UserSelect(2);
         }},
        {"query unload",
         [&](FSample& f) {
             f.onQueryUnload = [&](bool&, UnloadMode) { form.reset(); };
             f.UserClose();
         }},
        {"unload", [&](FSample& f) { f.onUnload = destroy, f.Unload(); }},
        {"load", [&](FSample& f) { f.Unload(), f.onLoad = destroy, f.Show(); }},
        {"resize", [&](FSample& f) { f.onResize = destroy, f.UserResize(1, 1); }},
        {"modal activate", [&](FSample& f) { f.Unload(), f.onActivate = destroy, f.ShowModal(); }},
        {"modal loop", [&](FSample& f) { f.Unload(), toolkit.Then(destroy), f.ShowModal(); }},
        {"text",
         [&](FSample& f) {
             f.ts.UserSelect(2);
             f.ucText.txtNotes.onChange = destroy;
             f.ucText.txtNotes.UserType(u"x");
         }},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.label);
        form = std::make_unique<FSample>(log);
        form->Show();
        row.act(*form);
        EXPECT_EQ(form, nullptr);
        EXPECT_THAT(toolkit.Windows().Forms(), IsEmpty());
    }
}

TEST_F(FormTest, TimersFireOnceInOrderAndNotAfterTheirStop) {
    Timer early, late, stopped;
    early.onTimer = [&] { log.push_back("early"), stopped.Stop(); };
    late.onTimer = [&] { log.push_back("late"); };
    stopped.onTimer = [&] { log.push_back("stopped"); };
    late.Start(3000);
    early.Start(1000);
    stopped.Start(2000);
    toolkit.AdvanceTimers(2999);
    EXPECT_THAT(TakeLog(), ElementsAre("early"));
    toolkit.WaitForInput();
    toolkit.AdvanceTimers(10000);
    EXPECT_THAT(TakeLog(), ElementsAre("late"));
    EXPECT_FALSE(late.IsRunning());
}

TEST_F(FormTest, DescribesItself) {
    FSample form(log);
    form.Show();
    form.ucText.lstFiles.Add(Text(u"a\0b", 3));
    form.ucText.cmdSend.SetEnabled(false);
    EXPECT_EQ(Describe(form), R"dump(form FSample "Sample & Co"
  menu mnuFile "&File"
    menu mnuRefresh "&Refresh"
    -
    menu mnuExit "&Exit"
  tabs ts (focus)
    > list "Step 1. List"
      text "Step 2. Text"
  panel ucList
    label Label4 "&Helpers:"
    list lv "Name" "File"
      > "Good \"Helper\"" | "c:\\good.dll" (icon OK)
        "Bad Helper" | "c:\\bad.dll" (bold) (colour 255) (icon i)
        "(noname)" | ""
    label lblFile "Related File:"
    text txtFile ""
    button cmdDelete "&Delete"
  panel ucText (hidden)
    text txtNotes "Your text here..." (selected 0+17)
    lines lstFiles
        "a\x00b"
    button cmdSend "&Send" (disabled)
    picture Image1 "PICTURE"
  link lblLink "www.example"
  button cmdHide "&Hide" (cancel)
  native line "Static"
)dump");
}

}  // namespace
}  // namespace bkfd
