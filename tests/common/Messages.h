#pragma once

#include <string>

#include "ui/headless/HeadlessToolkit.h"

namespace bkfd {

/// "style prompt" of each message box so far, a line each.
inline std::string Messages(const HeadlessToolkit& toolkit) {
    std::string text;
    for (const auto& shown : toolkit.Messages()) {
        text += std::to_string(shown.style) + ' ' + ToUtf8(shown.prompt) + '\n';
    }
    return text;
}

}  // namespace bkfd
