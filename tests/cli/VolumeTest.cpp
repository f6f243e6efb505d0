#include <gmock/gmock.h>

#include <set>

#include "cli/CliFixture.h"

namespace bkfd {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

/// A volume that Debian's Python has made of an example machine, with the hives of libhivex.
class Volume : public HostFolder {
  public:
    explicit Volume(const std::string& example) {
        std::filesystem::remove(Path());
        const std::string source = BKFD_SOURCE_DIR;
        const std::string command = "/usr/bin/python3 '" + source + "/tools/make_volume.py' '" +
                                    source + "/examples/machines/" + example + "' '" + Path() + "'";
        EXPECT_EQ(std::system(command.c_str()), 0);
    }
};

/// A second user with a copy of the first one's profile.
void AddUser(const Volume& volume, const std::string& name) {
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
        "path = 'C:/Documents and Settings/" +
        name +
        "'.replace('/', chr(92)) + chr(0)\n"
        "hive.node_set_value(key, {'key': 'ProfileImagePath', 't': 1, 'value': "
        "path.encode('utf-16-le')})\n"
        "hive.commit(None)\n";
    volume.Write("add_user.py", script);
    EXPECT_EQ(std::system(("/usr/bin/python3 '" + volume.Path("add_user.py") + "'").c_str()), 0);
    std::filesystem::remove(volume.Path("add_user.py"));
}

std::set<std::string> Paths(const nlohmann::json& files) {
    std::set<std::string> paths;
    for (const auto& file : files) {
        std::string path = file["path"];
        for (char& c : path) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        paths.insert(path);
    }
    return paths;
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
        // What starts with Windows but doesn't run would after the next start; a host's folder has
        // no alternate streams.
        {"hijacked-xp",
         "nt",
         "Kit",
         {R"(c:\windows\dormant.exe)"},
         {R"(c:\windows\hpstat.txt:hp.dll)"}},
        // Nothing in its registry starts two of them, and its code page can't name the third.
        {"hijacked-98",
         "9x",
         "Default",
         {R"(c:\windows\system\???.dll)"},
         {R"(c:\windows\dial32.exe)", R"(c:\windows\system\winprot.dll)",
          R"(c:\windows\system\жук.dll)"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.machine);
        const Volume volume(row.machine);
        const auto before = volume.Snapshot();
        const CliRun run = RunOn(volume, {"--json", "scan"});
        const auto document = run.Document();
        const auto image = RunOn(MachineCopy(row.machine), {"--json", "scan"}).Document();
        Files expected = Paths(image["files"]);
        for (const std::string& file : row.onlyImage) EXPECT_EQ(expected.erase(file), 1U) << file;
        expected.insert(row.onlyVolume.begin(), row.onlyVolume.end());
        EXPECT_EQ(Paths(document["files"]), expected);
        EXPECT_EQ(document["bhos"].size(), image["bhos"].size());
        EXPECT_EQ(document["settings"].size(), image["settings"].size());
        EXPECT_EQ(document["verdict"], image["verdict"]) << run.err;
        EXPECT_EQ(document["machine"]["kind"], "volume");
        EXPECT_EQ(document["machine"]["family"], row.family);
        EXPECT_EQ(document["machine"]["windows"], image["machine"]["windows"]);
        EXPECT_EQ(document["machine"]["users"], nlohmann::json::array({row.user}));
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
