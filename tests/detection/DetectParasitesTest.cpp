#include <gtest/gtest.h>

#include "common/DetectionFixture.h"
#include "detection/CPaDetector.h"
#include "resources/SignatureLists.h"

namespace bkfd {
namespace {

class DetectionCase : public DetectionFixture {
  public:
    void AddHelperObject(TextView dll, TextView clsid = kFirstClsid) {
        bkfd::AddHelperObject(machine, clsid, u"x", dll);
    }
    void AddStartup(const Text& name, const Text& line) {
        machine.SetString(HKLM, kRun, name, line);
    }
    void AddProcess(const Text& path, std::vector<Text> modules = {}) {
        machine.AddProcess({nextId_ += 4, path, std::move(modules)});
    }
    void AddPlainFile(const Text& path) { machine.AddFile(path, "plain"); }
    void AddGoodFile(const Text& path) { machine.AddFile(path, Steered({}, 3584, 5485141)); }
    void AddMakersFile(const Text& path) {
        machine.AddFile(path, FileWithVersion({{u"CompanyName", u"Maker"}}));
    }

    /// The files, the helper objects and the log of a detection, a paragraph each.
    std::string Run() {
        KeyedList files;
        KeyedList bhos;
        files.Add(u"from before");
        bhos.Add(u"from before");
        detector_.DetectParasites(files, bhos);
        return Lines(files) + "--\n" + Lines(bhos) + "--\n" + log->text;
    }
    void Init() { detector_.Init(log, nullptr); }

