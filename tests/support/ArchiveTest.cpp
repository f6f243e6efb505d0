#include <gtest/gtest.h>

#include "base/RuntimeError.h"
#include "support/ArchiveFixture.h"

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
        ArchiveFixture fixture;
        fixture.machine.AddFile(u"C:\\out\\plain");
        fixture.machine.Facts().volumeLabel = u"SYSTEM";
        fixture.zip.SetBasePath(Text(row.base));
        for (const auto option : row.options) (fixture.zip.*option)(true);
        fixture.Zip(row.specs);
        EXPECT_EQ(fixture.Names(), row.names) << row.label;
        EXPECT_EQ(DumpFiles(fixture.machine).find(".tmp"), std::string::npos) << row.label;
    }
}

TEST(Archive, UpdatesFreshensAppendsAndDeletes) {
    ArchiveFixture fixture;
    fixture.Zip({u"C:\\in\\a.txt", u"C:\\in\\sub\\b.txt"});
    fixture.machine.AddFile(u"C:\\in\\a.txt", "not newer");
    fixture.zip.SetFreshenFiles(true);  // sets the option of UpdateOnlyIfNewer
    fixture.Zip({u"C:\\in\\a.txt", u"C:\\in\\sub\\b.txt", u"C:\\in\\sub\\deep\\c.txt"});
    EXPECT_EQ(fixture.Names(), "a.txt\nb.txt\nc.txt\n");
    EXPECT_EQ(fixture.Inspect("unzip -p % a.txt"), "alpha\r\nbeta\n");

    fixture.machine.AdvanceClock(60'000);
    fixture.machine.AddFile(u"C:\\in\\a.txt", "newer");
    fixture.zip.Zip();
    EXPECT_EQ(fixture.Inspect("unzip -p % a.txt"), "newer");
    EXPECT_EQ(fixture.Names(), "a.txt\nb.txt\nc.txt\n");

    fixture.zip.SetUpdateOnlyIfNewer(false);
    fixture.zip.SetAllowAppend(true);
    fixture.Zip({u"C:\\in\\a.txt"});
    EXPECT_EQ(fixture.Names(), "b.txt\nc.txt\na.txt\n");

    fixture.zip.ClearFileSpecs();
    fixture.zip.AddFileSpec(u"B.*");
    fixture.zip.Delete();
    EXPECT_EQ(fixture.Names(), "c.txt\na.txt\n");
}

TEST(Archive, LeavesItselfOut) {
    ArchiveFixture fixture;
    fixture.machine.AddFile(u"C:\\out\\b.txt", "two");
    fixture.Zip({u"c:\\OUT\\*"});
    fixture.zip.Zip();
    EXPECT_EQ(fixture.Names(), "b.txt\n");
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
        ArchiveFixture fixture;
        fixture.machine.AddFile(u"C:\\out\\a.zip", MadeByZip(making));
        fixture.zip.SetAllowAppend(true);
        fixture.Zip({u"C:\\in\\empty.dat"});
        EXPECT_EQ(fixture.Names(), "a.txt\nb.txt\nc.txt\nempty.dat\n");

        fixture.machine.AddFile(u"C:\\in\\a.txt", "newer");  // than those that zip packed
        fixture.zip.SetAllowAppend(false);
        fixture.zip.SetFreshenFiles(true);
        fixture.Zip({u"C:\\in\\a.txt"});
        EXPECT_EQ(fixture.Inspect("unzip -p % a.txt"), "newer");

        fixture.zip.ClearFileSpecs();
        fixture.zip.AddFileSpec(u"b.txt");
        fixture.zip.Delete();
        EXPECT_EQ(fixture.Names(), "a.txt\nc.txt\nempty.dat\n");
        EXPECT_EQ(fixture.Inspect("unzip -P s3cret -p % c.txt"), "c");
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
        ArchiveFixture fixture;
        fixture.Zip({u"C:\\in\\a.txt"});
        row.spoil(fixture.machine);
        const std::string before = DumpFiles(fixture.machine);
        const Bytes archive = fixture.machine.FileContent(u"C:\\out\\a.zip");
        fixture.Zip({u"C:\\in\\a.txt", u"C:\\in\\sub\\b.txt"});
        EXPECT_EQ(DumpFiles(fixture.machine), before) << row.label;
        EXPECT_EQ(fixture.machine.FileContent(u"C:\\out\\a.zip"), archive) << row.label;
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
        ArchiveFixture fixture;
        fixture.zip.SetEncrypt(true);
        int asked = 0;
        fixture.zip.PasswordRequest = [&](Text& password, bool& cancel) {
            ++asked;
            password = row.password;
            cancel = row.cancel;
        };
        fixture.Zip({u"C:\\in\\empty.dat", u"C:\\in\\sub\\b.txt", u"C:\\in\\sub\\deep\\c.txt"});
        EXPECT_EQ(asked, 1);
        EXPECT_EQ(fixture.machine.HasFile(u"C:\\out\\a.zip"), !row.key.empty());
        if (row.key.empty()) continue;
        const auto read = [&](const std::string& name, const std::string& key) {
            return fixture.Inspect(
                "python3 -c 'import sys, zipfile; print(zipfile.ZipFile(sys.argv[1])"
                ".read(sys.argv[2], sys.argv[3].encode()))' % " +
                name + " " + key);
        };
        EXPECT_EQ(read("b.txt", row.key), "b'two'\n");
        EXPECT_EQ(read("empty.dat", row.key), "b''\n");
        EXPECT_TRUE(read("b.txt", row.key + "x").ends_with("FAILED\n"));
        if (row.key != "s3cret") continue;  // of a length that the others know
        EXPECT_EQ(fixture.Names(), "empty.dat\nb.txt\nc.txt\n");
    }
}

