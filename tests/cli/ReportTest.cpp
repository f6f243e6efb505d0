#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>

#include "cli/CliBench.h"
#include "common/LoopbackServer.h"

namespace bkfd {
namespace {

namespace fs = std::filesystem;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using Strings = std::vector<std::string>;

Strings Report(const MachineCopy& machine, const Strings& more) {
    Strings arguments = {"--machine", machine.Path(), "report"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
}

/// The arguments of a whole request, with the description in a file of `folder`.
Strings Request(const MachineCopy& folder, const Strings& more = {}) {
    folder.Write("problem.txt", "It is <back> & again \xD0\xB6\n\xE2\x80\xA8\x01.\n");
    Strings arguments = {"--name", "Kit \"K\"", "--email", "kit", "--text"};
    arguments.push_back(folder.Path() + "/problem.txt");
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
}

TEST(ReportCommand, ShowsEveryEntryAndChangesNothing) {
    const MachineCopy machine("hijacked-xp");
    const auto before = machine.Snapshot();
    const CliRun run = RunCli(Report(machine, {"--show", "--name", "Kit"}));
    EXPECT_EQ(run.code, 0);
    ExpectGolden("report-show.txt", run.out, machine);

    const CliRun document = RunCli(Report(machine, {"--show", "--json"}));
    const auto entries = document.Document()["entries"];
    EXPECT_EQ(entries.size(), 11U);
    EXPECT_THAT(entries[7]["content"], HasSubstr("198.51.100.7"));
    EXPECT_EQ(machine.Snapshot(), before);
}

TEST(ReportCommand, WritesEnvelopeAndArchiveOnce) {
    const MachineCopy machine("hijacked-98");
    const MachineCopy folder("");
    const auto before = machine.Snapshot();
    const Strings request = Request(folder, {"--out", folder.Path() + "/kit.zip"});
    const CliRun run = RunCli(Report(machine, request));
    EXPECT_EQ(run.code, 0) << run.err;
    EXPECT_EQ(run.out, folder.Path() + "/kit.xml\n" + folder.Path() + "/kit.zip\n");
    EXPECT_EQ(machine.Snapshot(), before);
    EXPECT_THAT(folder.Read("kit.xml"), testing::StartsWith("<?xml"));
    EXPECT_EQ(std::system(("xmllint --noout '" + folder.Path() + "/kit.xml' && unzip -tqq '" +
                           folder.Path() + "/kit.zip' >/dev/null")
                              .c_str()),
              0);

    fs::remove(folder.Path() + "/kit.xml");
    const auto archiveAlone = folder.Snapshot();
    const CliRun again = RunCli(Report(machine, request));
    EXPECT_EQ(again.code, 2);
    EXPECT_THAT(again.err, HasSubstr("kit.zip: File exists"));
    EXPECT_EQ(folder.Snapshot(), archiveAlone);
}

TEST(ReportCommand, AsksForWhatIsMissing) {
    const struct {
        const char* label;
        Strings arguments;
        std::string input;
        int code;
        const char* message;
        std::string answer;
    } rows[] = {
        {"all typed",
         {},
         "Kit\nkit@x\nfirst\nsecond\n\nignored",
         0,
         "Your name: ",
         "first\r\nsecond"},
        {"name given", {"--name", "Kit"}, "kit@x\nfirst", 0, "Your e-mail: ", "first"},
        {"from standard input",
         {"--name", "K", "--email", "k", "--text", "-"},
         "a\r\nb\n",
         0,
         "",
         "a\r\nb\r\n"},
        {"end of input", {}, "Kit\nkit@x\n", 2, "Please describe the problem. ", ""},
        {"no name", {}, "\nkit@x\nfirst\n", 2, "Please type your name. ", ""},
        {"no address", {}, "Kit\n\nfirst\n", 2, "Please type your e-mail. ", ""},
        {"a document is never interrupted",
         {"--json"},
         "Kit\nkit@x\nx\n",
         2,
         "Please describe the problem. ",
         ""},
        {"no such text", {"--text", "/no/such/file"}, "", 2, "/no/such/file: No such file", ""},
        {"two purposes", {"--show"}, "", 2, "--show and --out", ""},
        {"no name for the files", {"--out", "x/"}, "", 2, "--out", ""},
    };
    const MachineCopy machine("clean-xp");
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        const MachineCopy folder("");
        Strings arguments = row.arguments;
        if (arguments.empty() || arguments[0] != "--out") {
            arguments.insert(arguments.end(), {"--out", folder.Path() + "/r"});
        }
        const CliRun run = RunCli(Report(machine, arguments), row.input);
        EXPECT_EQ(run.code, row.code) << run.err;
        EXPECT_THAT(run.err, HasSubstr(row.message));
        if (row.code != 0) {
            EXPECT_THAT(folder.Snapshot(), IsEmpty());
            continue;
        }
        EXPECT_EQ(RunCli({"decode", folder.Path() + "/r.zip"}).code, 0);
        EXPECT_EQ(folder.Read("r.zip.decoded/answer"), row.answer);
    }
}

TEST(ReportCommand, AFailedGatheringSendsNothing) {
    const MachineCopy machine("clean-xp");
    machine.Edit([](auto& facts) {
        facts["files"]["C:\\WINDOWS\\system32\\drivers\\etc\\hosts"] = {{"unreadable", true}};
    });
    const MachineCopy folder("");
    const CliRun run = RunCli(Report(machine, Request(folder)));
    EXPECT_EQ(run.code, 2);
    EXPECT_THAT(run.err, HasSubstr("hosts': Access is denied."));
}

/// The only report in the receiver's folder.
std::string Body(const MachineCopy& desk) {
    std::string found;
    for (const auto& entry : fs::recursive_directory_iterator(desk.Path())) {
        if (entry.path().filename() == "body") found += entry.path().string();
    }
    return found;
}

TEST(ReportCommand, SendsToAReceiverWhoseReportDecodes) {
    const MachineCopy machine("hijacked-xp");
    const MachineCopy desk("");
    const MachineCopy folder("");
    LoopbackServer receiver("tools/receiver/receiver.py", {"--port", "0", desk.Path()});
    const CliRun run = RunCli(Report(machine, Request(folder, {"--json"})));
    EXPECT_EQ(run.code, 0) << run.err;
    EXPECT_EQ(run.Document()["sent"], "http://support.tarnwick.example/php/ic.php");
    EXPECT_THAT(machine.Read("drives/c/Program Files/Brackenfold/BKFD.log"),
                HasSubstr("Requesting support"));

    const std::string body = Body(desk);
    const CliRun decoded = RunCli({"--json", "decode", "--out", folder.Path() + "/d", body});
    EXPECT_EQ(decoded.code, 0) << decoded.err;
    EXPECT_EQ(decoded.Document()["category"], "BKFD\\SupportRequest");
    EXPECT_EQ(folder.Read("d/name"), "Kit \"K\"");
    EXPECT_EQ(folder.Read("d/answer"),
              "It is <back> & again \xD0\xB6\r\n\xE2\x80\xA8\xEF\xBF\xBD.\r\n");
    EXPECT_EQ(folder.Read("d/ZoneMap.reg").substr(0, 4), std::string("\xFF\xFEW\0", 4));
    EXPECT_THAT(folder.Read("d/Hosts"), HasSubstr("198.51.100.7"));
    EXPECT_THAT(folder.Read("d/ProcessFileInfo.xml"), HasSubstr("winhook.dll"));
    EXPECT_THAT(folder.Read("d/ProcessFileInfo.xml"), testing::Not(HasSubstr("kernel32.dll")));
    EXPECT_EQ(std::system(("xmllint --noout '" + folder.Path() + "'/d/*.xml").c_str()), 0);

    const CliRun list = RunCli({"--json", "decode", "--list", body});
    EXPECT_THAT(
        list.Document(),
        Contains(nlohmann::json{{"path", "C:\\WINDOWS\\system32\\se.dll"},
                                {"encoded",
                                 "QwA6AFwAVwBJAE4ARABPAFcAUwBcAHMAeQBzAHQAZQBtADMAMgBcAHMAZQAuAGQA"
                                 "bABsAA=="}}));
}

TEST(ReportCommand, SaysWhyAReportWasNotTaken) {
    const MachineCopy folder("");
    {
        LoopbackServer server("tests/common/odd_server.py", {"status", "500"});
        const MachineCopy machine("clean-xp");
        const CliRun run = RunCli(Report(machine, Request(folder)));
        EXPECT_EQ(run.code, 2);
        EXPECT_THAT(run.out, IsEmpty());
        EXPECT_THAT(run.err, HasSubstr("Cannot send support request. Ensure you are online now. "
                                       "(Status 500)"));
    }
    LoopbackServer::UseProxy("http://127.0.0.1:1");
    const MachineCopy machine("clean-xp");
    EXPECT_THAT(RunCli(Report(machine, Request(folder))).err,
                HasSubstr("(The attempt to connect to the Internet has failed.)"));
    unsetenv("http_proxy");
    EXPECT_THAT(machine.Read("drives/c/Program Files/Brackenfold/BKFD.log"),
                HasSubstr("8004038A ReportCommand.Run: Cannot contact. The attempt"));
}

// ---------------------------------------------------------------- decode

constexpr const char* kEnvelope =
    "<?xml version='1.0'?><xml><cat>a</cat><id>1</id><name>Ann</name><Log>QUJD</Log></xml>";

TEST(DecodeCommand, WritesIntoItsFolderAlone) {
    const struct {
        const char* label;
        std::string envelope;
        int code;
        Strings files;  // "name=content"
    } rows[] = {
        {"report", kEnvelope, 0, {"Log=ABC", "name=Ann"}},
        {"names of folders", "<?xml version='1.0'?><xml><..>1</..><a.b:c>2</a.b:c></xml>", 2, {}},
        {"odd names",
         "<?xml version='1.0'?><xml><a.b:c>2</a.b:c><a_b_c>3</a_b_c></xml>",
         0,
         {"a_b_c-2=3", "a_b_c=2"}},
        {"a damaged entry",
         "<?xml version='1.0'?><xml><Log>?</Log><name>n</name></xml>",
         3,
         {"Log=?", "name=n"}},
        {"nothing in it", "<?xml version='1.0'?><xml/>", 0, {}},
        {"no report", "hello", 2, {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        const MachineCopy folder("");
        folder.Write("in/report", row.envelope);
        const CliRun run = RunCli({"decode", folder.Path() + "/in/report"});
        EXPECT_EQ(run.code, row.code) << run.err;
        EXPECT_EQ(run.err.empty(), row.code == 0) << run.err;
        Strings files;
        for (const auto& [name, content] : folder.Snapshot()) {
            const std::string prefix = "in/report.decoded/";
            if (name == "in/report") continue;
            ASSERT_TRUE(name.starts_with(prefix)) << name;
            files.push_back(name.substr(prefix.size()) + "=" + content);
        }
        std::sort(files.begin(), files.end());
        EXPECT_EQ(files, row.files);
    }
}

TEST(DecodeCommand, NeverOverwrites) {
    const struct {
        const char* label;
        void (*prepare)(const MachineCopy&);
    } rows[] = {
        {"a file", [](const MachineCopy& folder) { folder.Write("out/Log", "mine"); }},
        {"a link to a file elsewhere",
         [](const MachineCopy& folder) {
             folder.Write("other", "mine");
             folder.Write("out/x", "");
             fs::create_symlink("../other", folder.Path() + "/out/Log");
         }},
        {"a link to nowhere",
         [](const MachineCopy& folder) {
             folder.Write("out/x", "");
             fs::create_symlink("../new", folder.Path() + "/out/Log");
         }},
        {"a file in the folder's place",
         [](const MachineCopy& folder) { folder.Write("out", "mine"); }},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        const MachineCopy folder("");
        folder.Write("report", kEnvelope);
        row.prepare(folder);
        const auto before = folder.Snapshot();
        const CliRun run =
            RunCli({"decode", folder.Path() + "/report", "--out", folder.Path() + "/out"});
        EXPECT_EQ(run.code, 2);
        EXPECT_THAT(run.out, IsEmpty());
        EXPECT_EQ(folder.Snapshot(), before);
    }
}

TEST(DecodeCommand, ReadsStandardInputAndKeepsTerminalsSafe) {
    const CliRun run = RunCli({"decode", "--list", "-"},
                              "<?xml version='1.0'?><xml><SuspiciousFiles>"
                              "PHhtbD48ZiBpPSdDOlwmIzgyMzg7Jy8+PC94bWw+</SuspiciousFiles></xml>");
    EXPECT_EQ(run.code, 0) << run.err;
    EXPECT_EQ(run.out, "C:\\\\u202e\n  QwA6AFwALiA=\n");
}

}  // namespace
}  // namespace bkfd
