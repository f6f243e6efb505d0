#include <gtest/gtest.h>

#include <algorithm>

#include "cli/CliFixture.h"

namespace bkfd {
namespace {

using nlohmann::json;

TEST(Inventories, ListTheirItems) {
    const struct {
        const char* label;
        const char* machine;
        const char* command;
        const char* item;  // members of one of them
    } rows[] = {
        {"blanks stay where & was", "hijacked-xp", "bhos",
         R"({"id": "{5F3A9C72-0B1D-4E86-97C4-D28E61B0A543}", "name": "Reader  Notes",
             "dll": "C:\\Program Files\\Notes\\notes.exe"})"},
        {"bare name on the search path", "hijacked-xp", "startup",
         R"({"name": "Service Host", "dll": "C:\\WINDOWS\\winsrvhp.exe", "manufacturer": "",
             "key": 2147483650, "hive": "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run",
             "valueName": "Service Host", "icon": "IE"})"},
        {"component of Windows", "hijacked-xp", "startup",
         R"({"valueName": "CTFMON.EXE", "key": 2147483649, "icon": "OK"})"},
        {"16-bit company", "hijacked-98", "startup",
         R"({"name": "Spool Manager", "manufacturer": "Fernhill Printing"})"},
        {"native form of a path", "hijacked-xp", "processes",
         R"({"id": "\\??\\C:\\WINDOWS\\system32\\csrss.exe",
             "modules": ["C:\\WINDOWS\\system32\\ntdll.dll", "C:\\WINDOWS\\system32\\kernel32.dll",
                         "C:\\WINDOWS\\system32\\user32.dll"]})"},
        {"9x: the program is among the modules", "hijacked-98", "processes",
         R"({"id": "C:\\WINDOWS\\SYSTEM\\MMTASK.TSK", "modules": ["C:\\WINDOWS\\SYSTEM\\MMTASK.TSK"]})"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        const CliRun run = RunOn(MachineCopy(row.machine), {"--json", row.command});
        EXPECT_EQ(run.code, 0) << run.err;
        const json list = run.Document()["items"];
        const auto isMeant = [&](json object) {
            const json before = object;
            object.update(json::parse(row.item));
            return object == before;
        };
        EXPECT_TRUE(std::any_of(list.begin(), list.end(), isMeant)) << list.dump(1);
    }
}

TEST(Inventories, ReadWellOnATerminal) {
    for (const char* command : {"bhos", "startup", "processes"}) {
        const MachineCopy machine("hijacked-xp");
        ExpectGolden(std::string(command) + ".txt", RunOn(machine, {command}).out, machine);
    }
}

}  // namespace
}  // namespace bkfd
