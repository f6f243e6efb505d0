#include "support/ReportContents.h"

#include <gtest/gtest.h>

#include "cli/decode/ReportDecoder.h"
#include "common/EngineFixture.h"
#include "ignore/IgnoreList.h"
#include "support/cl.h"

namespace bkfd {
namespace {

/// The gathered report as the support side reads it.
DecodedReport Gather(EngineFixture& fixture) {
    ValueBag values;
    GatherReport({u"Ann", u"ann@example", u"It is back."}, fixture.log, values);
    const Text envelope = MakeEnvelope(Text(kSupportCategory), u"id", values);
    return std::get<DecodedReport>(DecodeReport(ToBytes(envelope)));
}

std::string Content(const DecodedReport& report, std::string_view name) {
    for (const DecodedFile& file : report.files) {
        if (file.name == name) return {file.content.begin(), file.content.end()};
    }
    return "not there";
}

TEST(ReportContents, TakesTheSiblingsLogFromTheFirstFileThatHasText) {
    const struct {
        const char* label;
        const char16_t* folder;
        const char* first;
        const char* second;
        const char* content;
    } rows[] = {
        {"first", u"C:\\F", "one", "two", "one"},
        {"first is empty", u"C:\\F\\", "", "two", "two"},
        {"both are empty", u"C:\\F", "", "", "not there"},
        {"not installed", u"", "one", "two", "not there"},
    };
    for (const auto& row : rows) {
        EngineFixture fixture(WindowsFamily::Windows9x);
        fixture.machine.SetString(RegistryRoot::LocalMachine,
                                  u"SOFTWARE\\Tarnwick Labs\\Fernhollow", u"InstallPath",
                                  row.folder);
        fixture.machine.AddFile(u"C:\\F\\FNHW.log", row.first);
        fixture.machine.AddFile(u"C:\\F\\FNW.log", row.second);
        const DecodedReport report = Gather(fixture);
        EXPECT_EQ(Content(report, "FNHWLog"), row.content) << row.label;
        EXPECT_EQ(Content(report, "ZoneMap.reg"), "REGEDIT4\r\n") << row.label;
    }
}

TEST(ReportContents, TellsTheIgnoreListOnlyWhereSomethingIsOnIt) {
    const std::string head = "Brackenfold ignore list 1\r\n";
    const std::string entry = std::string(64, 'a') + "\t2026-11-16\t\xC3\xA4\r\n";
    const struct {
        std::string list;
        std::string content;
    } rows[] = {{"", "not there"},
                {head, "not there"},
                {head + entry, head + entry},
                {head + "x", "line 2: begins with no SHA-256 and no {class}"}};
    for (const auto& row : rows) {
        EngineFixture fixture;
        if (!row.list.empty()) fixture.machine.AddFile(IgnoreListPath(), row.list);
        EXPECT_EQ(Content(Gather(fixture), "IgnoreList"), row.content);
    }
}

}  // namespace
}  // namespace bkfd
