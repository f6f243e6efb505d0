// Stands in for a parasite: loads the libraries that its arguments name and waits, unseen, until it
// is ended or two minutes are over. Does nothing else.
#include <windows.h>

#include <cstdlib>

int main() {
    for (int i = 1; i < __argc; ++i) {
        if (::LoadLibraryA(__argv[i]) == nullptr) return 1;
    }
    constexpr DWORD kLimit = 120'000;
    ::Sleep(kLimit);
    return 0;
}
