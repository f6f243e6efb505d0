// What it costs to keep what a cleanup changes, and to take it back, on images that lie on the
// disk.

#include <benchmark/benchmark.h>

#include <chrono>

#include "common/ExampleMachine.h"
#include "platform/undo/UndoMachine.h"
#include "undo/TakeBack.h"

namespace bkfd {
namespace {

using Clock = std::chrono::steady_clock;

/// The engine on an image, from its load until its files are folded.
class Use {
  public:
    Use(const ExampleCopy& copy, bool isKept) : image_(copy.Load()) {
        if (isKept) undo_ = std::make_unique<UndoMachine>(*image_, u"1.0.0");
        engine_ = std::make_unique<Engine>(isKept ? static_cast<Machine&>(*undo_) : *image_);
    }
    ~Use() { (void)image_->Fold(); }
    Use(const Use&) = delete;
    Use& operator=(const Use&) = delete;

    void CleanUp() { (void)engine_->CleanUp(); }

  private:
    std::unique_ptr<ImageMachine> image_;
    std::unique_ptr<UndoMachine> undo_;
    std::unique_ptr<Engine> engine_;
};

/// The hijacked example with more keys in its registry.
std::unique_ptr<ExampleCopy> Example(std::int64_t keys) {
    auto copy = std::make_unique<ExampleCopy>("hijacked-xp");
    if (keys == 0) return copy;
    std::string text = "Windows Registry Editor Version 5.00\r\n\r\n";
    for (std::int64_t i = 0; i < keys; ++i) {
        text += "[HKEY_LOCAL_MACHINE\\Software\\Many\\" + std::to_string(i) + "]\r\n\"v\"=\"" +
                std::to_string(i) + "\"\r\n\r\n";
    }
    copy->Write("registry/90-many.reg", text);
    return copy;
}

template <class Work>
void Measure(benchmark::State& state, const Work& work) {
    const auto begin = Clock::now();
    work();
    state.SetIterationTime(std::chrono::duration<double>(Clock::now() - begin).count());
}

void CleanUp(benchmark::State& state, bool isKept) {
    for (auto _ : state) {
        const auto copy = Example(state.range(0));
        Measure(state, [&] { Use(*copy, isKept).CleanUp(); });
    }
}
BENCHMARK_CAPTURE(CleanUp, Plain, false)
    ->Name("CleanUp/Plain")
    ->Arg(0)
    ->Arg(100'000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(CleanUp, Kept, true)
    ->Name("CleanUp/Kept")
    ->Arg(0)
    ->Arg(100'000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

void Undo(benchmark::State& state) {
    for (auto _ : state) {
        const auto copy = Example(state.range(0));
        Use(*copy, true).CleanUp();
        Measure(state, [&] {
            const Use use(*copy, true);
            if (!TakeBack(1).IsWhole()) state.SkipWithError("not all came back");
        });
    }
}
BENCHMARK(Undo)->Arg(0)->Arg(100'000)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace bkfd
