#include "platform/ScratchImage.h"
#include "platform/overlay/OverlayMachine.h"
#include "platform/record/RecordingMachine.h"
#include "platform/undo/UndoMachine.h"
#include "platform/witness/WitnessMachine.h"
#include "testing/FaultMachine.h"
#include "testing/MemoryMachine.h"
#include "tests/contract/MachineContract.h"

namespace bkfd::contract {
namespace {

constexpr TextView kScratchKey = u"Software\\Contract Scratch";
constexpr TextView kScratchFolder = u"C:\\Scratch Folder";
constexpr TextView kShortName = u"ALONGN~1.EXE";

struct Kind {
    const char* name;
    WindowsFamily family;
    bool hasTwoViews = false;
};
constexpr Kind kKinds[] = {{"NT", WindowsFamily::NT},
                           {"64Bit", WindowsFamily::NT, true},
                           {"9x", WindowsFamily::Windows9x}};

/// A machine in memory in which the program itself runs.
class MemoryUnderTest : public MachineUnderTest {
  public:
    explicit MemoryUnderTest(const Kind& kind) : memory_(kind.family) {
        memory_.Facts().hasTwoViews = kind.hasTwoViews;
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

/// A wrapper made of its machine alone.
struct Undoable : UndoMachine {
    explicit Undoable(Machine& target) : UndoMachine(target, u"1.0.0") {}
};

/// The same machine behind a wrapper.
template <class Wrapper>
class WrappedUnderTest final : public MemoryUnderTest {
  public:
    explicit WrappedUnderTest(const Kind& kind) : MemoryUnderTest(kind), wrapper_(memory_) {}

    Machine& Get() override { return wrapper_; }

    Text GiveShortName(const Text& path) override {
        // An overlay doesn't see what is done to its machine behind its back.
        if constexpr (std::is_same_v<Wrapper, OverlayMachine>) return {};
        return MemoryUnderTest::GiveShortName(path);
    }

  private:
    Wrapper wrapper_;
};

class ImageUnderTest final : public MachineUnderTest {
  public:
    explicit ImageUnderTest(const Kind& kind) {
        const std::string name = kind.family == WindowsFamily::NT ? "nt" : "9x";
        const std::string architecture = kind.hasTwoViews ? "x64" : "x86";
        image_.Write("machine.json", R"({"family": ")" + name + R"(", "architecture": ")" +
                                         architecture + R"(", "processes": [
            {"id": 4, "path": "C:\\WINDOWS\\explorer.exe"},
            {"id": 1200, "path": "C:\\Program Files\\Brackenfold\\Brackenfold.exe",
             "modules": ["C:\\WINDOWS\\a.dll"], "self": true}]})");
        image_.Write("registry/a.reg",
                     "REGEDIT4\r\n\r\n[HKEY_CLASSES_ROOT\\.exe]\r\n@=\"exefile\"\r\n\r\n");
        std::filesystem::create_directory(image_.Path("drives/c/Scratch Folder"));
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
void AddAllKinds(std::vector<Adapter>& adapters, const std::string& name) {
    for (const Kind& kind : kKinds) {
        adapters.push_back({name + kind.name, [kind] { return std::make_unique<Under>(kind); }});
    }
}

std::vector<Adapter> Adapters() {
    std::vector<Adapter> adapters;
    AddAllKinds<MemoryUnderTest>(adapters, "Memory");
    AddAllKinds<ImageUnderTest>(adapters, "Image");
    AddAllKinds<WrappedUnderTest<FaultMachine>>(adapters, "Fault");
    AddAllKinds<WrappedUnderTest<WitnessMachine>>(adapters, "Witness");
    AddAllKinds<WrappedUnderTest<RecordingMachine>>(adapters, "Recording");
    AddAllKinds<WrappedUnderTest<Undoable>>(adapters, "Undo");
    AddAllKinds<WrappedUnderTest<OverlayMachine>>(adapters, "Overlay");
    return adapters;
}

INSTANTIATE_TEST_SUITE_P(Native, MachineContract, testing::ValuesIn(Adapters()), AdapterName);

}  // namespace
}  // namespace bkfd::contract
