#include <algorithm>

#include "platform/model/WindowsPath.h"
#include "platform/volume/StartSteps.h"

// The shell and the browser with what they load, on both families.
namespace bkfd {
namespace {

using Kind = StartPlace::Kind;

/// Classes of objects that Explorer loads: the values' names, their texts, or texts of keys.
enum class ClassIn { ValueName, Value, Key };

constexpr struct {
    TextView key;
    ClassIn classIn;
} kShellObjects[] = {{u"ShellServiceObjectDelayLoad", ClassIn::Value},
                     {u"Explorer\\SharedTaskScheduler", ClassIn::ValueName},
                     {u"Explorer\\ShellExecuteHooks", ClassIn::ValueName},
                     {u"Explorer\\ShellIconOverlayIdentifiers", ClassIn::Key}};

void LoadShellObjects(StartBuilder& start, StartAccount& account, const Text& shell) {
    for (const auto& place : kShellObjects) {
        const Text key = KeyBelow(StartKey::Current, place.key);
        const bool isKey = place.classIn == ClassIn::Key;
        for (const Text& name : isKey ? start.Keys(account, key) : start.Names(account, key)) {
            const Text clsid = isKey ? start.String(account, KeyBelow(key, name), {})
                               : place.classIn == ClassIn::ValueName
                                   ? name
                                   : start.String(account, key, name);
            start.Load(account, shell, start.LibraryOf(account, clsid, false),
                       {Kind::DelayLoad, name, account.user});
        }
    }
}

/// The classes are the machine's, or those of whoever is logged on.
void LoadHelperObjects(StartBuilder& start, const Text& program, bool isFor32) {
    const Text key =
        KeyOfView(KeyBelow(StartKey::Current, u"Explorer\\Browser Helper Objects"), isFor32);
    for (StartAccount& account : start.Accounts()) {
        for (const Text& clsid : start.Keys(account, key)) {
            for (StartAccount* user : start.LoggedOn(account)) {
                start.Load(*user, program, start.LibraryOf(*user, clsid, isFor32),
                           {Kind::HelperObject, clsid, account.user}, isFor32);
            }
        }
    }
}

/// Libraries between a program and the network. The path in an entry of the catalogue of protocols
/// is ANSI, of fixed length, with a description in binary behind it.
void LoadSocketLibraries(StartBuilder& start, const Text& program, bool isFor32) {
    constexpr std::size_t kPathLength = 260;
    const Text above = KeyBelow(StartKey::ControlSet, u"Services\\WinSock2\\Parameters");
    const TextView entries =
        start.Facts().hasTwoViews && !isFor32 ? u"\\Catalog_Entries64" : u"\\Catalog_Entries";
    StartAccount& machine = start.Machine();
    for (const TextView catalogue : {u"Protocol_Catalog9", u"NameSpace_Catalog5"}) {
        const Text list = KeyBelow(above, catalogue) + Text(entries);
        for (const Text& entry : start.Keys(machine, list)) {
            const Text key = KeyBelow(list, entry);
            const Bytes packed = start.Value(machine, key, u"PackedCatalogItem").data;
            const std::string_view path(reinterpret_cast<const char*>(packed.data()),
                                        std::min(packed.size(), kPathLength));
            Text library = start.Ansi().Decode(path.substr(0, path.find('\0')));
            if (library.empty()) library = start.String(machine, key, u"LibraryPath");
            start.Load(machine, program, library, {Kind::Winsock, KeyBelow(catalogue, entry)},
                       isFor32);
        }
    }
}

}  // namespace

void StartShell(StartBuilder& start) {
    constexpr struct {
        TextView above;
        TextView below;
    } kKeys[] = {{StartKey::CurrentNT, u"Winlogon"}, {StartKey::Current, u"Policies\\System"}};
    for (StartAccount& account : start.Accounts()) {
        for (const auto& key : kKeys) {
            const Text value = start.String(account, KeyBelow(key.above, key.below), u"Shell");
            for (const Text& line : Parts(value, u",")) {
                (void)start.Start(account, line, {Kind::Winlogon, u"Shell", account.user});
            }
        }
    }
    const auto shell = start.FileOfWindows(u"explorer.exe");
    if (!shell) return;
    start.StartFile(*shell);
    for (StartAccount& account : start.Accounts()) LoadShellObjects(start, account, *shell);
    LoadHelperObjects(start, *shell, false);
}

void StartBrowser(StartBuilder& start) {
    for (const bool isFor32 : kBothViews) {
        const Text* folder =
            start.Facts().Environment(isFor32 ? u"ProgramFiles(x86)" : u"ProgramFiles");
        if (folder == nullptr || (isFor32 && !start.Facts().hasTwoViews)) continue;
        const auto browser = start.FileOfWindows(*folder + u"\\Internet Explorer\\iexplore.exe");
        if (!browser) continue;
        start.StartFile(*browser);
        LoadHelperObjects(start, *browser, isFor32);
        LoadSocketLibraries(start, *browser, isFor32);
    }
}

}  // namespace bkfd
