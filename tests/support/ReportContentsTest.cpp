#include "support/ReportContents.h"

#include <gtest/gtest.h>

#include "cli/decode/ReportDecoder.h"
#include "common/EngineBench.h"
#include "support/cl.h"

namespace bkfd {
namespace {

constexpr char16_t kZoneMap[] =
    u"Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings\\ZoneMap";

/// The gathered report as the support side reads it.
DecodedReport Gather(EngineBench& bench) {
    ValueBag values;
    GatherReport({u"Ann", u"ann@example", u"It is back."}, bench.log, values);
    const Text envelope = MakeEnvelope(Text(kSupportCategory), u"id", values);
    return std::get<DecodedReport>(DecodeReport(ToBytes(envelope)));
}

std::string Names(const DecodedReport& report) {
    std::string names;
    for (const DecodedFile& file : report.files) names += file.name + " ";
    return names;
}

std::string Content(const DecodedReport& report, std::string_view name) {
    for (const DecodedFile& file : report.files) {
        if (file.name == name) return {file.content.begin(), file.content.end()};
    }
    return "not there";
}

TEST(ReportContents, HoldsTheEntriesInOrder) {
    EngineBench bench;
    MemoryMachine& machine = bench.machine;
    machine.SetString(RegistryRoot::LocalMachine, u"SOFTWARE\\Microsoft\\Internet Explorer",
                      u"Version", u"6.0.2900");
    machine.SetString(RegistryRoot::CurrentUser, kZoneMap, u"a", u"1");
    machine.AddFile(u"C:\\WINDOWS\\system32\\drivers\\etc\\hosts", "127.0.0.1 localhost\n");
    machine.AddFile(u"C:\\Program Files\\Brackenfold\\BKFD.log", "a line\r\n");
    machine.AddFile(u"C:\\odd\xD800.exe", "x");
    machine.AddProcess({8, u"C:\\odd\xD800.exe", {}});

    const DecodedReport report = Gather(bench);
    EXPECT_EQ(
        Names(report),
        "name email answer WindowsVersion IEVersion SuspiciousFiles.xml ZoneMap.reg Hosts Log "
        "Processes.xml ProcessFileInfo.xml ");
    EXPECT_EQ(Content(report, "IEVersion"), "6.0.2900");
    EXPECT_EQ(Content(report, "Hosts"), "127.0.0.1 localhost\n");
    EXPECT_EQ(Content(report, "Log"), "a line\r\n");
    EXPECT_TRUE(Content(report, "ZoneMap.reg").starts_with("\xFF\xFEW"));
    EXPECT_EQ(Content(report, "Processes.xml"),
              "<Ps>\n <P f=\"C:\\odd\xEF\xBF\xBD.exe\" />\n</Ps>\n");
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
        EngineBench bench(WindowsFamily::Windows9x);
        bench.machine.SetString(RegistryRoot::LocalMachine, u"SOFTWARE\\Tarnwick Labs\\Fernhollow",
                                u"InstallPath", row.folder);
        bench.machine.AddFile(u"C:\\F\\FNHW.log", row.first);
        bench.machine.AddFile(u"C:\\F\\FNW.log", row.second);
        const DecodedReport report = Gather(bench);
        EXPECT_EQ(Content(report, "FNHWLog"), row.content) << row.label;
        EXPECT_EQ(Content(report, "ZoneMap.reg"), "REGEDIT4\r\n") << row.label;
    }
}

}  // namespace
}  // namespace bkfd
