#include <gtest/gtest.h>

#include <algorithm>

#include "common/MemorySource.h"
#include "support/ArchiveFixture.h"
#include "support/zip/LineEnds.h"

namespace bkfd {
namespace {

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

TEST(ZipLibrary, IsGivenThePropertiesAsSlots) {
    const struct {
        const char* name;
        bool (cZip::*get)() const;
        void (cZip::*set)(bool);
        const char* slots;
        const char* properties;  // that are on then
    } rows[] = {
        {"Encrypt", &cZip::Encrypt, &cZip::SetEncrypt, "5=1 9=1 16=1 ", "Encrypt Dirs "},
        {"Hidden", &cZip::IncludeSystemAndHiddenFiles, &cZip::SetIncludeSystemAndHiddenFiles,
         "6=1 9=1 16=1 ", "Hidden Dirs "},
        {"Label", &cZip::StoreVolumeLabel, &cZip::SetStoreVolumeLabel, "7=1 9=1 16=1 ",
         "Label Dirs "},
        // reads the raw slot
        {"Dirs", &cZip::StoreDirectories, &cZip::SetStoreDirectories, "16=1 ", ""},
        {"FolderNames", &cZip::StoreFolderNames, &cZip::SetStoreFolderNames, "9=1 ",
         "Dirs FolderNames "},
        {"Recurse", &cZip::RecurseSubDirs, &cZip::SetRecurseSubDirs, "9=1 16=1 29=2 ",
         "Dirs Recurse "},
        {"Update", &cZip::UpdateOnlyIfNewer, &cZip::SetUpdateOnlyIfNewer, "9=1 16=1 21=1 ",
         "Dirs Update "},
        {"Freshen", &cZip::FreshenFiles, &cZip::SetFreshenFiles, "9=1 16=1 21=1 ", "Dirs Update "},
        {"ToLF", &cZip::ConvertCRLFToLF, &cZip::SetConvertCRLFToLF, "9=1 14=1 16=1 ", "Dirs ToLF "},
        {"ToCRLF", &cZip::ConvertLFToCRLF, &cZip::SetConvertLFToCRLF, "9=1 15=1 16=1 ",
         "Dirs ToCRLF "},
        {"Append", &cZip::AllowAppend, &cZip::SetAllowAppend, "9=1 16=1 17=1 ", "Dirs Append "},
    };
    EngineFixture fixture;
    const auto check = [&](cZip& zip, const char* slots, const std::string& properties) {
        zip.Zip();
        EXPECT_EQ(Slots(), slots) << properties;
        std::string on;
        for (const auto& row : rows) on += (zip.*row.get)() ? row.name + std::string(" ") : "";
        EXPECT_EQ(on, properties);
        zip.Delete();
        EXPECT_NE(Slots().find("20=1 "), std::string::npos) << properties;
        zip.Zip();
        EXPECT_EQ(Slots(), slots) << properties;
    };
    for (const auto& row : rows) {
        cZip zip;
        (zip.*row.set)(true);
        check(zip, row.slots, row.properties);
        (zip.*row.set)(false);
        check(zip, "9=1 16=1 ", "Dirs ");
    }
    cZip zip;
    zip.SetFreshenFiles(true);
    zip.SetUpdateOnlyIfNewer(false);  // the one option that both share
    check(zip, "9=1 16=1 ", "Dirs ");

    const struct {
        std::int16_t level;
        std::int16_t read;
        const char* slots;
    } levels[] = {{1, 1, "9=1 13=1 16=1 "},
                  {0, 0, "9=1 12=1 16=1 "},
                  {5, 0, "9=1 12=1 16=1 "},  // changes nothing
                  {-1, 0, "9=1 12=1 16=1 "},
                  {2, 2, "9=1 16=1 "}};
    for (const auto& row : levels) {
        zip.SetMessageLevel(row.level);
        EXPECT_EQ(zip.MessageLevel(), row.read);
        check(zip, row.slots, "Dirs ");
    }
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
        ArchiveFixture fixture;
        run.prepare(fixture.machine);
        const std::string before = DumpFiles(fixture.machine);
        EXPECT_EQ(RunLibrary(run), run.result) << run.label;
        if (run.result == ZpResult::Ok) continue;
        EXPECT_EQ(DumpFiles(fixture.machine), before) << run.label;
    }
}

TEST(ZipLibrary, FreshensWithoutAdding) {
    ArchiveFixture fixture;
    fixture.machine.AddFile(u"C:\\out\\a.zip", MadeByZip("zip -q % a.txt b.txt"));
    EXPECT_EQ(RunLibrary({.label = "",
                          .result = 0,
                          .slot = ZpSlot::Freshen,
                          .names = {"C:\\in\\sub\\b.txt", "C:\\in\\empty.dat"}}),
              ZpResult::Ok);
    EXPECT_EQ(fixture.Names(), "a.txt\nb.txt\n");
    EXPECT_EQ(fixture.Inspect("unzip -p %"), "atwo");
}

TEST(ZipLibrary, ConvertsLineEndsOfTextAlone) {
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
        ContentReader reader =
            ConvertLineEnds(row.conversion, MemoryReader({row.in.begin(), row.in.end()}));
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
