#include "platform/hive/SameContent.h"

#include <algorithm>
#include <map>

#include "formats/WineReg.h"

namespace bkfd {
namespace {

class Comparison {
  public:
    Comparison(const Hive& a, const Hive& b)
        : a_(a), b_(b), keysLeft_(a.BinsSize() / hive::kKeySize + 1) {}

    bool Run() {
        const auto a = a_.Root();
        const auto b = b_.Root();
        return a && b && AreSame(*a, *b);
    }

  private:
    struct Children {
        std::vector<HiveKey> keys;
        std::vector<HiveFault> faults;
    };
    struct Values {
        std::vector<HiveValue> values;
        std::vector<HiveFault> faults;
    };

    static Children ChildrenOf(const Hive& hive, const HiveKey& key) {
        Children children;
        std::size_t left = hive.BinsSize() / hive::kKeySize + 1;
        hive.ForEachSubkey(key, [&](const HiveResult<HiveListEntry>& entry) {
            const auto subkey = entry ? hive.Key(entry->key) : HiveResult<HiveKey>{{}, entry.fault};
            if (subkey) children.keys.push_back(*subkey);
            if (!subkey) children.faults.push_back(*subkey.fault);
            return --left > 0;
        });
        SortByName(children.keys);
        return children;
    }

    static Values ValuesOf(const Hive& hive, const HiveKey& key) {
        Values values;
        hive.ForEachValue(key, [&](const HiveResult<HiveValue>& value) {
            if (value) values.values.push_back(*value);
            if (!value) values.faults.push_back(*value.fault);
            return true;
        });
        SortByName(values.values);
        return values;
    }

    template <class List>
    static void SortByName(List& list) {
        const auto isBefore = [](const auto& x, const auto& y) {
            return x.Name().Compare(y.Name()) < 0;
        };
        if (!std::ranges::is_sorted(list, isBefore)) std::ranges::stable_sort(list, isBefore);
    }

    bool AreSame(const HiveKey& a, const HiveKey& b) {
        if (keysLeft_ == 0 || ++depth_ > hive::kDeepestKey) return false;
        --keysLeft_;
        const bool areSame = HaveSameValues(a, b) && HaveSameSubkeys(a, b);
        --depth_;
        return areSame;
    }

    bool HaveSameSubkeys(const HiveKey& a, const HiveKey& b) {
        const Children of = ChildrenOf(a_, a);
        const Children with = ChildrenOf(b_, b);
        if (of.keys.size() != with.keys.size() || of.faults != with.faults) return false;
        for (std::size_t i = 0; i < of.keys.size(); ++i) {
            if (of.keys[i].Name().ToText() != with.keys[i].Name().ToText()) return false;
            if (!AreSame(of.keys[i], with.keys[i])) return false;
        }
        return true;
    }

    bool HaveSameValues(const HiveKey& a, const HiveKey& b) {
        const Values of = ValuesOf(a_, a);
        const Values with = ValuesOf(b_, b);
        return of.faults == with.faults &&
               std::ranges::equal(of.values, with.values, [&](const auto& x, const auto& y) {
                   return x.Type() == y.Type() && x.DataSize() == y.DataSize() &&
                          x.Name().ToText() == y.Name().ToText() && HaveSameData(x, y);
               });
    }

    bool HaveSameData(const HiveValue& a, const HiveValue& b) {
        const auto of = DataOf(a_, a);
        const auto with = DataOf(b_, b);
        return of.fault == with.fault && *of == *with;
    }

    static HiveResult<Bytes> DataOf(const Hive& hive, const HiveValue& value) {
        std::vector<ByteView> pieces;
        HiveResult<Bytes> data{{}, hive.Data(value, pieces)};
        for (const ByteView piece : pieces) {
            data.value.insert(data.value.end(), piece.begin(), piece.end());
        }
        return data;
    }

    const Hive& a_;
    const Hive& b_;
    std::size_t keysLeft_;
    std::size_t depth_ = 0;
};

/// Keys with their values, whatever their order; the last of several values of one name counts.
class TextContent : public RegistryVisitor {
  public:
    using Values = std::map<Text, std::pair<std::uint32_t, Bytes>>;

    void OnKey(TextView path) override { values_ = &keys[Text(path)]; }
    void OnValue(const RegistryValueView& value) override {
        auto& [type, data] = (*values_)[Text(value.name)];
        type = value.type;
        data.clear();
        for (const ByteView piece : value.data) data.insert(data.end(), piece.begin(), piece.end());
    }
    void OnUnreadable(TextView path, const std::string& what) override {
        unreadable.emplace_back(path, what);
    }
    void OnDeletion(TextView, const Text*) override {}

    std::map<Text, Values> keys;
    std::vector<std::pair<Text, std::string>> unreadable;

  private:
    Values* values_ = &keys[{}];
};

}  // namespace

bool HoldTheSame(const Hive& a, const Hive& b) {
    return Comparison(a, b).Run();
}

bool HoldTheSameText(ByteView a, ByteView b) {
    if (!WineRegReader::IsWineReg(a) || !WineRegReader::IsWineReg(b)) return false;
    TextContent of;
    TextContent with;
    WalkWineReg(a, of);
    WalkWineReg(b, with);
    return of.keys == with.keys && of.unreadable == with.unreadable;
}

}  // namespace bkfd
