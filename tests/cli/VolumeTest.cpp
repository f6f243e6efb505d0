#include <gmock/gmock.h>

#include <map>
#include <set>

#include "cli/CliFixture.h"

namespace bkfd {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;

/// A volume that Debian's Python has made of an example machine, with the hives of libhivex.
class Volume : public HostFolder {
  public:
    /// By the example's name, or the path of another image.
    explicit Volume(const std::string& example) {
        std::filesystem::remove(Path());
        const std::filesystem::path examples = BKFD_SOURCE_DIR "/examples/machines";
        const std::string command = "/usr/bin/python3 '" BKFD_SOURCE_DIR
                                    "/tools/make_volume.py' '" +
                                    (examples / example).string() + "' '" + Path() + "'";
        EXPECT_EQ(std::system(command.c_str()), 0);
    }
};

/// A second user with a copy of the first one's profile, and a parasite of her own.
void AddUser(const Volume& volume, const std::string& name,
             const std::string& above = "C:/Documents and Settings/") {
    const std::string profiles = volume.Path("Documents and Settings/");
    std::filesystem::copy(profiles + "Kit", profiles + name,
                          std::filesystem::copy_options::recursive);
    const std::string script =
        "import hivex\n"
        "hive = hivex.Hivex('" +
        volume.Path("WINDOWS/system32/config/SOFTWARE") +
        "', write=True)\n"
        "key = hive.root()\n"
        "for name in ('Microsoft', 'Windows NT', 'CurrentVersion', 'ProfileList'):\n"
        "    key = hive.node_get_child(key, name)\n"
        "key = hive.node_add_child(key, 'S-1-5-21-9-9-9-1001')\n"
        "path = '" +
        above + name +
        "'.replace('/', chr(92)) + chr(0)\n"
        "hive.node_set_value(key, {'key': 'ProfileImagePath', 't': 1, 'value': "
        "path.encode('utf-16-le')})\n"
        "hive.commit(None)\n"
        "hive = hivex.Hivex('" +
        volume.Path("Documents and Settings/" + name + "/NTUSER.DAT") +
        "', write=True)\n"
        "key = hive.root()\n"
        "for name in ('Software', 'Microsoft', 'Windows', 'CurrentVersion', 'Run'):\n"
        "    key = hive.node_get_child(key, name)\n"
        "hive.node_set_value(key, {'key': 'Own', 't': 2, 'value': "
        "('%USERPROFILE%' + chr(92) + 'own.exe' + chr(0)).encode('utf-16-le')})\n"
        "hive.commit(None)\n";
    volume.Write("Documents and Settings/" + name + "/own.exe", "MZ of no company");
    volume.Write("add_user.py", script);
    EXPECT_EQ(std::system(("/usr/bin/python3 '" + volume.Path("add_user.py") + "'").c_str()), 0);
    std::filesystem::remove(volume.Path("add_user.py"));
}

std::string LowerCase(std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

/// Path and reasons of each file.
std::set<std::string> Findings(const nlohmann::json& document) {
    std::set<std::string> findings;
    for (const auto& file : document["files"]) {
        findings.insert(LowerCase(file["path"]) + ' ' + file["reasons"].dump());
    }
    return findings;
}

/// Each file that runs or is loaded is one that some place starts.
void ExpectPlaceOfEach(const nlohmann::json& document) {
    for (const auto& file : document["files"]) {
        bool isActive = false;
        bool isStarted = false;
        for (const auto& place : file["places"]) {
            const bool isSeen = place["kind"] == "process" || place["kind"] == "module";
            isActive = isActive || isSeen;
            isStarted = isStarted || !isSeen;
        }
        EXPECT_TRUE(!isActive || isStarted) << file.dump();
    }
}

/// Some members of the items of a list, without whose they are.
std::set<std::string> Entries(const nlohmann::json& list, const std::set<std::string>& members) {
    std::set<std::string> entries;
    for (const auto& item : list) {
        nlohmann::json kept;
        for (const std::string& member : members) kept[member] = item[member];
        entries.insert(LowerCase(kept.dump()));
    }
    return entries;
}

TEST(Volume, SaysTheSameAsItsImage) {
    using Files = std::set<std::string>;
    const struct {
        const char* machine;
        const char* family;
        const char* user;
        Files onlyVolume;
        Files onlyImage;
    } rows[] = {
        {"clean-xp", "nt", "Kit", {}, {}},
        // What starts with Windows but doesn't run would after the next start.
        {"hijacked-xp", "nt", "Kit", {R"(c:\windows\dormant.exe ["startup-nonamer"])"}, {}},
        // The code page of its registry can't name one file.
        {"hijacked-98",
         "9x",
         "Default",
         {R"(c:\windows\system\???.dll ["helper-object"])"},
         {R"(c:\windows\system\жук.dll ["helper-object"])"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.machine);
        const Volume volume(row.machine);
        const MachineCopy copy(row.machine);
        const auto before = volume.Snapshot();
        const CliRun run = RunOn(volume, {"--json", "scan"});
        const auto document = run.Document();
        const auto image = RunOn(copy, {"--json", "scan"}).Document();
        Files expected = Findings(image);
        for (const std::string& file : row.onlyImage) EXPECT_EQ(expected.erase(file), 1U) << file;
        expected.insert(row.onlyVolume.begin(), row.onlyVolume.end());
        EXPECT_EQ(Findings(document), expected);
        ExpectPlaceOfEach(document);
        EXPECT_EQ(Entries(document["bhos"], {"clsid"}), Entries(image["bhos"], {"clsid"}));
        const Files settings = {"number", "key", "valueName", "value", "status"};
        EXPECT_EQ(Entries(document["settings"], settings), Entries(image["settings"], settings));
        EXPECT_EQ(document["verdict"], image["verdict"]) << run.err;
        EXPECT_EQ(document["machine"]["kind"], "volume");
        EXPECT_EQ(document["machine"]["family"], row.family);
        EXPECT_EQ(document["machine"]["windows"], image["machine"]["windows"]);
        EXPECT_EQ(document["machine"]["users"], nlohmann::json::array({row.user}));
        for (const char* command : {"bhos", "startup"}) {
            const auto items = [&](const HostFolder& machine) {
                return RunOn(machine, {"--json", command}).Document()["items"].size();
            };
            EXPECT_EQ(items(volume), items(copy)) << command;
        }
        EXPECT_EQ(volume.Snapshot(), before) << "a scan writes nothing";
    }
}

TEST(Volume, IsCleanedForAllUsersAndComesBackByteForByte) {
    const Volume volume("hijacked-xp");
    AddUser(volume, "Ann");
    const auto before = volume.Snapshot();
    const CliRun cleaned = RunOn(volume, {"--json", "clean", "--yes"});
    EXPECT_EQ(cleaned.code, 0) << cleaned.err;
    const auto document = cleaned.Document();
    EXPECT_EQ(document["machine"]["users"], nlohmann::json::array({"Kit", "Ann"}));
    EXPECT_THAT(document["failed"], IsEmpty());
    EXPECT_THAT(document["endedProcesses"], IsEmpty());
    EXPECT_THAT(document["changes"].dump(), HasSubstr(R"(HKEY_USERS\\S-1-5-21-9-9-9-1001\\)"));
    EXPECT_THAT(document["removedFiles"].dump(), HasSubstr("own.exe"));
    EXPECT_EQ(RunOn(volume, {"scan"}).code, 0);
    const CliRun undone = RunOn(volume, {"undo", "last", "--yes"});
    EXPECT_EQ(undone.code, 0) << undone.out << undone.err;
    const auto after = volume.Snapshot();
    for (const auto& [file, content] : after) {
        const auto old = before.find(file);
        if (old == before.end()) {
            EXPECT_EQ(file.find("Program Files/Brackenfold/"), 0U) << file;
        } else {
            EXPECT_TRUE(old->second == content) << file;
        }
    }
}

TEST(Volume, EveryCommandMeansAllUsersOrTheOneThatIsNamed) {
    const Volume volume("hijacked-xp");
    AddUser(volume, "Ann");
    EXPECT_EQ(RunOn(volume, {"--json", "backup"}).Document()["files"].size(), 2U);
    const CliRun report = RunOn(volume, {"report", "--show"});
    EXPECT_EQ(report.code, 2);
    EXPECT_THAT(report.err, HasSubstr("a report is for one user: --user NAME says for which"));
    EXPECT_EQ(RunOn(volume, {"--user", "Ann", "report", "--show"}).code, 0);

    const Strings restore = {"--json", "restore"};
    const char* file = R"(C:\WINDOWS\dormant.exe)";
    const auto before = volume.Snapshot();
    EXPECT_EQ(RunOn(volume, {"--user", "Ann", "disable", "--yes", file}).code, 0);
    EXPECT_EQ(RunOn(volume, restore).Document()["items"].size(), 1U) << "it is in Ann's list";
    EXPECT_EQ(RunOn(volume, {"restore", "--yes", file}).code, 0);
    EXPECT_THAT(RunOn(volume, restore).Document()["items"], IsEmpty());
    const auto undo = [&] {
        const CliRun undone = RunOn(volume, {"undo", "last", "--yes"});
        EXPECT_EQ(undone.code, 0) << undone.out << undone.err;
    };
    undo();
    undo();
    const CliRun disabled = RunOn(volume, {"--json", "disable", "--yes", file});
    EXPECT_EQ(disabled.code, 0) << disabled.err;
    EXPECT_THAT(disabled.Document()["changes"].dump(),
                AllOf(HasSubstr("S-1-5-21-1123561945-839522115-1801674531-1003"),
                      HasSubstr("S-1-5-21-9-9-9-1001")));
    undo();
    const auto after = volume.Snapshot();
    for (const auto& [path, content] : before) {
        if (path.find("Brackenfold") != std::string::npos) continue;
        EXPECT_TRUE(after.at(path) == content) << path;
    }
}

TEST(Volume, AUserOnAnotherDriveIsLookedAtAndNotChanged) {
    const Volume volume("clean-xp");
    const HostFolder drive;
    AddUser(volume, "Bo", "D:/");
    std::filesystem::rename(volume.Path("Documents and Settings/Bo"), drive.Path("BO"));
    const std::string letter = "d=" + drive.Path();
    const auto document = RunOn(volume, {"--drive", letter, "--json", "scan"}).Document();
    EXPECT_THAT(Findings(document), testing::ElementsAre(R"(d:\bo\own.exe ["startup-nonamer"])"));
    const auto before = volume.Snapshot();
    const CliRun refused = RunOn(volume, {"--drive", letter, "clean", "--yes"});
    EXPECT_EQ(refused.code, 2);
    EXPECT_THAT(refused.err, HasSubstr("the registry of Bo lies outside of"));
    EXPECT_EQ(volume.Snapshot(), before);
    EXPECT_EQ(RunOn(volume, {"--drive", letter, "--user", "Kit", "clean", "--yes"}).code, 0);
}

TEST(Volume, TellsWhenKeysOfFindingsWereWritten) {
    const auto times = RunOn(Volume("hijacked-xp"), {"scan", "--record", "--times"}).Document();
    std::map<std::string, std::set<std::string>> found;
    for (const auto& key : times["times"]["keys"]) {
        const std::string hive = key["path"].get<std::string>().substr(0, 5);
        found[hive + key["user"].dump()].insert(key["modified"]);
    }
    const std::map<std::string, std::set<std::string>> expected = {
        {"HKLM\\null", {"2004-05-06T07:08:09Z"}}, {"HKCU\\\"Kit\"", {"2004-05-07T07:08:09Z"}}};
    EXPECT_EQ(found, expected);
    const std::string keys = times["times"]["keys"].dump();
    for (const char* part :
         {"CurrentVersion\\\\Run\"", "Browser Helper Objects\\\\{1A64F7B0", "Main\""}) {
        EXPECT_THAT(keys, HasSubstr(part));
    }
}

TEST(Volume, Of95HasTheUsersOfItsProfiles) {
    const MachineCopy image("hijacked-98");
    const std::string list =
        R"([HKEY_LOCAL_MACHINE\Software\Microsoft\Windows\CurrentVersion\ProfileList\)";
    std::string text = "REGEDIT4\r\n";
    for (const std::string name : {"Ann", "Bo"}) {
        text += "\r\n" + list + name + R"(]
"ProfileImagePath"="C:\\WINDOWS\\Profiles\\)" +
                name + "\"\r\n";
    }
    image.Write("registry/3-users.reg", text);
    const Volume volume(image.Path());
    std::filesystem::create_directories(volume.Path("WINDOWS/profiles/ANN"));
    std::filesystem::copy(volume.Path("WINDOWS/USER.DAT"),
                          volume.Path("WINDOWS/profiles/ANN/user.dat"));
    const CliRun run = RunOn(volume, {"--json", "scan"});
    const auto document = run.Document();
    EXPECT_EQ(document["machine"]["users"], nlohmann::json::array({"Default", "Ann"}));
    EXPECT_THAT(document["unreadable"].dump(), HasSubstr(R"(Profiles\\Bo\\USER.DAT)"));
    EXPECT_THAT(document["files"].dump(), HasSubstr(R"("user":"Ann")"));
    EXPECT_EQ(RunOn(volume, {"clean", "--plan", image.Path("plan")}).code, 2);
    const CliRun planned = RunOn(volume, {"--user", "ann", "clean", "--plan", image.Path("plan")});
    EXPECT_THAT(image.Snapshot()["plan/fix.bat"], HasSubstr("SYSMON32")) << planned.err;
}

TEST(Volume, Of64BitsHasThePartFor32BitPrograms) {
    const MachineCopy image("clean-xp");
    image.Edit([](auto& facts) { facts["architecture"] = "x64"; });
    image.Write("registry/90-views.reg", R"(REGEDIT4

[HKEY_LOCAL_MACHINE\Software\Wow6432Node\Microsoft\Windows\CurrentVersion\Run]
"Own"="C:\\WINDOWS\\system32\\run32.exe"

[HKEY_LOCAL_MACHINE\Software\Wow6432Node\Microsoft\Windows\CurrentVersion\Explorer\Browser Helper Objects\{0F7E52D8-C3B1-4A96-8E24-D90B6A1C7F32}]

[HKEY_LOCAL_MACHINE\Software\Classes\Wow6432Node\CLSID\{0F7E52D8-C3B1-4A96-8E24-D90B6A1C7F32}\InProcServer32]
@="C:\\WINDOWS\\system32\\help32.dll"
)");
    for (const char* file : {"run32.exe", "help32.dll"}) {
        image.Write(std::string("drives/c/WINDOWS/SysWOW64/") + file, "MZ of no company");
    }
    const Volume volume(image.Path());
    const auto before = volume.Snapshot();
    const auto document = RunOn(volume, {"--json", "scan"}).Document();
    EXPECT_THAT(
        Findings(document),
        testing::ElementsAre(R"(c:\windows\syswow64\help32.dll ["helper-object"])",
                             R"(c:\windows\syswow64\run32.exe ["startup-nonamer","process"])"));
    for (const auto& file : document["files"]) {
        EXPECT_THAT(file["places"].dump(), HasSubstr(R"("view":"32-bit")")) << file;
    }
    const CliRun cleaned = RunOn(volume, {"clean", "--yes"});
    EXPECT_EQ(cleaned.code, 0) << cleaned.out << cleaned.err;
    EXPECT_EQ(RunOn(volume, {"scan"}).code, 0);
    EXPECT_EQ(RunOn(volume, {"undo", "last", "--yes"}).code, 0);
    const auto after = volume.Snapshot();
    for (const auto& [path, content] : before) EXPECT_TRUE(after.at(path) == content) << path;
    EXPECT_EQ(RunOn(volume, {"scan"}).code, 1);
}

TEST(Volume, WhatCantBeUsedIsOneErrorAndNothingChanges) {
    const struct {
        const char* what;
        std::function<void(const Volume&)> prepare;
        Strings arguments;
        const char* error;
    } rows[] = {
        {"no such user", [](const Volume&) {}, {"--user", "Nobody", "scan"}, "has no user Nobody"},
        {"hibernated",
         [](const Volume& volume) { volume.Write("hiberfil.sys", "HIBR"); },
         {"clean", "--yes"},
         "Windows is hibernated"},
        {"no SYSTEM",
         [](const Volume& volume) {
             std::filesystem::remove(volume.Path("WINDOWS/system32/config/SYSTEM"));
         },
         {"scan"},
         "lacks System32/config/SYSTEM"},
        {"no hive",
         [](const Volume& volume) { volume.Write("WINDOWS/system32/config/SOFTWARE", "x"); },
         {"scan"},
         "config/SOFTWARE"},
        {"bad drive", [](const Volume&) {}, {"--drive", "DD=/tmp", "scan"}, "--drive takes"},
    };
    for (const auto& row : rows) {
        const Volume volume("clean-xp");
        row.prepare(volume);
        const auto before = volume.Snapshot();
        const CliRun run = RunOn(volume, row.arguments);
        EXPECT_EQ(run.code, 2) << row.what;
        EXPECT_THAT(run.err, HasSubstr(row.error)) << row.what;
        EXPECT_EQ(volume.Snapshot(), before) << row.what;
    }
}

TEST(Volume, AUserWhoseRegistryIsMissingIsNamedAndNotCalledClean) {
    const Volume volume("clean-xp");
    std::filesystem::remove(volume.Path("Documents and Settings/Kit/NTUSER.DAT"));
    const CliRun run = RunOn(volume, {"--json", "scan"});
    EXPECT_EQ(run.code, 3) << run.err;
    EXPECT_THAT(run.Document()["unreadable"].dump(), HasSubstr("NTUSER.DAT"));
}

}  // namespace
}  // namespace bkfd
