#include <gtest/gtest.h>

#include "common/ExampleMachine.h"
#include "common/FaultSweep.h"
#include "common/UndoSweep.h"
#include "platform/overlay/OverlayMachine.h"
#include "platform/undo/RecordedOperation.h"
#include "platform/undo/UndoMachine.h"
#include "undo/TakeBack.h"

namespace bkfd {
namespace {

using Lasting = FaultPlan::Lasting;

const char* const kExamples[] = {"hijacked-xp", "hijacked-98", "clean-xp"};

struct KeptEngine {
    explicit KeptEngine(Machine& machine) : undo(machine, u"1.0.0"), engine(undo) {}

    UndoMachine undo;
    Engine engine;
};

TEST(ExampleUndo, GivesEveryMachineBackAsItWas) {
    for (const char* example : kExamples) {
        SCOPED_TRACE(example);
        const ExampleCopy copy(example);
        std::string before;
        {
            const auto image = copy.Load();
            KeptEngine kept(*image);
            before = StateOf(*image);
            EXPECT_TRUE(kept.engine.CleanUp());
            EXPECT_NE(StateOf(*image), before);
            EXPECT_EQ(TakeAllBack(), "");
            EXPECT_EQ(StateOf(*image), before);
        }
        // From the disk, the same.
        const auto image = copy.Load();
        const Engine engine(*image);
        EXPECT_EQ(StateOf(*image), before);
    }
}

class UndoFaultSweep : public testing::TestWithParam<std::tuple<std::string, Lasting>> {
  protected:
    UndoFaultSweep() : copy_(std::get<0>(GetParam())), image_(copy_.Load()), engine_(*image_) {
        before_ = StateOf(*image_);
    }

    /// Lets each call fail while `work` runs on the machine, from the first of that name on. Then
    /// all works again, and all that is left is taken back.
    void Sweep(Machine& machine, const std::function<void(Engine&)>& work, const char* from) {
        SweepFaults(
            machine, std::get<1>(GetParam()),
            [&](SplittingMachine& splitting) {
                KeptEngine kept(splitting);
                splitting.Begin(from, EveryOne(std::get<1>(GetParam())));
                work(kept.engine);
            },
            [&] {
                KeptEngine kept(machine);
                EXPECT_EQ(TakeAllBack(), "");
                EXPECT_TRUE(StateOf(machine) == before_);
            });
    }

