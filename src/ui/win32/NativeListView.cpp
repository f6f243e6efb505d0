#include <algorithm>

#include "ui/Keys.h"
#include "ui/win32/CellTip.h"
#include "ui/win32/Colours.h"
#include "ui/win32/NativeForm.h"
#include "ui/win32/NativeLists.h"
#include "ui/win32/PictureResources.h"
#include "ui/win32/Scope.h"

namespace bkfd::native {
namespace {

class NativeListView : public NativeControl {
  public:
    using NativeControl::NativeControl;

    POINT MenuPlace() const override {
        const std::size_t row = NativeSelection();
        if (row == 0) return {};
        RECT place = {LVIR_LABEL, 0, 0, 0};
        Tell(LVM_GETITEMRECT, row - 1, reinterpret_cast<LPARAM>(&place));
        return {place.left, place.bottom};
    }

  protected:
    HWND Make(HWND parent, const RECT& area) override {
        return MakeChild(
            parent, area, u"SysListView32", u"",
            LVS_REPORT | LVS_SINGLESEL | LVS_SHOWSELALWAYS | LVS_NOSORTHEADER | LVS_SHAREIMAGELISTS,
            WS_EX_CLIENTEDGE);
    }
    void ReplayState() override {
        Tell(LVM_SETEXTENDEDLISTVIEWSTYLE, 0, LVS_EX_FULLROWSELECT);
        tip_.Attach(Window());
        icons_ = LoadSmallIcons(As<ListView>()->Images());
        Tell(LVM_SETIMAGELIST, LVSIL_SMALL, reinterpret_cast<LPARAM>(icons_.Get()));
        MakeColumns();
        Tell(WM_SETREDRAW, FALSE);
        for (std::size_t row = 1; row <= As<ListView>()->Count(); ++row) Insert(row);
        Tell(WM_SETREDRAW, TRUE);
        FitLastColumn();
        ShowSelection();
    }
    void Apply(Change change) override {
        if (change.aspect == Aspect::ItemAdded || change.aspect == Aspect::ItemChanged) Freeze();
        if (change.aspect == Aspect::Visible) Thaw();
        const auto row = static_cast<WPARAM>(change.index - 1);
        switch (change.aspect) {
            case Aspect::ItemAdded:
                Insert(change.index);
                break;
            case Aspect::ItemChanged:
                Fill(change.index);
                break;
            case Aspect::ItemRemoved:
                Tell(LVM_DELETEITEM, row);
                break;
            case Aspect::ItemsCleared:
                Tell(LVM_DELETEALLITEMS);
                break;
            case Aspect::Columns:
                Tell(LVM_SETCOLUMNWIDTH, row, WidthOf(change.index));
                FitLastColumn();
                break;
            case Aspect::Selection:
                ShowSelection();
                break;
            default:
                break;
        }
    }
    void Thaw() override {
        if (!frozen_) return;
        frozen_ = false;
        // The native list shows itself when it is thawed, even if it is hidden.
        Tell(WM_SETREDRAW, TRUE);
        if (!Target() || !Target()->Visible()) ::ShowWindow(Window(), SW_HIDE);
        FitLastColumn();
        ::InvalidateRect(Window(), nullptr, TRUE);
    }
    LRESULT Notified(NMHDR& header) override {
        switch (static_cast<int>(header.code)) {
            case static_cast<int>(LVN_ITEMCHANGED):
                ItemChanged(reinterpret_cast<const NMLISTVIEW&>(header));
                return 0;
            case static_cast<int>(NM_CLICK):
                Clicked(MouseButton::Left);
                return 0;
            case static_cast<int>(NM_RCLICK):
                Clicked(MouseButton::Right);
                return 0;
            case static_cast<int>(NM_CUSTOMDRAW):
                return Draw(reinterpret_cast<NMLVCUSTOMDRAW&>(header));
            default:
                return 0;
        }
    }
    std::optional<LRESULT> Received(UINT message, WPARAM wParam, LPARAM lParam) override {
        if (message == WM_LBUTTONDOWN || message == WM_RBUTTONDOWN) reported_ = false;
        if (message >= WM_MOUSEFIRST && message <= WM_MBUTTONDBLCLK) {
            PointTip({static_cast<short>(LOWORD(lParam)), static_cast<short>(HIWORD(lParam))});
            tip_.Relay(message, wParam, lParam);
        }
        const bool resizes = message == WM_WINDOWPOSCHANGED || message == WM_SIZE;
        if (!resizes && !IsHeaderChange(message, lParam)) return std::nullopt;
        const LRESULT result = CallOriginalProcedure(message, wParam, lParam);
        FitLastColumn();
        if (!resizes && !frozen_) ::InvalidateRect(Window(), nullptr, TRUE);
        return result;
    }

