#pragma once

#include <optional>
#include <vector>

#include "platform/model/MachineFacts.h"
#include "platform/model/Volume.h"

namespace bkfd {

/// How a command line is carried out.
struct CommandUse {
    bool byShell = false;  // by the shell, which starts programs alone and opens all else
    bool isFor32 = false;  // by a 32-bit program of a 64-bit Windows, to whom system32 is SysWOW64
};

/// What a command line starts.
struct StartedProgram {
    Text path;                    // full, as the line spells it; of a script its interpreter
    std::optional<Text> library;  // that a launcher of libraries loads
    std::optional<Text> script;   // that an interpreter runs
    Text arguments;               // of the program itself
};

/// Finds the files of command lines on a volume, as the system's own search does.
class CommandPrograms {
  public:
    CommandPrograms(Volume& volume, const MachineFacts& facts) : volume_(volume), facts_(facts) {}

    /// The program of a command line whose variables are expanded; nothing if there is no such
    /// file, or if it is one that isn't started but opened. Without quotes a path may hold blanks:
    /// the first that names a file counts.
    std::optional<StartedProgram> Of(TextView line, CommandUse use = {});
    /// The full path of a file named alone or with a path, in quotes or without; `extension`
    /// (".exe") is added where the name has none. Nothing if it isn't there. A stream of a file
    /// ("C:\a.txt:b.dll") is there if the disk keeps it.
    std::optional<Text> File(TextView name, TextView extension, CommandUse use = {});

  private:
    std::optional<Text> FileAt(TextView path, CommandUse use);
    bool IsThere(const Text& path);
    std::optional<Text> Program(TextView line, TextView& rest, CommandUse use);
    std::optional<Text> Library(TextView program, TextView rest, CommandUse use);
    /// Of a script the interpreter; nothing for what isn't started.
    std::optional<StartedProgram> Started(Text file, TextView rest, CommandUse use);
    Text SystemFolder(CommandUse use) const;
    std::vector<Text> SearchFolders(CommandUse use) const;

    Volume& volume_;
    const MachineFacts& facts_;
};

}  // namespace bkfd
