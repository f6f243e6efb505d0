#include "cli/decode/ReportDecoder.h"

#include <gtest/gtest.h>

#include "common/EngineFixture.h"
#include "common/MemorySource.h"
#include "formats/Zip.h"
#include "services/WideDocument.h"
#include "support/cl.h"

namespace bkfd {
namespace {

Bytes Raw(std::string_view text) {
    return {text.begin(), text.end()};
}

std::string Encoded(const std::string& text) {
    return ToUtf8(SysUtil::EncodeText(FromUtf8(text)));
}

/// An archive of one file that is read as an envelope.
Bytes ArchiveOf(const std::string& envelope) {
    Bytes archive;
    ZipWriter writer([&](auto more) { archive.insert(archive.end(), more.begin(), more.end()); });
    writer.Add({u"a.xml", 0, 32, false, {}, {}}, MemoryReader(Raw(envelope)));
    writer.Finish({});
    return archive;
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
        std::string listing;
        std::vector<std::string> problems;
    } rows[] = {
        {"not base64",
         "<Log>*</Log>",
         "Log=*\n",
         {"Log isn't valid base64, so it is left as it came"}},
        {"not well-formed",
         "<Processes>PFBzPg==</Processes>",
         "Processes.xml=<Ps>\n",
         {"Processes isn't indented: no element found in line 1"}},
        {"nested beyond use",
         "<Processes>" + ToUtf8(SysUtil::EncodeText(deep)) + "</Processes>",
         deepListing,
         {"Processes isn't indented: it is nested too deeply in line 1"}},
        {"a document type",
         "<Processes>" + Encoded("<!DOCTYPE P [<!ENTITY a 'b'>]><P>&a;</P>") + "</Processes>",
         "Processes.xml=<!DOCTYPE P [<!ENTITY a 'b'>]><P>&a;</P>\n",
         {"Processes isn't indented: it has a document type in line 1"}},
        {"padding inside",
         "<Log>" + std::string(65'532, 'A') + "AA==AAAA</Log>",
         "Log=" + std::string(65'532, 'A') + "AA==AAAA\n",
         {"Log isn't valid base64, so it is left as it came"}},
        {"comments in a document",
         "<Processes>" + Encoded("<P><!--a--><M f='&#10;&quot;&lt;'> </M></P>") + "</Processes>",
         "Processes.xml=<P>\n <M f=\"&#10;&quot;&lt;\"> </M>\n</P>\n\n",
         {"Processes holds comments or instructions; that is in no file"}},
        {"a comment in a text",
         "<a>b<!--c-->d</a>",
         "a=bd\n",
         {"a holds comments or instructions; that is in no file"}},
        {"a text of several forms", "<a>b<![CDATA[<c>&]]>d&amp;</a>", "a=b<c>&d&\n", {}},
        {"elements in a text",
         "<a>b<c d='1'>1</c><?e f?><g h='2'>2</g>d</a>",
         "a=bd\n",
         {"a holds elements; that is in no file", "a holds attributes; that is in no file",
          "a holds comments or instructions; that is in no file"}},
        {"attributes", "<a b='c'>d</a>", "a=d\n", {"a holds attributes; that is in no file"}},
        {"text between entries",
         "x<a/>",
         "a=\n",
         {"the envelope holds text between its entries; that is in no file"}},
        {"a second identifier", "<id>1</id><id>2</id>", "id=2\n", {}},
        {"a gathering that failed", "<SuspiciousFiles/>", "SuspiciousFiles.xml=\n", {}},
    };
    for (const auto& row : rows) {
        const auto decoded =
            DecodeReport(Raw("<?xml version='1.0'?><xml>" + row.entry + "<name>Ann</name></xml>"));
        EXPECT_EQ(Listing(decoded), row.listing + "name=Ann\n") << row.label;
        EXPECT_EQ(std::get<DecodedReport>(decoded).problems, row.problems) << row.label;
    }
}

TEST(ReportDecoder, DamageCostsWhatStandsBehindIt) {
    const std::string head = "<?xml version='1.0'?><xml><cat>c</cat>";
    const struct {
        const char* label;
        std::string rest;
        const char* listing;
        const char* problem;
    } rows[] = {
        {"no entries", "<id>1</id></xml>", "", "the envelope holds no entries"},
        {"a character that can't be", "<a>b</a><d>e&#0;f</d><g>h</g></xml>", "a=b\n",
         "the envelope isn't well-formed: reference to invalid character number in line 1, in d or "
         "behind it; what stands there is lost"},
        {"cut", "<a>b</a><d>e", "a=b\n",
         "the envelope isn't well-formed: no element found in line 1, in d or behind it; what "
         "stands "
         "there is lost"},
    };
    for (const auto& row : rows) {
        const auto decoded = DecodeReport(Raw(head + row.rest));
        EXPECT_EQ(Listing(decoded), row.listing) << row.label;
        EXPECT_EQ(std::get<DecodedReport>(decoded).problems, std::vector<std::string>{row.problem})
            << row.label;
    }
    EXPECT_EQ(
        Listing(DecodeReport(Raw(head + "<d>e&#0;</d></xml>"))),
        "error: the envelope isn't well-formed: reference to invalid character number in line "
        "1\n");
}

TEST(ReportDecoder, TakesNoMoreThanItsLimit) {
    constexpr std::size_t kLimit = 1U << 20;
    const std::string head = "<?xml version='1.0'?><xml>";
    std::string deep;
    for (int i = 0; i < 60; ++i) deep += "<a>";
    for (int i = 0; i < 20'000; ++i) deep += "<b/>";
    for (int i = 0; i < 60; ++i) deep += "</a>";
    const std::string half = "<a>" + std::string(kLimit / 2, 'x') + "</a>";
    const struct {
        const char* label;
        std::string entries;
        const char* listing;
    } rows[] = {
        {"just the limit", half + half, nullptr},
        {"a byte more", half + half + "<b>x</b>",
         "error: its files would take more than 1 MiB; --limit allows more\n"},
        {"more by its indentation", "<Processes>" + Encoded(deep) + "</Processes>",
         "error: its files would take more than 1 MiB; --limit allows more\n"},
        {"blanks alone", "<Processes>" + Encoded("<a>" + std::string(kLimit, ' ')) + "</Processes>",
         "error: its files would take more than 1 MiB; --limit allows more\n"},
        {"an envelope of comments", "<!--" + std::string(1000, 'x') + "-->" + half, nullptr},
        {"an envelope beyond use", half + std::string(3 * kLimit, ' '),
         "error: its files would take more than 1 MiB; --limit allows more\n"},
        {"a tag without an end", "<" + std::string(kLimit + 100'000, 'x'),
         "error: the envelope isn't well-formed: a tag or comment is longer than 1 MiB in line "
         "1\n"},
    };
    for (const auto& row : rows) {
        for (const bool isPacked : {false, true}) {
            const std::string envelope = head + row.entries + "</xml>";
            const auto decoded =
                DecodeReport(isPacked ? ArchiveOf(envelope) : Raw(envelope), kLimit);
            EXPECT_EQ(std::holds_alternative<DecodedReport>(decoded), row.listing == nullptr)
                << row.label;
            if (row.listing != nullptr) EXPECT_EQ(Listing(decoded), row.listing) << row.label;
        }
    }
}

}  // namespace
}  // namespace bkfd