  private:
    // A list that is being filled is drawn when that is done: drawing each row would take the
    // square of the time.
    void Freeze() {
        if (frozen_) return;
        frozen_ = true;
        Tell(WM_SETREDRAW, FALSE);
        OwningForm().ThawLater(*this);
    }

    // The list scrolls what stands behind a divider that moves, and leaves pieces of the texts: it
    // is drawn anew.
    static bool IsHeaderChange(UINT message, LPARAM lParam) {
        if (message != WM_NOTIFY) return false;
        const UINT code = reinterpret_cast<const NMHDR*>(lParam)->code;
        return code == HDN_ITEMCHANGEDW || code == HDN_ITEMCHANGEDA;
    }

    LPARAM WidthOf(std::size_t column) const {
        return OwningForm().Scale().ToPixels(As<ListView>()->Columns()[column - 1].width);
    }

    void MakeColumns() {
        const auto& columns = As<ListView>()->Columns();
        for (std::size_t column = 1; column <= columns.size(); ++column) {
            const NativeText caption(columns[column - 1].caption);
            LVCOLUMNW native = {};
            native.mask = LVCF_TEXT | LVCF_WIDTH | LVCF_SUBITEM;
            native.cx = static_cast<int>(WidthOf(column));
            native.pszText = caption.Field();
            native.iSubItem = static_cast<int>(column) - 1;
            Tell(Either(LVM_INSERTCOLUMNW, LVM_INSERTCOLUMNA), column - 1,
                 reinterpret_cast<LPARAM>(&native));
        }
    }

    // The last column takes what the others leave, which hangs on the scroll bar, but no less than
    // half of its own width.
    void FitLastColumn() {
        if (!Target() || fitting_ > 0) return;
        const Scope fitting(fitting_);
        const std::size_t last = As<ListView>()->Columns().size();
        if (last == 0) return;
        RECT client = {};
        ::GetClientRect(Window(), &client);
        LRESULT left = client.right;
        for (WPARAM column = 0; column + 1 < last; ++column) {
            left -= Tell(LVM_GETCOLUMNWIDTH, column);
        }
        const LRESULT width = std::max<LRESULT>(left, WidthOf(last) / 2);
        if (width != Tell(LVM_GETCOLUMNWIDTH, last - 1)) Tell(LVM_SETCOLUMNWIDTH, last - 1, width);
    }

    int IconOf(const ListItem& item) const {
        const int place = PlaceOfImage(As<ListView>()->Images(), item.SmallIcon());
        return place < 0 ? I_IMAGENONE : place;
    }

    void Insert(std::size_t row) {
        const ListItem& item = *As<ListView>()->Item(row);
        const NativeText content(item.GetText());
        LVITEMW native = {};
        native.mask = LVIF_TEXT | LVIF_IMAGE;
        native.iItem = static_cast<int>(row) - 1;
        native.pszText = content.Field();
        native.iImage = IconOf(item);
        Tell(Either(LVM_INSERTITEMW, LVM_INSERTITEMA), 0, reinterpret_cast<LPARAM>(&native));
        for (std::size_t sub = 1; sub < As<ListView>()->Columns().size(); ++sub) {
            const Text& text = item.GetSubItem(sub).text;
            if (!text.empty()) SetCell(row, sub, text);
        }
    }