    ExampleCopy copy_;
    std::unique_ptr<ImageMachine> image_;
    Engine engine_;
    std::string before_;
};

TEST_P(UndoFaultSweep, BringsBackTheStateBeforeTheCleanUp) {
    // What fails before the record is made changes what is found, and nothing else.
    OverlayMachine overlay(*image_);
    Sweep(
        overlay, [](Engine& engine) { (void)engine.CleanUp(); }, "CreateDirectoryW");
}

TEST_P(UndoFaultSweep, BringsItBackAfterAFailedUndo) {
    OverlayMachine cleaned(*image_);
    EXPECT_TRUE(KeptEngine(cleaned).engine.CleanUp());
    const auto undo = [](Engine&) {
        try {
            (void)TakeBack(1);
        } catch (const RuntimeError&) {
            // Told, and nothing done.
        }
    };
    Sweep(cleaned, undo, "");
}

INSTANTIATE_TEST_SUITE_P(Sweep, UndoFaultSweep,
                         testing::Values(std::tuple("hijacked-98", Lasting::Once),
                                         std::tuple("hijacked-xp", Lasting::FromThenOn)),
                         [](const auto& tested) {
                             return std::get<1>(tested.param) == Lasting::Once
                                        ? std::string("Win98Once")
                                        : std::string("XPForGood");
                         });

/// Takes all back in each state in which the process can have ended while `work` ran.
void KillSweep(const ExampleCopy& copy, const std::string& before,
               const std::function<void(Engine&)>& work) {
    const auto states = StatesAtWritePoints(copy, [&] {
        const auto image = copy.Load();
        KeptEngine kept(*image);
        work(kept.engine);
    });
    int point = 0;
    for (const ExampleCopy& state : states) {
        SCOPED_TRACE("write point " + std::to_string(++point));
        const auto image = state.Load();
        KeptEngine kept(*image);
        EXPECT_EQ(TakeAllBack(), "");
        EXPECT_TRUE(StateOf(*image) == before);
        if (testing::Test::HasFailure()) return;
    }
    EXPECT_GT(point, 100);
}

TEST(UndoKillSweep, BringsBackTheStateWhereverTheProcessEnds) {
    const ExampleCopy copy("hijacked-xp");
    std::string before;
    {
        const auto image = copy.Load();
        const Engine engine(*image);
        before = StateOf(*image);
    }
    KillSweep(copy, before, [](Engine& engine) { EXPECT_TRUE(engine.CleanUp()); });
    // The cleanup stands; the same for its undo.
    KillSweep(copy, before, [](Engine&) { EXPECT_TRUE(TakeBack(1).IsWhole()); });
}

/// Changes of every kind, those that the machine's journal takes records along with and others.
void ChangeSomeOfAll(Machine& machine) {
    Registry& registry = machine.RegistryKeys();
    Files& files = machine.FileSystem();
    const RecordedOperation operation(UndoOperation::kCleanUp);
    (void)registry.RegDeleteValueW(HKLM, u"Software\\A", u"x");
    (void)files.SetFileAttributesW(u"C:\\a.exe", FileAttribute::Hidden);
    (void)files.MoveFileW(u"C:\\a.exe", u"C:\\parasite_a.exe");
    (void)registry.RegDeleteKeyW(HKLM, u"Software\\A\\Sub");
    (void)files.CreateFileW(u"C:\\new.txt", FileMode::CreateNew);
    (void)registry.RegSetValueExW(HKLM, u"Software\\New\\Key", u"v", {});
    (void)registry.RegSetValueExW(HKLM, u"Software\\A", u"large",
                                  {RegistryType::Binary, Bytes(50'000, 7)});
    (void)files.DeleteFileW(u"C:\\b.dll");
    const auto process = machine.ProcessTable().OpenProcess(ProcessAccess::All, 4);
    (void)machine.ProcessTable().TerminateProcess(process.value, 0);
    (void)registry.RegSetValueExW(HKLM, u"Software\\A", u"y", {});
}

/// A power failure takes what was written to the record and never flushed.
TEST(UndoPowerLoss, LeavesNoChangeWithoutItsRecord) {
    const HostFolder small;
    small.Write("machine.json",
                R"({"family": "nt", "processes": [{"id": 4, "path": "C:\\a.exe"}]})");
    small.Write("registry/1.reg",
                "REGEDIT4\n\n[HKEY_LOCAL_MACHINE\\Software\\A]\n\"x\"=\"1\"\n\"y\"=\"2\"\n\n"
                "[HKEY_LOCAL_MACHINE\\Software\\A\\Sub]\n\"z\"=\"3\"\n");
    small.Write("drives/c/a.exe", "a");
    small.Write("drives/c/b.dll", "b");
    const ExampleCopy copy(ImageFolder{small.Path()});
    const std::string record = "drives/c/Program Files/Brackenfold/Undo/0001.undo";
    std::list<ExampleCopy> states;
    std::string before;
    int changed = 0;
    {
        const auto image = copy.Load();
        KeptEngine kept(*image);
        before = StateOf(*image);
        std::size_t flushed = 0;
        SetWritePointHook([&](const char* step) {
            if (step == std::string_view("named") || step == std::string_view("settled")) {
                flushed = copy.Read(record).size();
            }
            states.emplace_back(ImageFolder{copy.Path()});
            if (!copy.Has(record) || flushed == 0) return;
            states.back().Write(record, copy.Read(record).substr(0, flushed));
        });
        ChangeSomeOfAll(kept.undo);
        SetWritePointHook({});
    }
    int point = 0;
    for (const ExampleCopy& state : states) {
        SCOPED_TRACE("write point " + std::to_string(++point));
        const auto image = state.Load();
        ASSERT_NE(image, nullptr);
        KeptEngine kept(*image);
        changed += StateOf(*image) != before ? 1 : 0;
        EXPECT_EQ(TakeAllBack(), "");
        EXPECT_EQ(StateOf(*image), before);
        if (HasFailure()) return;
    }
    EXPECT_GT(changed, 20);
}

}  // namespace
}  // namespace bkfd
