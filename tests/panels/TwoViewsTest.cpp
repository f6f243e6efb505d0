// A 64-bit Windows: what is registered for 32-bit programs is found, told apart and taken back.
#include <gtest/gtest.h>

#include "PanelHost.h"
#include "base/Utf16Bytes.h"
#include "common/BrowserKeys.h"
#include "common/RemovalFixture.h"
#include "detection/CBHOManager.h"
#include "detection/CPaDetector.h"
#include "detection/CStartupManager.h"
#include "formats/VersionSamples.h"
#include "identity/NameInView.h"
#include "panels/RegistryBackup.h"
#include "panels/ucBHO.h"
#include "panels/ucCS.h"
#include "platform/undo/UndoMachine.h"
#include "removal/CPaRemover.h"
#include "services/RegistryAccess.h"
#include "ui/Keys.h"
#include "undo/TakeBack.h"
#include "undo/UndoRecords.h"

namespace bkfd {
namespace {

using samples::FileWithVersion;

constexpr RegistryBase kMachine32 = {HKLM, RegistryView::Bits32};
constexpr char16_t kNode[] = u"Software\\Wow6432Node\\";
constexpr char16_t kLibrary[] = u"C:\\WINDOWS\\system32\\bar.dll";
constexpr char16_t kLibrary32[] = u"C:\\WINDOWS\\SysWOW64\\bar.dll";

/// One class is registered in both views under one name: sound in the native view, a parasite in
/// the other, which also starts a program and has a start page of its own.
struct TwoViews : RemovalFixture {
    TwoViews() {
        machine.Facts().hasTwoViews = true;
        machine.SetEnvironment(u"ProgramFiles(x86)", u"C:\\Program Files (x86)");
        machine.AddFile(kLibrary, FileWithVersion({{u"CompanyName", u"Maker"}}));
        machine.AddFile(kLibrary32, "bytes");
        machine.AddFile(u"C:\\Program Files (x86)\\run.exe", "bytes");
        machine.AddProcess({8, u"C:\\Program Files (x86)\\run.exe", {}});
        AddHelperObject(machine, kFirstClsid, u"Bar", kLibrary);
        RegistryAccess registry;
        (void)registry.WriteString(kMachine32, Text(kHelperObjects) + kFirstClsid, u"", u"Bar");
        (void)registry.WriteString({HKCR, RegistryView::Bits32},
                                   Text(u"CLSID\\") + kFirstClsid + u"\\InProcServer32", u"",
                                   u"%SystemRoot%\\System32\\bar.dll");
        machine.SetString(HKLM, kRun, u"run", u"C:\\other.exe");
        (void)registry.WriteString(kMachine32, kRun, u"run", u"%ProgramFiles%\\run.exe");
        machine.SetString(HKLM, kMainKey, u"Start Page", u"about:blank");
        (void)registry.WriteString(kMachine32, kMainKey, u"Start Page", u"http://hijacked/");
        Start();
    }

