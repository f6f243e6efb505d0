#include "formats/Creg.h"

#include <gtest/gtest.h>

#include "formats/CregSample.h"
#include "formats/RegistryDump.h"

namespace bkfd {
namespace {

using samples::CregFile;
using samples::EntryAt;
using samples::kTreeAt;

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
    EXPECT_TRUE(IsCreg(CregFile()));
    EXPECT_EQ(
        Dump(CregFile()).text,
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
        Bytes file = CregFile();
        Write32(file, row.at, row.value);
        EXPECT_EQ(Dump(file).text, row.expected);
    }
}

TEST(Creg, SurvivesEveryCutAndEveryByte) {
    const Bytes whole = CregFile();
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
