#pragma once

#include "ui/Label.h"
#include "ui/Picture.h"
#include "ui/win32/NativeControl.h"

namespace bkfd::native {

/// A static control that reports the mouse, and through which its container's background is seen.
class NativeStatic : public NativeControl {
  public:
    using NativeControl::NativeControl;
    HBRUSH Paint(HDC device, HBRUSH background) override;

  protected:
    std::optional<LRESULT> Received(UINT message, WPARAM wParam, LPARAM lParam) override;
};

std::unique_ptr<NativeControl> MakeNativeLabel(Label& label, NativeForm& form);
std::unique_ptr<NativeControl> MakeNativePicture(Picture& picture, NativeForm& form);

}  // namespace bkfd::native
