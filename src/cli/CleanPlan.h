#pragma once

#include <map>
#include <string>
#include <vector>

#include "cli/CleanResult.h"

namespace bkfd {

/// A cleanup as files that the machine's own registry editor and command line carry out: fix.reg,
/// undo.reg, and fix.bat, which imports them and renames files. Everything in it can be taken back
/// by `fix undo`.
struct CleanPlan {
    Bytes fix;
    Bytes undo;
    Bytes batch;
    std::vector<FailedChange> failed;  // what can't be told in such files

    bool IsEmpty() const { return fix.empty() && batch.empty(); }
};

/// Plans a cleanup of the installed machine. Made before the cleanup is tried on it in memory;
/// `Make` is called behind that.
class CleanPlanner {
  public:
    CleanPlanner();

    /// `changes` are those that the cleanup asked for. What the machine refused is in the plan too:
    /// files that are in use, say, aren't when the plan is carried out.
    CleanPlan Make(const std::vector<RecordedChange>& changes) const;

  private:
    struct File {
        Text path;  // as the disk spells its name
        std::uint32_t attributes = 0;
        std::uint64_t size = 0;
    };

    std::vector<File> files_;  // to disable, those that are there
};

}  // namespace bkfd
