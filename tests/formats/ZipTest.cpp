#include "formats/Zip.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>

#include "base/RuntimeError.h"

namespace bkfd {
namespace {

class MemorySource : public ByteSource {
  public:
    explicit MemorySource(Bytes bytes) : bytes_(std::move(bytes)) {}
    std::uint64_t Size() override { return bytes_.size(); }
    bool Read(std::uint64_t offset, std::span<std::uint8_t> buffer) override {
        if (offset > bytes_.size() || buffer.size() > bytes_.size() - offset) return false;
        std::copy_n(bytes_.begin() + static_cast<std::ptrdiff_t>(offset), buffer.size(),
                    buffer.begin());
        return true;
    }

  private:
    Bytes bytes_;
};

Text Latin1(std::string_view bytes) {
    return FromAscii(bytes);
}

ContentReader Content(Bytes bytes) {
    return
        [bytes = std::move(bytes), done = std::size_t{0}](std::span<std::uint8_t> buffer) mutable {
            const std::size_t count = std::min(buffer.size(), bytes.size() - done);
            std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(done), count, buffer.begin());
            done += count;
            return count;
        };
}

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
    for (const Sample& sample : samples) writer.Add(sample.entry, Content(sample.content));
    writer.Finish(comment);
    return archive;
}

/// A file in a temporary folder that goes with the object.
class ScratchFile {
  public:
    explicit ScratchFile(const Bytes& bytes) {
        std::string name = std::filesystem::temp_directory_path() / "zip-test-XXXXXX";
        folder_ = mkdtemp(name.data());
        std::ofstream(Path(), std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()),
                   static_cast<std::streamsize>(bytes.size()));
    }
    ~ScratchFile() { std::filesystem::remove_all(folder_); }
    std::string Path() const { return folder_ / "sample.zip"; }

  private:
    std::filesystem::path folder_;
};

TEST(Zip, OtherProgramsAcceptOurArchives) {
    const struct {
        const char* label;
        std::string password;
        std::vector<std::string> commands;
    } rows[] = {
        {"plain",
         "",
         {"unzip -tq %", "7z t -bd %",
          "python3 -c 'import sys,zipfile; z=zipfile.ZipFile(sys.argv[1]); assert z.testzip() is "
          "None; assert len(z.namelist())==6; assert \"\\u043f\\u0430\\u0440\\u0430\\u0437\\u0438"
          "\\u0442.exe\" in z.namelist(); assert z.getinfo(\"short.txt\").date_time==(2026,11,16,"
          "12,30,8)' %"}},
        {"encrypted",
         "s3cret",
         {"unzip -P s3cret -tq %", "7z t -bd -ps3cret %", "! unzip -P wrong -tq %",
          "python3 -c 'import sys,zipfile; z=zipfile.ZipFile(sys.argv[1]); z.setpassword(b\"s3cret"
          "\"); assert z.testzip() is None' %"}},
    };
    for (const auto& row : rows) {
        const ScratchFile file(Archive(Samples(row.password), "a comment"));
        for (std::string command : row.commands) {
            command.replace(command.find('%'), 1, file.Path()) += " >/dev/null 2>&1";
            EXPECT_EQ(std::system(command.c_str()), 0) << row.label << ": " << command;
        }
    }
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
            EXPECT_EQ(entry.Name(Latin1), samples[i].entry.name);
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
        int date;  // years from 1980 on, month, day: 7, 4 and 5 bits
        int time;  // hour, minute, half the second: 5, 6 and 5 bits
    } rows[] = {
        {"an odd second",
         {2026, 11, 16, 12, 30, 9, 0},
         46 << 9 | 11 << 5 | 16,
         12 << 11 | 30 << 5 | 4},
        {"before its years", {1979, 12, 31, 23, 59, 59, 0}, 1 << 5 | 1, 0},
        {"behind its years",
         {2108, 1, 1, 0, 0, 0, 0},
         127 << 9 | 12 << 5 | 31,
         23 << 11 | 59 << 5 | 29},
    };
    for (const auto& row : rows) {
        MemorySource archive(Archive({{{u"a", ToDate(row.modified), 32, false, {}, {}}, {}}}));
        const auto directory = ReadZipDirectory(archive);
        ASSERT_TRUE(directory) << row.label;
        EXPECT_EQ(directory->entries.at(0).date, row.date) << row.label;
        EXPECT_EQ(directory->entries.at(0).time, row.time) << row.label;
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

TEST(Zip, CopiesEntriesOfOtherMakers) {
    // `zip` streams to a pipe with descriptors behind the data, also when it encrypts.
    for (const std::string option : {"", "-P s3cret"}) {
        const ScratchFile file({});
        const std::string make = "cd $(dirname " + file.Path() + ") && rm sample.zip && seq 9999 " +
                                 "> numbers && cat numbers | zip -q " + option +
                                 " - - > sample.zip";
        ASSERT_EQ(std::system(make.c_str()), 0);
        std::ifstream in(file.Path(), std::ios::binary);
        MemorySource original(Bytes(std::istreambuf_iterator<char>(in), {}));
        const auto directory = ReadZipDirectory(original);
        ASSERT_TRUE(directory);

        Bytes copy;
        ZipWriter writer([&](auto bytes) { copy.insert(copy.end(), bytes.begin(), bytes.end()); });
        ASSERT_TRUE(writer.Copy(original, directory->entries.at(0)));
        writer.Finish({});
        const ScratchFile copied(copy);
        const std::string check = "unzip -P s3cret -p " + copied.Path() + " | cmp - $(dirname " +
                                  file.Path() + ")/numbers && 7z t -ps3cret " + copied.Path() +
                                  " > /dev/null";
        EXPECT_EQ(std::system(check.c_str()), 0) << option;
    }
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
    EXPECT_THROW(writer.Add(tooLong, Content({})), RuntimeError);
}

}  // namespace
}  // namespace bkfd
