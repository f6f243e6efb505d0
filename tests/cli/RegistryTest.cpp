#include <gmock/gmock.h>

#include <fstream>

#include "base/Utf16Bytes.h"
#include "cli/CliFixture.h"
#include "testing/HiveMaker.h"

namespace bkfd {
namespace {

using testing::HasSubstr;

std::string AsString(const Bytes& bytes) {
    return {bytes.begin(), bytes.end()};
}

Bytes SampleHive(std::uint8_t number, std::uint32_t type = 0) {
    Bytes hive = HiveMaker({u"r",
                            {{Text{u'"', u'\\', 0xD800, 0x202E, 0x1F, 0x436}, 1, {number, 0}}},
                            {{Text(u"a\0b", 3)}}})
                     .File();
    Write32(hive, 28, type);
    SealHive(hive);
    return hive;
}

TEST(Registry, PrintsEveryFormAsLines) {
    const std::string lines = R"({"key": "\\A"})"
                              "\n"
                              R"({"key": "\\A", "name": "n", "type": 1, "data": "61000000"})"
                              "\n";
    const struct {
        const char* label;
        std::string content;
        std::string expected;
    } rows[] = {
        {"hive", AsString(SampleHive(7)),
         R"({"key": ""})"
         "\n"
         R"({"key": "", "name": "\"\\\ud800\u202e\u001fж", "type": 1, "data": "0700"})"
         "\n"
         R"({"key": "\\a\u0000b"})"
         "\n"},
        {"the second copy of SYSTEM", AsString(SampleHive(7, 1)),
         R"({"key": ""})"
         "\n"
         R"({"key": "", "name": "\"\\\ud800\u202e\u001fж", "type": 1, "data": "0700"})"
         "\n"
         R"({"key": "\\a\u0000b"})"
         "\n"},
        {"Wine", "WINE REGISTRY Version 2\n\n[A] 1\n\"n\"=\"a\"\n", lines},
        {"REGEDIT4", "REGEDIT4\r\n\r\n[A]\r\n\"n\"=\"a\"\r\n", lines},
        {"version 5.00",
         AsString(ToUtf16Bytes(u"\uFEFFWindows Registry Editor Version 5.00\r\n\r\n"
                               u"[A]\r\n\"n\"=\"a\"\r\n")),
         lines},
        {"deletions", "REGEDIT4\n[-A]\n[B]\n@=-\n",
         R"({"key": "\\A", "deleted": true})"
         "\n"
         R"({"key": "\\B"})"
         "\n"
         R"({"key": "\\B", "name": "", "deleted": true})"
         "\n"},
    };
    const HostFolder folder;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        folder.Write("file", row.content);
        const CliRun run = RunCli({"registry", folder.Path("file")});
        EXPECT_EQ(run.out, row.expected);
        EXPECT_EQ(run.code, 0) << run.err;
        EXPECT_EQ(run.err, "");
    }
}

TEST(Registry, NamesAreInTheCodePageThatIsGiven) {
    const HostFolder folder;
    folder.Write("a.reg", "REGEDIT4\n[\xC4]\n");
    EXPECT_EQ(RunCli({"registry", folder.Path("a.reg")}).out, "{\"key\": \"\\\\Ä\"}\n");
    EXPECT_EQ(RunCli({"registry", folder.Path("a.reg"), "--code-page", "1251"}).out,
              "{\"key\": \"\\\\Д\"}\n");
    EXPECT_EQ(RunCli({"registry", folder.Path("a.reg"), "--code-page", "1x"}).err,
              "brackenfold: --code-page: 1x is no known code page\n");
}

