// A whole scan as a process. BKFD_BENCH_PROGRAM and BKFD_BENCH_IMAGE name another program or image.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "ChildProcess.h"

namespace bkfd {
namespace {

std::string FromEnvironment(const char* name, const char* otherwise) {
    const char* value = std::getenv(name);
    return value != nullptr && *value != '\0' ? value : otherwise;
}

/// A scan writes its log into the image, so it gets a copy.
class ImageCopy {
  public:
    explicit ImageCopy(const std::string& image)
        : path_(std::filesystem::temp_directory_path() /
                ("bkfd_bench_image_" + std::to_string(getpid()))) {
        std::filesystem::copy(image, path_, std::filesystem::copy_options::recursive, error_);
    }
    ~ImageCopy() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    bool IsComplete() const { return !error_; }
    std::string Path() const { return path_.string(); }

  private:
    std::filesystem::path path_;
    std::error_code error_;
};

void Scan(benchmark::State& state) {
    constexpr int kClean = 0;
    constexpr int kParasitesFound = 1;
    const std::string program =
        FromEnvironment("BKFD_BENCH_PROGRAM", BKFD_BINARY_DIR "/brackenfold");
    const std::string image =
        FromEnvironment("BKFD_BENCH_IMAGE", BKFD_SOURCE_DIR "/examples/machines/hijacked-xp");
    const ImageCopy copy(image);
    if (!copy.IsComplete()) return state.SkipWithError((image + ": can't be copied").c_str());
    const std::vector<std::string> command = {program, "--machine", copy.Path(), "--json", "scan"};
    for (auto _ : state) {
        const ChildResult result = RunChild(command);
        if (result.exitCode != kClean && result.exitCode != kParasitesFound) {
            state.SkipWithError((program + ": failed or not there").c_str());
            break;
        }
        state.SetIterationTime(result.seconds);
    }
    const std::string self = std::filesystem::read_symlink("/proc/self/exe").string();
    state.counters["peak_KiB"] = static_cast<double>(RunSmall(self, command).peakKilobytes);
}
BENCHMARK(Scan)->Name("Process/Scan")->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace bkfd
