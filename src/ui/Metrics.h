#pragma once

/// Measures that the program's windows share, in twips.
namespace bkfd::Metrics {

inline constexpr int kMargin = 150;       // between a window's edge and its controls
inline constexpr int kGap = 120;          // between one control and the next
inline constexpr int kLabelGap = 45;      // between a label and what it names
inline constexpr int kLabelHeight = 210;  // of one line
inline constexpr int kTextBoxHeight = 315;
inline constexpr int kButtonHeight = 375;
inline constexpr int kPictureSize = 480;  // of the picture that says what a window is for
inline constexpr int kPageTop = 75;       // between the edge of a tab's page and its controls
inline constexpr int kScrollBarWidth = 315;

}  // namespace bkfd::Metrics
