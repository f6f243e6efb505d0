#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ui/Button.h"
#include "ui/Form.h"
#include "ui/Keys.h"
#include "ui/Label.h"
#include "ui/ListBox.h"
#include "ui/ListView.h"
#include "ui/NativeChild.h"
#include "ui/Picture.h"
#include "ui/TabStrip.h"
#include "ui/TextBox.h"
#include "ui/Timer.h"

namespace bkfd {

using EventLog = std::vector<std::string>;

/// A window that does its owner's work while it is on the screen.
class FWork : public Form {
  public:
    FWork() : Form(u"FWork") {
        SetBorder(FormBorder::Fixed);
        SetClientSize(3000, 900);
        Label1.SetBounds({300, 300, 0, 0});
        Label1.SetAutoSize(true);
        onActivate = [this] {
            TheToolkit().PumpMessages();
            onStarted();
        };
    }

    void ShowProgress(const Text& caption, Form* owner) {
        Label1.SetCaption(caption);
        SetWindowWidth(Label1.Width() + 1200);
        TheToolkit().SetPointer(Pointer::Hourglass);
        ShowModal(owner);
        Finish();
    }

    void Finish() {
        TheToolkit().SetPointer(Pointer::Default);
        Unload();
    }

    Event<> onStarted;
    Label Label1{*this, u"Label1"};
};

/// The panel of the first tab: a list, the text that belongs to the selected row, a popup menu.
class ListPanel : public Panel {
  public:
    explicit ListPanel(Container& parent) : Panel(parent, u"ucList") {
        lv.onItemClick = [this](const ListItemRef& item) {
            txtFile.SetText(item->GetSubItem(1).text);
        };
        lv.onMouseUp = [this](int button, int, int, int) {
            if (button != MouseButton::Right || !lv.SelectedItem()) return;
            mnuProperties.SetVisible(!txtFile.GetText().empty());
            HostForm()->PopupMenu(mnuContext);
        };
        mnuDelete.onClick = [this] { cmdDelete.Click(); };
        cmdDelete.onClick = [this] {
            if (lv.SelectedIndex() != 0) lv.Remove(lv.SelectedIndex());
        };
        onResize = [this] {
            lv.SetBounds({0, 300, Width(), Height() - 1200});
            Label4.SetBounds({0, 0, Width(), 240});
            lblFile.SetBounds({0, Height() - 840, 1000, 240});
            txtFile.SetBounds({1000, Height() - 840, Width() - 1000, 300});
            cmdDelete.SetBounds({Width() - 1500, Height() - 420, 1500, 375});
        };
    }

    void Fill() {
        lv.Clear();
        const ListItemRef good = lv.Add(u"Good \"Helper\"", u"OK");
        good->SetSubItem(1, u"c:\\good.dll");
        const ListItemRef bad = lv.Add(u"Bad Helper", u"i");
        bad->SetSubItem(1, u"c:\\bad.dll");
        bad->SetSubItemLook(1, true, 255);
        lv.Add(u"(noname)");
        lv.SetSelectedIndex(1);
    }

    Label Label4{*this, u"Label4", u"&Helpers:"};
    ListView lv{*this,
                u"lv",
                {{u"Name", 3000}, {u"File", 4000}},
                {{u"OK", u"ICON_OK"}, {u"i", u"ICON_ALERT"}}};
    Label lblFile{*this, u"lblFile", u"Related File:"};
    TextBox txtFile{*this, u"txtFile"};
    Button cmdDelete{*this, u"cmdDelete", u"&Delete"};
    MenuItem mnuContext{u"mnuContext", u"Context"};
    MenuItem mnuDelete{mnuContext, u"mnuDelete", u"&Delete"};
    MenuItem mnuContext1{mnuContext, u"mnuContext1", u"-"};
    MenuItem mnuProperties{mnuContext, u"mnuProperties", u"&Properties"};
};

/// The panel of the second tab: a text with its own way of pasting.
class TextPanel : public Panel {
  public:
    TextPanel(Container& parent, EventLog& log) : Panel(parent, u"ucText") {
        txtNotes.ShowPlaceholder(u"Your text here...");
        txtNotes.onChange = [this, &log] { log.push_back("change " + ToUtf8(txtNotes.GetText())); };
        txtNotes.onKeyDown = [this](int& keyCode, int shift) {
            const bool pastes = (keyCode == 'V' && shift == Shift::Control) ||
                                (keyCode == Key::Insert && shift == Shift::Shift);
            if (!pastes) return;
            keyCode = 0;
            txtNotes.SetText(txtNotes.GetText() + u"[" + TheToolkit().ClipboardText() + u"]");
        };
        cmdSend.onClick = [this, &log] {
            FWork work;
            work.onStarted = [&work, &log] {
                log.push_back("working");
                work.Finish();
            };
            work.ShowProgress(u"Please wait... ", HostForm());
            log.push_back("done");
        };
        Image1.onDoubleClick = [&log] { log.push_back("picture"); };
        lstFiles.onClick = [this, &log] {
            log.push_back("line " + ToUtf8(lstFiles.SelectedText()));
        };
        onResize = [this] {
            txtNotes.SetBounds({0, 0, Width(), Height() / 2});
            lstFiles.SetBounds({0, Height() / 2, Width(), Height() / 4});
            cmdSend.SetBounds({0, Height() - 420, 1500, 375});
            Image1.SetBounds({Width() - 600, Height() - 600, 480, 480});
        };
    }