    bool Has(const Text& below) { return machine.HasKey(HKLM, kNode + below); }
};

TEST(TwoViews, NamesAreThoseOf32BitPrograms) {
    TwoViews fixture;
    fixture.machine.AddFile(u"C:\\WINDOWS\\SysWOW64\\bare.dll");
    const struct {
        TextView name;
        TextView file;
    } rows[] = {
        {u"c:\\windows\\SYSTEM32\\a.dll", u"C:\\WINDOWS\\SysWOW64\\a.dll"},
        {u"%SystemRoot%\\system32\\x\\a.dll", u"C:\\WINDOWS\\SysWOW64\\x\\a.dll"},
        {u"C:\\WINDOWS\\sysnative\\a.dll", u"c:\\windows\\system32\\a.dll"},
        {u"C:\\WINDOWS\\system32\\drivers\\etc\\hosts",
         u"C:\\WINDOWS\\system32\\drivers\\etc\\hosts"},
        {u"C:\\WINDOWS\\system32x\\a.dll", u"C:\\WINDOWS\\system32x\\a.dll"},
        {u"%programfiles%\\a.exe", u"C:\\Program Files (x86)\\a.exe"},
        {u"%CommonProgramFiles%\\a.exe", u"%CommonProgramFiles%\\a.exe"},
        {u"bare.dll", u"C:\\WINDOWS\\SysWOW64\\bare.dll"},
        {u"nowhere.dll", u"nowhere.dll"},
        {u"", u""},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(ToUtf8(NameInView(RegistryView::Bits32, Text(row.name))), ToUtf8(row.file));
        EXPECT_EQ(NameInView(RegistryView::Native, Text(row.name)), row.name);
    }
    fixture.machine.Facts().hasTwoViews = false;
    EXPECT_EQ(NameInView(RegistryView::Bits32, kLibrary), kLibrary);
}

TEST(TwoViews, InventoriesTellThemApart) {
    TwoViews fixture;
    CBHOManager manager;
    manager.Init(fixture.log);
    const auto objects = manager.ListHelperObjects();
    ASSERT_EQ(objects->size(), 2u);
    EXPECT_EQ(objects->at(0).file, kLibrary);
    EXPECT_EQ(objects->at(1).file, kLibrary32);
    EXPECT_EQ(objects->at(1).view, RegistryView::Bits32);
    CStartupManager startup;
    startup.Init(fixture.log);
    const auto items = startup.ListItems();
    ASSERT_EQ(items->size(), 2u);
    EXPECT_EQ(items->at(1).file, u"C:\\Program Files (x86)\\run.exe");
    EXPECT_EQ(items->at(1).base, kMachine32);

    fixture.machine.Facts().isWow64Process = true;
    ASSERT_EQ(manager.ListHelperObjects()->size(), 1u) << "it sees the files of its own view";
    EXPECT_EQ(manager.ListHelperObjects()->at(0).file, kLibrary32);
    EXPECT_EQ(startup.ListItems()->size(), 1u);
    fixture.machine.Facts().isWow64Process = false;

    CPaDetector detector;
    detector.Init(fixture.log, nullptr);
    const Detection found = detector.Detect();
    ASSERT_EQ(found.bhos.size(), 1u);
    EXPECT_EQ(found.bhos[0].view, RegistryView::Bits32);
    ASSERT_EQ(found.files.size(), 2u);
    EXPECT_EQ(found.files[0].places.at(0).view, RegistryView::Bits32);
    EXPECT_EQ(found.files[1].places.at(0).view, RegistryView::Bits32);
    EXPECT_EQ(fixture.log->text,
              "5 CPaDetector.DetectParasites: RunningStartupNonamer found: c:\\program files "
              "(x86)\\run.exe\n");
}

TEST(TwoViews, ACleanupReachesBothAndIsUndone) {
    TwoViews fixture;
    UndoMachine undo(fixture.machine, u"1.0.0");
    fixture.Use(undo);
    const Text object = Text(kHelperObjects).substr(9) + kFirstClsid;
    const std::string before = DumpRegistry(fixture.machine);
    CPaRemover remover;
    remover.Init(fixture.log);
    fixture.toolkit.Answer({MessageResult::Cancel});
    remover.CleanUp();
    EXPECT_TRUE(fixture.machine.HasKey(HKLM, Text(kHelperObjects) + kFirstClsid));
    EXPECT_FALSE(fixture.Has(object));
    EXPECT_FALSE(fixture.machine.HasFile(kLibrary32));
    EXPECT_TRUE(fixture.machine.HasFile(kLibrary));
    const Text main32 = kNode + Text(kMainKey).substr(9);
    EXPECT_EQ(fixture.machine.GetString(HKLM, main32, u"Start Page"), u"about:blank");
    EXPECT_TRUE(fixture.Logged("Deleting BHO(" + ToUtf8(kFirstClsid) + " (32-bit))"));

    const auto last = LastUndoable(ListUndoRecords());
    ASSERT_TRUE(last);
    EXPECT_TRUE(TakeBack(*last).IsWhole());
    EXPECT_EQ(DumpRegistry(fixture.machine), before);
    EXPECT_TRUE(fixture.machine.HasFile(kLibrary32));
}

TEST(TwoViews, PanelsNameThem) {
    TwoViews fixture;
    PanelHost<ucBHO> helpers;
    helpers.panel.Init(fixture.log);
    ASSERT_EQ(helpers.panel.ListViewObject().Count(), 2u);
    EXPECT_EQ(helpers.panel.ListViewObject().Item(2)->GetText(), u"Bar (32-bit)");
    helpers.panel.ListViewObject().UserSelect(2);
    fixture.toolkit.Answer({MessageResult::Ok, MessageResult::Ok});
    helpers.PressKey('D', Shift::Alt);
    EXPECT_EQ(helpers.panel.ListViewObject().Count(), 1u);
    EXPECT_TRUE(fixture.machine.HasKey(HKLM, Text(kHelperObjects) + kFirstClsid));

    PanelHost<ucCS> settings;
    settings.panel.Init(fixture.log);
    std::string rows;
    for (std::size_t row = 1; row <= settings.panel.ListViewObject().Count(); ++row) {
        const auto item = settings.panel.ListViewObject().Item(row);
        rows += ToUtf8(item->GetText()) + ": " + ToUtf8(item->GetSubItem(1).text) + '\n';
    }
    EXPECT_EQ(rows,
              "Start page particular to the computer (for any user): about:blank\n"
              "User's style sheet is enabled: No\n"
              "Start page particular to the computer (for any user) (32-bit): http://hijacked/\n");
}

TEST(TwoViews, ABackupHasBoth) {
    TwoViews fixture;
    const Text file = WriteRegistryBackup(u"C:\\Program Files\\Brackenfold");
    const std::string text = ToUtf8(FromUtf16Bytes(fixture.machine.FileContent(file)));
    const std::string key = "Microsoft\\Internet Explorer\\Main]\r\n\"Start Page\"=\"";
    const auto native = text.find("[HKEY_LOCAL_MACHINE\\Software\\" + key + "about:blank\"");
    const auto of32Bits = text.find("\\Wow6432Node\\" + key + "http://hijacked/\"");
    EXPECT_LT(native, of32Bits);
    EXPECT_NE(of32Bits, std::string::npos) << text;
}

}  // namespace
}  // namespace bkfd
