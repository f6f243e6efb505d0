#pragma once

#include <windows.h>
// Behind windows.h.
#include <commctrl.h>

#include "win32/Owned.h"

// What windows are made of and painted with; see Handles.h.
namespace bkfd {

template <class Kind>
struct GdiTraits {
    using Type = Kind;
    static Kind Invalid() { return nullptr; }
    static void Close(Kind object) { ::DeleteObject(object); }
};
using OwnedBitmap = Owned<GdiTraits<HBITMAP>>;
using OwnedBrush = Owned<GdiTraits<HBRUSH>>;
using OwnedFont = Owned<GdiTraits<HFONT>>;

struct IconTraits {
    using Type = HICON;
    static HICON Invalid() { return nullptr; }
    static void Close(HICON icon) { ::DestroyIcon(icon); }
};
using OwnedIcon = Owned<IconTraits>;

struct ImageListTraits {
    using Type = HIMAGELIST;
    static HIMAGELIST Invalid() { return nullptr; }
    static void Close(HIMAGELIST list) { ::ImageList_Destroy(list); }
};
using OwnedImageList = Owned<ImageListTraits>;

struct MenuTraits {
    using Type = HMENU;
    static HMENU Invalid() { return nullptr; }
    static void Close(HMENU menu) { ::DestroyMenu(menu); }
};
using OwnedMenu = Owned<MenuTraits>;

struct WindowTraits {
    using Type = HWND;
    static HWND Invalid() { return nullptr; }
    static void Close(HWND window) { ::DestroyWindow(window); }
};
using OwnedWindow = Owned<WindowTraits>;

struct MemoryDeviceTraits {
    using Type = HDC;
    static HDC Invalid() { return nullptr; }
    static void Close(HDC device) { ::DeleteDC(device); }
};
using OwnedMemoryDevice = Owned<MemoryDeviceTraits>;

/// The device of a window, or of the screen for null.
class WindowDevice {
  public:
    explicit WindowDevice(HWND window) : window_(window), device_(::GetDC(window)) {}
    WindowDevice(const WindowDevice&) = delete;
    WindowDevice& operator=(const WindowDevice&) = delete;
    ~WindowDevice() { ::ReleaseDC(window_, device_); }

    HDC Get() const { return device_; }

  private:
    HWND window_;
    HDC device_;
};

/// An object that a device uses for as long as the scope lasts.
class Selected {
  public:
    Selected(HDC device, HGDIOBJ object)
        : device_(device), before_(::SelectObject(device, object)) {}
    Selected(const Selected&) = delete;
    Selected& operator=(const Selected&) = delete;
    ~Selected() { ::SelectObject(device_, before_); }

  private:
    HDC device_;
    HGDIOBJ before_;
};

}  // namespace bkfd
