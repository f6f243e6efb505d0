// Commands over machine images with thousands of parasites, as processes: what takes more than
// twice as long for twice as many would hang on a machine that is really full.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>

#include "ChildProcess.h"

namespace bkfd {
namespace {

namespace fs = std::filesystem;

constexpr int kFewest = 1000;
constexpr const char* kProgram = BKFD_BINARY_DIR "/brackenfold";

enum class Command { Scan, Clean, Undo };

/// In memory where the system has a place for that: waiting for a disk is not what is measured.
fs::path ScratchPlace() {
    std::error_code ignored;
    const fs::path memory = "/dev/shm";
    return fs::is_directory(memory, ignored) ? memory : fs::temp_directory_path();
}

/// Of each kind: programs that run and start with Windows, startup entries whose files can't be
/// renamed, helper objects that Explorer has loaded.
class LargeImage {
  public:
    LargeImage(bool isNT, int count)
        : path_(ScratchPlace() / ("bkfd_benchmark_large_" + std::to_string(getpid()))),
          system_(isNT ? "system32" : "system") {
        fs::create_directories(path_ / "registry");
        fs::create_directories(path_ / "drives/c/WINDOWS" / system_);
        fs::create_directories(path_ / "drives/c/Program Files/Brackenfold");
        AddFile("drives/c/WINDOWS/explorer.exe");
        for (int i = 0; i < count; ++i) Add(std::to_string(1'000'000 + i), 4 * i + 400);
        std::ofstream(path_ / "machine.json")
            << "{\"family\": " << (isNT ? "\"nt\"" : "\"9x\"")
            << ", \"version\": " << (isNT ? "[5, 1]" : "[4, 10]")
            << ", \"now\": \"2026-11-16T09:39:04\", \"processes\": [" << processes_
            << "{\"id\": 8, \"path\": \"C:\\\\WINDOWS\\\\explorer.exe\", \"modules\": [" << modules_
            << "\"C:\\\\WINDOWS\\\\explorer.exe\"]}], \"files\": {" << rules_
            << "\"C:\\\\pagefile.sys\": {\"locked\": true}}}";
        std::ofstream(path_ / "registry/a.reg", std::ios::binary)
            << "REGEDIT4\r\n\r\n[" << kWindowsKey << "Run]\r\n"
            << startup_ << "\r\n"
            << helperObjects_;
    }
    ~LargeImage() {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }
    LargeImage(const LargeImage&) = delete;
    LargeImage& operator=(const LargeImage&) = delete;

    ChildResult Run(Command command) const {
        static const std::map<Command, std::vector<std::string>> kWords = {
            {Command::Scan, {"scan"}},
            {Command::Clean, {"clean", "--yes"}},
            {Command::Undo, {"undo", "last", "--yes"}}};
        std::vector<std::string> line = {kProgram, "--machine", path_};
        line.insert(line.end(), kWords.at(command).begin(), kWords.at(command).end());
        return RunChild(line);
    }

  private:
    static constexpr const char* kWindowsKey =
        "HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows\\CurrentVersion\\";

    void AddFile(const std::string& path) const { std::ofstream(path_ / path) << "MZ" << path; }

    /// A file in the system folder: its path with doubled backslashes.
    std::string SystemFile(const std::string& name) const {
        AddFile("drives/c/WINDOWS/" + system_ + '/' + name);
        return "C:\\\\WINDOWS\\\\" + system_ + "\\\\" + name;
    }

    void Add(const std::string& number, int processId) {
        const std::string running = SystemFile("run" + number + ".exe");
        processes_ +=
            "{\"id\": " + std::to_string(processId) + ", \"path\": \"" + running + "\"}, ";
        startup_ += "\"run" + number + "\"=\"" + running + "\"\r\n";
        const std::string locked = SystemFile("locked" + number + ".exe");
        rules_ += "\"" + locked + "\": {\"locked\": true}, ";
        startup_ += "\"locked" + number + "\"=\"" + locked + "\"\r\n";
        const std::string helper = SystemFile("helper" + number + ".dll");
        modules_ += "\"" + helper + "\", ";
        const std::string classId = "{C0000000-0000-4000-8000-00000" + number + "}";
        helperObjects_ += std::string("[") + kWindowsKey + "Explorer\\Browser Helper Objects\\" +
                          classId + "]\r\n\r\n[HKEY_CLASSES_ROOT\\CLSID\\" + classId +
                          "\\InProcServer32]\r\n@=\"" + helper + "\"\r\n\r\n";
    }

    fs::path path_;
    std::string system_;
    std::string processes_;
    std::string modules_;
    std::string rules_;
    std::string startup_;
    std::string helperObjects_;
};

/// Files that stay under their names make a cleanup end with 2, and a scan finds something.
void RunOverLargeImage(benchmark::State& state, bool isNT, Command command) {
    for (auto _ : state) {
        const LargeImage image(isNT, static_cast<int>(state.range(0)));
        if (command == Command::Undo) (void)image.Run(Command::Clean);
        const ChildResult result = image.Run(command);
        if (result.exitCode < 0 || result.exitCode > 2) state.SkipWithError("failed");
        state.SetIterationTime(result.processorSeconds);
        state.counters["peak_KiB"] = static_cast<double>(result.peakKilobytes);
    }
}

struct Row {
    const char* name;
    bool isNT;
    Command command;
};

constexpr Row kRows[] = {
    {"LargeImage/nt/Scan", true, Command::Scan},   {"LargeImage/9x/Scan", false, Command::Scan},
    {"LargeImage/nt/Clean", true, Command::Clean}, {"LargeImage/9x/Clean", false, Command::Clean},
    {"LargeImage/nt/Undo", true, Command::Undo},   {"LargeImage/9x/Undo", false, Command::Undo},
};

[[maybe_unused]] const bool kRegistered = [] {
    for (const Row& row : kRows) {
        benchmark::RegisterBenchmark(row.name, RunOverLargeImage, row.isNT, row.command)
            ->Arg(kFewest)
            ->Arg(2 * kFewest)
            ->Iterations(1)
            ->Repetitions(3)
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond);
    }
    return true;
}();

}  // namespace
}  // namespace bkfd
