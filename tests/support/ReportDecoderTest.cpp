#include "cli/decode/ReportDecoder.h"

#include <gtest/gtest.h>

#include "common/EngineFixture.h"
#include "services/WideDocument.h"
#include "support/cl.h"

namespace bkfd {
namespace {

Bytes Raw(std::string_view text) {
    return {text.begin(), text.end()};
}

std::string Listing(const std::variant<DecodedReport, std::string>& decoded) {
    if (const auto* error = std::get_if<std::string>(&decoded)) return "error: " + *error + "\n";
    std::string listing;
    for (const DecodedFile& file : std::get<DecodedReport>(decoded).files) {
        listing += file.name + "=" + std::string(file.content.begin(), file.content.end()) + "\n";
    }
    return listing;
}

TEST(ReportDecoder, ReadsEveryFormOfAReport) {
    EngineFixture fixture;
    fixture.machine.AddFolder(u"C:\\Temp");
    ValueBag values;
    values.Add(u"name", u"Ann");
    values.Add(u"SuspiciousFiles",
               SysUtil::EncodeText(WideDocument(u"<xml><f i='C:\\\u043F &amp; co.dll'/></xml>")));
    values.Add(
        u"Processes",
        SysUtil::EncodeText(u"<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><Ps>&#1087;</Ps>"));
    values.Add(u"Hosts", SysUtil::EncodeText(u"127.0.0.1 \u00E9"));
    values.Add(u"FNHWLog", u"");
    values.Add(u"answer", u" ");
    fixture.machine.SetEnvironment(u"TMP", u"C:\\Temp");
    PackedReport packed;
    NameReport(u"A/B", packed);
    PackEnvelope(MakeEnvelope(packed.category, packed.id, values), packed);
    const Bytes archive = fixture.machine.FileContent(packed.archiveFile);
    const Text value = Replace(SysUtil::BytesToText(archive), u"+", u"%2B");

    const std::string expected =
        "name=Ann\n"
        "SuspiciousFiles.xml=<xml>\n <f i=\"C:\\\xD0\xBF &amp; co.dll\" />\n</xml>\n\n"
        "Processes.xml=<Ps>\xD0\xBF</Ps>\n\n"
        "Hosts=127.0.0.1 \xE9\n"
        "FNHWLog=\n"
        "answer= \n";
    const struct {
        const char* label;
        Bytes input;
    } rows[] = {
        {"envelope", fixture.machine.FileContent(packed.envelopeFile)},
        {"archive", archive},
        {"posted body", ToBytes(u"subject=x&value=" + value)},
    };
    for (const auto& row : rows) {
        const auto decoded = DecodeReport(row.input);
        EXPECT_EQ(Listing(decoded), expected) << row.label;
        const auto& report = std::get<DecodedReport>(decoded);
        EXPECT_EQ(report.suspiciousFiles, std::vector<Text>{u"C:\\\u043F & co.dll"}) << row.label;
        EXPECT_EQ(report.category, u"A\\B") << row.label;
        EXPECT_TRUE(report.problems.empty()) << row.label;
    }
    const Text units(u"C\0:\0\\\0\x3F\x04", 8);
    EXPECT_EQ(EncodeForPaste(u"C:\\\u043F"), SysUtil::EncodeText(units));
}

TEST(ReportDecoder, MalformedInputIsOneError) {
    const struct {
        const char* label;
        std::string input;
        const char* listing;
    } rows[] = {
        {"empty", "", "error: it is no posted report, archive or envelope\n"},
        {"text", "hello", "error: it is no posted report, archive or envelope\n"},
        {"value isn't base64", "subject=a&value=%%%",
         "error: the posted archive isn't valid base64\n"},
        {"value is no archive", "value=QUJD", "error: the posted value is no archive\n"},
        {"cut archive", "PK\3\4abc", "error: the archive is cut or damaged\n"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Listing(DecodeReport(Raw(row.input))), row.listing) << row.label;
    }
    EXPECT_TRUE(Listing(DecodeReport(Raw("<?xml version='1.0'?><xml><Log>QUJD</Lo")))
                    .starts_with("error: "));
    std::string many = "<?xml version='1.0'?><xml>";
    for (int i = 0; i < 1001; ++i) many += "<a/>";
    EXPECT_EQ(Listing(DecodeReport(Raw(many + "</xml>"))), "error: it has too many entries\n");
}

TEST(ReportDecoder, ABadEntryCostsNoOther) {
    Text deep;
    for (int i = 0; i < 65; ++i) deep = u"<a>" + deep + u"</a>";
    const std::string deepListing = "Processes.xml=" + ToUtf8(deep) + "\n";
    const struct {
        const char* label;
        std::string entry;
        const char* listing;
        std::vector<std::string> problems;
    } rows[] = {
        {"not base64",
         "<Log>*</Log>",
         "Log=*\n",
         {"Log isn't valid base64, so it is left as it came"}},
        {"not well-formed",
         "<Processes>PFBzPg==</Processes>",
         "Processes.xml=<Ps>\n",
         {"Processes isn't well-formed XML"}},
        {"nested beyond use",
         "<Processes>" + ToUtf8(SysUtil::EncodeText(deep)) + "</Processes>",
         deepListing.c_str(),
         {"Processes is nested too deeply, so it isn't indented"}},
        {"a gathering that failed", "<SuspiciousFiles/>", "SuspiciousFiles.xml=\n", {}},
    };
    for (const auto& row : rows) {
        const auto decoded =
            DecodeReport(Raw("<?xml version='1.0'?><xml>" + row.entry + "<name>Ann</name></xml>"));
        EXPECT_EQ(Listing(decoded), std::string(row.listing) + "name=Ann\n") << row.label;
        EXPECT_EQ(std::get<DecodedReport>(decoded).problems, row.problems) << row.label;
    }
}

}  // namespace
}  // namespace bkfd
