#include "ignore/PassOver.h"

#include <gtest/gtest.h>

#include "common/BrowserKeys.h"
#include "common/DetectionFixture.h"
#include "common/RemovalFixture.h"
#include "detection/CPaDetector.h"
#include "ignore/MakeEntries.h"
#include "removal/CPaRemover.h"

namespace bkfd {
namespace {

constexpr char16_t kThirdClsid[] = u"{33333333-3333-3333-3333-333333333333}";

IgnoreEntry Content(const Text& file) {
    return EntryOfFile(file, u"known");
}

IgnoreEntry Class(const Text& clsid, const Text& path) {
    return EntryOfObject({clsid, u"", path}, u"");
}

/// Two helper objects of one library, one that another rule finds too, and a dead one; a program
/// that only looks wrong, a library that it has loaded, and one whose name is a parasite's.
void Hijack(MemoryMachine& machine) {
    for (const TextView file :
         {u"C:\\two.dll", u"C:\\known.tmp.dll", u"C:\\one.dll", u"C:\\plain.exe", u"C:\\copy.dll",
          u"C:\\favs\\acroiefavclient.dll"}) {
        machine.AddFile(file, ToUtf8(file));
    }
    machine.AddFile(u"C:\\copy.dll", "C:\\one.dll");
    AddHelperObject(machine, kFirstClsid, u"", u"C:\\two.dll");
    AddHelperObject(machine, kSecondClsid, u"", u"C:\\TWO.DLL");
    AddHelperObject(machine, kThirdClsid, u"", u"C:\\known.tmp.dll");
    AddHelperObject(machine, u"{44444444-4444-4444-4444-444444444444}", u"");
    AddHelperObject(machine, u"{55555555-5555-5555-5555-555555555555}", u"", u"C:\\one.dll");
    AddHelperObject(machine, u"{66666666-6666-6666-6666-666666666666}", u"",
                    u"C:\\favs\\acroiefavclient.dll");
    machine.AddProcess({8,
                        u"C:\\plain.exe",
                        {u"C:\\known.tmp.dll", u"C:\\copy.dll", u"C:\\favs\\acroiefavclient.dll"}});
}

/// What `Look` finds where nothing is ignored.
constexpr char kAll[] =
    "two.dll known.tmp.dll one.dll 1 2 3 4 5 |plain.exe copy.dll acroiefavclient.dll |";

/// The last component of each file, the first digit of each class: what stays found, what looks
/// wrong, and what was passed over.
std::string Look(EngineFixture& fixture) {
    CPaDetector detector;
    detector.Init(fixture.log, nullptr);
    Detection found = detector.Detect();
    std::vector<Finding> suspicious = detector.FindSuspicious(found);
    PassOver passOver(fixture.log);
    std::vector<PassedOver> ignored = passOver.TakeFrom(found);
    for (PassedOver& it : passOver.TakeFrom(suspicious, found.helperObjects)) ignored.push_back(it);
    std::string text;
    const auto add = [&](const Text& path) {
        text += ToUtf8(path.substr(FindLast(path, u"\\"))) + ' ';
    };
    for (const Finding& file : found.files) add(file.path);
    for (const HelperObject& object : found.bhos) add(object.clsid.substr(1, 1));
    text += '|';
    for (const Finding& file : suspicious) add(file.path);
    text += '|';
    for (const PassedOver& it : ignored) {
        add(it.kind == PassedOver::Kind::File ? it.path : it.clsid.substr(1, 1));
    }
    return text;
}

TEST(PassOver, LeavesAloneWhatIsOnTheListAndNothingElse) {
    const struct {
        const char* label;
        std::vector<IgnoreEntry> (*entries)();
        const char* result;
    } rows[] = {
        {"no list", [] { return std::vector<IgnoreEntry>(); }, kAll},
        {"by content, whatever the name", [] { return std::vector{Content(u"C:\\one.dll")}; },
         "two.dll known.tmp.dll 1 2 3 4 |plain.exe acroiefavclient.dll |one.dll 5 copy.dll "},
        {"a known parasite by content", [] { return std::vector{Content(u"C:\\known.tmp.dll")}; },
         "two.dll one.dll 1 2 4 5 |plain.exe copy.dll acroiefavclient.dll |known.tmp.dll 3 "},
        {"one class of two", [] { return std::vector{Class(kFirstClsid, u"c:\\TWO.dll")}; },
         "two.dll known.tmp.dll one.dll 2 3 4 5 |plain.exe copy.dll acroiefavclient.dll |1 "},
        {"both",
         [] {
             return std::vector{Class(kFirstClsid, u"C:\\two.dll"),
                                Class(kSecondClsid, u"C:\\two.dll")};
         },
         "known.tmp.dll one.dll 3 4 5 |plain.exe copy.dll acroiefavclient.dll |two.dll 1 2 "},
        {"another path",
         [] {
             return std::vector{Class(kFirstClsid, u"C:\\other.dll"), Class(kSecondClsid, u"")};
         },
         kAll},
        {"a dead registration",
         [] { return std::vector{Class(u"{44444444-4444-4444-4444-444444444444}", u"")}; },
         "two.dll known.tmp.dll one.dll 1 2 3 5 |plain.exe copy.dll acroiefavclient.dll |4 "},
        {"found for another reason too",
         [] { return std::vector{Class(kThirdClsid, u"C:\\known.tmp.dll")}; }, kAll},
        {"merely suspicious ones",
         [] {
             return std::vector{
                 Class(u"{66666666-6666-6666-6666-666666666666}", u"C:\\favs\\acroiefavclient.dll"),
                 Content(u"C:\\plain.exe")};
         },
         "two.dll known.tmp.dll one.dll 1 2 3 4 5 |copy.dll |plain.exe acroiefavclient.dll "},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        EngineFixture fixture;
        Hijack(fixture.machine);
        (void)AddToIgnoreList(row.entries(), *fixture.log);
        EXPECT_EQ(Look(fixture), row.result);
    }
}

TEST(PassOver, HoldsNoLongerWhenTheFileChanges) {
    EngineFixture fixture;
    Hijack(fixture.machine);
    (void)AddToIgnoreList({Content(u"C:\\one.dll")}, *fixture.log);
    fixture.machine.AddFile(u"C:\\one.dll", "another");
    EXPECT_EQ(Look(fixture),
              "two.dll known.tmp.dll one.dll 1 2 3 4 5 |plain.exe acroiefavclient.dll |copy.dll ");
}

TEST(PassOver, ReadsNoFileWithoutAnEntryByContent) {
    DetectionFixture fixture;
    Hijack(fixture.machine);
    Look(fixture);
    const int without = fixture.Calls("CreateFileW");
    EXPECT_EQ(AddToIgnoreList({Class(kThirdClsid, u"")}, *fixture.log), 1U);
    fixture.spy.calls.clear();
    DetectionFixture::Start();
    Look(fixture);
    EXPECT_EQ(fixture.Calls("CreateFileW"), without);
}

TEST(PassOver, OfADamagedListTakesNothingAndSaysSo) {
    EngineFixture fixture;
    Hijack(fixture.machine);
    (void)AddToIgnoreList({Content(u"C:\\one.dll")}, *fixture.log);
    fixture.log->text.clear();
    Bytes list = fixture.machine.FileContent(IgnoreListPath());
    list.resize(list.size() - 30);
    fixture.machine.AddFile(IgnoreListPath(), list);
    EXPECT_EQ(Look(fixture), kAll);
    EXPECT_EQ(fixture.log->text,
              "4 PassOver: nothing is ignored: line 2: "
              "begins with no SHA-256 and no {class}\n");
}

struct Cleaned : RemovalFixture {
    Cleaned() { remover.Init(log); }
    CPaRemover remover;
};

TEST(PassOver, KeepsACleanupFromBeingOfferedAndFromTakingIt) {
    Cleaned fixture;
    fixture.machine.AddFile(u"C:\\one.dll", "one");
    AddHelperObject(fixture.machine, kFirstClsid, u"", u"C:\\one.dll");
    AddHelperObject(fixture.machine, kSecondClsid, u"");
    (void)AddToIgnoreList({Class(kFirstClsid, u"C:\\one.dll"), Class(kSecondClsid, u"")},
                          *fixture.log);
    fixture.remover.Check();
    EXPECT_EQ(fixture.remover.ParasitesFound, 0);
    EXPECT_TRUE(fixture.Logged("5 PassOver: Ignored: C:\\one.dll\n"));
    fixture.machine.AddFile(u"C:\\bad.tmp", "bad");
    fixture.machine.AddProcess({8, u"C:\\bad.tmp", {u"C:\\one.dll"}});
    fixture.remover.Check();
    EXPECT_EQ(fixture.remover.ParasitesFound, -1);
    fixture.toolkit.Answer({MessageResult::Cancel});
    fixture.remover.CleanUp();
    EXPECT_EQ(fixture.remover.Ignored().size(), 3U);
    EXPECT_TRUE(fixture.machine.HasFile(u"C:\\one.dll"));
    EXPECT_FALSE(fixture.machine.HasFile(u"C:\\bad.tmp"));
    for (const TextView clsid : {kFirstClsid, kSecondClsid}) {
        EXPECT_TRUE(fixture.machine.HasKey(HKLM, Text(kHelperObjects).append(clsid)));
    }
}

}  // namespace
}  // namespace bkfd
