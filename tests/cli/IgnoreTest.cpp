#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>

#include "cli/CliFixture.h"
#include "common/SmallVolume.h"
#include "common/WritePoints.h"
#include "ignore/IgnoreList.h"

// The ignore list, and what it does to the other commands.
namespace bkfd {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr char kList[] = "drives/c/Program Files/Brackenfold/ignore.txt";
constexpr char kSrchast[] = "C:\\WINDOWS\\system32\\srchast.dll";
constexpr char kSrchastClass[] = "{9B71D2E4-6C08-4A3F-8D15-E4F720C69B83}";
constexpr char kDeadClass[] = "{4D0E8A26-B5F1-4739-A6C2-0F83D9E7B512}";
constexpr char kNavigator[] = "C:\\WINDOWS\\system32\\msnav32.exe";

/// "path clsid sha256" of each that was passed over, with the first letters of the hash, sorted.
std::string Ignored(const nlohmann::json& document) {
    std::vector<std::string> lines;
    for (const auto& it : document["ignored"]) {
        const std::string path = it["path"];
        lines.push_back(
            it["kind"].get<std::string>() + ' ' + path.substr(path.rfind('\\') + 1) + ' ' +
            (it["clsid"].is_null() ? "-" : it["clsid"].get<std::string>().substr(0, 5)) + ' ' +
            (it["sha256"].is_null() ? "-" : "hash") + ' ' + it["note"].get<std::string>() + '\n');
    }
    std::ranges::sort(lines);
    std::string text;
    for (const std::string& line : lines) text += line;
    return text;
}

TEST(Ignore, PassesOverInScanRecordAndCleanUntilItIsTakenBack) {
    const MachineCopy machine("hijacked-xp");
    const auto before = RunOn(machine, {"--json", "scan"}).Document();
    EXPECT_EQ(before["ignored"].size(), 0U);
    const CliRun added = RunOn(
        machine, {"ignore", "add", kSrchast, kDeadClass, kNavigator, "--note", "ours\t\u202e"});
    EXPECT_EQ(added.code, 0) << added.err;
    EXPECT_EQ(std::ranges::count(added.out, '\n'), 3);
    EXPECT_EQ(RunOn(machine, {"undo"}).out.find("1"), std::string::npos) << "it needs no record";

    const std::string ignored =
        "file msnav32.exe - hash ours\t\u202e\nfile srchast.dll - hash ours\t\u202e\n"
        "helper-object  {4D0E - ours\t\u202e\nhelper-object srchast.dll {9B71 hash ours\t\u202e\n";
    const auto scan = RunOn(machine, {"--json", "scan"}).Document();
    EXPECT_EQ(Ignored(scan), ignored);
    EXPECT_EQ(scan["files"].size(), before["files"].size() - 2);
    EXPECT_EQ(scan["bhos"].size(), before["bhos"].size() - 2);
    EXPECT_EQ(Ignored(RunOn(machine, {"scan", "--record"}).Document()), ignored);
    EXPECT_THAT(RunOn(machine, {"scan"}).out,
                AllOf(HasSubstr("\nIgnored (4)\n"), HasSubstr("read; 4 ignored.\n"),
                      HasSubstr("note   ours\\u0009\\u202e\n")));
    EXPECT_THAT(RunOn(machine, {"clean", "--dry-run"}).out,
                AllOf(HasSubstr("\nIgnored (4)\n"), HasSubstr("; 4 ignored.\n")));
    const CliRun clean = RunOn(machine, {"--json", "clean", "--yes"});
    EXPECT_EQ(clean.code, 0) << clean.out;
    EXPECT_EQ(Ignored(clean.Document()), ignored);
    EXPECT_TRUE(machine.Has("drives/c/WINDOWS/system32/srchast.dll"));
    EXPECT_THAT(machine.Read("drives/c/Program Files/Brackenfold/BKFD.log"),
                HasSubstr("PassOver: Ignored: c:\\windows\\system32\\msnav32.exe (ours"));
    const CliRun again = RunOn(machine, {"scan"});
    EXPECT_EQ(again.code, 0) << again.out;
    EXPECT_THAT(again.out, HasSubstr("Clean: no parasite found"));

    EXPECT_EQ(RunOn(machine, {"ignore", "remove", kSrchast, kDeadClass, "3"}).code, 0);
    EXPECT_EQ(RunOn(machine, {"ignore", "list"}).out, "Nothing is ignored.\n");
    EXPECT_EQ(RunOn(machine, {"scan"}).code, 1);
}

TEST(Ignore, ListsEntriesAndWhetherTheyHold) {
    const MachineCopy machine("hijacked-xp");
    const std::string hash(64, 'A');
    RunOn(machine, {"--json", "ignore", "add", hash, kSrchastClass, "--note", "n"});
    const auto twice = RunOn(machine, {"--json", "ignore", "add", hash, kSrchast}).Document();
    EXPECT_EQ(twice["added"].size(), 1U);
    EXPECT_EQ(twice["already"][0]["sha256"], std::string(64, 'a'));
    machine.Write(kList, machine.Read(kList) + kDeadClass + "\tC:\\new.dll\t2026-11-16\r\n");
    const auto items = RunOn(machine, {"--json", "ignore", "list"}).Document()["items"];
    ASSERT_EQ(items.size(), 4U);
    EXPECT_EQ(items[0]["holds"], nullptr);
    EXPECT_EQ(items[1]["holds"], true);
    EXPECT_EQ(items[1]["path"], kSrchast);
    EXPECT_EQ(items[3]["holds"], false);
    EXPECT_THAT(RunOn(machine, {"ignore", "list"}).out,
                HasSubstr("\n4  " + std::string(kDeadClass) +
                          " C:\\new.dll\n      since  2026-11-16 "
                          "00:00:00\n      holds  no: it isn't registered so now\n"));
    const auto removed = RunOn(machine, {"--json", "ignore", "remove", kSrchast, "1"}).Document();
    EXPECT_EQ(removed["removed"].size(), 3U) << "by class with that path, by content, by number";
}

TEST(Ignore, OfADamagedListTellsTheLineAndTouchesNothing) {
    const struct {
        const char* label;
        std::string content;
        const char* what;
    } rows[] = {
        {"a bad line", "Brackenfold ignore list 1\nx\n", "line 2: begins with no SHA-256"},
        {"a later version", "Brackenfold ignore list 9\n",
         "line 1: is the head of an ignore list of"},
        {"no list", "\xFF\xFE", "line 1: isn't UTF-8"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        const MachineCopy machine("clean-xp");
        machine.Write(kList, row.content);
        const CliRun scan = RunOn(machine, {"--json", "scan"});
        EXPECT_EQ(scan.code, 0) << scan.err;
        const auto unreadable = scan.Document()["unreadable"];
        ASSERT_GT(unreadable.size(), 0U);
        EXPECT_EQ(unreadable.back()["kind"], "ignore-list");
        EXPECT_THAT(unreadable.back()["error"].get<std::string>(), HasSubstr(row.what));
        EXPECT_THAT(RunOn(machine, {"scan"}).out, HasSubstr("1 ignore list could not be read."));
        const CliRun clean = RunOn(machine, {"clean", "--dry-run"});
        EXPECT_EQ(clean.code, 0) << clean.out;
        EXPECT_THAT(clean.err, AllOf(HasSubstr("nothing is ignored"), HasSubstr(row.what)));
        for (const Strings& arguments :
             {Strings{"ignore", "list"}, Strings{"ignore", "remove", "1"},
              Strings{"ignore", "add", std::string(64, 'a')}}) {
            const CliRun run = RunOn(machine, arguments);
            EXPECT_EQ(run.code, 2);
            EXPECT_THAT(run.err, HasSubstr(row.what));
        }
        EXPECT_EQ(machine.Read(kList), row.content);
    }
}

TEST(Ignore, WhatItCannotDoIsOneErrorAndChangesNothing) {
    const MachineCopy machine("hijacked-xp");
    machine.Edit([](auto& facts) { facts["files"][kNavigator]["unreadable"] = true; });
    const std::string hash(64, 'a');
    RunOn(machine, {"ignore", "add", hash});
    const auto before = machine.Snapshot();
    const struct {
        Strings arguments;
        const char* error;
    } rows[] = {
        {{"add"}, "ignore add needs a file"},
        {{"list", "1"}, "ignore list takes no names"},
        {{"drop", "1"}, "ignore can add, remove or list"},
        {{"remove", "1", "--note", "x"}, "--note is for ignore add"},
        {{"add", "hpjk.dll"}, "is no path of the machine"},
        {{"add", hash + "0"}, "is no path of the machine"},
        {{"add", "{1}"}, "is no path of the machine"},
        {{"add", kSrchast, "C:\\none.dll"}, "C:\\none.dll: the file can't be read"},
        {{"add", "C:\\WINDOWS"}, "C:\\WINDOWS: the file can't be read"},
        {{"add", kNavigator}, "the file can't be read"},
        {{"add", "{00000000-0000-0000-0000-000000000000}"}, "no helper object is registered as {0"},
        {{"remove", "2"}, "nothing on the ignore list is meant by 2"},
        {{"remove", "1", "0"}, "nothing on the ignore list is meant by 0"},
        {{"remove", kSrchast}, "nothing on the ignore list is meant by C:"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.error);
        Strings arguments = row.arguments;
        arguments.insert(arguments.begin(), "ignore");
        const CliRun run = RunOn(machine, arguments);
        EXPECT_EQ(run.code, 2);
        EXPECT_THAT(run.err, HasSubstr(row.error));
        EXPECT_EQ(machine.Read(kList), before.at(kList));
    }
    EXPECT_EQ(machine.Snapshot(), before);
}

TEST(Ignore, HoldsOnVolumesAndPrefixesForBothViewsAndUsers) {
    for (const auto form : {SmallVolume::Form::Hives, SmallVolume::Form::Wine}) {
        const SmallVolume volume(form);
        const auto before = RunOn(volume, {"--json", "scan"}).Document();
        ASSERT_GT(before["bhos"].size(), 0U);
        const std::string clsid = before["bhos"][0]["clsid"];
        const CliRun added = RunOn(volume, {"ignore", "add", clsid});
        EXPECT_EQ(added.code, 0) << added.err;
        EXPECT_EQ(added.err, "");
        const auto scan = RunOn(volume, {"--json", "scan"}).Document();
        EXPECT_EQ(scan["ignored"].size(), 2U) << scan["ignored"];
        EXPECT_EQ(scan["bhos"].size(), before["bhos"].size() - 1);
        EXPECT_EQ(RunOn(volume, {"clean", "--yes"}).code, 0);
        EXPECT_EQ(RunOn(volume, {"scan"}).code, 0);
    }
    const HostFolder old;
    std::filesystem::remove(old.Path());
    const std::string make = "/usr/bin/python3 '" BKFD_SOURCE_DIR
                             "/tools/make_volume.py' '" BKFD_SOURCE_DIR
                             "/examples/machines/hijacked-98' '" +
                             old.Path() + "'";
    ASSERT_EQ(std::system(make.c_str()), 0);
    const auto found = RunOn(old, {"--json", "scan"}).Document();
    const auto registry = old.Read("WINDOWS/SYSTEM.DAT");
    const CliRun onOld = RunOn(old, {"ignore", "add", found["bhos"][0]["clsid"]});
    EXPECT_EQ(onOld.code, 0) << onOld.err << "only a file is written";
    EXPECT_GT(RunOn(old, {"--json", "scan"}).Document()["ignored"].size(), 0U);
    EXPECT_EQ(old.Read("WINDOWS/SYSTEM.DAT"), registry);
    const MachineCopy wide("clean-xp");
    AddParasiteOf32Bits(wide);
    wide.Edit([](auto& facts) { facts["architecture"] = "x64"; });
    EXPECT_EQ(RunOn(wide, {"ignore", "add", "{D0000000-0000-4000-8000-000000000001}"}).code, 0);
    const auto scan = RunOn(wide, {"--json", "scan"}).Document();
    ASSERT_EQ(scan["ignored"].size(), 2U);
    EXPECT_EQ(scan["ignored"][0]["path"], "C:\\WINDOWS\\SysWOW64\\view.dll");
    EXPECT_EQ(scan["ignored"][1]["view"], "32-bit");
}

// Each point at which a crash can end the writing leaves the old list or the new one.
TEST(Ignore, IsWrittenInOneStep) {
    const MachineCopy machine("clean-xp");
    const std::string other(64, 'b');
    RunOn(machine, {"ignore", "add", std::string(64, 'a')});
    const std::string before = machine.Read(kList);
    int point = 1;
    for (; EndsAt(point, [&] { RunOn(machine, {"ignore", "add", other}); }); ++point) {
        const std::string now = machine.Read(kList);
        const bool isNew = now.starts_with(before + other) && now.ends_with("\t\r\n");
        EXPECT_TRUE(now == before || isNew) << point;
        machine.Write(kList, before);
    }
    EXPECT_GT(point, 2);
    EXPECT_THAT(RunOn(machine, {"ignore", "list"}).out, HasSubstr("\n2  SHA-256 bbbb"));
}

}  // namespace
}  // namespace bkfd