TEST(Registry, PrintsLongDataWhole) {
    Bytes data(300'000);
    for (std::size_t i = 0; i < data.size(); ++i) data[i] = static_cast<std::uint8_t>(i * i >> 4);
    const HostFolder folder;
    folder.Write("hive", AsString(HiveMaker({u"r", {{u"a", 3, data}, {u"b", 3, {1}}}}).File()));
    const CliRun run = RunCli({"registry", folder.Path("hive")});
    std::string digits;
    for (const std::uint8_t byte : data) {
        char text[3];
        std::snprintf(text, sizeof text, "%02x", byte);
        digits += text;
    }
    EXPECT_TRUE(run.out ==
                "{\"key\": \"\"}\n{\"key\": \"\", \"name\": \"a\", \"type\": 3, \"data\": \"" +
                    digits +
                    "\"}\n{\"key\": \"\", \"name\": \"b\", \"type\": 3, "
                    "\"data\": \"01\"}\n");
}

/// A dirty hive of the first version with a log of the old form for the second.
void WriteDirtyHive(const HostFolder& folder, const std::string& log) {
    Bytes hive = SampleHive(1);
    Write32(hive, 4, 8);
    SealHive(hive);
    folder.Write("Hive", AsString(hive));
    const Bytes pages = SampleHive(2);
    Bytes bytes(pages.begin(), pages.begin() + 512);
    Write32(bytes, 28, 1);
    SealHive(bytes);
    for (const char unit : std::string_view("DIRT")) {
        bytes.push_back(static_cast<std::uint8_t>(unit));
    }
    bytes.push_back(0xFF);
    bytes.resize(1024);
    bytes.insert(bytes.end(), pages.begin() + 4096, pages.end());
    folder.Write(log, AsString(bytes));
}

TEST(Registry, ReplaysTheLogsBesideAHive) {
    for (const std::string log : {"Hive.LOG", "hive.log1", "HIVE.Log2"}) {
        SCOPED_TRACE(log);
        const HostFolder folder;
        WriteDirtyHive(folder, log);
        const auto before = folder.Snapshot();
        const CliRun run = RunCli({"registry", folder.Path("Hive")});
        EXPECT_THAT(run.out, HasSubstr("\"0200\""));
        EXPECT_EQ(run.code, 0);
        EXPECT_THAT(run.err, HasSubstr("its logs were replayed"));
        const CliRun without = RunCli({"registry", folder.Path("Hive"), "--no-logs"});
        EXPECT_THAT(without.out, HasSubstr("\"0100\""));
        EXPECT_EQ(without.code, 3);
        EXPECT_EQ(folder.Snapshot(), before);
    }
    const HostFolder folder;
    WriteDirtyHive(folder, "other.LOG");
    const CliRun run = RunCli({"registry", folder.Path("Hive")});
    EXPECT_THAT(run.out, HasSubstr("\"0100\""));
    EXPECT_EQ(run.code, 3);
    EXPECT_THAT(run.err, HasSubstr("no log beside it fits"));
}

TEST(Registry, TellsWhatCouldNotBeRead) {
    const HostFolder folder;
    Bytes hive = SampleHive(1);
    hive.resize(hive.size() - 8);
    folder.Write("cut", AsString(hive));
    folder.Write("wine", "WINE REGISTRY Version 2\n[A]\n" + std::string(150 * 2, '\n'));
    std::ofstream(folder.Path("wine"), std::ios::app) << [] {
        std::string lines;
        for (int i = 0; i < 150; ++i) lines += "?\n";
        return lines;
    }();
    const CliRun cut = RunCli({"registry", folder.Path("cut")});
    EXPECT_EQ(cut.code, 3);
    EXPECT_EQ(cut.err, "brackenfold: " + folder.Path("cut") +
                           ": could not read: the hive is cut off: its bins go on behind the "
                           "file's end\n");
    folder.Write("bad.reg", "REGEDIT4\n[A]\n\"b\"=?\n\"c\"=hex:01\n");
    const CliRun bad = RunCli({"registry", folder.Path("bad.reg")});
    EXPECT_EQ(bad.code, 3);
    EXPECT_THAT(bad.err, HasSubstr(": could not read: line 3: unknown kind of data\n"));
    EXPECT_THAT(bad.out, HasSubstr("\"data\": \"01\"}\n"));
    const CliRun many = RunCli({"registry", folder.Path("wine")});
    EXPECT_EQ(many.code, 3);
    EXPECT_THAT(many.err, HasSubstr("could not read \\A: line 303: it is neither a key"));
    EXPECT_THAT(many.err, HasSubstr(": could not read: 50 more places\n"));
}

TEST(Registry, RefusesWhatIsNoRegistryFile) {
    const HostFolder folder;
    folder.Write("empty", "");
    folder.Write("text", "some text\n");
    folder.Write("creg", "CREG" + std::string(60, '\0'));
    folder.Write("log", AsString(SampleHive(1, 6)));
    folder.Write("bad.reg", "Windows Registry Editor Version 5.00\n[A]\n;\xE9\n");
    const std::pair<const char*, const char*> rows[] = {
        {"missing", "No such file or directory"},
        {".", "Is a directory"},
        {"empty", "is no registry file of a known form"},
        {"text", "is no registry file of a known form"},
        {"creg", "has no tree of keys"},
        {"log", "is the log of a hive, not the hive"},
        {"bad.reg", "line 3: malformed UTF-8"},
    };
    for (const auto& [name, error] : rows) {
        const CliRun run = RunCli({"registry", folder.Path(name)});
        EXPECT_EQ(run.code, 2) << name;
        EXPECT_EQ(run.out, "");
        EXPECT_EQ(run.err, "brackenfold: " + folder.Path(name) + ": " + error + "\n");
    }
}

}  // namespace
}  // namespace bkfd
