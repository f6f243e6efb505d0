#include "formats/Zip.h"

#include <gtest/gtest.h>

#include <random>

#include "base/RuntimeError.h"
#include "common/MemorySource.h"

namespace bkfd {
namespace {

Bytes Random(std::size_t size) {
    std::mt19937 engine(4);
    Bytes bytes(size);
    for (auto& byte : bytes) byte = static_cast<std::uint8_t>(engine());
    return bytes;
}

struct Sample {
    NewZipEntry entry;
    Bytes content;
};

/// Entries of every kind that the writer makes.
std::vector<Sample> Samples(const std::string& password) {
    const Date noon = ToDate({2026, 11, 16, 12, 30, 8, 0});
    const std::array<std::uint8_t, 11> salt{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};
    return {
        {{u"empty.txt", noon, 32, false, password, salt}, {}},
        {{u"short.txt", noon, 33, false, password, salt}, ToBytes(u"abc")},
        {{u"folder/", noon, 16, false, {}, {}}, {}},
        {{u"folder/long.txt", noon, 34, false, password, salt}, Bytes(300'000, u'x')},
        {{u"folder/noise.bin", 0, 32, false, password, salt}, Random(200'000)},
        {{u"\u043F\u0430\u0440\u0430\u0437\u0438\u0442.exe", noon, 32, false, password, salt},
         Random(70)},
    };
}

Bytes Archive(const std::vector<Sample>& samples, const std::string& comment = {}) {
    Bytes archive;
    ZipWriter writer(
        [&](auto bytes) { archive.insert(archive.end(), bytes.begin(), bytes.end()); });
    for (const Sample& sample : samples) writer.Add(sample.entry, MemoryReader(sample.content));
    writer.Finish(comment);
    return archive;
}

TEST(Zip, ReadsBackWhatItWrote) {
    for (const std::string password : {"", "s3cret"}) {
        const auto samples = Samples(password);
        MemorySource archive(Archive(samples, "a comment"));
        const auto directory = ReadZipDirectory(archive);
        ASSERT_TRUE(directory);
        EXPECT_EQ(directory->comment, "a comment");
        ASSERT_EQ(directory->entries.size(), samples.size());
        for (std::size_t i = 0; i < samples.size(); ++i) {
            const ZipEntry& entry = directory->entries[i];
            EXPECT_EQ(entry.Name(FromAscii), samples[i].entry.name);
            EXPECT_EQ(entry.externalAttributes, samples[i].entry.attributes);
            const std::string key = entry.IsEncrypted() ? password : "";
            EXPECT_EQ(ReadZipEntry(archive, entry, key), samples[i].content) << i;
            EXPECT_EQ(ReadZipEntry(archive, entry, key.empty() ? "other" : ""), std::nullopt) << i;
        }
    }
}

TEST(Zip, HoldsTimesOfItsYearsInStepsOfTwoSeconds) {
    const struct {
        const char* label;
        CivilTime modified;
        std::array<int, 3> date;  // years from 1980 on, month, day: 7, 4 and 5 bits
        std::array<int, 3> time;  // hour, minute, half the second: 5, 6 and 5 bits
    } rows[] = {{"an odd second", {2026, 11, 16, 12, 30, 9, 0}, {46, 11, 16}, {12, 30, 4}},
                {"before its years", {1979, 12, 31, 23, 59, 59, 0}, {0, 1, 1}, {0, 0, 0}},
                {"behind its years", {2108, 1, 1, 0, 0, 0, 0}, {127, 12, 31}, {23, 59, 29}}};
    for (const auto& row : rows) {
        MemorySource archive(Archive({{{u"a", ToDate(row.modified), 32, false, {}, {}}, {}}}));
        const ZipEntry entry = ReadZipDirectory(archive)->entries.at(0);
        EXPECT_EQ(entry.date, row.date[0] << 9 | row.date[1] << 5 | row.date[2]) << row.label;
        EXPECT_EQ(entry.time, row.time[0] << 11 | row.time[1] << 5 | row.time[2]) << row.label;
    }
}

TEST(Zip, UnpacksUpToTheLimitAlone) {
    MemorySource archive(Archive({{{u"a", 0, 32, false, {}, {}}, Bytes(100'000, u'x')}}));
    const ZipEntry entry = ReadZipDirectory(archive)->entries.at(0);
    EXPECT_TRUE(ReadZipEntry(archive, entry, {}, 100'000));
    EXPECT_FALSE(ReadZipEntry(archive, entry, {}, 99'999));
}

TEST(Zip, ACommentMayLookLikeTheEnd) {
    const std::string comment = "PK\5\6" + std::string(40, 'x');
    MemorySource archive(Archive(Samples({}), comment));
    const auto directory = ReadZipDirectory(archive);
    ASSERT_TRUE(directory);
    EXPECT_EQ(directory->comment, comment);
}

TEST(Zip, CutArchivesGiveAnAnswer) {
    const Bytes whole = Archive(Samples({}), "comment");
    const auto readable = [](Bytes bytes) {
        MemorySource source(std::move(bytes));
        const auto directory = ReadZipDirectory(source);
        if (!directory) return false;
        for (const ZipEntry& entry : directory->entries) {
            if (!ReadZipEntry(source, entry)) return false;
        }
        return true;
    };
    EXPECT_TRUE(readable(whole));
    const std::size_t tail = whole.size() - 700;  // the directory and some data before it
    for (std::size_t length = 0; length < whole.size(); length += length < tail ? 4999 : 1) {
        EXPECT_FALSE(
            readable(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length))))
            << length;
    }
    std::mt19937 engine(7);
    for (int i = 0; i < 2000; ++i) {  // whatever the damage: an answer, no crash
        Bytes damaged(whole.end() - 900, whole.end());
        damaged[engine() % damaged.size()] = static_cast<std::uint8_t>(engine());
        readable(damaged);
    }
}

TEST(Zip, NamesBeyondTheFormatAreErrors) {
    ZipWriter writer([](auto) {});
    const NewZipEntry tooLong{Text(32'767, u'\u4E00'), 0, 32, false, {}, {}};
    EXPECT_THROW(writer.Add(tooLong, MemoryReader({})), RuntimeError);
}

}  // namespace
}  // namespace bkfd
