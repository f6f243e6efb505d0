#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/CleanResult.h"
#include "platform/model/CodePage.h"

namespace bkfd {

/// The batch file of a plan, for the installed machine's command line: cmd.exe of the NT family, or
/// COMMAND.COM, which also runs it at the DOS prompt, where nothing is in use and names are short.
class PlanBatch {
  public:
    /// What can't be told in a batch file is added to `failed`.
    explicit PlanBatch(std::vector<FailedChange>& failed);

    /// Gives the file the name of a disabled one. False if that can't be told.
    bool Disable(const Text& path, std::uint32_t attributes, std::uint64_t size);
    bool IsEmpty() const { return fix_.empty(); }
    Bytes Take();

  private:
    bool DisableNT(const Text& path, std::uint32_t attributes, std::uint64_t size);
    bool Disable9x(const Text& path, std::uint32_t attributes);
    void AddDos(const Text& path);
    /// Whether a batch file can hold the text.
    bool Fits(const Text& text);
    void AddByPattern(const Text& pattern, std::uint64_t size);
    bool Refuse(const Text& path, const char16_t* why);

    std::vector<FailedChange>& failed_;
    std::optional<CodePage> codePage_;  // of the command line, if the machine tells it
    int number_ = 0;
    Text fix_;  // lines of each of the ways through the file
    Text dos_;
    Text undo_;
};

}  // namespace bkfd
