#include "win32/NativeText.h"

#include <windows.h>

#include <algorithm>

namespace bkfd {

bool HasWideCalls() {
    static const bool isNt = (::GetVersion() & 0x80000000u) == 0;
    return isNt;
}

std::string ToAnsi(TextView text) {
    if (text.empty()) return {};
    const auto count = static_cast<int>(text.size());
    const wchar_t* source = reinterpret_cast<const wchar_t*>(text.data());
    const int size = ::WideCharToMultiByte(CP_ACP, 0, source, count, nullptr, 0, nullptr, nullptr);
    std::string bytes(static_cast<std::size_t>(size), '\0');
    ::WideCharToMultiByte(CP_ACP, 0, source, count, bytes.data(), size, nullptr, nullptr);
    return bytes;
}

Text FromAnsi(std::string_view bytes) {
    if (bytes.empty()) return {};
    const auto count = static_cast<int>(bytes.size());
    const int size = ::MultiByteToWideChar(CP_ACP, 0, bytes.data(), count, nullptr, 0);
    Text text(static_cast<std::size_t>(size), u'\0');
    ::MultiByteToWideChar(CP_ACP, 0, bytes.data(), count, Wide(text.data()), size);
    return text;
}

NativeText::NativeText(TextView text) : wide_(text) {
    std::replace(wide_.begin(), wide_.end(), u'\0', u'\xFFFD');
    if (!HasWideCalls()) ansi_ = ToAnsi(wide_);
}

}  // namespace bkfd
