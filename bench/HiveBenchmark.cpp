// All keys and values of a hive of 15 MB, printed by the program and by other readers as processes.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "ChildProcess.h"
#include "base/Utf16Bytes.h"
#include "testing/HiveMaker.h"

namespace bkfd {
namespace {

namespace fs = std::filesystem;

Text Numbered(const char* stem, std::size_t number) {
    return FromAscii(stem + std::to_string(10'000 + number));
}

HiveMakerKey Component(std::size_t number) {
    HiveMakerKey key{Numbered("Component", number)};
    for (std::size_t i = 0; i < 8; ++i) {
        HiveMakerKey part{Numbered("Part", i)};
        const Text path = u"C:\\Program Files\\Maker\\Application\\" + key.name + u".dll";
        part.values = {{u"", 1, ToUtf16Bytes(path + u'\0')},
                       {u"ThreadingModel", 1, ToUtf16Bytes(Text(u"Apartment\0", 10))},
                       {u"Flags", 4, {1, 2, 3, 4}},
                       {u"Settings", 3, Bytes(100, static_cast<std::uint8_t>(number))}};
        key.subkeys.push_back(std::move(part));
    }
    return key;
}

/// A hive as large as SOFTWARE of a machine with some programs.
class LargeHive {
  public:
    LargeHive()
        : path_(fs::temp_directory_path() / ("bkfd_bench_hive_" + std::to_string(getpid()))) {
        HiveMakerKey root{u"ROOT"};
        root.entriesALeaf = 500;
        for (std::size_t i = 0; i < 3'500; ++i) root.subkeys.push_back(Component(i));
        const HiveMaker made(root);
        std::ofstream(path_, std::ios::binary)
            .write(reinterpret_cast<const char*>(made.File().data()),
                   static_cast<std::streamsize>(made.File().size()));
    }
    ~LargeHive() {
        std::error_code ignored;
        fs::remove(path_, ignored);
    }
    const fs::path& Path() const { return path_; }

  private:
    fs::path path_;
};

void ReadAsProcess(benchmark::State& state, std::vector<std::string> command) {
    static const LargeHive kHive;
    command.push_back(kHive.Path());
    for (auto _ : state) {
        const ChildResult result = RunChild(command);
        if (result.exitCode != 0) return state.SkipWithError((command[0] + " failed").c_str());
        state.SetIterationTime(result.processorSeconds);
    }
    state.counters["hive_KiB"] = static_cast<double>(fs::file_size(kHive.Path())) / 1024.0;
}
BENCHMARK_CAPTURE(ReadAsProcess, ours, {BKFD_BINARY_DIR "/brackenfold", "registry"})
    ->Name("Process/registry")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ReadAsProcess, hivexml, {"hivexml"})
    ->Name("Process/hivexml")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ReadAsProcess, reglookup, {"reglookup"})
    ->Name("Process/reglookup")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace bkfd