    void Fill(std::size_t row) {
        const ListItem& item = *As<ListView>()->Item(row);
        LVITEMW native = {};
        native.mask = LVIF_IMAGE;
        native.iItem = static_cast<int>(row) - 1;
        native.iImage = IconOf(item);
        Tell(Either(LVM_SETITEMW, LVM_SETITEMA), 0, reinterpret_cast<LPARAM>(&native));
        SetCell(row, 0, item.GetText());
        for (std::size_t sub = 1; sub < As<ListView>()->Columns().size(); ++sub) {
            SetCell(row, sub, item.GetSubItem(sub).text);
        }
        Tell(LVM_REDRAWITEMS, row - 1, static_cast<LPARAM>(row - 1));
    }

    void SetCell(std::size_t row, std::size_t column, TextView text) {
        const NativeText content(text);
        LVITEMW native = {};
        native.iSubItem = static_cast<int>(column);
        native.pszText = content.Field();
        Tell(Either(LVM_SETITEMTEXTW, LVM_SETITEMTEXTA), row - 1,
             reinterpret_cast<LPARAM>(&native));
    }

    void SetState(std::size_t row, UINT state) {
        LVITEMW native = {};
        native.stateMask = LVIS_SELECTED | LVIS_FOCUSED;
        native.state = state;
        Tell(LVM_SETITEMSTATE, row - 1, reinterpret_cast<LPARAM>(&native));
    }

    std::size_t NativeSelection() const {
        const LRESULT row = Tell(LVM_GETNEXTITEM, static_cast<WPARAM>(-1), LVNI_SELECTED);
        return static_cast<std::size_t>(row + 1);
    }

    void ShowSelection() {
        const std::size_t wanted = As<ListView>()->SelectedIndex();
        const std::size_t shown = NativeSelection();
        if (wanted == shown) return;
        if (wanted == 0) {
            SetState(shown, 0);
            return;
        }
        SetState(wanted, LVIS_SELECTED | LVIS_FOCUSED);
        Tell(LVM_ENSUREVISIBLE, wanted - 1, FALSE);
    }

    // Each row loses the selection before another gets it: only the second report counts.
    void ItemChanged(const NMLISTVIEW& change) {
        const bool selects = (change.uNewState & ~change.uOldState & LVIS_SELECTED) != 0;
        if (!selects) return;
        reported_ = true;
        As<ListView>()->UserSelect(static_cast<std::size_t>(change.iItem) + 1);
    }

    // A click beside the rows takes the native selection away; the control's stays.
    void Clicked(int button) {
        auto& view = *As<ListView>();
        const std::size_t shown = NativeSelection();
        if (shown == 0) {
            Mirror({Aspect::Selection});
        } else if (!reported_) {
            view.UserSelect(shown);
        }
        reported_ = false;
        if (!Target()) return;
        POINT place = {};
        ::GetCursorPos(&place);
        ::ScreenToClient(Window(), &place);
        const PixelScale& scale = OwningForm().Scale();
        view.MouseUp(button, CurrentShift(), scale.ToTwips(place.x), scale.ToTwips(place.y));
    }

    struct Cell {
        std::size_t row;     // from 1; 0 for no cell
        std::size_t column;  // from 0
        RECT area;
    };

    /// The cell at a client position. The system's own search came later than Windows 95.
    Cell CellAt(POINT place) const {
        const auto top = static_cast<WPARAM>(Tell(LVM_GETTOPINDEX));
        RECT area = {LVIR_BOUNDS, 0, 0, 0};
        if (!Tell(LVM_GETITEMRECT, top, reinterpret_cast<LPARAM>(&area))) return {};
        const LONG height = area.bottom - area.top;
        if (place.y < area.top || height <= 0) return {};
        const LONG below = (place.y - area.top) / height;
        const std::size_t row = top + static_cast<std::size_t>(below) + 1;
        if (row > As<ListView>()->Count()) return {};
        ::OffsetRect(&area, 0, below * height);
        for (std::size_t column = 0; column < As<ListView>()->Columns().size(); ++column) {
            area.right = area.left + static_cast<LONG>(Tell(LVM_GETCOLUMNWIDTH, column));
            if (place.x < area.right) return {row, column, area};
            area.left = area.right;
        }
        return {};
    }

