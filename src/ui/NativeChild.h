#pragma once

#include <cstdint>

#include "ui/Control.h"

namespace bkfd {

/// A bare child window of a class that the system offers, for what no control here does.
class NativeChild : public Control {
  public:
    struct Window {
        Text className;
        Text windowName;
        std::uint32_t style = 0;  // WS_CHILD and WS_VISIBLE included
        std::uint32_t extendedStyle = 0;
    };

    NativeChild(Container& parent, Text name, Window window)
        : Control(&parent, std::move(name)), window_(std::move(window)) {}

    const Window& Native() const { return window_; }
    void Accept(ControlVisitor& visitor) override { visitor.Visit(*this); }

  private:
    Window window_;
};

}  // namespace bkfd
