#include <cstdlib>

#include "ui/Button.h"
#include "ui/Keys.h"
#include "ui/Label.h"
#include "ui/NativeChild.h"
#include "ui/Picture.h"
#include "ui/win32/NativeForm.h"
#include "ui/win32/NativeLists.h"
#include "ui/win32/NativeTextBox.h"

namespace bkfd::native {
namespace {

constexpr char kPanelClass[] = "BrackenfoldPanel";

class NativeButton : public NativeControl {
  public:
    using NativeControl::NativeControl;

  protected:
    HWND Make(HWND parent, const RECT& area) override {
        const auto& button = *As<Button>();
        const DWORD style = button.IsDefault() ? BS_DEFPUSHBUTTON : BS_PUSHBUTTON;
        return MakeChild(parent, area, u"Button", button.Caption(), style);
    }
    void Apply(Change change) override {
        if (change.aspect == Aspect::Content) SetTextOf(Window(), As<Button>()->Caption());
    }
    void Commanded(int code) override {
        if (code == BN_CLICKED) As<Button>()->Click();
    }
};

int Brightness(COLORREF colour) {
    return (GetRValue(colour) * 3 + GetGValue(colour) * 6 + GetBValue(colour)) / 10;
}

// Some colour schemes have links that can't be read on a window's background.
COLORREF LinkColour() {
    constexpr int kHotLight = 26;  // COLOR_HOTLIGHT, unknown to Windows 95
    constexpr int kLeastContrast = 80;
    const COLORREF link = ::GetSysColor(kHotLight);
    const int contrast = Brightness(::GetSysColor(COLOR_BTNFACE)) - Brightness(link);
    const bool isReadable = ::GetSysColorBrush(kHotLight) && std::abs(contrast) >= kLeastContrast;
    return isReadable ? link : ::GetSysColor(COLOR_BTNTEXT);
}

/// A static control that reports the mouse.
class NativeStatic : public NativeControl {
  public:
    using NativeControl::NativeControl;

  protected:
    std::optional<LRESULT> Received(UINT message, WPARAM, LPARAM lParam) override {
        switch (message) {
            case WM_NCHITTEST:
                return HTCLIENT;  // a static control lets the mouse through
            case WM_LBUTTONDBLCLK:
                Target()->DoubleClick();
                return 0;
            case WM_RBUTTONUP:
                ReportMouseUp(MouseButton::Right, lParam);
                return 0;
            case WM_LBUTTONUP:
                ReportMouseUp(MouseButton::Left, lParam);
                if (Target()) Target()->Click();
                return 0;
            default:
                return std::nullopt;
        }
    }
};

class NativeLabel : public NativeStatic {
  public:
    using NativeStatic::NativeStatic;

    HBRUSH Paint(HDC device) override {
        if (!As<Label>()->IsLink() || IsHighContrast()) return nullptr;
        ::SetTextColor(device, LinkColour());
        ::SetBkColor(device, ::GetSysColor(COLOR_BTNFACE));
        return ::GetSysColorBrush(COLOR_BTNFACE);
    }

  protected:
    HWND Make(HWND parent, const RECT& area) override {
        return MakeChild(parent, area, u"Static", As<Label>()->Caption(), SS_LEFT | SS_NOTIFY);
    }
    void ReplayState() override { ChooseFont(); }
    void Apply(Change change) override {
        if (change.aspect != Aspect::Content) return;
        SetTextOf(Window(), As<Label>()->Caption());
        ChooseFont();
    }
    std::optional<LRESULT> Received(UINT message, WPARAM wParam, LPARAM lParam) override {
        if (message == WM_SETCURSOR && As<Label>()->IsLink()) {
            constexpr WORD kHand = 32649;  // IDC_HAND, unknown to Windows 95
            const HCURSOR hand = ::LoadCursorA(nullptr, MAKEINTRESOURCEA(kHand));
            if (hand) {
                ::SetCursor(hand);
                return TRUE;
            }
        }
        return NativeStatic::Received(message, wParam, lParam);
    }

  private:
    void ChooseFont() {
        const HFONT font =
            As<Label>()->IsLink() ? OwningForm().LinkFont() : OwningForm().TextFont();
        Tell(WM_SETFONT, reinterpret_cast<WPARAM>(font), TRUE);
    }
};

/// A bitmap stretched to the control, or an icon.
class NativePicture : public NativeStatic {
  public:
    using NativeStatic::NativeStatic;
    ~NativePicture() override { Drop(); }

