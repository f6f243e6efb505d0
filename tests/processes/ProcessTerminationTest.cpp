#include <gtest/gtest.h>

#include "common/RemovalFixture.h"
#include "processes/CProcessManager.h"

namespace bkfd {
namespace {

constexpr char kMessage[] =
    "64 Operation complete; terminating. Please reboot Windows and restart Brackenfold to see "
    "whether no more parasites found. \n";

std::string Ended(const char* label) {
    return std::string("5 CProcessManager.MyTerminateProcess: Process for file '") + label +
           "' terminated successfully. \n";
}

std::string IdsLeft(const MemoryMachine& machine) {
    std::string ids;
    for (const ProcessRecord& process : machine.ProcessList()) {
        ids += std::to_string(process.id) + " ";
    }
    return ids;
}

TEST(ProcessTermination, EndsHoldersAndItselfLast) {
    const ProcessRecord good{4, u"C:\\good.exe", {u"C:\\good.dll"}};
    const ProcessRecord refusing{4, u"C:\\bad.exe", {}, true};
    const ProcessRecord self{4, u"C:\\self.exe", {u"C:\\bad.dll"}, false, true};
    const ProcessRecord bad{8, u"C:\\Bad.exe", {}};
    const ProcessRecord host{12, u"C:\\host.exe", {u"C:\\BAD.dll", u"C:\\bad.exe"}};
    const struct {
        const char* label;
        bool terminateSelf;
        std::vector<ProcessRecord> processes;
        const char* left;  // identifiers of the processes that are left
        std::string log;
        bool ends = false;
    } rows[] = {
        {"program and module, in the system's order, once each",
         true,
         {host, bad, good},
         "4 ",
         Ended("12") + Ended("8")},
        {"nobody holds them", true, {good}, "4 ", ""},
        {"the same name elsewhere", true, {{4, u"D:\\bad.exe", {}}}, "4 ", ""},
        {"one that refuses is passed over", true, {refusing, bad}, "4 ", Ended("8")},
        {"this process is spared", false, {self, bad}, "4 ", Ended("8")},
        {"this process goes last, after its message",
         true,
         {self, bad, host},
         "",
         Ended("8") + Ended("12") + Ended("my:4"),
         true},
    };
    for (const WindowsFamily family : {WindowsFamily::NT, WindowsFamily::Windows9x}) {
        for (const auto& row : rows) {
            SCOPED_TRACE(std::string(row.label) + (family == WindowsFamily::NT ? " NT" : " 9x"));
            RemovalFixture fixture(family);
            for (const ProcessRecord& process : row.processes) fixture.machine.AddProcess(process);
            if (row.ends) fixture.toolkit.Answer({MessageResult::Ok});
            CProcessManager manager;
            manager.Init(fixture.log);
            KeyedList modules;
            modules.Add(u"c:\\bad.dll", u"c:\\bad.dll");
            modules.Add(u"c:\\bad.exe", u"c:\\bad.exe");

            const bool ended = EndsProgram(
                [&] { manager.TerminateProcessesByModules(modules, row.terminateSelf); });

            EXPECT_EQ(ended, row.ends);
            EXPECT_EQ(IdsLeft(fixture.machine), row.left);
            EXPECT_EQ(fixture.log->text, row.log);
            EXPECT_EQ(fixture.Messages(), row.ends ? kMessage : "");
            EXPECT_EQ(fixture.machine.OpenHandleCount(), 0U);
        }
    }
}

TEST(ProcessTermination, EmptyListTouchesNothing) {
    RemovalFixture fixture;
    fixture.machine.AddProcess({4, u"", {}});  // an empty name is in no list
    CProcessManager manager;
    manager.Init(fixture.log);
    manager.TerminateProcessesByModules(KeyedList(), true);
    EXPECT_EQ(IdsLeft(fixture.machine), "4 ");
}

TEST(ProcessTermination, IdentifiersOf9xShowAsSigned) {
    RemovalFixture fixture(WindowsFamily::Windows9x);
    fixture.machine.AddProcess({0xFFFD0001, u"C:\\bad.exe", {}});
    CProcessManager manager;
    manager.Init(fixture.log);
    manager.TerminateProcessesByModule(u"c:\\bad.exe", true);
    EXPECT_EQ(fixture.log->text, Ended("-196607"));
    EXPECT_EQ(IdsLeft(fixture.machine), "");
}

}  // namespace
}  // namespace bkfd
