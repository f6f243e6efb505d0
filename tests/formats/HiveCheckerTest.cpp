#include "formats/HiveChecker.h"

#include <gmock/gmock.h>

#include "formats/HiveSamples.h"

namespace bkfd {
namespace {

using namespace hive;
using samples::SmallRoot;
using testing::AllOf;
using testing::Contains;
using testing::Field;
using testing::IsEmpty;

TEST(HiveChecker, FindsNothingInAHiveThatIsRight) {
    EXPECT_THAT(CheckHive(HiveMaker(SmallRoot()).File()), IsEmpty());
    EXPECT_THAT(CheckHive(HiveMaker({u"only the root"}).File()), IsEmpty());
}

TEST(HiveChecker, TellsEveryBrokenRule) {
    HiveMakerKey root = SmallRoot();
    root.subkeys[0].values = {{u"a", 3, Bytes(20'000)}, {u"b", 3, Bytes(20'000)}};
    const HiveMaker made(root);
    const auto at = [](CellOffset cell, std::size_t field) {
        return kBaseBlockSize + cell + 4 + field;
    };
    const CellOffset fast = made.KeyAt(u"\\Fast");
    const CellOffset list = made.ListAt({});
    const CellOffset hints = made.ListAt(u"\\Fast");
    const CellOffset leaf = Read32(made.File(), at(made.ListAt(u"\\Index"), 4));
    const CellOffset number = made.ValueAt(u"\\number");
    const CellOffset data = Read32(made.File(), at(made.ValueAt(u"\\"), 8));
    const CellOffset segments = Read32(made.File(), at(made.ValueAt(u"\\Fast\\a"), 8));
    const CellOffset otherSegments = Read32(made.File(), at(made.ValueAt(u"\\Fast\\b"), 8));
    const CellOffset security = Read32(made.File(), at(fast, 44));
    const CellOffset className = Read32(made.File(), at(made.KeyAt(u"\\Names"), 48));
    const auto half = static_cast<std::uint32_t>(made.File().size() / 2);
    const struct {
        HiveRule rule;
        CellOffset cell;  // that is told
        std::size_t at;   // of the file
        std::uint32_t value;
    } rows[] = {
        {HiveRule::BaseChecksum, kNoCell, kChecksumAt, 1},
        {HiveRule::BaseSequences, kNoCell, 4, 9},
        {HiveRule::BaseType, kNoCell, 32, 2},
        {HiveRule::BinsSize, kNoCell, 40, half | 1},
        {HiveRule::CutOff, kNoCell, 40, 0x7FFFF000},
        {HiveRule::BinHeader, 0, kBaseBlockSize, 0},
        {HiveRule::BinHeader, 0, kBaseBlockSize + 4, 0x1000},
        {HiveRule::BinSize, 0, kBaseBlockSize + 8, 0x1001},
        {HiveRule::BinSize, 0, kBaseBlockSize + 8, 0x7FFFF000},
        {HiveRule::CellSize, fast, at(fast, 0) - 4, 0xFFFFEFF8},
        {HiveRule::CellSize, fast, at(fast, 0) - 4, 0xFFFFFFA9},
        {HiveRule::CellFree, fast, at(fast, 0) - 4, 0x58},
        {HiveRule::CellOutside, 0x7FFFFFF8, at(list, 4), 0x7FFFFFF8},
        {HiveRule::CellUnaligned, fast + 2, at(list, 4), fast + 2},
        {HiveRule::CellTwice, fast, at(list, 12), fast},
        {HiveRule::CellTwice, list, at(fast, 28), list},
        {HiveRule::CellTwice, data, at(made.KeyAt(u"\\Names"), 48), data},
        {HiveRule::CellTwice, Read32(made.File(), at(segments, 4)), at(otherSegments, 4),
         Read32(made.File(), at(segments, 4))},
        {HiveRule::CellUnreferenced, fast, at(list, 4), made.KeyAt(u"\\Index")},
        {HiveRule::CellUnreferenced, data, at(made.ValueAt(u"\\"), 4), 0},
        {HiveRule::KeySignature, fast, at(fast, 0), 0},
        {HiveRule::KeySize, fast, at(fast, 72), 1000},
        {HiveRule::KeyName, fast, at(fast, 72), 0},
        {HiveRule::KeyRootFlag, made.KeyAt({}), at(made.KeyAt({}), 0), 0x00206B6E},
        {HiveRule::KeyParent, fast, at(fast, 16), list},
        {HiveRule::KeyOrder, made.KeyAt(u"\\Index"), at(fast, 76), 0x74736156},  // "Vast"
        {HiveRule::ListSignature, list, at(list, 0), 0},
        {HiveRule::ListSize, list, at(list, 0), 0x0100686C},
        {HiveRule::ListNested, leaf, at(leaf, 0), 0x00016972},
        {HiveRule::ListHash, fast, at(list, 8), 1},
        {HiveRule::ListHint, made.KeyAt(u"\\Fast\\abc"), at(hints, 8), 0x20636261},
        {HiveRule::ListVersion, list, 24, 4},
        {HiveRule::SubkeyCount, fast, at(fast, 20), 2},
        {HiveRule::LargestSubkeyName, fast, at(fast, 52), 8},
        {HiveRule::LargestValueName, made.KeyAt({}), at(made.KeyAt({}), 60), 10},
        {HiveRule::LargestValueData, made.KeyAt({}), at(made.KeyAt({}), 64), 9},
        {HiveRule::ClassSize, className, at(made.KeyAt(u"\\Names"), 72), 0x01000005},
        {HiveRule::ValueListSize, Read32(made.File(), at(made.KeyAt({}), 40)),
         at(made.KeyAt({}), 36), 100},
        {HiveRule::ValueSignature, number, at(number, 0), 0},
        {HiveRule::ValueSize, number, at(number, 0), 0xFFFF6B76},
        {HiveRule::ValueName, made.ValueAt(u"\\Fast\\a"), at(made.ValueAt(u"\\Fast\\a"), 16), 0},
        {HiveRule::ValueTwice, made.ValueAt(u"\\Fast\\b"), at(made.ValueAt(u"\\Fast\\b"), 20),
         u'A'},
        {HiveRule::InlineSize, number, at(number, 4), 0x80000005},
        {HiveRule::DataSize, data, at(made.ValueAt(u"\\"), 4), 1000},
        {HiveRule::BigDataSignature, segments, at(segments, 0), 0x00026463},
        {HiveRule::BigDataSegments, segments, at(segments, 0), 0x00016264},
        {HiveRule::SecuritySignature, security, at(security, 0), 0},
        {HiveRule::SecuritySize, security, at(security, 16), 1000},
        {HiveRule::SecurityRing, security, at(security, 4), fast},
        {HiveRule::SecurityRing, security, at(security, 8), fast},
        {HiveRule::SecurityCount, security, at(security, 12), 1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(Describe(HiveFault{row.rule, row.cell}));
        Bytes file = made.File();
        Write32(file, row.at, row.value);
        if (row.at < kChecksumAt) SealHive(file);
        // Cells of data have no mark: one that isn't "db" is just too short.
        const HiveRule rule =
            row.rule == HiveRule::BigDataSignature ? HiveRule::DataSize : row.rule;
        EXPECT_THAT(CheckHive(file),
                    Contains(Field(&HiveFinding::fault, HiveFault{rule, row.cell})));
    }
}

TEST(HiveChecker, TellsLongDataThatIsInOneCell) {
    Bytes file = HiveMaker({u"r", {{u"v", 3, Bytes(20'000)}}, {}, "lf", 0, {}}, 3).File();
    EXPECT_THAT(CheckHive(file), IsEmpty());
    Write32(file, 24, 5);
    SealHive(file);
    EXPECT_THAT(
        CheckHive(file),
        Contains(Field(&HiveFinding::fault, Field(&HiveFault::rule, HiveRule::BigDataSignature))));
}

TEST(HiveChecker, NamesTheKeyAndKeepsToItsLimit) {
    const HiveMaker made(SmallRoot());
    Bytes file = made.File();
    Write32(file, kBaseBlockSize + made.KeyAt(u"\\Names\\\u0436") + 4 + 16, 0);
    const HiveFinding expected{u"\\Names\\\u0436",
                               {HiveRule::KeyParent, made.KeyAt(u"\\Names\\\u0436")}};
    EXPECT_EQ(CheckHive(file), std::vector{expected});
    Write32(file, 36, 0);
    EXPECT_EQ(CheckHive(file, 3).size(), 3U);
}

}  // namespace
}  // namespace bkfd
