#include <benchmark/benchmark.h>

#include "NoLog.h"
#include "detection/CPaDetector.h"
#include "identity/ApplicationStart.h"
#include "identity/CHashier.h"
#include "resources/SignatureLists.h"
#include "services/ApplicationState.h"
#include "testing/MemoryMachine.h"

namespace bkfd {
namespace {

Text ModulePath(std::size_t number) {
    return u"C:\\Program Files\\Maker\\Application\\module" +
           ToText(static_cast<std::int64_t>(number)) + u".dll";
}

/// Every third file has a listed size and must be hashed.
Bytes ModuleContent(std::size_t number) {
    const std::size_t listed = static_cast<std::size_t>(kParasiteSizes[number % 60]);
    Bytes content(number % 3 == 0 ? listed : 4001 + 3 * (number % 1000));
    for (std::size_t i = 0; i < content.size(); ++i) {
        content[i] = static_cast<std::uint8_t>(i * number >> 3);
    }
    return content;
}

/// Processes with modules each, which spread over the distinct files.
void Populate(MemoryMachine& machine, std::size_t processes, std::size_t modules,
              std::size_t files) {
    for (std::size_t i = 0; i < files; ++i) machine.AddFile(ModulePath(i), ModuleContent(i));
    for (std::size_t process = 0; process < processes; ++process) {
        ProcessRecord record;
        record.id = static_cast<std::uint32_t>(4 * process + 100);
        record.path = ModulePath(process);
        for (std::size_t module = 0; module < modules; ++module) {
            record.modules.push_back(
                ModulePath((process * 31 + module * (files / modules)) % files));
        }
        machine.AddProcess(std::move(record));
    }
}

/// A whole detection, each with a hasher and a detector that know nothing yet.
void Detect(benchmark::State& state, std::size_t processes, std::size_t files) {
    MemoryMachine machine(WindowsFamily::NT);
    Populate(machine, processes, 150, files);
    const InstalledMachine installed(machine);
    const auto log = std::make_shared<NoLog>();
    for (auto _ : state) {
        SetApplicationState();
        CPaDetector detector;
        detector.Init(log, nullptr);
        KeyedList parasites;
        KeyedList helperObjects;
        detector.DetectParasites(parasites, helperObjects);
        benchmark::DoNotOptimize(parasites.Count());
    }
    gHashier.reset();
}
BENCHMARK_CAPTURE(Detect, once, 300, 3000)
    ->Name("Detection/300x150/3000files")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Detect, twice, 600, 6000)
    ->Name("Detection/600x150/6000files")
    ->Unit(benchmark::kMillisecond);

void ConstructDetector(benchmark::State& state) {
    for (auto _ : state) {
        CPaDetector detector;
        benchmark::DoNotOptimize(&detector);
    }
}
BENCHMARK(ConstructDetector)->Name("Detector/Construction")->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace bkfd
