// start_time ROUNDS PROGRAM OTHER: starts both programs in turn, as often as ROUNDS says, each time
// until its main window takes input, and prints the median time of each in milliseconds and by how
// much the first is slower. A window without a title bar counts as a splash window and is clicked
// away at once. Ends with 1 when no main window comes up within 30 seconds.
#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

constexpr DWORD kLimit = 30'000;

struct Search {
    DWORD process;
    HWND main = nullptr;
    HWND splash = nullptr;
};

BOOL CALLBACK Look(HWND window, LPARAM argument) {
    auto& search = *reinterpret_cast<Search*>(argument);
    DWORD process = 0;
    ::GetWindowThreadProcessId(window, &process);
    if (process != search.process || ::IsWindowVisible(window) == 0) return TRUE;
    const bool hasTitle = (::GetWindowLongA(window, GWL_STYLE) & WS_CAPTION) == WS_CAPTION;
    (hasTitle ? search.main : search.splash) = window;
    return TRUE;
}

void ClickAway(HWND splash) {
    const HWND picture = ::GetWindow(splash, GW_CHILD);
    ::PostMessageA(picture, WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(5, 5));
    ::PostMessageA(picture, WM_LBUTTONUP, 0, MAKELPARAM(5, 5));
}

double Now() {
    LARGE_INTEGER count = {};
    LARGE_INTEGER frequency = {};
    ::QueryPerformanceCounter(&count);
    ::QueryPerformanceFrequency(&frequency);
    return 1000.0 * static_cast<double>(count.QuadPart) / static_cast<double>(frequency.QuadPart);
}

/// Milliseconds until the program's main window has answered a message, or a negative number.
double TimeOf(const char* program) {
    STARTUPINFOA startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION started = {};
    std::string command = program;
    const double start = Now();
    if (::CreateProcessA(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                         &startup, &started) == 0) {
        std::printf("%s: can't be started\n", program);
        return -1;
    }
    Search search{started.dwProcessId};
    bool wasClicked = false;
    while (search.main == nullptr && Now() - start < kLimit) {
        search.splash = nullptr;
        ::EnumWindows(Look, reinterpret_cast<LPARAM>(&search));
        if (search.splash != nullptr && !wasClicked) {
            ClickAway(search.splash);
            wasClicked = true;
        }
        // Looking costs the system time too, under Wine even much.
        if (search.main == nullptr) ::Sleep(10);
    }
    double time = -1;
    DWORD_PTR answer = 0;
    if (search.main != nullptr &&
        ::SendMessageTimeoutA(search.main, WM_NULL, 0, 0, SMTO_NORMAL, kLimit, &answer) != 0) {
        time = Now() - start;
    } else {
        std::printf("%s: no main window\n", program);
    }
    ::TerminateProcess(started.hProcess, 0);
    ::WaitForSingleObject(started.hProcess, kLimit);
    ::CloseHandle(started.hThread);
    ::CloseHandle(started.hProcess);
    return time;
}

double Median(std::vector<double> times) {
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

}  // namespace

int main(int count, char** arguments) {
    const int rounds = count == 4 ? std::atoi(arguments[1]) : 0;
    if (rounds <= 0) return 2;
    std::vector<double> times[2];
    for (int round = 0; round < rounds; ++round) {
        for (int program = 0; program < 2; ++program) {
            const double time = TimeOf(arguments[2 + program]);
            if (time < 0) return 1;
            times[program].push_back(time);
        }
    }
    const double own = Median(times[0]);
    const double other = Median(times[1]);
    std::printf("%8.0f  ms: %s\n%8.0f  ms: %s\n%8.0f  ms: over it (below 300)\n", own, arguments[2],
                other, arguments[3], own - other);
    return 0;
}