  private:
    std::uint32_t nextId_ = 100;
    CPaDetector detector_;
};

TEST(DetectParasites, AnswersForEachPlace) {
    const struct {
        const char* label;
        void (*prepare)(DetectionCase&);
        const char* answer;
    } rows[] = {
        {"a clean machine",
         [](DetectionCase& it) {
             it.AddMakersFile(u"C:\\m.dll");
             it.AddPlainFile(u"C:\\plain.exe");
             it.AddHelperObject(u"C:\\m.dll");
             it.AddStartup(u"idle", u"C:\\plain.exe");
             it.AddStartup(u"with a company", u"C:\\m.dll");
             it.AddProcess(u"C:\\m.dll", {u"C:\\other.dll"});
         },
         "--\n--\n"},
        {"a dead registration", [](DetectionCase& it) { it.AddHelperObject(u""); },
         "--\n{11111111-1111-1111-1111-111111111111}\n--\n"},
        {"two registrations of a file, in the registry's spelling",
         [](DetectionCase& it) {
             it.AddPlainFile(u"C:\\Bad.dll");
             it.AddHelperObject(u"C:\\Bad.dll");
             it.AddHelperObject(u"C:\\Bad.dll", kSecondClsid);
         },
         "C:\\Bad.dll\n--\n{11111111-1111-1111-1111-111111111111}\n"
         "{22222222-2222-2222-2222-222222222222}\n--\n"},
        {"a helper object whose file is gone",
         [](DetectionCase& it) { it.AddHelperObject(u"C:\\gone.dll"); },
         "C:\\gone.dll\n--\n{11111111-1111-1111-1111-111111111111}\n--\n"},
        {"a helper object with a good file",
         [](DetectionCase& it) {
             it.AddGoodFile(u"C:\\good.dll");
             it.AddHelperObject(u"C:\\good.dll");
         },
         "--\n{11111111-1111-1111-1111-111111111111}\n--\n"},
        {"a startup item that runs",
         [](DetectionCase& it) {
             it.AddPlainFile(u"C:\\Bad.exe");
             it.AddStartup(u"v", u"C:\\Bad.exe -x");
             it.AddStartup(u"w", u"C:\\BAD.EXE");
             it.AddProcess(u"C:\\bAD.exe");
         },
         "c:\\bad.exe\n--\n--\n"
         "5 CPaDetector.DetectParasites: RunningStartupNonamer found: c:\\bad.exe\n"},
        {"a startup item that is only loaded",
         [](DetectionCase& it) {
             it.AddPlainFile(u"C:\\bad.dll");
             it.AddStartup(u"v", u"rundll32 C:\\bad.dll,x");
             it.AddProcess(u"C:\\plain.exe", {u"C:\\bad.dll"});
         },
         "--\n--\n"},
        {"a running startup item that is good",
         [](DetectionCase& it) {
             it.AddGoodFile(u"C:\\good.exe");
             it.AddStartup(u"v", u"C:\\good.exe");
             it.AddProcess(u"C:\\good.exe");
         },
         "--\n--\n5 CPaDetector.DetectParasites: RunningStartupNonamer found: c:\\good.exe\n"},
        {"processes and modules, each named once",
         [](DetectionCase& it) {
             it.AddPlainFile(u"C:\\BAD32.exe");
             it.AddPlainFile(u"C:\\x\\se.dll");
             it.AddStartup(u"v", u"C:\\bad32.exe");
             it.AddProcess(u"C:\\BAD32.exe", {u"C:\\X\\SE.dll", u"C:\\a.tmp"});
             it.AddProcess(u"C:\\A.TMP", {u"c:\\x\\se.dll", u"C:\\calc.exe:s.dll"});
         },
         "c:\\bad32.exe\nc:\\x\\se.dll\nc:\\a.tmp\nc:\\calc.exe:s.dll\n--\n--\n"
         "5 CPaDetector.DetectParasites: RunningStartupNonamer found: c:\\bad32.exe\n"
         "5 CPaDetector.DetectParasites: Running parasite module: c:\\x\\se.dll\n"
         "5 CPaDetector.DetectParasites: Running parasite module: c:\\a.tmp\n"
         "5 CPaDetector.DetectParasites: Running parasite module: c:\\calc.exe:s.dll\n"},
        {"a parasite's process", [](DetectionCase& it) { it.AddProcess(u"C:\\Temp\\A.TMP"); },
         "c:\\temp\\a.tmp\n--\n--\n"
         "5 CPaDetector.DetectParasites: Running parasite process: c:\\temp\\a.tmp\n"},
        {"a file of a helper object that also runs, in two spellings",
         [](DetectionCase& it) {
             it.AddPlainFile(u"C:\\X\\se.dll");
             it.AddHelperObject(u"C:\\X\\se.dll");
             it.AddProcess(u"C:\\plain.exe", {u"c:\\x\\SE.DLL"});
         },
         "C:\\X\\se.dll\n--\n{11111111-1111-1111-1111-111111111111}\n--\n"},
        {"the session manager, started as a nonamer",
         [](DetectionCase& it) {
             it.AddStartup(u"v", u"\\SystemRoot\\System32\\smss.exe");
             it.AddProcess(u"\\SystemRoot\\System32\\smss.exe");
         },
         "--\n--\n5 CPaDetector.DetectParasites: RunningStartupNonamer found: "
         "\\systemroot\\system32\\smss.exe\n"},
        {"a prefix of the system stays",
         [](DetectionCase& it) {
             it.AddPlainFile(u"C:\\bad.exe");
             it.AddStartup(u"v", u"C:\\bad.exe");
             it.AddProcess(u"\\??\\C:\\bad.exe");
         },
         "--\n--\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        DetectionCase detection;
        detection.Init();
        row.prepare(detection);
        EXPECT_EQ(detection.Run(), row.answer);
        EXPECT_EQ(detection.machine.OpenHandleCount(), 0U);
    }
}

TEST(DetectParasites, KeepsWhatItHasWhenAWalkFails) {
    const std::string noList = "91 0 CPaDetector.DetectParasites: Object variable not set\n";
    const std::string helperObject =
        "C:\\good.dll\n--\n{11111111-1111-1111-1111-111111111111}\n--\n";
    const struct {
        const char* label;
        void (*prepare)(DetectionCase&);
        std::string answer;
    } rows[] = {
        {"the helper objects", [](DetectionCase& it) { it.spy.RunOutOfMemoryAt("RegEnumKeyExW"); },
         "--\n--\n" + std::string("7 4 CBHOManager.EnumBHOs: Out of memory\n") + noList},
        {"the startup items",
         [](DetectionCase& it) {
             it.machine.AddFile(u"C:\\s.exe", FileWithVersion({{u"ProductName", u"Suite"}}));
             it.machine.SetString(HKLM,
                                  u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\policies\\"
                                  u"Explorer\\Run",
                                  u"v", u"C:\\s.exe");
         },
         helperObject + "5 4 CStartupManager.EnumItems: Invalid procedure call or argument\n" +
             noList},
        {"the processes", [](DetectionCase& it) { it.spy.RunOutOfMemoryAt("EnumProcesses"); },
         helperObject + "7 0 CPaDetector.DetectParasites: Out of memory\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        DetectionCase detection;
        detection.Init();
        detection.AddGoodFile(u"C:\\good.dll");
        detection.AddHelperObject(u"C:\\good.dll");
        detection.AddProcess(u"C:\\a.tmp");
        row.prepare(detection);
        EXPECT_EQ(detection.Run(), row.answer);
    }
}

TEST(DetectParasites, JudgesAModuleOfManyProcessesOnceUnlessThatFails) {
    DetectionCase detection;
    detection.Init();
    const auto listed = static_cast<std::size_t>(kParasiteSizes[0]);
    detection.machine.AddFile(u"C:\\listed.dll", Bytes(listed));
    detection.AddPlainFile(u"C:\\p.exe");
    for (int i = 0; i < 3; ++i) detection.AddProcess(u"C:\\p.exe", {u"C:\\Listed.dll"});
    EXPECT_EQ(detection.Run(), "--\n--\n");
    EXPECT_EQ(detection.Calls("FindFirstFileA"), 2);
    gHashier.reset();
    const std::string line = "91 0 CPaDetector.IsParasiteRunningModule: Object variable not set\n";
    EXPECT_EQ(detection.Run(), "--\n--\n" + line + line + line);
}

TEST(DetectParasites, RemembersOnlyWhatFilesHold) {
    DetectionCase detection;
    detection.Init();
    detection.AddGoodFile(u"C:\\x32.exe");
    detection.AddProcess(u"C:\\x32.exe");
    EXPECT_TRUE(detection.Run().starts_with("--\n--\n"));
    // By its old hash it is still good; the listed size is asked for anew.
    detection.machine.AddFile(u"C:\\x32.exe", Bytes(3584));
    EXPECT_TRUE(detection.Run().starts_with("--\n--\n"));
    detection.machine.AddFile(u"C:\\x32.exe", Bytes(3585));
    EXPECT_TRUE(detection.Run().starts_with("c:\\x32.exe\n--\n--\n"));
}

}  // namespace
}  // namespace bkfd
