#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <regex>

#include "cli/CliFixture.h"

// A disk that can't be written, and one that is full.
namespace bkfd {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

/// Runs the command line in a process of its own, which `restrict` has taken something from.
CliRun RunRestricted(const MachineCopy& machine, const Strings& arguments,
                     const std::function<void()>& restrict) {
    int ends[2] = {};
    if (pipe(ends) != 0) throw std::runtime_error("no pipe");
    const pid_t child = fork();
    if (child == 0) {
        restrict();
        const CliRun run = RunOn(machine, arguments);
        const std::string told = nlohmann::json{run.code, run.out, run.err}.dump();
        _exit(write(ends[1], told.data(), told.size()) == static_cast<ssize_t>(told.size()) ? 0
                                                                                            : 9);
    }
    close(ends[1]);
    std::string told;
    char room[4096];
    for (ssize_t count; (count = read(ends[0], room, sizeof room)) > 0;) {
        told.append(room, static_cast<std::size_t>(count));
    }
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0) << "the program crashed";
    const auto run = nlohmann::json::parse(told);
    return {run[0], run[1], run[2]};
}

/// The files of the drives, but for those that the program itself writes.
std::map<std::string, std::string> WindowsFiles(const MachineCopy& machine) {
    std::map<std::string, std::string> files;
    for (auto& [name, content] : machine.Snapshot()) {
        if (name.starts_with("drives/") && name.find("/Brackenfold/") == std::string::npos) {
            files[name] = content;
        }
    }
    return files;
}

/// Contents of the drives by the names that the files had before they were disabled.
std::map<std::string, std::string> FilesByFormerName(const MachineCopy& machine) {
    const std::regex disabled("parasite_([^/]*)\\.parasite");
    std::map<std::string, std::string> files;
    for (const auto& [name, content] : WindowsFiles(machine)) {
        files[std::regex_replace(name, disabled, "$1")] = content;
    }
    return files;
}

class ReadOnlyTree {
  public:
    explicit ReadOnlyTree(const MachineCopy& machine) : root_(machine.Path()) { Allow(0555, 0444); }
    ~ReadOnlyTree() { Allow(0755, 0644); }
    ReadOnlyTree(const ReadOnlyTree&) = delete;
    ReadOnlyTree& operator=(const ReadOnlyTree&) = delete;

    /// To root nothing is read-only.
    static void BecomeAnyone() {
        constexpr uid_t kNobody = 65534;
        if (geteuid() == 0 && setuid(kNobody) != 0) _exit(8);
    }

  private:
    void Allow(unsigned folders, unsigned files) {
        fs::permissions(root_, fs::perms{folders});
        for (const auto& entry : fs::recursive_directory_iterator(root_)) {
            fs::permissions(entry.path(), fs::perms{entry.is_directory() ? folders : files});
        }
    }

    fs::path root_;
};

TEST(BadDisk, AReadOnlyImageStaysAsItIsAndEachCommandSaysSo) {
    const struct {
        Strings arguments;
        int code;
        const char* message;
    } rows[] = {
        {{"scan"}, 1, ""},
        {{"clean", "--dry-run"}, 0, ""},
        {{"clean", "--yes"}, 2, "nothing was changed, since no backup could be written: "},
        {{"settings", "--restore", "--yes"}, 2, "Backup': Access is denied."},
        {{"disable", "C:\\WINDOWS\\explorer.exe", "--yes"}, 2, "Access is denied."},
        {{"backup"}, 2, "Backup': Access is denied."},
        {{"start"}, 0, "no log is written: Access is denied."},
    };
    const MachineCopy machine("hijacked-xp");
    const auto before = machine.Snapshot();
    const ReadOnlyTree readOnly(machine);
    for (const auto& row : rows) {
        SCOPED_TRACE(row.arguments[0]);
        const CliRun run = RunRestricted(machine, row.arguments, ReadOnlyTree::BecomeAnyone);
        EXPECT_EQ(run.code, row.code) << run.err;
        EXPECT_THAT(run.err + run.out, HasSubstr(row.message));
        EXPECT_EQ(machine.Snapshot(), before);
    }
}

TEST(BadDisk, AFolderThatCantBeReadIsNotAnEmptyOne) {
    const MachineCopy machine("clean-xp");
    const ReadOnlyTree readOnly(machine);
    const fs::path folder = machine.Path("drives/c/Program Files");
    for (const unsigned mode : {0000U, 0444U}) {  // not listed; listed and not entered
        fs::permissions(folder, fs::perms{mode});
        for (const Strings& command :
             {Strings{"--json", "scan"}, {"--json", "clean", "--dry-run"}}) {
            const CliRun run = RunRestricted(machine, command, ReadOnlyTree::BecomeAnyone);
            EXPECT_THAT(run.out + run.err, HasSubstr("quickbar.dll"));
            EXPECT_THAT(run.out + run.err, HasSubstr("Access is denied."));
        }
    }
    fs::permissions(folder, fs::perms{0755});
}

TEST(BadDisk, AFullDiskLosesNothing) {
    // How large a file can get: the backup can't be written; the journal holds few or many of the
    // changes.
    for (const rlim_t limit : {900U, 9'000U, 12'000U}) {
        SCOPED_TRACE(limit);
        const MachineCopy machine("hijacked-xp");
        const auto before = WindowsFiles(machine);
        const CliRun full = RunRestricted(machine, {"--json", "clean", "--yes"}, [limit] {
            std::signal(SIGXFSZ, SIG_IGN);
            const rlimit files{limit, limit};
            if (setrlimit(RLIMIT_FSIZE, &files) != 0) _exit(8);
        });
        if (limit == 900U) {
            EXPECT_EQ(full.code, 2);
            EXPECT_THAT(full.err, HasSubstr("nothing was changed, since no backup"));
        } else {
            EXPECT_EQ(full.code == 0, full.Document()["failed"].empty());
        }
        EXPECT_EQ(FilesByFormerName(machine), before);
        EXPECT_THAT(full.err + full.out, HasSubstr("There is not enough space on the disk."));

        EXPECT_EQ(RunOn(machine, {"clean", "--yes"}).code, 0);
        EXPECT_EQ(RunOn(machine, {"scan"}).code, 0);
        const auto removed = RunOn(machine, {"--json", "restore"}).Document()["items"];
        EXPECT_THAT(removed, Not(IsEmpty()));
        for (const std::string file : removed) {
            EXPECT_EQ(RunOn(machine, {"restore", file, "--yes"}).code, 0) << file;
        }
        EXPECT_EQ(WindowsFiles(machine), before);
    }
}

}  // namespace
}  // namespace bkfd
