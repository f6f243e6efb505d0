#include "ui/Button.h"
#include "ui/NativeChild.h"
#include "ui/win32/NativeForm.h"
#include "ui/win32/NativeLists.h"
#include "ui/win32/NativeStatic.h"
#include "ui/win32/NativeTextBox.h"
#include "ui/win32/Theme.h"

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
        if (code == BN_CLICKED) OwningForm().Work([this] { As<Button>()->Click(); });
    }
};

/// A panel on a tab strip has the colour of the strip's page.
class NativePanel : public NativeControl {
  public:
    using NativeControl::NativeControl;

    void Settle() override {
        page_ = OwnedBrush();
        for (const Control* sibling : Target()->Parent()->Children()) {
            if (!dynamic_cast<const TabStrip*>(sibling)) continue;
            const NativeControl* strip = OwningForm().Find(*sibling);
            if (strip) page_ = OwnedBrush(::CreateSolidBrush(TabPageColour(strip->Window())));
        }
    }
    HBRUSH Background() const override {
        return page_.IsThere() ? page_.Get() : ::GetSysColorBrush(COLOR_BTNFACE);
    }

  protected:
    HWND Make(HWND parent, const RECT& area) override {
        RegisterWindowClass(kPanelClass, DefaultProcedure(), 0);
        return MakeChild(parent, area, FromAscii(kPanelClass), u"", WS_CLIPCHILDREN,
                         WS_EX_CONTROLPARENT);
    }
    std::optional<LRESULT> Received(UINT message, WPARAM wParam, LPARAM lParam) override {
        if (message == WM_ERASEBKGND || message == WM_PRINTCLIENT) {
            RECT area = {};
            ::GetClientRect(Window(), &area);
            ::FillRect(reinterpret_cast<HDC>(wParam), &area, Background());
            return TRUE;
        }
        return OwningForm().FromChild(message, wParam, lParam);
    }

  private:
    OwnedBrush page_;
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
    void Visit(Label& label) override { result_ = MakeNativeLabel(label, form_); }
    void Visit(ListBox& box) override { result_ = MakeNativeListBox(box, form_); }
    void Visit(ListView& view) override { result_ = MakeNativeListView(view, form_); }
    void Visit(NativeChild& child) override { Put<NativeBareChild>(child); }
    void Visit(Panel& panel) override { Put<NativePanel>(panel); }
    void Visit(Picture& picture) override { result_ = MakeNativePicture(picture, form_); }
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
