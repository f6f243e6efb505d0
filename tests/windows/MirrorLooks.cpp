#include "windows/MirrorLooks.h"

namespace bkfd {

HWND MirrorLooks::At(const Control& window, long x, long y) {
    return ::ChildWindowFromPoint(Of(window), POINT{x, y});
}

bool MirrorLooks::LooksDefault(const Control& button) {
    return (::GetWindowLongA(Of(button), GWL_STYLE) & 0xF) == BS_DEFPUSHBUTTON;
}

bool MirrorLooks::LastColumnFits() {
    return Ask(form->ucList.lv, LVM_GETCOLUMNWIDTH, 0) +
               Ask(form->ucList.lv, LVM_GETCOLUMNWIDTH, 1) ==
           Client(form->ucList.lv).right;
}

RECT MirrorLooks::CellOf(const ListView& view, WPARAM row, int column) {
    RECT cell = {LVIR_LABEL, column, 0, 0};
    Ask(view, LVM_GETSUBITEMRECT, row, reinterpret_cast<LPARAM>(&cell));
    return cell;
}

COLORREF MirrorLooks::BackgroundOf(const ListView& view, WPARAM row, int column) {
    ::UpdateWindow(Of(view));
    const RECT cell = CellOf(view, row, column);
    const HDC device = ::GetDC(Of(view));
    const COLORREF seen = ::GetPixel(device, cell.right - 4, (cell.top + cell.bottom) / 2);
    ::ReleaseDC(Of(view), device);
    return seen;
}

bool MirrorLooks::ShowsRed(const ListView& view, WPARAM row, int column) {
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

void MirrorLooks::RedCells() {
    ListView& list = form->ucList.lv;
    form->cmdHide.SetFocus();
    Expect("red where it is set", ShowsRed(list, 1, 1), true);
    Expect("red nowhere else", ShowsRed(list, 0, 1), false);
    list.SetSelectedIndex(2);
    Expect("red in the selected row", ShowsRed(list, 1, 1), true);
    list.SetFocus();
    Expect("readable in the focused row", ShowsRed(list, 1, 1), false);
    list.SetSelectedIndex(1);
}

void MirrorLooks::RestingRow() {
    ListView& list = form->ucList.lv;
    form->cmdHide.SetFocus();
    list.SetSelectedIndex(1);
    const COLORREF face = ::GetSysColor(COLOR_BTNFACE);
    const INT changed = COLOR_BTNFACE;
    for (const COLORREF other : {face, ::GetSysColor(COLOR_WINDOW)}) {
        ::SetSysColors(1, &changed, &other);
        toolkit.PumpMessages();
        ::InvalidateRect(Of(list), nullptr, TRUE);
        for (const int column : {0, 1}) {
            Expect("row without focus is seen",
                   BackgroundOf(list, 0, column) != BackgroundOf(list, 2, column), true);
        }
    }
    ::SetSysColors(1, &changed, &face);
    toolkit.PumpMessages();
    list.SetFocus();
}

void MirrorLooks::DragDivider(int to) {
    const HWND header = reinterpret_cast<HWND>(Ask(form->ucList.lv, LVM_GETHEADER));
    HDITEMA item = {};
    item.mask = HDI_WIDTH;
    item.cxy = to;
    ::SendMessageA(header, HDM_SETITEMA, 0, reinterpret_cast<LPARAM>(&item));
    toolkit.PumpMessages();
}

void MirrorLooks::Dividers() {
    ListView& list = form->ucList.lv;
    const long width = Pixels(3000);
    for (const long to : {width / 2, width + 20, width}) {
        DragDivider(static_cast<int>(to));
        Expect("divider dragged", Ask(list, LVM_GETCOLUMNWIDTH, 0), to);
        Expect("last column fits behind it", LastColumnFits(), true);
    }
}

void MirrorLooks::CellTips() {
    ListView& list = form->ucList.lv;
    const Text cut = u"http://" + Text(80, u'x') + u"/the end";
    list.Item(3)->SetSubItem(1, cut);
    toolkit.PumpMessages();
    HWND tip = nullptr;
    while ((tip = ::FindWindowExA(nullptr, tip, "tooltips_class32", nullptr)) != nullptr) {
        if (::GetWindow(tip, GW_OWNER) == Of(*form)) break;
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
    while (::IsWindowVisible(tip) == 0) toolkit.WaitForInput();
    Expect("tip of a cut cell", TextOf(tip), ToUtf8(cut));
    pointAt(0, 1);
    Expect("no tip of a whole cell", ::IsWindowVisible(tip), 0);
    list.Item(3)->SetSubItem(1, {});
    toolkit.PumpMessages();
}

void MirrorLooks::Looks() {
    RedCells();
    RestingRow();
    Dividers();
    CellTips();
    Expect("panel before its tabs", At(*form, Pixels(4500), Pixels(3000)) == Of(form->ucList),
           true);
    Expect("tabs beside the panel", At(*form, Pixels(150), Pixels(3000)) == Of(form->ts), true);
    Expect("last column fits", LastColumnFits(), true);
    form->cmdHide.SetFocus();
    Expect("focused button takes Enter", LooksDefault(form->cmdHide), true);
    form->ucList.lv.SetFocus();
    Expect("button without focus", LooksDefault(form->cmdHide), false);
    MINMAXINFO limits = {};
    Ask(*form, WM_GETMINMAXINFO, 0, reinterpret_cast<LPARAM>(&limits));
    Expect("not smaller than made", limits.ptMinTrackSize.x >= Pixels(9000), true);
    Expect("looks raise nothing", Taken(), "");
}

}  // namespace bkfd
