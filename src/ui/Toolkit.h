#pragma once

#include "base/ProgramEnd.h"
#include "base/Text.h"

namespace bkfd {

/// The screen's mouse-pointer shapes, with the runtime's numbers.
enum class Pointer { Default = 0, Hourglass = 11 };

/// Message-box styles are sums of the platform's flags.
namespace MessageStyle {
inline constexpr int OkCancel = 1;
inline constexpr int Critical = 16;
inline constexpr int Exclamation = 48;
inline constexpr int Information = 64;
}  // namespace MessageStyle

/// Results of a message box.
enum class MessageResult { Ok = 1, Cancel = 2 };

/// What the program asks of the window system it runs on. Three exist: real Windows controls, the
/// terminal, and a headless one with scripted answers.
class Toolkit {
  public:
    virtual ~Toolkit() = default;

    /// Shows a message and waits for its button. `style` is a sum of `MessageStyle` flags.
    virtual MessageResult ShowMessageBox(const Text& prompt, int style, const Text& title) = 0;
    /// Lets the window system process the messages that are waiting.
    virtual void PumpMessages() {}
    /// Ends the program at once, from however deep inside: no step of any caller runs after it, no
    /// handler of errors takes it for one. A `ProgramEnd` goes up to the main function, unless the
    /// toolkit ends the process.
    [[noreturn]] void EndProgram() {
        EndProcess();
        throw ProgramEnd{};
    }
    /// Doesn't return where an exception can't go up, through frames of the window system.
    virtual void EndProcess() {}
    Pointer CurrentPointer() const { return pointer_; }
    virtual void SetPointer(Pointer pointer) { pointer_ = pointer; }

  private:
    Pointer pointer_ = Pointer::Default;
};

/// The toolkit in use; `InstallToolkit` must have been called.
Toolkit& TheToolkit();
/// Returns the toolkit installed before, or null.
Toolkit* InstallToolkit(Toolkit* toolkit);

}  // namespace bkfd
