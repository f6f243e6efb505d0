#include <gmock/gmock.h>
#include <unistd.h>

#include "cli/CliFixture.h"
#include "cli/decode/ReportDecoder.h"
#include "common/LoopbackServer.h"

namespace bkfd {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::IsEmpty;

CliRun Report(const MachineCopy& machine, Strings more, const std::string& input = {}) {
    more.insert(more.begin(), "report");
    return RunOn(machine, more, input);
}

/// The arguments of a whole request, with the description in a file of `folder`.
Strings Request(const HostFolder& folder, const Strings& more = {}) {
    folder.Write("problem.txt", "It is <back> & again \xD0\xB6\n\xE2\x80\xA8\x01.\n");
    Strings arguments = {"--name", "Kit \"K\"", "--email",
                         "kit",    "--text",    folder.Path("problem.txt")};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
}

TEST(ReportCommand, ShowsEveryEntryAndChangesNothing) {
    const MachineCopy machine("hijacked-xp");
    const auto before = machine.Snapshot();
    const CliRun run = Report(machine, {"--show", "--name", "Kit"});
    EXPECT_EQ(run.code, 0);
    ExpectGolden("report-show.txt", run.out, machine);
    const auto entries = Report(machine, {"--show", "--json"}).Document()["entries"];
    EXPECT_EQ(entries.size(), 11U);
    EXPECT_THAT(entries[7]["content"], HasSubstr("198.51.100.7"));
    EXPECT_EQ(machine.Snapshot(), before);
}

TEST(ReportCommand, WritesEnvelopeAndArchiveOnce) {
    const MachineCopy machine("hijacked-98");
    const HostFolder folder;
    const auto before = machine.Snapshot();
    const std::string archive = folder.Path("kit.zip");
    const std::string envelope = folder.Path("kit.xml");
    const Strings request = Request(folder, {"--out", archive});
    const CliRun run = Report(machine, request);
    EXPECT_EQ(run.code, 0) << run.err;
    EXPECT_EQ(run.out, envelope + '\n' + archive + '\n');
    EXPECT_EQ(machine.Snapshot(), before);
    EXPECT_THAT(folder.Read("kit.xml"), testing::StartsWith("<?xml"));
    EXPECT_EQ(std::system(("xmllint --noout " + envelope + " && unzip -tqq " + archive).c_str()),
              0);

    fs::remove(envelope);
    const auto archiveAlone = folder.Snapshot();
    const CliRun again = Report(machine, request);
    EXPECT_EQ(again.code, 2);
    EXPECT_THAT(again.err, HasSubstr("kit.zip: File exists"));
    EXPECT_EQ(folder.Snapshot(), archiveAlone);
}

TEST(ReportCommand, AsksForWhatIsMissing) {
    const struct {
        const char* label;
        Strings arguments;
        const char* input;
        const char* message;
        std::string answer = "";  // empty where the command fails
    } rows[] = {
        {"all typed", {}, "Kit\nk@x\na\nb\n\nignored", "Your name: ", "a\r\nb"},
        {"name given", {"--name", "Kit"}, "kit@x\nfirst", "Your e-mail: ", "first"},
        {"text typed",
         {"--name", "K", "--email", "k", "--text", "-"},
         "a\r\nb\n",
         "",
         "a\r\nb\r\n"},
        {"end of input", {}, "Kit\nkit@x\n", "Please describe the problem. "},
        {"no name", {}, "\nkit@x\nfirst\n", "Please type your name. "},
        {"no address", {}, "Kit\n\nfirst\n", "Please type your e-mail. "},
        {"a document never asks", {"--json"}, "K\nk@x\nx\n", "Please describe the problem. "},
        {"no such text", {"--text", "/no/such/file"}, "", "/no/such/file: No such file"},
        {"two purposes", {"--show"}, "", "--show and --out"},
        {"no name for the files", {"--out", "x/"}, "", "--out"},
    };
    const MachineCopy machine("clean-xp");
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        const HostFolder folder;
        Strings arguments{"--out", folder.Path("r")};
        arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
        const CliRun run = Report(machine, arguments, row.input);
        EXPECT_EQ(run.code, row.answer.empty() ? 2 : 0) << run.err;
        EXPECT_THAT(run.err, HasSubstr(row.message));
        if (row.answer.empty()) {
            EXPECT_THAT(folder.Snapshot(), IsEmpty());
            continue;
        }
        EXPECT_EQ(RunCli({"decode", folder.Path("r.zip")}).code, 0);
        EXPECT_EQ(folder.Read("r.zip.decoded/answer"), row.answer);
    }
}

