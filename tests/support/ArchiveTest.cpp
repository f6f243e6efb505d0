#include <gtest/gtest.h>

#include "base/RuntimeError.h"
#include "support/ArchiveBench.h"
#include "support/zip/cZip.h"

namespace bkfd {
namespace {

using namespace ArchiveBench;

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
        {"the old archive is in use",
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

}  // namespace
}  // namespace bkfd
