#include "removal/ConfigurationSettings.h"

#include "detection/MPaDetector.h"
#include "removal/SettingPlaces.h"
#include "resources/BuildSettings.h"
#include "services/ApplicationState.h"
#include "services/RefusedChange.h"

namespace bkfd {
namespace {

enum class Action {
    DeleteValue,
    DeleteKey,
    WriteText,
    WriteInWindowsFolder,  // the Windows folder with the text behind it
    WriteZero,
    KeepOneLibrary,   // the text, when the value's list of names holds it, else empty
    GenuineProtocol,  // the class `text`, unless the one that is there is served by `module`
};

struct Setting {
    SettingPlace place;
    Action action;
    TextView text = {};
    Family family = Family::Any;
    TextView module = {};
};

using enum Action;
using namespace SettingPlaces;

// The browser stores a stylesheet's path in a buffer of this size; an empty buffer is no
// stylesheet.
constexpr char16_t kNoStylesheet[kMaxPath] = {};

/// A row for the class that serves a protocol.
constexpr Setting Protocol(SettingPlace place, TextView module, TextView clsid) {
    return {place, GenuineProtocol, clsid, Family::Any, module};
}

constexpr Setting kSettings[] = {
    {kUserDefaultPage, DeleteValue},
    {kMachineDefaultPage, WriteText, BuildSettings::DefaultStartPage},
    {kUserStartPage, WriteText, u"about:blank"},
    {kMachineStartPage, WriteText, u"about:blank"},
    {kUserHomePage, DeleteValue},
    {kBlankPage, WriteText, u"res://mshtml.dll/blank.htm"},
    {kAppInitLibraries, KeepOneLibrary, u"wbsys.dll", Family::NT},
    {kUseStylesheet, WriteZero},
    {kStylesheet, WriteText, {kNoStylesheet, std::size(kNoStylesheet)}},
    {kUserLocalPage, WriteInWindowsFolder, u"System32\\blank.htm", Family::NT},
    {kUserLocalPage, WriteInWindowsFolder, u"System\\blank.htm", Family::Windows9x},
    // As plain text, with the variable in it.
    {kMachineLocalPage, WriteText, u"%SystemRoot%\\system32\\blank.htm", Family::NT},
    {kMachineLocalPage, WriteInWindowsFolder, u"system\\blank.htm", Family::Windows9x},
    {kDefaultPrefix, WriteText, u"http://"},
    {kPrefixFtp, WriteText, u"ftp://"},
    {kPrefixGopher, WriteText, u"gopher://"},
    {kPrefixHome, WriteText, u"http://"},
    {kPrefixMosaic, WriteText, u"http://"},
    {kPrefixWww, WriteText, u"http://"},
    Protocol(kHandlerAbout, u"mshtml.dll", u"{3050F406-98B5-11CF-BB82-00AA00BDCE0B}"),
    Protocol(kHandlerFile, u"urlmon.dll", u"{79eac9e7-baf9-11ce-8c82-00aa004ba90b}"),
    Protocol(kHandlerFtp, u"urlmon.dll", u"{79eac9e3-baf9-11ce-8c82-00aa004ba90b}"),
    Protocol(kHandlerGopher, u"urlmon.dll", u"{79eac9e4-baf9-11ce-8c82-00aa004ba90b}"),
    Protocol(kHandlerHttp, u"urlmon.dll", u"{79eac9e2-baf9-11ce-8c82-00aa004ba90b}"),
    Protocol(kHandlerHttps, u"urlmon.dll", u"{79eac9e5-baf9-11ce-8c82-00aa004ba90b}"),
    // The class of "file", on purpose.
    Protocol(kHandlerLocal, u"urlmon.dll", u"{79eac9e7-baf9-11ce-8c82-00aa004ba90b}"),
    {kFilterHtml, DeleteKey},
    {kFilterPlain, DeleteKey},
    {kResetWebSettings, DeleteValue},
    {kFirstHomePage, DeleteValue},
};

/// Restores one setting after the other, and logs what the system refuses.
class Restorer {
  public:
    Restorer(RegistryAccess& registry, Logger& logger, const Text& source)
        : registry_(registry), logger_(logger), source_(source) {}

    void Restore(const Setting& setting) {
        switch (setting.action) {
            case DeleteValue:
                return RestoreAbsentValue(setting);
            case DeleteKey:
                return RestoreAbsentKey(setting);
            case WriteText:
                return Write(setting, setting.text);
            case WriteInWindowsFolder:
                return Write(setting, gWindowsPath + Text(setting.text));
            case WriteZero:
                return WriteNumber(setting, 0);
            case KeepOneLibrary:
                return RestoreLibraries(setting);
            case GenuineProtocol:
                return RestoreProtocol(setting);
        }
    }

  private:
    static Text NameOf(const Setting& setting) {
        const SettingPlace& place = setting.place;
        return u"'" + RegistryAccess::KeyName(place.base, place.key) + u"\\" + Text(place.name) +
               u"'";
    }

    Text Read(const Setting& setting) {
        Text value;
        (void)registry_.ReadString(setting.place.base, setting.place.key, setting.place.name,
                                   value);
        return value;
    }

    void Write(const Setting& setting, TextView text) {
        LogRefusal(
            registry_.WriteString(setting.place.base, setting.place.key, setting.place.name, text),
            setting);
    }

    void WriteNumber(const Setting& setting, std::int32_t number) {
        LogRefusal(
            registry_.WriteDword(setting.place.base, setting.place.key, setting.place.name, number),
            setting);
    }

    void LogRefusal(Status status, const Setting& setting) {
        LogRefusedChange(logger_, status, u"write " + NameOf(setting), source_);
    }

    void RestoreAbsentValue(const Setting& setting) {
        const Status deleted =
            registry_.DeleteValue(setting.place.base, setting.place.key, setting.place.name);
        if (deleted.IsNotThere()) return;
        LogRefusedChange(logger_, deleted, u"delete " + NameOf(setting), source_);
    }

    void RestoreAbsentKey(const Setting& setting) {
        const Text key(setting.place.key);
        if (registry_.DeleteKey(setting.place.base, key)) return;
        LogKeyThatStays(logger_, setting.place.base, key, source_);
    }

    void RestoreLibraries(const Setting& setting) {
        const bool isListed = Find(ToLower(Read(setting)), setting.text) > 0;
        Write(setting, isListed ? setting.text : TextView());
    }

    void RestoreProtocol(const Setting& setting) {
        const Text clsid = Read(setting);
        if (clsid.empty()) return;  // a handler that doesn't exist is not created
        Text server;
        const bool isGenuine = IsSystemClsidServer(registry_, clsid, Text(setting.module), server,
                                                   setting.place.base.view);
        if (isGenuine) return;
        Write(setting, setting.text);
    }

    RegistryAccess& registry_;
    Logger& logger_;
    const Text& source_;
};

}  // namespace

void RestoreSettings(RegistryAccess& registry, Logger& logger, const Text& source) {
    Restorer restorer(registry, logger, source);
    for (const RegistryView view : {RegistryView::Native, RegistryView::Bits32}) {
        for (Setting setting : kSettings) {
            if (!IsForThisMachine(setting.family) || !IsInView(setting.place, view)) continue;
            setting.place.base.view = view;
            restorer.Restore(setting);
        }
    }
}

}  // namespace bkfd
