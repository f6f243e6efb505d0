// Runs all benchmarks and prints below their table the ratios that matter, by processor time, each
// with what it should be. With "--hash FILE" it is a program that hashes one file, to be compared
// with others.

#include <benchmark/benchmark.h>

#include <cstring>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <iterator>
#include <map>

#include "base/Text.h"
#include "detection/identity/ContentHash.h"

namespace bkfd {
namespace {

struct Ratio {
    const char* label;
    const char* dividend;
    const char* divisor;
    const char* aim;
};

const Ratio kRatios[] = {
    {"content hash, 1 MiB: byte loop / fast", "ContentHash/ByteLoop", "ContentHash/Fast",
     "at least 8"},
    {"64 MiB as processes: sha1sum / content hash", "Process/sha1sum/manual_time",
     "Process/ContentHash/manual_time", "above 1"},
    {"64 MiB as processes: md5sum / content hash", "Process/md5sum/manual_time",
     "Process/ContentHash/manual_time", "above 1"},
    {"detection: twice the processes and files / once", "Detection/600x150/6000files",
     "Detection/300x150/3000files", "at most 2.2"},
};

class RatioReporter : public benchmark::ConsoleReporter {
  public:
    RatioReporter() : ConsoleReporter(OO_Tabular) {}

    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            if (run.error_occurred) continue;
            const std::string name = run.benchmark_name();
            const bool isManual = name.ends_with("/manual_time");
            times_[name] = (isManual ? run.real_accumulated_time : run.cpu_accumulated_time) /
                           static_cast<double>(run.iterations);
        }
    }

    void Finalize() override {
        ConsoleReporter::Finalize();
        std::cout << "\nRatios\n" << std::fixed << std::setprecision(2);
        for (const Ratio& ratio : kRatios) {
            const auto dividend = times_.find(ratio.dividend);
            const auto divisor = times_.find(ratio.divisor);
            if (dividend == times_.end() || divisor == times_.end()) continue;
            std::cout << std::setw(8) << dividend->second / divisor->second << "  " << ratio.label
                      << " (" << ratio.aim << ")\n";
        }
    }

  private:
    std::map<std::string, double> times_;
};

int PrintHash(const char* path) {
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    Bytes content(static_cast<std::size_t>(std::max<std::streamoff>(file.tellg(), 0)));
    file.seekg(0);
    file.read(reinterpret_cast<char*>(content.data()),
              static_cast<std::streamsize>(content.size()));
    if (!file) {
        std::cerr << path << ": can't be read\n";
        return 2;
    }
    std::cout << content.size() << ' ' << ContentHash(content) << '\n';
    return 0;
}

}  // namespace
}  // namespace bkfd

int main(int argc, char** argv) {
    if (argc == 3 && std::strcmp(argv[1], "--hash") == 0) return bkfd::PrintHash(argv[2]);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    bkfd::RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    return 0;
}
