#pragma once

#include <list>
#include <map>
#include <memory>
#include <set>
#include <unordered_map>
#include <vector>

#include "formats/RegText.h"

namespace bkfd {

/// The sections of export files, one file behind the other, and changes of what they say: each
/// stays near where it was. Key names are full ones and ignore case. A change takes no longer among
/// many sections or values.
class RegistrySections {
  public:
    using File = std::size_t;  // counted from 0

    /// Sections that are appended from now on are of another file.
    void BeginFile() { ++files_; }
    void Append(RegSection section);

    /// In the section that decides about the key: the last one of its name, unless a later one
    /// deletes it. Where there is none, one is made, behind the last one of the nearest key above.
    void SetValue(TextView key, RegEntry entry);
    void DeleteValue(TextView key, TextView name);
    void DeleteKey(TextView key);

    /// The files whose sections have changed since they were loaded or last counted as saved.
    const std::set<File>& Changed() const { return changed_; }
    void MarkSaved(File file) { changed_.erase(file); }
    /// The sections by file, in order; valid until the next change.
    std::vector<std::vector<const RegSection*>> ByFile();

  private:
    /// Of a section that has changed: where its entries are, by lower-cased name, and which of them
    /// are to be taken out in the end.
    struct Entries {
        std::unordered_map<Text, std::vector<std::size_t>> places;
        std::set<std::size_t> deleted;
    };
    struct Section {
        RegSection content;
        File file = 0;
        std::uint64_t order = 0;  // grows from each section to the next
        bool isUndone = false;    // by a section that deletes the key
        std::unique_ptr<Entries> entries;
    };
    using List = std::list<Section>;
    using Ref = List::iterator;
    using Refs = std::map<Text, std::vector<Ref>>;  // by lower-cased key, in order

    void MakeIndex();
    /// The sections of the key and of those below it, as a part of `byKey_`.
    template <class Visit>
    void VisitWithin(const Text& folded, const Visit& visit);
    Ref Deciding(TextView key);
    Ref Make(TextView key);
    /// The last section that deletes the key or one above it; the end if there is none.
    Ref LastDeletion(TextView folded);
    Ref LastWithin(const Text& folded);
    /// The section behind which a new one of the key belongs; the end for the last place of all.
    Ref PlaceForNew(const Text& folded);
    std::uint64_t OrderBehind(Ref before);
    void Erase(Ref section);
    static Entries& EntriesOf(Section& section);

    std::size_t files_ = 0;
    std::set<File> changed_;
    List sections_;
    bool isIndexed_ = false;  // with the first change
    Refs byKey_;              // those that count
    std::unordered_map<Text, Ref> deletions_;
    std::unordered_map<Text, Ref> lastWithin_;  // as far as it was asked for
};

}  // namespace bkfd
