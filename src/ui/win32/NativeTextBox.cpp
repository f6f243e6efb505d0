#include "ui/win32/NativeTextBox.h"

namespace bkfd::native {
namespace {

class NativeTextBox : public NativeControl {
  public:
    using NativeControl::NativeControl;

  protected:
    HWND Make(HWND parent, const RECT& area) override {
        const auto& box = *As<TextBox>();
        DWORD style = box.IsMultiLine() ? ES_MULTILINE | ES_AUTOVSCROLL | ES_WANTRETURN | WS_VSCROLL
                                        : ES_AUTOHSCROLL;
        if (box.IsReadOnly()) style |= ES_READONLY;
        return MakeChild(parent, area, u"Edit", u"", style, WS_EX_CLIENTEDGE);
    }
    void ReplayState() override {
        Tell(EM_LIMITTEXT, 0);  // as much as the system allows
        Apply({Aspect::Content});
        Apply({Aspect::Selection});
    }
    void Apply(Change change) override {
        const auto& box = *As<TextBox>();
        if (change.aspect == Aspect::Content) SetTextOf(Window(), box.GetText());
        if (change.aspect == Aspect::Selection) {
            Tell(EM_SETSEL, box.SelectionStart(),
                 static_cast<LPARAM>(box.SelectionStart() + box.SelectionLength()));
            Tell(EM_SCROLLCARET);
        }
    }
    void Commanded(int code) override {
        if (code != EN_CHANGE) return;
        auto& box = *As<TextBox>();
        const Text typed = TextOf(Window());
        box.UserEdit(typed);
        // Where the control doesn't accept the edit, the window goes back to what it holds.
        if (Target() && !box.AcceptsInput()) Mirror({Aspect::Content});
    }
    std::optional<LRESULT> Received(UINT message, WPARAM wParam, LPARAM lParam) override {
        if (message != WM_GETDLGCODE && message != WM_SETFOCUS && message != WM_LBUTTONUP) {
            return std::nullopt;
        }
        const LRESULT result = CallOriginalProcedure(message, wParam, lParam);
        if (!Target()) return result;
        if (message == WM_SETFOCUS) As<TextBox>()->SelectPlaceholder();
        if (message == WM_LBUTTONUP && !HasSelection()) As<TextBox>()->Click();
        if (message != WM_GETDLGCODE) return result;
        // Tab and Escape stay keys of the dialog, in boxes of many lines too.
        return result & ~DLGC_WANTALLKEYS & ~DLGC_WANTTAB;
    }

  private:
    /// What the user has selected by dragging stays so.
    bool HasSelection() const {
        DWORD start = 0;
        DWORD end = 0;
        Tell(EM_GETSEL, reinterpret_cast<WPARAM>(&start), reinterpret_cast<LPARAM>(&end));
        return start != end;
    }
};

}  // namespace

std::unique_ptr<NativeControl> MakeNativeTextBox(TextBox& box, NativeForm& form) {
    return std::make_unique<NativeTextBox>(box, form);
}

}  // namespace bkfd::native
