#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/Text.h"

namespace bkfd {

/// True where the calls on wide text work: on the NT family. The Windows 95 family exports most of
/// them, but they fail.
bool HasWideCalls();

/// To the ANSI code page and back.
std::string ToAnsi(TextView text);
Text FromAnsi(std::string_view bytes);

/// Windows' name for the 16-bit units of a text.
inline const wchar_t* Wide(const char16_t* text) {
    static_assert(sizeof(wchar_t) == sizeof(char16_t));
    return reinterpret_cast<const wchar_t*>(text);
}
inline wchar_t* Wide(char16_t* text) {
    return reinterpret_cast<wchar_t*>(text);
}
inline const wchar_t* Wide(const Text& text) {
    return Wide(text.c_str());
}
inline TextView FromWide(const wchar_t* text, std::size_t length) {
    return {reinterpret_cast<const char16_t*>(text), length};
}

/// The one choice between a wide call and its ANSI form, for calls with the same arguments.
template <class WideCall, class AnsiCall, class... Arguments>
auto CallEither(WideCall wide, AnsiCall ansi, Arguments... arguments) {
    return HasWideCalls() ? wide(arguments...) : ansi(arguments...);
}

/// The same for calls on a text: hands it, ended by a NUL, to `wide` as wchar_t or to `ansi` in the
/// code page. The system takes a text to end at its first NUL.
template <class WideCall, class AnsiCall>
auto CallWithText(TextView text, WideCall&& wide, AnsiCall&& ansi) {
    if (HasWideCalls()) return wide(Wide(Text(text)));
    return ansi(ToAnsi(text).c_str());
}
template <class WideCall, class AnsiCall>
auto CallWithTexts(TextView first, TextView second, WideCall&& wide, AnsiCall&& ansi) {
    if (HasWideCalls()) return wide(Wide(Text(first)), Wide(Text(second)));
    return ansi(ToAnsi(first).c_str(), ToAnsi(second).c_str());
}

/// A text that a call writes into a buffer: `wide` and `ansi` take a buffer and its size and return
/// the length without the NUL, or a size that is needed when it isn't below the given one; 0 is a
/// failure and gives the empty text.
template <class WideCall, class AnsiCall>
Text ReadText(WideCall&& wide, AnsiCall&& ansi) {
    constexpr std::size_t kFirstSize = 512;
    const auto grow = [](auto buffer, auto&& call) {
        std::size_t length = call(buffer.data(), buffer.size());
        for (int round = 0; round < 8 && length >= buffer.size(); ++round) {
            buffer.resize(2 * length + 2);
            length = call(buffer.data(), buffer.size());
        }
        buffer.resize(length < buffer.size() ? length : 0);
        return buffer;
    };
    if (HasWideCalls()) {
        return grow(Text(kFirstSize, u'\0'), [&wide](char16_t* buffer, std::size_t size) {
            return static_cast<std::size_t>(wide(Wide(buffer), static_cast<unsigned long>(size)));
        });
    }
    return FromAnsi(grow(std::string(kFirstSize, '\0'), [&ansi](char* buffer, std::size_t size) {
        return static_cast<std::size_t>(ansi(buffer, static_cast<unsigned long>(size)));
    }));
}

/// A text as messages and structures take it: wide or in the ANSI code page, ended by a NUL. NULs
/// inside become U+FFFD, so that what stands behind them is still seen.
class NativeText {
  public:
    explicit NativeText(TextView text);
    /// For the text of a message: an LPARAM.
    std::intptr_t Param() const {
        return HasWideCalls() ? reinterpret_cast<std::intptr_t>(wide_.c_str())
                              : reinterpret_cast<std::intptr_t>(ansi_.c_str());
    }
    /// For structures whose wide and ANSI forms differ in the type of the text alone.
    wchar_t* Field() const { return reinterpret_cast<wchar_t*>(Param()); }
    /// For the ANSI form of a call.
    const char* Ansi() const { return ansi_.c_str(); }
    /// For wide calls, also the few that both families have.
    const wchar_t* Wide() const { return bkfd::Wide(wide_); }
    /// In bytes, with the NUL.
    std::size_t Size() const {
        return HasWideCalls() ? (wide_.size() + 1) * sizeof(char16_t) : ansi_.size() + 1;
    }

  private:
    Text wide_;
    std::string ansi_;  // empty where the calls are wide
};

}  // namespace bkfd
