#include <gmock/gmock.h>

#include "platform/RegistryValues.h"
#include "platform/RootNames.h"
#include "platform/ScratchImage.h"
#include "platform/files/HostFiles.h"
#include "platform/image/ImageJson.h"
#include "platform/model/RegistryTree.h"
#include "platform/overlay/OverlayMachine.h"
#include "testing/MachineDump.h"

namespace bkfd {
namespace {

ImageError ErrorOf(const ScratchImage& image) {
    auto loaded = LoadMachineImage(image.Path());
    const auto* error = std::get_if<ImageError>(&loaded);
    if (error != nullptr) return *error;
    ADD_FAILURE() << "loaded";
    return {};
}

TEST(MachineImage, SettingsThatAreWrongNameFileLineAndKey) {
    const struct {
        std::string json;  // a member alone stands on the second line of a whole object
        const char* key;
        const char* message;
        std::size_t line = 2;
    } rows[] = {
        {"{", "", "malformed", 1},
        {"{\n\"family\": \"nt\",\n}", "", "malformed", 3},
        {"[]", "", "object", 1},
        {"{}", "family", "missing", 0},
        {"{\n\"family\": \"95\"}", "family", "\"nt\" or \"9x\""},
        {"{\n\"family\": 1e999}", "", "number", 0},
        {R"("colour": 1)", "colour", "unknown"},
        {"\"files\": {\n\"C:\": {}, \"C:\": {}}", "C:", "twice", 3},
        {R"("processes": [{"id": 1, "path": ""}, {"id": 1}])", "processes",
         "must be a list of {id, path, modules, denied, self}"},
        {R"("processes": [{"id": 1, "path": "", "x": 1}])", "processes", "list"},
        {R"("processes": [{"id": 1, "path": ""}, {"id": 1, "path": ""}])", "processes",
         "no id or self twice: entry 2"},
        {R"("processes": [{"id": 1, "path": "", "self": true}, {"id": 2, "path": "", "self": true}])",
         "processes", "no id or self twice: entry 2"},
        {R"("version": [5])", "version", "[5,1]"},
        {R"("version": [5,-1])", "version", "[5,1]"},
        {R"("build": "x")", "build", "number"},
        {R"("servicePack": 2)", "servicePack", "text"},
        {R"("codePage": 4)", "codePage", "isn't known"},
        {R"("architecture": "x65")", "architecture", "must be"},
        {R"("environment": {"a": 1})", "environment", ": a"},
        {R"("programFolder": "here")", "programFolder", "folder"},
        {R"("now": "2026-02-30T00:00:00")", "now", "time"},
        {R"("uptimeMs": 4294967296)", "uptimeMs", "2^32"},
        {R"("files": {"a": {"locked": 1}})", "files", ": a"},
        {R"("denied": {"read": ["HKEY_NONE\\a"]})", "denied", "keys"},
        {R"("components": {"a": 1})", "components", ": a"},
        {R"("restart": "slow")", "restart", "denied"},
        {R"("now": "2026-11-16T09:39:04", "bootTime": "2026-11-16T09:39:04")", "bootTime",
         "beside"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.json);
        ScratchImage image;
        const bool isMember = row.json.starts_with('"');
        image.Write("machine.json",
                    isMember ? "{\"family\": \"nt\",\n" + row.json + "}" : row.json);
        const ImageError error = ErrorOf(image);
        EXPECT_EQ(error.file, image.Path("machine.json"));
        EXPECT_EQ(error.line, row.line);
        EXPECT_EQ(error.key, row.key);
        EXPECT_THAT(error.message, testing::HasSubstr(row.message));
    }
}

TEST(MachineImage, OtherFilesThatAreWrongAreNamed) {
    ScratchImage image;
    image.Write("registry/b.reg", "REGEDIT4\n\n[HKEY_LOCAL_MACHINE\\K]\n\"a\"=nonsense\n");
    EXPECT_EQ(ErrorOf(image).file, image.Path("registry/b.reg"));
    EXPECT_EQ(ErrorOf(image).line, 4u);
    image.Write("registry/b.reg", "REGEDIT4\n\n[HKEY_DYN_DATA\\K]\n\n[-HKEY_LOCAL_MACHIN\\K]\n");
    EXPECT_THAT(ErrorOf(image).Describe(),
                testing::EndsWith("b.reg:5: HKEY_LOCAL_MACHIN\\K: the key's root isn't known"));
    for (const int levels : {512, 513, 100'000}) {
        std::string key = "REGEDIT4\n\n[HKEY_LOCAL_MACHINE";
        for (int i = 0; i < levels; ++i) key += "\\k";
        image.Write("registry/b.reg", key + "]\n");
        if (levels <= 512) {
            EXPECT_NE(image.Load(), nullptr);
        } else {
            EXPECT_THAT(ErrorOf(image).Describe(), testing::HasSubstr("b.reg:3: the key lies"));
        }
    }

    std::filesystem::remove(image.Path("machine.json"));
    EXPECT_THAT(ErrorOf(image).Describe(), testing::EndsWith("machine.json: is missing"));
    std::filesystem::remove_all(image.Path());
    EXPECT_EQ(ErrorOf(image).file, image.Path());
}

TEST(MachineImage, WhatIsNoFileIsNotWaitedFor) {
    for (const char* name : {"machine.json", "registry/a.reg", "registry.journal"}) {
        SCOPED_TRACE(name);
        ScratchImage image;
        const std::string path = image.Path(name);
        std::filesystem::remove(path);
        std::filesystem::create_directories(image.Path("registry"));
        ASSERT_EQ(mkfifo(path.c_str(), 0644), 0);
        EXPECT_EQ(ErrorOf(image).Describe(), path + ": can't be read");
    }
}

TEST(MachineImage, TheBuildOfWindows9xMayRepeatTheVersion) {
    for (const char* build : {"2222", "67766446"}) {
        ScratchImage image;
        image.Write("machine.json", std::string(R"({"family": "9x", "build": )") + build + "}");
        const auto machine = image.Load();
        EXPECT_EQ(machine->System().GetVersionExW().value.build, 67'766'446);
        EXPECT_EQ(machine->System().GetVersion(), 0x8000'0A04u);
    }
}

TEST(MachineImage, OneProcessAtATimeUsesIt) {
    ScratchImage image;
    const auto first = image.Load();
    EXPECT_THAT(ErrorOf(image).message, testing::HasSubstr("in use"));
}

TEST(MachineImage, ReadingChangesNothing) {
    ScratchImage image;
    image.Write("registry/a.reg", "REGEDIT4\n\n; note\n[HKEY_LOCAL_MACHINE\\K]\n\"a\"=\"1\"\n");
    image.Write("drives/c/a.txt", "x");
    const auto before = image.Snapshot();
    {
        auto machine = image.Load();
        (void)Dump(*machine);
        (void)machine->RegistryKeys().RegDeleteValueW(HKLM, u"K", u"none");
        (void)machine->FileSystem().MoveFileW(u"C:\\none", u"C:\\a.txt");
    }
    EXPECT_EQ(image.Snapshot(), before);
}

TEST(MachineImage, AnOverlayLeavesItByteForByte) {
    ScratchImage image;
    image.Write("machine.json",
                R"({"family": "9x", "denied": {"write": ["HKEY_LOCAL_MACHINE\\Denied"]}})");
    for (const char* name : {"a.txt", "b.exe", "sub/c.txt"}) {
        image.Write(std::string("drives/c/") + name, name);
    }
    const auto before = image.Snapshot();
    auto machine = image.Load();
    const std::string dump = Dump(*machine);
    OverlayMachine overlay(*machine);
    Files& files = overlay.FileSystem();
    Registry& registry = overlay.RegistryKeys();
    EXPECT_EQ(Dump(overlay), dump);
    // Refusals are those of the machine below.
    EXPECT_EQ(registry.RegSetValueExW(HKLM, u"Denied\\Sub", u"", {}).code,
              SystemError::AccessDenied);
    EXPECT_EQ(files.MoveFileW(u"C:\\sub", u"C:\\renamed").code, 0u);
    EXPECT_EQ(files.SetFileAttributesW(u"C:\\renamed\\c.txt", 2).code, 0u);
    EXPECT_EQ(files.DeleteFileW(u"C:\\a.txt").code, 0u);
    EXPECT_EQ(files.CreateFileW(u"C:\\b.exe", FileMode::Append).value->WriteFile(Bytes{'!'}).code,
              0u);
    EXPECT_EQ(registry.RegSetValueExW(HKLM, u"New", u"v", MakeDwordValue(1)).code, 0u);
    EXPECT_EQ(overlay.Session().ExitWindowsEx(ExitFlag::Reboot, 0).code, 0u);
    EXPECT_EQ(Dump(overlay),
              "[HKEY_LOCAL_MACHINE\\New]\n  v = dword:00000001\n"
              "C:\\b.exe 6\nC:\\renamed\\c.txt 9 attributes 2\n");
    EXPECT_EQ(Dump(*machine), dump);
    machine.reset();
    EXPECT_EQ(image.Snapshot(), before);
}

TEST(MachineImage, LinksAreFollowedInsideAlone) {
    ScratchImage image;
    image.Write("drives/c/folder/a.txt", "inside");
    image.Write("outside/secret.txt", "outside");
    const std::string drive = image.Path("drives/c/");
    const std::pair<const char*, const char*> links[] = {{"folder", "in"},
                                                         {"../../outside", "out"},
                                                         {"/etc", "etc"},
                                                         {".", "self"},
                                                         {"loop2", "loop1"},
                                                         {"loop1", "loop2"},
                                                         {"..", "up"},
                                                         {"nothing", "broken"},
                                                         {"folder/a.txt", "file"},
                                                         {"/C/none/x", "junction"},
                                                         {"junction", "chain"},
                                                         {"../../none", "outNone"}};
    for (const auto& [target, name] : links) std::filesystem::create_symlink(target, drive + name);
    const auto machine = image.Load();
    const auto code = [&](TextView path) {
        return machine->FileSystem().GetFileAttributesW(path).code;
    };
    EXPECT_EQ(code(u"C:\\in\\A.TXT"), 0u);
    EXPECT_EQ(code(u"C:\\self\\self\\self\\folder\\a.txt"), 0u);
    EXPECT_EQ(code(u"C:\\file"), 0u);
    for (const TextView path : {u"C:\\loop1", u"C:\\broken"}) {
        EXPECT_EQ(code(path), SystemError::FileNotFound) << ToUtf8(path);
    }
    // There is something that can't be read.
    for (const TextView path : {u"C:\\out", u"C:\\etc", u"C:\\out\\secret.txt", u"C:\\junction",
                                u"C:\\chain", u"C:\\outNone\\x"}) {
        EXPECT_EQ(code(path), SystemError::CantResolveFilename) << ToUtf8(path);
    }
    EXPECT_EQ(code(u"C:\\..\\..\\..\\outside\\secret.txt"), SystemError::PathNotFound);
    // A link is moved itself, not what it leads to; and dumping ends.
    EXPECT_EQ(machine->FileSystem().MoveFileW(u"C:\\file", u"C:\\moved").code, 0u);
    EXPECT_TRUE(std::filesystem::is_symlink(drive + "moved"));
    EXPECT_THAT(DumpFiles(*machine), testing::HasSubstr("C:\\self folder\n"));
}

TEST(MachineImage, NothingIsWrittenThroughALinkThatLeadsOut) {
    const auto setValue = [](Machine& machine) {
        (void)machine.RegistryKeys().RegSetValueExW(HKLM, u"K", u"a", MakeDwordValue(1));
    };
    const auto makeFile = [](Machine& machine) {
        (void)machine.FileSystem().CreateDirectoryW(u"C:\\Program Files\\Brackenfold\\Backup");
    };
    const struct {
        const char* link;
        const char* target;
        void (*change)(Machine&);
    } rows[] = {{"registry.journal", "new", setValue},
                {"registry.journal", "empty", setValue},
                {"registry/a.reg.bkfd-new", "mine", setValue},
                {"registry/a.reg.bkfd-new", "new", setValue},
                {"drives/c", "folder", makeFile}};
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.link) + " to " + row.target);
        ScratchImage image;
        ScratchImage outside;
        outside.Write("mine", "mine");
        outside.Write("empty", "");
        outside.Write("folder/mine", "mine");
        const auto before = outside.Snapshot();
        image.Write("registry/a.reg", "REGEDIT4\n\n[HKEY_LOCAL_MACHINE\\K]\n");
        const std::string link = image.Path(row.link);
        std::filesystem::remove(link);
        std::filesystem::create_symlink(outside.Path(row.target), link);
        row.change(*image.Load());
        EXPECT_EQ(outside.Snapshot(), before);
        EXPECT_FALSE(std::filesystem::exists(outside.Path() + "/folder/Program Files"));
    }
}

TEST(MachineImage, WhatTheMachineDoesNotSeeIsNotReplaced) {
    ScratchImage image;
    image.Write("drives/c/a.txt", "a");
    const std::string drive = image.Path("drives/c/");
    ASSERT_EQ(mkfifo((drive + "pipe").c_str(), 0644), 0);
    std::filesystem::create_symlink("nothing", drive + "broken");
    image.Write("drives/c/OTHER.txt", "first");
    image.Write("drives/c/other.txt", "hidden behind the first");
    const auto machine = image.Load();
    Files& files = machine->FileSystem();
    EXPECT_EQ(files.MoveFileW(u"C:\\a.txt", u"C:\\pipe").code, SystemError::AccessDenied);
    EXPECT_EQ(files.MoveFileW(u"C:\\a.txt", u"C:\\broken").code, SystemError::AccessDenied);
    EXPECT_EQ(files.MoveFileW(u"C:\\OTHER.txt", u"C:\\other.txt").code, SystemError::AccessDenied);
    EXPECT_TRUE(std::filesystem::is_fifo(drive + "pipe"));
    EXPECT_TRUE(std::filesystem::is_symlink(drive + "broken"));
    EXPECT_EQ(image.Read("drives/c/other.txt"), "hidden behind the first");
    EXPECT_EQ(image.Read("drives/c/a.txt"), "a");
}

TEST(MachineImage, WhatIsReplacedKeepsItsMode) {
    ScratchImage image;
    image.Write("registry/a.reg", "REGEDIT4\n\n[HKEY_LOCAL_MACHINE\\K]\n");
    const std::string file = image.Path("registry/a.reg");
    std::filesystem::permissions(file, std::filesystem::perms{0600});
    (void)image.Load()->RegistryKeys().RegSetValueExW(HKLM, u"K", u"a", MakeDwordValue(1));
    EXPECT_THAT(image.Read("registry/a.reg"), testing::HasSubstr("\"a\"=dword"));
    EXPECT_EQ(std::filesystem::status(file).permissions(), std::filesystem::perms{0600});
}

TEST(MachineImage, NamesOfTheHostAreFoundAndKept) {
    const Text bad = Text(u"C:\\bad") + char16_t{0xDCFF} + u".txt";
    ScratchImage image;
    image.Write("drives/c/Upper/FILE.Txt", "1");
    image.Write("drives/c/\xC3\x84.txt", "2");          // an umlaut
    image.Write("drives/c/\xED\xA0\x80lone.txt", "3");  // a lone surrogate
    image.Write("drives/c/bad\xFF.txt", "4");           // no UTF-8
    image.Write("drives/d/b.txt", "5");
    {
        const auto machine = image.Load();
        Files& files = machine->FileSystem();
        EXPECT_EQ(files.GetFileAttributesW(u"c:\\UPPER\\file.TXT").code, 0u);
        EXPECT_EQ(files.GetFileAttributesW(u"C:\\\u00E4.TXT").code, 0u);
        EXPECT_EQ(files.GetFileAttributesW(bad).code, 0u);
        EXPECT_EQ(files.GetFileAttributesW(u"D:\\B.TXT").code, 0u);
        EXPECT_EQ(files.SetFileAttributesW(u"C:\\\xD800LONE.txt", 2).code, 0u);
        EXPECT_EQ(files.MoveFileW(bad, bad + u".parasite").code, 0u);
        EXPECT_TRUE(image.Has("drives/c/bad\xFF.txt.parasite"));
        EXPECT_EQ(files.MoveFileW(bad + u".parasite", u"C:\\good.txt").code, 0u);
        EXPECT_NE(files.MoveFileW(u"C:\\good.txt", Text(u"C:\\") + Text(200, u'\u20AC')).code, 0u);
        EXPECT_EQ(files.GetFileAttributesW(Text(u"\\\\?\\C:\\") + Text(32'764, u'x')).code,
                  SystemError::FileNotFound);
        EXPECT_EQ(files.GetFileAttributesW(Text(u"C:\\") + Text(32'764, u'x')).code,
                  SystemError::PathNotFound);
    }
    EXPECT_TRUE(image.Has("drives/c/good.txt"));
    const auto machine = image.Load();
    EXPECT_EQ(machine->FileSystem().GetFileAttributesW(u"C:\\\xD800lone.txt").value, 2u);
}

TEST(MachineImage, NamesOfTheHostAreTextsAndBack) {
    const struct {
        const char* label;
        std::string name;
        Text text;
    } rows[] = {
        {"nothing", "", u""},
        {"characters of each length", "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80",
         u"a\u00E4\u20AC\U0001F600"},
        {"half a pair like a byte's", "\xF0\x9F\x92\x80", u"\U0001F480"},
        {"a replacement character", "\xEF\xBF\xBD", u"\uFFFD"},
        {"lone surrogates", "\xED\xA0\x80x\xED\xBF\xBF", Text{0xD800, u'x', 0xDFFF}},
        {"bytes of a code page", "caf\xE9.exe", Text(u"caf") + char16_t{0xDCE9} + u".exe"},
        {"a character that was cut", "\xE2\x82", Text{0xDCE2, 0xDC82}},
        {"what stands for a byte", "\xED\xB2\x80x", Text{0xDCED, 0xDCB2, 0xDC80, u'x'}},
        {"too long a form", "\xC0\xAF", Text{0xDCC0, 0xDCAF}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        EXPECT_EQ(FromHostName(row.name), row.text);
        EXPECT_EQ(ToHostName(row.text), row.name);
    }
}

TEST(MachineImage, TextsOfAnyKindComeBackFromJson) {
    using namespace std::string_view_literals;
    for (const TextView text :
         {u""sv, u"plain"sv, u"a\0b"sv, u"\xD800"sv, u"x\xDFFFy"sv, u"\U0001F600"sv,
          u"\U0010F800"sv, u"\U0010FFFF"sv, u"\xDC00\xD800"sv}) {
        const std::string dumped = ImageJson(ToImageJson(Text(text))).dump();
        EXPECT_EQ(FromImageJson(ImageJson::parse(dumped).get<std::string>()), text);
    }
}

TEST(MachineImage, TheClockOfTheHostGivesOneBootTimeUntilARestart) {
    const auto boot = [](ImageMachine& machine) {
        return machine.System().GetLocalTime() - machine.System().GetTickCount() / 86'400'000.0;
    };
    constexpr double kTwoMinutes = 2.0 / 1440;
    ScratchImage image;
    image.Write("machine.json", R"({"family": "9x"})");
    const double first = boot(*image.Load());
    EXPECT_NEAR(boot(*image.Load()), first, kTwoMinutes / 4);
    EXPECT_EQ(image.Load()->Session().ExitWindowsEx(ExitFlag::Reboot, 0).code, 0u);
    const double second = boot(*image.Load());
    EXPECT_GE(std::abs(second - first), kTwoMinutes);
    EXPECT_EQ(image.Load()->Session().ExitWindowsEx(ExitFlag::Reboot, 0).code, 0u);
    EXPECT_GE(std::abs(boot(*image.Load()) - second), kTwoMinutes);
}

}  // namespace
}  // namespace bkfd
