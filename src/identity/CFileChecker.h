#pragma once

#include "services/KeyedList.h"
#include "services/Logger.h"

namespace bkfd {

/// Turns command lines, as Windows stores them, into the full name of the file that they run.
class CFileChecker {
  public:
    /// Resolves the temporary folder once, which leaves one entry in the name cache.
    CFileChecker();

    void Init(LoggerRef logger);
    /// The program or, behind rundll32, the library that a command line names. Nothing is looked
    /// up. A command line of one lone double quote is a RuntimeError.
    Text GetFileNameFromCommandLine(const Text& commandLine);
    /// The full name by the system's search; a name that can't be resolved comes back unchanged.
    /// Each name is searched once in the object's life.
    Text GetFullFileNameFromShortFilename(const Text& fileName);

  private:
    LoggerRef logger_;
    bool hasLongNames_ = false;
    KeyedList nameCache_;
    Text temporaryFolder_;
};

}  // namespace bkfd
