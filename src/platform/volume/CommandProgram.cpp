#include "platform/volume/CommandProgram.h"

#include <algorithm>

#include "platform/model/WindowsPath.h"

namespace bkfd {
namespace {

constexpr TextView kExe = u".exe";
constexpr TextView kDll = u".dll";
/// Programs that do nothing themselves but load the library that they are given.
constexpr TextView kLaunchers[] = {u"rundll32.exe", u"rundll.exe", u"regsvr32.exe"};

TextView TrimBlanks(TextView text) {
    constexpr TextView kBlanks = u" \t";
    const std::size_t start = text.find_first_not_of(kBlanks);
    if (start == TextView::npos) return {};
    return text.substr(start, text.find_last_not_of(kBlanks) - start + 1);
}

/// "\SystemRoot\a", "system32\a" and "\??\C:\a" as services name their programs.
Text WithoutNativeForm(TextView path, const MachineFacts& facts) {
    constexpr TextView kRoot = u"\\systemroot\\";
    constexpr TextView kSystem = u"system32\\";
    if (path.starts_with(u"\\??\\")) path.remove_prefix(4);
    const Text folded = ToLower(path);
    if (folded.starts_with(kRoot)) {
        return facts.WindowsFolder() + u'\\' + Text(path.substr(kRoot.size()));
    }
    if (folded.starts_with(kSystem)) return facts.WindowsFolder() + u'\\' + Text(path);
    return Text(path);
}

}  // namespace

std::optional<Text> CommandPrograms::FileAt(TextView path) {
    const auto full = WindowsPath::Full(path, facts_.currentFolder);
    if (!full.IsOk() || WindowsPath::HasWildcards(WindowsPath::Name(full.value))) {
        return std::nullopt;
    }
    const auto entry = volume_.Find(full.value);
    // What can't be read is there.
    if (entry.IsNotThere() || entry.value.isFolder) return std::nullopt;
    return full.value;
}

Text CommandPrograms::SystemFolder() const {
    return is32Bit_ ? facts_.SystemFolder32() : facts_.SystemFolder();
}

std::vector<Text> CommandPrograms::SearchFolders() const {
    std::vector<Text> folders{SystemFolder()};
    if (facts_.IsNT()) folders.push_back(facts_.WindowsFolder() + u"\\system");
    folders.push_back(facts_.WindowsFolder());
    const Text* path = facts_.Environment(u"PATH");
    TextView rest = path == nullptr ? TextView() : TextView(*path);
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find(u';'), rest.size());
        if (end > 0) folders.emplace_back(rest.substr(0, end));
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return folders;
}

std::optional<Text> CommandPrograms::File(TextView given, TextView extension) {
    Text name = WithoutNativeForm(TrimBlanks(UpToNul(given)), facts_);
    if (name.empty()) return std::nullopt;
    if (WindowsPath::Name(name).find(u'.') == TextView::npos) name += extension;
    const Text system = facts_.SystemFolder() + u'\\';
    if (EqualsIgnoreCase(TextView(name).substr(0, system.size()), system)) {
        name = SystemFolder() + name.substr(system.size() - 1);
    }
    const bool hasFolder = name.find_first_of(u"\\/:") != Text::npos;
    if (hasFolder) return FileAt(name);
    for (const Text& folder : SearchFolders()) {
        if (auto found = FileAt(WindowsPath::Join(folder, name))) return found;
    }
    return std::nullopt;
}

std::optional<Text> CommandPrograms::Program(TextView line, TextView& rest) {
    if (line.starts_with(u'"')) {
        const std::size_t end = std::min(line.find(u'"', 1), line.size());
        rest = line.substr(std::min(end + 1, line.size()));
        return File(line.substr(1, end - 1), kExe);
    }
    for (std::size_t end = line.find_first_of(u" \t");; end = line.find_first_of(u" \t", end + 1)) {
        const bool isWhole = end == TextView::npos;
        if (auto found = File(line.substr(0, end), kExe)) {
            rest = isWhole ? TextView() : line.substr(end);
            return found;
        }
        if (isWhole) return std::nullopt;
    }
}

std::optional<Text> CommandPrograms::Library(TextView program, TextView rest) {
    const TextView name = WindowsPath::Name(program);
    const bool isLauncher = std::ranges::any_of(
        kLaunchers, [&](TextView launcher) { return EqualsIgnoreCase(launcher, name); });
    if (!isLauncher) return std::nullopt;
    rest = TrimBlanks(rest);
    // Switches stand before the library.
    while (rest.starts_with(u'/') || rest.starts_with(u'-')) {
        rest = TrimBlanks(rest.substr(std::min(rest.find(u' '), rest.size())));
    }
    if (rest.starts_with(u'"')) return File(rest.substr(1, rest.find(u'"', 1) - 1), kDll);
    const TextView upToComma = rest.substr(0, rest.find(u','));
    if (auto found = File(upToComma, kDll)) return found;
    return File(upToComma.substr(0, upToComma.find(u' ')), kDll);
}

std::optional<StartedProgram> CommandPrograms::Of(TextView line) {
    line = TrimBlanks(UpToNul(line));
    if (line.empty()) return std::nullopt;
    TextView rest;
    auto program = Program(line, rest);
    if (!program) return std::nullopt;
    StartedProgram started{std::move(*program), std::nullopt};
    started.library = Library(started.path, rest);
    return started;
}

}  // namespace bkfd
