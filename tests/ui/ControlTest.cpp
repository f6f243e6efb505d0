#include <gmock/gmock.h>

#include "UiTest.h"
#include "base/RuntimeError.h"

namespace bkfd {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// A form with one control of each kind, all of whose events are logged.
class FAll : public Form {
  public:
    explicit FAll(EventLog& log) : Form(u"FAll") {
        const auto note = [&log](const char* what) {
            return [&log, what] { log.push_back(what); };
        };
        button.onClick = note("button");
        label.onMouseUp = [&log](int, int, int, int) { log.push_back("label"); };
        picture.onDoubleClick = note("picture");
        text.onChange = note("text");
        text.onKeyDown = [&log](int&, int) { log.push_back("key"); };
        list.onItemClick = [&log](const ListItemRef&) { log.push_back("list"); };
        lines.onClick = note("lines");
        tabs.onClick = note("tabs");
        list.Add(u"one");
        list.Add(u"two");
        lines.Add(u"one");
        lines.Add(u"two");
    }

    Panel outer{*this, u"outer"};
    Panel inner{outer, u"inner"};
    TextBox text{inner, u"text"};
    Button button{inner, u"button"};
    Label label{inner, u"label"};
    Picture picture{inner, u"picture"};
    ListView list{inner, u"list", {{u"Name", 1000}}};
    ListBox lines{inner, u"lines"};
    TabStrip tabs{inner, u"tabs", {{u"a", u"A"}, {u"b", u"B"}}};
};

struct Entry {
    const char* event;
    std::function<void(FAll&)> act;
};
const Entry kEntries[] = {
    {"button", [](FAll& form) { form.button.Click(); }},
    {"label", [](FAll& form) { form.label.MouseUp(MouseButton::Left); }},
    {"picture", [](FAll& form) { form.picture.DoubleClick(); }},
    {"text", [](FAll& form) { form.text.UserEdit(u"edited"); }},
    {"text", [](FAll& form) { form.text.UserType(u"typed"); }},
    {"list", [](FAll& form) { form.list.UserSelect(2); }},
    {"lines", [](FAll& form) { form.lines.UserSelect(2); }},
    {"tabs", [](FAll& form) { form.tabs.UserSelect(2); }},
    {"key", [](FAll& form) { form.PressKey('A'); }},
};

class ControlTest : public UiTest {};

TEST_F(ControlTest, EachEntryRaisesItsEventOnce) {
    for (const Entry& entry : kEntries) {
        FAll form(log);
        form.Show();
        entry.act(form);
        EXPECT_THAT(TakeLog(), ElementsAre(entry.event));
    }
}

TEST_F(ControlTest, EntriesDoNothingToWhatTheUserCantReach) {
    const struct {
        const char* label;
        std::function<void(FAll&)> arrange;
    } rows[] = {
        {"disabled",
         [](FAll& form) {
             for (Control* control : form.inner.Children()) control->SetEnabled(false);
         }},
        {"hidden",
         [](FAll& form) {
             for (Control* control : form.inner.Children()) control->SetVisible(false);
         }},
        {"inner panel disabled", [](FAll& form) { form.inner.SetEnabled(false); }},
        {"outer panel hidden", [](FAll& form) { form.outer.SetVisible(false); }},
        {"form disabled", [](FAll& form) { form.SetEnabled(false); }},
        {"form hidden", [](FAll& form) { form.Hide(); }},
    };
    for (const auto& row : rows) {
        for (const Entry& entry : kEntries) {
            SCOPED_TRACE(std::string(row.label) + ", " + entry.event);
            FAll form(log);
            form.Show();
            row.arrange(form);
            entry.act(form);
            EXPECT_THAT(TakeLog(), IsEmpty());
            EXPECT_EQ(form.text.GetText(), u"");
            EXPECT_EQ(form.list.SelectedIndex() + form.lines.SelectedIndex(), 0u);
            EXPECT_EQ(form.tabs.SelectedIndex(), 1u);
        }
    }
}

TEST_F(ControlTest, ProgramsChangesRaiseNothing) {
    FAll form(log);
    form.Show();
    form.text.SetText(u"set");
    form.list.SetSelectedIndex(2);
    form.list.Item(1)->SetSelected(true);
    form.lines.SetSelectedIndex(2);
    form.tabs.SetSelectedIndex(2);
    form.list.Clear();
    EXPECT_THAT(log, IsEmpty());
}

TEST_F(ControlTest, TypingReplacesTheSelection) {
    FAll form(log);
    form.Show();
    form.text.SetText(u"placeholder");
    form.text.Select(0, 100);
    form.text.UserType(u"a");
    form.text.UserType(u"b");
    EXPECT_EQ(form.text.GetText(), u"ab");
    form.text.Select(1, 0);
    form.text.UserType(u"-");
    EXPECT_EQ(form.text.GetText(), u"a-b");
    TakeLog();
    form.text.UserEdit(u"a-b");
    EXPECT_THAT(TakeLog(), IsEmpty()) << "the same text is no change";
}

TEST_F(ControlTest, AClickSelectsAPlaceholderUntilSomethingElseIsThere) {
    FAll form(log);
    form.Show();
    form.text.ShowPlaceholder(u"Your text...");
    form.text.Select(4, 0);
    form.text.Click();
    form.text.UserType(u"abc");
    EXPECT_EQ(form.text.GetText(), u"abc");
    form.text.Click();
    form.text.UserType(u"d");
    EXPECT_EQ(form.text.GetText(), u"abcd");
}

TEST_F(ControlTest, SelectionFollowsItsRow) {
    FAll form(log);
    form.list.Add(u"three");
    const ListItemRef second = form.list.Item(2);
    second->SetSelected(true);
    form.list.Item(3)->SetSelected(false);
    EXPECT_EQ(form.list.SelectedItem(), second);
    form.list.Remove(1);
    EXPECT_EQ(form.list.SelectedIndex(), 1u);
    EXPECT_TRUE(second->Selected());
    form.list.Clear();
    second->SetText(u"kept by its owner");
    second->SetSelected(true);
    EXPECT_FALSE(second->Selected());
    EXPECT_EQ(form.list.SelectedItem(), nullptr);
    EXPECT_THROW(form.list.Item(1), RuntimeError);
    EXPECT_THROW(form.lines.SetSelectedIndex(3), RuntimeError);
    form.lines.SetSelectedIndex(2);
    form.lines.Remove(2);
    EXPECT_EQ(form.lines.SelectedText(), u"");
}

TEST_F(ControlTest, KeepsOddTexts) {
    const Text rows[] = {Text(32767, u'x'), Text(u"nul\0inside", 10), Text(u"lone \xD800 high"),
                         Text(u"\xDC00")};
    FAll form(log);
    form.Show();
    form.list.Clear();
    for (int i = 0; i < 5000; ++i) form.list.Add(rows[i % 4])->SetSubItem(1, rows[(i + 1) % 4]);
    EXPECT_EQ(form.list.Item(4998)->GetText(), rows[1]);
    EXPECT_EQ(form.list.Item(4998)->GetSubItem(1).text, rows[2]);
    for (const Text& text : rows) {
        form.text.UserEdit(text);
        EXPECT_EQ(form.text.GetText(), text);
    }
}

class KeyTest : public UiTest {};

TEST_F(KeyTest, GoToThePreviewTheControlAndTheirEffect) {
    FSample form(log);
    form.Show();
    TakeLog();
    form.PressKey(Key::F5, Shift::Shift);
    EXPECT_THAT(TakeLog(), IsEmpty());
    form.PressKey(Key::F5);
    EXPECT_THAT(TakeLog(), ElementsAre("F5"));
    EXPECT_TRUE(form.Visible());
    form.PressKey(Key::Escape);
    EXPECT_THAT(TakeLog(), ElementsAre("escape"));
    EXPECT_FALSE(form.Visible()) << "it pressed the cancel button";
}

TEST_F(KeyTest, CtrlTabSwitchesTheTabAndTabMovesTheFocus) {
    FSample form(log);
    form.Show();
    form.ucList.lv.SetFocus();
    form.PressKey(Key::Tab, Shift::Control);
    EXPECT_TRUE(form.ucText.Visible());
    EXPECT_FALSE(form.ucList.lv.HasFocus()) << "a hidden control can't keep the focus";
    form.ucText.txtNotes.SetFocus();
    EventLog visited;
    for (int i = 0; i < 6; ++i) {
        form.PressKey(Key::Tab);
        visited.push_back(ToUtf8(form.Focused()->Name()));
    }
    EXPECT_THAT(visited,
                ElementsAre("lstFiles", "cmdSend", "lblLink", "cmdHide", "ts", "txtNotes"));
    form.PressKey(Key::Tab, Shift::Shift);
    EXPECT_TRUE(form.ts.HasFocus());
}

TEST_F(KeyTest, WithoutPreviewTheFormSeesKeysOnlyWithoutFocus) {
    FSample form(log);
    form.SetKeyPreview(false);
    form.Show();
    TakeLog();
    form.PressKey(116);
    EXPECT_THAT(TakeLog(), IsEmpty());
    for (Control* control : form.TabOrder()) control->SetEnabled(false);
    form.PressKey(116);
    EXPECT_THAT(TakeLog(), ElementsAre("F5"));
}

TEST_F(KeyTest, EnterAndLettersReachButtonsListsAndLabels) {
    FSample form(log);
    form.Show();
    form.PressKey('H', Shift::Alt);
    EXPECT_TRUE(form.ucList.lv.HasFocus()) << "a label's letter goes to the next control";
    form.PressKey(Key::Down);
    EXPECT_EQ(form.ucList.txtFile.GetText(), u"c:\\bad.dll");
    form.PressKey('D', Shift::Alt);
    EXPECT_EQ(form.ucList.lv.Count(), 2u);
    form.cmdHide.SetDefault(true);
    form.ts.UserSelect(2);
    form.ucText.txtNotes.SetFocus();
    form.PressKey(Key::Enter);
    EXPECT_TRUE(form.Visible()) << "a box of many lines takes Enter itself";
    EXPECT_EQ(form.ucText.txtNotes.GetText(), u"\r\n");
    form.ts.SetFocus();
    form.PressKey(Key::Enter);
    EXPECT_FALSE(form.Visible());
}

}  // namespace
}  // namespace bkfd
