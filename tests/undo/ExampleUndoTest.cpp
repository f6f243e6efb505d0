#include <gtest/gtest.h>

#include "common/ExampleMachine.h"
#include "common/WritePoints.h"
#include "platform/RootNames.h"
#include "platform/forward/ForwardMachine.h"
#include "platform/overlay/OverlayMachine.h"
#include "platform/undo/UndoMachine.h"
#include "services/RegistryAccess.h"
#include "testing/FaultMachine.h"
#include "undo/TakeBack.h"
#include "undo/UndoRecords.h"
#include "undo/UndoText.h"

namespace bkfd {
namespace {

using Lasting = FaultPlan::Lasting;
using Outcome = UndoStep::Outcome;

const char* const kExamples[] = {"hijacked-xp", "hijacked-98", "clean-xp"};

/// The whole registry as exports, and all files with name, content and attributes but those in the
/// program's own folder. Needs an engine.
std::string StateOf(Machine& machine) {
    std::string state;
    for (const RegistryRoot root : {HKLM, HKCU, RegistryRoot::Users}) {
        const auto keys = machine.RegistryKeys().RegEnumKeyExW(root, u"");
        for (const Text& key : keys.value) state += ToUtf8(RegistryAccess().ExportKey(root, key));
    }
    for (const auto& [path, content] : FilesOf(machine)) {
        if (path.starts_with(u"c:\\program files\\brackenfold")) continue;
        FindData data;
        (void)machine.FileSystem().FindClose(machine.FileSystem().FindFirstFileW(path, data));
        state += ToUtf8(path) + ' ' + ToUtf8(data.name) + ' ' + std::to_string(data.attributes) +
                 ' ' + std::string(content.begin(), content.end()) + '\n';
    }
    return state;
}

/// Takes back all that is left to be, as a user does after a failure, and returns what didn't come
/// back, a line each.
std::string TakeAllBack() {
    std::string trouble;
    for (auto last = LastUndoable(ListUndoRecords()); last;) {
        const UndoResult result = TakeBack(*last);
        trouble += ToUtf8(result.failure);
        for (const UndoStep& step : result.steps) {
            if (step.outcome == Outcome::Conflict || step.outcome == Outcome::Failed) {
                trouble += ToUtf8(KindTitle(step.change.kind)) + " " +
                           ToUtf8(PlaceOf(step.change)) + ": " + ToUtf8(step.error) + '\n';
            }
        }
        const auto next = LastUndoable(ListUndoRecords());
        if (next == last) break;
        last = next;
    }
    return trouble;
}

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

/// Counts the calls before the first that changes something.
class FirstChange final : private CallGate, public ForwardMachine {
  public:
    explicit FirstChange(Machine& target) : ForwardMachine(target, static_cast<CallGate&>(*this)) {}

    std::size_t CallsBefore() const { return before_; }

  private:
    Status Enter(const char* call) override {
        hasChanged_ = hasChanged_ || call == std::string("CreateDirectoryW");
        if (!hasChanged_) ++before_;
        return {};
    }

    std::size_t before_ = 0;
    bool hasChanged_ = false;
};

class UndoFaultSweep : public testing::TestWithParam<std::tuple<std::string, Lasting>> {
  protected:
    UndoFaultSweep() : copy_(std::get<0>(GetParam())), image_(copy_.Load()), engine_(*image_) {
        before_ = StateOf(*image_);
    }

    /// Lets one call after the other fail while `work` runs on a machine over `below`. Then all
    /// works again, and all that is left is taken back.
    template <class Work>
    void Sweep(ModelMachine& below, const Work& work, std::size_t first = 0) {
        std::size_t calls = 0;
        std::size_t call = first;
        do {
            SCOPED_TRACE("call " + std::to_string(++call));
            OverlayMachine overlay(below);
            FaultMachine faulty(overlay);
            {
                KeptEngine kept(faulty);
                faulty.FailCall(call, std::get<1>(GetParam()));
                work(kept.engine);
                calls = faulty.CallCount();
            }
            KeptEngine kept(overlay);
            EXPECT_EQ(TakeAllBack(), "") << faulty.FailedCall();
            EXPECT_TRUE(StateOf(overlay) == before_) << faulty.FailedCall();
        } while (calls >= call && !HasFailure());
        EXPECT_GT(call - first, 100U);
    }

    ExampleCopy copy_;
    std::unique_ptr<ImageMachine> image_;
    Engine engine_;
    std::string before_;
};

TEST_P(UndoFaultSweep, BringsBackTheStateBeforeTheCleanUp) {
    // What fails before the record is made changes what is found, and nothing else.
    OverlayMachine overlay(*image_);
    FirstChange counting(overlay);
    KeptEngine(counting).engine.CleanUp();
    Sweep(
        *image_, [](Engine& engine) { (void)engine.CleanUp(); }, counting.CallsBefore());
}

TEST_P(UndoFaultSweep, BringsItBackAfterAFailedUndo) {
    OverlayMachine cleaned(*image_);
    {
        KeptEngine kept(cleaned);
        EXPECT_TRUE(kept.engine.CleanUp());
    }
    Sweep(cleaned, [](Engine&) {
        try {
            (void)TakeBack(1);
        } catch (const RuntimeError&) {
            // Told, and nothing done.
        }
    });
}

INSTANTIATE_TEST_SUITE_P(Sweep, UndoFaultSweep,
                         testing::Values(std::tuple("hijacked-98", Lasting::Once),
                                         std::tuple("hijacked-xp", Lasting::FromThenOn)),
                         [](const auto& tested) {
                             return std::get<1>(tested.param) == Lasting::Once
                                        ? std::string("Win98Once")
                                        : std::string("XPForGood");
                         });

/// Ends the process at each durable write of `work` on a copy of the image, then takes all back.
void KillSweep(const std::string& from, const std::string& before,
               const std::function<void(Engine&)>& work) {
    int point = 0;
    for (bool wasEnded = true; wasEnded && !testing::Test::HasFailure();) {
        SCOPED_TRACE("write point " + std::to_string(++point));
        const ExampleCopy copy(ImageFolder{from});
        wasEnded = EndsAt(point, [&] {
            const auto image = copy.Load();
            KeptEngine kept(*image);
            work(kept.engine);
        });
        const auto image = copy.Load();
        KeptEngine kept(*image);
        EXPECT_EQ(TakeAllBack(), "");
        EXPECT_TRUE(StateOf(*image) == before);
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
    KillSweep(copy.Path(), before, [](Engine& engine) { (void)engine.CleanUp(); });
    {
        const auto image = copy.Load();
        KeptEngine kept(*image);
        EXPECT_TRUE(kept.engine.CleanUp());
    }
    KillSweep(copy.Path(), before, [](Engine&) { (void)TakeBack(1); });
}

}  // namespace
}  // namespace bkfd
