#include "panels/RegistryBackup.h"

#include "detection/HelperObjects.h"
#include "platform/RootNames.h"
#include "removal/SettingPlaces.h"
#include "services/FileUtil.h"
#include "services/MAPI.h"
#include "services/RegistryAccess.h"
#include "services/SysUtil.h"
#include "services/WideDocument.h"

namespace bkfd {
namespace {

struct BackedUpKey {
    RegistryRoot root;
    TextView key;
};

/// In the order in which they stand in the file, each with all below it.
constexpr BackedUpKey kKeys[] = {
    {HKLM, kHelperObjectsKey},
    {HKCU, u"Software\\Policies\\Microsoft\\Internet Explorer\\Control Panel"},
    {HKCU, u"Software\\Microsoft\\Internet Explorer\\Main"},
    {HKLM, u"Software\\Microsoft\\Internet Explorer\\Main"},
    {HKLM, u"Software\\Microsoft\\Internet Explorer\\AboutURLs"},
    {HKCU, u"Software\\Microsoft\\Internet Explorer\\Styles"},
    {HKLM, u"Software\\Microsoft\\Windows\\CurrentVersion\\URL"},
    {HKCR, u"PROTOCOLS\\Handler\\About"},
    {HKCR, u"PROTOCOLS\\Handler\\file"},
    {HKCR, u"PROTOCOLS\\Handler\\ftp"},
    {HKCR, u"PROTOCOLS\\Handler\\gopher"},
    {HKCR, u"PROTOCOLS\\Handler\\http"},
    {HKCR, u"PROTOCOLS\\Handler\\https"},
    {HKCR, u"PROTOCOLS\\Handler\\local"},
    {HKCR, u"PROTOCOLS\\Filter\\text/html"},
    {HKCR, u"PROTOCOLS\\Filter\\text/plain"},
};

// The one value that stands behind the keys.
constexpr TextView kLibrariesKey = u"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Windows";
constexpr TextView kLibrariesName = u"AppInit_DLLs";

constexpr TextView kEnglishMonths[] = {u"Jan", u"Feb", u"Mar", u"Apr", u"May", u"Jun",
                                       u"Jul", u"Aug", u"Sep", u"Oct", u"Nov", u"Dec"};

/// In the form that the machine's family reads; on the 9x family one character for each byte of the
/// code page already.
Text ExportSettings() {
    RegistryAccess registry;
    Text exports;
    for (const RegistryView view : {RegistryView::Native, RegistryView::Bits32}) {
        for (const auto& [root, key] : kKeys) {
            if (IsInView({root, key, {}}, view)) exports += registry.ExportKey({root, view}, key);
        }
        const RegistryBase machine = {HKLM, view};
        if (!IsInView({machine, kLibrariesKey, kLibrariesName}, view)) continue;
        exports += registry.ExportValue(machine, kLibrariesKey, kLibrariesName);
    }
    return exports;
}

Text TwoDigits(int number) {
    return (number < 10 ? u"0" : u"") + ToText(number);
}

/// The month's short name in the user's language.
Text ShortMonth(int month) {
    const int index = month - 1;
    const Text name =
        TheMachine().System().GetLocaleInfoW(kShortMonthNames + static_cast<LocaleFact>(index));
    return name.empty() ? Text(kEnglishMonths[index]) : name;
}

/// "Nov 16, 2026 09-39-04"
Text FileDate(const CivilTime& time) {
    return ShortMonth(time.month) + u" " + TwoDigits(time.day) + u", " + ToText(time.year) + u" " +
           TwoDigits(time.hour) + u"-" + TwoDigits(time.minute) + u"-" + TwoDigits(time.second);
}

}  // namespace

Text BackupFolder(const Text& programFolder) {
    return programFolder + u"\\Backup";
}

Text WriteRegistryBackup(const Text& programFolder, const Text& user) {
    const Text folder = BackupFolder(programFolder);
    FileUtil::CreateFolder(folder);
    const Text exports = ExportSettings();
    const CivilTime now = ToCivil(TheMachine().System().GetLocalTime());
    const Text behind = user.empty() ? Text() : u' ' + user;
    const Text file =
        SysUtil::FormatTemplate(u"%1\\Backup %2%3.reg", {folder, FileDate(now), behind});
    if (IsWindowsNT()) {
        FileUtil::WriteTextFile(
            file, WideDocument(u"Windows Registry Editor Version 5.00\r\n" + exports));
    } else {
        FileUtil::WriteTextFile(file, u"REGEDIT4\r\n" + exports);
    }
    return file;
}

}  // namespace bkfd
