// Realises a window of every kind of control on the real toolkit, reads it back through window
// messages, acts on it as the system does, and checks that each act raises one event and each
// setting none. Needs a display. Prints one line a failure; the exit code is their number.
#include <windows.h>

#include <commctrl.h>

#include <cstdio>
#include <iterator>

#include "common/Errors.h"
#include "ui/SampleWindow.h"
#include "ui/win32/Win32Toolkit.h"

namespace bkfd {
namespace {

int failures = 0;
int checks = 0;

std::string Joined(const EventLog& log) {
    std::string joined;
    for (const std::string& event : log) joined += (joined.empty() ? "" : "; ") + event;
    return joined;
}

void Expect(const std::string& what, const std::string& actual, const std::string& expected) {
    ++checks;
    if (actual == expected) return;
    ++failures;
    std::printf("FAILED %s: \"%s\" instead of \"%s\"\n", what.c_str(), actual.c_str(),
                expected.c_str());
}

void Expect(const std::string& what, long long actual, long long expected) {
    Expect(what, std::to_string(actual), std::to_string(expected));
}

class MirrorTest {
  public:
    MirrorTest() { InstallToolkit(&toolkit_); }
    ~MirrorTest() { InstallToolkit(nullptr); }

    void Run() {
        form_ = std::make_unique<FSample>(log_);
        form_->Show();
        toolkit_.PumpMessages();
        Expect("showing", Taken(), "load; activate");
        ReadBack();
        Looks();
        Settings();
        Acts();
        Keys();
        Modal();
        Sizes();
        Services();
        Errors();
        Endings();
    }

  private:
    HWND Of(const Control& control) {
        return reinterpret_cast<HWND>(toolkit_.NativeHandle(control));
    }
    long Pixels(int twips) { return ::MulDiv(twips, dotsPerInch_, 1440); }
    long Twips(long pixels) { return ::MulDiv(static_cast<int>(pixels), 1440, dotsPerInch_); }
    std::string Taken() { return Joined(std::exchange(log_, {})); }
    std::string TextOf(HWND window) {
        char buffer[4000] = {};
        ::SendMessageA(window, WM_GETTEXT, sizeof buffer, reinterpret_cast<LPARAM>(buffer));
        return buffer;
    }
    std::string TextOf(const Control& control) { return TextOf(Of(control)); }
    std::string Cell(const ListView& view, int row, int column) {
        char buffer[300] = {};
        LVITEMA item = {};
        item.iSubItem = column;
        item.pszText = buffer;
        item.cchTextMax = sizeof buffer;
        ::SendMessageA(Of(view), LVM_GETITEMTEXTA, static_cast<WPARAM>(row),
                       reinterpret_cast<LPARAM>(&item));
        return buffer;
    }
    long long Ask(const Control& control, UINT message, WPARAM wParam = 0, LPARAM lParam = 0) {
        return ::SendMessageA(Of(control), message, wParam, lParam);
    }
    void Post(const Control& control, UINT message, WPARAM wParam = 0, LPARAM lParam = 0) {
        ::PostMessageA(Of(control), message, wParam, lParam);
    }
    void Act(const Control& control, UINT message, WPARAM wParam = 0, LPARAM lParam = 0) {
        Post(control, message, wParam, lParam);
        toolkit_.PumpMessages();
    }
    RECT Client(const Control& control) {
        RECT client = {};
        ::GetClientRect(Of(control), &client);
        return client;
    }
    std::string Focused() { return ToUtf8(form_->Focused()->Name()); }
    void Key(const Control& control, WPARAM key, int shift = 0) {
        BYTE state[256] = {};
        if (shift & Shift::Shift) state[VK_SHIFT] = 0x80;
        if (shift & Shift::Control) state[VK_CONTROL] = 0x80;
        if (shift & Shift::Alt) state[VK_MENU] = 0x80;
        ::SetKeyboardState(state);
        const bool alt = (shift & Shift::Alt) != 0;
        Post(control, alt ? WM_SYSKEYDOWN : WM_KEYDOWN, key, alt ? 0x20000001 : 1);
        Act(control, alt ? WM_SYSKEYUP : WM_KEYUP, key, alt ? 0xE0000001 : 0xC0000001);
        BYTE released[256] = {};
        ::SetKeyboardState(released);
    }
    void ClickAt(const Control& control, UINT down, UINT up, int x, int y) {
        POINT place = {x, y};
        ::ClientToScreen(Of(control), &place);
        ::SetCursorPos(place.x, place.y);
        Post(control, down, down == WM_LBUTTONDOWN ? MK_LBUTTON : MK_RBUTTON, MAKELPARAM(x, y));
        Act(control, up, 0, MAKELPARAM(x, y));
    }

