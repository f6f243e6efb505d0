// The search order of the file calls, and long names.

#include <algorithm>
#include <iterator>

#include "platform/model/ModelFiles.h"
#include "platform/model/WindowsPath.h"

namespace bkfd {
namespace {

/// Whether a name says itself where to look: a drive, a root, "." or "..".
bool NamesAFolder(TextView name) {
    if (name.size() >= 2 && name[1] == u':') return true;
    if (name[0] == u'\\' || name[0] == u'/') return true;
    const std::size_t points = std::min(name.find_first_not_of(u'.'), name.size());
    return (points == 1 || points == 2) && points < name.size() &&
           (name[points] == u'\\' || name[points] == u'/');
}

/// Copies the text and a NUL if they fit; the count that the platform's calls return for it.
template <class Unit>
std::uint32_t Deliver(std::basic_string_view<Unit> text, std::span<Unit> buffer) {
    if (text.size() >= buffer.size()) return static_cast<std::uint32_t>(text.size() + 1);
    std::copy(text.begin(), text.end(), buffer.begin());
    buffer[text.size()] = Unit{};
    return static_cast<std::uint32_t>(text.size());
}

template <class Unit>
SearchPathResult DeliverFound(std::basic_string_view<Unit> path, std::span<Unit> buffer) {
    if (path.empty()) return {};
    SearchPathResult result{Deliver(path, buffer), 0};
    if (result.count != path.size()) return result;
    const std::size_t name = path.rfind(Unit{'\\'}) + 1;
    if (name < path.size()) result.filePart = reinterpret_cast<std::intptr_t>(buffer.data() + name);
    return result;
}

}  // namespace

std::vector<Text> ModelFiles::SearchFolders() const {
    const MachineFacts& facts = parts_.facts;
    std::vector<Text> folders{facts.programFolder, facts.currentFolder, facts.SystemFolder()};
    std::ranges::move(facts.FoldersBehindSystem(), std::back_inserter(folders));
    return folders;
}

Text ModelFiles::Search(TextView name) const {
    name = UpToNul(name);
    if (name.empty()) return {};
    const auto found = [this](TextView path) {
        const auto full = FullPath(path);
        if (!full.IsOk() || WindowsPath::HasWildcards(WindowsPath::Name(full.value))) return Text();
        return parts_.volume.Find(full.value).IsOk() ? full.value : Text();
    };
    if (NamesAFolder(name)) return found(name);
    for (const Text& folder : SearchFolders()) {
        Text path = found(WindowsPath::Join(folder, name));
        if (!path.empty()) return path;
    }
    return {};
}

SearchPathResult ModelFiles::SearchPathW(TextView name, std::span<char16_t> buffer) {
    return DeliverFound<char16_t>(Search(name), buffer);
}

SearchPathResult ModelFiles::SearchPathA(std::string_view name, std::span<char> buffer) {
    return DeliverFound<char>(parts_.codePage.Encode(Search(parts_.codePage.Decode(name))), buffer);
}

std::uint32_t ModelFiles::GetLongPathNameW(TextView path, std::span<char16_t> buffer) {
    path = UpToNul(path);
    if (!Find(path).IsOk()) return 0;
    Text longPath;
    std::size_t position = 0;
    while (position < path.size()) {
        const std::size_t end = std::min(path.find_first_of(u"\\/", position), path.size());
        const TextView part = path.substr(position, end - position);
        const auto entry = Find(path.substr(0, end));
        // Only names that MS-DOS could have given are replaced; others keep the caller's case.
        const bool isReplaced = WindowsPath::IsShortName(part) && part.back() != u':' &&
                                entry.IsOk() && entry.value.path.size() > 3;
        longPath += isReplaced ? WindowsPath::Name(entry.value.path) : part;
        if (end < path.size()) longPath += path[end];
        position = end + 1;
    }
    return Deliver<char16_t>(longPath, buffer);
}

}  // namespace bkfd
