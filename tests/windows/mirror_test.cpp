// Realises a window of every kind of control on the real toolkit, reads it back through window
// messages, acts on it as the system does, and checks that each act raises one event and each
// setting none. Needs a display. Prints one line a failure; the exit code is their number.
#include <windows.h>

#include <commctrl.h>

#include <cstdio>

#include "common/Errors.h"
#include "windows/MirrorLooks.h"

namespace bkfd {
namespace {

class MirrorTest : private MirrorLooks {
  public:
    void Run() {
        form = std::make_unique<FSample>(log);
        form->Show();
        toolkit.PumpMessages();
        Expect("showing", Taken(), "load; activate");
        ReadBack();
        Looks();
        Settings();
        Acts();
        Keys();
        Modal();
        Sizes();
        Resolution();
        Services();
        Errors();
        Endings();
    }

  private:
    void ReadBack() {
        Expect("button", TextOf(form->cmdHide), "&Hide");
        Expect("label", TextOf(form->ucList.Label4), "&Helpers:");
        DWORD start = 9, end = 9;
        Ask(form->ucText.txtNotes, EM_GETSEL, reinterpret_cast<WPARAM>(&start),
            reinterpret_cast<LPARAM>(&end));
        Expect("selection", start * 100 + end, 17);
        Expect("column", Ask(form->ucList.lv, LVM_GETCOLUMNWIDTH, 0), Pixels(3000));
        Expect("hidden panel", ::IsWindowVisible(Of(form->ucText.txtNotes)), 0);
        Expect("shown panel", ::IsWindowVisible(Of(form->ucList.lv)), 1);
        const RECT client = Client(*form);
        Expect("client size", client.right * 10000 + client.bottom,
               Pixels(9000) * 10000 + Pixels(6000));
        Expect("etched line", ::GetWindowLongA(Of(form->line), GWL_STYLE) & 0x1F, 0x10);
        Expect("etched line's name", TextOf(form->line), "StaticLine");
        Expect("read-back raises nothing", Taken(), "");
    }

    void Settings() {
        auto& text = form->ucText;
        auto& list = form->ucList;
        text.txtNotes.SetText(Text(u"nul\0tail", 8));
        Expect("a NUL hides nothing", TextOf(text.txtNotes).size() > 6, true);
        text.txtNotes.SetText(u"set");
        Expect("text set", TextOf(text.txtNotes), "set");
        const ListItemRef added = list.lv.Add(u"caf\u00E9", u"i");
        added->SetSubItem(1, u"sub");
        Expect("row added", Cell(list.lv, 3, 1), "sub");
        added->SetSelected(true);
        Expect("row selected",
               Ask(list.lv, LVM_GETNEXTITEM, static_cast<WPARAM>(-1), LVNI_SELECTED), 3);
        added->SetText(Text(32767, u'x'));
        list.lv.Remove(4);
        Expect("row removed", Ask(list.lv, LVM_GETITEMCOUNT), 3);
        const DWORD start = ::GetTickCount();
        for (int i = 0; i < 3000; ++i) list.lv.Add(u"many")->SetSubItem(1, u"rows");
        toolkit.PumpMessages();
        Expect("many rows", Ask(list.lv, LVM_GETITEMCOUNT), 3003);
        Expect("list drawn again", ::IsWindowVisible(Of(list.lv)), 1);
        std::printf("3000 rows in %lu ms\n", ::GetTickCount() - start);
        list.Fill();
        list.lv.SetColumnWidth(1, 1500);
        Expect("column set", Ask(list.lv, LVM_GETCOLUMNWIDTH, 0), Pixels(1500));
        for (const char16_t* line : {u"one", u"two", u"three"}) text.lstFiles.Add(line);
        text.lstFiles.SetSelectedIndex(2);
        Expect("lines", Ask(text.lstFiles, LB_GETCOUNT) * 10 + Ask(text.lstFiles, LB_GETCURSEL),
               31);
        text.lstFiles.Remove(1);
        Expect("line removed", Ask(text.lstFiles, LB_GETCOUNT), 2);
        form->NextTab();
        Expect("tab set", Ask(form->ts, TCM_GETCURSEL), 1);
        Expect("panel shown", ::IsWindowVisible(Of(text.txtNotes)), 1);
        text.cmdSend.SetEnabled(false);
        Expect("disabled", ::IsWindowEnabled(Of(text.cmdSend)), 0);
        text.cmdSend.SetEnabled(true);
        text.cmdSend.SetCaption(u"&Go");
        Expect("caption set", TextOf(text.cmdSend), "&Go");
        form->mnuRefresh.SetEnabled(false);
        Expect("menu entry disabled",
               ::GetMenuState(::GetSubMenu(::GetMenu(Of(*form)), 0), 0, MF_BYPOSITION) & MF_GRAYED,
               MF_GRAYED);
        form->mnuRefresh.SetEnabled(true);
        toolkit.PumpMessages();
        Expect("settings raise nothing", Taken(), "");
    }

