#include <gtest/gtest.h>

#include "HijackedMachine.h"
#include "RemovalBench.h"
#include "platform/fault/FaultMachine.h"
#include "removal/CPaRemover.h"
#include "removal/processes/ParasiteFileName.h"
#include "removal/processes/RemovedFiles.h"

namespace bkfd {
namespace {

/// A user who says OK to everything.
class WillingToolkit final : public HeadlessToolkit {
  public:
    MessageResult ShowMessageBox(const Text&, int, const Text&) override {
        return MessageResult::Ok;
    }
};

/// A hijacked machine, its user, and a cleanup of which calls fail.
class FaultyCleanUp {
  public:
    explicit FaultyCleanUp(WindowsFamily family) : bench_(family), machine_(bench_.machine) {
        Hijack(bench_.machine);
        toolkit_.onPump = bench_.toolkit.onPump;
        InstallToolkit(&toolkit_);
    }

    /// Lets the `call`-th call fail. False if there are fewer.
    bool Run(std::size_t call, FaultPlan::Lasting lasting) {
        mayStayUnlisted_ = lasting == FaultPlan::Lasting::FromThenOn;
        bench_.Use(machine_);
        machine_.FailCall(call, lasting);
        (void)CleanUp();
        return machine_.CallCount() >= call;
    }

    void ExpectNothingLost() {
        EXPECT_TRUE(bench_.machine.HasFile(u"C:\\WINDOWS\\explorer.exe"));
        for (const char16_t* parasite : kParasites) ExpectKept(parasite);
    }

    void ExpectCleanSecondRun() {
        bench_.Use(bench_.machine);
        const int restarts = bench_.machine.RestartCount();
        EXPECT_TRUE(CleanUp());
        EXPECT_EQ(bench_.machine.RestartCount(), restarts + 1);
        EXPECT_EQ(bench_.machine.GetString(RegistryRoot::CurrentUser, kMainKey, u"Start Page"),
                  u"about:blank");
    }

  private:
    bool CleanUp() {
        CPaRemover remover;
        remover.Init(bench_.log);
        return EndsProgram([&] { remover.CleanUp(); });
    }

    /// Under one of its two names, and in the second case on the list, unless the log says that it
    /// couldn't be put there.
    void ExpectKept(const Text& path) {
        const Text disabled = GetParasiteFileName(path);
        const bool isDisabled = bench_.machine.HasFile(disabled);
        EXPECT_NE(bench_.machine.HasFile(path), isDisabled) << ToUtf8(path);
        const Text there = isDisabled ? disabled : path;
        EXPECT_EQ(bench_.machine.FileContent(there).size(), 5U) << ToUtf8(there);
        if (!isDisabled) return;
        const bool isListed = bench_.machine.HasValue(kRemovedFilesRoot, kRemovedFilesKey, path);
        const Text line = ToLower(u"Cannot note '" + path + u"' in the list");
        const bool isLogged = Find(ToLower(FromUtf8(bench_.log->text)), line) > 0;
        EXPECT_NE(isListed, isLogged) << ToUtf8(path);
        EXPECT_TRUE(isListed || mayStayUnlisted_) << ToUtf8(path);
    }

    RemovalBench bench_;
    WillingToolkit toolkit_;
    FaultMachine machine_;
    bool mayStayUnlisted_ = false;  // a single refusal is made up for
};

class CleanUpFault : public testing::TestWithParam<std::tuple<WindowsFamily, FaultPlan::Lasting>> {
};

TEST_P(CleanUpFault, LosesNothingWhateverCallFails) {
    const auto [family, lasting] = GetParam();
    std::size_t call = 0;
    for (bool hasFailed = true; hasFailed && !HasFailure();) {
        SCOPED_TRACE("call " + std::to_string(++call));
        FaultyCleanUp cleanUp(family);
        hasFailed = cleanUp.Run(call, lasting);
        cleanUp.ExpectNothingLost();
        cleanUp.ExpectCleanSecondRun();
        cleanUp.ExpectNothingLost();
    }
    EXPECT_GT(call, 100U);
}

INSTANTIATE_TEST_SUITE_P(
    Sweep, CleanUpFault,
    testing::Combine(testing::Values(WindowsFamily::NT, WindowsFamily::Windows9x),
                     testing::Values(FaultPlan::Lasting::Once, FaultPlan::Lasting::FromThenOn)),
    [](const auto& tested) {
        const bool isNT = std::get<WindowsFamily>(tested.param) == WindowsFamily::NT;
        const bool isOnce = std::get<FaultPlan::Lasting>(tested.param) == FaultPlan::Lasting::Once;
        return std::string(isNT ? "NT" : "Win9x") + (isOnce ? "Once" : "ForGood");
    });

}  // namespace
}  // namespace bkfd