  protected:
    HWND Make(HWND parent, const RECT& area) override {
        return MakeChild(parent, area, u"Static", u"", SS_BITMAP | SS_NOTIFY);
    }
    void ReplayState() override { Load(); }
    void Apply(Change change) override {
        if (change.aspect == Aspect::Content || change.aspect == Aspect::Bounds) Load();
    }

  private:
    void Drop() {
        if (bitmap_) ::DeleteObject(bitmap_);
        if (icon_) ::DestroyIcon(icon_);
        bitmap_ = nullptr;
        icon_ = nullptr;
    }
    void Load() {
        const auto& picture = *As<Picture>();
        const RECT area = OwningForm().ToPixels(picture.Area());
        const int width = area.right - area.left;
        const int height = area.bottom - area.top;
        if (width == 0 || height == 0 ||
            (width == width_ && height == height_ && picture.Resource() == resource_)) {
            return;
        }
        width_ = width;
        height_ = height;
        resource_ = picture.Resource();
        Tell(STM_SETIMAGE, bitmap_ ? IMAGE_BITMAP : IMAGE_ICON, 0);
        Drop();
        bitmap_ = LoadBitmapResource(resource_, width, height);
        if (!bitmap_) icon_ = LoadIconResource(resource_, width, height);
        SetStyle(bitmap_ ? SS_BITMAP : SS_ICON);
        Tell(STM_SETIMAGE, bitmap_ ? IMAGE_BITMAP : IMAGE_ICON,
             bitmap_ ? reinterpret_cast<LPARAM>(bitmap_) : reinterpret_cast<LPARAM>(icon_));
    }
    void SetStyle(LONG kind) {
        const LONG style = ::GetWindowLongA(Window(), GWL_STYLE);
        ::SetWindowLongA(Window(), GWL_STYLE, (style & ~SS_TYPEMASK) | kind);
    }

    HBITMAP bitmap_ = nullptr;
    HICON icon_ = nullptr;
    int width_ = 0;
    int height_ = 0;
    Text resource_;
};

class NativePanel : public NativeControl {
  public:
    using NativeControl::NativeControl;

  protected:
    HWND Make(HWND parent, const RECT& area) override {
        RegisterWindowClass(kPanelClass, IsWide() ? ::DefWindowProcW : ::DefWindowProcA, 0);
        return MakeChild(parent, area, FromAscii(kPanelClass), u"", WS_CLIPCHILDREN,
                         WS_EX_CONTROLPARENT);
    }
    std::optional<LRESULT> Received(UINT message, WPARAM wParam, LPARAM lParam) override {
        return OwningForm().FromChild(message, wParam, lParam);
    }
};

class NativeBareChild : public NativeControl {
  public:
    using NativeControl::NativeControl;

  protected:
    HWND Make(HWND parent, const RECT& area) override {
        const NativeChild::Window& native = As<NativeChild>()->Native();
        const DWORD hidden = As<NativeChild>()->Visible() ? 0 : WS_VISIBLE;
        return Create(native.extendedStyle, native.className, native.windowName,
                      native.style & ~hidden, area, parent);
    }
};

class Maker : public ControlVisitor {
  public:
    explicit Maker(NativeForm& form) : form_(form) {}
    std::unique_ptr<NativeControl> Result() { return std::move(result_); }

    void Visit(Button& button) override { Put<NativeButton>(button); }
    void Visit(Form&) override {}  // a form stands in no other
    void Visit(Label& label) override { Put<NativeLabel>(label); }
    void Visit(ListBox& box) override { result_ = MakeNativeListBox(box, form_); }
    void Visit(ListView& view) override { result_ = MakeNativeListView(view, form_); }
    void Visit(NativeChild& child) override { Put<NativeBareChild>(child); }
    void Visit(Panel& panel) override { Put<NativePanel>(panel); }
    void Visit(Picture& picture) override { Put<NativePicture>(picture); }
    void Visit(TabStrip& strip) override { result_ = MakeNativeTabStrip(strip, form_); }
    void Visit(TextBox& box) override { result_ = MakeNativeTextBox(box, form_); }

  private:
    template <class Native>
    void Put(Control& control) {
        result_ = std::make_unique<Native>(control, form_);
    }

    NativeForm& form_;
    std::unique_ptr<NativeControl> result_;
};

}  // namespace

std::unique_ptr<NativeControl> MakeNativeControl(Control& control, NativeForm& form) {
    Maker maker(form);
    control.Accept(maker);
    return maker.Result();
}

}  // namespace bkfd::native