    void Acts() {
        auto& text = form->ucText;
        auto& list = form->ucList;
        text.txtNotes.ShowPlaceholder(u"Your text here...");
        ClickAt(text.txtNotes, WM_LBUTTONDOWN, WM_LBUTTONUP, 40, 5);
        Act(text.txtNotes, WM_CHAR, 'a', 1);
        Expect("typing behind a click on the placeholder", Taken(), "change a");
        ClickAt(text.txtNotes, WM_LBUTTONDOWN, WM_LBUTTONUP, 40, 5);
        Act(text.txtNotes, WM_CHAR, 'b', 1);
        Expect("typing behind a click on a text", Taken(), "change ab");
        text.txtNotes.SetText(u"a");
        ClickAt(text.lstFiles, WM_LBUTTONDOWN, WM_LBUTTONUP, 5, 3);
        Expect("line", Taken(), "line two");
        Act(text.Image1, WM_LBUTTONDBLCLK);
        Expect("picture", Taken(), "picture");
        ClickAt(form->lblLink, WM_LBUTTONDOWN, WM_LBUTTONUP, 5, 5);
        Expect("link", Taken(), "link 1");
        Ask(form->ts, TCM_SETCURFOCUS, 0);
        toolkit.PumpMessages();
        Expect("tab", form->ucList.Visible(), true);
        int clicks = 0;
        const auto fill = list.lv.onItemClick;
        list.lv.onItemClick = [&](const ListItemRef& item) { ++clicks, fill(item); };
        RECT row = {LVIR_LABEL, 0, 0, 0};
        Ask(list.lv, LVM_GETITEMRECT, 1, reinterpret_cast<LPARAM>(&row));
        ClickAt(list.lv, WM_LBUTTONDOWN, WM_LBUTTONUP, row.left + 5, row.top + 5);
        Expect("one click a row", clicks, 1);
        Expect("text of the row", TextOf(list.txtFile), "c:\\bad.dll");
        Key(list.lv, VK_DOWN);
        Expect("one event a key", clicks, 2);
        Expect("row below", list.lv.SelectedIndex(), 3);
        list.lv.onItemClick = fill;
        Act(*form, WM_COMMAND, 1);
        Expect("menu", list.lv.SelectedIndex(), 1);
        list.lv.SetSelectedIndex(2);
        Act(list.cmdDelete, BM_CLICK);
        Expect("button", Ask(list.lv, LVM_GETITEMCOUNT), 2);
        Expect("acts", Taken(), "");
    }

