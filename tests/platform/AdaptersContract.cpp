#include "platform/memory/MemoryMachine.h"
#include "tests/contract/MachineContract.h"

namespace bkfd::contract {
namespace {

constexpr TextView kScratchKey = u"Software\\Contract Scratch";
constexpr TextView kScratchFolder = u"C:\\Scratch Folder";
constexpr TextView kShortName = u"ALONGN~1.EXE";

/// A machine in memory in which the program itself runs.
class MemoryUnderTest : public MachineUnderTest {
  public:
    explicit MemoryUnderTest(WindowsFamily family) : memory_(family) {
        memory_.AddFolder(kScratchFolder);
        memory_.SetString(RegistryRoot::LocalMachine, u"Software\\Classes\\.exe", u"", u"exefile");
        const Text program = memory_.System().GetModuleFileNameW();
        memory_.AddFile(program, "MZ");
        memory_.AddProcess({4, u"C:\\WINDOWS\\explorer.exe", {}, false, false});
        memory_.AddProcess({1200, program, {u"C:\\WINDOWS\\a.dll"}, false, true});
    }

    Machine& Get() override { return memory_; }
    Text ScratchKey() override { return Text(kScratchKey); }
    Text ScratchFolder() override { return Text(kScratchFolder); }
    Text GiveShortName(const Text& path) override {
        memory_.SetShortName(path, kShortName);
        return Text(kShortName);
    }

  protected:
    MemoryMachine memory_;
};

template <class Under>
Adapter Make(std::string name, WindowsFamily family) {
    return {std::move(name), [family] { return std::make_unique<Under>(family); }};
}

INSTANTIATE_TEST_SUITE_P(Memory, MachineContract,
                         testing::Values(Make<MemoryUnderTest>("MemoryNT", WindowsFamily::NT),
                                         Make<MemoryUnderTest>("Memory9x",
                                                               WindowsFamily::Windows9x)),
                         AdapterName);

}  // namespace
}  // namespace bkfd::contract
