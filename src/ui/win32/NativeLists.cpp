#include "ui/win32/NativeLists.h"

#include <algorithm>

#include "ui/win32/NativeForm.h"
#include "ui/win32/PictureResources.h"

namespace bkfd::native {
namespace {

class NativeListBox : public NativeControl {
  public:
    using NativeControl::NativeControl;

  protected:
    HWND Make(HWND parent, const RECT& area) override {
        return MakeChild(parent, area, u"ListBox", u"",
                         LBS_NOTIFY | LBS_NOINTEGRALHEIGHT | WS_VSCROLL | WS_HSCROLL,
                         WS_EX_CLIENTEDGE);
    }
    void ReplayState() override {
        for (std::size_t row = 1; row <= As<ListBox>()->Count(); ++row) Add(row);
        Apply({Aspect::Selection});
    }
    void Apply(Change change) override {
        switch (change.aspect) {
            case Aspect::ItemAdded:
                Add(change.index);
                break;
            case Aspect::ItemRemoved:
                Tell(LB_DELETESTRING, change.index - 1);
                break;
            case Aspect::ItemsCleared:
                Clear();
                break;
            case Aspect::Selection:
                Tell(LB_SETCURSEL, As<ListBox>()->SelectedIndex() - 1);
                break;
            default:
                break;
        }
    }
    void Commanded(int code) override {
        if (code != LBN_SELCHANGE) return;
        const LRESULT row = Tell(LB_GETCURSEL);
        if (row >= 0) As<ListBox>()->UserSelect(static_cast<std::size_t>(row) + 1);
    }

  private:
    // A line that is wider than the box is reached by scrolling.
    void Add(std::size_t row) {
        const Text& line = As<ListBox>()->Line(row);
        Tell(LB_INSERTSTRING, row - 1, NativeText(line).Param());
        constexpr int kMargin = 8;
        const WindowDevice device(Window());
        const Selected font(device.Get(), OwningForm().Fonts().Plain());
        const int width = static_cast<int>(Measure(device.Get(), line).cx) + kMargin;
        if (width <= widest_) return;
        widest_ = width;
        Tell(LB_SETHORIZONTALEXTENT, static_cast<WPARAM>(widest_));
    }
    void Clear() {
        Tell(LB_RESETCONTENT);
        widest_ = 0;
        Tell(LB_SETHORIZONTALEXTENT, 0);
    }

    int widest_ = 0;
};

class NativeTabStrip : public NativeControl {
  public:
    using NativeControl::NativeControl;

    // The panels that it frames are its siblings, and stand before it. Windows come to stand behind
    // those that were made earlier.
    void Settle() override {
        ::SetWindowPos(Window(), HWND_BOTTOM, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_NOACTIVATE);
    }

  protected:
    HWND Make(HWND parent, const RECT& area) override {
        return MakeChild(parent, area, u"SysTabControl32", u"", 0);
    }
    void ReplayState() override {
        const auto& images = As<TabStrip>()->Images();
        icons_ = LoadSmallIcons(images);
        Tell(TCM_SETIMAGELIST, 0, reinterpret_cast<LPARAM>(icons_.Get()));
        int place = 0;
        for (const TabStrip::Tab& tab : As<TabStrip>()->Tabs()) {
            const NativeText caption(tab.caption);
            TCITEMW item = {};
            item.mask = TCIF_TEXT | TCIF_IMAGE;
            item.iImage = PlaceOfImage(images, tab.key);
            item.pszText = caption.Field();
            Tell(Either(TCM_INSERTITEMW, TCM_INSERTITEMA), static_cast<WPARAM>(place++),
                 reinterpret_cast<LPARAM>(&item));
        }
        Apply({Aspect::Selection});
    }
    void Apply(Change change) override {
        if (change.aspect != Aspect::Selection) return;
        const WPARAM tab = As<TabStrip>()->SelectedIndex() - 1;
        if (static_cast<WPARAM>(Tell(TCM_GETCURSEL)) != tab) Tell(TCM_SETCURSEL, tab);
    }
    LRESULT Notified(NMHDR& header) override {
        if (header.code != static_cast<UINT>(TCN_SELCHANGE)) return 0;
        As<TabStrip>()->UserSelect(static_cast<std::size_t>(Tell(TCM_GETCURSEL)) + 1);
        return 0;
    }

  private:
    OwnedImageList icons_;
};

}  // namespace

std::unique_ptr<NativeControl> MakeNativeListBox(ListBox& box, NativeForm& form) {
    return std::make_unique<NativeListBox>(box, form);
}

std::unique_ptr<NativeControl> MakeNativeTabStrip(TabStrip& strip, NativeForm& form) {
    return std::make_unique<NativeTabStrip>(strip, form);
}

}  // namespace bkfd::native
