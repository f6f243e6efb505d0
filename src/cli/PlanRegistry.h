#pragma once

#include <vector>

#include "cli/CleanResult.h"
#include "formats/RegText.h"

namespace bkfd {

/// Changes of a registry as export files of the form that the installed machine's registry editor
/// reads: REGEDIT4 before Windows 2000.
class PlanRegistry {
  public:
    /// What can't be told in such a file is added to `failed`.
    explicit PlanRegistry(std::vector<FailedChange>& failed);

    /// A change of a file or a process is passed over, as is one that changes nothing.
    void Add(const RecordedChange& change);
    bool IsEmpty() const { return changes_.empty(); }
    /// What makes the changes.
    Bytes Fix() const;
    /// What takes them back.
    Bytes Undo() const;

  private:
    bool CanTell(const RecordedChange& change);
    bool Fits(TextView text) const;
    Bytes Format(const std::vector<RegSection>& sections) const;

    std::vector<FailedChange>& failed_;
    RegFormat format_;
    bool deletes_;  // the editor of Windows 95 doesn't
    std::vector<RecordedChange> changes_;
};

}  // namespace bkfd
