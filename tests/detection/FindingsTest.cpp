#include <gtest/gtest.h>

#include "common/DetectionFixture.h"
#include "detection/CPaDetector.h"

// Why and where files are found.
namespace bkfd {
namespace {

/// "path: reasons; places" of each finding, a line each.
std::string Describe(const std::vector<Finding>& findings) {
    constexpr const char* kReasons[] = {"helper", "nonamer", "process", "module"};
    constexpr const char* kPlaces[] = {"helper", "startup", "process", "module"};
    std::string text;
    for (const Finding& finding : findings) {
        text += ToUtf8(finding.path) + ':';
        for (const Reason reason : finding.reasons) {
            text += std::string(" ") + kReasons[static_cast<int>(reason)];
        }
        text += ';';
        for (const Place& place : finding.places) {
            text += std::string(" ") + kPlaces[static_cast<int>(place.kind)] + '=' +
                    ToUtf8(place.key.substr(FindLast(place.key, u"\\"))) + '(' +
                    ToUtf8(place.name.substr(FindLast(place.name, u"\\"))) + ')';
        }
        text += '\n';
    }
    return text;
}

struct WatchedMachine : DetectionFixture {
    explicit WatchedMachine(WindowsFamily family = WindowsFamily::NT) : DetectionFixture(family) {
        for (const TextView file : {u"C:\\Bad32.exe", u"C:\\help.dll", u"C:\\plain.exe"}) {
            machine.AddFile(file, "plain");
        }
        machine.AddFile(u"C:\\good.exe", Steered({}, 3584, 5485141));
        machine.AddFile(u"C:\\maker.exe", FileWithVersion({{u"CompanyName", u"Maker"}}));
        AddHelperObject(machine, u"{HELP}" + Text(32, u'x'), u"x", u"C:\\help.dll");
        AddHelperObject(machine, u"{BAD}" + Text(33, u'x'), u"x", u"C:\\BAD32.EXE");
        machine.SetString(HKLM, kRun, u"bad", u"C:\\bad32.exe /x");
        machine.SetString(HKCU, kRun, u"help", u"C:\\HELP.DLL");
        machine.SetString(HKCU, kRun, u"good", u"C:\\good.exe");
        machine.AddProcess({4, u"C:\\bad32.exe", {u"C:\\a.tmp", u"C:\\Help.dll"}});
        machine.AddProcess(
            {8, u"C:\\maker.exe", {u"C:\\A.TMP", u"C:\\plain.exe", u"C:\\bad32.EXE"}});
        machine.AddProcess({12, u"C:\\maker.exe", {u"C:\\A.TMP"}});
        machine.AddProcess({16, u"C:\\good.exe", {}});
    }
};

TEST(Findings, TellEveryReasonAndPlaceOnce) {
    for (const WindowsFamily family : {WindowsFamily::NT, WindowsFamily::Windows9x}) {
        SCOPED_TRACE(static_cast<int>(family));
        // The 95 family lists programs among their own modules, which is no place of its own.
        WatchedMachine machine(family);
        CPaDetector detector;
        detector.Init(machine.log, nullptr);
        const Detection detection = detector.Detect();
        EXPECT_EQ(Describe(detection.files),
                  "C:\\BAD32.EXE: helper nonamer process module; helper=({BAD}" +
                      std::string(33, 'x') +
                      ") startup=Run(bad) process=(bad32.exe) module=(maker.exe)\n"
                      "C:\\help.dll: helper; helper=({HELP}" +
                      std::string(32, 'x') +
                      ") startup=Run(help) module=(bad32.exe)\n"
                      "c:\\a.tmp: module; module=(bad32.exe) module=(maker.exe)\n");
        EXPECT_EQ(Describe(detector.FindSuspicious(detection)),
                  "C:\\plain.exe: module; module=(maker.exe)\n");
        EXPECT_EQ(detection.bhos.size(), 2U);
        EXPECT_EQ(detection.startupItems.size(), 3U);
    }
}

TEST(Findings, KeepTheirPlacesWhenAWalkFails) {
    WatchedMachine machine;
    machine.spy.RunOutOfMemoryAt("EnumProcesses");
    CPaDetector detector;
    detector.Init(machine.log, nullptr);
    const Detection detection = detector.Detect();
    ASSERT_EQ(detection.files.size(), 2U);
    EXPECT_EQ(detection.files[0].places.size(), 1U);
    EXPECT_TRUE(machine.Logged("7 0 CPaDetector.DetectParasites: Out of memory"));
}

}  // namespace
}  // namespace bkfd
