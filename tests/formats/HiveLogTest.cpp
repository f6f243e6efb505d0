#include "formats/HiveLog.h"

#include <gtest/gtest.h>

#include "formats/HiveChecker.h"
#include "formats/HiveLogSamples.h"
#include "formats/Marvin32.h"
#include "formats/RegistryDump.h"

namespace bkfd {
namespace {

using namespace hive;
using namespace samples;

Bytes Changed(Bytes file, std::size_t at) {
    file[at] ^= 1;
    return file;
}

/// What a hive with its logs holds: its state and the number in its value.
std::string Recover(const Bytes& hive, const std::vector<Bytes>& logs) {
    const std::vector<ByteView> views(logs.begin(), logs.end());
    const HiveRecovery recovery = PlanHiveRecovery(hive, views);
    Bytes image = hive;
    image.resize(recovery.size);
    ApplyHiveRecovery(recovery, image);
    if (recovery.state == HiveState::Recovered) EXPECT_TRUE(CheckHive(image).empty());
    const char* const states[] = {"clean", "recovered", "unrecovered"};
    const std::string text = DumpHive(image).text;
    const std::size_t at = text.find("version 4 ");
    return states[static_cast<int>(recovery.state)] +
           (at == std::string::npos ? "" : text.substr(at + 9, 3));
}

TEST(HiveLog, HashIsThatOfRealLogs) {
    const std::string text = "hello, world!";
    const std::uint64_t hash =
        HiveLogHash({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    // .NET's test value is both halves of the hash together.
    EXPECT_EQ(static_cast<std::uint32_t>(hash ^ hash >> 32), 0x00c18515U);
}

TEST(HiveLog, CompletesADirtyHive) {
    Bytes clean = Version(0);
    Bytes dirty = clean;
    SetSequences(dirty, 8, 7);
    Bytes otherTime = OldLog(8, 1);
    Write32(otherTime, 12, 1);
    SealHive(otherTime);
    Bytes torn = OldLog(8, 1);
    SetSequences(torn, 9, 8);
    Bytes cut = OldLog(8, 1);
    cut.resize(cut.size() - 1);
    const std::size_t entry = NewLog(7, {1}).size() - 512;
    const Bytes badChecksum = Changed(dirty, kChecksumAt);
    Bytes badTime = Changed(badChecksum, 13);
    Bytes withTime = badTime;
    Write32(withTime, kBaseBlockSize + 20, 0x12345678);
    Write32(withTime, kBaseBlockSize + 24, 0x01D00000);
    const struct {
        const char* label;
        Bytes hive;
        std::vector<Bytes> logs;
        const char* expected;
    } rows[] = {
        {"clean without logs", clean, {}, "clean 00"},
        {"clean with logs", clean, {NewLog(7, {1}), OldLog(8, 2)}, "clean 00"},
        {"dirty without logs", dirty, {}, "unrecovered 00"},
        {"dirty with empty logs", dirty, {{}, Bytes(512)}, "unrecovered 00"},
        {"old form", dirty, {OldLog(8, 1)}, "recovered 01"},
        {"old form, the newer of two", dirty, {OldLog(8, 1), OldLog(9, 2)}, "recovered 02"},
        {"old form, of another time", dirty, {otherTime}, "unrecovered 00"},
        {"old form, not finished", dirty, {torn}, "unrecovered 00"},
        {"old form, cut off", dirty, {cut}, "unrecovered 00"},
        {"old form, damaged head", dirty, {Changed(OldLog(8, 1), 40)}, "unrecovered 00"},
        {"old form, hive's checksum wrong", withTime, {OldLog(8, 1)}, "recovered 01"},
        {"old form, no time left", badTime, {OldLog(8, 1)}, "unrecovered 00"},
        {"new form", dirty, {NewLog(7, {1, 2, 3})}, "recovered 03"},
        {"new form, two logs", dirty, {NewLog(7, {1, 2}), NewLog(9, {3})}, "recovered 03"},
        {"new form, the second is earlier",
         dirty,
         {NewLog(9, {3}), NewLog(7, {1, 2})},
         "recovered 03"},
        {"new form, a gap between two",
         dirty,
         {NewLog(7, {1, 2}), NewLog(10, {3})},
         "recovered 02"},
        {"new form, written already", dirty, {NewLog(4, {1, 2, 3})}, "unrecovered 00"},
        {"new form, written in part", dirty, {NewLog(5, {1, 2, 3})}, "recovered 03"},
        {"new form, the second damaged",
         dirty,
         {Changed(NewLog(7, {1, 2, 3}), 512 + entry + 200)},
         "recovered 01"},
        {"new form, a damaged header", dirty, {Changed(NewLog(7, {1}), 512 + 8)}, "unrecovered 00"},
        {"new form, hive's checksum wrong",
         badChecksum,
         {NewLog(7, {1}), NewLog(8, {2})},
         "recovered 02"},
        {"both forms", dirty, {OldLog(8, 1), NewLog(7, {2})}, "recovered 02"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Recover(row.hive, row.logs), row.expected) << row.label;
    }
}

TEST(HiveLog, GrowsTheHive) {
    Bytes dirty = Version(0);
    SetSequences(dirty, 8, 7);
    dirty.resize(kBaseBlockSize);
    Write32(dirty, 40, 4096);
    EXPECT_EQ(Recover(dirty, {NewLog(7, {5})}), "recovered 05");
    EXPECT_EQ(Recover(dirty, {OldLog(8, 6)}), "recovered 06");
}

TEST(HiveLog, SurvivesEveryCutAndEveryByte) {
    Bytes dirty = Version(0);
    SetSequences(dirty, 8, 7);
    for (const Bytes& whole : {OldLog(8, 1), NewLog(7, {1})}) {
        for (std::size_t length = 0; length < whole.size(); length += length < 1200 ? 1 : 97) {
            Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
            cut.shrink_to_fit();
            EXPECT_EQ(Recover(dirty, {cut}), "unrecovered 00") << length;
        }
        for (std::size_t at = 0; at < 700; ++at) {
            for (const std::uint8_t value :
                 {std::uint8_t{0}, std::uint8_t{0xFF}, std::uint8_t{0x81}}) {
                Bytes log = whole;
                log[at] = value;
                const std::vector<ByteView> views{log};
                const HiveRecovery recovery = PlanHiveRecovery(dirty, views);
                EXPECT_LE(recovery.size, dirty.size()) << at;
            }
        }
    }
}

}  // namespace
}  // namespace bkfd
