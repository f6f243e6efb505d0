#include "platform/files/DiskVolume.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include "common/HostFolder.h"
#include "platform/files/DiskAttributes.h"

namespace bkfd {
namespace {

class NoJournal final : public DiskJournal {
  public:
    Status NoteWriting() override { return {}; }
    Status NoteMoves(const VolumeMoves&) override { return {}; }
    Status NoteRemoval(const Text&) override { return {}; }
    void NoteOutcome(bool) override {}
};

/// A disk of C: and D: with what disks of others hold.
struct Disk {
    Disk() {
        for (const char* file : {"c/Program Files/Common Files/a.dll", "c/Program Files/b.txt",
                                 "c/Windows/system32/hook.dll", "d/data/c.txt", "outside/secret"}) {
            folder.Write(file, "x");
        }
        Link("c/Users", "Program Files");
        Link("c/Absolute", folder.Path("d/data"));
        Link("c/Junction", "C:\\WINDOWS\\System32");
        Link("c/Native", "\\??\\d:\\data");
        Link("c/Circle", "C:\\Circle\\a");
        Link("c/Loop", "Loop");
        Link("c/Out", folder.Path("outside"));
        Link("c/OutByName", "D:\\..\\outside");
        Link("c/Unknown", "unsupported reparse tag 0x9000601a");
        mkfifo(folder.Path("c/pipe").c_str(), 0600);
        folder.Write("c/back\\slash", "x");
    }
    void Link(const char* name, const std::string& target) const {
        std::filesystem::create_symlink(target, folder.Path(name));
    }

    HostFolder folder;
    NoJournal journal;
    DiskVolume volume{DriveFolders{{u'C', folder.Path("c")}, {u'D', folder.Path("d")}}, journal};
};

TEST(DiskVolume, FindsFilesByAnyNameThatWindowsHasForThemAndNothingElse) {
    constexpr std::uint32_t kNowhere = SystemError::CantResolveFilename;
    const struct {
        TextView asked;
        TextView found;  // or empty, with the error
        std::uint32_t error = 0;
    } rows[] = {
        {u"c:\\", u"C:\\"},
        {u"C:\\WINDOWS\\System32\\HOOK.DLL", u"C:\\Windows\\system32\\hook.dll"},
        {u"C:\\PROGRA~1\\COMMON~1\\a.dll", u"C:\\Program Files\\Common Files\\a.dll"},
        {u"C:\\PROGRA~1\\COMMON~1.dll", u"", SystemError::FileNotFound},
        {u"C:\\WINDOW~1", u"", SystemError::FileNotFound},  // has no other name
        {u"C:\\Users\\b.txt", u"C:\\Users\\b.txt"},
        {u"C:\\Absolute\\C.TXT", u"C:\\Absolute\\c.txt"},
        {u"C:\\Junction\\hook.dll", u"C:\\Junction\\hook.dll"},
        {u"C:\\Native\\c.txt", u"C:\\Native\\c.txt"},
        {u"D:\\data", u"D:\\data"},
        {u"E:\\", u"", SystemError::PathNotFound},
        {u"C:\\Circle\\a", u"", kNowhere},
        {u"C:\\Loop", u"", SystemError::FileNotFound},
        {u"C:\\Out\\secret", u"", kNowhere},
        {u"C:\\OutByName\\secret", u"", SystemError::PathNotFound},
        {u"C:\\Unknown", u"", kNowhere},
        {u"C:\\pipe", u"", SystemError::FileNotFound},
        {u"C:\\back\\slash", u"", SystemError::PathNotFound},
    };
    Disk disk;
    for (const auto& row : rows) {
        const auto found = disk.volume.Find(row.asked);
        EXPECT_EQ(ToUtf8(found.value.path), ToUtf8(row.found)) << ToUtf8(row.asked);
        EXPECT_EQ(found.code, row.error) << ToUtf8(row.asked);
    }
    // Two that fit: neither is it.
    disk.folder.Write("c/Program Data/x", "");
    DiskVolume again({{u'C', disk.folder.Path("c")}}, disk.journal);
    EXPECT_TRUE(again.Find(u"C:\\PROGRA~1").IsNotThere());
}

TEST(DiskVolume, AttributesAreThoseThatTheFileKeeps) {
    const Disk disk;
    const std::string file = disk.folder.Path("c/Program Files/b.txt");
    const struct {
        std::uint32_t set;
        bool isWritable;
    } rows[] = {{0x21, false}, {0x26, true}, {0x07, false}, {0x20, true}, {0, true}};
    for (const auto& row : rows) {
        ASSERT_TRUE(WriteDosAttributes(file, row.set).IsOk());
        EXPECT_EQ(ReadDosAttributes(file).value, row.set);
        struct stat facts {};
        ASSERT_EQ(stat(file.c_str(), &facts), 0);
        EXPECT_EQ((facts.st_mode & S_IWUSR) != 0, row.isWritable) << row.set;
    }
    const struct {
        std::string text;
        std::uint32_t attributes;
    } texts[] = {
        {"0x22", 0x22}, {std::string("0x27\0\0\3\0", 8), 0x27}, {"0xzz", 0x20}, {"", 0x20}};
    for (const auto& [text, attributes] : texts) {
        ASSERT_EQ(lsetxattr(file.c_str(), "user.DOSATTRIB", text.data(), text.size(), 0), 0);
        EXPECT_EQ(ReadDosAttributes(file).value, attributes) << text;
    }
    EXPECT_EQ(ReadDosAttributes(disk.folder.Path("c/Windows")).value, FileAttribute::Directory);
}

}  // namespace
}  // namespace bkfd
