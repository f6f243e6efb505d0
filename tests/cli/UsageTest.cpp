#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "cli/CliBench.h"

namespace bkfd {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

TEST(Usage, FailsInOneClearLine) {
    const struct {
        const char* label;
        std::vector<std::string> arguments;
        const char* message;
    } rows[] = {
        {"nothing", {}, "no command"},
        {"unknown command", {"sacn"}, "sacn"},
        {"unknown option", {"scan", "--fast"}, "--fast"},
        {"no machine", {"scan"}, "--machine"},
        {"machine without a value", {"scan", "--machine"}, "--machine"},
        {"missing folder", {"scan", "--machine", "/no/such/machine"}, "/no/such/machine"},
        {"a file, no folder", {"bhos", "--machine", "/dev/null"}, "/dev/null"},
        {"nothing to identify", {"identify"}, "FILE"},
        {"nothing to decode", {"decode"}, "FILE"},
        {"no such report", {"decode", "/no/such/report"}, "/no/such/report"},
        {"a folder is no report", {"decode", "/"}, "/"},
        {"nothing that commands the terminal", {"\x1b[31m\xFF"}, "\\u001b[31m\xEF\xBF\xBD"},
        {"in names too", {"scan", "--machine", "/\x1b[31m"}, "/\\u001b[31m"},
        {"report of no machine", {"report", "--show"}, "--machine"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        const CliRun run = RunCli(row.arguments);
        EXPECT_EQ(run.code, 2);
        EXPECT_THAT(run.out, IsEmpty());
        EXPECT_THAT(run.err, testing::StartsWith("brackenfold: "));
        EXPECT_THAT(run.err, HasSubstr(row.message));
        EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
    }
}

TEST(Usage, NamesTheFaultOfAMalformedImage) {
    const struct {
        const char* label;
        const char* file;
        const char* content;
        std::vector<const char*> message;
    } rows[] = {
        {"no facts", nullptr, nullptr, {"machine.json"}},
        {"no JSON", "machine.json", "{\n  \"family\": \"nt\",\n  oops\n}", {"machine.json", "3"}},
        {"no family", "machine.json", "{}", {"machine.json", "family"}},
        {"unknown family", "machine.json", R"({"family": "os2"})", {"machine.json", "family"}},
        {"unknown key", "machine.json", R"({"family": "nt", "colour": 1})", {"colour"}},
        {"unknown key of a process",
         "machine.json",
         R"({"family": "nt", "processes": [{"id": 1, "path": "C:\\a.exe", "pid": 2}]})",
         {"processes"}},
        {"wrong type", "machine.json", R"({"family": "nt", "version": "5.1"})", {"version"}},
        {"wrong time", "machine.json", R"({"family": "nt", "now": "noon"})", {"now"}},
        {"unknown code page", "machine.json", R"({"family": "nt", "codePage": 1})", {"codePage"}},
        {"no registry header", "registry/a.reg", "[HKEY_CURRENT_USER\\A]\r\n", {"a.reg", "1"}},
        {"bad line",
         "registry/a.reg",
         "REGEDIT4\r\n\r\n[HKEY_CURRENT_USER\\A]\r\nnonsense\r\n",
         {"a.reg", "4"}},
        {"bad hexadecimal",
         "registry/b.reg",
         "REGEDIT4\r\n\r\n[HKEY_CURRENT_USER\\A]\r\n\"x\"=hex:0g\r\n",
         {"b.reg", "4"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        const MachineCopy machine("");
        if (row.file != nullptr) {
            machine.Write("machine.json", R"({"family": "nt"})");
            machine.Write(row.file, row.content);
        }
        const auto before = machine.Snapshot();
        const CliRun run = RunCli({"scan", "--machine", machine.Path()});
        EXPECT_EQ(run.code, 2);
        EXPECT_THAT(run.out, IsEmpty());
        for (const char* part : row.message) EXPECT_THAT(run.err, HasSubstr(part));
        EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
        EXPECT_EQ(machine.Snapshot(), before);
    }
}

TEST(Usage, AnEmptyMachineIsClean) {
    const MachineCopy machine("");
    machine.Write("machine.json", R"({"family": "9x"})");
    const CliRun run = RunCli({"scan", "--machine", machine.Path()});
    EXPECT_EQ(run.code, 0) << run.err;
}

TEST(Usage, HelpTeaches) {
    const MachineCopy machine("");
    for (const char* command :
         {"", "scan", "bhos", "startup", "processes", "identify", "report", "decode"}) {
        SCOPED_TRACE(command);
        const CliRun run = *command == 0 ? RunCli({"--help"}) : RunCli({command, "--help"});
        EXPECT_EQ(run.code, 0);
        EXPECT_THAT(run.err, IsEmpty());
        EXPECT_THAT(run.out, HasSubstr(*command == 0 ? "machine.json" : "With --json"));
        if (*command == 0) ExpectGolden("help.txt", run.out, machine);
    }
    EXPECT_EQ(RunCli({"--version"}).out.substr(0, 12), "Brackenfold ");
}

TEST(Usage, TheExampleMachinesAreAsMade) {
    const std::string tool = BKFD_SOURCE_DIR "/tools/make_example_machines.py";
    EXPECT_EQ(std::system(("python3 '" + tool + "' --check").c_str()), 0);
}

}  // namespace
}  // namespace bkfd
