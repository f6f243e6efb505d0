#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/CliBench.h"

namespace bkfd {
namespace {

using nlohmann::json;
using testing::Contains;
using testing::HasSubstr;

/// The members of an object that the expected one has.
json Projected(const json& object, const json& expected) {
    json result = json::object();
    for (const auto& [name, value] : expected.items()) {
        if (object.contains(name)) result[name] = object[name];
    }
    return result;
}

std::vector<json> ProjectedAll(const json& list, const json& expected) {
    std::vector<json> result;
    for (const json& object : list) result.push_back(Projected(object, expected));
    return result;
}

TEST(Inventories, ListTheirItems) {
    const struct {
        const char* label;
        const char* machine;
        const char* command;
        std::size_t count;
        json item;
    } rows[] = {
        {"blanks stay where & was",
         "hijacked-xp",
         "bhos",
         12,
         {{"id", "{5F3A9C72-0B1D-4E86-97C4-D28E61B0A543}"},
          {"name", "Reader  Notes"},
          {"dll", "C:\\Program Files\\Notes\\notes.exe"}}},
        {"product name of the file",
         "hijacked-xp",
         "bhos",
         12,
         {{"name", "Quickbar"}, {"dll", "C:\\Program Files\\Quickbar\\quickbar.dll"}}},
        {"no file at all",
         "hijacked-xp",
         "bhos",
         12,
         {{"id", "{F2937B4C-05D8-4E61-93AB-C7E16D80F429}"}, {"name", ""}, {"dll", ""}}},
        {"bare name on the search path",
         "hijacked-xp",
         "startup",
         13,
         {{"name", "Service Host"},
          {"dll", "C:\\WINDOWS\\winsrvhp.exe"},
          {"manufacturer", ""},
          {"key", 0x80000002U},
          {"hive", "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run"},
          {"valueName", "Service Host"},
          {"icon", "IE"}}},
        {"component of Windows",
         "hijacked-xp",
         "startup",
         13,
         {{"valueName", "CTFMON.EXE"}, {"key", 0x80000001U}, {"icon", "OK"}}},
        {"policy value without data",
         "hijacked-xp",
         "startup",
         13,
         {{"name", "Your description here..."}, {"dll", ""}, {"valueName", "2"}}},
        {"16-bit company",
         "hijacked-98",
         "startup",
         8,
         {{"name", "Spool Manager"}, {"manufacturer", "Fernhill Printing"}}},
        {"native form of a path",
         "hijacked-xp",
         "processes",
         18,
         {{"id", "\\??\\C:\\WINDOWS\\system32\\csrss.exe"},
          {"modules",
           {"C:\\WINDOWS\\system32\\ntdll.dll", "C:\\WINDOWS\\system32\\kernel32.dll",
            "C:\\WINDOWS\\system32\\user32.dll"}}}},
        {"9x: the program is among the modules",
         "hijacked-98",
         "processes",
         11,
         {{"id", "C:\\WINDOWS\\SYSTEM\\MMTASK.TSK"},
          {"modules", {"C:\\WINDOWS\\SYSTEM\\MMTASK.TSK"}}}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        const MachineCopy machine(row.machine);
        const CliRun run = RunCli({"--machine", machine.Path(), "--json", row.command});
        EXPECT_EQ(run.code, 0) << run.err;
        const json list = run.Document();
        EXPECT_EQ(list.size(), row.count);
        EXPECT_THAT(ProjectedAll(list, row.item), Contains(row.item));
    }
}

TEST(Inventories, ReadWellOnATerminal) {
    for (const char* command : {"bhos", "startup", "processes"}) {
        SCOPED_TRACE(command);
        const MachineCopy machine("hijacked-xp");
        const CliRun run = RunCli({command, "--machine", machine.Path()});
        ExpectGolden(std::string(command) + ".txt", run.out, machine);
    }
}

TEST(Inventories, SayWhatTheyLack) {
    const MachineCopy machine("clean-xp");
    machine.Edit([](auto& facts) {
        facts["denied"] = {
            {"read", {"HKEY_CURRENT_USER\\Software\\Microsoft\\Windows\\CurrentVersion\\Run"}}};
    });
    const CliRun run = RunCli({"startup", "--machine", machine.Path()});
    EXPECT_EQ(run.code, 3);
    EXPECT_THAT(run.err, HasSubstr("CurrentVersion\\Run"));
}

}  // namespace
}  // namespace bkfd
