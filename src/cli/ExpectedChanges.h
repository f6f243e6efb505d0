#pragma once

#include <vector>

#include "cli/CleanResult.h"
#include "detection/HelperObjects.h"
#include "services/KeyedList.h"

namespace bkfd {

/// What has to be out of action after the work, noted before it, so that it can be held against
/// what is there then: the engine passes over what it can't find.
class ExpectedChanges {
  public:
    /// All that a detection lists and the ignore list doesn't: files, and registrations of helper
    /// objects.
    void ExpectCleanup();
    void ExpectFiles(const KeyedList& paths);
    /// A file that was asked for and isn't there.
    void AddMissing(const Text& path);
    bool ExpectsFile(const Text& path) const;

    /// Adds to the failures what is still there and isn't among them.
    void AddFailuresTo(CleanResult& result) const;

  private:
    std::vector<Text> files_;  // as detection spells them
    std::vector<HelperObject> helperObjects_;
    std::vector<FailedChange> missing_;
};

}  // namespace bkfd
