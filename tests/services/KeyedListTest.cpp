#include "services/KeyedList.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "common/Errors.h"
#include "services/ItemList.h"

namespace bkfd {
namespace {

/// The list as it is meant: searched from end to end.
using PlainList = std::vector<std::pair<int, Text>>;

auto FindKey(PlainList& plain, const Text& key) {
    return std::ranges::find_if(
        plain, [&](const auto& entry) { return EqualsIgnoreCase(entry.second, key); });
}

bool Add(PlainList& plain, int item, const Text& key, std::size_t index) {
    if (!key.empty() && FindKey(plain, key) != plain.end()) return false;
    plain.insert(plain.begin() + static_cast<std::ptrdiff_t>(index), {item, key});
    return true;
}

bool Remove(PlainList& plain, const Text& key) {
    const auto found = FindKey(plain, key);
    if (found == plain.end()) return false;
    plain.erase(found);
    return true;
}

void ExpectSame(const KeyedList& list, const PlainList& plain) {
    ASSERT_EQ(list.Count(), static_cast<std::int32_t>(plain.size()));
    std::size_t i = 0;
    for (const Variant& item : list) ASSERT_EQ(item.AsInteger(), plain[i++].first);
}

TEST(KeyedList, AgreesWithAPlainListUnderRandomOperations) {
    std::mt19937 random(20261122);
    const auto below = [&](std::size_t limit) { return random() % limit; };
    KeyedList list;
    PlainList plain;
    for (int step = 0; step < 10'000; ++step) {
        // Few keys in both cases, so that they meet; some items have none.
        Text key = below(4) == 0 ? Text() : u"Schl\u00DC\u0160_" + ToText(random() % 300);
        if (below(2) == 0) key = ToLower(key);
        const std::size_t count = plain.size();
        switch (below(5)) {
            case 0:
                if (key.empty()) break;
                ASSERT_EQ(ErrorOf([&] { list.Remove(key); }) == 0, Remove(plain, key));
                break;
            case 1: {
                if (count == 0) break;
                const std::size_t index = below(count);
                const Variant place = static_cast<std::int32_t>(index) + 1;
                const Variant keyOrNone = key.empty() ? Variant() : Variant(key);
                const bool before = below(2) == 0;
                const auto add = [&] {
                    list.Add(step, keyOrNone, before ? place : Variant(),
                             before ? Variant() : place);
                };
                ASSERT_EQ(ErrorOf(add) == 0, Add(plain, step, key, before ? index : index + 1));
                break;
            }
            case 2:
                if (below(200) != 0) break;
                list.Clear();
                plain = {};
                break;
            default:
                const auto add = [&] { key.empty() ? list.Add(step) : list.Add(step, key); };
                ASSERT_EQ(ErrorOf(add) == 0, Add(plain, step, key, count));
        }
        if (!key.empty()) {
            const auto found = FindKey(plain, key);
            ASSERT_EQ(list.Exists(key), found != plain.end());
            ASSERT_TRUE(found == plain.end() || list.Item(key).AsInteger() == found->first);
        }
        if (step % 64 == 0) ExpectSame(list, plain);
    }
    ExpectSame(list, plain);
}

TEST(KeyedList, FailuresHaveTheirNumbersAndChangeNothing) {
    KeyedList list;
    list.Add(u"first", u"");
    list.Add(u"second", u"key");
    const struct {
        const char* label;
        std::function<void()> action;
        int number;
    } rows[] = {
        {"key twice", [&] { list.Add(1, u"KEY"); }, 457},
        {"empty key twice", [&] { list.Add(1, u""); }, 457},
        {"absent key", [&] { list.Item(u"kex"); }, 5},
        {"absent key removed", [&] { list.Remove(u"kex"); }, 5},
        {"position 0", [&] { list.Item(0); }, 9},
        {"behind the end", [&] { list.Item(3); }, 9},
        {"before and after", [&] { list.Add(1, {}, 1, 1); }, 5},
        {"absent place", [&] { list.Add(1, {}, u"kex"); }, 5},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        EXPECT_EQ(ErrorOf(row.action), row.number);
        EXPECT_EQ(list.Count(), 2);
        EXPECT_EQ(list.Item(u"key").AsText(), u"second");
    }
}

TEST(ItemNode, IsReachedByName) {
    ItemList list;
    ItemNode& node = list.Add();
    node.Id = u"{clsid}";
    node.params().Add(u"DLL", u"C:\\a.dll");
    const auto call = [](const ObjectRef& object, TextView name,
                         std::vector<Variant> arguments = {}) {
        return object->Invoke(name, arguments);
    };
    const ObjectRef item = *list.begin();
    EXPECT_EQ(call(item, u"Id").AsText(), u"{clsid}");
    const ObjectRef param = call(item, u"params", {u"dll"}).AsObject();
    EXPECT_EQ(call(param, u"Values", {1}).AsText(), u"C:\\a.dll");
    // The holders themselves are objects too, and outlive the item.
    const ObjectRef params = call(item, u"params").AsObject();
    const ObjectRef values = call(param, u"Values").AsObject();
    list = {};
    EXPECT_EQ(call(params, u"Item", {u"DLL"}).AsObject(), param);
    EXPECT_EQ(call(values, u"Count").AsInteger(), 1);
    EXPECT_THROW(call(values, u"Count", {1}), RuntimeError);
}

}  // namespace
}  // namespace bkfd
