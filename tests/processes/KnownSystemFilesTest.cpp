#include "processes/KnownSystemFiles.h"

#include <gtest/gtest.h>

#include <map>

#include "common/RemovalFixture.h"

namespace bkfd {
namespace {

enum Prefix { None, System, Windows, NativeSystem, Expanded };
using Rows = std::vector<std::pair<Prefix, Text>>;

#define BKFD_KNOWN_FILE(prefix, name) {prefix, u"" name},
const Rows kProcessesNT = {
#include "processes/KnownProcessesNT.inc"
};
const Rows kModulesNT = {
#include "processes/KnownModulesNT.inc"
};
const Rows kModules9x = {
#include "processes/KnownModules9x.inc"
};
#undef BKFD_KNOWN_FILE

/// "System:402 Windows:4 ...; twice: a b"
std::string Summary(const Rows& rows) {
    std::map<Prefix, int> counts;
    std::map<Text, int> names;
    for (const auto& [prefix, name] : rows) {
        ++counts[prefix];
        ++names[ToLower(name)];
    }
    std::string text = std::to_string(rows.size()) + ":";
    for (const auto& [prefix, count] : counts) text += " " + std::to_string(count);
    for (const auto& [name, count] : names) {
        if (count > 1) text += "; " + std::to_string(count) + " " + ToUtf8(name);
    }
    return text;
}

TEST(KnownSystemFiles, ListsAreComplete) {
    // Counts by prefix: none, system, Windows, native system, expanded.
    EXPECT_EQ(Summary(kProcessesNT), "29: 1 26 1 1");
    EXPECT_EQ(Summary(kModulesNT), "414: 402 4 8; 2 winspool.drv; 2 wsock32.dll");
    EXPECT_EQ(Summary(kModules9x), "101: 100 1");
}

TEST(KnownSystemFiles, WholePathsAreCompared) {
    const struct {
        const char* label;
        bool (*lookup)(const Text&);
        const char16_t* path;
        bool known;
    } rows[] = {
        {"capitals", IsSystemProcessNT, u"C:\\WINDOWS\\SYSTEM32\\LSASS.EXE", true},
        {"other folder", IsSystemProcessNT, u"C:\\WINDOWS\\lsass.exe", false},
        {"folder below", IsSystemProcessNT, u"C:\\WINDOWS\\system32\\x\\lsass.exe", false},
        {"name alone", IsSystemProcessNT, u"lsass.exe", false},
        {"native form", IsSystemProcessNT, u"\\??\\C:\\WINDOWS\\system32\\winlogon.exe", true},
        {"plain form", IsSystemProcessNT, u"C:\\WINDOWS\\system32\\winlogon.exe", false},
        {"any system root", IsSystemProcessNT, u"\\SystemRoot\\System32\\smss.exe", true},
        {"subfolder", IsSystemProcessNT, u"c:\\windows\\system32\\wbem\\winmgmt.exe", true},
        {"doubled backslash", IsSystemProcessNT, u"c:\\windows\\system32\\\\wbem\\winmgmt.exe",
         true},
        {"Windows folder", IsSystemProcessNT, u"C:\\Windows\\Explorer.EXE", true},
        {"module, not process", IsSystemProcessNT, u"C:\\WINDOWS\\system32\\ntdll.dll", false},
        {"empty", IsSystemProcessNT, u"", false},
        {"dummy of 9x", IsSystemProcess9x, u"C:\\WINDOWS\\SYSTEM\\XXX.EXE", true},
        {"no process of 9x", IsSystemProcess9x, u"C:\\WINDOWS\\SYSTEM\\KERNEL32.DLL", false},
        {"module", IsSystemModuleNT, u"C:\\WINDOWS\\SYSTEM32\\NTDLL.DLL", true},
        {"both lists", IsSystemModuleNT, u"C:\\WINDOWS\\explorer.exe", true},
        {"variable", IsSystemModuleNT, u"c:\\program files\\common files\\system\\WAB32.dll", true},
        {"variable, elsewhere", IsSystemModuleNT, u"D:\\Common Files\\System\\wab32.dll", false},
        {"side by side", IsSystemModuleNT,
         u"C:\\WINDOWS\\WinSxS\\x86_Microsoft.Windows.GdiPlus_6595b64144ccf1df_1.0.2600.2180_x-ww_"
         u"522f9f82\\gdiplus.dll",
         true},
        {"9x module in the 9x folder", IsSystemModule9x, u"C:\\WINDOWS\\SYSTEM\\mmtask.tsk", true},
        {"9x module in the NT folder", IsSystemModule9x, u"C:\\WINDOWS\\SYSTEM32\\mmtask.tsk",
         false},
        {"9x shell", IsSystemModule9x, u"c:\\windows\\explorer.exe", true},
    };
    RemovalFixture nt(WindowsFamily::NT);
    for (const auto& row : rows) {
        const bool isOf9x = row.lookup == IsSystemProcess9x || row.lookup == IsSystemModule9x;
        gSystemPath = isOf9x ? u"c:\\windows\\system\\" : u"c:\\windows\\system32\\";
        EXPECT_EQ(row.lookup(row.path), row.known) << row.label;
    }
}

}  // namespace
}  // namespace bkfd
