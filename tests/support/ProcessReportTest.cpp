#include <gtest/gtest.h>

#include "base/Utf16Bytes.h"
#include "common/DetectionFixture.h"
#include "common/EngineFixture.h"
#include "support/MEnumProcesses.h"

namespace bkfd {
namespace {

/// The document of a 16-bit family as UTF-8, its mark shown.
std::string Readable(const Text& document) {
    if (!document.starts_with(u"\u00FF\u00FE")) return ToUtf8(document);
    return "[FF FE]" + ToUtf8(FromUtf16Bytes(ToBytes(document.substr(2))));
}

TEST(ProcessReport, NamesOnlyWhatIsUnknown) {
    EngineFixture fixture;
    MemoryMachine& machine = fixture.machine;
    machine.AddFile(u"C:\\it's & co.exe", "abc");
    machine.AddFile(u"C:\\WINDOWS\\evil.dll", "x");
    machine.AddFile(u"C:\\a.exe", FileWithVersion({{u"CompanyName", u"A & Co"}}));
    machine.AddFile(u"C:\\b.dll",
                    FileWithVersion({{u"FileDescription", u"<B>"}, {u"CompanyName", u"B"}}));
    machine.AddProcess({8,
                        u"C:\\WINDOWS\\explorer.exe",
                        {u"C:\\WINDOWS\\system32\\ntdll.dll", u"C:\\WINDOWS\\evil.dll"}});
    machine.AddProcess({12, u"C:\\it's & co.exe", {u"C:\\WINDOWS\\evil.dll"}});
    machine.AddProcess(
        {16, u"C:\\WINDOWS\\system32\\lsass.exe", {u"C:\\WINDOWS\\system32\\NTDLL.DLL"}});
    machine.AddProcess({20, u"C:\\denied.exe", {}, true});
    machine.AddProcess({24, u"C:\\a.exe", {u"C:\\b.dll", u"C:\\a.exe"}});
    machine.AddFile(u"C:\\WINDOWS\\system32\\winlogon.exe", "x");
    machine.AddProcess({28, u"\\??\\C:\\WINDOWS\\system32\\winlogon.exe", {}});

    int pumps = 0;
    fixture.toolkit.onPump = [&] { ++pumps; };
    Text files;
    const Text processes = MakeProcessReport(files, fixture.log);
    EXPECT_EQ(Readable(processes),
              "[FF FE]<Ps><P f='C:\\WINDOWS\\explorer.exe'><M f='C:\\WINDOWS\\evil.dll'/></P>"
              "<P f='C:\\it&apos;s &amp; co.exe'><M f='C:\\WINDOWS\\evil.dll'/></P>"
              "<P f='C:\\a.exe'><M f='C:\\b.dll'/><M f='C:\\a.exe'/></P></Ps>");
    EXPECT_EQ(Readable(files),
              "[FF FE]<Files><f i='C:\\WINDOWS\\explorer.exe'><c s='0' h='0'/></f>"
              "<f i='C:\\WINDOWS\\evil.dll'><c s='1' h='120'/></f>"
              "<f i='C:\\it&apos;s &amp; co.exe'><c s='3' h='536871084'/></f>"
              // Those of a maker tell what they say of themselves.
              "<f i='C:\\a.exe'><d i=''/><m i='A &amp; Co'/></f>"
              "<f i='C:\\b.dll'><d i='&lt;B&gt;'/><m i='B'/></f></Files>");
    EXPECT_EQ(pumps, 6);  // once a module
}

TEST(ProcessReport, OfThe9xFamilyJudgesProgramsAsModulesToo) {
    EngineFixture fixture(WindowsFamily::Windows9x);
    fixture.machine.AddFile(u"C:\\WINDOWS\\odd.exe", "abc");
    // Named without its folder.
    fixture.machine.AddProcess({8, u"odd.exe", {u"C:\\WINDOWS\\SYSTEM\\KERNEL32.DLL"}});
    // Known as a module, and no process of this family is known.
    fixture.machine.AddProcess({12, u"C:\\WINDOWS\\SYSTEM\\MPREXE.EXE", {}});
    const std::string declaration = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>";
    Text files;
    EXPECT_EQ(Readable(MakeProcessReport(files, fixture.log)),
              declaration +
                  "<Ps><P f='odd.exe'><M f='C:\\WINDOWS\\odd.exe'/></P>"
                  "<P f='C:\\WINDOWS\\SYSTEM\\MPREXE.EXE'></P></Ps>");
    EXPECT_EQ(Readable(files),
              declaration +
                  "<Files><f i='C:\\WINDOWS\\odd.exe'><c s='3' h='536871084'/></f>"
                  "<f i='C:\\WINDOWS\\SYSTEM\\MPREXE.EXE'><c s='0' h='0'/></f></Files>");
}

}  // namespace
}  // namespace bkfd