TEST(ReportCommand, AFailedGatheringSendsNothing) {
    const MachineCopy machine("clean-xp");
    machine.Edit([](auto& facts) {
        facts["files"]["C:\\WINDOWS\\system32\\drivers\\etc\\hosts"] = {{"unreadable", true}};
    });
    const CliRun run = Report(machine, Request(HostFolder()));
    EXPECT_EQ(run.code, 2);
    EXPECT_THAT(run.err, HasSubstr("hosts': Access is denied."));
    EXPECT_THAT(machine.Read("drives/c/Program Files/Brackenfold/BKFD.log"),
                HasSubstr("0000004B ReportCommand.Run: "));
}

TEST(ReportCommand, AHostsFileElsewhereIsListedAsUnreadable) {
    const MachineCopy machine("clean-xp");
    const std::string hosts = machine.Path("drives/c/WINDOWS/system32/drivers/etc/hosts");
    fs::remove(hosts);
    fs::create_symlink("/etc/passwd", hosts);
    const CliRun run = Report(machine, {"--show", "--json"});
    EXPECT_EQ(run.code, 3) << run.err;
    EXPECT_EQ(run.Document()["entries"][7]["content"], "");
    EXPECT_THAT(run.Document()["unreadable"].dump(), HasSubstr("etc\\\\hosts"));
}

TEST(ReportCommand, SendsEachReportInAnArchiveOfItsOwn) {
    const MachineCopy machine("clean-xp");
    const HostFolder desk;
    LoopbackServer receiver("tools/receiver/receiver.py", {"--port", "0", desk.Path()});
    for (const char* text : {"first", "second"}) {
        const CliRun run = Report(machine, {"--name", "Kit", "--email", "k", "--text", "-"}, text);
        EXPECT_EQ(run.code, 0) << run.err;
        std::string answers;
        for (const auto& [name, content] : desk.Snapshot()) {
            if (!name.ends_with("/body")) continue;
            const auto decoded = DecodeReport(Bytes(content.begin(), content.end()));
            for (const DecodedFile& file : std::get<DecodedReport>(decoded).files) {
                if (file.name == "answer") answers.append(file.content.begin(), file.content.end());
            }
        }
        EXPECT_THAT(answers, HasSubstr(text));
        // The archive stays, its temporary file doesn't.
        std::vector<fs::path> temporary;
        for (const auto& entry : fs::recursive_directory_iterator(machine.Path("drives"))) {
            if (entry.path().extension() == ".tmp") temporary.push_back(entry.path());
        }
        EXPECT_FALSE(temporary.empty());
        for (const fs::path& path : temporary) fs::remove(path);
    }
    EXPECT_FALSE(fs::exists(machine.Path("drives/c/Program Files/Brackenfold/Undo")));
}

TEST(ReportCommand, SendsToAReceiverWhoseReportDecodes) {
    const MachineCopy machine("hijacked-xp");
    const HostFolder desk;
    const HostFolder folder;
    LoopbackServer receiver("tools/receiver/receiver.py", {"--port", "0", desk.Path()});
    const CliRun run = Report(machine, Request(folder, {"--json"}));
    EXPECT_EQ(run.code, 0) << run.err;
    EXPECT_EQ(run.Document()["sent"], "http://support.tarnwick.example/php/ic.php");
    EXPECT_THAT(machine.Read("drives/c/Program Files/Brackenfold/BKFD.log"),
                HasSubstr("Requesting support"));

    std::string body;
    for (const auto& [name, content] : desk.Snapshot()) {
        if (name.ends_with("/body")) body += desk.Path(name);
    }
    const CliRun decoded = RunCli({"--json", "decode", "--out", folder.Path("d"), body});
    EXPECT_EQ(decoded.code, 0) << decoded.err;
    EXPECT_EQ(decoded.Document()["category"], "BKFD\\SupportRequest");
    EXPECT_EQ(folder.Read("d/name"), "Kit \"K\"");
    EXPECT_EQ(folder.Read("d/answer"),
              "It is <back> & again \xD0\xB6\r\n\xE2\x80\xA8\xEF\xBF\xBD.\r\n");
    EXPECT_EQ(folder.Read("d/ZoneMap.reg").substr(0, 4), std::string("\xFF\xFEW\0", 4));
    EXPECT_THAT(folder.Read("d/ProcessFileInfo.xml"), HasSubstr("winhook.dll"));
    EXPECT_THAT(folder.Read("d/ProcessFileInfo.xml"), testing::Not(HasSubstr("kernel32.dll")));
    EXPECT_EQ(std::system(("xmllint --noout " + folder.Path("d/*.xml")).c_str()), 0);

    const CliRun list = RunCli({"--json", "decode", "--list", body});
    EXPECT_THAT(list.Document()["items"],
                testing::Contains(nlohmann::json{
                    {"path", "C:\\WINDOWS\\system32\\se.dll"},
                    {"encoded",
                     "QwA6AFwAVwBJAE4ARABPAFcAUwBcAHMAeQBzAHQAZQBtADMAMgBcAHMAZQAuAGQAbABsAA=="}}));
}

