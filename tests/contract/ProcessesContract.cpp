#include <algorithm>

#include "tests/contract/MachineContract.h"

namespace bkfd::contract {
namespace {

constexpr std::uint32_t kStatedModuleSize = 1063;  // more than the record is fine

Text UpToNul(const Text& field) {
    return field.substr(0, field.find(u'\0'));
}

TEST_P(MachineContract, TheOwnProcessIsListed) {
    if (!IsNT()) return;
    std::vector<std::uint32_t> ids(4096);
    std::uint32_t needed = 0;
    ASSERT_EQ(processes_.EnumProcesses(ids, needed).code, 0u);
    ASSERT_GE(needed, 4u);
    ids.resize(needed / 4);
    EXPECT_EQ(std::count(ids.begin(), ids.end(), processes_.GetCurrentProcessId()), 1);
    std::vector<std::uint32_t> none;
    EXPECT_EQ(processes_.EnumProcesses(none, needed).code, 0u);
    EXPECT_EQ(needed, 0u);
}

TEST_P(MachineContract, ModulesBeginWithTheProgramFile) {
    if (!IsNT()) return;
    const auto process =
        processes_.OpenProcess(ProcessAccess::QueryAndRead, processes_.GetCurrentProcessId());
    ASSERT_EQ(process.code, 0u);
    std::vector<ModuleHandle> modules(1024);
    std::uint32_t needed = 0;
    ASSERT_EQ(processes_.EnumProcessModules(process.value, modules, 4096, needed).code, 0u);
    ASSERT_GE(needed, 4u);
    Text buffer(500, u' ');
    std::uint32_t count = processes_.GetModuleFileNameExW(process.value, modules[0], buffer);
    const Text program = system_.GetModuleFileNameW();
    EXPECT_TRUE(EqualsIgnoreCase(buffer.substr(0, count), program)) << ToUtf8(buffer);
    count = processes_.GetModuleFileNameExW(process.value, modules[0], std::span(buffer).first(5));
    EXPECT_TRUE(count == 4 || count == 5) << count;

    std::uint32_t again = 0;
    std::vector<ModuleHandle> one(1);
    ASSERT_EQ(processes_.EnumProcessModules(process.value, one, 4, again).code, 0u);
    EXPECT_EQ(again, needed);
    EXPECT_EQ(one[0], modules[0]);
    EXPECT_EQ(processes_.CloseHandle(process.value).code, 0u);
}

TEST_P(MachineContract, ToolhelpListsTheOwnProcessAndItsProgramFile) {
    const Handle list = processes_.CreateToolhelp32Snapshot(SnapshotHolds::Processes, 0);
    ASSERT_NE(list, kInvalidHandle);
    ProcessEntry entry;
    entry.size = kProcessRecordSize - 1;
    EXPECT_EQ(processes_.Process32First(list, entry).code, SystemError::BadLength);
    entry.size = kProcessRecordSize;
    int own = 0;
    Status status = processes_.Process32First(list, entry);
    for (; status.IsOk(); status = processes_.Process32Next(list, entry)) {
        EXPECT_EQ(entry.exeFile.size(), 260u);
        if (entry.processId == processes_.GetCurrentProcessId()) ++own;
    }
    EXPECT_EQ(status.code, SystemError::NoMoreFiles);
    EXPECT_EQ(own, 1);
    EXPECT_EQ(processes_.CloseHandle(list).code, 0u);

    const Handle modules = processes_.CreateToolhelp32Snapshot(SnapshotHolds::Modules,
                                                               processes_.GetCurrentProcessId());
    ASSERT_NE(modules, kInvalidHandle);
    ModuleEntry module;
    module.size = 500;
    EXPECT_EQ(processes_.Module32First(modules, module).code, SystemError::BadLength);
    module.size = kStatedModuleSize;
    int programFiles = 0;
    for (status = processes_.Module32First(modules, module); status.IsOk();
         status = processes_.Module32Next(modules, module)) {
        EXPECT_EQ(module.exePath.size(), 260u);
        if (EqualsIgnoreCase(UpToNul(module.exePath), system_.GetModuleFileNameW())) ++programFiles;
    }
    EXPECT_EQ(status.code, SystemError::NoMoreFiles);
    EXPECT_EQ(programFiles, 1);
    EXPECT_EQ(processes_.CloseHandle(modules).code, 0u);
}

TEST_P(MachineContract, HandlesThatAreNoneAreRefused) {
    EXPECT_EQ(processes_.OpenProcess(ProcessAccess::QueryAndRead, 0xFFFF'FFF2).code,
              SystemError::InvalidParameter);
    const auto process =
        processes_.OpenProcess(ProcessAccess::QueryAndRead, processes_.GetCurrentProcessId());
    ASSERT_EQ(process.code, 0u);
    // The right to end it wasn't asked for. The Windows 95 family has no such rights.
    if (IsNT()) {
        EXPECT_EQ(processes_.TerminateProcess(process.value, 0).code, SystemError::AccessDenied);
    }
    EXPECT_EQ(processes_.CloseHandle(process.value).code, 0u);
    EXPECT_EQ(processes_.CloseHandle(process.value).code, SystemError::InvalidHandle);
    EXPECT_EQ(processes_.CreateToolhelp32Snapshot(SnapshotHolds::Modules, 0xFFFF'FFF2),
              kInvalidHandle);
}

}  // namespace
}  // namespace bkfd::contract
