#pragma once

#include <map>
#include <optional>

#include "platform/model/RegistryTree.h"

namespace bkfd {

/// What is particular about a file, apart from its bytes.
struct FileRule {
    std::optional<std::uint32_t> attributes;  // archive, if not given
    bool isLocked = false;      // can't be moved until the processes that hold it have ended
    bool isUnreadable = false;  // can't be opened

    bool operator==(const FileRule&) const = default;
};

/// The particular files of a machine, by their lower-cased paths.
class FileRules {
  public:
    using Map = std::map<Text, FileRule, TextLess>;

    FileRule Get(TextView path) const {
        const auto found = rules_.find(ToLower(path));
        return found == rules_.end() ? FileRule() : found->second;
    }
    FileRule& At(TextView path) { return rules_[ToLower(path)]; }
    /// Forgets the file and all below it.
    void Erase(TextView path) { Take(ToLower(path)); }
    /// The file, and all below it, goes by another name now.
    void Move(TextView source, TextView target);
    /// Takes over what `from` says about the file and all below it.
    void CopyWithin(const FileRules& from, TextView path);
    const Map& All() const { return rules_; }

  private:
    /// Calls `visit` with the rule of the path and of each below it; the iterator may be extracted.
    template <class Rules, class Visit>
    static void VisitWithin(Rules& rules, const Text& folded, Visit visit);
    Map Take(const Text& folded);

    Map rules_;
};

}  // namespace bkfd
