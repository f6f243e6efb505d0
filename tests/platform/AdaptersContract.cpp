#include "platform/ScratchImage.h"
#include "platform/fault/FaultMachine.h"
#include "platform/memory/MemoryMachine.h"
#include "platform/overlay/OverlayMachine.h"
#include "platform/record/RecordingMachine.h"
#include "platform/witness/WitnessMachine.h"
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

/// The same machine behind a wrapper.
template <class Wrapper>
class WrappedUnderTest final : public MemoryUnderTest {
  public:
    explicit WrappedUnderTest(WindowsFamily family) : MemoryUnderTest(family), wrapper_(memory_) {}

    Machine& Get() override { return wrapper_; }

  private:
    Wrapper wrapper_;
};

/// An overlay doesn't see what is done to its machine behind its back, such as a new short name.
class OverlayUnderTest final : public MemoryUnderTest {
  public:
    explicit OverlayUnderTest(WindowsFamily family) : MemoryUnderTest(family), overlay_(memory_) {}

    Machine& Get() override { return overlay_; }
    Text GiveShortName(const Text&) override { return {}; }

  private:
    OverlayMachine overlay_;
};

class ImageUnderTest final : public MachineUnderTest {
  public:
    explicit ImageUnderTest(WindowsFamily family) {
        const std::string name = family == WindowsFamily::NT ? "nt" : "9x";
        image_.Write("machine.json", R"({"family": ")" + name + R"(", "processes": [
            {"id": 4, "path": "C:\\WINDOWS\\explorer.exe"},
            {"id": 1200, "path": "C:\\Program Files\\Brackenfold\\Brackenfold.exe",
             "modules": ["C:\\WINDOWS\\a.dll"], "self": true}]})");
        image_.Write("registry/a.reg",
                     "REGEDIT4\r\n\r\n[HKEY_CLASSES_ROOT\\.exe]\r\n@=\"exefile\"\r\n\r\n");
        image_.Write("drives/c/Scratch Folder/.keep", "");
        std::filesystem::remove(image_.Path() + "/drives/c/Scratch Folder/.keep");
        machine_ = image_.Load();
    }

    Machine& Get() override { return *machine_; }
    Text ScratchKey() override { return Text(kScratchKey); }
    Text ScratchFolder() override { return Text(kScratchFolder); }

  private:
    ScratchImage image_;
    std::unique_ptr<ImageMachine> machine_;
};

template <class Under>
Adapter Make(std::string name, WindowsFamily family) {
    return {std::move(name), [family] { return std::make_unique<Under>(family); }};
}

template <class Under>
auto BothFamilies(const std::string& name) {
    return testing::Values(Make<Under>(name + "NT", WindowsFamily::NT),
                           Make<Under>(name + "9x", WindowsFamily::Windows9x));
}

INSTANTIATE_TEST_SUITE_P(Memory, MachineContract, BothFamilies<MemoryUnderTest>("Memory"),
                         AdapterName);
INSTANTIATE_TEST_SUITE_P(Image, MachineContract, BothFamilies<ImageUnderTest>("Image"),
                         AdapterName);
INSTANTIATE_TEST_SUITE_P(Fault, MachineContract,
                         BothFamilies<WrappedUnderTest<FaultMachine>>("Fault"), AdapterName);
INSTANTIATE_TEST_SUITE_P(Witness, MachineContract,
                         BothFamilies<WrappedUnderTest<WitnessMachine>>("Witness"), AdapterName);
INSTANTIATE_TEST_SUITE_P(Recording, MachineContract,
                         BothFamilies<WrappedUnderTest<RecordingMachine>>("Recording"),
                         AdapterName);
INSTANTIATE_TEST_SUITE_P(Overlay, MachineContract, BothFamilies<OverlayUnderTest>("Overlay"),
                         AdapterName);

}  // namespace
}  // namespace bkfd::contract
