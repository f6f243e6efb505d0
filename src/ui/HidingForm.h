#pragma once

#include "ui/Button.h"
#include "ui/Form.h"

namespace bkfd {

/// A window that its opener unloads: the user, by its close box or its Close button, hides it.
class HidingForm : public Form {
  protected:
    explicit HidingForm(Text name) : Form(std::move(name)) {
        onQueryUnload = [this](bool& cancel, UnloadMode mode) { Form_QueryUnload(cancel, mode); };
    }

    /// The button that Escape presses too.
    void ClosesBy(Button& button) {
        button.SetCancel(true);
        button.onClick = [this] { Hide(); };
    }

  private:
    void Form_QueryUnload(bool& cancel, UnloadMode mode) {
        if (mode != UnloadMode::ControlMenu) return;
        cancel = true;
        Hide();
    }
};

}  // namespace bkfd
