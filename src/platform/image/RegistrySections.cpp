#include "platform/image/RegistrySections.h"

#include <algorithm>
#include <iterator>

namespace bkfd {
namespace {

/// Between the orders of neighbours, so that there is room for new sections.
constexpr std::uint64_t kOrderStep = std::uint64_t{1} << 32;
/// New ones mostly come in a row, each behind the one before.
constexpr std::uint64_t kPartOfGap = 1024;

TextView ParentKey(TextView key) {
    const std::size_t last = key.rfind(u'\\');
    return last == TextView::npos ? TextView() : key.substr(0, last);
}

/// Whether `key` is `above` or below it.
bool IsWithinKey(TextView key, TextView above) {
    return key.size() >= above.size() && EqualsIgnoreCase(key.substr(0, above.size()), above) &&
           (key.size() == above.size() || key[above.size()] == u'\\');
}

}  // namespace

void RegistrySections::Append(RegSection section) {
    sections_.emplace_back();
    sections_.back().content = std::move(section);
    sections_.back().file = files_ - 1;
}

template <class Visit>
void RegistrySections::VisitWithin(const Text& folded, const Visit& visit) {
    if (const auto own = byKey_.find(folded); own != byKey_.end()) visit(own);
    const Text below = folded + u'\\';
    auto next = byKey_.lower_bound(below);
    while (next != byKey_.end() && next->first.starts_with(below)) visit(next++);
}

void RegistrySections::MakeIndex() {
    if (isIndexed_) return;
    isIndexed_ = true;
    std::uint64_t order = 0;
    for (auto section = sections_.begin(); section != sections_.end(); ++section) {
        section->order = order += kOrderStep;
        const Text folded = ToLower(section->content.key);
        if (!section->content.isDeletion) {
            byKey_[folded].push_back(section);
            continue;
        }
        deletions_[folded] = section;
        VisitWithin(folded, [this](Refs::iterator key) {
            for (const Ref undone : key->second) undone->isUndone = true;
            byKey_.erase(key);
        });
    }
}

RegistrySections::Ref RegistrySections::Deciding(TextView key) {
    const auto found = byKey_.find(ToLower(key));
    return found == byKey_.end() ? sections_.end() : found->second.back();
}

RegistrySections::Ref RegistrySections::LastDeletion(TextView folded) {
    Ref last = sections_.end();
    if (deletions_.empty()) return last;
    for (; !folded.empty(); folded = ParentKey(folded)) {
        const auto found = deletions_.find(Text(folded));
        if (found == deletions_.end()) continue;
        if (last == sections_.end() || last->order < found->second->order) last = found->second;
    }
    return last;
}

RegistrySections::Ref RegistrySections::LastWithin(const Text& folded) {
    if (const auto known = lastWithin_.find(folded); known != lastWithin_.end()) {
        return known->second;
    }
    Ref last = sections_.end();
    VisitWithin(folded, [&](Refs::iterator key) {
        const Ref candidate = key->second.back();
        if (last == sections_.end() || last->order < candidate->order) last = candidate;
    });
    if (last != sections_.end()) lastWithin_[folded] = last;
    return last;
}

RegistrySections::Ref RegistrySections::PlaceForNew(const Text& folded) {
    const Ref deletion = LastDeletion(folded);
    if (deletion != sections_.end()) {
        const Ref last = LastWithin(folded);
        const bool isBehind = last != sections_.end() && deletion->order < last->order;
        return isBehind ? last : sections_.end();
    }
    for (TextView above = folded; !above.empty(); above = ParentKey(above)) {
        const Ref last = LastWithin(Text(above));
        if (last != sections_.end()) return last;
    }
    return sections_.end();
}

std::uint64_t RegistrySections::OrderBehind(Ref before) {
    const Ref next = std::next(before);
    if (next == sections_.end()) return before->order + kOrderStep;
    if (next->order - before->order < 2) {
        std::uint64_t order = 0;
        for (Section& section : sections_) section.order = order += kOrderStep;
    }
    const std::uint64_t gap = next->order - before->order;
    return before->order + std::max<std::uint64_t>(1, gap / kPartOfGap);
}

RegistrySections::Ref RegistrySections::Make(TextView key) {
    if (const Ref found = Deciding(key); found != sections_.end()) return found;
    files_ = std::max<std::size_t>(files_, 1);
    const Text folded = ToLower(key);
    const Ref before = PlaceForNew(folded);
    Section section;
    section.content.key = key;
    section.file = before == sections_.end() ? files_ - 1 : before->file;
    if (!sections_.empty()) {
        section.order =
            OrderBehind(before == sections_.end() ? std::prev(sections_.end()) : before);
    }
    const Ref made = sections_.insert(before == sections_.end() ? before : std::next(before),
                                      std::move(section));
    byKey_[folded].push_back(made);
    for (TextView above = folded; !above.empty(); above = ParentKey(above)) {
        const auto known = lastWithin_.find(Text(above));
        if (known != lastWithin_.end() && known->second->order < made->order) known->second = made;
    }
    changed_.insert(made->file);
    return made;
}

RegistrySections::Entries& RegistrySections::EntriesOf(Section& section) {
    if (section.entries) return *section.entries;
    section.entries = std::make_unique<Entries>();
    const auto& entries = section.content.entries;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        section.entries->places[ToLower(entries[i].name)].push_back(i);
    }
    return *section.entries;
}

