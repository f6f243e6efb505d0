#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>

#include "cli/CliFixture.h"

namespace bkfd {
namespace {

using testing::HasSubstr;

void ExpectOneLine(const CliRun& run, const std::string& message) {
    EXPECT_EQ(run.code, 2);
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, testing::StartsWith("brackenfold: "));
    EXPECT_THAT(run.err, HasSubstr(message));
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
}

TEST(Usage, FailsInOneClearLine) {
    const struct {
        const char* label;
        Strings arguments;
        const char* message;
    } rows[] = {
        {"nothing", {}, "no command"},
        {"unknown command", {"sacn"}, "sacn"},
        {"unknown option", {"scan", "--fast"}, "--fast"},
        {"no machine", {"scan"}, "--machine"},
        {"missing folder", {"scan", "--machine", "/no/such/machine"}, "/no/such/machine"},
        {"a file, no folder", {"bhos", "--machine", "/dev/null"}, "/dev/null"},
        {"nothing to identify", {"identify"}, "FILE"},
        {"no such report", {"decode", "/no/such/report"}, "/no/such/report"},
        {"a folder is no report", {"decode", "/"}, "/"},
        {"nothing that commands the terminal", {"\x1b[31m\xFF"}, "\\u001b[31m\xEF\xBF\xBD"},
        {"in names too", {"scan", "--machine", "/\x1b[31m"}, "/\\u001b[31m"},
        {"report of no machine", {"report", "--show"}, "--machine"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        ExpectOneLine(RunCli(row.arguments), row.message);
    }
}

TEST(Usage, NamesTheFaultOfAMalformedImage) {
    const std::string family = R"({"family": "9x"})";
    const struct {
        const char* label;
        std::map<std::string, std::string> files;
        const char* message;
    } rows[] = {
        {"no facts", {}, "holds no Windows: looked for machine.json"},
        {"no JSON", {{"machine.json", "{\n  oops\n}"}}, "machine.json:2: "},
        {"bad line",
         {{"machine.json", family}, {"registry/a.reg", "REGEDIT4\n\n[HKEY_USERS\\A]\nnonsense\n"}},
         "registry/a.reg:4: "},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        const HostFolder machine;
        for (const auto& [name, content] : row.files) machine.Write(name, content);
        ExpectOneLine(RunOn(machine, {"scan"}), row.message);
        EXPECT_EQ(machine.Snapshot(), row.files);
    }
    const HostFolder machine;
    machine.Write("machine.json", family);
    EXPECT_EQ(RunOn(machine, {"scan"}).code, 0) << "an empty machine is clean";
}

TEST(Usage, HelpTeaches) {
    ExpectGolden("help.txt", RunCli({"--help"}).out, HostFolder());
    for (const char* command :
         {"scan", "bhos", "startup", "processes", "identify", "report", "decode"}) {
        SCOPED_TRACE(command);
        const CliRun run = RunCli({command, "--help"});
        EXPECT_EQ(run.code, 0);
        EXPECT_EQ(run.err, "");
        EXPECT_THAT(run.out, HasSubstr("With --json"));
    }
    EXPECT_EQ(RunCli({"--version"}).out.substr(0, 12), "Brackenfold ");
}

TEST(Usage, TheExampleMachinesAreAsMade) {
    const std::string tool = BKFD_SOURCE_DIR "/tools/make_example_machines.py";
    EXPECT_EQ(std::system(("python3 '" + tool + "' --check").c_str()), 0);
}

}  // namespace
}  // namespace bkfd
