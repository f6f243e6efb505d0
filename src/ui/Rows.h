#pragma once

#include <cstddef>

#include "base/RuntimeError.h"
#include "ui/Keys.h"

namespace bkfd {

/// `index` if it is one of 1 to `count`, else a RuntimeError SubscriptOutOfRange.
inline std::size_t CheckedIndex(std::size_t index, std::size_t count) {
    if (index == 0 || index > count) throw RuntimeError(ErrorNumber::SubscriptOutOfRange);
    return index;
}

/// Where a key moves the selection of a list of `count` rows: 1 to `count`, or 0 if the key isn't
/// one of the list's or nothing moves.
inline std::size_t RowAfterKey(int keyCode, std::size_t selected, std::size_t count) {
    std::size_t row = 0;
    if (keyCode == Key::Up) row = selected > 1 ? selected - 1 : selected == 0 ? 1 : 0;
    if (keyCode == Key::Down) row = selected + 1;
    if (keyCode == Key::Home) row = 1;
    if (keyCode == Key::End) row = count;
    return row == selected || row > count ? 0 : row;
}

/// The selected row after row `removed` went: it moves up, or is lost with its row.
inline std::size_t RowAfterRemoval(std::size_t selected, std::size_t removed) {
    if (selected == removed) return 0;
    return selected > removed ? selected - 1 : selected;
}

}  // namespace bkfd
