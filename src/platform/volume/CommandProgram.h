#pragma once

#include <functional>
#include <optional>
#include <vector>

#include "platform/model/MachineFacts.h"
#include "platform/model/Volume.h"

namespace bkfd {

/// What a command line starts.
struct StartedProgram {
    Text path;                    // full, as the line spells it
    std::optional<Text> library;  // that a launcher of libraries loads
};

/// Finds the files of command lines on a volume, as the system's own search does.
class CommandPrograms {
  public:
    /// `is32Bit`: as programs of 32 bits do, whose system folder is another on a 64-bit Windows.
    CommandPrograms(Volume& volume, const MachineFacts& facts, bool is32Bit = false)
        : volume_(volume), facts_(facts), is32Bit_(is32Bit && facts.hasTwoViews) {}

    /// The program of a command line whose variables are expanded; nothing if there is no such
    /// file. Without quotes a path may hold blanks: the first that names a file counts.
    std::optional<StartedProgram> Of(TextView line);
    /// The full path of a file named alone or with a path; `extension` (".exe") is added where the
    /// name has none. Nothing if it isn't there.
    std::optional<Text> File(TextView name, TextView extension);

  private:
    std::optional<Text> FileAt(TextView path);
    std::optional<Text> Program(TextView line, TextView& rest);
    std::optional<Text> Library(TextView program, TextView rest);
    std::vector<Text> SearchFolders() const;
    Text SystemFolder() const;

    Volume& volume_;
    const MachineFacts& facts_;
    bool is32Bit_;
};

}  // namespace bkfd
