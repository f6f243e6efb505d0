#include <algorithm>
#include <ostream>

#include "cli/ScanResult.h"
#include "cli/TextTable.h"
#include "ui/terminal/PrintableText.h"

// A scan's result for people.
namespace bkfd {
namespace {

std::string Counted(std::size_t count, const std::string& one, const std::string& many) {
    return std::to_string(count) + " " + (count == 1 ? one : many);
}

std::string IdentityText(const FoundFile& file) {
    if (file.size == 0) return "can't be read, or isn't there";
    const std::string company =
        file.manufacturer.empty() ? "no company" : PrintableText(file.manufacturer);
    return std::to_string(file.size) + " bytes, hash " + std::to_string(file.hash) + ", " + company;
}

void PrintFiles(const Console& console, const std::vector<FoundFile>& files) {
    if (files.empty()) return;
    console.out << '\n'
                << console.Bold("Files to disable (" + std::to_string(files.size()) + ")") << '\n';
    for (const FoundFile& file : files) {
        console.out << "  " << PrintableText(file.path) << '\n'
                    << "      why    " << file.why << '\n';
        const char* label = "      where  ";
        for (const std::string& place : file.places) {
            console.out << label << place << '\n';
            label = "             ";
        }
        console.out << "      file   " << IdentityText(file) << '\n';
    }
}

void PrintHelpers(const Console& console, const std::vector<FoundHelper>& helpers) {
    if (helpers.empty()) return;
    console.out << '\n'
                << console.Bold("Helper objects to delete (" + std::to_string(helpers.size()) + ")")
                << '\n';
    TextTable table({"Class", "Name", "File"});
    for (const FoundHelper& helper : helpers) {
        table.AddRow(
            {PrintableText(helper.clsid), PrintableText(helper.name),
             helper.file.empty() ? "(none: a dead registration)" : PrintableText(helper.file)});
    }
    table.Print(console, "  ");
}

/// Those that aren't among the parasites, which are listed already.
void PrintSuspicious(const Console& console, const ScanResult& result) {
    std::vector<std::string> lines;
    for (const Text& file : result.suspicious) {
        const bool isParasite =
            std::any_of(result.files.begin(), result.files.end(),
                        [&](const FoundFile& found) { return EqualsIgnoreCase(found.path, file); });
        if (!isParasite) lines.push_back(PrintableText(file));
    }
    if (lines.empty()) return;
    console.out << '\n'
                << console.Bold("Suspicious, no parasites as far as is known (" +
                                std::to_string(lines.size()) + ")")
                << '\n';
    for (const std::string& line : lines) console.out << "  " << line << '\n';
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

std::string VerdictText(const ScanResult& result) {
    switch (result.verdict) {
        case Verdict::Clean:
            return "Clean: no parasite found.";
        case Verdict::Parasites:
            return "Parasites found: " +
                   Counted(result.files.size(), "file to disable, ", "files to disable, ") +
                   Counted(result.helpers.size(), "helper object to delete.",
                           "helper objects to delete.");
        case Verdict::Incomplete:
            break;
    }
    return "Incomplete: no parasite found, but not all could be read.";
}

}  // namespace

void PrintScan(const Console& console, const std::string& windowsText, const ScanResult& result) {
    console.out << windowsText << '\n'
                << "Looked at "
                << Counted(result.helpersSeen, "helper object, ", "helper objects, ")
                << Counted(result.startupItemsSeen, "startup entry and ", "startup entries and ")
                << Counted(result.processesSeen, "process.", "processes.") << '\n';
    PrintFiles(console, result.files);
    PrintHelpers(console, result.helpers);
    PrintSuspicious(console, result);
    PrintUnreadableTable(console, result.unreadable);
    console.out << '\n' << console.Bold(VerdictText(result)) << '\n';
}

}  // namespace bkfd
