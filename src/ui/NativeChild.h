#pragma once

#include <cstdint>

#include "ui/Control.h"

namespace bkfd {

/// Windows' own styles of windows.
namespace WindowStyle {
inline constexpr std::uint32_t Child = 0x40000000;
inline constexpr std::uint32_t Visible = 0x10000000;
inline constexpr std::uint32_t EtchedHorizontal = 0x10;  // of the class "Static"
}  // namespace WindowStyle

namespace ExtendedStyle {
inline constexpr std::uint32_t NoParentNotify = 0x4;
inline constexpr std::uint32_t StaticEdge = 0x20000;
}  // namespace ExtendedStyle

/// A bare child window of a class that the system offers, for what no control here does.
class NativeChild : public Control {
  public:
    struct Window {
        Text className;
        Text windowName;
        std::uint32_t style = 0;  // `Child` and `Visible` included
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
