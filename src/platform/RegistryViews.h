#pragma once

#include <vector>

#include "platform/Machine.h"

/// The two registry views of a 64-bit Windows: which keys they share and where those of the 32-bit
/// view lie. After "Registry Keys Affected by WOW64" of Microsoft's documentation, as it is since
/// Windows 7.
namespace bkfd {

/// Whether the machine has two registry views and two system folders.
bool HasTwoViews(SystemFacts& system);

/// The path by which the native view reaches the same key: "SOFTWARE\Wow6432Node\A" for
/// "SOFTWARE\A" of the 32-bit view of HKEY_LOCAL_MACHINE. A key that both views share keeps its
/// path, and so does one that lies in a Wow6432Node already. For machines of two views alone.
Text NativeKey(RegistryBase base, TextView subkey);

/// The same for any machine: on one of a single view the path is that of all views.
Text NativeKey(SystemFacts& system, RegistryBase base, TextView subkey);

/// The views in which a key that programs use has to be looked at, the native one first: two where
/// the machine has them and they don't share the key. A 32-bit program on a 64-bit Windows is shown
/// the files of 32-bit programs and gets their view alone.
std::vector<RegistryView> ViewsOf(SystemFacts& system, RegistryRoot root, TextView subkey);

/// Behind the name of what stands in a view other than the native one: " (32-bit)", or nothing.
TextView ViewSuffix(RegistryView view);

}  // namespace bkfd
