// Machine images of many entries: what is read at the start of each command.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "ChildProcess.h"
#include "platform/image/MachineImage.h"

namespace bkfd {
namespace {

std::string Padded(int number) {
    return std::to_string(1'000'000 + number);
}

std::string Settings(int rules) {
    std::string text = "{\"family\": \"nt\", \"files\": {";
    for (int i = 0; i < rules; ++i) {
        if (i > 0) text += ", ";
        text += "\"C:\\\\WINDOWS\\\\system32\\\\file" + Padded(i) + ".dll\": {\"attributes\": 33}";
    }
    return text + "}}";
}

std::string RegistryFile(int values) {
    std::string text = "REGEDIT4\r\n\r\n[HKEY_LOCAL_MACHINE\\Software\\Many]\r\n";
    for (int i = 0; i < values; ++i) text += "\"value" + Padded(i) + "\"=\"data\"\r\n";
    return text;
}

class ScratchImage {
  public:
    ScratchImage(int rules, int values)
        : path_(std::filesystem::temp_directory_path() /
                ("bkfd_bench_load_" + std::to_string(getpid()))) {
        std::filesystem::create_directories(path_ / "registry");
        std::ofstream(path_ / "machine.json") << Settings(rules);
        std::ofstream(path_ / "registry" / "a.reg", std::ios::binary) << RegistryFile(values);
    }
    ~ScratchImage() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    std::string Path() const { return path_.string(); }

  private:
    std::filesystem::path path_;
};

void Load(benchmark::State& state, int rules, int values) {
    const ScratchImage image(rules, values);
    for (auto _ : state) {
        const auto loaded = LoadMachineImage(image.Path());
        if (const auto* error = std::get_if<ImageError>(&loaded)) {
            state.SkipWithError(error->Describe().c_str());
            break;
        }
    }
}
BENCHMARK_CAPTURE(Load, rulesOnce, 30'000, 0)
    ->Name("Image/Load/30000rules")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Load, rulesTwice, 60'000, 0)
    ->Name("Image/Load/60000rules")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Load, valuesOnce, 0, 25'000)
    ->Name("Image/Load/25000values")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Load, valuesTwice, 0, 50'000)
    ->Name("Image/Load/50000values")
    ->Unit(benchmark::kMillisecond);

/// The least command, so that the most memory is what its start takes.
void LoadAsProcess(benchmark::State& state) {
    const ScratchImage image(60'000, 0);
    const std::vector<std::string> command = {BKFD_BINARY_DIR "/brackenfold", "--machine",
                                              image.Path(), "bhos"};
    for (auto _ : state) {
        const ChildResult result = RunChild(command);
        if (result.exitCode != 0) return state.SkipWithError("failed");
        state.SetIterationTime(result.processorSeconds);
    }
    state.counters["peak_KiB"] =
        static_cast<double>(RunSmall(ThisProgram(), command).peakKilobytes);
    state.counters["file_KiB"] =
        static_cast<double>(std::filesystem::file_size(image.Path() + "/machine.json")) / 1024.0;
}
BENCHMARK(LoadAsProcess)
    ->Name("Process/60000rules")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace bkfd
