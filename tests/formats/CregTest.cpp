#include "formats/Creg.h"

#include <gtest/gtest.h>

#include "formats/RegistryDump.h"

namespace bkfd {
namespace {

void Put(Bytes& bytes, std::uint64_t value, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        bytes.push_back(static_cast<std::uint8_t>(value >> 8 * i));
    }
}

void Put(Bytes& bytes, std::string_view text) {
    bytes.insert(bytes.end(), text.begin(), text.end());
}

struct Value {
    std::uint32_t type;
    std::string name;
    std::string data;
};

/// A record of a block, with 8 bytes that it doesn't use.
Bytes Record(std::uint32_t id, std::string_view name, const std::vector<Value>& values) {
    Bytes rest;
    Put(rest, name.size(), 2);
    Put(rest, values.size(), 2);
    Put(rest, 0, 4);
    Put(rest, name);
    for (const Value& value : values) {
        Put(rest, value.type, 4);
        Put(rest, 0, 4);
        Put(rest, value.name.size(), 2);
        Put(rest, value.data.size(), 2);
        Put(rest, value.name);
        Put(rest, value.data);
    }
    Bytes record;
    Put(record, rest.size() + 12 + 8, 4);
    Put(record, id, 4);
    Put(record, rest.size() + 12, 4);
    record.insert(record.end(), rest.begin(), rest.end());
    Put(record, 0, 8);
    return record;
}

constexpr std::size_t kTreeAt = 32;
constexpr std::uint32_t EntryAt(std::uint32_t index) {
    return 32 + 28 * index;
}

/// A tree of five keys over two blocks: the root, A with A\B and A\C, and D.
Bytes Sample() {
    constexpr std::uint32_t kNone = 0xFFFFFFFF;
    const struct {
        std::uint32_t child, next, id;
    } entries[] = {{EntryAt(1), kNone, kNone},
                   {EntryAt(2), EntryAt(4), 0},
                   {kNone, EntryAt(3), 1},
                   {kNone, kNone, 0x10000},
                   {kNone, kNone, 0x10001}};
    Bytes file;
    Put(file, "CREG");
    Put(file, 0x10000, 4);
    Put(file, 32 + 32 + sizeof entries / 12 * 28, 4);
    Put(file, 0, 4);
    Put(file, 2, 2);
    file.resize(32);
    Put(file, "RGKN");
    Put(file, 32 + std::size(entries) * 28, 4);
    Put(file, 32, 4);
    file.resize(64);
    for (const auto& entry : entries) {
        for (const std::uint32_t field : {0U, 0U, kNone, 0U, entry.child, entry.next, entry.id}) {
            Put(file, field, 4);
        }
    }
    const Bytes records[2][2] = {
        {Record(0, "A", {{1, "", "text"}, {3, "b\xE4", std::string("\0\x01", 2)}}),
         Record(1, "B", {})},
        {Record(0x10000, "C", {{4, "n", std::string("\x01\0\0\0", 4)}, {1, "empty", ""}}),
         Record(0x10001, "D", {})}};
    for (const auto& block : records) {
        const std::size_t start = file.size();
        Put(file, "RGDB");
        Put(file, 32 + block[0].size() + block[1].size(), 4);
        file.resize(start + 32);
        for (const Bytes& record : block) file.insert(file.end(), record.begin(), record.end());
    }
    return file;
}

Text Latin1(std::string_view bytes) {
    return FromBytes({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
}

RegistryDump Dump(const Bytes& file) {
    RegistryDump dump;
    const std::string error = WalkCreg(file, Latin1, dump);
    if (!error.empty()) dump.text = error;
    return dump;
}

TEST(Creg, TellsKeysAndValuesInTheirOrder) {
    EXPECT_TRUE(IsCreg(Sample()));
    EXPECT_EQ(
        Dump(Sample()).text,
        "\n\\A\n   1 74657874\n  bä 3 0001\n\\A\\B\n\\A\\C\n  n 4 01000000\n  empty 1 \n\\D\n");
}

TEST(Creg, TellsWhatIsWrongAndGoesOn) {
    const auto entry = [](std::uint32_t index, std::size_t field) {
        return kTreeAt + EntryAt(index) + field;
    };
    const struct {
        const char* label;
        std::size_t at;
        std::uint32_t value;
        const char* expected;
    } rows[] = {
        {"no tree", 32, 0, "has no tree of keys"},
        {"a child outside", entry(1, 16), 0x7FFFFFFF,
         "\n\\A\n   1 74657874\n  bä 3 0001\n! \\A: there is no key at 0x8000001f\n\\D\n"},
        {"a circle of siblings", entry(3, 20), EntryAt(2),
         "\n\\A\n   1 74657874\n  bä 3 0001\n\\A\\B\n\\A\\C\n  n 4 01000000\n  empty 1 \n"
         "! \\A: a second time there is the key at 0x78\n\\D\n"},
        {"a name that isn't there", entry(1, 24), 0x20000,
         "\n! : there is no name for the key at 0x5c\n\\?\\B\n\\?\\C\n  n 4 01000000\n  empty 1 \n"
         "\\D\n"},
        {"a name of two keys", entry(4, 24), 1,
         "\n\\A\n   1 74657874\n  bä 3 0001\n\\A\\B\n\\A\\C\n  n 4 01000000\n  empty 1 \n"
         "! : there is no name for the key at 0xb0\n"},
        {"a block outside", 8, 0x7FFFFFFF,
         "! : there is no block of names and values at 0x7fffffff\n\n"
         "! : there is no name for the key at 0x5c\n! \\?: there is no name for the key at 0x78\n"
         "! \\?: there is no name for the key at 0x94\n! : there is no name for the key at 0xb0\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        Bytes file = Sample();
        Write32(file, row.at, row.value);
        EXPECT_EQ(Dump(file).text, row.expected);
    }
}

TEST(Creg, SurvivesEveryCutAndEveryByte) {
    const Bytes whole = Sample();
    for (std::size_t length = 32; length < whole.size(); ++length) {
        Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
        cut.shrink_to_fit();
        const RegistryDump dump = Dump(cut);
        // The last bytes are those that a record doesn't use.
        EXPECT_TRUE(dump.keys < 5 || dump.unreadable > 0 || length >= whole.size() - 8) << length;
    }
    Bytes file = whole;
    for (std::size_t at = 0; at < file.size(); ++at) {
        for (const int value : {0x00, 0xFF, whole[at] ^ 0x41}) {
            file[at] = static_cast<std::uint8_t>(value);
            EXPECT_LE(Dump(file).keys, 5U) << at;
        }
        file[at] = whole[at];
    }
}

}  // namespace
}  // namespace bkfd
