#include <algorithm>

#include "fuzz/Fuzzer.h"
#include "platform/image/ImageSettings.h"

using namespace bkfd;

namespace {

bool AreEqual(const ImageSettings& a, const ImageSettings& b) {
    return a.processes == b.processes && a.rules.All() == b.rules.All() && a.time == b.time &&
           a.deniedReads == b.deniedReads && a.deniedWrites == b.deniedWrites &&
           a.facts.environment == b.facts.environment &&
           a.facts.programFolder == b.facts.programFolder && a.facts.codePage == b.facts.codePage &&
           a.facts.hasTwoViews == b.facts.hasTwoViews &&
           a.facts.missingComponents == b.facts.missingComponents;
}

/// Other processes, rules and times than the settings have.
ImageSettings Changed(ImageSettings settings, std::size_t seed) {
    if (settings.processes.empty() || seed % 2 == 0) {
        settings.processes.push_back({});
        settings.processes.back().path = Text{u'C', 0xD800, u'"'};
    } else {
        settings.processes.pop_back();
    }
    settings.rules.At(u"C:\\\u043F").isLocked = true;
    settings.time = {};
    if (seed % 3 == 0) settings.time.now = 40'000;
    return settings;
}

/// The text with those changes, read again, says what they are.
void CheckUpdate(const std::string& content, const ImageSettings& saved, std::size_t seed) {
    const ImageSettings changed = Changed(saved, seed);
    const std::string text =
        UpdateImageSettings(content, saved, {changed.time, changed.processes, changed.rules});
    const auto again = ParseImageSettings("machine.json", text);
    const auto* settings = std::get_if<ImageSettings>(&again);
    // A process of a number that is there already isn't made by any machine.
    if (settings == nullptr) {
        const auto taken = std::ranges::count_if(
            saved.processes, [](const ProcessRecord& process) { return process.id == 0; });
        Require(taken > 0, "what is written can be read");
        return;
    }
    // Rules that say nothing needn't be written.
    const auto withoutEmptyRules = [](ImageSettings one) {
        FileRules rules;
        for (const auto& [path, rule] : one.rules.All()) {
            if (rule != FileRule()) rules.At(path) = rule;
        }
        one.rules = rules;
        return one;
    };
    Require(AreEqual(withoutEmptyRules(*settings), withoutEmptyRules(changed)),
            "what is written is read back");
}

}  // namespace

std::vector<Bytes> FuzzCorpus() {
    std::vector<Bytes> corpus;
    for (const std::string_view text : {
             R"({"family": "nt", "version": [5,1], "build": 2600, "servicePack": "Service Pack 2",
"architecture": "x64", "codePage": 1252, "environment": {"windir": "C:\\WINDOWS", "\ud83d\ude00": "x"},
"programFolder": "C:\\P", "now": "2026-11-16T09:39:04", "uptimeMs": 600000,
"processes": [{"id": 4, "path": "System"}, {"id": 8, "path": "C:\\a.exe", "denied": true,
"modules": ["C:\\b.dll"]}, {"id": 9, "path": "C:\\c.exe", "self": true}],
"files": {"C:\\a.exe": {"attributes": 6, "locked": true}, "C:\\b": {"unreadable": true}},
"denied": {"read": ["HKLM\\a"], "write": ["HKEY_CURRENT_USER\\b"]},
"components": {"BKFDCustom.dll": false}, "restart": "denied"})",
             R"({"family": "9x", "build": 67766222, "bootTime": "2026-11-16T09:39:04.125",
"processes": [], "files": {}})",
             R"({"family": "xp", "family": "nt", "unknown": 1})"}) {
        corpus.emplace_back(text.begin(), text.end());
    }
    return corpus;
}

/// An error is on a line of the file; what is changed is read back, and nothing else changes.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string content(data, data + size);
    const auto parsed = ParseImageSettings("machine.json", content);
    if (const auto* error = std::get_if<ImageError>(&parsed)) {
        const auto ends = std::ranges::count(content, '\n');
        Require(error->line <= static_cast<std::size_t>(ends) + 1, "an error is in the file");
        Require(!error->Describe().empty(), "an error has a text");
        return 0;
    }
    const auto& settings = std::get<ImageSettings>(parsed);
    Require(UpdateImageSettings(content, settings,
                                {settings.time, settings.processes, settings.rules}) == content,
            "without a change the text stays");
    CheckUpdate(content, settings, size);
    return 0;
}
