#pragma once

#include <utility>
#include <vector>

#include "platform/RootNames.h"
#include "platform/memory/MemoryMachine.h"

namespace bkfd {

inline constexpr char16_t kHelperObjects[] =
    u"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Browser Helper Objects\\";
inline constexpr char16_t kRun[] = u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run";
inline constexpr char16_t kMainKey[] = u"Software\\Microsoft\\Internet Explorer\\Main";
inline constexpr char16_t kHelperClsid[] = u"{11111111-1111-1111-1111-111111111111}";
inline constexpr char16_t kDeadClsid[] = u"{22222222-2222-2222-2222-222222222222}";

/// A parasite at every place where one shows itself: a helper object in a file without a company
/// and a dead one, a startup item that runs, a program and a module with names of temporary files,
/// a stream, a name outside the code page, and the browser's settings. The program itself runs too,
/// with modules of the caller's choice.
inline void Hijack(MemoryMachine& machine, std::vector<Text> ownModules = {}) {
    const Text helper = Text(kHelperObjects) + kHelperClsid;
    machine.SetString(HKLM, helper, u"", u"Helper");
    machine.SetString(HKCR, Text(u"CLSID\\") + kHelperClsid + u"\\InProcServer32", u"",
                      u"C:\\WINDOWS\\helper.dll");
    machine.AddKey(HKLM, Text(kHelperObjects) + kDeadClsid);
    machine.SetString(HKLM, kRun, u"nonamer", u"C:\\nonamer.exe -q");
    machine.SetString(HKLM, kRun, u"foreign", u"C:\\бад32.exe");
    machine.SetString(HKCU, kMainKey, u"Start Page", u"http://hijacked/");
    for (const char16_t* file :
         {u"C:\\WINDOWS\\helper.dll", u"C:\\WINDOWS\\notes.txt", u"C:\\WINDOWS\\explorer.exe",
          u"C:\\nonamer.exe", u"C:\\бад32.exe", u"C:\\TEMP\\a.tmp.exe", u"C:\\TEMP\\b.tmp"})
        machine.AddFile(file, "bytes");
    machine.AddProcess({4, u"C:\\Program Files\\Brackenfold\\Brackenfold.exe",
                        std::move(ownModules), false, true});
    machine.AddProcess({8,
                        u"C:\\WINDOWS\\explorer.exe",
                        {u"C:\\WINDOWS\\helper.dll", u"C:\\WINDOWS\\notes.txt:s.dll"}});
    machine.AddProcess({12, u"C:\\NONAMER.EXE", {u"C:\\TEMP\\b.tmp"}});
    machine.AddProcess({16, u"C:\\TEMP\\A.TMP.EXE", {}});
    machine.AddProcess({20, u"C:\\бад32.exe", {}});
}

/// The files that `Hijack` adds and that a cleanup disables.
inline constexpr const char16_t* kParasites[] = {
    u"C:\\WINDOWS\\helper.dll", u"C:\\WINDOWS\\notes.txt", u"C:\\nonamer.exe",
    u"C:\\бад32.exe",           u"C:\\TEMP\\a.tmp.exe",    u"C:\\TEMP\\b.tmp"};

}  // namespace bkfd
