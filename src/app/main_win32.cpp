// The desktop program for Windows.
#include <windows.h>

#include <cstdlib>

#include "app/FMain.h"
#include "platform/undo/UndoMachine.h"
#include "platform/win32/Win32Machine.h"
#include "services/ApplicationState.h"
#include "ui/win32/Win32Toolkit.h"
#include "win32/DynamicCall.h"

// What the library calls for an uncaught exception. Its own tells the exception's type on a
// console, which there is none of, and brings 45 KB with it to spell that.
namespace __gnu_cxx {  // NOLINT(bugprone-reserved-identifier)
void __verbose_terminate_handler() {
    std::abort();
}
}  // namespace __gnu_cxx

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR, int) {
    bkfd::LoadLibrariesOfTheSystemAlone();
    bkfd::Win32Machine windows;
    bkfd::UndoMachine machine(windows, bkfd::ProgramVersion());
    bkfd::InstallMachine(&machine);
    bkfd::Win32Toolkit toolkit;
    bkfd::InstallToolkit(&toolkit);
    try {
        bkfd::FMain window;
        window.Form_Initialize();
        window.Show();
        toolkit.Run();
    } catch (const bkfd::ProgramEnd&) {
        // Where the end is meant to be, from however deep inside it comes.
    }
    return 0;
}