    void ReadBack() {
        Expect("button", TextOf(form_->cmdHide), "&Hide");
        Expect("label", TextOf(form_->ucList.Label4), "&Helpers:");
        DWORD start = 9, end = 9;
        Ask(form_->ucText.txtNotes, EM_GETSEL, reinterpret_cast<WPARAM>(&start),
            reinterpret_cast<LPARAM>(&end));
        Expect("selection", start * 100 + end, 17);
        Expect("column", Ask(form_->ucList.lv, LVM_GETCOLUMNWIDTH, 0), Pixels(3000));
        Expect("hidden panel", ::IsWindowVisible(Of(form_->ucText.txtNotes)), 0);
        Expect("shown panel", ::IsWindowVisible(Of(form_->ucList.lv)), 1);
        const RECT client = Client(*form_);
        Expect("client size", client.right * 10000 + client.bottom,
               Pixels(9000) * 10000 + Pixels(6000));
        Expect("etched line", ::GetWindowLongA(Of(form_->line), GWL_STYLE) & 0x1F, 0x10);
        Expect("etched line's name", TextOf(form_->line), "StaticLine");
        Expect("read-back raises nothing", Taken(), "");
    }

    // What stands at the client position of the window, and is seen there.
    HWND At(const Control& window, long x, long y) {
        return ::ChildWindowFromPoint(Of(window), POINT{x, y});
    }
    bool LooksDefault(const Control& button) {
        return (::GetWindowLongA(Of(button), GWL_STYLE) & 0xF) == BS_DEFPUSHBUTTON;
    }
    bool LastColumnFits() {
        return Ask(form_->ucList.lv, LVM_GETCOLUMNWIDTH, 0) +
                   Ask(form_->ucList.lv, LVM_GETCOLUMNWIDTH, 1) ==
               Client(form_->ucList.lv).right;
    }
    RECT CellOf(const ListView& view, WPARAM row, int column) {
        RECT cell = {LVIR_LABEL, column, 0, 0};
        Ask(view, LVM_GETSUBITEMRECT, row, reinterpret_cast<LPARAM>(&cell));
        return cell;
    }
    /// The colour at the cell's right end, where no text is.
    COLORREF BackgroundOf(const ListView& view, WPARAM row, int column) {
        ::UpdateWindow(Of(view));
        const RECT cell = CellOf(view, row, column);
        const HDC device = ::GetDC(Of(view));
        const COLORREF seen = ::GetPixel(device, cell.right - 4, (cell.top + cell.bottom) / 2);
        ::ReleaseDC(Of(view), device);
        return seen;
    }
    /// Whether the cell's text is seen in red.
    bool ShowsRed(const ListView& view, WPARAM row, int column) {
        ::UpdateWindow(Of(view));
        const RECT cell = CellOf(view, row, column);
        const HDC device = ::GetDC(Of(view));
        bool found = false;
        for (int y = cell.top; y < cell.bottom && !found; ++y) {
            for (int x = cell.left; x < cell.right && !found; ++x) {
                const COLORREF seen = ::GetPixel(device, x, y);
                found = GetRValue(seen) > 200 && GetGValue(seen) < 90 && GetBValue(seen) < 90;
            }
        }
        ::ReleaseDC(Of(view), device);
        return found;
    }
    void RedCells() {
        ListView& list = form_->ucList.lv;
        form_->cmdHide.SetFocus();
        Expect("red where it is set", ShowsRed(list, 1, 1), true);
        Expect("red nowhere else", ShowsRed(list, 0, 1), false);
        list.SetSelectedIndex(2);
        Expect("red in the selected row", ShowsRed(list, 1, 1), true);
        list.SetFocus();
        Expect("readable in the focused row", ShowsRed(list, 1, 1), false);
        list.SetSelectedIndex(1);
    }
    /// A selected row is seen without the focus, in any colours of the system.
    void RestingRow() {
        ListView& list = form_->ucList.lv;
        form_->cmdHide.SetFocus();
        list.SetSelectedIndex(1);
        const COLORREF face = ::GetSysColor(COLOR_BTNFACE);
        const INT changed = COLOR_BTNFACE;
        for (const COLORREF other : {face, ::GetSysColor(COLOR_WINDOW)}) {
            ::SetSysColors(1, &changed, &other);
            toolkit_.PumpMessages();
            ::InvalidateRect(Of(list), nullptr, TRUE);
            for (const int column : {0, 1}) {
                Expect("row without focus is seen",
                       BackgroundOf(list, 0, column) != BackgroundOf(list, 2, column), true);
            }
        }
        ::SetSysColors(1, &changed, &face);
        toolkit_.PumpMessages();
        list.SetFocus();
    }
    void DragDivider(int to) {
        const HWND header = reinterpret_cast<HWND>(Ask(form_->ucList.lv, LVM_GETHEADER));
        HDITEMA item = {};
        item.mask = HDI_WIDTH;
        item.cxy = to;
        ::SendMessageA(header, HDM_SETITEMA, 0, reinterpret_cast<LPARAM>(&item));
        toolkit_.PumpMessages();
    }
    void Dividers() {
        ListView& list = form_->ucList.lv;
        const long width = Pixels(3000);
        for (const long to : {width / 2, width + 20, width}) {
            DragDivider(static_cast<int>(to));
            Expect("divider dragged", Ask(list, LVM_GETCOLUMNWIDTH, 0), to);
            Expect("last column fits behind it", LastColumnFits(), true);
        }
    }
    /// The whole text of a cell that is cut off is shown where the mouse rests on it.
    void CellTips() {
        ListView& list = form_->ucList.lv;
        const Text cut = u"http://" + Text(80, u'x') + u"/the end";
        list.Item(3)->SetSubItem(1, cut);
        toolkit_.PumpMessages();
        HWND tip = nullptr;
        while ((tip = ::FindWindowExA(nullptr, tip, "tooltips_class32", nullptr)) != nullptr) {
            if (::GetWindow(tip, GW_OWNER) == Of(*form_)) break;
        }
        const auto pointAt = [&](WPARAM row, int column) {
            const RECT cell = CellOf(list, row, column);
            POINT place = {cell.left + 9, (cell.top + cell.bottom) / 2};
            const LPARAM position = MAKELPARAM(place.x, place.y);
            ::ClientToScreen(Of(list), &place);
            ::SetCursorPos(place.x, place.y);
            Act(list, WM_MOUSEMOVE, 0, position);
        };
        pointAt(2, 1);
        while (::IsWindowVisible(tip) == 0) toolkit_.WaitForInput();
        Expect("tip of a cut cell", TextOf(tip), ToUtf8(cut));
        pointAt(0, 1);
        Expect("no tip of a whole cell", ::IsWindowVisible(tip), 0);
        list.Item(3)->SetSubItem(1, {});
        toolkit_.PumpMessages();
    }
    void Looks() {
        RedCells();
        RestingRow();
        Dividers();
        CellTips();
        Expect("panel before its tabs", At(*form_, Pixels(4500), Pixels(3000)) == Of(form_->ucList),
               true);
        Expect("tabs beside the panel", At(*form_, Pixels(150), Pixels(3000)) == Of(form_->ts),
               true);
        Expect("last column fits", LastColumnFits(), true);
        form_->cmdHide.SetFocus();
        Expect("focused button takes Enter", LooksDefault(form_->cmdHide), true);
        form_->ucList.lv.SetFocus();
        Expect("button without focus", LooksDefault(form_->cmdHide), false);
        MINMAXINFO limits = {};
        Ask(*form_, WM_GETMINMAXINFO, 0, reinterpret_cast<LPARAM>(&limits));
        Expect("not smaller than made", limits.ptMinTrackSize.x >= Pixels(9000), true);
        Expect("looks raise nothing", Taken(), "");
    }

