#include "panels/SettingInfo.h"

#include "base/RuntimeError.h"
#include "detection/MPaDetector.h"
#include "identity/NameInView.h"
#include "removal/SettingPlaces.h"
#include "resources/BuildSettings.h"
#include "services/ApplicationState.h"
#include "services/MAPI.h"
#include "services/SysUtil.h"

namespace bkfd {
namespace {

enum class Judge {
    Page,
    StartPage,
    LocalPage,
    Equals,  // `expected`, whatever the case
    NeverAccepted,
    Switch,          // a number; anything but 0 is suspect
    ServedBy,        // the value is a class served by the system file `expected`
    FilterServedBy,  // the same for a filter, which tells a class without a server from others
};

enum class Shown { WhenSet, WhenSuspect };

struct Setting {
    SettingPlace place;
    Judge judge;
    TextView expected;
    Shown shown;
    TextView description;
    bool isOfNTOnly = false;
};

using enum Judge;
using enum Shown;
using namespace SettingPlaces;

constexpr Setting Prefix(SettingPlace place, TextView expected, TextView description) {
    return {place, Equals, expected, WhenSuspect, description};
}

constexpr Setting Handler(SettingPlace place, TextView module, Shown shown, TextView description) {
    return {place, ServedBy, module, shown, description};
}

constexpr Setting kSettings[kSettingCount] = {
    {kUserDefaultPage, Page, u"", WhenSet,
     u"Default page URL for the user who is currently logged on"},
    {kMachineDefaultPage, Page, u"", WhenSet,
     u"Default page URL particular to the computer (for any user)"},
    {kUserStartPage, StartPage, u"", WhenSet,
     u"Start page for the user who is currently logged on"},
    {kMachineStartPage, Page, u"", WhenSet,
     u"Start page particular to the computer (for any user)"},
    {kUserHomePage, Page, u"", WhenSet, u"Home page for the user who is currently logged on"},
    {kBlankPage, Page, u"", WhenSet, u"Blank page for \"about:\" protocol"},
    {kAppInitLibraries, Equals, u"wbsys.dll", WhenSet,
     u"DLLs to load during the DLL_PROCESS_ATTACH of User32.dll", true},
    {kUseStylesheet, Switch, u"", WhenSet, u"User's style sheet is enabled"},
    {kStylesheet, NeverAccepted, u"", WhenSet, u"Location of the user's style sheet"},
    {kUserLocalPage, LocalPage, u"", WhenSet,
     u"Local page for the user who is currently logged on"},
    {kMachineLocalPage, LocalPage, u"", WhenSet,
     u"Local page particular to the computer (for any user)"},
    {kDefaultPrefix, Equals, u"http://", WhenSuspect, u"Default protocol prefix"},
    Prefix(kPrefixFtp, u"ftp://", u"Protocol prefix for ftp.*"),
    Prefix(kPrefixGopher, u"gopher://", u"Protocol prefix for gopher.*"),
    Prefix(kPrefixHome, u"http://", u"Protocol prefix for home.*"),
    Prefix(kPrefixMosaic, u"http://", u"Protocol prefix for mosaic.*"),
    Prefix(kPrefixWww, u"http://", u"Protocol prefix for www.*"),
    Handler(kHandlerAbout, u"mshtml.dll", WhenSet, u"Handler for \"about:\" protocol"),
    Handler(kHandlerFile, u"urlmon.dll", WhenSuspect, u"Handler for \"file:\" protocol"),
    Handler(kHandlerFtp, u"urlmon.dll", WhenSuspect, u"Handler for \"ftp:\" protocol"),
    Handler(kHandlerGopher, u"urlmon.dll", WhenSuspect, u"Handler for \"gopher:\" protocol"),
    Handler(kHandlerHttp, u"urlmon.dll", WhenSuspect, u"Handler for \"http:\" protocol"),
    Handler(kHandlerHttps, u"urlmon.dll", WhenSuspect, u"Handler for \"https:\" protocol"),
    Handler(kHandlerLocal, u"urlmon.dll", WhenSuspect, u"Handler for \"local:\" protocol"),
    {kFilterHtml, FilterServedBy, u"urlmon.dll", WhenSet, u"Filter for \"text/html\" MIME type"},
    {kFilterPlain, FilterServedBy, u"urlmon.dll", WhenSet, u"Filter for \"text/plain\" MIME type"},
};

constexpr TextView kFilter = u"Filter ";

Text Verdict(bool isAccepted) {
    return Text(isAccepted ? SettingStatus::kAccepted : SettingStatus::kSuspect);
}

/// What pages and the start page have in common. The last two comparisons mind the case.
bool IsKnownPage(const Text& value) {
    const Text lower = ToLower(value);
    return lower == BuildSettings::Portal || lower == u"about:blank" ||
           value.starts_with(BuildSettings::CorporateSite) ||
           value.starts_with(u"res://mshtml.dll");
}

void GetPageStatus(const Text& value, Text& status) {
    status = Verdict(IsKnownPage(value) || ToLower(value) == Text(BuildSettings::Portal) + u"/");
}

/// The portal with a slash behind it isn't a known start page, on purpose.
void GetStartPageStatus(const Text& value, Text& status) {
    const bool isKnown = IsKnownPage(value) || Find(ToLower(value), u"google") != 0;
    status = isKnown ? SettingStatus::kAccepted : SettingStatus::kOwnStartPage;
}

void GetLocalPageStatus(const Text& value, RegistryView view, Text& status) {
    const Text expected = ToLower(NameInView(view, gSystemPath + u"blank.htm"));
    const Text page = NameInView(view, SysUtil::ExpandEnvironment(value));
    status = Verdict(ToLower(page) == expected);
}

void JudgeServer(RegistryAccess& registry, const Setting& setting, SettingInfo& info) {
    const Text clsid = info.value;
    info.status = Verdict(IsSystemClsidServer(registry, clsid, Text(setting.expected), info.value,
                                              info.place.base.view));
    if (setting.judge != FilterServedBy || !info.value.empty()) return;
    info.description.insert(kFilter.size(), u"CLSID ");
    info.value = clsid;
}

void JudgeText(RegistryAccess& registry, const Setting& setting, SettingInfo& info) {
    switch (setting.judge) {
        case Page:
            return GetPageStatus(info.value, info.status);
        case StartPage:
            return GetStartPageStatus(info.value, info.status);
        case LocalPage:
            return GetLocalPageStatus(info.value, info.place.base.view, info.status);
        case Equals:
            info.status = Verdict(ToLower(info.value) == setting.expected);
            return;
        case NeverAccepted:
            info.status = SettingStatus::kSuspect;
            return;
        case ServedBy:
        case FilterServedBy:
            return JudgeServer(registry, setting, info);
        case Switch:
            return;
    }
}

void ReadText(RegistryAccess& registry, const Setting& setting, SettingInfo& info) {
    (void)registry.ReadString(info.place.base, info.place.key, info.place.name, info.value);
    if (info.value.empty()) return;
    info.shown = setting.shown == WhenSet;
    JudgeText(registry, setting, info);
}

/// Shown whether or not there is a value.
void ReadSwitch(RegistryAccess& registry, SettingInfo& info) {
    std::int32_t number = 0;
    (void)registry.ReadDword(info.place.base, info.place.key, info.place.name, number);
    info.value = number != 0 ? u"Yes" : u"No";
    info.status = Verdict(number == 0);
    info.shown = true;
}

}  // namespace

std::vector<SettingInView> AllSettings() {
    std::vector<SettingInView> all;
    for (const RegistryView view : {RegistryView::Native, RegistryView::Bits32}) {
        for (int number = 1; number <= kSettingCount; ++number) {
            if (IsInView(kSettings[number - 1].place, view)) all.push_back({number, view});
        }
    }
    return all;
}

SettingInfo GetSettingInfo(RegistryAccess& registry, int settingNumber, RegistryView view) {
    if (settingNumber < 1 || settingNumber > kSettingCount) {
        throw RuntimeError(ErrorNumber::SubscriptOutOfRange);
    }
    const Setting& setting = kSettings[settingNumber - 1];
    SettingInfo info;
    info.description = setting.description;
    info.place = setting.place;
    info.place.base.view = view;
    if (setting.isOfNTOnly && !IsWindowsNT()) return info;
    if (setting.judge == Switch) {
        ReadSwitch(registry, info);
    } else {
        ReadText(registry, setting, info);
    }
    if (info.status == SettingStatus::kSuspect) info.shown = true;
    return info;
}

}  // namespace bkfd
