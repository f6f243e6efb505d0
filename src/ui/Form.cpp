#include "ui/Form.h"

#include <memory>

#include "base/RuntimeError.h"

namespace bkfd {

Form::Form(Text name) : Container(nullptr, std::move(name)) {
    StoreVisible(false);
}

Form::~Form() {
    for (MenuItem* menu : menus_) menu->bar_ = nullptr;
    if (Toolkit* toolkit = InstalledToolkit()) toolkit->Windows().Remove(*this);
}

void Form::SetCaption(Text caption) {
    caption_ = std::move(caption);
    Notify({Aspect::Content});
}

void Form::SetClientSize(int width, int height) {
    SetBounds({Left(), Top(), width, height});
}

int Form::WindowWidth() const {
    return Width() + TheToolkit().FrameSize(*this).width;
}

void Form::SetWindowWidth(int width) {
    SetWidth(width - TheToolkit().FrameSize(*this).width);
}

void Form::DrawOutline(Outline outline) {
    outlines_.push_back(outline);
    Notify({Aspect::Content});
}

void Form::Load() {
    if (loaded_) return;
    loaded_ = true;
    TheToolkit().Windows().Add(*this);
    const Weak<Form> self = this;
    onLoad();
    if (self && loaded_) onResize();
}

void Form::Show(Form* owner) {
    const Weak<Form> self = this;
    Load();
    if (!self || !loaded_) return;
    if (Visible()) {
        Activate();
    } else {
        Appear(owner);
    }
}

void Form::ShowModal(Form* owner) {
    if (Visible()) throw RuntimeError(ErrorNumber::InvalidProcedureCall);
    const Weak<Form> self = this;
    const Weak<Form> before = owner;
    Load();
    if (!self || !loaded_) return;
    modal_ = true;
    TheToolkit().Windows().PushModal(*this);
    try {
        Appear(before.Get());
        while (self && modal_) TheToolkit().WaitForInput();
    } catch (...) {
        if (self) Disappear();
        throw;
    }
    if (self) Disappear();
}

void Form::Appear(Form* owner) {
    owner_ = owner;
    StoreVisible(true);
    if (!realised_) {
        realised_ = true;
        TheToolkit().Realise(*this);
    }
    Notify({Aspect::Visible});
    Activate();
}

void Form::Hide() {
    if (!Visible()) return;
    const Weak<Form> owner = owner_;
    Toolkit& toolkit = TheToolkit();
    Disappear();
    Form* next = owner && owner->Visible() ? owner.Get() : toolkit.Windows().Foremost();
    if (next) next->UserActivate();
}

// The other windows are enabled before this one goes: else the system would pick a window of
// another program as the active one.
void Form::Disappear() {
    Desktop& windows = TheToolkit().Windows();
    modal_ = false;
    windows.PopModal(*this);
    if (windows.Active() == this) windows.SetActive(nullptr);
    if (!Visible()) return;
    StoreVisible(false);
    Notify({Aspect::Visible});
}

void Form::SetVisible(bool visible) {
    if (visible) {
        Show(Owner());
    } else {
        Hide();
    }
}

void Form::Unload(UnloadMode mode) {
    if (!loaded_ || unloading_) return;
    const Weak<Form> self = this;
    if (!ConsentsToUnload(mode) || !self) return;
    loaded_ = false;
    Toolkit& toolkit = TheToolkit();
    Hide();
    if (!self) return;
    realised_ = false;
    toolkit.Windows().Remove(*this);
    toolkit.Forget(*this);
}

bool Form::ConsentsToUnload(UnloadMode mode) {
    const Weak<Form> self = this;
    const auto done = [self](void*) {
        if (self) self->unloading_ = false;
    };
    unloading_ = true;
    const std::unique_ptr<void, decltype(done)> reset(this, done);
    bool cancel = false;
    onQueryUnload(cancel, mode);
    if (!cancel && self) onUnload();
    return !cancel;
}

bool Form::IsBlocked() const {
    return TheToolkit().Windows().IsBlocked(*this);
}

void Form::PopupMenu(MenuItem& menu) {
    const Weak<MenuItem> chosen = TheToolkit().ShowPopupMenu(*this, menu);
    if (chosen) chosen->Choose();
}

void Form::UserClose() {
    if (AcceptsInput()) Unload(UnloadMode::ControlMenu);
}

void Form::UserResize(int clientWidth, int clientHeight) {
    if (AcceptsInput()) SetClientSize(clientWidth, clientHeight);
}

void Form::UserActivate() {
    if (AcceptsInput()) Activate();
}

void Form::Activate() {
    Desktop& windows = TheToolkit().Windows();
    if (windows.Active() == this) return;
    windows.SetActive(this);
    Notify({Aspect::Active});
    onActivate();
}

}  // namespace bkfd
