#include <gtest/gtest.h>

#include "common/DetectionFixture.h"
#include "identity/CFileInfoManager.h"
#include "services/FileUtil.h"

namespace bkfd {
namespace {

/// "size hash".
std::string Identity(CHashier& hashier, const Text& path) {
    std::int32_t size = -1;
    const std::int32_t hash = hashier.HashFromFullFileName(path, size);
    return std::to_string(size) + ' ' + std::to_string(hash);
}

TEST(CHashier, IdentifiesFiles) {
    DetectionFixture fixture;
    fixture.machine.AddFile(u"C:\\abc", "abc");
    fixture.machine.AddFile(u"C:\\empty");
    fixture.machine.AddFile(u"C:\\saturated", Bytes(50, 0xFF));
    fixture.machine.AddFile(u"C:\\closed", "abc");
    fixture.machine.MakeUnreadable(u"C:\\closed");
    CHashier hashier;
    EXPECT_EQ(Identity(hashier, u"C:\\abc"), "3 536871084");
    EXPECT_EQ(Identity(hashier, u"C:\\empty"), "0 0");
    EXPECT_EQ(Identity(hashier, u"C:\\missing"), "0 0");
    EXPECT_EQ(Identity(hashier, u"C:\\closed"), "0 0");
    EXPECT_EQ(Identity(hashier, u"C:\\WINDOWS"), "0 0");
    EXPECT_EQ(Identity(hashier, u""), "0 0");
    // A byte that is skipped still counts for the size.
    EXPECT_EQ(Identity(hashier, u"C:\\saturated"), "50 2147483647");
}

TEST(CHashier, ReadsEachNameOnce) {
    DetectionFixture fixture;
    fixture.machine.AddFile(u"C:\\a.dll", "abc");
    CHashier hashier;
    EXPECT_EQ(Identity(hashier, u"C:\\a.dll"), "3 536871084");
    EXPECT_EQ(Identity(hashier, u"C:\\late.dll"), "0 0");
    fixture.machine.AddFile(u"C:\\a.dll", "other");
    fixture.machine.AddFile(u"C:\\late.dll", "abc");
    EXPECT_EQ(Identity(hashier, u"C:\\a.dll"), "3 536871084");
    EXPECT_EQ(Identity(hashier, u"C:\\late.dll"), "0 0");
    EXPECT_EQ(fixture.Calls("CreateFileW"), 2);
    // Another spelling of the name is another file.
    EXPECT_NE(Identity(hashier, u"C:\\.\\a.dll"), "3 536871084");
}

TEST(CFileInfoManager, TellsManufacturerAndDescription) {
    DetectionFixture fixture;
    const struct {
        const char* label;
        Bytes content;
        const char* info;
    } rows[] = {
        {"both fields",
         FileWithVersion({{u"CompanyName", u"Maker"}, {u"FileDescription", u"Tool"}}),
         "Maker|Tool"},
        {"a description alone", FileWithVersion({{u"FileDescription", u"Tool"}}), "|Tool"},
        {"neither", FileWithVersion({{u"ProductName", u"Suite"}}), "|"},
        {"no record", {'M', 'Z'}, "|"},
    };
    for (const auto& row : rows) {
        fixture.machine.AddFile(u"C:\\a.dll", row.content);
        CFileInfoManager manager;
        manager.Init(fixture.log);
        Text manufacturer = u"old";
        Text description = u"old";
        manager.GetFileInfo(u"C:\\a.dll", manufacturer, description);
        EXPECT_EQ(ToUtf8(manufacturer) + '|' + ToUtf8(description), row.info) << row.label;
    }
}

TEST(CFileInfoManager, ReadsEachNameOnce) {
    DetectionFixture fixture;
    CFileInfoManager manager;
    manager.Init(fixture.log);
    for (const bool isThere : {false, true}) {
        if (isThere) {
            fixture.machine.AddFile(u"C:\\a.dll", FileWithVersion({{u"CompanyName", u"It"}}));
        }
        Text manufacturer = u"old", description;
        manager.GetFileInfo(u"C:\\a.dll", manufacturer, description);
        EXPECT_EQ(manufacturer, u"");
    }
    EXPECT_EQ(fixture.Calls("CreateFileW"), 1);
}

}  // namespace
}  // namespace bkfd
