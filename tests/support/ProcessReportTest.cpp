#include <gtest/gtest.h>

#include "common/EngineBench.h"
#include "support/MEnumProcesses.h"

namespace bkfd {
namespace {

/// The document of a 16-bit family as UTF-8, its mark shown.
std::string Readable(const Text& document) {
    if (!document.starts_with(u"\u00FF\u00FE")) return ToUtf8(document);
    Text text;
    for (std::size_t i = 2; i + 1 < document.size(); i += 2) {
        text += static_cast<char16_t>(document[i] | document[i + 1] << 8);
    }
    return "[FF FE]" + ToUtf8(text);
}

TEST(ProcessReport, NamesOnlyWhatIsUnknown) {
    EngineBench bench;
    MemoryMachine& machine = bench.machine;
    machine.AddFile(u"C:\\it's & co.exe", "abc");
    machine.AddFile(u"C:\\WINDOWS\\evil.dll", "x");
    machine.AddProcess({8,
                        u"C:\\WINDOWS\\explorer.exe",
                        {u"C:\\WINDOWS\\system32\\ntdll.dll", u"C:\\WINDOWS\\evil.dll"}});
    machine.AddProcess({12, u"C:\\it's & co.exe", {u"C:\\WINDOWS\\evil.dll"}});
    machine.AddProcess(
        {16, u"C:\\WINDOWS\\system32\\lsass.exe", {u"C:\\WINDOWS\\system32\\NTDLL.DLL"}});
    machine.AddProcess({20, u"C:\\denied.exe", {}, true});

    int pumps = 0;
    bench.toolkit.onPump = [&] { ++pumps; };
    Text files;
    const Text processes = MakeProcessReport(files, bench.log);
    EXPECT_EQ(Readable(processes),
              "[FF FE]<Ps><P f='C:\\WINDOWS\\explorer.exe'><M f='C:\\WINDOWS\\evil.dll'/></P>"
              "<P f='C:\\it&apos;s &amp; co.exe'><M f='C:\\WINDOWS\\evil.dll'/></P></Ps>");
    EXPECT_EQ(Readable(files),
              "[FF FE]<Files><f i='C:\\WINDOWS\\explorer.exe'><c s='0' h='0'/></f>"
              "<f i='C:\\WINDOWS\\evil.dll'><c s='1' h='120'/></f>"
              "<f i='C:\\it&apos;s &amp; co.exe'><c s='3' h='536871084'/></f></Files>");
    EXPECT_EQ(pumps, 4);  // once a module
}

TEST(ProcessReport, OfThe9xFamilyIsPlainTextWithADeclaration) {
    EngineBench bench(WindowsFamily::Windows9x);
    Text files;
    EXPECT_EQ(Readable(MakeProcessReport(files, bench.log)),
              "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><Ps></Ps>");
    EXPECT_EQ(Readable(files), "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><Files></Files>");
}

}  // namespace
}  // namespace bkfd
