#pragma once

#include "platform/RootNames.h"
#include "testing/MemoryMachine.h"

/// Where parasites show themselves in the registry.
namespace bkfd {

inline constexpr char16_t kHelperObjects[] =
    u"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Browser Helper Objects\\";
inline constexpr char16_t kRun[] = u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run";
inline constexpr char16_t kMainKey[] = u"Software\\Microsoft\\Internet Explorer\\Main";
inline constexpr char16_t kStylesKey[] = u"Software\\Microsoft\\Internet Explorer\\Styles";
inline constexpr char16_t kWindowsKey[] =
    u"Software\\Microsoft\\Windows NT\\CurrentVersion\\Windows";
inline constexpr char16_t kControlPanel[] =
    u"Software\\Policies\\Microsoft\\Internet Explorer\\Control Panel";
inline constexpr char16_t kRemovedFiles[] =
    u"Software\\Tarnwick Labs\\Brackenfold\\Current Version\\Removed Files";

inline constexpr char16_t kFirstClsid[] = u"{11111111-1111-1111-1111-111111111111}";
inline constexpr char16_t kSecondClsid[] = u"{22222222-2222-2222-2222-222222222222}";

/// The server of a class, of that kind.
inline void AddServer(MemoryMachine& machine, TextView clsid, TextView server,
                      TextView kind = u"InProcServer32") {
    machine.SetString(HKCR, Text(u"CLSID\\").append(clsid) + u'\\' + Text(kind), u"", server);
}

/// A helper object, and its library unless that is empty.
inline void AddHelperObject(MemoryMachine& machine, TextView clsid, TextView name,
                            TextView library = {}) {
    machine.SetString(HKLM, Text(kHelperObjects).append(clsid), u"", name);
    if (!library.empty()) AddServer(machine, clsid, library);
}

}  // namespace bkfd
