#include <gtest/gtest.h>

#include "detection/DetectionBench.h"
#include "detection/identity/CFileInfoManager.h"
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
    DetectionBench bench;
    bench.machine.AddFile(u"C:\\abc", "abc");
    bench.machine.AddFile(u"C:\\empty");
    bench.machine.AddFile(u"C:\\saturated", Bytes(50, 0xFF));
    bench.machine.AddFile(u"C:\\closed", "abc");
    bench.machine.MakeUnreadable(u"C:\\closed");
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
    DetectionBench bench;
    bench.machine.AddFile(u"C:\\a.dll", "abc");
    CHashier hashier;
    EXPECT_EQ(Identity(hashier, u"C:\\a.dll"), "3 536871084");
    EXPECT_EQ(Identity(hashier, u"C:\\late.dll"), "0 0");
    bench.machine.AddFile(u"C:\\a.dll", "other");
    bench.machine.AddFile(u"C:\\late.dll", "abc");
    EXPECT_EQ(Identity(hashier, u"C:\\a.dll"), "3 536871084");
    EXPECT_EQ(Identity(hashier, u"C:\\late.dll"), "0 0");
    EXPECT_EQ(bench.Calls("CreateFileW"), 2);
    // Another spelling of the name is another file.
    EXPECT_NE(Identity(hashier, u"C:\\.\\a.dll"), "3 536871084");
}

TEST(CFileInfoManager, TellsManufacturerAndDescription) {
    DetectionBench bench;
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
        bench.machine.AddFile(u"C:\\a.dll", row.content);
        CFileInfoManager manager;
        manager.Init(bench.log);
        Text manufacturer = u"old";
        Text description = u"old";
        manager.GetFileInfo(u"C:\\a.dll", manufacturer, description);
        EXPECT_EQ(ToUtf8(manufacturer) + '|' + ToUtf8(description), row.info) << row.label;
    }
}

TEST(CFileInfoManager, ReadsEachNameOnce) {
    DetectionBench bench;
    CFileInfoManager manager;
    manager.Init(bench.log);
    for (const bool isThere : {false, true}) {
        if (isThere)
            bench.machine.AddFile(u"C:\\a.dll", FileWithVersion({{u"CompanyName", u"It"}}));
        Text manufacturer = u"old", description;
        manager.GetFileInfo(u"C:\\a.dll", manufacturer, description);
        EXPECT_EQ(manufacturer, u"");
    }
    EXPECT_EQ(bench.Calls("CreateFileW"), 1);
}

}  // namespace
}  // namespace bkfd
