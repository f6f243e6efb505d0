#include <gtest/gtest.h>

#include "base/Utf16Bytes.h"
#include "common/DetectionFixture.h"
#include "detection/CPaDetector.h"

namespace bkfd {
namespace {

std::string Suspicious(DetectionFixture& fixture) {
    CPaDetector detector;
    detector.Init(fixture.log, nullptr);
    KeyedList files;
    detector.DetectSuspiciousFiles(files);
    return Lines(files);
}

/// The document behind its mark, as UTF-8.
std::string SuspiciousXml(DetectionFixture& fixture) {
    CPaDetector detector;
    detector.Init(fixture.log, nullptr);
    const Text wide = detector.MakeSuspiciousFilesXML();
    if (wide.empty()) return "(empty)";
    EXPECT_EQ(wide.substr(0, 4), Text({0xFF, 0xFE, u'<', 0}));
    return ToUtf8(FromUtf16Bytes(ToBytes(wide.substr(2))));
}

TEST(SuspiciousFiles, FindsRunningFilesHelperObjectsAndParasitesOnce) {
    DetectionFixture fixture;
    const Bytes named = FileWithVersion({{u"CompanyName", u"Maker"}});
    for (const TextView file : {u"C:\\Maker.exe", u"C:\\maker.dll"}) {
        fixture.machine.AddFile(file, named);
    }
    for (const TextView file :
         {u"C:\\WINNT\\system32\\csrss.exe", u"C:\\Plain.DLL", u"C:\\pcshared\\nmiehelp.dll",
          u"C:\\Helper.dll", u"C:\\bad32.exe"}) {
        fixture.machine.AddFile(file, "bytes");
    }
    fixture.machine.AddProcess({4, u"\\??\\C:\\WINNT\\system32\\csrss.exe", {u"C:\\Plain.DLL"}});
    fixture.machine.AddProcess(
        {8, u"C:\\Maker.exe", {u"C:\\maker.dll", u"c:\\plain.dll", u"\\??\\C:\\Plain.DLL"}});
    fixture.machine.AddProcess({12, u"C:\\BAD32.exe", {u"C:\\pcshared\\nmiehelp.dll"}});
    AddHelperObject(fixture.machine, kFirstClsid, u"x", u"C:\\Helper.dll");
    // A module keeps the prefix; the parasite's lower-case name is the same key as its process's.
    EXPECT_EQ(Suspicious(fixture),
              "C:\\WINNT\\system32\\csrss.exe\nC:\\Plain.DLL\n\\??\\C:\\Plain.DLL\n"
              "C:\\BAD32.exe\nC:\\pcshared\\nmiehelp.dll\nC:\\Helper.dll\n");
}

TEST(SuspiciousFiles, DescribesFilesInXml) {
    DetectionFixture fixture;
    fixture.machine.AddFile(u"C:\\a&'.dll", std::string(1024, '\0'));
    fixture.machine.AddFile(u"C:\\d.exe", FileWithVersion({{u"FileDescription", u"Some <tool>"}}));
    fixture.machine.AddProcess({4, u"C:\\a&'.dll", {u"C:\\gone.dll"}});
    fixture.machine.AddProcess({8, u"C:\\d.exe", {}});
    const std::size_t size = fixture.machine.FileContent(u"C:\\d.exe").size();
    const auto hash = ContentHash(fixture.machine.FileContent(u"C:\\d.exe"));
    EXPECT_EQ(SuspiciousXml(fixture),
              "<xml><f i='C:\\a&amp;&apos;.dll'><c s='1024' h='0'/><d i=''/><m i=''/></f>"
              "<f i='C:\\gone.dll'><c s='0' h='0'/><d i=''/><m i=''/></f>"
              "<f i='C:\\d.exe'><c s='" +
                  std::to_string(size) + "' h='" + std::to_string(hash) +
                  "'/><d i='Some &lt;tool&gt;'/><m i=''/></f></xml>");
}

TEST(SuspiciousFiles, ACleanMachineGivesAnEmptyDocument) {
    DetectionFixture fixture;
    EXPECT_EQ(Suspicious(fixture), "");
    EXPECT_EQ(SuspiciousXml(fixture), "<xml></xml>");
    EXPECT_EQ(fixture.log->text, "");
}

TEST(SuspiciousFiles, AFailureIsLoggedAndGivesNoDocument) {
    DetectionFixture fixture;
    fixture.machine.AddFile(u"C:\\plain.exe", "bytes");
    fixture.machine.AddProcess({4, u"C:\\plain.exe", {}});
    gHashier.reset();
    EXPECT_EQ(SuspiciousXml(fixture), "(empty)");
    EXPECT_TRUE(fixture.Logged("91 0 CPaDetector.MakeSuspiciousFilesXML: "));
}

}  // namespace
}  // namespace bkfd