    void Settings() {
        auto& text = form_->ucText;
        auto& list = form_->ucList;
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
        toolkit_.PumpMessages();
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
        form_->NextTab();
        Expect("tab set", Ask(form_->ts, TCM_GETCURSEL), 1);
        Expect("panel shown", ::IsWindowVisible(Of(text.txtNotes)), 1);
        text.cmdSend.SetEnabled(false);
        Expect("disabled", ::IsWindowEnabled(Of(text.cmdSend)), 0);
        text.cmdSend.SetEnabled(true);
        text.cmdSend.SetCaption(u"&Go");
        Expect("caption set", TextOf(text.cmdSend), "&Go");
        form_->mnuRefresh.SetEnabled(false);
        Expect("menu entry disabled",
               ::GetMenuState(::GetSubMenu(::GetMenu(Of(*form_)), 0), 0, MF_BYPOSITION) & MF_GRAYED,
               MF_GRAYED);
        form_->mnuRefresh.SetEnabled(true);
        toolkit_.PumpMessages();
        Expect("settings raise nothing", Taken(), "");
    }

    void Acts() {
        auto& text = form_->ucText;
        auto& list = form_->ucList;
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
        ClickAt(form_->lblLink, WM_LBUTTONDOWN, WM_LBUTTONUP, 5, 5);
        Expect("link", Taken(), "link 1");
        Ask(form_->ts, TCM_SETCURFOCUS, 0);
        toolkit_.PumpMessages();
        Expect("tab", form_->ucList.Visible(), true);
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
        Act(*form_, WM_COMMAND, 1);
        Expect("menu", list.lv.SelectedIndex(), 1);
        list.lv.SetSelectedIndex(2);
        Act(list.cmdDelete, BM_CLICK);
        Expect("button", Ask(list.lv, LVM_GETITEMCOUNT), 2);
        Expect("acts", Taken(), "");
    }

