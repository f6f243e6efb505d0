#include "ui/Toolkit.h"

#include <algorithm>
#include <cassert>
#include <utility>

namespace bkfd {
namespace {

Toolkit* installed = nullptr;

// Measures of an ordinary 8-point font, for toolkits that have no font.
constexpr int kCharacterWidth = 90;
constexpr int kLineHeight = 195;

}  // namespace

Toolkit& TheToolkit() {
    assert(installed != nullptr);
    return *installed;
}

Toolkit* InstalledToolkit() {
    return installed;
}

Toolkit* InstallToolkit(Toolkit* toolkit) {
    return std::exchange(installed, toolkit);
}

void Toolkit::Run() {
    while (!desktop_.Forms().empty()) WaitForInput();
}

Size Toolkit::MeasureText(TextView text) {
    std::size_t longest = 0;
    int lines = 0;
    while (true) {
        const std::size_t end = std::min(text.find(u'\n'), text.size());
        longest = std::max(longest, end);
        ++lines;
        if (end == text.size()) break;
        text.remove_prefix(end + 1);
    }
    return {static_cast<int>(longest) * kCharacterWidth, lines * kLineHeight};
}

}  // namespace bkfd
