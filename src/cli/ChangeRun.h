#pragma once

#include <functional>

#include "cli/ExpectedChanges.h"
#include "cli/MachineSession.h"
#include "resources/StringTable.h"

namespace bkfd {

/// Saves the registry as the command `backup` does, for whoever is about to change it; `user` is
/// the one whose part it is, where there are several. A CommandError if it can't be saved.
void BackUpBeforeChange(const Text& user = {});

/// What the commands that take programs out of action have in common: `--yes` and `--dry-run`, the
/// question before the work, the restart at its end, and the account of what was done.
class ChangeRun {
  public:
    void Declare(CommandOptions& options);
    bool IsDryRun() const { return isDryRun_; }
    void BeDryRun() { isDryRun_ = true; }
    SessionUse Use(const CommandContext& context) const;

    /// Asks `question`, unless it is a dry run, then does the work. The work returns false if the
    /// user gave up, and may end the program. `done` names it in what is printed, and `expected` is
    /// filled by the work with what has to be out of action behind it. `finish` may change the
    /// result before it is told. Returns the exit code.
    int Run(CommandContext& context, MachineSession& session, StringId question, const char* done,
            const std::function<bool(ExpectedChanges& expected)>& work,
            const std::function<void(CleanResult& result)>& finish = {}) const;

    /// Called by the work before its first change.
    void BackUp(const Text& user = {}) const {
        if (!isDryRun_) BackUpBeforeChange(user);
    }

  private:
    bool yes_ = false;
    bool isDryRun_ = false;
};

/// What the document of these commands holds, as text for their help.
extern const char kChangeDocumentHelp[];

}  // namespace bkfd
