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
    NativeChild line{*this,
                     u"line",
                     {u"Static", u"StaticLine",
                      WindowStyle::Child | WindowStyle::Visible | WindowStyle::EtchedHorizontal,
                      ExtendedStyle::StaticEdge | ExtendedStyle::NoParentNotify}};
};

}  // namespace bkfd
