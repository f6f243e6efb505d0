#include "formats/Hive.h"

#include <gtest/gtest.h>

#include <functional>

#include "formats/HiveChecker.h"
#include "formats/HiveSamples.h"
#include "formats/RegistryDump.h"

namespace bkfd {
namespace {

using namespace hive;
using samples::SmallRoot;

/// The place in the file of a cell's field.
std::size_t FieldAt(CellOffset cell, std::size_t field) {
    return kBaseBlockSize + cell + 4 + field;
}

Bytes Counted(std::size_t size) {
    Bytes data(size);
    for (std::size_t i = 0; i < size; ++i) data[i] = static_cast<std::uint8_t>(i / 256 + i);
    return data;
}

TEST(Hive, TellsKeysAndValuesInTheirOrder) {
    using namespace std::string_literals;
    const std::string expected =
        "\n"
        "   1 740065007800740000"
        "00\n"
        "  number 4 01020304\n"
        "  empty 0 \n"
        "\\Fast\n\\Fast\\abc\n\\Fast\\abcd\n\\Fast\\abcde\n"
        "\\Index\n\\Index\\a\n\\Index\\b\n\\Index\\c\n"
        "\\Names\n"
        "  nul\0inside 3 \n"
        "  x\xED\xA0\x80 3 01\n"
        "\\Names\\A\0\n\\Names\\ä\n\\Names\\ж\n"s;
    EXPECT_EQ(DumpHive(HiveMaker(SmallRoot()).File()).text, expected);
}

TEST(Hive, ReadsDataOfAnyLength) {
    for (const std::uint32_t minor : {3U, 4U, 5U, 6U}) {
        for (const std::size_t size : {0U, 1U, 4U, 5U, 16344U, 16345U, 32688U, 70'000U}) {
            SCOPED_TRACE(std::to_string(minor) + ", " + std::to_string(size) + " bytes");
            const HiveMaker made({u"r", {{u"v", 3, Counted(size)}}, {}, "lf", 0, {}}, minor);
            const auto opened = Hive::Open(made.File());
            const Hive& hive = std::get<Hive>(opened);
            std::vector<ByteView> pieces;
            ASSERT_FALSE(hive.Data(*hive.Value(made.ValueAt(u"\\v")), pieces));
            Bytes data;
            for (const ByteView piece : pieces) data.insert(data.end(), piece.begin(), piece.end());
            EXPECT_EQ(data, Counted(size));
            EXPECT_EQ(pieces.size(), size == 0 ? 0 : minor == 3 ? 1 : (size + 16343) / 16344);
            EXPECT_TRUE(CheckHive(made.File()).empty());
        }
    }
}

TEST(Hive, GivesKeysByNameWithClassAndDescriptor) {
    const HiveMaker made(SmallRoot());
    const auto opened = Hive::Open(made.File());
    const Hive& hive = std::get<Hive>(opened);
    const auto names = hive.FindSubkey(*hive.Root(), u"nAMES");
    ASSERT_TRUE(names);
    EXPECT_EQ(names->Offset(), made.KeyAt(u"\\Names"));
    EXPECT_EQ(*hive.ClassName(*names), u"Class");
    EXPECT_EQ(hive.SecurityDescriptor(*names)->size(), 20U);
    EXPECT_EQ(*hive.ClassName(*hive.Root()), u"");
    EXPECT_EQ(hive.FindSubkey(*names, Text{0x0416})->Offset(), made.KeyAt(u"\\Names\\\u0436"));
    EXPECT_FALSE(hive.FindSubkey(*names, u"A"));
}

TEST(Hive, RefusesWhatIsNoneByName) {
    const struct {
        const char* error;
        std::vector<std::pair<std::size_t, std::uint32_t>> changes;  // of the base block
    } rows[] = {
        {"is no hive", {{0, 0x66676573}}},
        {"is the log of a hive, not the hive", {{28, 1}, {512, 0x54524944}}},  // "DIRT"
        {"is the log of a hive, not the hive", {{28, 1}, {4096, 0}}},
        {"is the log of a hive, not the hive", {{28, 6}}},
        {"is a hive of version 1.2; known are 1.3 to 1.6", {{24, 2}}},
        {"is a hive of version 2.5; known are 1.3 to 1.6", {{20, 2}}},
        {"is a delta hive of version 1.6, which holds the differences from another hive only",
         {{24, 6}, {144, 2}}},
    };
    for (const auto& row : rows) {
        Bytes file = HiveMaker(SmallRoot()).File();
        for (const auto& [at, value] : row.changes) Write32(file, at, value);
        EXPECT_EQ(DumpHive(file).text, row.error);
    }
}

TEST(Hive, TellsABadCellAndGoesOn) {
    const HiveMaker made(SmallRoot());
    const CellOffset root = made.KeyAt({});
    const CellOffset fast = made.KeyAt(u"\\Fast");
    const CellOffset list = made.ListAt({});
    const std::size_t size = made.File().size();
    const auto put = [](std::size_t at, std::uint32_t value) {
        return [=](Bytes& file) { Write32(file, at, value); };
    };
    const struct {
        const char* label;
        std::function<void(Bytes&)> change;
        std::size_t keys;  // that are still told, of 13
        std::size_t values;
        const char* told;
    } rows[] = {
        {"nothing", [](Bytes&) {}, 13, 5, ""},
        {"outside", put(FieldAt(list, 4), 0x7FFFFFF8), 9, 5, "lies outside of the bins"},
        {"no cell", put(FieldAt(list, 4), kNoCell), 9, 5, "lies outside of the bins"},
        {"in the header of the bins", put(FieldAt(list, 4), 0x18), 9, 5, "lies outside"},
        {"unaligned", put(FieldAt(list, 4), fast + 4), 9, 5, "isn't at a multiple of 8"},
        {"free", put(FieldAt(fast, 0) - 4, 0x58), 9, 5, "is free"},
        {"size 0", put(FieldAt(fast, 0) - 4, 0), 9, 5, "is free"},
        {"size 2^31", put(FieldAt(fast, 0) - 4, 0x80000000), 9, 5, "a size that can't be"},
        {"another signature", put(FieldAt(fast, 0), 0x6B76), 9, 5, "is no key"},
        {"too short", put(FieldAt(fast, 0) - 4, 0xFFFFFFB0), 9, 5, "too short for a key"},
        {"a long name", put(FieldAt(fast, 72), 0xFFFF), 9, 5, "too short for a key and its name"},
        {"a key as list", put(FieldAt(fast, 28), root), 10, 5, "is no list of subkeys"},
        {"itself below itself", put(FieldAt(made.ListAt(u"\\Fast"), 4), fast), 12, 5,
         "lies below itself"},
        {"a list that names itself",
         put(FieldAt(made.ListAt(u"\\Index"), 4), made.ListAt(u"\\Index")), 11, 5,
         "is a list of lists within another"},
        {"a list longer than its cell", put(FieldAt(list, 0), 0xFFFF686C), 13, 5,
         "too short for the subkeys"},
        {"values outside", put(FieldAt(root, 40), 0x7FFFFFF8), 13, 2, "lies outside of the bins"},
        {"more values than listed", put(FieldAt(root, 36), 0x10000000), 13, 5,
         "too short for the values"},
        {"a key as value", put(FieldAt(made.ValueAt(u"\\number"), 0), 0x6B6E), 13, 4, "no value"},
        {"inline of 5", put(FieldAt(made.ValueAt(u"\\number"), 4), 0x80000005), 13, 4,
         "more than 4 bytes of data in itself"},
        {"long data", put(FieldAt(made.ValueAt(u"\\"), 4), 16344), 13, 4,
         "too short for the value's data"},
        {"the root", put(36, 0), 0, 0, "cell 0x0 lies outside of the bins"},
        {"an impossible size of the bins", put(40, 4097), 13, 5, "a size of the bins"},
        {"cut off", [=](Bytes& file) { file.resize(size - 1000); }, 13, 5, "is cut off"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        Bytes file = made.File();
        row.change(file);
        const RegistryDump dump = DumpHive(file);
        EXPECT_EQ(dump.keys, row.keys);
        EXPECT_EQ(dump.values, row.values);
        EXPECT_EQ(dump.unreadable, row.told[0] == '\0' ? 0U : 1U);
        EXPECT_NE(dump.text.find(row.told), std::string::npos) << dump.text;
    }
}

TEST(Hive, EndsWhateverTheListsSay) {
    // Each of 400 keys lists the same keys below: without a limit, 20 to the power of 20 visits.
    HiveMakerKey key{u"k", {}, {}, "lh", 0, {}};
    for (int level = 0; level < 20; ++level) {
        HiveMakerKey above{u"k", {}, {}, "lh", 0, {}};
        for (char16_t name = u'a'; name < u'a' + 20; ++name) above.subkeys.push_back({Text{name}});
        above.subkeys[0].subkeys.push_back(std::move(key));
        key = std::move(above);
    }
    const HiveMaker made(key);
    Bytes file = made.File();
    Text path;
    for (int level = 0; level < 20; ++level, path += u"\\a\\k") {
        const std::size_t list = FieldAt(made.ListAt(path), 4);
        for (std::size_t i = 1; i < 20; ++i) Write32(file, list + 8 * i, Read32(file, list));
    }
    const RegistryDump dump = DumpHive(file);
    EXPECT_LE(dump.keys, file.size() / kKeySize);
    EXPECT_NE(dump.text.find("names more subkeys than the hive can hold"), std::string::npos);
}

TEST(Hive, FollowsKeysDownToWindowsLimit) {
    HiveMakerKey key{u"bottom"};
    for (int level = 0; level < 520; ++level) {
        HiveMakerKey above{u"k"};
        above.subkeys.push_back(std::move(key));
        key = std::move(above);
    }
    const RegistryDump dump = DumpHive(HiveMaker(key).File());
    EXPECT_EQ(dump.keys, kDeepestKey);
    EXPECT_EQ(dump.unreadable, 1U);
}

TEST(Hive, SurvivesEveryCutAndEveryByte) {
    const Bytes whole = HiveMaker(SmallRoot()).File();
    for (std::size_t length = 0; length < whole.size(); ++length) {
        Bytes file(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
        file.shrink_to_fit();
        const RegistryDump dump = DumpHive(file);
        EXPECT_TRUE(dump.keys < 13 || dump.unreadable > 0) << length;
        CheckHive(file);
    }
    Bytes file = whole;
    for (std::size_t at = 0; at < file.size(); ++at) {
        // The base block has nothing behind its checksum.
        if (at == kBaseBlockUsed) at = kBaseBlockSize;
        for (const int value : {0x00, 0xFF, whole[at] ^ 0x41}) {
            file[at] = static_cast<std::uint8_t>(value);
            const RegistryDump dump = DumpHive(file);
            EXPECT_LE(dump.keys + dump.values + dump.unreadable, 600U) << at;
            CheckHive(file);
        }
        file[at] = whole[at];
    }
}

}  // namespace
}  // namespace bkfd
