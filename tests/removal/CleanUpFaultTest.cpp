#include <gtest/gtest.h>

#include "FailingMachine.h"
#include "HijackedMachine.h"
#include "RemovalBench.h"
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
    FaultyCleanUp(WindowsFamily family, int first, bool forGood)
        : bench_(family), budget_(first, forGood), machine_(bench_.machine, budget_) {
        Hijack(bench_.machine);
        toolkit_.onPump = bench_.toolkit.onPump;
        InstallToolkit(&toolkit_);
    }

    /// The count of calls that could have failed.
    int Run() {
        bench_.Use(machine_);
        (void)CleanUp();
        return budget_.Calls();
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
    }

    RemovalBench bench_;
    WillingToolkit toolkit_;
    CallBudget budget_;
    FailingMachine machine_;
};

class CleanUpFault : public testing::TestWithParam<std::pair<WindowsFamily, bool>> {};

TEST_P(CleanUpFault, LosesNothingWhateverCallFails) {
    const auto [family, forGood] = GetParam();
    int first = 0;
    int calls = 0;
    do {
        SCOPED_TRACE("call " + std::to_string(++first));
        FaultyCleanUp cleanUp(family, first, forGood);
        calls = cleanUp.Run();
        cleanUp.ExpectNothingLost();
        cleanUp.ExpectCleanSecondRun();
        cleanUp.ExpectNothingLost();
    } while (calls >= first && !HasFailure());
    RecordProperty("calls", first - 1);
}

INSTANTIATE_TEST_SUITE_P(Sweep, CleanUpFault,
                         testing::Values(std::pair{WindowsFamily::NT, false},
                                         std::pair{WindowsFamily::NT, true},
                                         std::pair{WindowsFamily::Windows9x, false},
                                         std::pair{WindowsFamily::Windows9x, true}),
                         [](const auto& tested) {
                             return std::string(tested.param.first == WindowsFamily::NT ? "NT"
                                                                                        : "Win9x") +
                                    (tested.param.second ? "ForGood" : "Once");
                         });

}  // namespace
}  // namespace bkfd
