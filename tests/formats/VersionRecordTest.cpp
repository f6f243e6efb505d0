#include "formats/VersionRecord.h"

#include <gtest/gtest.h>

#include "common/MemorySource.h"
#include "formats/VersionSamples.h"

namespace bkfd {
namespace {

using samples::PutAt;

Text FromLatin1(std::string_view bytes) {
    Text text;
    for (const char byte : bytes) text += static_cast<unsigned char>(byte);
    return text;
}

VersionStrings Read(Bytes file) {
    MemorySource source(std::move(file));
    return ReadVersionStrings(source, FromLatin1);
}

TEST(VersionRecord, Samples) {
    for (const auto& sample : samples::VersionSamples()) {
        EXPECT_EQ(Read(sample.file), sample.strings) << sample.label;
    }
}

TEST(VersionRecord, EveryCutGivesAnAnswerAndNoFieldThatIsNotThere) {
    for (const auto& sample : samples::VersionSamples()) {
        for (std::size_t length = 0; length < sample.file.size(); ++length) {
            const VersionStrings strings = Read({sample.file.data(), sample.file.data() + length});
            ASSERT_TRUE(std::ranges::includes(sample.strings, strings,
                                              [](auto& a, auto& b) { return a.first < b.first; }))
                << sample.label << " cut to " << length;
        }
    }
}

TEST(VersionRecord, OnlyTheRecordIsRead) {
    Bytes file = samples::VersionSamples().front().file;
    file.resize(50'000'000);
    MemorySource source(std::move(file));
    EXPECT_EQ(ReadVersionStrings(source, FromLatin1).size(), 2U);
    EXPECT_LT(source.BytesRead(), 4096U);
}

TEST(VersionRecord, MalformedFiles) {
    constexpr std::size_t kHeader = 64;
    constexpr std::size_t kResources = 0x200;
    constexpr std::size_t kType = kResources + 16;
    constexpr std::size_t kName = kResources + 24 + 16;
    constexpr std::size_t kLanguage = kResources + 48 + 16;
    constexpr std::size_t kData = kResources + 72;
    const struct {
        const char* label;
        std::size_t offset;
        std::uint32_t number;
        std::size_t size;
    } cases[] = {
        {"no DOS signature", 0, 'X', 1},
        {"header behind the end", 60, 0xFFFFFFF0, 4},
        {"another signature", kHeader, 0x454C, 4},
        {"another magic", kHeader + 24, 0x107, 2},
        {"too many sections", kHeader + 6, 0xFFFF, 2},
        {"no section", kHeader + 6, 0, 2},
        {"only two data directories", kHeader + 24 + 108, 2, 4},
        {"no resources", kHeader + 24 + 128, 0, 4},
        {"resources outside of the sections", kHeader + 24 + 128, 0xFFFFFFF0, 4},
        {"section behind the end", kHeader + 24 + 240 + 20, 0xFFFFFF00, 4},
        {"no numbered types", kResources + 14, 0, 2},
        {"more types than the section holds", kResources + 14, 0xFFFF, 2},
        {"named types up to the section's end", kResources + 12, 0xFFFF, 2},
        {"another type", kType, 6, 4},
        {"another name", kName, 2, 4},
        {"the type is a leaf", kType + 4, 24, 4},
        {"the language leads back to the root", kLanguage + 4, 0x80000000, 4},
        {"the type leads back to the root", kType + 4, 0x80000000, 4},
        {"the name leads to itself", kName + 4, 0x80000018, 4},
        {"record outside of the section", kData, 0x00FFFFFF, 4},
        {"record longer than the section", kData + 4, 0xFFFFFFFF, 4},
        {"record empty", kData + 4, 0, 4},
        {"record of five bytes", kData + 4, 5, 4},
        {"block of length 0", kResources + 88, 0, 2},
        {"block shorter than its header", kResources + 88, 3, 2},
        {"value longer than the record", kResources + 90, 0xFFFF, 2},
    };
    const Bytes good = samples::VersionSamples().front().file;
    ASSERT_FALSE(Read(good).empty());
    for (const auto& c : cases) {
        Bytes file = good;
        PutAt(file, c.offset, c.number, c.size);
        EXPECT_EQ(Read(file), VersionStrings()) << c.label;
    }
}

TEST(VersionRecord, AgreesAboutEveryTableSizeOfNeFiles) {
    const Bytes good = samples::VersionSamples().back().file;
    for (std::uint32_t end = 0; end < 0x100; ++end) {
        Bytes file = good;
        PutAt(file, 64 + 0x26, end, 2);
        const bool isWhole = end >= 0x40 + 2 + 8 + 12 + 8 + 12;
        EXPECT_EQ(Read(file).empty(), !isWhole) << end;
    }
}

}  // namespace
}  // namespace bkfd