void RegistrySections::SetValue(TextView key, RegEntry entry) {
    MakeIndex();
    Section& section = *Make(key);
    auto& places = EntriesOf(section).places[ToLower(entry.name)];
    auto& entries = section.content.entries;
    changed_.insert(section.file);
    if (places.empty()) {
        places.push_back(entries.size());
        entries.push_back(std::move(entry));
        return;
    }
    RegEntry& old = entries[places.back()];
    entry.name = old.name;
    old = std::move(entry);
}

void RegistrySections::DeleteValue(TextView key, TextView name) {
    MakeIndex();
    const auto found = byKey_.find(ToLower(key));
    if (found == byKey_.end()) return;
    for (const Ref section : found->second) {
        Entries& entries = EntriesOf(*section);
        const auto places = entries.places.find(ToLower(name));
        if (places == entries.places.end()) continue;
        entries.deleted.insert(places->second.begin(), places->second.end());
        entries.places.erase(places);
        changed_.insert(section->file);
    }
}

void RegistrySections::Erase(Ref section) {
    const Ref before = section == sections_.begin() ? sections_.end() : std::prev(section);
    for (TextView above = section->content.key; !above.empty(); above = ParentKey(above)) {
        const auto known = lastWithin_.find(ToLower(above));
        if (known == lastWithin_.end() || known->second != section) continue;
        const bool isLastNow = before != sections_.end() && !before->content.isDeletion &&
                               !before->isUndone && IsWithinKey(before->content.key, above);
        if (isLastNow) {
            known->second = before;
        } else {
            lastWithin_.erase(known);
        }
    }
    changed_.insert(section->file);
    sections_.erase(section);
}

void RegistrySections::DeleteKey(TextView key) {
    MakeIndex();
    // The keys above stood in the files through this one alone, perhaps.
    if (ParentKey(key).find(u'\\') != TextView::npos) Make(ParentKey(key));
    VisitWithin(ToLower(key), [this](Refs::iterator within) {
        for (const Ref section : within->second) Erase(section);
        byKey_.erase(within);
    });
}

std::vector<std::vector<const RegSection*>> RegistrySections::ByFile() {
    std::vector<std::vector<const RegSection*>> files(files_);
    for (Section& section : sections_) {
        if (section.entries) {
            std::vector<RegEntry> left;
            auto& entries = section.content.entries;
            for (std::size_t i = 0; i < entries.size(); ++i) {
                if (!section.entries->deleted.contains(i)) left.push_back(std::move(entries[i]));
            }
            entries = std::move(left);
            section.entries.reset();
        }
        files[section.file].push_back(&section.content);
    }
    return files;
}

}  // namespace bkfd
