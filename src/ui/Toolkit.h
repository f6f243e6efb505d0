#pragma once

#include <cstddef>
#include <cstdint>

#include "base/ProgramEnd.h"
#include "base/Text.h"
#include "ui/Desktop.h"
#include "ui/Geometry.h"

namespace bkfd {

class Control;
class Form;
class MenuItem;
class Timer;

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

/// What of a control has changed.
enum class Aspect {
    Content,  // caption, content, picture name or the look of the text
    Enabled,
    Visible,
    Bounds,     // of a form: its client size
    Blocked,    // of a form: whether a modal form stands before it
    Active,     // of a form: it is the one that the user works in
    Focus,      // of a form: the control that has the focus
    Menu,       // of a form: something in its menu bar
    Selection,  // selected row, tab or stretch of text
    Columns,
    ItemAdded,  // the row, tab or line at `index`
    ItemChanged,
    ItemRemoved,
    ItemsCleared,
};

struct Change {
    Aspect aspect;
    std::size_t index = 0;  // of the row, tab or line that the change is about, from 1
};

/// What the program asks of the window system it runs on. Three exist: real Windows controls,
/// the terminal, and a headless one with scripted answers.
///
/// Whatever a handler throws comes out of the `Run`, `WaitForInput` or `PumpMessages` during
/// which the handler ran, and so out of `Form::ShowModal` too.
class Toolkit {
  public:
    virtual ~Toolkit() = default;

    /// Shows a message and waits for its button. `style` is a sum of `MessageStyle` flags.
    virtual MessageResult ShowMessageBox(const Text& prompt, int style, const Text& title) = 0;
    /// Lets the window system process the messages that are waiting.
    virtual void PumpMessages() {}
    /// Ends the program at once, from however deep inside: no step of any caller runs after it,
    /// no handler of errors takes it for one. A `ProgramEnd` goes up to the main function,
    /// unless the toolkit ends the process.
    [[noreturn]] void EndProgram() {
        EndProcess();
        throw ProgramEnd{};
    }
    /// Doesn't return where an exception can't go up, through frames of the window system.
    virtual void EndProcess() {}
    Pointer CurrentPointer() const { return pointer_; }
    virtual void SetPointer(Pointer pointer) { pointer_ = pointer; }

    /// Waits until there is something to process, and processes it. All loops consist of it.
    virtual void WaitForInput() { PumpMessages(); }
    /// The main message loop: returns when no form is loaded any more.
    void Run();
    /// The forms that are loaded, the modal ones among them, the active one.
    Desktop& Windows() { return desktop_; }

    /// Makes the native side of a form and of all it holds, not yet visible.
    virtual void Realise(Form&) {}
    /// A control of a realised form has a new state, which the mirror is to take over. The
    /// mirror must not report it back as the user's doing.
    virtual void Changed(Control&, Change) {}
    /// Drops the native side of the control, and of all that it holds. It may be half
    /// destroyed: only its address counts. Unknown controls are passed over.
    virtual void Forget(Control&) {}

    /// Calls `Timer::Fire` once, `milliseconds` from now.
    virtual void StartTimer(Timer&, int /*milliseconds*/) {}
    virtual void StopTimer(Timer&) {}
    /// Shows the visible entries of `menu` at the mouse pointer or the focus and waits. Returns
    /// the chosen one, or null.
    virtual MenuItem* ShowPopupMenu(Form&, MenuItem& /*menu*/) { return nullptr; }

    /// The clipboard's text, empty if it holds none.
    virtual Text ClipboardText() { return clipboard_; }
    virtual void SetClipboardText(const Text& text) { clipboard_ = text; }

    /// The size in twips of `text` in the windows' font, with its line breaks.
    virtual Size MeasureText(TextView text);
    /// What the window's border, title and menu add to the client area, in twips.
    virtual Size FrameSize(const Form&) { return {120, 405}; }
    /// The native window of a realised form or control, for calls that ask for one, or 0.
    virtual std::uintptr_t NativeHandle(const Control&) { return 0; }

  private:
    Pointer pointer_ = Pointer::Default;
    Text clipboard_;
    Desktop desktop_;
};

/// The toolkit in use; `InstallToolkit` must have been called.
Toolkit& TheToolkit();
/// The same, or null if there is none.
Toolkit* InstalledToolkit();
/// Returns the toolkit installed before, or null.
Toolkit* InstallToolkit(Toolkit* toolkit);

}  // namespace bkfd
