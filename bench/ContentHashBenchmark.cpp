#include <benchmark/benchmark.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <random>

#include "ChildProcess.h"
#include "base/Text.h"
#include "identity/ContentHash.h"

namespace bkfd {
namespace {

/// As program files are: pages of code, of text and of zeros.
Bytes MixedContent(std::size_t size) {
    std::mt19937 random(1);
    Bytes bytes(size);
    for (std::size_t i = 0; i < size; ++i) {
        switch (i / 4096 % 4) {
            case 0:
                break;
            case 1:
                bytes[i] = static_cast<std::uint8_t>('a' + random() % 26);
                break;
            default:
                bytes[i] = static_cast<std::uint8_t>(random() & 0xFF);
        }
    }
    return bytes;
}

template <class Hash>
void HashOneMebibyte(benchmark::State& state, Hash hash) {
    const Bytes content = MixedContent(std::size_t{1} << 20);
    for (auto _ : state) benchmark::DoNotOptimize(hash(content));
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(content.size()));
}
BENCHMARK_CAPTURE(HashOneMebibyte, ByteLoop, ContentHashByteLoop)->Name("ContentHash/ByteLoop");
BENCHMARK_CAPTURE(HashOneMebibyte, Fast, ContentHash)->Name("ContentHash/Fast");

/// A file for the time of the program's run.
class SampleFile {
  public:
    SampleFile()
        : path_(std::filesystem::temp_directory_path() /
                ("bkfd_bench_" + std::to_string(getpid()) + ".bin")) {
        const Bytes content = MixedContent(std::size_t{64} << 20);
        std::ofstream(path_, std::ios::binary)
            .write(reinterpret_cast<const char*>(content.data()),
                   static_cast<std::streamsize>(content.size()));
    }
    ~SampleFile() {
        std::error_code ignored;
        std::filesystem::remove(path_, ignored);
    }
    std::string Path() const { return path_.string(); }

  private:
    std::filesystem::path path_;
};

/// By processor time, which other programs of the machine disturb the least.
void HashAsProcess(benchmark::State& state, std::vector<std::string> command) {
    static const SampleFile file;
    command.push_back(file.Path());
    for (auto _ : state) {
        const ChildResult result = RunChild(command);
        if (result.exitCode != 0) {
            state.SkipWithError((command[0] + " failed").c_str());
            break;
        }
        state.SetIterationTime(result.processorSeconds);
    }
}
BENCHMARK_CAPTURE(HashAsProcess, ContentHash, {ThisProgram(), "--hash"})
    ->Name("Process/ContentHash")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(HashAsProcess, sha1sum, {"sha1sum"})
    ->Name("Process/sha1sum")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(HashAsProcess, md5sum, {"md5sum"})
    ->Name("Process/md5sum")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace bkfd
