#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

#include "platform/Machine.h"

/// What the seam promises, as one suite for every adapter. A test program links these sources and
/// names its adapters:
///
///     INSTANTIATE_TEST_SUITE_P(Memory, MachineContract, testing::Values(...), AdapterName);
namespace bkfd::contract {

/// A machine under test, with a place of its own in it. It cleans up behind itself.
class MachineUnderTest {
  public:
    virtual ~MachineUnderTest() = default;

    virtual Machine& Get() = 0;
    /// A key below HKEY_CURRENT_USER that the test may do with as it likes; it isn't there yet.
    virtual Text ScratchKey() = 0;
    /// An empty folder, without a backslash at its end.
    virtual Text ScratchFolder() = 0;
    /// Gives an existing file a second, 8.3 name and returns it; empty if the adapter can't.
    virtual Text GiveShortName(const Text& path) {
        (void)path;
        return {};
    }
    /// False where the host below lets its administrator write to read-only files.
    virtual bool RefusesToWriteReadOnly() { return true; }
};

struct Adapter {
    std::string name;  // letters and digits
    std::function<std::unique_ptr<MachineUnderTest>()> make;
};

class MachineContract : public testing::TestWithParam<Adapter> {
  protected:
    MachineContract() : under_(GetParam().make()), machine_(under_->Get()) {}

    bool IsNT() { return IsVersionOfNT(system_.GetVersion()); }
    std::string Ansi(TextView text) { return system_.WideCharToMultiByte(text); }
    Text In(TextView name) { return under_->ScratchFolder() + u"\\" + Text(name); }
    Text Key(TextView below) { return under_->ScratchKey() + u"\\" + Text(below); }
    /// Makes a new file with the content; fails the test if it can't.
    void WriteNew(TextView path, std::string_view content);
    /// The file's content, or "error" and the code.
    std::string Content(TextView path);

    std::unique_ptr<MachineUnderTest> under_;
    Machine& machine_;
    Files& files_ = machine_.FileSystem();
    Registry& registry_ = machine_.RegistryKeys();
    Processes& processes_ = machine_.ProcessTable();
    SystemFacts& system_ = machine_.System();
};

inline std::string AdapterName(const testing::TestParamInfo<Adapter>& info) {
    return info.param.name;
}

}  // namespace bkfd::contract
