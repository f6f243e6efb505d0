#include "formats/HiveEditor.h"

#include <gmock/gmock.h>

#include "formats/HiveChecker.h"
#include "formats/HiveModel.h"
#include "formats/HiveSamples.h"

namespace bkfd {
namespace {

using namespace hive;
using samples::SmallRoot;
using testing::IsEmpty;

constexpr std::size_t kSpare = std::size_t{4} << 20;

std::string Told(const std::vector<HiveFinding>& findings) {
    std::string text;
    for (const auto& finding : findings) {
        text += ToWtf8(finding.key) + ": " + Describe(finding.fault) + '\n';
    }
    return text;
}

/// Everything that must be so of a hive after changes.
void ExpectRight(const HiveEditor& editor, const ModelKey& model) {
    EXPECT_EQ(Told(CheckHive(Sealed(editor.File()))), "");
    std::vector<RegistryListing::Key> expected;
    model.List({}, expected);
    EXPECT_TRUE(ListHive(editor.File()).keys == expected);
}

TEST(HiveEditor, HoldsWhatAModelHoldsAfterManyChanges) {
    for (const std::uint32_t minor : {3U, 4U, 5U, 6U}) {
        SCOPED_TRACE(minor);
        const Bytes before = HiveMaker(SmallRoot(minor), minor).File();
        HiveRoom room(before, kSpare);
        HiveEditor editor = room.Edit();
        RandomChanges changes(editor, minor);
        changes.Learn();
        std::size_t done = 0;
        for (int step = 0; step < 1500 && !HasFailure(); ++step) {
            done += changes.Step() == HiveOutcome::Done;
            if (step % 25 == 0) ExpectRight(editor, changes.model);
        }
        ExpectRight(editor, changes.model);
        EXPECT_GT(done, 1000U);
        EXPECT_EQ(PutPagesBack(editor, before), before);
    }
}

TEST(HiveEditor, KeepsListsOfEveryKindInOrder) {
    for (const char* kind : {"lf", "lh", "li"}) {
        for (const std::size_t entriesALeaf : {0U, 3U}) {
            SCOPED_TRACE(kind + std::to_string(entriesALeaf));
            HiveMakerKey root{u"ROOT", {}, {{u"key"}}, kind, entriesALeaf, {}};
            HiveRoom room(HiveMaker(root).File(), kSpare);
            HiveEditor editor = room.Edit();
            const CellOffset top = editor.Cells().View().BaseBlock().root;
            ModelKey model;
            model.subkeys[u"KEY"].name = u"key";
            // There and back again, in an order that has nothing to do with that of the names.
            constexpr std::size_t kCount = 1100;
            for (std::size_t i = 0; i < kCount; ++i) {
                const Text name = u"Key" + ToText(static_cast<std::int64_t>(i * 747 % kCount));
                ASSERT_EQ(editor.MakeKeys(top, {&name, 1}).outcome, HiveOutcome::Done);
                model.subkeys[ModelKey::Upper(name)].name = name;
            }
            ExpectRight(editor, model);
            for (std::size_t i = 0; i < kCount; ++i) {
                const Text name = u"kEY" + ToText(static_cast<std::int64_t>(i * 523 % kCount));
                ASSERT_EQ(editor.DeleteSubkey(top, name).outcome, HiveOutcome::Done);
                model.subkeys.erase(ModelKey::Upper(name));
                if (i == kCount / 2) ExpectRight(editor, model);
            }
            ASSERT_EQ(editor.DeleteSubkey(top, u"key").outcome, HiveOutcome::Done);
            model.subkeys.clear();
            ExpectRight(editor, model);
        }
    }
}

TEST(HiveEditor, TouchesFewPagesAndUsesFreeCells) {
    HiveMakerKey root{u"ROOT"};
    for (std::size_t i = 0; i < 2000; ++i) {
        root.subkeys.push_back({FromAscii("key" + std::to_string(1000 + i)),
                                {{u"value", 3, Bytes(100)}},
                                {},
                                "lh",
                                0,
                                {}});
    }
    const HiveMaker made(root);
    HiveRoom room(made.File(), kSpare);
    HiveEditor editor = room.Edit();
    const CellOffset key = made.KeyAt(u"\\key1500");
    EXPECT_EQ(editor.SetValue(key, {}, u"VALUE", 4, Bytes{1, 2, 3, 4}).outcome, HiveOutcome::Done);
    EXPECT_LE(editor.Cells().ChangedPages().size(), 3U);
    EXPECT_EQ(editor.SetValue(key, {}, u"another", 3, Bytes(60)).outcome, HiveOutcome::Done);
    EXPECT_EQ(editor.File().size(), made.File().size()) << "the freed cell has room for it";
    EXPECT_LE(editor.Cells().ChangedPages().size(), 4U);
}

TEST(HiveEditor, GrowsOverWhatIsLeftBehindTheEndUnlessCellsPointThere) {
    const Bytes small = HiveMaker(SmallRoot()).File();
    const auto add = [](const Bytes& file, TextView name, Bytes& after) {
        HiveRoom room(file, kSpare);
        HiveEditor editor = room.Edit();
        const auto root = editor.Cells().View().BaseBlock().root;
        const auto outcome = editor.SetValue(root, {}, name, 3, Bytes(6000)).outcome;
        after = Sealed(editor.File());
        return outcome;
    };
    Bytes large;
    Bytes after;
    ASSERT_EQ(add(small, u"first", large), HiveOutcome::Done);
    Bytes left = large;
    std::ranges::copy(small, left.begin());
    EXPECT_EQ(add(left, u"second", after), HiveOutcome::Done);
    EXPECT_EQ(Told(CheckHive(after)), "");
    Bytes cut = large;
    Write32(cut, 40, Read32(small, 40));
    cut = Sealed(cut);
    EXPECT_EQ(add(cut, u"second", after), HiveOutcome::Damaged);
    EXPECT_EQ(after, cut);
}

TEST(HiveEditor, RefusesWhatTheFormCantHoldAndLeavesNothingOfIt) {
    const HiveMaker made(SmallRoot());
    HiveRoom room(made.File(), 64 * 1024);
    HiveEditor editor = room.Edit();
    const CellOffset root = made.KeyAt({});
    const Text longName(256, u'k');
    const Text twoNames[] = {u"fine", longName};
    const struct {
        const char* label;
        HiveChange change;
        HiveOutcome expected;
    } rows[] = {
        {"long key", editor.MakeKeys(root, twoNames), HiveOutcome::TooLong},
        {"no name", editor.MakeKeys(root, std::vector<Text>{u""}), HiveOutcome::TooLong},
        {"long value", editor.SetValue(root, {}, Text(16'384, u'v'), 1, {}), HiveOutcome::TooLong},
        {"no room", editor.SetValue(root, {}, u"v", 3, Bytes(100'000)), HiveOutcome::Full},
        {"no room below a new key",
         editor.SetValue(root, std::vector<Text>{u"new"}, u"v", 3, Bytes(100'000)),
         HiveOutcome::Full},
        {"has subkeys", editor.DeleteSubkey(root, u"fast"), HiveOutcome::HasSubkeys},
        {"no such key", editor.DeleteSubkey(root, u"slow"), HiveOutcome::NotFound},
        {"no such value", editor.DeleteValue(root, u"slow"), HiveOutcome::NotFound},
        {"no key", editor.DeleteValue(made.ListAt({}), u"slow"), HiveOutcome::Damaged},
    };
    for (const auto& row : rows) EXPECT_EQ(row.change.outcome, row.expected) << row.label;
    EXPECT_THAT(editor.Cells().ChangedPages(), IsEmpty());
    EXPECT_EQ(Bytes(editor.File().begin(), editor.File().end()), made.File());
}

TEST(HiveEditor, SecurityDescriptorsKnowTheirKeys) {
    // A second descriptor that one key alone has.
    const HiveMaker made(SmallRoot());
    HiveRoom room(made.File(), kSpare);
    HiveEditor editor = room.Edit();
    HiveCells& cells = editor.Cells();
    const CellOffset key = made.KeyAt(u"\\Fast\\abc");
    const CellOffset first = cells.View().Key(key)->Security();
    const Bytes content(cells.Content(first).begin(), cells.Content(first).end());
    const CellOffset second = cells.Allocate(content.size());
    cells.Put(second, 0, content);
    cells.Put32(second, 12, 1);
    for (const std::size_t link : {4U, 8U}) {
        cells.Put32(first, link, second);
        cells.Put32(second, link, first);
    }
    cells.Put32(first, 12, Read32(content, 12) - 1);
    cells.Put32(key, 44, second);
    ASSERT_EQ(Told(CheckHive(Sealed(editor.File()))), "");

    const Text name = u"below";
    EXPECT_EQ(editor.MakeKeys(key, {&name, 1}).outcome, HiveOutcome::Done);
    EXPECT_EQ(Read32(cells.Content(second), 12), 2U);
    EXPECT_EQ(editor.DeleteSubkey(key, name).outcome, HiveOutcome::Done);
    EXPECT_EQ(editor.DeleteSubkey(made.KeyAt(u"\\Fast"), u"abc").outcome, HiveOutcome::Done);
    EXPECT_FALSE(cells.View().Cell(second)) << "nobody uses it any more";
    EXPECT_EQ(Told(CheckHive(Sealed(editor.File()))), "");
}

/// Changes of every kind at every key that can be found.
void ChangeAll(HiveEditor& editor, unsigned seed) {
    RandomChanges changes(editor, seed);
    changes.Learn();
    for (int step = 0; step < 4; ++step) (void)changes.Step();
}

TEST(HiveEditor, ChangesOfDamagedHivesEndAndCanBeTakenBack) {
    const Bytes whole = HiveMaker(SmallRoot()).File();
    const auto check = [](const Bytes& file, unsigned seed) {
        if (!std::holds_alternative<Hive>(Hive::Open(file))) return;
        HiveRoom room(file, 16 * 1024);
        HiveEditor editor = room.Edit();
        ChangeAll(editor, seed);
        EXPECT_EQ(PutPagesBack(editor, file), file) << seed;
    };
    for (std::size_t length = 0; length < whole.size(); ++length) {
        check(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)),
              static_cast<unsigned>(length));
    }
    Bytes file = whole;
    // Behind the last cell in use is nothing that is read.
    std::size_t end = whole.size();
    while (whole[end - 1] == 0) --end;
    for (std::size_t at = 0; at < end; ++at) {
        if (at == kBaseBlockUsed) at = kBaseBlockSize;
        for (const int value : {0x00, 0xFF, whole[at] ^ 0x41}) {
            file[at] = static_cast<std::uint8_t>(value);
            check(file, static_cast<unsigned>(at));
        }
        file[at] = whole[at];
    }
}

}  // namespace
}  // namespace bkfd
