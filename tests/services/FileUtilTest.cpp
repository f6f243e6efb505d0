#include "services/FileUtil.h"

#include <gtest/gtest.h>

#include "common/Errors.h"
#include "testing/MachineDump.h"
#include "testing/MemoryMachine.h"

namespace bkfd {
namespace {

const Text kFile = u"C:\\Data\\a.reg";

class FileUtilTest : public testing::Test {
  protected:
    FileUtilTest() { machine_.AddFile(kFile, "old"); }

    MemoryMachine machine_{WindowsFamily::NT};
    InstalledMachine installed_{machine_};
};

TEST_F(FileUtilTest, EveryByteComesBack) {
    Text text;
    for (char16_t unit = 0; unit < 0x200; ++unit) text += unit;
    FileUtil::WriteTextFile(kFile, text);
    Text expected = text.substr(0, 0x100);
    expected += expected;
    EXPECT_EQ(FileUtil::ReadTextFile(kFile), expected);
    EXPECT_EQ(FileUtil::ReadBinaryFile(kFile), ToBytes(expected));
    FileUtil::WriteTextFile(kFile, u"");
    EXPECT_EQ(FileUtil::ReadTextFile(kFile), u"");
}

TEST_F(FileUtilTest, AFailedWriteLeavesTheOldFileAlone) {
    const struct {
        const char* label;
        Text path;
        std::function<void()> prepare;
    } rows[] = {
        {"read-only", kFile, [&] { machine_.AddFile(kFile, "old", FileAttribute::ReadOnly); }},
        {"locked", kFile, [&] { machine_.LockFile(kFile); }},
        {"a folder", u"C:\\Data", [] {}},
        {"no such folder", u"C:\\Nowhere\\a.reg", [] {}},
        {"no name", u"", [] {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        row.prepare();
        const std::string before = DumpFiles(machine_);
        EXPECT_EQ(ErrorOf([&] { FileUtil::WriteTextFile(row.path, u"new"); }), 75);
        EXPECT_EQ(DumpFiles(machine_), before);
        EXPECT_EQ(ToUtf8(FileUtil::ReadTextFile(kFile)), "old");
    }
}

TEST_F(FileUtilTest, AbsentAndUnreadableAreDifferent) {
    machine_.AddFile(u"C:\\shut", "x");
    machine_.MakeUnreadable(u"C:\\shut");
    EXPECT_EQ(FileUtil::ReadTextFile(u"C:\\absent"), u"");
    EXPECT_EQ(FileUtil::ReadTextFile(u"C:\\absent\\too"), u"");
    EXPECT_EQ(ErrorOf([] { FileUtil::ReadTextFile(u"C:\\shut"); }), 75);
    EXPECT_EQ(ErrorOf([] { FileUtil::ReadBinaryFile(u"C:\\shut"); }), 75);
    EXPECT_EQ(ErrorOf([] { FileUtil::ReadBinaryFile(u"C:\\absent"); }), 53);
    EXPECT_TRUE(FileUtil::FileExists(u"c:\\SHUT"));
    EXPECT_FALSE(FileUtil::FileExists(u"C:\\Data"));
    FileUtil::CreateFolder(u"C:\\Data");
    FileUtil::CreateFolder(u"C:\\Data\\New");
    EXPECT_EQ(ErrorOf([] { FileUtil::CreateFolder(u"C:\\shut"); }), 75);
    EXPECT_EQ(ErrorOf([] { FileUtil::CreateFolder(u"C:\\a\\b"); }), 75);
}

}  // namespace
}  // namespace bkfd