    bool IsCutOff(const Cell& cell, const Text& text, bool isBold) const {
        constexpr LONG kMargins = 12;  // what the system leaves beside a text
        RECT label = cell.area;
        if (cell.column == 0) {  // behind the icon
            label.left = LVIR_LABEL;
            Tell(LVM_GETITEMRECT, cell.row - 1, reinterpret_cast<LPARAM>(&label));
        }
        const WindowDevice device(Window());
        const TextFonts& fonts = OwningForm().Fonts();
        const Selected font(device.Get(), isBold ? fonts.Bold() : fonts.Plain());
        return Measure(device.Get(), text).cx + kMargins > cell.area.right - label.left;
    }

    void PointTip(POINT place) {
        const Cell cell = CellAt(place);
        if (cell.row == 0) return tip_.Point({}, {});
        const ListItem& item = *As<ListView>()->Item(cell.row);
        const ListItem::SubItem& sub = item.GetSubItem(cell.column);
        const Text& text = cell.column == 0 ? item.GetText() : sub.text;
        if (!IsCutOff(cell, text, sub.bold)) return tip_.Point({}, {});
        tip_.Point(cell.area, text);
    }

    /// Selected, while the focus is elsewhere: on the strong background of a focused selection a
    /// colour couldn't be read. What the system says of the selection while it draws is wrong for
    /// lists that show it always.
    bool IsRestingSelection(std::size_t row) const {
        const LRESULT state = Tell(LVM_GETITEMSTATE, row - 1, LVIS_SELECTED);
        return (state & LVIS_SELECTED) != 0 && ::GetFocus() != Window();
    }

    LRESULT Draw(NMLVCUSTOMDRAW& draw) {
        switch (draw.nmcd.dwDrawStage) {
            case CDDS_PREPAINT:
                return CDRF_NOTIFYITEMDRAW;
            case CDDS_ITEMPREPAINT:
                return CDRF_NOTIFYSUBITEMDRAW;
            case CDDS_ITEMPREPAINT | CDDS_SUBITEM:
                break;
            default:
                return CDRF_DODEFAULT;
        }
        const std::size_t row = draw.nmcd.dwItemSpec + 1;
        if (row > As<ListView>()->Count()) return CDRF_DODEFAULT;
        const auto column = static_cast<std::size_t>(draw.iSubItem);
        const ListItem::SubItem& sub = As<ListView>()->Item(row)->GetSubItem(column);
        const TextFonts& fonts = OwningForm().Fonts();
        // Set for each cell: the system keeps what the cell before has asked for.
        ::SelectObject(draw.nmcd.hdc, sub.bold ? fonts.Bold() : fonts.Plain());
        const bool coloured = sub.colour != ListItem::kWindowText && !IsHighContrast();
        draw.clrText =
            coloured ? static_cast<COLORREF>(sub.colour) : ::GetSysColor(COLOR_WINDOWTEXT);
        if (IsRestingSelection(row)) {
            // Drawn as an ordinary cell: the system gives selected ones colours of its own.
            draw.nmcd.uItemState &= ~static_cast<UINT>(CDIS_SELECTED);
            const Colours resting = RestingSelection();
            draw.clrTextBk = resting.background;
            if (!coloured) draw.clrText = resting.text;
        }
        return CDRF_NEWFONT;
    }

    OwnedImageList icons_;
    CellTip tip_;
    int fitting_ = 0;
    bool reported_ = false;
    bool frozen_ = false;
};

}  // namespace

std::unique_ptr<NativeControl> MakeNativeListView(ListView& view, NativeForm& form) {
    return std::make_unique<NativeListView>(view, form);
}

}  // namespace bkfd::native
