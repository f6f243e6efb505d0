#include <gtest/gtest.h>

#include <regex>
#include <set>

#include "common/FaultSweep.h"
#include "common/SmallVolume.h"
#include "common/UndoSweep.h"
#include "formats/HiveChecker.h"
#include "platform/overlay/OverlayMachine.h"
#include "platform/undo/CommittingKeeper.h"
#include "platform/undo/UndoMachine.h"
#include "platform/user/UserMachine.h"

namespace bkfd {
namespace {

using VolumeForm = SmallVolume::Form;
using Lasting = FaultPlan::Lasting;

/// The engine on a volume, or on an overlay of it, with records of what it changes.
class KeptVolume {
  public:
    KeptVolume(Machine& machine, const VolumeMachine& volume)
        : undo_(machine, u"1.0.0"), user_(undo_), engine_(AsUser(volume)) {}

    Engine& operator*() { return engine_; }
    /// From now on the registry is written at the end of each operation.
    void CommitTo(VolumeMachine& volume) {
        keeper_.emplace(undo_, [this, &volume] {
            const auto error = volume.Commit(undo_.Record());
            EXPECT_FALSE(error) << error->message;
            return !error;
        });
    }

  private:
    Machine& AsUser(const VolumeMachine& volume) {
        user_.SetUser(volume.Users().front().key, volume.Facts().HasUserClasses());
        return user_;
    }

    UndoMachine undo_;
    std::optional<CommittingKeeper> keeper_;
    UserMachine user_;
    Engine engine_;
};

/// Opens the volume to change it, and does the work.
void Change(const SmallVolume& volume, const std::function<void(Engine&)>& work) {
    const auto machine = volume.Load();
    KeptVolume kept(*machine, *machine);
    kept.CommitTo(*machine);
    work(*kept);
}

/// Each file is disabled, or nothing starts it any more: the one that a failure has left is found
/// no more when its registration is gone.
void CleanUp(Engine& engine) {
    EXPECT_TRUE(engine.CleanUp());
    Machine& machine = TheMachine();
    const FileSet files = FilesOf(machine);
    const Text key = u"Software\\Microsoft\\Windows\\CurrentVersion\\";
    const auto run = machine.RegistryKeys().RegEnumValueW(HKLM, key + u"Run");
    const auto objects =
        machine.RegistryKeys().RegEnumKeyExW(HKLM, key + u"Explorer\\Browser Helper Objects");
    EXPECT_TRUE(!files.contains(u"c:\\windows\\bad.exe") || run.value.empty());
    EXPECT_TRUE(!files.contains(u"c:\\windows\\bho.dll") || objects.value.empty());
}

void TakeBackAll(Engine&) {
    EXPECT_EQ(TakeAllBack(), "");
}

/// The registry that a scan sees, but for the time of the cleanup.
std::string Seen(const SmallVolume& volume) {
    const auto machine = volume.Load(false);
    for (const VolumeProblem& problem : machine->Problems()) {
        ADD_FAILURE() << problem.file << ' ' << problem.what;
    }
    const Engine engine(*machine);
    return std::regex_replace(RegistryOf(*machine), std::regex("Cleanup Time\"=.*"), "");
}

class VolumeFaultSweep : public testing::TestWithParam<std::tuple<VolumeForm, Lasting>> {
  protected:
    VolumeFaultSweep() : volume_(std::get<0>(GetParam())), machine_(volume_.Load()) {
        const Engine engine(*machine_);
        before_ = StateOf(*machine_);
    }

    void Sweep(OverlayMachine& overlay, const std::function<void(Engine&)>& work, const char* from,
               const std::function<void(Engine&)>& then) {
        SweepFaults(
            overlay, std::get<1>(GetParam()),
            [&](SplittingMachine& splitting) {
                KeptVolume kept(splitting, *machine_);
                splitting.Begin(from, EveryOne(7));
                work(*kept);
            },
            [&] {
                KeptVolume kept(overlay, *machine_);
                then(*kept);
                EXPECT_EQ(TakeAllBack(), "");
                EXPECT_TRUE(StateOf(overlay) == before_);
            });
    }

