#include <gtest/gtest.h>

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
        const char16_t* password;
        bool cancel;
        bool isMade;
    } rows[] = {{"given", u" s3cret ", false, true},
                {"empty", u"  ", false, false},
                {"cancelled", u"s3cret", true, false}};
    for (const auto& row : rows) {
        EngineBench bench;
        AddFiles(bench.machine);
        cZip zip;
        zip.SetZipFile(u"C:\\out\\a.zip");
        zip.SetEncrypt(true);
        zip.AddFileSpec(u"C:\\in\\a.txt");
        zip.AddFileSpec(u"C:\\in\\sub\\b.txt");
        int asked = 0;
        zip.PasswordRequest = [&](Text& password, bool& cancel) {
            ++asked;
            password = row.password;
            cancel = row.cancel;
        };
        zip.Zip();
        EXPECT_EQ(asked, 1) << row.label;
        EXPECT_EQ(bench.machine.HasFile(u"C:\\out\\a.zip"), row.isMade) << row.label;
        if (!row.isMade) continue;
        EXPECT_EQ(Inspect(bench.machine, "unzip -P s3cret -p % b.txt"), "two");
        EXPECT_NE(Inspect(bench.machine, "unzip -P wrong -p % b.txt").find("FAILED"),
                  std::string::npos);
    }
}

TEST(Archive, ProgressTellsEachFileUnlessQuiet) {
    for (const int level : {0, 1, 2}) {
        EngineBench bench;
        AddFiles(bench.machine);
        cZip zip;
        zip.SetZipFile(u"C:\\out\\a.zip");
        zip.SetStoreFolderNames(true);
        zip.SetMessageLevel(level);
        zip.SetMessageLevel(5);  // changes nothing
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

TEST(Archive, OddPropertiesAreAsTheyAre) {
    cZip zip;
    EXPECT_TRUE(zip.StoreDirectories());  // the raw slot
    zip.SetFreshenFiles(true);
    EXPECT_FALSE(zip.FreshenFiles());
    EXPECT_TRUE(zip.UpdateOnlyIfNewer());

    EngineBench bench;
    for (int i = 0; i < 1024; ++i) zip.AddFileSpec(u"C:\\none");
    EXPECT_THROW(zip.Zip(), RuntimeError);
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
