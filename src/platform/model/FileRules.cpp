#include "platform/model/FileRules.h"

namespace bkfd {

FileRules::Map FileRules::Take(const Text& folded) {
    Map taken;
    for (auto rule = rules_.lower_bound(folded); rule != rules_.end();) {
        if (!rule->first.starts_with(folded)) break;
        const bool isIt =
            rule->first.size() == folded.size() || rule->first[folded.size()] == u'\\';
        const auto current = rule++;
        if (isIt) taken.insert(rules_.extract(current));
    }
    return taken;
}

void FileRules::Move(TextView source, TextView target) {
    const Text from = ToLower(source);
    const Text to = ToLower(target);
    Map taken = Take(from);
    if (from != to) Take(to);
    for (auto& [path, rule] : taken) rules_[to + path.substr(from.size())] = rule;
}

}  // namespace bkfd
