#include <algorithm>
#include <map>

#include "platform/RegistryValues.h"
#include "undo/UndoPlace.h"
#include "undo/UndoText.h"

namespace bkfd {
namespace {

using Kind = UndoChange::Kind;
using State = UndoPlace::State;
using OptionalValue = std::optional<RegistryValue>;

/// The value, or nothing if it isn't there.
Status ReadValue(Registry& registry, RegistryRoot root, const Text& key, const Text& name,
                 OptionalValue& value) {
    auto read = registry.RegQueryValueExW(root, key, name);
    value.reset();
    if (read.IsOk()) value = std::move(read.value);
    return read.IsNotThere() ? Status{} : Status(read);
}

/// Whether a place that was set to `set` holds `now`. The 9x family keeps a text up to its first
/// NUL.
bool HoldsWhatWasSet(SystemFacts& system, const OptionalValue& now, const OptionalValue& set) {
    if (now == set) return true;
    return now && set && !IsVersionOfNT(system.GetVersion()) && now->type == RegistryType::String &&
           set->type == RegistryType::String && TextOfValue(*now) == UpToNul(TextOfValue(*set));
}

class ValuePlace final : public UndoPlace {
  public:
    using UndoPlace::UndoPlace;

    Status Look() override {
        OptionalValue value;
        const Status read =
            ReadValue(machine_.RegistryKeys(), change_.root, change_.name, change_.value, value);
        if (!read.IsOk()) return read;
        now_ = DescribeValue(value);
        state_ = value == change_.before                                    ? State::AsBefore
                 : HoldsWhatWasSet(machine_.System(), value, change_.after) ? State::AsAfter
                                                                            : State::Other;
        conflict_ = value ? u"the value was set to something else" : u"the value was deleted";
        return {};
    }

    Status PutBack() override {
        Registry& registry = machine_.RegistryKeys();
        if (change_.before) {
            return registry.RegSetValueExW(change_.root, change_.name, change_.value,
                                           *change_.before);
        }
        const Status deleted = registry.RegDeleteValueW(change_.root, change_.name, change_.value);
        return deleted.IsNotThere() ? Status{} : deleted;
    }
};

/// A key that the operation made: it goes again if others have put nothing there.
class MadeKeyPlace final : public UndoPlace {
  public:
    using UndoPlace::UndoPlace;

    Status Look() override {
        Registry& registry = machine_.RegistryKeys();
        canBeForced_ = false;
        const auto values = registry.RegEnumValueW(change_.root, change_.name);
        state_ = State::AsBefore;
        if (values.IsNotThere()) return {};
        const auto keys = registry.RegEnumKeyExW(change_.root, change_.name);
        if (!values.IsOk() || !keys.IsOk()) return Status(values.IsOk() ? keys : values);
        const bool isEmpty = values.value.empty() && keys.value.empty();
        state_ = isEmpty ? State::AsAfter : State::Other;
        now_ = isEmpty ? u"empty" : u"not empty";
        conflict_ = u"the key holds something else now";
        return {};
    }

    Status PutBack() override {
        return machine_.RegistryKeys().RegDeleteKeyW(change_.root, change_.name);
    }
};

class DeletedKeyPlace final : public UndoPlace {
  public:
    using UndoPlace::UndoPlace;

    Status Look() override {
        Registry& registry = machine_.RegistryKeys();
        state_ = State::AsAfter;
        const auto names = registry.RegEnumValueW(change_.root, change_.name);
        if (names.IsNotThere()) return {};
        if (!names.IsOk()) return names;
        now_ = ToText(static_cast<std::int64_t>(names.value.size())) +
               (names.value.size() == 1 ? u" value" : u" values");
        if (change_.values.empty() && IsHalfMade(names.value)) return {};
        std::size_t same = 0;
        for (const auto& [name, value] : change_.values) {
            OptionalValue there;
            const Status read = ReadValue(registry, change_.root, change_.name, name, there);
            if (!read.IsOk()) return read;
            if (there == value) ++same;
        }
        // A part of what was there is what an undo came to that failed, or what a key below it
        // brought back.
        state_ = same == change_.values.size() ? State::AsBefore
                 : same == names.value.size()  ? State::AsAfter
                                               : State::Other;
        conflict_ = u"the key was made again with something else in it";
        return {};
    }

    Status PutBack() override {
        if (change_.values.empty()) return MakeEmptyKey();
        Registry& registry = machine_.RegistryKeys();
        for (const auto& [name, value] : change_.values) {
            const Status set = registry.RegSetValueExW(change_.root, change_.name, name, value);
            if (!set.IsOk()) return set;
        }
        return {};
    }

  private:
    /// Whether an undo was stopped while it made an empty key.
    bool IsHalfMade(const std::vector<Text>& names) {
        if (names.size() != 1 || !names.front().empty()) return false;
        const auto value = machine_.RegistryKeys().RegQueryValueExW(change_.root, change_.name, {});
        return value.IsOk() && value.value == RegistryValue();
    }

    /// The calls make a key with a value alone.
    Status MakeEmptyKey() {
        Registry& registry = machine_.RegistryKeys();
        const Status made = registry.RegSetValueExW(change_.root, change_.name, u"", {});
        return made.IsOk() ? registry.RegDeleteValueW(change_.root, change_.name, u"") : made;
    }
};

/// The names that are there, in the order in which they were.
std::vector<Text> WantedOrder(const std::vector<NamedRegistryValue>& before,
                              const std::vector<Text>& now) {
    std::map<Text, std::size_t> ranks;
    for (const auto& named : before) ranks.try_emplace(ToLower(named.name), ranks.size());
    std::vector<Text> wanted = now;
    const auto rank = [&](const Text& name) {
        const auto found = ranks.find(ToLower(name));
        return found == ranks.end() ? ranks.size() : found->second;
    };
    std::ranges::stable_sort(wanted, {}, rank);
    return wanted;
}

}  // namespace

std::unique_ptr<UndoPlace> MakeRegistryPlace(const UndoChange& change) {
    if (change.kind == Kind::MakeKey) return std::make_unique<MadeKeyPlace>(change);
    if (change.kind == Kind::DeleteKey) return std::make_unique<DeletedKeyPlace>(change);
    return std::make_unique<ValuePlace>(change);
}

Status RestoreOrder(const UndoChange& order) {
    constexpr std::ptrdiff_t kMostToMove = 1000;  // more would take longer than it is worth
    Registry& registry = TheMachine().RegistryKeys();
    const auto names = registry.RegEnumValueW(order.root, order.name);
    if (!names.IsOk()) return names.IsNotThere() ? Status{} : Status(names);
    const std::vector<Text> wanted = WantedOrder(order.values, names.value);
    auto [first, same] = std::ranges::mismatch(wanted, names.value);
    if (wanted.end() - first > kMostToMove) return {};
    // All are read before the first one is touched.
    std::vector<NamedRegistryValue> moved;
    for (; first != wanted.end(); ++first) {
        auto value = registry.RegQueryValueExW(order.root, order.name, *first);
        if (!value.IsOk()) return value;
        moved.push_back({*first, std::move(value.value)});
    }
    for (const auto& [name, value] : moved) {
        const Status deleted = registry.RegDeleteValueW(order.root, order.name, name);
        if (!deleted.IsOk()) return deleted;
        const Status set = registry.RegSetValueExW(order.root, order.name, name, value);
        if (!set.IsOk()) return set;
    }
    return {};
}

}  // namespace bkfd