    void Keys() {
        auto& text = form_->ucText;
        form_->ucList.lv.SetFocus();
        Expect("focus", ::GetFocus() == Of(form_->ucList.lv), true);
        Key(form_->ucList.lv, VK_F5);
        Key(form_->ucList.lv, VK_F5, Shift::Shift);
        Expect("F5", Taken(), "F5");
        int presses = 0;
        form_->onKeyDown = [&](int&, int) { ++presses; };
        Post(form_->ucList.lv, WM_KEYDOWN, VK_F6, 1);
        Act(form_->ucList.lv, WM_KEYDOWN, VK_F6, 0x40000001);
        Expect("F6 held down", presses, 1);
        form_->onKeyDown = nullptr;
        Key(form_->ucList.lv, VK_TAB);
        Expect("Tab", Focused(), "txtFile");
        Key(form_->ucList.txtFile, VK_TAB, Shift::Shift);
        Expect("Shift+Tab", Focused(), "lv");
        Key(form_->ucList.lv, VK_TAB, Shift::Shift);
        Expect("Shift+Tab to the tabs", Focused(), "ts");
        Key(form_->ts, VK_TAB, Shift::Shift);
        Expect("Shift+Tab past the first", Focused(), "cmdHide");
        Key(form_->cmdHide, VK_TAB, Shift::Shift);
        Key(form_->lblLink, VK_RETURN);
        Key(form_->lblLink, VK_SPACE);
        Expect("a link by keys", Taken(), "link 1; link 1");
        ::SetFocus(Of(form_->ucList.txtFile));
        Act(form_->ucList.txtFile, WM_SYSCHAR, 'h', 0x20000001);
        Expect("a label's letter", Focused(), "lv");
        Key(form_->ucList.txtFile, VK_TAB, Shift::Control);
        Expect("Ctrl+Tab", Ask(form_->ts, TCM_GETCURSEL), 1);
        text.txtNotes.SetFocus();
        toolkit_.SetClipboardText(u"c\u00E4");
        Key(text.txtNotes, 'V', Shift::Control);
        Expect("own paste", TextOf(text.txtNotes), "a[c\xE4]");
        Key(text.txtNotes, VK_RETURN);
        Expect("Enter in many lines", TextOf(text.txtNotes).find("\r\n") != std::string::npos, 1);
        Taken();
        Key(text.txtNotes, VK_ESCAPE);
        Expect("Escape", Taken(), "escape");
        Expect("cancel button", ::IsWindowVisible(Of(*form_)), 0);
        form_->Show();
        toolkit_.PumpMessages();
        Expect("shown again", Taken(), "activate");
    }

