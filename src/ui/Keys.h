#pragma once

namespace bkfd {

/// Key codes are the platform's virtual-key codes; letters and digits are their upper-case ASCII
/// codes, and `F1` + n - 1 is the nth function key.
namespace Key {
inline constexpr int Backspace = 8;
inline constexpr int Tab = 9;
inline constexpr int Enter = 13;
inline constexpr int Escape = 27;
inline constexpr int Space = 32;
inline constexpr int Home = 36;
inline constexpr int End = 35;
inline constexpr int Left = 37;
inline constexpr int Up = 38;
inline constexpr int Right = 39;
inline constexpr int Down = 40;
inline constexpr int Insert = 45;
inline constexpr int Delete = 46;
inline constexpr int ContextMenu = 93;
inline constexpr int F1 = 112;
inline constexpr int F5 = 116;
inline constexpr int F6 = 117;
inline constexpr int F10 = 121;
inline constexpr int F12 = 123;
}  // namespace Key

/// The shift state is a sum of these.
namespace Shift {
inline constexpr int None = 0;
inline constexpr int Shift = 1;
inline constexpr int Control = 2;
inline constexpr int Alt = 4;
}  // namespace Shift

namespace MouseButton {
inline constexpr int Left = 1;
inline constexpr int Right = 2;
}  // namespace MouseButton

}  // namespace bkfd
