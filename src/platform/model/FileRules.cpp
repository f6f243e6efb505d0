#include "platform/model/FileRules.h"

namespace bkfd {

template <class Rules, class Visit>
void FileRules::VisitWithin(Rules& rules, const Text& folded, Visit visit) {
    if (const auto own = rules.find(folded); own != rules.end()) visit(own);
    const Text below = WithBackslash(folded);
    auto rule = rules.upper_bound(below);
    while (rule != rules.end() && rule->first.starts_with(below)) visit(rule++);
}

FileRules::Map FileRules::Take(const Text& folded) {
    Map taken;
    VisitWithin(rules_, folded, [&](Map::iterator rule) { taken.insert(rules_.extract(rule)); });
    return taken;
}

void FileRules::CopyWithin(const FileRules& from, TextView path) {
    VisitWithin(from.rules_, ToLower(path),
                [this](Map::const_iterator rule) { rules_.insert(*rule); });
}

void FileRules::Move(TextView source, TextView target) {
    const Text from = ToLower(source);
    const Text to = ToLower(target);
    Map taken = Take(from);
    if (from != to) Take(to);
    for (auto& [path, rule] : taken) rules_[to + path.substr(from.size())] = rule;
}

}  // namespace bkfd