    void Keys() {
        auto& text = form->ucText;
        form->ucList.lv.SetFocus();
        Expect("focus", ::GetFocus() == Of(form->ucList.lv), true);
        Key(form->ucList.lv, VK_F5);
        Key(form->ucList.lv, VK_F5, Shift::Shift);
        Expect("F5", Taken(), "F5");
        int presses = 0;
        form->onKeyDown = [&](int&, int) { ++presses; };
        Post(form->ucList.lv, WM_KEYDOWN, VK_F6, 1);
        Act(form->ucList.lv, WM_KEYDOWN, VK_F6, 0x40000001);
        Expect("F6 held down", presses, 1);
        form->onKeyDown = nullptr;
        Key(form->ucList.lv, VK_TAB);
        Expect("Tab", Focused(), "txtFile");
        Key(form->ucList.txtFile, VK_TAB, Shift::Shift);
        Expect("Shift+Tab", Focused(), "lv");
        Key(form->ucList.lv, VK_TAB, Shift::Shift);
        Expect("Shift+Tab to the tabs", Focused(), "ts");
        Key(form->ts, VK_TAB, Shift::Shift);
        Expect("Shift+Tab past the first", Focused(), "cmdHide");
        Key(form->cmdHide, VK_TAB, Shift::Shift);
        Key(form->lblLink, VK_RETURN);
        Key(form->lblLink, VK_SPACE);
        Expect("a link by keys", Taken(), "link 1; link 1");
        ::SetFocus(Of(form->ucList.txtFile));
        Act(form->ucList.txtFile, WM_SYSCHAR, 'h', 0x20000001);
        Expect("a label's letter", Focused(), "lv");
        Key(form->ucList.txtFile, VK_TAB, Shift::Control);
        Expect("Ctrl+Tab", Ask(form->ts, TCM_GETCURSEL), 1);
        text.txtNotes.SetFocus();
        toolkit.SetClipboardText(u"c\u00E4");
        Key(text.txtNotes, 'V', Shift::Control);
        Expect("own paste", TextOf(text.txtNotes), "a[c\xE4]");
        Key(text.txtNotes, VK_RETURN);
        Expect("Enter in many lines", TextOf(text.txtNotes).find("\r\n") != std::string::npos, 1);
        Taken();
        Key(text.txtNotes, VK_ESCAPE);
        Expect("Escape", Taken(), "escape");
        Expect("cancel button", ::IsWindowVisible(Of(*form)), 0);
        form->Show();
        toolkit.PumpMessages();
        Expect("shown again", Taken(), "activate");
    }

    void Modal() {
        form->ucText.cmdSend.onClick = [this] {
            FWork work;
            work.onStarted = [&] {
                Expect("owner disabled", ::IsWindowEnabled(Of(*form)), 0);
                Expect("work visible", ::IsWindowVisible(Of(work)), 1);
                RECT outer = {};
                ::GetWindowRect(Of(work), &outer);
                Expect("work's width", Twips(outer.right - outer.left), work.WindowWidth());
                toolkit.PumpMessages();
                log.push_back("working");
                work.Finish();
            };
            work.ShowProgress(u"Please wait... ", form.get());
            log.push_back("done");
        };
        form->ts.SetSelectedIndex(2);
        form->ShowCurrentPanel();
        Act(form->ucText.cmdSend, BM_CLICK);
        Expect("modal work", Taken(), "working; activate; done");
        Expect("owner enabled", ::IsWindowEnabled(Of(*form)), 1);
    }

    void Sizes() {
        ::SetWindowPos(Of(*form), nullptr, 0, 0, static_cast<int>(Pixels(10500)),
                       static_cast<int>(Pixels(7500)), SWP_NOMOVE | SWP_NOZORDER);
        toolkit.PumpMessages();
        Expect("width in twips", form->Width(), Twips(Client(*form).right));
        Expect("layout", Client(form->ts).right, Client(*form).right - Pixels(150));
        form->SetClientSize(6000, 4500);
        const RECT client = Client(*form);
        Expect("size set", client.right * 10000 + client.bottom,
               Pixels(6000) * 10000 + Pixels(4500));
        Expect("sizes", Taken(), "");
    }

    /// As when the window is moved to a screen with twice as many dots, and back.
    void Resolution() {
        constexpr UINT kChanged = 0x02E0;  // WM_DPICHANGED
        const int usual = static_cast<int>(Pixels(1440));
        form->ucText.txtNotes.SetText(u"kept");
        RECT area = {};
        ::GetWindowRect(Of(*form), &area);
        RECT twice = area;
        twice.right += area.right - area.left;
        twice.bottom += area.bottom - area.top;
        const auto moveTo = [&](int dots, RECT& place) {
            ::SendMessageA(Of(*form), kChanged, MAKEWPARAM(dots, dots),
                           reinterpret_cast<LPARAM>(&place));
            toolkit.PumpMessages();
        };
        const auto height = [&] { return Client(form->cmdHide).bottom; };
        const auto column = [&] { return Ask(form->ucList.lv, LVM_GETCOLUMNWIDTH, 0); };
        const long heightBefore = height();
        const long long columnBefore = column();
        moveTo(2 * usual, twice);
        Expect("button of twice the height", height(), 2 * heightBefore);
        Expect("layout for twice the dots", Client(form->ts).right,
               Client(*form).right - 2 * Pixels(150));
        Expect("text for twice the dots", TextOf(form->ucText.txtNotes), "kept");
        Expect("column for twice the dots", column(), 2 * columnBefore);
        moveTo(usual, area);
        Expect("height as before", height(), heightBefore);
        Expect("another resolution raises nothing", Taken(), "");
    }

