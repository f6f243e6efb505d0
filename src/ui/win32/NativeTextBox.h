#pragma once

#include "ui/TextBox.h"
#include "ui/win32/NativeControl.h"

namespace bkfd::native {

std::unique_ptr<NativeControl> MakeNativeTextBox(TextBox& box, NativeForm& form);

}  // namespace bkfd::native
