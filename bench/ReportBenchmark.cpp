// Support reports of machines with many modules: gathered and packed in memory, written by the
// program as a process, and packed next to what zip needs for the same file.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "ChildProcess.h"
#include "NoLog.h"
#include "identity/ApplicationStart.h"
#include "identity/CHashier.h"
#include "services/ApplicationState.h"
#include "support/ReportContents.h"
#include "support/cl.h"
#include "testing/HeadlessToolkit.h"
#include "testing/MemoryMachine.h"

namespace bkfd {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kModulesAProcess = 150;
constexpr std::size_t kFilesAProcess = 10;

std::string ModuleName(std::size_t number) {
    return "module" + std::to_string(number) + ".dll";
}

/// The number of the file that a process has as a module.
std::size_t ModuleOf(std::size_t process, std::size_t module, std::size_t files) {
    return (process * 31 + module * (files / kModulesAProcess)) % files;
}

std::string ReportedContent(std::size_t number) {
    std::string content(1000 + 3 * (number % 1000), '\0');
    for (std::size_t i = 0; i < content.size(); ++i) {
        content[i] = static_cast<char>(i * number >> 3);
    }
    return content;
}

void Populate(MemoryMachine& machine, std::size_t processes) {
    const Text folder = u"C:\\Program Files\\Maker\\Application\\";
    const std::size_t files = processes * kFilesAProcess;
    const auto path = [&](std::size_t number) { return folder + FromUtf8(ModuleName(number)); };
    for (std::size_t i = 0; i < files; ++i) machine.AddFile(path(i), ReportedContent(i));
    for (std::size_t process = 0; process < processes; ++process) {
        ProcessRecord record;
        record.id = static_cast<std::uint32_t>(4 * process + 100);
        record.path = path(process);
        for (std::size_t module = 0; module < kModulesAProcess; ++module) {
            record.modules.push_back(path(ModuleOf(process, module, files)));
        }
        machine.AddProcess(std::move(record));
    }
    machine.AddFolder(u"C:\\WINDOWS\\Temp");
}

/// All that happens before a report is sent; nothing is remembered from one to the next.
void MakeReport(benchmark::State& state, std::size_t processes) {
    MemoryMachine machine(WindowsFamily::NT);
    Populate(machine, processes);
    const InstalledMachine installed(machine);
    HeadlessToolkit toolkit;
    Toolkit* const previous = InstallToolkit(&toolkit);
    const auto log = std::make_shared<NoLog>();
    for (auto _ : state) {
        SetApplicationState();
        ValueBag report;
        GatherReport({u"name", u"email", u"answer"}, log, report);
        PackedReport packed;
        NameReport(Text(kSupportCategory), packed);
        PackEnvelope(MakeEnvelope(packed.category, packed.id, report), packed);
        state.counters["envelope_KiB"] =
            static_cast<double>(machine.FileContent(packed.envelopeFile).size() / 1024);
        (void)machine.FileSystem().DeleteFileW(packed.envelopeFile);
        (void)machine.FileSystem().DeleteFileW(packed.archiveFile);
    }
    gHashier.reset();
    InstallToolkit(previous);
}
BENCHMARK_CAPTURE(MakeReport, once, 300)->Name("Report/300x150")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(MakeReport, twice, 600)->Name("Report/600x150")->Unit(benchmark::kMillisecond);

/// The same machine in files, for the time of the program's run.
class ManyModules {
  public:
    ManyModules()
        : path_(fs::temp_directory_path() / ("bkfd_bench_modules_" + std::to_string(getpid()))) {
        constexpr std::size_t kProcesses = 300;
        constexpr std::size_t kFiles = kProcesses * kFilesAProcess;
        fs::create_directories(path_ / "drives/c/windows/temp");
        fs::create_directories(path_ / "drives/c/modules");
        for (std::size_t i = 0; i < kFiles; ++i) {
            std::ofstream(path_ / "drives/c/modules" / ModuleName(i), std::ios::binary)
                << ReportedContent(i);
        }
        const auto quoted = [](std::size_t number) {
            return "\"C:\\\\modules\\\\" + ModuleName(number) + '"';
        };
        std::ofstream facts(path_ / "machine.json");
        facts << R"({"family": "nt", "processes": [)";
        for (std::size_t process = 0; process < kProcesses; ++process) {
            facts << (process == 0 ? "" : ",") << R"({"id": )" << 4 * process + 100
                  << R"(, "path": )" << quoted(process) << R"(, "modules": [)";
            for (std::size_t module = 0; module < kModulesAProcess; ++module) {
                facts << (module == 0 ? "" : ",") << quoted(ModuleOf(process, module, kFiles));
            }
            facts << "]}";
        }
        facts << "]}";
    }
    ~ManyModules() {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }
    fs::path Path() const { return path_; }
    fs::path Envelope() const { return path_ / "report.xml"; }
    fs::path Archive() const { return path_ / "report.zip"; }

    /// Takes away an earlier report and gives the command that writes it again.
    std::vector<std::string> ReportCommand() const {
        std::error_code ignored;
        fs::remove(Envelope(), ignored);
        fs::remove(Archive(), ignored);
        return {BKFD_BINARY_DIR "/brackenfold",
                "--machine",
                path_,
                "report",
                "--name",
                "n",
                "--email",
                "e",
                "--text",
                "/etc/hostname",
                "--out",
                path_ / "report"};
    }

  private:
    fs::path path_;
};

const ManyModules& TheMachineInFiles() {
    static const ManyModules machine;
    return machine;
}

void WriteReport(benchmark::State& state) {
    const ManyModules& machine = TheMachineInFiles();
    for (auto _ : state) {
        const ChildResult result = RunChild(machine.ReportCommand());
        if (result.exitCode != 0) return state.SkipWithError("the report failed");
        state.SetIterationTime(result.seconds);
    }
    state.counters["peak_KiB"] =
        static_cast<double>(RunSmall(ThisProgram(), machine.ReportCommand()).peakKilobytes);
    state.counters["envelope_KiB"] =
        static_cast<double>(fs::file_size(machine.Envelope())) / 1024.0;
}
BENCHMARK(WriteReport)->Name("Process/Report")->UseManualTime()->Unit(benchmark::kMillisecond);

/// One envelope, packed by a program to an archive that isn't there yet.
void PackAsProcess(benchmark::State& state, std::vector<std::string> command) {
    const ManyModules& machine = TheMachineInFiles();
    if (RunChild(machine.ReportCommand()).exitCode != 0) {
        return state.SkipWithError("the report failed");
    }
    command.push_back(machine.Archive());
    command.push_back(machine.Envelope());
    for (auto _ : state) {
        std::error_code ignored;
        fs::remove(machine.Archive(), ignored);
        const ChildResult result = RunChild(command);
        if (result.exitCode != 0) return state.SkipWithError((command[0] + " failed").c_str());
        state.SetIterationTime(result.processorSeconds);
    }
    state.counters["archive_KiB"] = static_cast<double>(fs::file_size(machine.Archive())) / 1024.0;
}
BENCHMARK_CAPTURE(PackAsProcess, ours, {ThisProgram(), "--zip"})
    ->Name("Process/Packing")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(PackAsProcess, zip, {"zip", "-6", "-q", "-j"})
    ->Name("Process/zip-6")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace bkfd
