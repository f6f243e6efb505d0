#include <algorithm>

#include "formats/ShellLink.h"
#include "platform/model/WindowsPath.h"
#include "platform/volume/StartSteps.h"

// The logon of each user, on both families.
namespace bkfd {
namespace {

using Kind = StartPlace::Kind;

/// With the name of the key where the engine's own inventory lacks it.
constexpr struct {
    TextView key;
    Kind kind;
} kRunKeys[] = {{u"Run", Kind::Run},
                {u"RunOnce", Kind::Run},
                {u"RunOnce\\Setup", Kind::OtherRun},
                {u"policies\\Explorer\\Run", Kind::Run}};
/// The NT family doesn't look at them. Wine does, for a program of its own that ends at once.
constexpr TextView kRunServicesKeys[] = {u"RunServices", u"RunServicesOnce"};

void StartValues(StartBuilder& start, StartAccount& account, const Text& key, Kind kind,
                 bool isFor32) {
    for (const Text& name : start.Names(account, key)) {
        start.StartAtLogon(account, start.String(account, key, name), {kind, name}, isFor32);
    }
}

/// Values of "library|function|arguments", or "||command line".
void StartRunOnceEx(StartBuilder& start, StartAccount& account, const Text& key, bool isFor32) {
    for (const Text& section : start.Keys(account, key)) {
        const Text below = KeyBelow(key, section);
        for (const Text& name : start.Names(account, below)) {
            const Text text = start.String(account, below, name);
            const StartReason reason{Kind::OtherRun, u"RunOnceEx\\" + KeyBelow(section, name)};
            if (text.starts_with(u"||")) {
                start.StartAtLogon(account, TextView(text).substr(2), reason, isFor32);
                continue;
            }
            const Text library = text.substr(0, text.find(u'|'));
            start.StartAtLogon(account, u"rundll32.exe \"" + library + u'"', reason, isFor32);
        }
    }
}

void StartAccountsKeys(StartBuilder& start, StartAccount& account) {
    for (const bool isFor32 : kBothViews) {
        const Text current = KeyOfView(StartKey::Current, isFor32);
        for (const auto& run : kRunKeys) {
            StartValues(start, account, KeyBelow(current, run.key), run.kind, isFor32);
        }
        StartRunOnceEx(start, account, KeyBelow(current, u"RunOnceEx"), isFor32);
    }
    if (!start.Facts().IsNT()) {
        for (const TextView run : kRunServicesKeys) {
            StartValues(start, account, KeyBelow(StartKey::Current, run), Kind::Run, false);
        }
        return;
    }
    const Text key = KeyBelow(StartKey::CurrentNT, u"Windows");
    for (const TextView name : {u"Load", u"Run"}) {
        for (const Text& line : Parts(start.String(account, key, name), u",")) {
            start.StartAtLogon(account, line, {Kind::OtherRun, u"Windows: " + Text(name)});
        }
    }
    constexpr TextView kScript = u"UserInitMprLogonScript";
    start.StartAtLogon(account, start.String(account, u"Environment", kScript),
                       {Kind::Winlogon, Text(kScript)});
}

/// False if the link leads to no program.
bool StartLink(StartBuilder& start, StartAccount& account, const VolumeEntry& entry,
               const StartReason& reason) {
    const std::string content = start.ReadBytes(entry.path);
    const auto link =
        ReadShellLink({reinterpret_cast<const std::uint8_t*>(content.data()), content.size()},
                      [&start](std::string_view bytes) { return start.Ansi().Decode(bytes); });
    if (!link) return false;
    const Text folder(WindowsPath::Parent(entry.path));
    const Text relative =
        link->relativePath.empty() ? Text() : WindowsPath::Join(folder, link->relativePath);
    for (const Text& target : {link->localPath, link->environmentPath, relative}) {
        if (target.empty()) continue;
        const Text line = u'"' + target + u"\" " + link->arguments;
        if (start.Start(account, line, reason, {true, false})) return true;
    }
    return false;
}

/// `owner` is whose folder it is, `account` who is logged on.
void StartFolder(StartBuilder& start, StartAccount& owner, StartAccount& account,
                 const Text& folder) {
    for (const VolumeEntry& entry : start.List(account.facts.ExpandVariables(folder))) {
        if (entry.isFolder) continue;
        const Text name(WindowsPath::Name(entry.path));
        const StartReason reason{Kind::StartFolder, name, owner.user};
        if (ToLower(name).ends_with(u".lnk")) {
            (void)StartLink(start, account, entry, reason);
        } else {
            (void)start.Start(account, u'"' + entry.path + u'"', reason, {true, false});
        }
    }
}

/// "5,50,4134,600" of two versions; false for one that isn't newer.
bool IsNewer(const Text& version, const Text& than) {
    const auto numbers = [](const Text& text) {
        std::vector<std::uint32_t> list;
        for (const Text& part : Parts(text, u",.")) {
            std::uint32_t number = 0;
            for (const char16_t digit : part.substr(0, 9)) {
                if (digit >= u'0' && digit <= u'9') number = number * 10 + (digit - u'0');
            }
            list.push_back(number);
        }
        return list;
    };
    return numbers(version) > numbers(than);
}

}  // namespace

void StartActiveSetup(StartBuilder& start) {
    constexpr TextView kComponents = u"Software\\Microsoft\\Active Setup\\Installed Components";
    StartAccount& machine = start.Machine();
    for (const bool isFor32 : kBothViews) {
        const Text list = KeyOfView(kComponents, isFor32);
        for (const Text& component : start.Keys(machine, list)) {
            const Text key = KeyBelow(list, component);
            const Text line = start.String(machine, key, u"StubPath");
            if (line.empty() || start.Number(key, u"IsInstalled") == 0U) continue;
            const Text version = start.String(machine, key, u"Version");
            for (StartAccount* user : start.LoggedOn(machine)) {
                const bool isDone = user != &machine && !start.Names(*user, key).empty() &&
                                    !IsNewer(version, start.String(*user, key, u"Version"));
                if (isDone) continue;
                (void)start.Start(*user, line, {Kind::ActiveSetup, component, user->user},
                                  {true, isFor32});
            }
        }
    }
}

void StartRunKeys(StartBuilder& start) {
    for (StartAccount& account : start.Accounts()) StartAccountsKeys(start, account);
}

void StartStartFolders(StartBuilder& start) {
    // The shell copies the first one, which may have variables, to the second.
    const auto folder = [&](const StartAccount& account, TextView name) {
        const Text key = KeyBelow(StartKey::Current, u"Explorer\\");
        const Text given = start.String(account, key + u"User Shell Folders", name);
        return given.empty() ? start.String(account, key + u"Shell Folders", name) : given;
    };
    StartAccount& machine = start.Machine();
    const Text common = folder(machine, u"Common Startup");
    for (StartAccount* user : start.LoggedOn(machine)) StartFolder(start, machine, *user, common);
    for (StartAccount& account : start.Accounts()) {
        if (&account == &machine) continue;
        StartFolder(start, account, account, folder(account, u"Startup"));
    }
}

}  // namespace bkfd
