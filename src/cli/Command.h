#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "cli/CommandOptions.h"
#include "cli/Console.h"

namespace bkfd {

/// What a command ends with.
namespace ExitCode {
inline constexpr int Done = 0;        // or: nothing found
inline constexpr int Parasites = 1;   // found
inline constexpr int Failed = 2;      // or: bad usage
inline constexpr int Incomplete = 3;  // a registry key or a file could not be read
inline constexpr int TryAgain = 4;    // of records: something was missing for a while
}  // namespace ExitCode

/// A failure that ends the command: one line for the user, exit code 2.
class CommandError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// A failure whose cause goes by, such as a machine that is in use.
class PassingError : public CommandError {
  public:
    using CommandError::CommandError;
};

/// What the command line says of a machine that doesn't tell it itself; nothing of an image.
struct MachineOptions {
    std::string user;
    std::vector<std::string> drives;  // "D=FOLDER"
    std::string programFolder;
    std::string windowsFolder;
    std::string signatures;  // folder of more lists; of an image too

    bool IsEmpty() const {
        return user.empty() && drives.empty() && programFolder.empty() && windowsFolder.empty();
    }
};

/// What a command is given: the console and the options that all commands share.
struct CommandContext {
    Console& console;
    std::string machine;  // folder of the machine, empty if none was named
    bool asJson = false;
    MachineOptions options = {};
};

/// One command of the command line, with its own options as members.
class Command {
  public:
    virtual ~Command() = default;

    virtual const char* Name() const = 0;
    /// One line for the list of commands.
    virtual const char* Summary() const = 0;
    virtual void Declare(CommandOptions& options) = 0;
    /// Returns the exit code. A failure is a CommandError.
    virtual int Run(CommandContext& context) = 0;
};

using CommandList = std::vector<std::unique_ptr<Command>>;

/// All commands, in the order in which help lists them.
CommandList MakeCommands();

}  // namespace bkfd
