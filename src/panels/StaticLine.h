#pragma once

#include "ui/NativeChild.h"

namespace bkfd {

/// An etched horizontal line: the system's own, in a part of the window that it fills.
class StaticLine : public Panel {
  public:
    StaticLine(Container& parent, Text name) : Panel(parent, std::move(name)) {
        onResize = [this] { line.SetBounds({0, 0, Width(), Height()}); };
    }

  private:
    // WS_CHILD, WS_VISIBLE and SS_ETCHEDHORZ; WS_EX_STATICEDGE and WS_EX_NOPARENTNOTIFY.
    NativeChild line{*this, u"line", {u"Static", u"StaticLine", 0x50000010, 0x20004}};
};

}  // namespace bkfd
