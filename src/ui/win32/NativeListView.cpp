#include <algorithm>

#include "ui/Keys.h"
#include "ui/win32/NativeForm.h"
#include "ui/win32/NativeLists.h"

namespace bkfd::native {
namespace {

class NativeListView : public NativeControl {
  public:
    using NativeControl::NativeControl;
    ~NativeListView() override {
        if (icons_) ::ImageList_Destroy(icons_);
    }

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
        // A text that is cut off is shown whole under the pointer, where the system can do that.
        constexpr LPARAM kLabelTip = 0x4000;  // LVS_EX_LABELTIP
        Tell(LVM_SETEXTENDEDLISTVIEWSTYLE, 0, LVS_EX_FULLROWSELECT | kLabelTip);
        MakeIcons();
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
        if (message == WM_WINDOWPOSCHANGED) {
            const LRESULT result = CallOriginalProcedure(message, wParam, lParam);
            FitLastColumn();
            return result;
        }
        return std::nullopt;
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

    void MakeIcons() {
        const auto& images = As<ListView>()->Images();
        if (images.empty()) return;
        const int width = ::GetSystemMetrics(SM_CXSMICON);
        const int height = ::GetSystemMetrics(SM_CYSMICON);
        constexpr UINT kColours = 0x20 | ILC_MASK;  // 32 bits: half transparent edges
        icons_ = ::ImageList_Create(width, height, kColours, static_cast<int>(images.size()), 0);
        for (std::size_t place = 0; place < images.size(); ++place) {
            const HICON icon = LoadIconResource(images[place].resource, width, height);
            // Each image has its place, also one that can't be loaded.
            ::ImageList_ReplaceIcon(icons_, -1,
                                    icon ? icon : ::LoadIconA(nullptr, IDI_APPLICATION));
            if (icon) ::DestroyIcon(icon);
        }
        Tell(LVM_SETIMAGELIST, LVSIL_SMALL, reinterpret_cast<LPARAM>(icons_));
    }

    LPARAM WidthOf(std::size_t column) const {
        return OwningForm().ToPixels(As<ListView>()->Columns()[column - 1].width);
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
        if (!Target()) return;
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
        const auto& images = As<ListView>()->Images();
        const auto found = std::find_if(images.begin(), images.end(), [&](const auto& image) {
            return image.key == item.SmallIcon();
        });
        return found == images.end() ? I_IMAGENONE : static_cast<int>(found - images.begin());
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
        view.MouseUp(button, CurrentShift(), OwningForm().ToTwips(place.x),
                     OwningForm().ToTwips(place.y));
    }

    /// Selected, while the focus is elsewhere: on the strong background of a focused selection a
    /// colour couldn't be read.
    bool IsRestingSelection(UINT state) const {
        return (state & CDIS_SELECTED) != 0 && ::GetFocus() != Window();
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
        // Set for each cell: the system keeps what the cell before has asked for.
        ::SelectObject(draw.nmcd.hdc, sub.bold ? OwningForm().BoldFont() : OwningForm().TextFont());
        const bool coloured = sub.colour != ListItem::kWindowText && !IsHighContrast();
        draw.clrText =
            coloured ? static_cast<COLORREF>(sub.colour) : ::GetSysColor(COLOR_WINDOWTEXT);
        if (coloured && IsRestingSelection(draw.nmcd.uItemState)) {
            // Drawn as an ordinary cell on the same background: the system gives the text of
            // selected ones a colour of its own.
            draw.nmcd.uItemState &= ~static_cast<UINT>(CDIS_SELECTED);
            draw.clrTextBk = ::GetSysColor(COLOR_BTNFACE);
        }
        return CDRF_NEWFONT;
    }

    HIMAGELIST icons_ = nullptr;
    bool reported_ = false;
    bool frozen_ = false;
};

}  // namespace

std::unique_ptr<NativeControl> MakeNativeListView(ListView& view, NativeForm& form) {
    return std::make_unique<NativeListView>(view, form);
}

}  // namespace bkfd::native
