// Runs all benchmarks in turns, prints the median times, and below them the ratios that matter,
// each with what it should be: of the least processor times, which other load on the machine
// changes least. With "--hash FILE" it is a program that hashes one file, to be compared with
// others.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <iterator>
#include <map>
#include <optional>

#include "ChildProcess.h"
#include "base/Text.h"
#include "identity/ContentHash.h"
#include "support/zip/cZip.h"
#include "testing/MemoryMachine.h"

namespace bkfd {
namespace {

/// What is compared: the time of a benchmark, or behind a colon one of its counters.
struct Ratio {
    const char* label;
    const char* dividend;
    const char* divisor;  // null for the dividend itself, in seconds
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
    {"image: twice the file rules in machine.json / once", "Image/Load/60000rules",
     "Image/Load/30000rules", "at most 2.5"},
    {"image: twice the values in a registry key / once", "Image/Load/50000values",
     "Image/Load/25000values", "at most 2.5"},
    {"scan of 3,000 parasites (NT): twice as many / once",
     "LargeImage/nt/Scan/2000/iterations:1/repeats:3/manual_time",
     "LargeImage/nt/Scan/1000/iterations:1/repeats:3/manual_time", "at most 2.5"},
    {"cleanup of 3,000 parasites (NT): twice as many / once",
     "LargeImage/nt/Clean/2000/iterations:1/repeats:3/manual_time",
     "LargeImage/nt/Clean/1000/iterations:1/repeats:3/manual_time", "at most 2.5"},
    {"undo of 3,000 parasites (NT): twice as many / once",
     "LargeImage/nt/Undo/2000/iterations:1/repeats:3/manual_time",
     "LargeImage/nt/Undo/1000/iterations:1/repeats:3/manual_time", "at most 2.5"},
    {"scan of 3,000 parasites (9x): twice as many / once",
     "LargeImage/9x/Scan/2000/iterations:1/repeats:3/manual_time",
     "LargeImage/9x/Scan/1000/iterations:1/repeats:3/manual_time", "at most 2.5"},
    {"cleanup of 3,000 parasites (9x): twice as many / once",
     "LargeImage/9x/Clean/2000/iterations:1/repeats:3/manual_time",
     "LargeImage/9x/Clean/1000/iterations:1/repeats:3/manual_time", "at most 2.5"},
    {"undo of 3,000 parasites (9x): twice as many / once",
     "LargeImage/9x/Undo/2000/iterations:1/repeats:3/manual_time",
     "LargeImage/9x/Undo/1000/iterations:1/repeats:3/manual_time", "at most 2.5"},
    {"peak memory of a program with 60,000 file rules / machine.json",
     "Process/60000rules/manual_time:peak_KiB", "Process/60000rules/manual_time:file_KiB",
     "at most 15"},
    {"refresh of 1,000 helper objects, in seconds", "HelperObjects/Refresh/1000", nullptr,
     "below 0.1"},
    {"refresh: twice the helper objects / once", "HelperObjects/Refresh/2000",
     "HelperObjects/Refresh/1000", "at most 2.2"},
    {"cleanup: with what was there kept / without", "CleanUp/Kept/0/manual_time",
     "CleanUp/Plain/0/manual_time", "at most 1.25"},
    {"cleanup among 100,000 keys: kept / not", "CleanUp/Kept/100000/manual_time",
     "CleanUp/Plain/100000/manual_time", "at most 2"},
    {"undo / cleanup", "Undo/0/manual_time", "CleanUp/Kept/0/manual_time", "at most 1"},
    {"undo / cleanup, among 100,000 keys", "Undo/100000/manual_time",
     "CleanUp/Kept/100000/manual_time", "at most 1"},
    {"report of 300 processes with 150 modules, in seconds", "Process/Report/manual_time", nullptr,
     "below 2"},
    {"report: twice the processes and files / once", "Report/600x150", "Report/300x150",
     "at most 2.2"},
    {"report: peak memory / envelope", "Process/Report/manual_time:peak_KiB",
     "Process/Report/manual_time:envelope_KiB", "at most 12"},
    {"packing the envelope as processes: zip -6 / ours", "Process/zip-6/manual_time",
     "Process/Packing/manual_time", "at least 1"},
    {"all of a 15 MB hive as processes: hivexml / registry", "Process/hivexml/manual_time",
     "Process/registry/manual_time", "at least 2"},
    {"all of a 15 MB hive as processes: reglookup / registry", "Process/reglookup/manual_time",
     "Process/registry/manual_time", "at least 5"},
    {"100 MB hive: write-back of a cleanup / copy of the hive", "Hive/WriteBack/manual_time",
     "Hive/Copy/manual_time", "below 1"},
    {"scan of a volume with 141 MB of hives, in seconds", "Process/ScanVolume/manual_time", nullptr,
     "below 0.3"},
    {"scan of a volume with 141 MB of hives: peak memory / 64 MiB",
     "Process/ScanVolume/manual_time:peak_KiB", "Process/ScanVolume/manual_time:KiB_to_64_MiB",
     "below 1"},
};

class RatioReporter : public benchmark::ConsoleReporter {
  public:
    RatioReporter() : ConsoleReporter(OO_Tabular) {}

