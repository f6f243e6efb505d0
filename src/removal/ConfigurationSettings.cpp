#include "removal/ConfigurationSettings.h"

#include "detection/MPaDetector.h"
#include "platform/Machine.h"
#include "removal/processes/RefusedChange.h"
#include "resources/BuildSettings.h"
#include "services/ApplicationState.h"

namespace bkfd {
namespace {

enum class Family { Any, NT, Windows9x };

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
    RegistryRoot root;
    TextView key;
    TextView name;
    Action action;
    TextView text = {};
    Family family = Family::Any;
    TextView module = {};
};

constexpr auto HKCR = RegistryRoot::ClassesRoot;
constexpr auto HKCU = RegistryRoot::CurrentUser;
constexpr auto HKLM = RegistryRoot::LocalMachine;
using enum Action;

constexpr TextView kMain = u"Software\\Microsoft\\Internet Explorer\\Main";
constexpr TextView kControlPanel =
    u"Software\\Policies\\Microsoft\\Internet Explorer\\Control Panel";
constexpr TextView kStyles = u"Software\\Microsoft\\Internet Explorer\\Styles";
constexpr TextView kAboutUrls = u"SOFTWARE\\Microsoft\\Internet Explorer\\AboutURLs";
constexpr TextView kWindows = u"Software\\Microsoft\\Windows NT\\CurrentVersion\\Windows";
constexpr TextView kDefaultPrefix =
    u"Software\\Microsoft\\Windows\\CurrentVersion\\URL\\DefaultPrefix";
constexpr TextView kPrefixes = u"Software\\Microsoft\\Windows\\CurrentVersion\\URL\\Prefixes";

// The browser stores a stylesheet's path in a buffer of this size; an empty buffer is no
// stylesheet.
constexpr char16_t kNoStylesheet[260] = {};

/// A row for the class that serves a protocol.
constexpr Setting Protocol(TextView key, TextView module, TextView clsid) {
    return {HKCR, key, u"CLSID", GenuineProtocol, clsid, Family::Any, module};
}

constexpr Setting kSettings[] = {
    {HKCU, kMain, u"Default_Page_URL", DeleteValue},
    {HKLM, kMain, u"Default_Page_URL", WriteText, BuildSettings::DefaultStartPage},
    {HKCU, kMain, u"Start Page", WriteText, u"about:blank"},
    {HKLM, kMain, u"Start Page", WriteText, u"about:blank"},
    {HKCU, kControlPanel, u"HomePage", DeleteValue},
    {HKLM, kAboutUrls, u"blank", WriteText, u"res://mshtml.dll/blank.htm"},
    {HKLM, kWindows, u"AppInit_DLLs", KeepOneLibrary, u"wbsys.dll", Family::NT},
    {HKCU, kStyles, u"Use My Stylesheet", WriteZero},
    {HKCU, kStyles, u"User Stylesheet", WriteText, {kNoStylesheet, std::size(kNoStylesheet)}},
    {HKCU, kMain, u"Local Page", WriteInWindowsFolder, u"System32\\blank.htm", Family::NT},
    {HKCU, kMain, u"Local Page", WriteInWindowsFolder, u"System\\blank.htm", Family::Windows9x},
    // As plain text, with the variable in it.
    {HKLM, kMain, u"Local Page", WriteText, u"%SystemRoot%\\system32\\blank.htm", Family::NT},
    {HKLM, kMain, u"Local Page", WriteInWindowsFolder, u"system\\blank.htm", Family::Windows9x},
    {HKLM, kDefaultPrefix, u"", WriteText, u"http://"},
    {HKLM, kPrefixes, u"ftp", WriteText, u"ftp://"},
    {HKLM, kPrefixes, u"gopher", WriteText, u"gopher://"},
    {HKLM, kPrefixes, u"home", WriteText, u"http://"},
    {HKLM, kPrefixes, u"mosaic", WriteText, u"http://"},
    {HKLM, kPrefixes, u"www", WriteText, u"http://"},
    Protocol(u"PROTOCOLS\\Handler\\about", u"mshtml.dll",
             u"{3050F406-98B5-11CF-BB82-00AA00BDCE0B}"),
    Protocol(u"PROTOCOLS\\Handler\\file", u"urlmon.dll", u"{79eac9e7-baf9-11ce-8c82-00aa004ba90b}"),
    Protocol(u"PROTOCOLS\\Handler\\ftp", u"urlmon.dll", u"{79eac9e3-baf9-11ce-8c82-00aa004ba90b}"),
    Protocol(u"PROTOCOLS\\Handler\\gopher", u"urlmon.dll",
             u"{79eac9e4-baf9-11ce-8c82-00aa004ba90b}"),
    Protocol(u"PROTOCOLS\\Handler\\http", u"urlmon.dll", u"{79eac9e2-baf9-11ce-8c82-00aa004ba90b}"),
    Protocol(u"PROTOCOLS\\Handler\\https", u"urlmon.dll",
             u"{79eac9e5-baf9-11ce-8c82-00aa004ba90b}"),
    // The class of "file", on purpose.
    Protocol(u"PROTOCOLS\\Handler\\local", u"urlmon.dll",
             u"{79eac9e7-baf9-11ce-8c82-00aa004ba90b}"),
    {HKCR, u"PROTOCOLS\\Filter\\text/html", u"", DeleteKey},
    {HKCR, u"PROTOCOLS\\Filter\\text/plain", u"", DeleteKey},
    {HKCU, kControlPanel, u"ResetWebSettings", DeleteValue},
    {HKCU, kMain, u"FirstHomePage", DeleteValue},
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
        Text name = u"'" + RegistryAccess::RootName(setting.root) + u"\\" + Text(setting.key);
        if (setting.action != DeleteKey) name += u"\\" + Text(setting.name);
        return name + u"'";
    }

