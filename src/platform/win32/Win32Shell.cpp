#include "platform/win32/Win32Shell.h"

#include <windows.h>

#include <shellapi.h>

#include "platform/win32/NativeStatus.h"
#include "win32/DynamicCall.h"
#include "win32/NativeText.h"

namespace bkfd {
namespace {

/// Old calls answer with a number that is an error code up to this one.
constexpr std::uintptr_t kLastErrorNumber = 32;

Status StatusOfInstance(std::uintptr_t instance) {
    if (instance > kLastErrorNumber) return {};
    return {instance == 0 ? SystemError::NotEnoughMemory : static_cast<std::uint32_t>(instance)};
}

}  // namespace

Status Win32Shell::ShellExecuteA(std::string_view verb, std::string_view file) {
    return StatusOfInstance(reinterpret_cast<std::uintptr_t>(
        ::ShellExecuteA(::GetActiveWindow(), std::string(verb).c_str(), std::string(file).c_str(),
                        nullptr, nullptr, SW_SHOWNORMAL)));
}

Status Win32Shell::ShellExecuteExW(TextView verb, TextView file, std::uint32_t mask,
                                   std::uintptr_t window) {
    const auto fill = [mask, window](auto& info) {
        info.cbSize = sizeof info;
        info.fMask = mask;
        info.hwnd = reinterpret_cast<HWND>(window);
    };
    const Text verbText(verb);
    return StatusOf(CallWithTexts(
        verb, file,
        [&](const wchar_t* wideVerb, const wchar_t* wideFile) {
            SHELLEXECUTEINFOW info = {};
            fill(info);
            info.lpVerb = wideVerb;
            info.lpFile = wideFile;
            const DynamicCall<decltype(&::ShellExecuteExW)> call("shell32.dll", "ShellExecuteExW");
            return call.IsThere() ? call(&info) : FALSE;
        },
        [&](const char* ansiVerb, const char* ansiFile) {
            SHELLEXECUTEINFOA info = {};
            fill(info);
            info.lpVerb = ansiVerb;
            info.lpFile = ansiFile;
            return ::ShellExecuteExA(&info);
        }));
}

Status Win32Shell::WinExec(TextView commandLine) {
    return StatusOfInstance(::WinExec(ToAnsi(commandLine).c_str(), SW_SHOWNORMAL));
}

}  // namespace bkfd