    void ReportRuns(const std::vector<Run>& runs) override {
        std::vector<Run> shown;
        for (const Run& run : runs) {
            const bool isAlone = run.repetitions < 2;
            if (isAlone || run.error_occurred || run.aggregate_name == "median") {
                shown.push_back(run);
            }
            if (run.error_occurred || run.run_type == Run::RT_Aggregate) continue;
            const std::string name = run.benchmark_name();
            const bool isManual = name.ends_with("/manual_time");
            Keep(name, (isManual ? run.real_accumulated_time : run.cpu_accumulated_time) /
                           static_cast<double>(run.iterations));
            for (const auto& [counter, value] : run.counters) {
                Keep(name + ":" + counter, value.value);
            }
        }
        ConsoleReporter::ReportRuns(shown);
    }

    void Finalize() override {
        ConsoleReporter::Finalize();
        std::cout << "\nRatios\n" << std::fixed << std::setprecision(2);
        for (const Ratio& ratio : kRatios) {
            const auto dividend = times_.find(ratio.dividend);
            double value = dividend == times_.end() ? 0 : dividend->second;
            if (ratio.divisor != nullptr) {
                const auto divisor = times_.find(ratio.divisor);
                if (divisor == times_.end()) continue;
                value /= divisor->second;
            }
            if (dividend == times_.end()) continue;
            std::cout << std::setw(8) << value << "  " << ratio.label << " (" << ratio.aim << ")\n";
        }
    }

  private:
    void Keep(const std::string& name, double value) {
        const auto [kept, isNew] = times_.emplace(name, value);
        if (!isNew) kept->second = std::min(kept->second, value);
    }

    std::map<std::string, double> times_;  // the least of each
};

/// The file's content; nothing and a message for one that can't be read.
std::optional<Bytes> ReadWhole(const char* path) {
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    Bytes content(static_cast<std::size_t>(std::max<std::streamoff>(file.tellg(), 0)));
    file.seekg(0);
    file.read(reinterpret_cast<char*>(content.data()),
              static_cast<std::streamsize>(content.size()));
    if (file) return content;
    std::cerr << path << ": can't be read\n";
    return std::nullopt;
}

int PrintHash(const char* path) {
    const auto content = ReadWhole(path);
    if (!content) return 2;
    std::cout << content->size() << ' ' << ContentHash(*content) << '\n';
    return 0;
}

/// Reads the file into a machine in memory, packs it there and writes the archive.
int PackFile(const char* archive, const char* path) {
    auto content = ReadWhole(path);
    if (!content) return 2;
    MemoryMachine machine(WindowsFamily::NT);
    machine.AddFile(u"C:\\envelope.xml", *std::move(content));
    const InstalledMachine installed(machine);
    cZip zip;
    zip.SetZipFile(u"C:\\archive.zip");
    zip.AddFileSpec(u"C:\\envelope.xml");
    zip.Zip();
    const Bytes packed = machine.FileContent(u"C:\\archive.zip");
    std::ofstream out(archive, std::ios::binary);
    out.write(reinterpret_cast<const char*>(packed.data()),
              static_cast<std::streamsize>(packed.size()));
    return out && !packed.empty() ? 0 : 2;
}

}  // namespace
}  // namespace bkfd

int main(int argc, char** argv) {
    if (argc == 3 && std::strcmp(argv[1], "--hash") == 0) return bkfd::PrintHash(argv[2]);
    if (argc == 4 && std::strcmp(argv[1], "--zip") == 0) return bkfd::PackFile(argv[2], argv[3]);
    if (argc > 2 && std::strcmp(argv[1], "--run") == 0) {
        return bkfd::RunAndTell({argv + 2, argv + argc});
    }
    // In front, so that the caller's own come last and hold.
    std::string defaults[] = {"--benchmark_enable_random_interleaving=true",
                              "--benchmark_repetitions=7", "--benchmark_min_time=0.1"};
    std::vector<char*> arguments = {argv[0]};
    for (std::string& flag : defaults) arguments.push_back(flag.data());
    arguments.insert(arguments.end(), argv + 1, argv + argc);
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 2;
    bkfd::RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    return 0;
}
