#pragma once

#include <cstdint>
#include <optional>

#include "base/Date.h"
#include "ignore/PassOver.h"
#include "services/KeyedList.h"
#include "services/Logger.h"
#include "services/RegistryAccess.h"

namespace bkfd {

/// Decides at each start whether to offer a cleanup or whether one still waits for its restart,
/// cleans up, and puts the browser's settings right. Of its state only the cleanup stamp outlives
/// the process: the time of the boot in which the last cleanup was made.
class CPaRemover {
  public:
    /// True (-1) when the last `Check` found a parasite file or helper object, else 0.
    std::int16_t ParasitesFound = 0;

    /// Must be called first.
    void Init(LoggerRef logger);
    /// The decision at start-up, by `ParasitesFound`, the stamp and the boot time. A failure is
    /// logged and shown. Ends the program when a restart is asked for.
    void Perform();
    /// Finds all parasites anew, puts them out of action, repairs the settings and offers the
    /// restart, with which the program ends. A failure is logged, shown, and stops the cleanup. To
    /// a user without an administrator's rights it says first what can't be done.
    void CleanUp();
    /// Looks for parasites and sets `ParasitesFound`; changes nothing and shows nothing.
    void Check();
    /// Puts every setting that parasites are known to change to a fixed value. Asks nothing. A
    /// setting that the system refuses to change stays, with a line in the log.
    void RestoreConfigurationSettings();
    /// What the last cleanup, or check, has found and left alone, as the ignore list says.
    const std::vector<PassedOver>& Ignored() const { return ignored_; }
    /// The question, and how much that was at its end, if there was any.
    Text WithIgnored(const Text& question) const;

  private:
    void Decide();
    void RemoveParasites();
    /// What is on this machine and isn't on the ignore list.
    Detection FindParasites();
    [[noreturn]] void StampAndRestart();
    void DeleteStamp();

    LoggerRef logger_;
    std::optional<RegistryAccess> registry_;
    std::vector<PassedOver> ignored_;
};

}  // namespace bkfd
