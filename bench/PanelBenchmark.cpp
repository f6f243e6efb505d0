// The list of helper objects: names resolved, version records read, rows shown.

#include <benchmark/benchmark.h>

#include "NoLog.h"
#include "formats/VersionSamples.h"
#include "panels/PanelHost.h"
#include "panels/ucBHO.h"
#include "testing/HeadlessToolkit.h"
#include "testing/MemoryMachine.h"

namespace bkfd {
namespace {

Text ClassId(int number) {
    return u"{C0000000-0000-4000-8000-0000" + ToText(10'000'000 + number) + u"}";
}

/// A file with a version record in 16 KiB, as a real one has.
Bytes HelperFile() {
    Bytes file = samples::PeFile(
        {{0x409, samples::EnglishRecord({samples::Field(u"CompanyName", u"Maker of Helpers"),
                                         samples::Field(u"ProductName", u"Helper & Co")})}});
    file.resize(16'384);
    return file;
}

/// Each object with a file of its own. A third has its full path, a third a command line, a third a
/// bare name that is looked for; every other one takes its name from the version record.
void Populate(MemoryMachine& machine, int objects) {
    const Text helperKey =
        u"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Browser Helper Objects\\";
    const Bytes content = HelperFile();
    for (int number = 0; number < objects; ++number) {
        const Text name = u"helper" + ToText(number) + u".dll";
        const Text path = u"C:\\WINDOWS\\system32\\" + name;
        const Text servers[] = {path, u"\"" + path + u"\" /embedding", name};
        machine.AddFile(path, content);
        machine.SetString(RegistryRoot::LocalMachine, helperKey + ClassId(number), u"",
                          number % 2 == 0 ? u"" : u"Helper " + ToText(number));
        machine.SetString(RegistryRoot::ClassesRoot,
                          u"CLSID\\" + ClassId(number) + u"\\InProcServer32", u"",
                          servers[number % 3]);
    }
}

void RefreshHelpers(benchmark::State& state, int objects) {
    MemoryMachine machine(WindowsFamily::NT);
    Populate(machine, objects);
    const InstalledMachine installed(machine);
    HeadlessToolkit toolkit;
    Toolkit* const before = InstallToolkit(&toolkit);
    {
        PanelHost<ucBHO> host;
        host.panel.Init(std::make_shared<NoLog>());
        const auto listed = static_cast<int>(host.panel.ListViewObject().Count());
        if (listed != objects) state.SkipWithError("not every object is listed");
        for (auto _ : state) host.panel.RefreshList();
        host.Unload();
    }
    InstallToolkit(before);
}
BENCHMARK_CAPTURE(RefreshHelpers, once, 1000)
    ->Name("HelperObjects/Refresh/1000")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(RefreshHelpers, twice, 2000)
    ->Name("HelperObjects/Refresh/2000")
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace bkfd