TEST(ReportCommand, SaysWhyAReportWasNotTaken) {
    const HostFolder folder;
    const MachineCopy machine("clean-xp");
    {
        LoopbackServer server("tests/common/odd_server.py", {"status", "500"});
        const CliRun run = Report(machine, Request(folder));
        EXPECT_EQ(run.code, 2);
        EXPECT_EQ(run.out, "");
        EXPECT_THAT(run.err, HasSubstr("Cannot send support request. Ensure you are online now. "
                                       "(Status 500)"));
    }
    LoopbackServer::UseProxy("http://127.0.0.1:1");
    EXPECT_THAT(Report(machine, Request(folder)).err,
                HasSubstr("(The attempt to connect to the Internet has failed.)"));
    unsetenv("http_proxy");
    EXPECT_THAT(machine.Read("drives/c/Program Files/Brackenfold/BKFD.log"),
                HasSubstr("8004038A ReportCommand.Run: Cannot contact. The attempt"));
}

// ---------------------------------------------------------------- decode

constexpr const char* kEnvelope =
    "<?xml version='1.0'?><xml><cat>a</cat><id>1</id><name>Ann</name><Log>QUJD</Log></xml>";

TEST(DecodeCommand, WritesIntoItsFolderAlone) {
    const std::string head = "<?xml version='1.0'?><xml>";
    const std::string folders = "<..>1</..><a.b:c>2</a.b:c></xml>";
    const std::string odd = "<a.b:c>2</a.b:c><a_b_c>3</a_b_c></xml>";
    const struct {
        const char* label;
        std::string envelope;
        int code;
        const char* files;
    } rows[] = {
        {"report", kEnvelope, 0, "report.decoded/Log=ABC report.decoded/name=Ann "},
        {"names of folders", head + folders, 2, ""},
        {"odd names", head + odd, 0, "report.decoded/a_b_c=2 report.decoded/a_b_c-2=3 "},
        {"a damaged entry", head + "<Log>?</Log></xml>", 3, "report.decoded/Log=? "},
        {"nothing in it", "<?xml version='1.0'?><xml/>", 3, ""},
        {"no report", "hello", 2, ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        const HostFolder folder;
        folder.Write("report", row.envelope);
        const CliRun run = RunCli({"decode", folder.Path("report")});
        EXPECT_EQ(run.code, row.code) << run.err;
        EXPECT_EQ(run.err.empty(), row.code == 0) << run.err;
        std::string files;
        for (const auto& [name, content] : folder.Snapshot()) {
            if (name != "report") files += name + "=" + content + " ";
        }
        EXPECT_EQ(files, row.files);
    }
}

TEST(DecodeCommand, WritesNoMoreThanItsLimit) {
    const HostFolder folder;
    folder.Write("report", "<?xml version='1.0'?><xml><Log>QUJD</Log><a>" +
                               std::string(1U << 20, 'x') + "</a></xml>");
    const auto before = folder.Snapshot();
    for (const char* limit : {"1", "0", "-1", "x", "2x", "99999999999999999999"}) {
        const CliRun run = RunCli({"decode", folder.Path("report"), "--limit", limit});
        EXPECT_EQ(run.code, 2) << limit;
        EXPECT_THAT(run.err, HasSubstr("--limit")) << limit;
        EXPECT_EQ(folder.Snapshot(), before) << limit;
        EXPECT_FALSE(fs::exists(folder.Path("report.decoded"))) << limit;
    }
    EXPECT_EQ(RunCli({"decode", folder.Path("report"), "--limit", "2"}).code, 0);
}

TEST(DecodeCommand, NeverOverwrites) {
    const struct {
        const char* label;
        const char* mine;
        const char* link;  // what out/Log leads to, if it is a link
    } rows[] = {{"a file", "out/Log", nullptr},
                {"a link to a file elsewhere", "other", "../other"},
                {"a link to nowhere", "other", "../new"},
                {"a file in the folder's place", "out", nullptr}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        const HostFolder folder;
        folder.Write("report", kEnvelope);
        folder.Write(row.mine, "mine");
        if (row.link != nullptr) {
            fs::create_directory(folder.Path("out"));
            fs::create_symlink(row.link, folder.Path("out/Log"));
        }
        const auto before = folder.Snapshot();
        const CliRun run = RunCli({"decode", folder.Path("report"), "--out", folder.Path("out")});
        EXPECT_EQ(run.code, 2);
        EXPECT_EQ(run.out, "");
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