    void Modal() {
        form_->ucText.cmdSend.onClick = [this] {
            FWork work;
            work.onStarted = [&] {
                Expect("owner disabled", ::IsWindowEnabled(Of(*form_)), 0);
                Expect("work visible", ::IsWindowVisible(Of(work)), 1);
                RECT outer = {};
                ::GetWindowRect(Of(work), &outer);
                Expect("work's width", Twips(outer.right - outer.left), work.WindowWidth());
                toolkit_.PumpMessages();
                log_.push_back("working");
                work.Finish();
            };
            work.ShowProgress(u"Please wait... ", form_.get());
            log_.push_back("done");
        };
        form_->ts.SetSelectedIndex(2);
        form_->ShowCurrentPanel();
        Act(form_->ucText.cmdSend, BM_CLICK);
        Expect("modal work", Taken(), "working; activate; done");
        Expect("owner enabled", ::IsWindowEnabled(Of(*form_)), 1);
    }

    void Sizes() {
        ::SetWindowPos(Of(*form_), nullptr, 0, 0, static_cast<int>(Pixels(10500)),
                       static_cast<int>(Pixels(7500)), SWP_NOMOVE | SWP_NOZORDER);
        toolkit_.PumpMessages();
        Expect("width in twips", form_->Width(), Twips(Client(*form_).right));
        Expect("layout", Client(form_->ts).right, Client(*form_).right - Pixels(150));
        form_->SetClientSize(6000, 4500);
        const RECT client = Client(*form_);
        Expect("size set", client.right * 10000 + client.bottom,
               Pixels(6000) * 10000 + Pixels(4500));
        Expect("sizes", Taken(), "");
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
        toolkit_.ShowMessageBox(text, MessageStyle::Information, u"Box");
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
        while (timer.IsRunning()) toolkit_.WaitForInput();
        ::Sleep(60);
        toolkit_.PumpMessages();
        Expect("timer", fired, 1);
        toolkit_.SetClipboardText(u"clip");
        Expect("clipboard", ToUtf8(toolkit_.ClipboardText()), "clip");
        const Size one = toolkit_.MeasureText(u"Wide text");
        const Size two = toolkit_.MeasureText(u"Wide text\r\nand more");
        Expect("measure", two.height == 2 * one.height && one.width > 0, true);
        Post(*form_, WM_KEYDOWN, VK_DOWN, 1);
        Post(*form_, WM_KEYDOWN, VK_RETURN, 1);
        bool chosen = false;
        form_->ucList.mnuDelete.onClick = [&] { chosen = true; };
        form_->PopupMenu(form_->ucList.mnuContext);
        Expect("popup menu", chosen, true);
        // The boxes come last: the window they leave is told of its focus late, which ends a menu.
        Expect("a NUL cuts no message", BoxLength(Text(u"nul\0tail", 8)), 8);
        Expect("a long text without its middle", BoxLength(Text(32767, u'x')) < 1050, true);
        ExpectBoxOnScreen("a word without an end");
        BoxLength(Text(32767, u'\n'));
        ExpectBoxOnScreen("lines without an end");
    }

    void Errors() {
        form_->ucText.cmdSend.onClick = [] { throw RuntimeError(ErrorNumber::DeviceIo); };
        Expect("a handler's error", ErrorOf([&] { Act(form_->ucText.cmdSend, BM_CLICK); }), 57);
        toolkit_.PumpMessages();
    }

    void Endings() {
        form_->stays = true;
        Act(*form_, WM_CLOSE);
        Expect("cancelled close", Taken() + (form_->Visible() ? ", visible" : ""),
               "close box, visible");
        form_->stays = false;
        const HWND window = Of(*form_);
        form_->ucList.lv.onItemClick = [this](const ListItemRef&) { form_.reset(); };
        form_->ts.SetSelectedIndex(1);
        form_->ShowCurrentPanel();
        form_->ucList.Fill();
        Act(form_->ucList.lv, WM_KEYDOWN, VK_DOWN, 1);
        Expect("form destroyed by its list's handler", form_ == nullptr, true);
        Expect("window gone", ::IsWindow(window), 0);
    }

    int dotsPerInch_ = ::GetDeviceCaps(::GetDC(nullptr), LOGPIXELSX);
    static inline int boxLength_ = 0;
    static inline RECT box_ = {};
    Win32Toolkit toolkit_;
    EventLog log_;
    std::unique_ptr<FSample> form_;
};

}  // namespace
}  // namespace bkfd

int main() {
    bkfd::MirrorTest().Run();
    std::printf("%d checks, %d failures (%s calls)\n", bkfd::checks, bkfd::failures,
                (::GetVersion() & 0x80000000u) == 0 ? "wide" : "ANSI");
    return bkfd::failures;
}
