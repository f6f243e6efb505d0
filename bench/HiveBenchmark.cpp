// All keys and values of a hive of 15 MB, printed by the program and by other readers as processes;
// and the changes of a cleanup in a hive of 100 MB written back, beside a durable copy of that
// hive.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>

#include "ChildProcess.h"
#include "base/Utf16Bytes.h"
#include "platform/hive/RegistryCommit.h"
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

constexpr std::size_t kComponents15 = 3'500;    // make a hive of 15 MB
constexpr std::size_t kComponents100 = 23'500;  // of 100 MB

/// A hive as large as SOFTWARE of a machine with some programs.
class LargeHive {
  public:
    explicit LargeHive(std::size_t components)
        : folder_(fs::temp_directory_path() / ("bkfd_bench_hive_" + std::to_string(getpid()) + '_' +
                                               std::to_string(components))),
          path_(folder_ / "SOFTWARE") {
        fs::create_directory(folder_);
        HiveMakerKey root{u"ROOT"};
        root.entriesALeaf = 500;
        for (std::size_t i = 0; i < components; ++i) root.subkeys.push_back(Component(i));
        const HiveMaker made(root);
        std::ofstream(path_, std::ios::binary)
            .write(reinterpret_cast<const char*>(made.File().data()),
                   static_cast<std::streamsize>(made.File().size()));
    }
    ~LargeHive() {
        std::error_code ignored;
        fs::remove_all(folder_, ignored);
    }
    LargeHive(const LargeHive&) = delete;
    LargeHive& operator=(const LargeHive&) = delete;

    const fs::path& Folder() const { return folder_; }
    const fs::path& Path() const { return path_; }

  private:
    fs::path folder_;
    fs::path path_;
};

void ReadAsProcess(benchmark::State& state, std::vector<std::string> command) {
    static const LargeHive kHive(kComponents15);
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

const LargeHive& Hive100() {
    static const LargeHive kHive(kComponents100);
    return kHive;
}

/// Opened, changed at 30 keys all over the hive, written and synced under a journal.
void WriteBack(benchmark::State& state) {
    const LargeHive& hive = Hive100();
    static std::uint32_t round = 0;
    static std::string kept;
    for (auto _ : state) {
        const auto mark = static_cast<std::uint8_t>(round);
        const std::string journal = hive.Folder() / (std::to_string(++round) + ".pages");
        const auto start = std::chrono::steady_clock::now();
        auto opened = HiveStore::Open(hive.Path(), {});
        const auto store = std::get<std::unique_ptr<HiveStore>>(std::move(opened));
        for (std::size_t i = 0; i < 30; ++i) {
            const Text key = Numbered("Component", i * 700) + u"\\Part10003";
            (void)store->SetValue(key, u"Flags", {RegistryType::Dword, {mark, 0, 0, 0}});
            (void)store->SetValue(key + u"\\New", u"", {RegistryType::Binary, Bytes(100, mark)});
        }
        RegistryCommit commit(hive.Folder(), journal);
        commit.Add(*store);
        if (!kept.empty()) commit.SetKept({kept});
        if (const auto error = commit.Run()) return state.SkipWithError(error->message.c_str());
        const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
        state.SetIterationTime(taken.count());
        kept = journal;
    }
    state.counters["hive_KiB"] = static_cast<double>(fs::file_size(hive.Path())) / 1024.0;
}
BENCHMARK(WriteBack)->Name("Hive/WriteBack")->UseManualTime()->Unit(benchmark::kMillisecond);

void CopyDurably(benchmark::State& state) {
    const LargeHive& hive = Hive100();
    const std::string copy = hive.Folder() / "copy";
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        fs::copy_file(hive.Path(), copy);
        const HostFile file(open(copy.c_str(), O_RDONLY | O_CLOEXEC));
        if (fsync(file.Get()) != 0) return state.SkipWithError("no sync");
        const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
        state.SetIterationTime(taken.count());
        fs::remove(copy);
    }
}
BENCHMARK(CopyDurably)->Name("Hive/Copy")->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace bkfd
