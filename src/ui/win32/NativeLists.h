#pragma once

#include "ui/ListBox.h"
#include "ui/ListView.h"
#include "ui/TabStrip.h"
#include "ui/win32/NativeControl.h"

namespace bkfd::native {

std::unique_ptr<NativeControl> MakeNativeListBox(ListBox& box, NativeForm& form);
std::unique_ptr<NativeControl> MakeNativeListView(ListView& view, NativeForm& form);
std::unique_ptr<NativeControl> MakeNativeTabStrip(TabStrip& strip, NativeForm& form);

}  // namespace bkfd::native
