#pragma once

#include "ui/Form.h"

namespace bkfd {

/// A window that holds one panel.
template <class P>
class PanelHost : public Form {
  public:
    PanelHost() : Form(u"Host") {
        onResize = [this] { panel.SetBounds({0, 0, Width(), Height()}); };
        SetClientSize(9000, 6000);
        Show();
    }

    P panel{*this, u"panel"};
};

}  // namespace bkfd
