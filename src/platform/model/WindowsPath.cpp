#include "platform/model/WindowsPath.h"

#include <algorithm>
#include <optional>

namespace bkfd::WindowsPath {
namespace {

constexpr std::size_t kLongestPath = 259;
constexpr std::size_t kLongestVerbatimPath = 32'767;
constexpr TextView kVerbatimPrefixes[] = {u"\\\\?\\", u"\\??\\"};
constexpr TextView kSystemRoot = u"\\systemroot\\";
constexpr TextView kNeverInNames = u"<>\"|";

bool IsDriveLetter(char16_t unit) {
    const char16_t lower = ToLower(unit);
    return lower >= u'a' && lower <= u'z';
}

bool StartsWithDrive(TextView path) {
    return path.size() >= 2 && IsDriveLetter(path[0]) && path[1] == u':';
}

/// The path behind "\\?\" or "\??\", if it has such a prefix.
std::optional<TextView> WithoutVerbatimPrefix(TextView path) {
    for (const TextView prefix : kVerbatimPrefixes) {
        if (path.starts_with(prefix)) return path.substr(prefix.size());
    }
    return std::nullopt;
}

/// Drive and root of a path that may lack them, in front of the path.
Text Absolute(TextView path, TextView currentFolder) {
    const TextView drive = currentFolder.substr(0, 2);
    if (StartsWithDrive(path)) {
        if (path.size() > 2 && path[2] == u'\\') return Text(path);
        const bool isCurrentDrive = EqualsIgnoreCase(path.substr(0, 2), drive);
        const Text folder = isCurrentDrive ? Text(currentFolder) : Text(path.substr(0, 2));
        return WithBackslash(folder) + Text(path.substr(2));
    }
    if (path.front() == u'\\') return Text(drive) + Text(path);
    return WithBackslash(currentFolder) + Text(path);
}

/// Resolves "." and "..", drops empty components and what doesn't count at the path's end.
Text Normalise(TextView absolute) {
    Text out(absolute.substr(0, 2));
    TextView rest = absolute.substr(2);
    while (!rest.empty()) {
        rest.remove_prefix(1);
        const std::size_t end = std::min(rest.find(u'\\'), rest.size());
        TextView part = rest.substr(0, end);
        rest.remove_prefix(end);
        if (part == u"..") {
            const std::size_t last = out.rfind(u'\\');
            if (last != Text::npos) out.resize(last);
            continue;
        }
        if (rest.empty()) {
            while (!part.empty() && (part.back() == u' ' || part.back() == u'.')) {
                part.remove_suffix(1);
            }
        }
        if (part.empty() || part == u".") continue;
        out.append(1, u'\\').append(part);
    }
    if (out.size() == 2) out.push_back(u'\\');
    return out;
}

Status CheckCharacters(TextView full) {
    for (std::size_t i = 2; i < full.size(); ++i) {
        if (full[i] < u' ' || kNeverInNames.find(full[i]) != TextView::npos) {
            return {SystemError::InvalidName};
        }
    }
    if (HasWildcards(Parent(full))) return {SystemError::InvalidName};
    const std::size_t colon = full.find(u':', 2);
    if (colon != TextView::npos && full.find(u'\\', colon) != TextView::npos) {
        return {SystemError::InvalidName};
    }
    return {};
}

bool MatchesFrom(TextView name, TextView pattern) {
    std::size_t n = 0;
    std::size_t p = 0;
    std::size_t star = TextView::npos;
    std::size_t retry = 0;
    while (n < name.size()) {
        if (p < pattern.size() && pattern[p] == u'*') {
            star = p++;
            retry = n;
        } else if (p < pattern.size() && (pattern[p] == u'?' || pattern[p] == name[n])) {
            ++p;
            ++n;
        } else if (star != TextView::npos) {
            p = star + 1;
            n = ++retry;
        } else {
            return false;
        }
    }
    while (p < pattern.size() && (pattern[p] == u'*' || pattern[p] == u'?')) ++p;
    return p == pattern.size();
}

}  // namespace

Result<Text> Full(TextView path, TextView currentFolder) {
    path = UpToNul(path);
    if (path.empty()) return Status{SystemError::PathNotFound};
    Text full;
    if (const auto verbatim = WithoutVerbatimPrefix(path)) {
        if (!StartsWithDrive(*verbatim) || verbatim->size() > kLongestVerbatimPath) {
            return Status{SystemError::PathNotFound};
        }
        full = *verbatim;
        if (full.size() == 2) full.push_back(u'\\');
    } else {
        Text slashed(path);
        std::replace(slashed.begin(), slashed.end(), u'/', u'\\');
        if (slashed.starts_with(u"\\\\")) return Status{SystemError::PathNotFound};
        full = Normalise(Absolute(slashed, currentFolder));
        if (full.size() > kLongestPath) return Status{SystemError::PathNotFound};
    }
    const Status characters = CheckCharacters(full);
    if (!characters.IsOk()) return characters;
    return full;
}

TextView Parent(TextView fullPath) {
    if (fullPath.size() <= 3) return {};
    const std::size_t last = fullPath.rfind(u'\\');
    if (last == TextView::npos) return {};
    return fullPath.substr(0, std::max<std::size_t>(last, 3));
}

TextView Name(TextView fullPath) {
    return fullPath.substr(std::min(fullPath.rfind(u'\\') + 1, fullPath.size()));
}

Text Join(TextView folder, TextView name) {
    return WithBackslash(folder).append(name);
}

std::size_t StreamColon(TextView fullPath) {
    return fullPath.find(u':', 2);
}

bool HasWildcards(TextView name) {
    return name.find_first_of(u"*?") != TextView::npos;
}

bool MatchesWildcards(TextView name, TextView pattern) {
    return pattern == u"*.*" || MatchesFrom(ToLower(name), ToLower(pattern));
}

bool IsShortName(TextView name) {
    const std::size_t point = std::min(name.find(u'.'), name.size());
    if (point == 0 || point > 8) return false;
    const TextView extension = point < name.size() ? name.substr(point + 1) : TextView();
    if (extension.size() > 3 || extension.find(u'.') != TextView::npos) return false;
    return name.find_first_of(u" +,;=[]") == TextView::npos;
}

Text FoldReported(TextView path, TextView windowsFolder) {
    const auto verbatim = WithoutVerbatimPrefix(path);
    const Text folded = ToLower(verbatim ? *verbatim : path);
    if (!folded.starts_with(kSystemRoot)) return folded;
    return ToLower(WithBackslash(windowsFolder)) + folded.substr(kSystemRoot.size());
}

}  // namespace bkfd::WindowsPath