    Text Read(const Setting& setting) {
        Text value;
        (void)registry_.ReadString(setting.root, setting.key, setting.name, value);
        return value;
    }

    void Write(const Setting& setting, TextView text) {
        LogRefusal(registry_.WriteString(setting.root, setting.key, setting.name, text), setting);
    }

    void WriteNumber(const Setting& setting, std::int32_t number) {
        LogRefusal(registry_.WriteDword(setting.root, setting.key, setting.name, number), setting);
    }

    void LogRefusal(Status status, const Setting& setting) {
        LogRefusedChange(logger_, status, u"write " + NameOf(setting), source_);
    }

    void RestoreAbsentValue(const Setting& setting) {
        const Status deleted = registry_.DeleteValue(setting.root, setting.key, setting.name);
        if (deleted.IsNotThere()) return;
        LogRefusedChange(logger_, deleted, u"delete " + NameOf(setting), source_);
    }

    void RestoreAbsentKey(const Setting& setting) {
        if (registry_.DeleteKey(setting.root, setting.key)) return;
        // Only a key that is still there was refused.
        const Status left = TheMachine().RegistryKeys().RegEnumKeyExW(setting.root, setting.key);
        if (left.IsNotThere()) return;
        logger_.Write(0, u"Cannot delete " + NameOf(setting) + u". ", LogLevel::SystemFailure,
                      source_);
    }

    void RestoreLibraries(const Setting& setting) {
        const bool isListed = Find(ToLower(Read(setting)), setting.text) > 0;
        Write(setting, isListed ? setting.text : TextView());
    }

    void RestoreProtocol(const Setting& setting) {
        const Text clsid = Read(setting);
        if (clsid.empty()) return;  // a handler that doesn't exist is not created
        Text server;
        if (IsSystemClsidServer(registry_, clsid, Text(setting.module), server)) return;
        Write(setting, setting.text);
    }

    RegistryAccess& registry_;
    Logger& logger_;
    const Text& source_;
};

bool IsForThisFamily(const Setting& setting) {
    return setting.family == Family::Any || (setting.family == Family::NT) == gIsNT;
}

}  // namespace

void RestoreSettings(RegistryAccess& registry, Logger& logger, const Text& source) {
    Restorer restorer(registry, logger, source);
    for (const Setting& setting : kSettings) {
        if (IsForThisFamily(setting)) restorer.Restore(setting);
    }
}

}  // namespace bkfd
