#include "cli/CleanText.h"

#include <nlohmann/json.hpp>
#include <ostream>

#include "cli/IgnoredThings.h"
#include "cli/TextTable.h"
#include "ui/terminal/PrintableText.h"

namespace bkfd {
namespace {

void PrintHeading(const Console& console, const std::string& heading, std::size_t count) {
    console.out << console.Bold(heading + " (" + std::to_string(count) + ")") << '\n';
}

void PrintTexts(const Console& console, const char* heading, const std::vector<Text>& texts) {
    if (texts.empty()) return;
    PrintHeading(console, heading, texts.size());
    for (const Text& text : texts) console.out << "  " << PrintableText(text) << '\n';
    console.out << '\n';
}

void PrintStartup(const Console& console, const std::vector<DeletedStartup>& entries) {
    if (entries.empty()) return;
    PrintHeading(console, "Startup entries deleted", entries.size());
    for (const DeletedStartup& entry : entries) {
        console.out << "  " << PrintableText(entry.key) << ": " << PrintableText(entry.valueName)
                    << " = " << PrintableText(entry.data) << '\n';
    }
    console.out << '\n';
}

void PrintProcesses(const Console& console, const std::vector<EndedProcess>& processes) {
    if (processes.empty()) return;
    PrintHeading(console, "Processes ended", processes.size());
    for (const EndedProcess& process : processes) {
        console.out << "  " << PrintableText(process.path) << " (" << process.id << ")\n";
    }
    console.out << '\n';
}

std::string ValueText(const std::optional<RegistryValue>& value) {
    if (const auto text = RegistryValueText(value)) {
        return text->empty() ? "(empty)" : PrintableText(*text);
    }
    const Json json = RegistryValueToJson(value);
    if (json.is_null()) return "(none)";
    if (!json.is_string()) return json.dump();
    const auto hex = json.get<std::string>();
    return hex.empty() ? "(empty)" : hex;
}

void PrintSettings(const Console& console, const std::vector<ChangedSetting>& settings) {
    if (settings.empty()) return;
    PrintHeading(console, "Settings put right", settings.size());
    for (const ChangedSetting& setting : settings) {
        console.out << "  " << PrintableText(setting.key);
        if (setting.isDeletedKey) {
            console.out << "\n      the key was deleted\n";
            continue;
        }
        const std::string name =
            setting.valueName.empty() ? "(default)" : PrintableText(setting.valueName);
        console.out << ": " << name << "\n      was  " << ValueText(setting.before)
                    << "\n      is   " << ValueText(setting.after) << '\n';
    }
    console.out << '\n';
}

void PrintFailed(const Console& console, const std::vector<FailedChange>& failed) {
    if (failed.empty()) return;
    PrintHeading(console, "Could not be done", failed.size());
    TextTable table({"What", "Name", "Error"});
    for (const FailedChange& change : failed) {
        table.AddRow({change.kind, PrintableText(change.name), PrintableText(change.error)});
    }
    table.Print(console, "  ");
    console.out << '\n';
}

}  // namespace

void PrintClean(const Console& console, const CleanResult& result, const char* done,
                bool isDryRun) {
    PrintTexts(console, "Files disabled", result.removedFiles);
    PrintTexts(console, "Helper objects deleted", result.deletedBhos);
    PrintStartup(console, result.deletedStartup);
    PrintProcesses(console, result.endedProcesses);
    PrintSettings(console, result.changedSettings);
    PrintFailed(console, result.failed);
    PrintIgnored(console, result.ignored);
    if (!result.ignored.empty()) console.out << '\n';
    std::string end = done;
    if (!result.failed.empty()) end += " in part";
    end += !result.isRunning    ? "; Windows isn't running there, so nothing was restarted"
           : result.isRestarted ? ", and Windows restarted"
                                : "; Windows still has to be restarted";
    if (isDryRun) end = "Dry run: nothing of this was done";
    if (!result.plan.empty()) {
        end = "Plan: nothing of this was done yet; on that machine run fix.bat";
    }
    console.out << console.Bold(end + IgnoredClause(result.ignored) + ".") << '\n';
    for (const std::string& file : result.plan) {
        console.out << "  " << PrintableText(FromUtf8(file)) << '\n';
    }
    if (result.record != 0) {
        console.out << "All but ended processes and a restart comes back with: undo "
                    << result.record << '\n';
    }
}

}  // namespace bkfd