    TextBox txtNotes{*this, u"txtNotes", TextBox::Lines::Many};
    ListBox lstFiles{*this, u"lstFiles"};
    Button cmdSend{*this, u"cmdSend", u"&Send"};
    Picture Image1{*this, u"Image1", u"PICTURE"};
};

/// A window of the kind that the program has: menu bar, tabs with panels, keys, a link.
class FSample : public Form {
  public:
    explicit FSample(EventLog& events) : Form(u"FSample"), log(events) {
        SetCaption(u"Sample & Co");
        SetKeyPreview(true);
        cmdHide.SetCancel(true);
        cmdHide.onClick = [this] { Hide(); };
        lblLink.SetLink(true);
        lblLink.onMouseUp = [this](int button, int, int, int) {
            log.push_back("link " + std::to_string(button));
        };
        ucText.SetVisible(false);
        ts.onClick = [this] { ShowCurrentPanel(); };
        mnuRefresh.onClick = [this] { ucList.Fill(); };
        mnuExit.onClick = [this] { Unload(); };
        onLoad = [this] {
            log.push_back("load");
            ucList.Fill();
        };
        onActivate = [this] { log.push_back("activate"); };
        onQueryUnload = [this](bool& cancel, UnloadMode mode) {
            log.push_back(mode == UnloadMode::ControlMenu ? "close box" : "unload by code");
            cancel = stays;
        };
        onUnload = [this] { log.push_back("unload"); };
        onKeyUp = [this](int& keyCode, int shift) {
            if (keyCode == Key::Tab && (shift & Shift::Control)) NextTab();
            if (keyCode == Key::F5 && shift == 0) log.push_back("F5");
        };
        onKeyPress = [this](int& character) {
            if (character == Key::Escape) log.push_back("escape");
        };
        onResize = [this] {
            ts.SetBounds({75, 75, Width() - 150, Height() - 450});
            ucList.SetBounds({285, 435, ts.Width() - 435, Height() - 975});
            ucText.SetBounds(ucList.Area());
            lblLink.SetBounds({75, Height() - 300, 3000, 240});
            cmdHide.SetBounds({Width() - 1500, Height() - 345, 1400, 330});
            line.SetBounds({75, Height() - 360, Width() - 150, 30});
        };
        SetClientSize(9000, 6000);
    }

    void ShowCurrentPanel() {
        ucList.SetVisible(ts.SelectedKey() == u"list");
        ucText.SetVisible(ts.SelectedKey() == u"text");
    }
    void NextTab() {
        ts.SetSelectedIndex(ts.SelectedIndex() % ts.Tabs().size() + 1);
        ShowCurrentPanel();
    }

    EventLog& log;
    bool stays = false;
    MenuItem mnuFile{*this, u"mnuFile", u"&File"};
    MenuItem mnuRefresh{mnuFile, u"mnuRefresh", u"&Refresh"};
    MenuItem mnuFile1{mnuFile, u"mnuFile1", u"-"};
    MenuItem mnuExit{mnuFile, u"mnuExit", u"&Exit"};
    TabStrip ts{*this, u"ts", {{u"list", u"Step 1. List"}, {u"text", u"Step 2. Text"}}};
    ListPanel ucList{*this};
    TextPanel ucText{*this, log};
    Label lblLink{*this, u"lblLink", u"www.example"};
    Button cmdHide{*this, u"cmdHide", u"&Hide"};
    NativeChild line{*this, u"line", {u"Static", u"StaticLine", 0x50000010, 0x20004}};
};

}  // namespace bkfd