    SmallVolume volume_;
    std::unique_ptr<VolumeMachine> machine_;
    std::string before_;
};

TEST_P(VolumeFaultSweep, ACleanUpCanBeDoneAgainAndTakenBack) {
    OverlayMachine overlay(*machine_);
    Sweep(
        overlay, [](Engine& engine) { (void)engine.CleanUp(); }, "", CleanUp);
}

TEST_P(VolumeFaultSweep, AnUndoCanBeDoneAgain) {
    OverlayMachine cleaned(*machine_);
    CleanUp(*KeptVolume(cleaned, *machine_));
    const auto undo = [](Engine&) {
        try {
            (void)TakeBack(1);
        } catch (const RuntimeError&) {
            // Told, and nothing done.
        }
    };
    Sweep(cleaned, undo, "", [](Engine&) {});
}

INSTANTIATE_TEST_SUITE_P(Sweep, VolumeFaultSweep,
                         testing::Values(std::tuple(VolumeForm::Hives, Lasting::Once),
                                         std::tuple(VolumeForm::Hives, Lasting::FromThenOn),
                                         std::tuple(VolumeForm::Wine, Lasting::Once),
                                         std::tuple(VolumeForm::Wine, Lasting::FromThenOn)),
                         [](const auto& tested) {
                             const bool isWine = std::get<0>(tested.param) == VolumeForm::Wine;
                             return std::string(isWine ? "Wine" : "Hives") +
                                    (std::get<1>(tested.param) == Lasting::Once ? "Once"
                                                                                : "ForGood");
                         });

class VolumeKillSweep : public testing::TestWithParam<VolumeForm> {
  protected:
    using Files = std::map<std::string, std::string>;

    VolumeKillSweep() : volume_(GetParam()) {
        before_ = volume_.Others();
        registryBefore_ = Seen(volume_);
        SmallVolume cleaned(ImageFolder{volume_.Path()});
        Change(cleaned, CleanUp);
        registryAfter_ = Seen(cleaned);
        EXPECT_NE(registryAfter_, registryBefore_);
    }

    /// In each state in which the process can have ended while `work` ran: a scan sees the registry
    /// as before or after it and writes nothing; then the work is done again, and all is taken
    /// back.
    void Sweep(const std::function<void(Engine&)>& work, const std::string& from,
               const std::string& to) {
        std::size_t point = 0;
        std::set<std::string> seen;
        for (const SmallVolume& state :
             StatesAtWritePoints(volume_, [&] { Change(volume_, work); })) {
            SCOPED_TRACE("write point " + std::to_string(++point));
            const Files left = state.Snapshot();
            const std::string registry = Seen(state);
            EXPECT_TRUE(registry == from || registry == to);
            seen.insert(registry);
            EXPECT_TRUE(state.Snapshot() == left) << "a scan has written";
            if (point % 2 == 0) Change(state, CleanUp);
            Change(state, TakeBackAll);
            CollectHives(state);
            EXPECT_EQ(Differences(state), "");
            if (testing::Test::HasFailure()) return;
        }
        EXPECT_GT(point, 30U);
        EXPECT_EQ(seen.size(), 2U);
    }

    /// The names of files that aren't as before.
    std::string Differences(const SmallVolume& state) const {
        std::string names;
        const Files now = state.Others();
        for (const auto& [name, content] : before_) {
            if (!now.contains(name) || now.at(name) != content) names += name + " changed\n";
        }
        for (const auto& [name, content] : now) {
            if (!before_.contains(name)) names += name + " came\n";
        }
        return names;
    }

    void CollectHives(const SmallVolume& state) {
        for (const auto& [name, content] : state.Others()) {
            if (content.starts_with("regf")) hives_.insert(content);
        }
    }

    /// Readers of others take every hive that a run has left, and so does the checker.
    void ReadHives() const {
        const HostFolder folder;
        for (const std::string& hive : hives_) {
            const auto* const bytes = reinterpret_cast<const std::uint8_t*>(hive.data());
            EXPECT_TRUE(CheckHive({bytes, hive.size()}).empty());
            folder.Write("hive", hive);
            for (const char* reader : {"hivexml '", "reglookup '"}) {
                const std::string command = reader + folder.Path("hive") + "' >/dev/null 2>&1";
                EXPECT_EQ(std::system(command.c_str()), 0) << reader;
            }
        }
    }

    SmallVolume volume_;
    Files before_;
    std::string registryBefore_;
    std::string registryAfter_;
    std::set<std::string> hives_;
};

TEST_P(VolumeKillSweep, TheNextRunFindsTheStateBeforeOrAfter) {
    Sweep(CleanUp, registryBefore_, registryAfter_);
    CollectHives(volume_);
    // The cleanup stands; the same for its undo.
    Sweep(TakeBackAll, registryAfter_, registryBefore_);
    ReadHives();
}

INSTANTIATE_TEST_SUITE_P(Sweep, VolumeKillSweep,
                         testing::Values(VolumeForm::Hives, VolumeForm::Wine),
                         [](const auto& tested) {
                             return std::string(tested.param == VolumeForm::Wine ? "Wine"
                                                                                 : "Hives");
                         });

}  // namespace
}  // namespace bkfd
