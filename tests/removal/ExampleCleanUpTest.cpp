#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "common/BrowserKeys.h"
#include "common/ExampleMachine.h"
#include "common/FaultSweep.h"
#include "platform/overlay/OverlayMachine.h"
#include "processes/AsideFiles.h"
#include "processes/CProcessManager.h"
#include "processes/ParasiteFileName.h"
#include "processes/RemovedFiles.h"
#include "services/FileUtil.h"

namespace bkfd {
namespace {

enum class Listing { Whole, MayLack };

/// Each file is whole under its old name or its disabled one, and a disabled one is on the list of
/// removed files or, where that may lack some, the log says why it isn't.
void ExpectNothingLost(Machine& machine, const FileSet& before, const std::string& log,
                       Listing listing) {
    const FileSet after = FilesOf(machine);
    Registry& registry = machine.RegistryKeys();
    for (const auto& [path, content] : before) {
        SCOPED_TRACE(ToUtf8(path));
        const Text disabled = ToLower(GetParasiteFileName(path));
        const bool isDisabled = after.contains(disabled);
        ASSERT_NE(after.contains(path), isDisabled);
        EXPECT_EQ(after.at(isDisabled ? disabled : path), content);
        if (!isDisabled) continue;
        const bool isListed =
            registry.RegQueryValueExW(kRemovedFilesRoot, kRemovedFilesKey, path).IsOk();
        const Text line = ToLower(u"Cannot note '" + path + u"' in the list");
        EXPECT_NE(isListed, Find(ToLower(FromUtf8(log)), line) > 0);
        EXPECT_TRUE(isListed || listing == Listing::MayLack);
    }
}

/// Cleans up once more, where every call succeeds.
void ExpectNormalEnd(Machine& machine, const FileSet& before, std::string log, Listing listing) {
    Engine engine(machine);
    EXPECT_TRUE(engine.CleanUp());
    ExpectNothingLost(machine, before, log + engine.log->text, listing);
    Text startPage;
    (void)RegistryAccess().ReadString(HKCU, kMainKey, u"Start Page", startPage);
    EXPECT_EQ(startPage, u"about:blank");
}

using Lasting = FaultPlan::Lasting;
class ExampleFaultSweep : public testing::TestWithParam<std::tuple<std::string, Lasting>> {};

TEST_P(ExampleFaultSweep, LosesNothingWhateverCallFails) {
    const auto& [example, lasting] = GetParam();
    const auto listing = lasting == Lasting::Once ? Listing::Whole : Listing::MayLack;
    const ExampleCopy copy(example);
    const auto image = copy.Load();
    const FileSet before = FilesOf(*image);
    OverlayMachine overlay(*image);
    std::string log;
    SweepFaults(
        overlay, lasting,
        [&, every = EveryOne(lasting)](SplittingMachine& splitting) {
            Engine engine(splitting);
            splitting.Begin({}, every);
            (void)engine.CleanUp();
            log = engine.log->text;
        },
        [&] {
            ExpectNothingLost(overlay, before, log, listing);
            ExpectNormalEnd(overlay, before, log, listing);
        });
}

INSTANTIATE_TEST_SUITE_P(Sweep, ExampleFaultSweep,
                         testing::Combine(testing::Values("hijacked-xp", "hijacked-98"),
                                          testing::Values(Lasting::Once, Lasting::FromThenOn)),
                         [](const auto& tested) {
                             const bool isXP = std::get<0>(tested.param) == "hijacked-xp";
                             return std::string(isXP ? "XP" : "Win98") +
                                    (std::get<1>(tested.param) == Lasting::Once ? "Once"
                                                                                : "ForGood");
                         });

TEST(ExampleKillSweep, LosesNothingWhereverTheProcessEnds) {
    const ExampleCopy copy("hijacked-xp");
    const FileSet before = FilesOf(*copy.Load());
    const auto states = StatesAtWritePoints(copy, [&] {
        const auto image = copy.Load();
        EXPECT_TRUE(Engine(*image).CleanUp());
    });
    int point = 0;
    for (const ExampleCopy& state : states) {
        SCOPED_TRACE("write point " + std::to_string(++point));
        const auto image = state.Load();
        ExpectNormalEnd(*image, before, "", Listing::Whole);
        if (HasFailure()) return;
    }
    EXPECT_GT(point, 20);
}

/// Whether a file of that content is among them, under whatever name.
bool HasContent(const FileSet& files, std::string_view content) {
    return std::ranges::any_of(
        files, [&](const auto& file) { return std::ranges::equal(file.second, content); });
}

TEST(ReplacementKillSweep, LosesNeitherFileWhereverTheProcessEnds) {
    constexpr char16_t kBad[] = u"C:\\bad.dll";
    const auto disable = [&](const ExampleCopy& on) {
        const auto image = on.Load();
        Engine engine(*image);
        CProcessManager manager;
        manager.Init(engine.log);
        manager.RenameParasiteFileEx(kBad);
    };
    const ExampleCopy copy("clean-xp");
    copy.Write("drives/c/bad.dll", "fresh");
    copy.Write("drives/c/parasite_bad.dll.parasite", "earlier");
    int point = 0;
    for (const ExampleCopy& state : StatesAtWritePoints(copy, [&] { disable(copy); })) {
        SCOPED_TRACE("write point " + std::to_string(++point));
        {
            const auto image = state.Load();
            const Engine engine(*image);
            const FileSet files = FilesOf(*image);
            EXPECT_TRUE(HasContent(files, "fresh"));
            EXPECT_TRUE(HasContent(files, "earlier") || !files.contains(u"c:\\bad.dll"));
            EXPECT_TRUE(HasDisabledFile(kBad));
        }
        state.Write("drives/c/bad.dll", "fresh");
        disable(state);
        EXPECT_FALSE(HasContent(FilesOf(*state.Load()), "earlier"));
        EXPECT_EQ(state.Read("drives/c/parasite_bad.dll.parasite"), "fresh");
        EXPECT_FALSE(state.Has("drives/c/bad.dll"));
        if (HasFailure()) return;
    }
    EXPECT_GT(point, 10);
}

TEST(ExampleUndo, GivesEveryFileItsNameAndBytesBack) {
    for (const char* name : {"hijacked-xp", "hijacked-98", "clean-xp"}) {
        const ExampleCopy copy(name);
        const auto image = copy.Load();
        const FileSet before = FilesOf(*image);
        Engine engine(*image);
        EXPECT_TRUE(engine.CleanUp()) << name;
        const auto listed =
            image->RegistryKeys().RegEnumValueW(kRemovedFilesRoot, kRemovedFilesKey);
        EXPECT_EQ(listed.IsOk(), std::string(name) != "clean-xp") << name;
        EXPECT_EQ(FilesOf(*image) == before, !listed.IsOk()) << name;

        CProcessManager manager;
        manager.Init(engine.log);
        for (const Text& path : listed.value) {
            bool isRestored = false;
            manager.SafeRenameFile(GetParasiteFileName(path), path, isRestored);
            EXPECT_TRUE(isRestored) << ToUtf8(path);
        }
        EXPECT_TRUE(FilesOf(*image) == before) << name;
    }
}

}  // namespace
}  // namespace bkfd
