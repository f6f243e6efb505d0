#include <gtest/gtest.h>

#include "common/RemovalFixture.h"
#include "processes/CProcessManager.h"

namespace bkfd {
namespace {

/// A process a line, its modules below it, each in brackets so that blanks show.
std::string Inventory(RemovalFixture& fixture) {
    CProcessManager manager;
    manager.Init(fixture.log);
    std::shared_ptr<ItemList> tree;
    manager.EnumProcs(tree);
    std::string text;
    for (const auto& process : Walk(tree)) {
        text += "[" + ToUtf8(process->Id) + "]\n";
        for (const auto& module : process->Children()) text += "  [" + ToUtf8(module->Id) + "]\n";
    }
    return text;
}

const std::vector<ProcessRecord> kRecords = {
    {4, u"\\SystemRoot\\System32\\smss.exe", {}},
    {8, u"C:\\Denied.exe", {u"C:\\x.dll"}, true},
    {0xFFFD0001, u"C:\\App.EXE", {u"C:\\B.dll", u"  ", u"C:\\a.DLL"}},
};

TEST(ProcessInventory, FollowsTheFamily) {
    const struct {
        const char* label;
        WindowsFamily family;
        const char* expected;
    } rows[] = {
        {"NT", WindowsFamily::NT,
         "[\\SystemRoot\\System32\\smss.exe]\n"
         "[C:\\App.EXE]\n"
         "  [C:\\B.dll]\n"
         "  [C:\\a.DLL]\n"},
        {"9x: programs among the modules, blank names, processes that can't be looked into",
         WindowsFamily::Windows9x,
         "[\\SystemRoot\\System32\\smss.exe]\n"
         "  [\\SystemRoot\\System32\\smss.exe]\n"
         "[C:\\Denied.exe]\n"
         "[C:\\App.EXE]\n"
         "  [C:\\App.EXE]\n"
         "  [C:\\B.dll]\n"
         "  [  ]\n"
         "  [C:\\a.DLL]\n"},
    };
    for (const auto& row : rows) {
        RemovalFixture fixture(row.family);
        for (const ProcessRecord& record : kRecords) fixture.machine.AddProcess(record);
        EXPECT_EQ(Inventory(fixture), row.expected) << row.label;
        EXPECT_EQ(fixture.machine.OpenHandleCount(), 0U) << row.label;
        EXPECT_EQ(fixture.log->text, "") << row.label;
    }
}

TEST(ProcessInventory, StaysWithinItsArrays) {
    RemovalFixture fixture;
    const Text longName = u"C:\\" + Text(400, u'x');
    fixture.machine.AddProcess({4, longName, std::vector<Text>(1500, u"C:\\m.dll")});
    for (std::uint32_t i = 2; i <= 100; ++i) fixture.machine.AddProcess({4 * i, u"C:\\p.exe", {}});
    const std::string inventory = Inventory(fixture);
    EXPECT_EQ(inventory.substr(0, inventory.find('\n')), "[C:\\" + std::string(257, 'x') + "]");
    const auto lines = std::count(inventory.begin(), inventory.end(), '\n');
    EXPECT_EQ(lines, 100 + 1023);
}

}  // namespace
}  // namespace bkfd
