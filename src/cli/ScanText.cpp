#include <algorithm>
#include <ostream>

#include "cli/IgnoredThings.h"
#include "cli/ScanResult.h"
#include "cli/StartedBy.h"
#include "cli/TextTable.h"
#include "platform/RegistryViews.h"
#include "ui/terminal/PrintableText.h"

// A scan's result for people.
namespace bkfd {
namespace {

std::string Counted(std::size_t count, const std::string& one, const std::string& many) {
    return std::to_string(count) + " " + (count == 1 ? one : many);
}

const char* TextOf(Reason reason) {
    switch (reason) {
        case Reason::HelperObject:
            return "is a helper object that names no company";
        case Reason::StartupNonamer:
            return "starts with Windows, runs, and names no company";
        case Reason::Process:
            return "runs, and is known or looks like a parasite";
        case Reason::Module:
            break;
    }
    return "is loaded, and is known or looks like a parasite";
}

std::string LastComponent(const Text& path) {
    return PrintableText(path.substr(FindLast(path, u"\\")));
}

std::string TextOf(const Place& place) {
    switch (place.kind) {
        case Place::Kind::HelperObject:
            return "helper object " + PrintableText(place.name) + ToUtf8(ViewSuffix(place.view));
        case Place::Kind::Startup:
            return "started by " + StartedBy(place.key, place.name, place.view);
        case Place::Kind::Process:
            return "running program";
        case Place::Kind::SessionManager:
            return "session manager: " + PrintableText(place.name);
        case Place::Kind::Winlogon:
            return "started at logon: " + PrintableText(place.name);
        case Place::Kind::Service:
            return "service " + PrintableText(place.name);
        case Place::Kind::SecurityPackage:
            return "security authority: " + PrintableText(place.name);
        case Place::Kind::PrintMonitor:
            return "print monitor or provider " + PrintableText(place.name);
        case Place::Kind::ScheduledTask:
            return "scheduled task " + PrintableText(place.name);
        case Place::Kind::DelayLoad:
            return "object that Explorer loads: " + PrintableText(place.name);
        case Place::Kind::AppInit:
            return "loaded into every program with windows";
        case Place::Kind::ActiveSetup:
            return "set up at logon: " + PrintableText(place.name);
        case Place::Kind::OtherRun:
            return "started by " + PrintableText(place.name);
        case Place::Kind::StartFolder:
            return "start-up folder: " + PrintableText(place.name);
        case Place::Kind::IniFile:
            return "started by " + PrintableText(place.name);
        case Place::Kind::Winsock:
            return "between programs and the network: " + PrintableText(place.name);
        case Place::Kind::Debugger:
            return "starts instead of " + PrintableText(place.name);
        case Place::Kind::Module:
            break;
    }
    return "module of " + LastComponent(place.name);
}

std::string WithUser(const std::string& text, const Text& user) {
    return user.empty() ? text : text + ", user " + PrintableText(user);
}

std::string IdentityText(const FoundFile& file) {
    if (file.isFolder) return "is a folder";
    if (!file.exists) return "isn't there";
    if (file.size == 0) return "is empty, or can't be read";
    const std::string company = file.company.empty() ? "no company" : PrintableText(file.company);
    return Counted(static_cast<std::size_t>(file.size), "byte", "bytes") + ", hash " +
           std::to_string(file.hash) + ", " + company;
}

template <class List, class ToLine>
void PrintLines(const Console& console, const char* label, const List& list, ToLine toLine) {
    for (const auto& entry : list) {
        console.out << "      " << label << toLine(entry) << '\n';
        label = "       ";
    }
}

void PrintFiles(const Console& console, const std::vector<FoundFile>& files) {
    if (files.empty()) return;
    console.out << '\n'
                << console.Bold("Files to disable (" + std::to_string(files.size()) + ")") << '\n';
    for (const FoundFile& file : files) {
        console.out << "  " << PrintableText(file.finding.path) << '\n';
        PrintLines(console, "why    ", file.finding.reasons, [](Reason it) { return TextOf(it); });
        PrintLines(console, "where  ", file.finding.places,
                   [](const Place& it) { return WithUser(TextOf(it), it.user); });
        console.out << "      file   " << IdentityText(file) << '\n';
    }
}

void PrintHelpers(const Console& console, const std::vector<HelperObject>& helpers) {
    if (helpers.empty()) return;
    console.out << '\n'
                << console.Bold("Helper objects to delete (" + std::to_string(helpers.size()) + ")")
                << '\n';
    TextTable table({"Class", "Name", "File"});
    for (const HelperObject& helper : helpers) {
        table.AddRow(
            {PrintableText(helper.clsid),
             PrintableText(helper.name) + ToUtf8(ViewSuffix(helper.view)),
             helper.file.empty() ? "(none: a dead registration)" : PrintableText(helper.file)});
    }
    table.Print(console, "  ");
}

void PrintSuspicious(const Console& console, const std::vector<FoundFile>& files) {
    if (files.empty()) return;
    console.out << '\n'
                << console.Bold("Suspicious, no parasites as far as is known (" +
                                std::to_string(files.size()) + ")")
                << '\n';
    for (const FoundFile& file : files) {
        console.out << "  " << PrintableText(file.finding.path) << '\n';
    }
}

void PrintUnreadableTable(const Console& console, const std::vector<Unreadable>& unreadable) {
    if (unreadable.empty()) return;
    console.out << '\n'
                << console.Bold("Could not be read (" + std::to_string(unreadable.size()) + ")")
                << '\n';
    TextTable table({"What", "Name", "Error"});
    for (const Unreadable& entry : unreadable) {
        table.AddRow(
            {PrintableText(entry.kind), PrintableText(entry.name), PrintableText(entry.error)});
    }
    table.Print(console, "  ");
}

/// "3 processes and 1 file could not be read", empty where all could.
std::string UnreadText(const std::vector<Unreadable>& unreadable) {
    constexpr struct {
        TextView kind;
        const char* one;
        const char* many;
    } kKinds[] = {{u"process-list", "list of processes", "lists of processes"},
                  {u"process", "process", "processes"},
                  {u"registry", "registry key", "registry keys"},
                  {u"file", "file", "files"},
                  {u"ignore-list", "ignore list", "ignore lists"},
                  {u"step", "step of the search", "steps of the search"}};
    std::vector<std::string> counts;
    for (const auto& kind : kKinds) {
        const auto count = static_cast<std::size_t>(std::ranges::count_if(
            unreadable, [&](const Unreadable& entry) { return entry.kind == kind.kind; }));
        if (count > 0) counts.push_back(Counted(count, kind.one, kind.many));
    }
    std::string text;
    for (std::size_t i = 0; i < counts.size(); ++i) {
        text += (i == 0 ? "" : i + 1 == counts.size() ? " and " : ", ") + counts[i];
    }
    return text.empty() ? text : text + " could not be read";
}

std::string VerdictText(const ScanResult& result) {
    const std::string unread = UnreadText(result.unreadable);
    const std::string end = IgnoredClause(result.ignored) + '.';
    if (result.verdict == Verdict::Parasites) {
        return "Parasites found: " +
               Counted(result.files.size(), "file to disable, ", "files to disable, ") +
               Counted(result.bhos.size(), "helper object to delete", "helper objects to delete") +
               (unread.empty() ? end : "; " + unread + end);
    }
    const char* const verdict = result.verdict == Verdict::Clean ? "Clean" : "Incomplete";
    return verdict + std::string(": no parasite found") +
           (unread.empty() ? end : ", but " + unread + end);
}

/// Cleanups put them right, but they are no parasites and don't count for the verdict.
void PrintSettings(const Console& console, const std::vector<FoundSetting>& settings) {
    const auto suspects =
        static_cast<std::size_t>(std::ranges::count_if(settings, [](const FoundSetting& setting) {
            return setting.info.status == SettingStatus::kSuspect;
        }));
    if (suspects == 0) return;
    console.out << '\n'
                << Counted(suspects, "setting of the browser is", "settings of the browser are")
                << " suspect: brackenfold settings lists them.\n";
}

}  // namespace

void PrintScan(const Console& console, const Text& windowsText, const ScanResult& result) {
    console.out << PrintableText(windowsText) << '\n'
                << "Looked at "
                << Counted(result.helperObjectsSeen, "helper object, ", "helper objects, ")
                << Counted(result.startupItemsSeen, "startup entry and ", "startup entries and ")
                << Counted(result.programsSeen, "process.", "processes.") << '\n';
    PrintFiles(console, result.files);
    PrintHelpers(console, result.bhos);
    PrintSuspicious(console, result.suspicious);
    if (!result.ignored.empty()) console.out << '\n';
    PrintIgnored(console, result.ignored);
    PrintSettings(console, result.settings);
    PrintUnreadableTable(console, result.unreadable);
    console.out << '\n' << console.Bold(VerdictText(result)) << '\n';
}

}  // namespace bkfd
