#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "base/RuntimeError.h"
#include "common/EngineBench.h"
#include "support/zip/LineEnds.h"
#include "support/zip/cZip.h"

namespace bkfd {
namespace {

/// Runs a command over the machine's archive, copied to the host as "%"; what it prints, and its
/// failure as a last line.
std::string Inspect(const MemoryMachine& machine, std::string command) {
    std::string folder = std::filesystem::temp_directory_path() / "archive-test-XXXXXX";
    if (mkdtemp(folder.data()) == nullptr) return "no temporary folder";
    const std::string file = folder + "/a.zip";
    const Bytes archive = machine.FileContent(u"C:\\out\\a.zip");
    std::ofstream(file, std::ios::binary)
        .write(reinterpret_cast<const char*>(archive.data()),
               static_cast<std::streamsize>(archive.size()));
    for (std::size_t at; (at = command.find('%')) != std::string::npos;) {
        command.replace(at, 1, file);
    }
    std::string output;
    FILE* pipe = popen(("export LC_ALL=C.UTF-8; (" + command + ") 2>&1").c_str(), "r");
    for (int c; (c = fgetc(pipe)) != EOF;) output += static_cast<char>(c);
    if (pclose(pipe) != 0) output += "FAILED\n";
    std::filesystem::remove_all(folder);
    return output;
}

/// An archive of a.txt, b.txt and c.txt, each holding its letter, made as the command says.
Bytes MadeByZip(std::string command) {
    std::string folder = std::filesystem::temp_directory_path() / "archive-test-XXXXXX";
    if (mkdtemp(folder.data()) == nullptr) return {};
    const std::string archive = folder + "/made.zip";
    for (std::size_t at; (at = command.find('%')) != std::string::npos;) {
        command.replace(at, 1, archive);
    }
    command = "cd " + folder + " && for f in a b c; do printf $f >$f.txt; touch -d 2001-01-01 " +
              "$f.txt; done && (" + command + ") >/dev/null";
    EXPECT_EQ(std::system(command.c_str()), 0) << command;
    std::ifstream file(archive, std::ios::binary);
    Bytes bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    std::filesystem::remove_all(folder);
    return bytes;
}

std::string Names(const MemoryMachine& machine) {
    const std::string tested =
        Inspect(machine, "unzip -P s3cret -tq % >/dev/null && 7z t -bd -ps3cret % >/dev/null");
    return tested + Inspect(machine,
                            "python3 -c 'import sys, zipfile; "
                            "print(*zipfile.ZipFile(sys.argv[1]).namelist(), sep=\"\\n\")' %");
}

/// A folder with something of every kind.
void AddFiles(MemoryMachine& machine) {
    machine.AddFolder(u"C:\\out");
    machine.AddFile(u"C:\\in\\a.txt", "alpha\r\nbeta\n");
    machine.AddFile(u"C:\\in\\empty.dat", "");
    machine.AddFile(u"C:\\in\\hidden.txt", "h", FileAttribute::Hidden);
    machine.AddFile(u"C:\\in\\sub\\b.txt", "two");
    machine.AddFile(u"C:\\in\\sub\\deep\\c.txt", "three");
    machine.AddFile(u"C:\\in\\sub\\\u043F.txt", "four");
}

struct Options {
    const char* label;
    std::vector<const char16_t*> specs;
    void (*set)(cZip&);
    const char* names;
};

TEST(Archive, OptionsDecideWhatGoesInUnderWhichName) {
    const Options rows[] = {
        {"defaults", {u"C:\\in\\a.txt", u"C:\\in\\empty.dat"}, [](cZip&) {}, "a.txt\nempty.dat\n"},
        {"wildcards", {u"C:\\in\\*.txt"}, [](cZip&) {}, "a.txt\n"},
        {"twice the same", {u"C:\\in\\a.txt", u"c:\\IN\\A.*"}, [](cZip&) {}, "a.txt\n"},
        {"hidden",
         {u"C:\\in\\*"},
         [](cZip& zip) { zip.SetIncludeSystemAndHiddenFiles(true); },
         "a.txt\nempty.dat\nhidden.txt\n"},
        {"folder names",
         {u"C:\\in\\sub\\b.txt"},
         [](cZip& zip) { zip.SetStoreFolderNames(true); },
         "in/sub/b.txt\n"},
        {"recursion with folders",
         {u"C:\\in\\*.txt"},
         [](cZip& zip) {
             zip.SetRecurseSubDirs(true);
             zip.SetStoreFolderNames(true);
         },
         "in/a.txt\nin/sub/b.txt\nin/sub/deep/c.txt\nin/sub/\xD0\xBF.txt\n"},
        {"a folder whole, with its entries",
         {u"C:\\in\\sub"},
         [](cZip& zip) {
             zip.SetRecurseSubDirs(true);
             zip.SetStoreFolderNames(true);
             zip.SetStoreDirectories(true);
         },
         "in/sub/\nin/sub/b.txt\nin/sub/deep/\nin/sub/deep/c.txt\nin/sub/\xD0\xBF.txt\n"},
        {"base folder",
         {u"b.txt"},
         [](cZip& zip) {
             zip.SetBasePath(u" C:\\in\\sub ");
             zip.SetStoreFolderNames(true);
         },
         "b.txt\n"},
        {"volume label",
         {u"C:\\in\\a.txt"},
         [](cZip& zip) { zip.SetStoreVolumeLabel(true); },
         "a.txt\nSYSTEM\n"},
    };
    for (const Options& row : rows) {
        EngineBench bench;
        AddFiles(bench.machine);
        bench.machine.Facts().volumeLabel = u"SYSTEM";
        cZip zip;
        zip.SetZipFile(u"C:\\out\\a.zip");
        row.set(zip);
        for (const char16_t* spec : row.specs) zip.AddFileSpec(spec);
        zip.Zip();
        EXPECT_EQ(Names(bench.machine), row.names) << row.label;
        EXPECT_EQ(bench.machine.DumpFiles().find(".tmp"), std::string::npos) << row.label;
    }
}

TEST(Archive, UpdatesFreshensAppendsAndDeletes) {
    EngineBench bench;
    AddFiles(bench.machine);
    cZip zip;
    zip.SetZipFile(u"C:\\out\\a.zip");
    zip.AddFileSpec(u"C:\\in\\a.txt");
    zip.AddFileSpec(u"C:\\in\\sub\\b.txt");
    zip.Zip();

    bench.machine.AddFile(u"C:\\in\\a.txt", "not newer");
    zip.SetFreshenFiles(true);  // sets the option of UpdateOnlyIfNewer
    zip.AddFileSpec(u"C:\\in\\sub\\deep\\c.txt");
    zip.Zip();
    EXPECT_EQ(Names(bench.machine), "a.txt\nb.txt\nc.txt\n");
    EXPECT_EQ(Inspect(bench.machine, "unzip -p % a.txt"), "alpha\r\nbeta\n");

    bench.machine.AdvanceClock(60'000);
    bench.machine.AddFile(u"C:\\in\\a.txt", "newer");
    zip.Zip();
    EXPECT_EQ(Inspect(bench.machine, "unzip -p % a.txt"), "newer");
    EXPECT_EQ(Names(bench.machine), "a.txt\nb.txt\nc.txt\n");

    zip.SetUpdateOnlyIfNewer(false);
    zip.SetAllowAppend(true);
    zip.ClearFileSpecs();
    zip.AddFileSpec(u"C:\\in\\a.txt");
    zip.Zip();
    EXPECT_EQ(Names(bench.machine), "b.txt\nc.txt\na.txt\n");

    zip.ClearFileSpecs();
    zip.AddFileSpec(u"B.*");
    zip.Delete();
    EXPECT_EQ(Names(bench.machine), "c.txt\na.txt\n");
}

TEST(Archive, LeavesItselfOut) {
    EngineBench bench;
    bench.machine.AddFile(u"C:\\out\\b.txt", "two");
    cZip zip;
    zip.SetZipFile(u"C:\\out\\a.zip");
    zip.AddFileSpec(u"c:\\OUT\\*");
    zip.Zip();
    zip.Zip();
    EXPECT_EQ(Names(bench.machine), "b.txt\n");
}

TEST(Archive, TakesArchivesOfZip) {
    // One with a comment, a stored and an encrypted entry, and one written to a pipe, whose sizes
    // stand behind the data.
    const char* const makings[] = {
        "zip -q0 % a.txt && zip -q % b.txt && zip -qP s3cret % c.txt && echo note | zip -qz %",
        "zip -q -fz- - a.txt b.txt | cat >% && zip -qP s3cret % c.txt && echo note | zip -qz %",
        "zip -q -fz- - a.txt b.txt c.txt | cat >%",
    };
    for (const char* making : makings) {
        EngineBench bench;
        AddFiles(bench.machine);
        bench.machine.AddFile(u"C:\\out\\a.zip", MadeByZip(making));
        cZip zip;
        zip.SetZipFile(u"C:\\out\\a.zip");
        zip.SetAllowAppend(true);
        zip.AddFileSpec(u"C:\\in\\empty.dat");
        zip.Zip();
        EXPECT_EQ(Names(bench.machine), "a.txt\nb.txt\nc.txt\nempty.dat\n") << making;

        bench.machine.AddFile(u"C:\\in\\a.txt", "newer");  // than those that zip packed
        zip.SetAllowAppend(false);
        zip.SetFreshenFiles(true);
        zip.ClearFileSpecs();
        zip.AddFileSpec(u"C:\\in\\a.txt");
        zip.Zip();
        EXPECT_EQ(Inspect(bench.machine, "unzip -p % a.txt"), "newer") << making;

        zip.ClearFileSpecs();
        zip.AddFileSpec(u"b.txt");
        zip.Delete();
        EXPECT_EQ(Names(bench.machine), "a.txt\nc.txt\nempty.dat\n") << making;
        EXPECT_EQ(Inspect(bench.machine, "unzip -P s3cret -p % c.txt"), "c") << making;
    }
}

TEST(Archive, FailuresLeaveTheOldArchiveAndNothingBeside) {
    const struct {
        const char* label;
        void (*spoil)(MemoryMachine&);
    } rows[] = {
        {"a file can't be read",
         [](MemoryMachine& machine) { machine.MakeUnreadable(u"C:\\in\\sub\\b.txt"); }},
        {"the old archive is damaged",
         [](MemoryMachine& machine) { machine.AddFile(u"C:\\out\\a.zip", "PK no archive"); }},
        {"the old archive is read-only",
         [](MemoryMachine& machine) { machine.LockFile(u"C:\\out\\a.zip"); }},
    };
    for (const auto& row : rows) {
        EngineBench bench;
        AddFiles(bench.machine);
        cZip zip;
        zip.SetZipFile(u"C:\\out\\a.zip");
        zip.AddFileSpec(u"C:\\in\\a.txt");
        zip.Zip();
        row.spoil(bench.machine);
        const std::string before = bench.machine.DumpFiles();
        const Bytes archive = bench.machine.FileContent(u"C:\\out\\a.zip");
        zip.AddFileSpec(u"C:\\in\\sub\\b.txt");
        zip.Zip();
        EXPECT_EQ(bench.machine.DumpFiles(), before) << row.label;
        EXPECT_EQ(bench.machine.FileContent(u"C:\\out\\a.zip"), archive) << row.label;
    }
}

TEST(Archive, AsksForThePasswordOnce) {
    const struct {
        const char* label;
        Text password;
        bool cancel;
        std::string key;  // what opens the archive; empty for one that isn't made
    } rows[] = {{"given, in blanks", u" s3cret ", false, "s3cret"},
                {"empty", u"  ", false, ""},
                {"cancelled", u"s3cret", true, ""},
                {"too long", Text(255, u'p'), false, std::string(254, 'p')},
                {"too long by characters, not bytes", Text(255, u'\u0416'), false,
                 ToUtf8(Text(254, u'\u0416'))}};
    for (const auto& row : rows) {
        EngineBench bench;
        AddFiles(bench.machine);
        cZip zip;
        zip.SetZipFile(u"C:\\out\\a.zip");
        zip.SetEncrypt(true);
        zip.AddFileSpec(u"C:\\in\\a.txt");
        zip.AddFileSpec(u"C:\\in\\empty.dat");
        zip.AddFileSpec(u"C:\\in\\sub\\b.txt");
        int asked = 0;
        zip.PasswordRequest = [&](Text& password, bool& cancel) {
            ++asked;
            password = row.password;
            cancel = row.cancel;
        };
        zip.Zip();
        EXPECT_EQ(asked, 1) << row.label;
        EXPECT_EQ(bench.machine.HasFile(u"C:\\out\\a.zip"), !row.key.empty()) << row.label;
        if (row.key.empty()) continue;
        const auto read = [&](const std::string& name, const std::string& key) {
            return Inspect(bench.machine,
                           "python3 -c 'import sys, zipfile; print(zipfile.ZipFile(sys.argv[1])"
                           ".read(sys.argv[2], sys.argv[3].encode()))' % " +
                               name + " " + key);
        };
        EXPECT_EQ(read("b.txt", row.key), "b'two'\n") << row.label;
        EXPECT_EQ(read("empty.dat", row.key), "b''\n") << row.label;
        EXPECT_TRUE(read("b.txt", row.key + "x").ends_with("FAILED\n")) << row.label;
    }
}

TEST(Archive, ProgressTellsEachFileUnlessQuiet) {
    for (std::int16_t level = 0; level <= 2; ++level) {
        EngineBench bench;
        AddFiles(bench.machine);
        cZip zip;
        zip.SetZipFile(u"C:\\out\\a.zip");
        zip.SetStoreFolderNames(true);
        zip.SetMessageLevel(level);
        zip.AddFileSpec(u"C:\\in\\sub\\b.txt");
        std::string told;
        zip.Progress = [&](std::int32_t, const Text& message) {
            told += ToUtf8(message);
            throw RuntimeError(ErrorNumber::Internal);  // stays outside the library
        };
        zip.Zip();
        EXPECT_EQ(told, level == 1 ? "" : "  adding: in\\sub\\b.txt\n") << level;
        EXPECT_EQ(zip.MessageLevel(), level);
        EXPECT_EQ(Names(bench.machine), "in/sub/b.txt\n") << level;
    }
}

TEST(Archive, ProgressDropsMessagesOfOddLengths) {
    const struct {
        std::size_t length;  // of the message, its line end included
        bool isTold;
    } rows[] = {{31999, true}, {32000, false}};
    for (const auto& row : rows) {
        EngineBench bench;
        bench.machine.AddFolder(u"C:\\out");
        // Labels have no limit here, unlike names of files.
        const Text label(row.length - std::size("  adding: "), u'n');
        bench.machine.Facts().volumeLabel = label;
        cZip zip;
        zip.SetZipFile(u"C:\\out\\a.zip");
        zip.SetStoreVolumeLabel(true);
        Text told;
        zip.Progress = [&](std::int32_t, const Text& message) { told += message; };
        zip.Zip();
        EXPECT_EQ(told, row.isTold ? u"  adding: " + label + u"\n" : Text()) << row.length;
        EXPECT_TRUE(bench.machine.HasFile(u"C:\\out\\a.zip")) << row.length;
    }
}

/// The numbers in the options that the library was last given, but those of texts, as "slot=value".
std::string Slots() {
    std::string text;
    const ZpOptionRecord options = ZpGetOptions();
    for (std::size_t slot = 3; slot < options.slots.size(); ++slot) {
        if (options.slots[slot] == 0) continue;
        text += std::to_string(slot) + "=" + std::to_string(options.slots[slot]) + " ";
    }
    return text;
}

/// What is on by what the object's properties say.
std::string Properties(const cZip& zip) {
    const std::pair<const char*, bool> properties[] = {
        {"Encrypt", zip.Encrypt()},
        {"IncludeSystemAndHiddenFiles", zip.IncludeSystemAndHiddenFiles()},
        {"StoreVolumeLabel", zip.StoreVolumeLabel()},
        {"StoreDirectories", zip.StoreDirectories()},
        {"StoreFolderNames", zip.StoreFolderNames()},
        {"RecurseSubDirs", zip.RecurseSubDirs()},
        {"UpdateOnlyIfNewer", zip.UpdateOnlyIfNewer()},
        {"FreshenFiles", zip.FreshenFiles()},
        {"ConvertCRLFToLF", zip.ConvertCRLFToLF()},
        {"ConvertLFToCRLF", zip.ConvertLFToCRLF()},
        {"AllowAppend", zip.AllowAppend()},
    };
    std::string text;
    for (const auto& [name, isOn] : properties) text += isOn ? name + std::string(" ") : "";
    return text + std::to_string(zip.MessageLevel());
}

TEST(Archive, PropertiesAreSlotsOfTheOptions) {
    EngineBench bench;
    const auto check = [](cZip& zip, const char* slots, const char* properties) {
        zip.Zip();
        EXPECT_EQ(Slots(), slots) << properties;
        EXPECT_EQ(Properties(zip), properties);
        zip.Delete();
        EXPECT_NE(Slots().find("20=1 "), std::string::npos) << properties;
        zip.Zip();
        EXPECT_EQ(Slots(), slots) << properties;
    };
    const struct {
        void (cZip::*set)(bool);
        const char* slots;
        const char* properties;
    } rows[] = {
        {&cZip::SetEncrypt, "5=1 9=1 16=1 ", "Encrypt StoreDirectories 2"},
        {&cZip::SetIncludeSystemAndHiddenFiles, "6=1 9=1 16=1 ",
         "IncludeSystemAndHiddenFiles StoreDirectories 2"},
        {&cZip::SetStoreVolumeLabel, "7=1 9=1 16=1 ", "StoreVolumeLabel StoreDirectories 2"},
        {&cZip::SetStoreDirectories, "16=1 ", "2"},  // reads the raw slot
        {&cZip::SetStoreFolderNames, "9=1 ", "StoreDirectories StoreFolderNames 2"},
        {&cZip::SetRecurseSubDirs, "9=1 16=1 29=2 ", "StoreDirectories RecurseSubDirs 2"},
        {&cZip::SetUpdateOnlyIfNewer, "9=1 16=1 21=1 ", "StoreDirectories UpdateOnlyIfNewer 2"},
        {&cZip::SetFreshenFiles, "9=1 16=1 21=1 ", "StoreDirectories UpdateOnlyIfNewer 2"},
        {&cZip::SetConvertCRLFToLF, "9=1 14=1 16=1 ", "StoreDirectories ConvertCRLFToLF 2"},
        {&cZip::SetConvertLFToCRLF, "9=1 15=1 16=1 ", "StoreDirectories ConvertLFToCRLF 2"},
        {&cZip::SetAllowAppend, "9=1 16=1 17=1 ", "StoreDirectories AllowAppend 2"},
    };
    for (const auto& row : rows) {
        cZip zip;
        (zip.*row.set)(true);
        check(zip, row.slots, row.properties);
        (zip.*row.set)(false);
        check(zip, "9=1 16=1 ", "StoreDirectories 2");
    }
    cZip zip;
    zip.SetFreshenFiles(true);
    zip.SetUpdateOnlyIfNewer(false);  // the one option that both share
    check(zip, "9=1 16=1 ", "StoreDirectories 2");

    const struct {
        std::int16_t level;
        const char* slots;
        const char* properties;
    } levels[] = {{1, "9=1 13=1 16=1 ", "StoreDirectories 1"},
                  {0, "9=1 12=1 16=1 ", "StoreDirectories 0"},
                  {5, "9=1 12=1 16=1 ", "StoreDirectories 0"},  // changes nothing
                  {-1, "9=1 12=1 16=1 ", "StoreDirectories 0"},
                  {2, "9=1 16=1 ", "StoreDirectories 2"}};
    for (const auto& row : levels) {
        zip.SetMessageLevel(row.level);
        check(zip, row.slots, row.properties);
    }
}

TEST(Archive, ListsHaveAnEndAndABeginning) {
    EngineBench bench;
    AddFiles(bench.machine);
    cZip zip;
    zip.SetZipFile(u"C:\\out\\a.zip");
    for (int i = 1; i <= 1023; ++i) EXPECT_EQ(zip.AddFileSpec(u"C:\\in\\" + ToText(i)), 0);
    EXPECT_EQ(zip.FileSpec(1), u"C:\\in\\1");
    EXPECT_EQ(zip.FileSpec(1023), u"C:\\in\\1023");
    for (const int outside : {0, -1, 1024}) EXPECT_THROW((void)zip.FileSpec(outside), RuntimeError);
    bench.machine.AddFile(u"C:\\in\\1023", "the last one");
    zip.Zip();
    EXPECT_EQ(Names(bench.machine), "1023\n");
    zip.AddFileSpec(u"C:\\in\\a.txt");  // the list's last position is for its end
    EXPECT_THROW(zip.Zip(), RuntimeError);
    EXPECT_THROW(zip.Delete(), RuntimeError);

    zip.ClearFileSpecs();
    EXPECT_EQ(zip.FileSpecCount(), 0);
    zip.AddFileSpec(u"b.txt");
    EXPECT_TRUE(bench.machine.FileSystem().SetCurrentDirectoryW(u"C:\\in\\sub").IsOk());
    zip.SetBasePath(u"C:\\none");
    EXPECT_THROW(zip.Zip(), RuntimeError) << "b.txt of another folder isn't meant";
    EXPECT_EQ(Names(bench.machine), "1023\n");
}

/// A run of the library without an object.
struct LibraryRun {
    const char* label;
    std::int32_t result;
    std::size_t slot = 0;  // an option to be set; 0 for none
    ZpCallbacks callbacks = {};
    std::vector<const char*> names = {"C:\\in\\a.txt"};
    const char* archive = "C:\\out\\a.zip";
    void (*prepare)(MemoryMachine&) = [](MemoryMachine&) {};
};

std::int32_t RunLibrary(const LibraryRun& run) {
    ZpInit(run.callbacks);
    ZpOptionRecord options;
    options.slots[ZpSlot::NoFolderNames] = 1;
    if (run.slot != 0) options.slots[run.slot] = 1;
    ZpSetOptions(options);
    ZpListRecord list;
    std::ranges::transform(run.names, list.names.begin(),
                           [](const char* name) { return ZpText(name); });
    return ZpArchive(static_cast<std::int32_t>(run.names.size()), run.archive, list);
}

TEST(ZipLibrary, TellsHowARunEnded) {
    const ZpCallbacks stopping{.service = [](const char*, std::uint32_t) { return 1; }};
    const ZpCallbacks silent{.password = [](std::span<char> buffer, const char*,
                                            const char*) -> int { return buffer[0] = '\0'; }};
    const LibraryRun runs[] = {
        {.label = "done", .result = ZpResult::Ok},
        {.label = "no such file", .result = ZpResult::NothingToDo, .names = {"C:\\in\\none"}},
        {.label = "nothing to freshen", .result = ZpResult::NothingToDo, .slot = ZpSlot::Freshen},
        {.label = "nothing to delete", .result = ZpResult::NothingToDo, .slot = ZpSlot::Delete},
        {.label = "damaged archive",
         .result = ZpResult::BadArchive,
         .prepare = [](auto& machine) { machine.AddFile(u"C:\\out\\a.zip", "PK no archive"); }},
        {.label = "file that can't be read",
         .result = ZpResult::OpenFailed,
         .prepare = [](auto& machine) { machine.MakeUnreadable(u"C:\\in\\a.txt"); }},
        {.label = "name that the format can't hold",
         .result = ZpResult::TooBig,
         .slot = ZpSlot::VolumeLabel,
         .prepare = [](auto& machine) { machine.Facts().volumeLabel = Text(65536, u'n'); }},
        {.label = "folder that isn't there",
         .result = ZpResult::TempFailed,
         .archive = "C:\\none\\a.zip"},
        {.label = "archive in use",
         .result = ZpResult::CannotReplace,
         .prepare =
             [](auto& machine) {
                 machine.AddFile(u"C:\\out\\a.zip", MadeByZip("zip -q % b.txt"));
                 machine.LockFile(u"C:\\out\\a.zip");
             }},
        {.label = "nobody to ask", .result = ZpResult::Cancelled, .slot = ZpSlot::Encrypt},
        {.label = "empty password",
         .result = ZpResult::Cancelled,
         .slot = ZpSlot::Encrypt,
         .callbacks = silent},
        {.label = "stopped", .result = ZpResult::Cancelled, .callbacks = stopping},
    };
    for (const LibraryRun& run : runs) {
        EngineBench bench;
        AddFiles(bench.machine);
        run.prepare(bench.machine);
        const std::string before = bench.machine.DumpFiles();
        EXPECT_EQ(RunLibrary(run), run.result) << run.label;
        if (run.result == ZpResult::Ok) continue;
        EXPECT_EQ(bench.machine.DumpFiles(), before) << run.label;
    }
}

TEST(ZipLibrary, FreshensWithoutAdding) {
    EngineBench bench;
    AddFiles(bench.machine);
    bench.machine.AddFile(u"C:\\out\\a.zip", MadeByZip("zip -q % a.txt b.txt"));
    EXPECT_EQ(RunLibrary({.label = "",
                          .result = 0,
                          .slot = ZpSlot::Freshen,
                          .names = {"C:\\in\\sub\\b.txt", "C:\\in\\empty.dat"}}),
              ZpResult::Ok);
    EXPECT_EQ(Names(bench.machine), "a.txt\nb.txt\n");
    EXPECT_EQ(Inspect(bench.machine, "unzip -p %"), "atwo");
}

TEST(Archive, ConvertsLineEndsAsAsked) {
    const struct {
        void (*set)(cZip&);
        const char* content;
    } rows[] = {
        {[](cZip&) {}, "alpha\r\nbeta\n"},
        {[](cZip& zip) { zip.SetConvertCRLFToLF(true); }, "alpha\nbeta\n"},
        {[](cZip& zip) { zip.SetConvertLFToCRLF(true); }, "alpha\r\nbeta\r\n"},
    };
    for (const auto& row : rows) {
        EngineBench bench;
        AddFiles(bench.machine);
        cZip zip;
        zip.SetZipFile(u"C:\\out\\a.zip");
        zip.AddFileSpec(u"C:\\in\\a.txt");
        row.set(zip);
        zip.Zip();
        EXPECT_EQ(Inspect(bench.machine, "unzip -p %"), row.content);
    }
}

TEST(Archive, ConvertsLineEndsOfTextAlone) {
    const struct {
        const char* label;
        LineEnds conversion;
        std::string in;
        std::string out;
    } rows[] = {
        {"to LF", LineEnds::CrLfToLf, "a\r\nb\rc\r\r\n\n", "a\nb\rc\r\n\n"},
        {"to CR LF", LineEnds::LfToCrLf, "a\nb\r\nc\rd\n", "a\r\nb\r\nc\rd\r\n"},
        {"CR at the end", LineEnds::CrLfToLf, "a\r", "a\r"},
        {"binary", LineEnds::CrLfToLf, std::string("a\0\r\n", 4), std::string("a\0\r\n", 4)},
        {"pair across pieces", LineEnds::CrLfToLf, std::string(4095, 'x') + "\r\ny",
         std::string(4095, 'x') + "\ny"},
    };
    for (const auto& row : rows) {
        ContentReader reader = ConvertLineEnds(
            row.conversion, [&, done = std::size_t{0}](std::span<std::uint8_t> buffer) mutable {
                const std::size_t count = std::min(buffer.size(), row.in.size() - done);
                std::copy_n(row.in.begin() + static_cast<std::ptrdiff_t>(done), count,
                            buffer.begin());
                done += count;
                return count;
            });
        std::string out;
        Bytes piece(7);
        while (const std::size_t count = reader(piece)) {
            out.append(piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(count));
        }
        EXPECT_EQ(out, row.out) << row.label;
    }
}

}  // namespace
}  // namespace bkfd
