#include <gtest/gtest.h>

#include "base/RuntimeError.h"
#include "support/ArchiveBench.h"

namespace bkfd {
namespace {

TEST(Archive, OptionsDecideWhatGoesInUnderWhichName) {
    const auto hidden = &cZip::SetIncludeSystemAndHiddenFiles;
    const auto recurse = &cZip::SetRecurseSubDirs;
    const auto names = &cZip::SetStoreFolderNames;
    const auto folders = &cZip::SetStoreDirectories;
    const auto label = &cZip::SetStoreVolumeLabel;
    const struct {
        const char* label;
        std::vector<TextView> specs;
        std::vector<void (cZip::*)(bool)> options;
        const char* names;
        TextView base = {};
    } rows[] = {
        {"defaults", {u"C:\\in\\a.txt", u"C:\\in\\empty.dat"}, {}, "a.txt\nempty.dat\n"},
        {"wildcards", {u"C:\\in\\*.txt"}, {}, "a.txt\n"},
        {"without a dot", {u"C:\\out\\*.*"}, {}, "plain\n"},
        {"twice the same", {u"C:\\in\\a.txt", u"c:\\IN\\A.*"}, {}, "a.txt\n"},
        {"hidden", {u"C:\\in\\*"}, {hidden}, "a.txt\nempty.dat\nhidden.txt\n"},
        {"folder names", {u"C:\\in\\sub\\b.txt"}, {names}, "in/sub/b.txt\n"},
        {"recursion with folders",
         {u"C:\\in\\*.txt"},
         {recurse, names},
         "in/a.txt\nin/sub/b.txt\nin/sub/deep/c.txt\nin/sub/\xD0\xBF.txt\n"},
        {"a folder whole, with its entries",
         {u"C:\\in\\sub"},
         {recurse, names, folders},
         "in/sub/\nin/sub/b.txt\nin/sub/deep/\nin/sub/deep/c.txt\nin/sub/\xD0\xBF.txt\n"},
        {"base folder", {u"b.txt"}, {names}, "b.txt\n", u" C:\\in\\sub "},
        {"parts that lead up", {u"..\\in\\.\\a.txt"}, {names}, "in/./a.txt\n", u"C:\\in"},
        {"volume label", {u"C:\\in\\a.txt"}, {label}, "a.txt\nSYSTEM\n"},
    };
    for (const auto& row : rows) {
        ArchiveBench bench;
        bench.machine.AddFile(u"C:\\out\\plain");
        bench.machine.Facts().volumeLabel = u"SYSTEM";
        bench.zip.SetBasePath(Text(row.base));
        for (const auto option : row.options) (bench.zip.*option)(true);
        bench.Zip(row.specs);
        EXPECT_EQ(bench.Names(), row.names) << row.label;
        EXPECT_EQ(bench.machine.DumpFiles().find(".tmp"), std::string::npos) << row.label;
    }
}

TEST(Archive, UpdatesFreshensAppendsAndDeletes) {
    ArchiveBench bench;
    bench.Zip({u"C:\\in\\a.txt", u"C:\\in\\sub\\b.txt"});
    bench.machine.AddFile(u"C:\\in\\a.txt", "not newer");
    bench.zip.SetFreshenFiles(true);  // sets the option of UpdateOnlyIfNewer
    bench.Zip({u"C:\\in\\a.txt", u"C:\\in\\sub\\b.txt", u"C:\\in\\sub\\deep\\c.txt"});
    EXPECT_EQ(bench.Names(), "a.txt\nb.txt\nc.txt\n");
    EXPECT_EQ(bench.Inspect("unzip -p % a.txt"), "alpha\r\nbeta\n");

    bench.machine.AdvanceClock(60'000);
    bench.machine.AddFile(u"C:\\in\\a.txt", "newer");
    bench.zip.Zip();
    EXPECT_EQ(bench.Inspect("unzip -p % a.txt"), "newer");
    EXPECT_EQ(bench.Names(), "a.txt\nb.txt\nc.txt\n");

    bench.zip.SetUpdateOnlyIfNewer(false);
    bench.zip.SetAllowAppend(true);
    bench.Zip({u"C:\\in\\a.txt"});
    EXPECT_EQ(bench.Names(), "b.txt\nc.txt\na.txt\n");

    bench.zip.ClearFileSpecs();
    bench.zip.AddFileSpec(u"B.*");
    bench.zip.Delete();
    EXPECT_EQ(bench.Names(), "c.txt\na.txt\n");
}

TEST(Archive, LeavesItselfOut) {
    ArchiveBench bench;
    bench.machine.AddFile(u"C:\\out\\b.txt", "two");
    bench.Zip({u"c:\\OUT\\*"});
    bench.zip.Zip();
    EXPECT_EQ(bench.Names(), "b.txt\n");
}

TEST(Archive, TakesArchivesOfZip) {
    // One with a comment, a stored and an encrypted entry, and some written to a pipe, whose sizes
    // stand behind the data.
    const char* const makings[] = {
        "zip -q0 % a.txt && zip -q % b.txt && zip -qP s3cret % c.txt && echo note | zip -qz %",
        "zip -q -fz- - a.txt b.txt | cat >% && zip -qP s3cret % c.txt && echo note | zip -qz %",
        "zip -q -fz- -P s3cret - a.txt b.txt c.txt | cat >%",
    };
    for (const char* making : makings) {
        SCOPED_TRACE(making);
        ArchiveBench bench;
        bench.machine.AddFile(u"C:\\out\\a.zip", MadeByZip(making));
        bench.zip.SetAllowAppend(true);
        bench.Zip({u"C:\\in\\empty.dat"});
        EXPECT_EQ(bench.Names(), "a.txt\nb.txt\nc.txt\nempty.dat\n");

        bench.machine.AddFile(u"C:\\in\\a.txt", "newer");  // than those that zip packed
        bench.zip.SetAllowAppend(false);
        bench.zip.SetFreshenFiles(true);
        bench.Zip({u"C:\\in\\a.txt"});
        EXPECT_EQ(bench.Inspect("unzip -p % a.txt"), "newer");

        bench.zip.ClearFileSpecs();
        bench.zip.AddFileSpec(u"b.txt");
        bench.zip.Delete();
        EXPECT_EQ(bench.Names(), "a.txt\nc.txt\nempty.dat\n");
        EXPECT_EQ(bench.Inspect("unzip -P s3cret -p % c.txt"), "c");
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
        ArchiveBench bench;
        bench.Zip({u"C:\\in\\a.txt"});
        row.spoil(bench.machine);
        const std::string before = bench.machine.DumpFiles();
        const Bytes archive = bench.machine.FileContent(u"C:\\out\\a.zip");
        bench.Zip({u"C:\\in\\a.txt", u"C:\\in\\sub\\b.txt"});
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
        SCOPED_TRACE(row.label);
        ArchiveBench bench;
        bench.zip.SetEncrypt(true);
        int asked = 0;
        bench.zip.PasswordRequest = [&](Text& password, bool& cancel) {
            ++asked;
            password = row.password;
            cancel = row.cancel;
        };
        bench.Zip({u"C:\\in\\empty.dat", u"C:\\in\\sub\\b.txt", u"C:\\in\\sub\\deep\\c.txt"});
        EXPECT_EQ(asked, 1);
        EXPECT_EQ(bench.machine.HasFile(u"C:\\out\\a.zip"), !row.key.empty());
        if (row.key.empty()) continue;
        const auto read = [&](const std::string& name, const std::string& key) {
            return bench.Inspect(
                "python3 -c 'import sys, zipfile; print(zipfile.ZipFile(sys.argv[1])"
                ".read(sys.argv[2], sys.argv[3].encode()))' % " +
                name + " " + key);
        };
        EXPECT_EQ(read("b.txt", row.key), "b'two'\n");
        EXPECT_EQ(read("empty.dat", row.key), "b''\n");
        EXPECT_TRUE(read("b.txt", row.key + "x").ends_with("FAILED\n"));
        if (row.key != "s3cret") continue;  // of a length that the others know
        EXPECT_EQ(bench.Names(), "empty.dat\nb.txt\nc.txt\n");
    }
}

TEST(Archive, ProgressTellsEachFileUnlessQuiet) {
    for (std::int16_t level = 0; level <= 2; ++level) {
        ArchiveBench bench;
        bench.zip.SetStoreFolderNames(true);
        bench.zip.SetMessageLevel(level);
        std::string told;
        bench.zip.Progress = [&](std::int32_t, const Text& message) {
            told += ToUtf8(message);
            throw RuntimeError(ErrorNumber::Internal);  // stays outside the library
        };
        bench.Zip({u"C:\\in\\sub\\b.txt"});
        EXPECT_EQ(told, level == 1 ? "" : "  adding: in\\sub\\b.txt\n") << level;
        EXPECT_EQ(bench.Names(), "in/sub/b.txt\n") << level;
    }
}

TEST(Archive, ProgressDropsMessagesOfOddLengths) {
    for (const std::size_t length : {31999U, 32000U}) {  // the line end included
        ArchiveBench bench;
        // Labels have no limit here, unlike names of files.
        const Text label(length - std::size("  adding: "), u'n');
        bench.machine.Facts().volumeLabel = label;
        bench.zip.SetStoreVolumeLabel(true);
        Text told;
        bench.zip.Progress = [&](std::int32_t, const Text& message) { told += message; };
        bench.zip.Zip();
        EXPECT_EQ(told, length < 32000 ? u"  adding: " + label + u"\n" : Text()) << length;
        EXPECT_TRUE(bench.machine.HasFile(u"C:\\out\\a.zip")) << length;
    }
}

TEST(Archive, ListsHaveAnEndAndABeginning) {
    ArchiveBench bench;
    cZip& zip = bench.zip;
    for (int i = 1; i <= 1023; ++i) EXPECT_EQ(zip.AddFileSpec(u"C:\\in\\" + ToText(i)), 0);
    EXPECT_EQ(zip.FileSpec(1), u"C:\\in\\1");
    EXPECT_EQ(zip.FileSpec(1023), u"C:\\in\\1023");
    for (const int outside : {0, -1, 1024}) EXPECT_THROW((void)zip.FileSpec(outside), RuntimeError);
    bench.machine.AddFile(u"C:\\in\\1023", "the last one");
    zip.Zip();
    EXPECT_EQ(bench.Names(), "1023\n");
    zip.AddFileSpec(u"C:\\in\\a.txt");  // the list's last position is for its end
    EXPECT_THROW(zip.Zip(), RuntimeError);
    EXPECT_THROW(zip.Delete(), RuntimeError);

    zip.ClearFileSpecs();
    EXPECT_EQ(zip.FileSpecCount(), 0);
    EXPECT_TRUE(bench.machine.FileSystem().SetCurrentDirectoryW(u"C:\\in\\sub").IsOk());
    zip.SetBasePath(u"C:\\none");
    EXPECT_THROW(bench.Zip({u"b.txt"}), RuntimeError) << "b.txt of another folder isn't meant";
    EXPECT_EQ(bench.Names(), "1023\n");
}

TEST(Archive, ConvertsLineEndsAsAsked) {
    const struct {
        void (cZip::*set)(bool);
        const char* content;
    } rows[] = {{&cZip::SetConvertCRLFToLF, "alpha\nbeta\n"},
                {&cZip::SetConvertLFToCRLF, "alpha\r\nbeta\r\n"}};
    for (const auto& row : rows) {
        ArchiveBench bench;
        (bench.zip.*row.set)(true);
        bench.Zip({u"C:\\in\\a.txt"});
        EXPECT_EQ(bench.Inspect("unzip -p %"), row.content);
    }
}

}  // namespace
}  // namespace bkfd
