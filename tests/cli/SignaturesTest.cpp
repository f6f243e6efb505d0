#include <gmock/gmock.h>

#include <set>

#include "cli/CliFixture.h"

namespace bkfd {
namespace {

using testing::HasSubstr;

std::string RowOf(const MachineCopy& machine, const std::string& file) {
    return RunCli({"signatures", "make", machine.Path("drives/c/" + file), "--source", "case 17"})
        .out;
}

std::set<std::string> FoundOn(const MachineCopy& machine, const HostFolder& lists) {
    std::set<std::string> paths;
    const CliRun run = RunOn(machine, {"--signatures", lists.Path(), "scan", "--record"});
    EXPECT_EQ(run.code, 0) << run.err;
    const auto record = run.Document();
    for (const auto& file : record["files"]) paths.insert(file["path"]);
    return paths;
}

TEST(Signatures, AddedListsCountAsTheCompiledOnesDo) {
    const MachineCopy clean("clean-xp");
    const std::string ctfmon = "WINDOWS/system32/ctfmon.exe";
    HostFolder lists;
    lists.Write("parasites.txt", "# of ours\r\n\r\n" + RowOf(clean, ctfmon));
    const auto record = RunOn(clean, {"--signatures", lists.Path(), "scan", "--record"}).Document();
    ASSERT_EQ(record["files"].size(), 1U);
    EXPECT_EQ(record["verdict"], "parasites");
    EXPECT_EQ(record["files"][0]["known"],
              nlohmann::json::parse(R"({"name": "ctfmon.exe", "source": "case 17"})"));
    EXPECT_EQ(record["signatures"][0]["name"], "built-in");
    EXPECT_EQ(record["signatures"][1]["name"], "parasites.txt");
    EXPECT_EQ(record["signatures"][1]["entries"], 1);

    const auto identity =
        RunCli({"--json", "identify", clean.Path("drives/c/" + ctfmon)}).Document()["items"][0];
    lists.Write("parasites.txt", identity["size"].dump() + ' ' + identity["hash"].dump() +
                                     "\tctfmon.exe\tits size and hash\n");
    EXPECT_THAT(FoundOn(clean, lists), testing::ElementsAre(HasSubstr("ctfmon.exe")));

    const MachineCopy hijacked("hijacked-xp");
    const HostFolder none;
    none.Write("good.txt", "1 1\tnothing\tnowhere\n");
    lists.Write("good.txt", RowOf(hijacked, "WINDOWS/system32/msnav32.exe"));
    auto expected = FoundOn(hijacked, none);
    EXPECT_EQ(expected.erase(R"(c:\windows\system32\msnav32.exe)"), 1U);
    expected.insert(R"(c:\windows\system32\ctfmon.exe)");  // a parasite by the list
    EXPECT_EQ(FoundOn(hijacked, lists), expected) << "what is good is spared";
}

TEST(Signatures, ADamagedLineIsNamed) {
    const std::string sha256(64, 'a');
    const struct {
        const char* label;
        std::string parasites;
        std::string good;
        const char* message;
    } rows[] = {
        {"no source", "1 2\tname\n", "", "parasites.txt:1: is no row"},
        {"three numbers", "#\n1 2 3\tname\tsource\n", "", "parasites.txt:2: is no row"},
        {"a short hash", sha256.substr(1) + "\tname\tsource\n", "", "parasites.txt:1: is no row"},
        {"no hexadecimal", sha256.substr(1) + "x\tname\tsource\n", "", "parasites.txt:1:"},
        {"beyond 31 bits", "1 2147483648\tname\tsource\n", "", "parasites.txt:1: is no row"},
        {"both", sha256 + "\tname\tsource\n", "1 2\tn\ts\n" + sha256 + "\tname\tsource\n",
         "good.txt:2: is in the list of parasites too"},
        {"neither", "", "", "has neither parasites.txt nor good.txt"},
    };
    const MachineCopy machine("clean-xp");
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        const HostFolder lists;
        if (!row.parasites.empty()) lists.Write("parasites.txt", row.parasites);
        if (!row.good.empty()) lists.Write("good.txt", row.good);
        const CliRun run = RunOn(machine, {"--signatures", lists.Path(), "scan"});
        EXPECT_EQ(run.code, 2);
        EXPECT_THAT(run.err, HasSubstr(row.message));
        EXPECT_EQ(run.out, "");
    }
    EXPECT_THAT(RunCli({"signatures", "make", machine.Path("none")}).err,
                HasSubstr("can't be read"));
}

}  // namespace
}  // namespace bkfd
