#include "support/zip/FileSelection.h"

#include <algorithm>
#include <set>

namespace bkfd {
namespace {

constexpr int kDeepestFolder = 256;

/// The entries of a folder that match a pattern of the system's own kind.
std::vector<FindData> List(Files& files, const Text& pattern) {
    std::vector<FindData> entries;
    FindData data;
    const Handle search = files.FindFirstFileW(pattern, data);
    if (search == kInvalidHandle) return entries;
    do {
        if (data.name != u"." && data.name != u"..") entries.push_back(data);
    } while (files.FindNextFileW(search, data).IsOk());
    (void)files.FindClose(search);
    return entries;
}

bool IsFolder(const FindData& data) {
    return (data.attributes & FileAttribute::Directory) != 0;
}

/// The path as an archive spells it: no drive, no leading or relative parts.
Text ArchiveName(TextView path) {
    Text name(path);
    if (name.size() >= 2 && name[1] == u':') name.erase(0, 2);
    std::ranges::replace(name, u'\\', u'/');
    for (bool again = true; again;) {
        again = false;
        for (const TextView prefix : {TextView(u"/"), TextView(u"./"), TextView(u"../")}) {
            if (!name.starts_with(prefix)) continue;
            name.erase(0, prefix.size());
            again = true;
        }
    }
    return name;
}

class Selection {
  public:
    Selection(Files& files, const SelectionRules& rules) : files_(files), rules_(rules) {}

    void Add(const Text& spec) {
        const std::size_t cut = spec.find_last_of(u"\\/");
        const Text folder = cut == Text::npos ? Text() : spec.substr(0, cut + 1);
        const Text pattern = cut == Text::npos ? spec : spec.substr(cut + 1);
        if (pattern.empty()) return;
        if (rules_.isRecursive) {
            Walk(folder, pattern, 0);
        } else {
            for (const FindData& data : List(files_, spec)) {
                // The system also matches short names, which aren't what the archive would hold.
                if (MatchesPattern(data.name, pattern) || !HasWildcard(pattern)) Take(folder, data);
            }
        }
    }

    std::vector<SelectedFile> Result() && { return std::move(selected_); }

  private:
    static bool HasWildcard(TextView pattern) {
        return pattern.find_first_of(u"*?") != TextView::npos;
    }

    bool IsWanted(const FindData& data) const {
        constexpr std::uint32_t kUnwanted = FileAttribute::Hidden | FileAttribute::System;
        if ((data.attributes & FileAttribute::ReparsePoint) != 0) return false;
        return rules_.withSystemAndHidden || (data.attributes & kUnwanted) == 0;
    }

    /// Everything below `folder` whose name matches; a matching folder is taken whole.
    void Walk(const Text& folder, const Text& pattern, int depth) {
        if (depth > kDeepestFolder) return;
        for (const FindData& data : List(files_, folder + u"*")) {
            if (!IsWanted(data)) continue;
            const bool matches = MatchesPattern(data.name, pattern);
            if (matches) Take(folder, data);
            if (IsFolder(data)) {
                Walk(folder + data.name + u"\\", matches ? Text(u"*") : pattern, depth + 1);
            }
        }
    }

    void Take(const Text& folder, const FindData& data) {
        if (!IsWanted(data)) return;
        if (IsFolder(data) && !rules_.withFolderEntries) return;
        Text path = folder + data.name;
        if (!seen_.insert(ToLower(path)).second) return;
        Text name = rules_.withFolderNames ? ArchiveName(path) : data.name;
        if (IsFolder(data)) name += u'/';
        selected_.push_back({std::move(path), std::move(name), data});
    }

    Files& files_;
    SelectionRules rules_;
    std::set<Text> seen_;
    std::vector<SelectedFile> selected_;
};

}  // namespace

bool MatchesPattern(TextView name, TextView pattern) {
    if (pattern == u"*.*") return true;  // as the system has always taken it
    std::size_t at = 0;
    std::size_t p = 0;
    std::size_t star = TextView::npos;
    std::size_t resume = 0;
    while (at < name.size()) {
        if (p < pattern.size() && pattern[p] == u'*') {
            star = p++;
            resume = at;
        } else if (p < pattern.size() &&
                   (pattern[p] == u'?' || ToLower(pattern[p]) == ToLower(name[at]))) {
            ++p;
            ++at;
        } else if (star != TextView::npos) {
            p = star + 1;
            at = ++resume;
        } else {
            return false;
        }
    }
    while (p < pattern.size() && pattern[p] == u'*') ++p;
    return p == pattern.size();
}

std::vector<SelectedFile> SelectFiles(Files& files, const std::vector<Text>& specs,
                                      const SelectionRules& rules) {
    Selection selection(files, rules);
    for (const Text& spec : specs) selection.Add(spec);
    return std::move(selection).Result();
}

}  // namespace bkfd
