#include "ui/win32/NativeStatic.h"

#include "ui/Keys.h"
#include "ui/win32/Colours.h"
#include "ui/win32/NativeForm.h"
#include "ui/win32/PictureResources.h"

namespace bkfd::native {
namespace {

class NativeLabel : public NativeStatic {
  public:
    using NativeStatic::NativeStatic;

    HBRUSH Paint(HDC device, HBRUSH background) override {
        NativeStatic::Paint(device, background);
        if (As<Label>()->IsLink() && !IsHighContrast()) ::SetTextColor(device, LinkColour());
        return background;
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
        if (As<Label>()->IsLink()) {
            if (const auto result = ReceivedByLink(message, wParam, lParam)) return result;
        }
        return NativeStatic::Received(message, wParam, lParam);
    }

  private:
    std::optional<LRESULT> ReceivedByLink(UINT message, WPARAM wParam, LPARAM lParam) {
        switch (message) {
            case WM_SETFOCUS:
            case WM_KILLFOCUS:
                ::InvalidateRect(Window(), nullptr, TRUE);
                return std::nullopt;
            case WM_LBUTTONDOWN:
                ::SetFocus(Window());
                return std::nullopt;
            case WM_KEYDOWN:  // Enter goes through the form
                if (wParam != VK_SPACE) return std::nullopt;
                OwningForm().Work([this] { As<Label>()->ActOnKey(VK_SPACE, CurrentShift()); });
                return 0;
            case WM_PAINT:
                return PaintLink(wParam, lParam);
            default:
                return std::nullopt;
        }
    }

    // The rectangle inverts what it covers, so all is painted before.
    std::optional<LRESULT> PaintLink(WPARAM wParam, LPARAM lParam) {
        if (::GetFocus() != Window()) return std::nullopt;
        ::InvalidateRect(Window(), nullptr, TRUE);
        const LRESULT result = CallOriginalProcedure(WM_PAINT, wParam, lParam);
        RECT area = {};
        ::GetClientRect(Window(), &area);
        ::DrawFocusRect(WindowDevice(Window()).Get(), &area);
        return result;
    }

    void ChooseFont() {
        const HFONT font =
            As<Label>()->IsLink() ? OwningForm().Fonts().Link() : OwningForm().Fonts().Plain();
        Tell(WM_SETFONT, reinterpret_cast<WPARAM>(font), TRUE);
    }
};

/// A bitmap or an icon that fills the control. Static controls can't stretch theirs, so it is
/// painted here.
class NativePicture : public NativeStatic {
  public:
    using NativeStatic::NativeStatic;

  protected:
    HWND Make(HWND parent, const RECT& area) override {
        return MakeChild(parent, area, u"Static", As<Picture>()->Caption(), SS_LEFT | SS_NOTIFY);
    }
    void ReplayState() override { Load(); }
    void Apply(Change change) override {
        if (change.aspect == Aspect::Content || change.aspect == Aspect::Bounds) Load();
    }
    std::optional<LRESULT> Received(UINT message, WPARAM wParam, LPARAM lParam) override {
        if (message == WM_ERASEBKGND) return TRUE;  // painting covers all
        if (message != WM_PAINT) return NativeStatic::Received(message, wParam, lParam);
        PAINTSTRUCT paint = {};
        const HDC device = ::BeginPaint(Window(), &paint);
        Draw(device);
        DrawCaption(device);
        ::EndPaint(Window(), &paint);
        return 0;
    }

  private:
    void Load() {
        const auto& picture = *As<Picture>();
        const RECT area = OwningForm().Scale().ToPixels(picture.Area());
        const SIZE size = {area.right - area.left, area.bottom - area.top};
        const bool isLoaded = size.cx == size_.cx && size.cy == size_.cy;
        if (size.cx == 0 || size.cy == 0 || (isLoaded && picture.Resource() == resource_)) return;
        size_ = size;
        resource_ = picture.Resource();
        bitmap_ = LoadBitmapResource(resource_, size.cx);
        icon_ = bitmap_.IsThere() ? OwnedIcon() : LoadIconResource(resource_, size.cx, size.cy);
        ::InvalidateRect(Window(), nullptr, TRUE);
    }
    void Draw(HDC device) {
        RECT area = {};
        ::GetClientRect(Window(), &area);
        if (bitmap_.IsThere()) {
            DrawBitmap(device, area);
            return;
        }
        const LRESULT background =
            Send(::GetParent(Window()), WM_CTLCOLORSTATIC, reinterpret_cast<WPARAM>(device),
                 reinterpret_cast<LPARAM>(Window()));
        ::FillRect(device, &area, reinterpret_cast<HBRUSH>(background));
        if (!icon_.IsThere()) return;
        ::DrawIconEx(device, 0, 0, icon_.Get(), area.right, area.bottom, 0, nullptr, DI_NORMAL);
    }
    void DrawCaption(HDC device) {
        constexpr int kMarginPart = 14;  // of the height
        RECT area = {};
        ::GetClientRect(Window(), &area);
        area.bottom -= area.bottom / kMarginPart;
        ::SetBkMode(device, TRANSPARENT);
        ::SetTextColor(device, RGB(255, 255, 255));
        const Selected font(device, OwningForm().Fonts().Plain());
        DrawTextIn(device, As<Picture>()->Caption(), area,
                   DT_SINGLELINE | DT_CENTER | DT_BOTTOM | DT_NOPREFIX);
    }
    void DrawBitmap(HDC device, const RECT& area) {
        BITMAP description = {};
        ::GetObjectA(bitmap_.Get(), sizeof description, &description);
        const OwnedMemoryDevice memory(::CreateCompatibleDC(device));
        const Selected drawn(memory.Get(), bitmap_.Get());
        ::SetStretchBltMode(device, HALFTONE);
        ::SetBrushOrgEx(device, 0, 0, nullptr);
        ::StretchBlt(device, 0, 0, area.right, area.bottom, memory.Get(), 0, 0, description.bmWidth,
                     description.bmHeight, SRCCOPY);
    }

    OwnedBitmap bitmap_;
    OwnedIcon icon_;
    SIZE size_ = {};
    Text resource_;
};

}  // namespace

HBRUSH NativeStatic::Paint(HDC device, HBRUSH background) {
    ::SetTextColor(device, ::GetSysColor(COLOR_BTNTEXT));
    ::SetBkMode(device, TRANSPARENT);
    return background;
}

std::optional<LRESULT> NativeStatic::Received(UINT message, WPARAM, LPARAM lParam) {
    switch (message) {
        case WM_SIZE:  // the old text or picture is laid out for the old size
            ::InvalidateRect(Window(), nullptr, TRUE);
            return std::nullopt;
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

std::unique_ptr<NativeControl> MakeNativeLabel(Label& label, NativeForm& form) {
    return std::make_unique<NativeLabel>(label, form);
}

std::unique_ptr<NativeControl> MakeNativePicture(Picture& picture, NativeForm& form) {
    return std::make_unique<NativePicture>(picture, form);
}

}  // namespace bkfd::native