TEST(Archive, ProgressTellsEachFileUnlessQuiet) {
    for (std::int16_t level = 0; level <= 2; ++level) {
        ArchiveFixture fixture;
        fixture.zip.SetStoreFolderNames(true);
        fixture.zip.SetMessageLevel(level);
        std::string told;
        fixture.zip.Progress = [&](std::int32_t, const Text& message) {
            told += ToUtf8(message);
            throw RuntimeError(ErrorNumber::Internal);  // stays outside the library
        };
        fixture.Zip({u"C:\\in\\sub\\b.txt"});
        EXPECT_EQ(told, level == 1 ? "" : "  adding: in\\sub\\b.txt\n") << level;
        EXPECT_EQ(fixture.Names(), "in/sub/b.txt\n") << level;
    }
}

TEST(Archive, ProgressDropsMessagesOfOddLengths) {
    for (const std::size_t length : {31999U, 32000U}) {  // the line end included
        ArchiveFixture fixture;
        // Labels have no limit here, unlike names of files.
        const Text label(length - std::size("  adding: "), u'n');
        fixture.machine.Facts().volumeLabel = label;
        fixture.zip.SetStoreVolumeLabel(true);
        Text told;
        fixture.zip.Progress = [&](std::int32_t, const Text& message) { told += message; };
        fixture.zip.Zip();
        EXPECT_EQ(told, length < 32000 ? u"  adding: " + label + u"\n" : Text()) << length;
        EXPECT_TRUE(fixture.machine.HasFile(u"C:\\out\\a.zip")) << length;
    }
}

TEST(Archive, ListsHaveAnEndAndABeginning) {
    ArchiveFixture fixture;
    cZip& zip = fixture.zip;
    for (int i = 1; i <= 1023; ++i) EXPECT_EQ(zip.AddFileSpec(u"C:\\in\\" + ToText(i)), 0);
    EXPECT_EQ(zip.FileSpec(1), u"C:\\in\\1");
    EXPECT_EQ(zip.FileSpec(1023), u"C:\\in\\1023");
    for (const int outside : {0, -1, 1024}) EXPECT_THROW((void)zip.FileSpec(outside), RuntimeError);
    fixture.machine.AddFile(u"C:\\in\\1023", "the last one");
    zip.Zip();
    EXPECT_EQ(fixture.Names(), "1023\n");
    zip.AddFileSpec(u"C:\\in\\a.txt");  // the list's last position is for its end
    EXPECT_THROW(zip.Zip(), RuntimeError);
    EXPECT_THROW(zip.Delete(), RuntimeError);

    zip.ClearFileSpecs();
    EXPECT_EQ(zip.FileSpecCount(), 0);
    EXPECT_TRUE(fixture.machine.FileSystem().SetCurrentDirectoryW(u"C:\\in\\sub").IsOk());
    zip.SetBasePath(u"C:\\none");
    EXPECT_THROW(fixture.Zip({u"b.txt"}), RuntimeError) << "b.txt of another folder isn't meant";
    EXPECT_EQ(fixture.Names(), "1023\n");
}

TEST(Archive, ConvertsLineEndsAsAsked) {
    const struct {
        void (cZip::*set)(bool);
        const char* content;
    } rows[] = {{&cZip::SetConvertCRLFToLF, "alpha\nbeta\n"},
                {&cZip::SetConvertLFToCRLF, "alpha\r\nbeta\r\n"}};
    for (const auto& row : rows) {
        ArchiveFixture fixture;
        (fixture.zip.*row.set)(true);
        fixture.Zip({u"C:\\in\\a.txt"});
        EXPECT_EQ(fixture.Inspect("unzip -p %"), row.content);
    }
}

}  // namespace
}  // namespace bkfd
