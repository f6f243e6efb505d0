// A scan of a Windows volume with large hives, as a process: SOFTWARE of 100 MB, SYSTEM of 15 MB
// and five users of 5 MB each. Hives are read where they lie, so neither time nor memory follows
// their size.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "ChildProcess.h"
#include "base/Utf16Bytes.h"
#include "testing/HiveMaker.h"

namespace bkfd {
namespace {

namespace fs = std::filesystem;

constexpr std::uint32_t kString = 1;
constexpr std::uint32_t kDword = 4;
constexpr int kUsers = 5;
constexpr int kServices = 400;

HiveMakerValue TextValue(Text name, TextView text) {
    Bytes data = ToUtf16Bytes(text);
    data.insert(data.end(), 2, 0);
    return {std::move(name), kString, std::move(data)};
}

HiveMakerValue NumberValue(Text name, std::uint8_t number) {
    return {std::move(name), kDword, {number, 0, 0, 0}};
}

/// Names that sort as the numbers do.
Text Numbered(const char* format, int number) {
    char room[64];
    std::snprintf(room, sizeof room, format, number);
    return FromAscii(room);
}

HiveMakerKey Key(Text name, std::vector<HiveMakerKey> subkeys,
                 std::vector<HiveMakerValue> values = {}) {
    return {std::move(name), std::move(values), std::move(subkeys)};
}

/// Classes as installations register them, about 560 bytes of a hive each.
HiveMakerKey Classes(Text name, int count) {
    HiveMakerKey all = Key(std::move(name), {});
    all.entriesALeaf = 500;
    for (int i = 0; i < count; ++i) {
        all.subkeys.push_back(Key(
            Numbered("{%08X-1000-4000-8000-00AA00BDCE0B}", i),
            {Key(u"InProcServer32", {},
                 {TextValue(u"", Numbered("C:\\Program Files\\Common Files\\Parts\\p%d.dll", i)),
                  TextValue(u"ThreadingModel", u"Apartment")})},
            {TextValue(u"", u"A class of one of many programs")}));
    }
    return all;
}

std::vector<HiveMakerKey> Profiles() {
    std::vector<HiveMakerKey> profiles;
    for (int user = 1; user <= kUsers; ++user) {
        profiles.push_back(Key(Numbered("S-1-5-21-1-2-3-100%d", user), {},
                               {TextValue(u"ProfileImagePath",
                                          Numbered("C:\\Documents and Settings\\User%d", user))}));
    }
    return profiles;
}

HiveMakerKey Software(int classes) {
    return Key(u"ROOT",
               {Key(u"Classes", {Classes(u"CLSID", classes)}),
                Key(u"Microsoft",
                    {Key(u"Windows", {Key(u"CurrentVersion",
                                          {Key(u"Run", {}, {TextValue(u"Agent", u"agent.exe")})})}),
                     Key(u"Windows NT", {Key(u"CurrentVersion", {Key(u"ProfileList", Profiles())},
                                             {TextValue(u"CurrentVersion", u"5.1"),
                                              TextValue(u"CurrentBuildNumber", u"2600"),
                                              TextValue(u"SystemRoot", u"C:\\WINDOWS")})})})});
}

HiveMakerKey System(int devices) {
    std::vector<HiveMakerKey> services;
    for (int i = 0; i < kServices; ++i) {
        services.push_back(
            Key(Numbered("Service%04d", i), {},
                {TextValue(u"ImagePath", u"system32\\service.exe"),
                 NumberValue(u"Start", i % 4 == 0 ? 2 : 3), NumberValue(u"Type", 16)}));
    }
    return Key(u"ROOT", {Key(u"ControlSet001", {Key(u"Enum", {Classes(u"Parts", devices)}),
                                                Key(u"Services", std::move(services))}),
                         Key(u"Select", {}, {NumberValue(u"Current", 1)})});
}

HiveMakerKey UserHive(int classes) {
    return Key(u"ROOT", {Key(u"Software", {Classes(u"Bulk", classes)})});
}

class LargeVolume {
  public:
    LargeVolume()
        : path_(fs::temp_directory_path() / ("bkfd_benchmark_volume_" + std::to_string(getpid()))) {
        Write("WINDOWS/system32/config/SOFTWARE", Software(180'000));
        Write("WINDOWS/system32/config/SYSTEM", System(27'000));
        Write("WINDOWS/system32/config/DEFAULT", UserHive(1));
        for (int user = 1; user <= kUsers; ++user) {
            Write("Documents and Settings/User" + std::to_string(user) + "/NTUSER.DAT",
                  UserHive(9'000));
        }
        for (const char* program : {"explorer.exe", "system32/service.exe", "system32/agent.exe"}) {
            std::ofstream(path_ / "WINDOWS" / program) << "MZ" << program;
        }
    }
    ~LargeVolume() {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }
    LargeVolume(const LargeVolume&) = delete;
    LargeVolume& operator=(const LargeVolume&) = delete;

    std::string Path() const { return path_.string(); }
    double Megabytes() const { return static_cast<double>(bytes_) / 1e6; }

  private:
    void Write(const std::string& name, const HiveMakerKey& root) {
        const HiveMaker hive(root);
        fs::create_directories((path_ / name).parent_path());
        std::ofstream(path_ / name, std::ios::binary)
            .write(reinterpret_cast<const char*>(hive.File().data()),
                   static_cast<std::streamsize>(hive.File().size()));
        bytes_ += hive.File().size();
    }

    fs::path path_;
    std::size_t bytes_ = 0;
};

void ScanVolume(benchmark::State& state) {
    const LargeVolume volume;
    const std::vector<std::string> command = {BKFD_BINARY_DIR "/brackenfold", "--machine",
                                              volume.Path(), "--json", "scan"};
    for (auto _ : state) {
        const ChildResult result = RunChild(command);
        if (result.exitCode != 0 && result.exitCode != 1) {
            state.SkipWithError("the scan failed");
            break;
        }
        state.SetIterationTime(result.seconds);
    }
    state.counters["hives_MB"] = volume.Megabytes();
    state.counters["peak_KiB"] =
        static_cast<double>(RunSmall(ThisProgram(), command).peakKilobytes);
    state.counters["KiB_to_64_MiB"] = 65'536;
}
BENCHMARK(ScanVolume)->Name("Process/ScanVolume")->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace bkfd
