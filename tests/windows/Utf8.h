#pragma once

#include <windows.h>

#include <string>

/// Invalid parts of either become U+FFFD.
inline std::wstring FromUtf8(const std::string& text) {
    std::wstring wide(text.size(), L'\0');
    const int length = ::MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()),
                                             wide.data(), static_cast<int>(wide.size()));
    wide.resize(static_cast<std::size_t>(length));
    return wide;
}

inline std::string ToUtf8(const std::wstring& text) {
    std::string utf8(text.size() * 3, '\0');
    const int length =
        ::WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), utf8.data(),
                              static_cast<int>(utf8.size()), nullptr, nullptr);
    utf8.resize(static_cast<std::size_t>(length));
    return utf8;
}