    /// Reads the message box when it is there, and presses its button.
    static void CALLBACK ReadBox(HWND, UINT, UINT_PTR timer, DWORD) {
        const HWND box = ::FindWindowA("#32770", "Box");
        if (!box) return;
        ::KillTimer(nullptr, timer);
        ::GetWindowRect(box, &box_);
        boxLength_ = ::GetWindowTextLengthW(::GetDlgItem(box, 0xFFFF));
        ::PostMessageA(box, WM_COMMAND, IDOK, 0);
    }
    /// How much of the text a message box shows.
    int BoxLength(const Text& text) {
        ::SetTimer(nullptr, 0, 20, &MirrorTest::ReadBox);
        toolkit.ShowMessageBox(text, MessageStyle::Information, u"Box");
        return boxLength_;
    }
    static void ExpectBoxOnScreen(const std::string& what) {
        const RECT screen = {0, 0, ::GetSystemMetrics(SM_CXSCREEN),
                             ::GetSystemMetrics(SM_CYSCREEN)};
        RECT common = {};
        ::IntersectRect(&common, &screen, &box_);
        Expect(what, ::EqualRect(&common, &box_), 1);
    }
    void Services() {
        Timer timer;
        int fired = 0;
        timer.onTimer = [&] { ++fired; };
        timer.Start(20);
        while (timer.IsRunning()) toolkit.WaitForInput();
        ::Sleep(60);
        toolkit.PumpMessages();
        Expect("timer", fired, 1);
        toolkit.SetClipboardText(u"clip");
        Expect("clipboard", ToUtf8(toolkit.ClipboardText()), "clip");
        const Size one = toolkit.MeasureText(u"Wide text");
        const Size two = toolkit.MeasureText(u"Wide text\r\nand more");
        Expect("measure", two.height == 2 * one.height && one.width > 0, true);
        Post(*form, WM_KEYDOWN, VK_DOWN, 1);
        Post(*form, WM_KEYDOWN, VK_RETURN, 1);
        bool chosen = false;
        form->ucList.mnuDelete.onClick = [&] { chosen = true; };
        form->PopupMenu(form->ucList.mnuContext);
        Expect("popup menu", chosen, true);
        // The boxes come last: the window they leave is told of its focus late, which ends a menu.
        Expect("a NUL cuts no message", BoxLength(Text(u"nul\0tail", 8)), 8);
        Expect("a long text without its middle", BoxLength(Text(32767, u'x')) < 1050, true);
        ExpectBoxOnScreen("a word without an end");
        BoxLength(Text(32767, u'\n'));
        ExpectBoxOnScreen("lines without an end");
    }

    void Errors() {
        form->ucText.cmdSend.onClick = [] { throw RuntimeError(ErrorNumber::DeviceIo); };
        Expect("a handler's error", ErrorOf([&] { Act(form->ucText.cmdSend, BM_CLICK); }), 57);
        toolkit.PumpMessages();
    }

    void Endings() {
        form->stays = true;
        Act(*form, WM_CLOSE);
        Expect("cancelled close", Taken() + (form->Visible() ? ", visible" : ""),
               "close box, visible");
        form->stays = false;
        const HWND window = Of(*form);
        form->ucList.lv.onItemClick = [this](const ListItemRef&) { form.reset(); };
        form->ts.SetSelectedIndex(1);
        form->ShowCurrentPanel();
        form->ucList.Fill();
        Act(form->ucList.lv, WM_KEYDOWN, VK_DOWN, 1);
        Expect("form destroyed by its list's handler", form == nullptr, true);
        Expect("window gone", ::IsWindow(window), 0);
    }

    static inline int boxLength_ = 0;
    static inline RECT box_ = {};
};

}  // namespace
}  // namespace bkfd

int main() {
    bkfd::MirrorTest().Run();
    std::printf("%d checks, %d failures (%s calls)\n", bkfd::Checks(), bkfd::Failures(),
                (::GetVersion() & 0x80000000u) == 0 ? "wide" : "ANSI");
    return bkfd::Failures();
}
