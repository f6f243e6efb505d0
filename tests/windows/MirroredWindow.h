#pragma once

#include <windows.h>

#include <commctrl.h>

#include <memory>
#include <string>

#include "ui/SampleWindow.h"
#include "ui/win32/Win32Toolkit.h"

namespace bkfd {

/// Prints a line if the two differ.
void Expect(const std::string& what, const std::string& actual, const std::string& expected);
void Expect(const std::string& what, long long actual, long long expected);
int Checks();
int Failures();

/// A window of every kind of control on the real toolkit, read and acted on by window messages.
class MirroredWindow {
  public:
    MirroredWindow() { InstallToolkit(&toolkit); }
    ~MirroredWindow() { InstallToolkit(nullptr); }
    MirroredWindow(const MirroredWindow&) = delete;
    MirroredWindow& operator=(const MirroredWindow&) = delete;

    HWND Of(const Control& control);
    long Pixels(int twips) { return ::MulDiv(twips, dotsPerInch_, 1440); }
    long Twips(long pixels) { return ::MulDiv(static_cast<int>(pixels), 1440, dotsPerInch_); }
    /// The events since it was asked last.
    std::string Taken();
    std::string TextOf(HWND window);
    std::string TextOf(const Control& control) { return TextOf(Of(control)); }
    std::string Cell(const ListView& view, int row, int column);
    long long Ask(const Control& control, UINT message, WPARAM wParam = 0, LPARAM lParam = 0);
    void Post(const Control& control, UINT message, WPARAM wParam = 0, LPARAM lParam = 0);
    void Act(const Control& control, UINT message, WPARAM wParam = 0, LPARAM lParam = 0);
    RECT Client(const Control& control);
    std::string Focused() { return ToUtf8(form->Focused()->Name()); }
    void Key(const Control& control, WPARAM key, int shift = 0);
    void ClickAt(const Control& control, UINT down, UINT up, int x, int y);

    Win32Toolkit toolkit;
    EventLog log;
    std::unique_ptr<FSample> form;

  private:
    int dotsPerInch_ = ::GetDeviceCaps(::GetDC(nullptr), LOGPIXELSX);
};

}  // namespace bkfd
