#pragma once

#include <deque>
#include <span>

#include "platform/volume/CommandProgram.h"
#include "platform/volume/StartTable.h"

/// What the steps of a start (StartSteps.h) have in common: the table in the making, and the
/// registry, files and accounts that they look at.
namespace bkfd {

/// Windows' keys, below a root or a user's key.
namespace StartKey {
constexpr TextView Current = u"Software\\Microsoft\\Windows\\CurrentVersion";
constexpr TextView CurrentNT = u"Software\\Microsoft\\Windows NT\\CurrentVersion";
constexpr TextView ControlSet = u"System\\CurrentControlSet";
}  // namespace StartKey

/// The part of a 64-bit Windows' registry that 32-bit programs see as the whole.
constexpr bool kBothViews[] = {false, true};
/// "Software\Wow6432Node\A" for "Software\A" of the 32-bit view; else the key itself.
Text KeyOfView(TextView key, bool isFor32);

/// The parts of a list, separators and blanks around them left out.
std::vector<Text> Parts(TextView list, TextView separators);
/// The texts of a list value; of a text its parts between commas and blanks.
std::vector<Text> TextsOf(const RegistryValue& value);

/// The machine, or one user, with what its command lines see: variables and search path.
struct StartAccount {
    StartAccount(RegistryRoot registryRoot, Text keyAbove, Text userName, MachineFacts itsFacts,
                 Volume& volume)
        : root(registryRoot),
          above(std::move(keyAbove)),
          user(std::move(userName)),
          facts(std::move(itsFacts)),
          programs(volume, facts) {}
    StartAccount(const StartAccount&) = delete;
    StartAccount& operator=(const StartAccount&) = delete;

    Text Key(TextView key) const { return above + Text(key); }

    RegistryRoot root;
    Text above;  // the user's key with a backslash
    Text user;   // name; empty for the machine
    MachineFacts facts;
    CommandPrograms programs;
};

/// A place as a reason to start something.
struct StartReason {
    StartPlace::Kind kind;
    Text name;
    Text user = {};
};

class StartBuilder {
  public:
    explicit StartBuilder(const StartSources& sources);

    const MachineFacts& Facts() const { return Machine().facts; }
    StartAccount& Machine() { return accounts_.front(); }
    const StartAccount& Machine() const { return accounts_.front(); }
    /// The machine first, then each user.
    std::deque<StartAccount>& Accounts() { return accounts_; }
    /// In whose names an account's entries are carried out at logon: all users for the machine's.
    std::vector<StartAccount*> LoggedOn(StartAccount& account);

    // The table.
    std::vector<ProcessRecord>& Processes() { return table_.processes; }
    /// The process of a program, a new one unless it runs already. `reported` is the name by which
    /// the system lists it, if that is another. It holds until the next call.
    ProcessRecord& Process(const Text& path, const Text& reported = {});
    /// Starts a program of Windows itself, which no place has to name.
    void StartFile(const Text& path, const Text& reported = {});
    static void AddModule(ProcessRecord& process, const Text& library);
    void AddPlace(const StartReason& reason, const Text& file);
    /// Starts the program of a command line in an account's name; false if it isn't there.
    bool Start(StartAccount& account, TextView line, const StartReason& reason,
               CommandUse use = {});
    /// The same by the shell, for everybody who logs on.
    void StartAtLogon(StartAccount& account, TextView line, StartReason reason,
                      bool isFor32 = false);
    /// Has a library loaded into a program, which is started if it isn't; nothing if the library
    /// isn't there.
    void Load(StartAccount& account, const std::optional<Text>& program, TextView library,
              const StartReason& reason, bool isFor32 = false);
    /// A program of Windows itself, by its file name; nothing if it isn't there.
    std::optional<Text> FileOfWindows(TextView name) { return Machine().programs.File(name, {}); }
    StartTable Take() { return std::move(table_); }

    // The registry; what isn't there is empty.
    RegistryValue Value(const StartAccount& account, TextView key, TextView name);
    Text String(const StartAccount& account, TextView key, TextView name);
    std::optional<std::uint32_t> Number(TextView machineKey, TextView name);
    std::vector<Text> Names(const StartAccount& account, TextView key);
    std::vector<Text> Keys(const StartAccount& account, TextView key);
    /// The library of a component class: the user's classes before the machine's.
    Text LibraryOf(const StartAccount& account, const Text& clsid, bool isFor32);

    // Files.
    Volume& Disk() { return volume_; }
    CodePage& Ansi() { return codePage_; }
    /// Full paths of the files in a folder, and its folders.
    std::vector<VolumeEntry> List(const Text& folder);
    /// Empty for one that can't be read or is longer than 1 MiB.
    std::string ReadBytes(const Text& path);

  private:
    /// What the system starts instead of a program.
    void StartDebugger(StartAccount& account, const Text& program);
    /// What a program starts because its command line says so.
    void StartArgument(StartAccount& account, const StartedProgram& program,
                       const StartReason& reason);

    RegistryRoots& roots_;
    Volume& volume_;
    CodePage& codePage_;
    std::deque<StartAccount> accounts_;
    StartTable table_;
    std::vector<Text> programs_;  // the files of the table's processes
    int argumentsDeep_ = 0;
};

}  // namespace bkfd
