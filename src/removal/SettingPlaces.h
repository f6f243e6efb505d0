#pragma once

#include "platform/RootNames.h"

namespace bkfd {

/// Where a setting stands in the registry. An empty name is the key's default value.
struct SettingPlace {
    RegistryBase base;
    TextView key;
    TextView name;
};

/// The browser's settings that parasites are known to change: what is judged and what is restored.
namespace SettingPlaces {

inline constexpr TextView kMain = u"Software\\Microsoft\\Internet Explorer\\Main";
inline constexpr TextView kControlPanel =
    u"Software\\Policies\\Microsoft\\Internet Explorer\\Control Panel";
inline constexpr TextView kStyles = u"Software\\Microsoft\\Internet Explorer\\Styles";
inline constexpr TextView kPrefixes =
    u"Software\\Microsoft\\Windows\\CurrentVersion\\URL\\Prefixes";

inline constexpr SettingPlace kUserDefaultPage{HKCU, kMain, u"Default_Page_URL"};
inline constexpr SettingPlace kMachineDefaultPage{HKLM, kMain, u"Default_Page_URL"};
inline constexpr SettingPlace kUserStartPage{HKCU, kMain, u"Start Page"};
inline constexpr SettingPlace kMachineStartPage{HKLM, kMain, u"Start Page"};
inline constexpr SettingPlace kUserHomePage{HKCU, kControlPanel, u"HomePage"};
inline constexpr SettingPlace kBlankPage{HKLM, u"SOFTWARE\\Microsoft\\Internet Explorer\\AboutURLs",
                                         u"blank"};
inline constexpr SettingPlace kAppInitLibraries{
    HKLM, u"Software\\Microsoft\\Windows NT\\CurrentVersion\\Windows", u"AppInit_DLLs"};
inline constexpr SettingPlace kUseStylesheet{HKCU, kStyles, u"Use My Stylesheet"};
inline constexpr SettingPlace kStylesheet{HKCU, kStyles, u"User Stylesheet"};
inline constexpr SettingPlace kUserLocalPage{HKCU, kMain, u"Local Page"};
inline constexpr SettingPlace kMachineLocalPage{HKLM, kMain, u"Local Page"};
inline constexpr SettingPlace kDefaultPrefix{
    HKLM, u"Software\\Microsoft\\Windows\\CurrentVersion\\URL\\DefaultPrefix", u""};
inline constexpr SettingPlace kPrefixFtp{HKLM, kPrefixes, u"ftp"};
inline constexpr SettingPlace kPrefixGopher{HKLM, kPrefixes, u"gopher"};
inline constexpr SettingPlace kPrefixHome{HKLM, kPrefixes, u"home"};
inline constexpr SettingPlace kPrefixMosaic{HKLM, kPrefixes, u"mosaic"};
inline constexpr SettingPlace kPrefixWww{HKLM, kPrefixes, u"www"};
inline constexpr SettingPlace kHandlerAbout{HKCR, u"PROTOCOLS\\Handler\\about", u"CLSID"};
inline constexpr SettingPlace kHandlerFile{HKCR, u"PROTOCOLS\\Handler\\file", u"CLSID"};
inline constexpr SettingPlace kHandlerFtp{HKCR, u"PROTOCOLS\\Handler\\ftp", u"CLSID"};
inline constexpr SettingPlace kHandlerGopher{HKCR, u"PROTOCOLS\\Handler\\gopher", u"CLSID"};
inline constexpr SettingPlace kHandlerHttp{HKCR, u"PROTOCOLS\\Handler\\http", u"CLSID"};
inline constexpr SettingPlace kHandlerHttps{HKCR, u"PROTOCOLS\\Handler\\https", u"CLSID"};
inline constexpr SettingPlace kHandlerLocal{HKCR, u"PROTOCOLS\\Handler\\local", u"CLSID"};
inline constexpr SettingPlace kFilterHtml{HKCR, u"PROTOCOLS\\Filter\\text/html", u"CLSID"};
inline constexpr SettingPlace kFilterPlain{HKCR, u"PROTOCOLS\\Filter\\text/plain", u"CLSID"};
// Restored, but not judged.
inline constexpr SettingPlace kResetWebSettings{HKCU, kControlPanel, u"ResetWebSettings"};
inline constexpr SettingPlace kFirstHomePage{HKCU, kMain, u"FirstHomePage"};

}  // namespace SettingPlaces

/// Whether the place is to be looked at in the view: a key that the views share, in one alone.
bool IsInView(const SettingPlace& place, RegistryView view);

}  // namespace bkfd
