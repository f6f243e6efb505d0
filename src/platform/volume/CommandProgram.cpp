#include "platform/volume/CommandProgram.h"

#include <algorithm>
#include <span>

#include "platform/model/WindowsPath.h"

namespace bkfd {
namespace {

constexpr TextView kExe = u".exe";
constexpr TextView kDll = u".dll";
/// Programs that do nothing themselves but load the library that they are given.
constexpr TextView kLaunchers[] = {u"rundll32.exe", u"rundll.exe", u"regsvr32.exe"};
/// What the shell starts; it opens all else with another program.
constexpr TextView kPrograms[] = {u".exe", u".com", u".scr", u".pif"};
constexpr TextView kLibraries[] = {u".dll", u".ocx", u".cpl"};
/// What runs the scripts of both families, by the extension.
constexpr struct {
    TextView extension;
    TextView interpreterNT;
    TextView interpreter95;
} kScripts[] = {
    {u".bat", u"cmd.exe", u"command.com"},     {u".cmd", u"cmd.exe", u""},
    {u".vbs", u"wscript.exe", u"wscript.exe"}, {u".vbe", u"wscript.exe", u"wscript.exe"},
    {u".js", u"wscript.exe", u"wscript.exe"},  {u".jse", u"wscript.exe", u"wscript.exe"},
    {u".wsf", u"wscript.exe", u"wscript.exe"}, {u".hta", u"mshta.exe", u"mshta.exe"}};

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

bool IsOneOf(TextView extension, std::span<const TextView> list) {
    return std::ranges::any_of(list,
                               [&](TextView one) { return EqualsIgnoreCase(one, extension); });
}

/// ".exe" of "a.b.exe".
TextView ExtensionOf(TextView path) {
    const TextView name = WindowsPath::Name(path);
    const std::size_t point = name.rfind(u'.');
    return point == TextView::npos ? TextView() : name.substr(point);
}

}  // namespace

bool CommandPrograms::IsThere(const Text& path) {
    const auto entry = volume_.Find(path);
    // What can't be read is there.
    if (!entry.IsNotThere()) return !entry.value.isFolder;
    const std::size_t colon = path.find(u':', 2);
    if (colon == Text::npos) return false;
    const auto file = volume_.Find(path.substr(0, colon));
    return file.IsOk() && !file.value.isFolder &&
           volume_.HasStream(file.value, TextView(path).substr(colon + 1));
}

std::optional<Text> CommandPrograms::FileAt(TextView path, CommandUse use) {
    auto full = WindowsPath::Full(path, facts_.currentFolder);
    if (!full.IsOk() || WindowsPath::HasWildcards(WindowsPath::Name(full.value))) {
        return std::nullopt;
    }
    const Text system = facts_.SystemFolder() + u'\\';
    if (use.isFor32 && EqualsIgnoreCase(TextView(full.value).substr(0, system.size()), system)) {
        full.value.replace(0, system.size(), SystemFolder(use) + u'\\');
    }
    if (!IsThere(full.value)) return std::nullopt;
    return full.value;
}

Text CommandPrograms::SystemFolder(CommandUse use) const {
    return use.isFor32 && facts_.hasTwoViews ? facts_.SystemFolder32() : facts_.SystemFolder();
}

std::vector<Text> CommandPrograms::SearchFolders(CommandUse use) const {
    std::vector<Text> folders = facts_.FoldersBehindSystem();
    folders.insert(folders.begin(), SystemFolder(use));
    return folders;
}

std::optional<Text> CommandPrograms::File(TextView given, TextView extension, CommandUse use) {
    given = TrimBlanks(UpToNul(given));
    if (given.starts_with(u'"')) given = given.substr(1, given.find(u'"', 1) - 1);
    Text name = WithoutNativeForm(given, facts_);
    if (name.empty()) return std::nullopt;
    if (WindowsPath::Name(name).find(u'.') == TextView::npos) name += extension;
    const bool hasFolder = name.find_first_of(u"\\/:") != Text::npos;
    if (hasFolder) return FileAt(name, use);
    for (const Text& folder : SearchFolders(use)) {
        if (auto found = FileAt(WindowsPath::Join(folder, name), use)) return found;
    }
    return std::nullopt;
}

std::optional<Text> CommandPrograms::Program(TextView line, TextView& rest, CommandUse use) {
    if (line.starts_with(u'"')) {
        const std::size_t end = std::min(line.find(u'"', 1), line.size());
        rest = line.substr(std::min(end + 1, line.size()));
        return File(line.substr(1, end - 1), kExe, use);
    }
    for (std::size_t end = line.find_first_of(u" \t");; end = line.find_first_of(u" \t", end + 1)) {
        const bool isWhole = end == TextView::npos;
        if (auto found = File(line.substr(0, end), kExe, use)) {
            rest = isWhole ? TextView() : line.substr(end);
            return found;
        }
        if (isWhole) return std::nullopt;
    }
}

std::optional<Text> CommandPrograms::Library(TextView program, TextView rest, CommandUse use) {
    if (!IsOneOf(WindowsPath::Name(program), kLaunchers)) return std::nullopt;
    rest = TrimBlanks(rest);
    // Switches stand before the library.
    while (rest.starts_with(u'/') || rest.starts_with(u'-')) {
        rest = TrimBlanks(rest.substr(std::min(rest.find(u' '), rest.size())));
    }
    if (rest.starts_with(u'"')) return File(rest, kDll, use);
    const TextView upToComma = rest.substr(0, rest.find(u','));
    if (auto found = File(upToComma, kDll, use)) return found;
    return File(upToComma.substr(0, upToComma.find(u' ')), kDll, use);
}

std::optional<StartedProgram> CommandPrograms::Started(Text file, TextView rest, CommandUse use) {
    const TextView extension = ExtensionOf(file);
    for (const auto& script : kScripts) {
        if (!EqualsIgnoreCase(script.extension, extension)) continue;
        const bool isNT = facts_.IsNT();
        auto interpreter = File(isNT ? script.interpreterNT : script.interpreter95, {}, use);
        if (!interpreter) return std::nullopt;
        return StartedProgram{std::move(*interpreter), std::nullopt, std::move(file), {}};
    }
    // Other than the shell the system starts a program under any name, "~setup.tmp" too.
    if (use.byShell ? !IsOneOf(extension, kPrograms) : IsOneOf(extension, kLibraries)) {
        return std::nullopt;
    }
    StartedProgram started{std::move(file), std::nullopt, std::nullopt, Trim(rest)};
    started.library = Library(started.path, rest, use);
    return started;
}

std::optional<StartedProgram> CommandPrograms::Of(TextView line, CommandUse use) {
    line = TrimBlanks(UpToNul(line));
    if (line.empty()) return std::nullopt;
    TextView rest;
    auto program = Program(line, rest, use);
    if (!program) return std::nullopt;
    return Started(std::move(*program), rest, use);
}

}  // namespace bkfd
