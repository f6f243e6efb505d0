#include "identity/CFileChecker.h"

#include <gtest/gtest.h>

#include "base/RuntimeError.h"
#include "common/DetectionFixture.h"

namespace bkfd {
namespace {

TEST(CFileChecker, TakesTheFileOutOfACommandLine) {
    const DetectionFixture fixture;
    CFileChecker checker;
    const struct {
        const char16_t* line;
        const char16_t* file;
    } rows[] = {
        // Behind rundll32 stands a library.
        {u"rundll32 shell32.dll,Control_RunDLL x.cpl", u"shell32.dll"},
        {u"RUNDLL32.EXE foo,Entry", u"foo.dll"},
        {u"rundll32 foo.dll", u"foo.dll"},
        {u"rundll32.exe", u"rundll32.exe"},
        {u"rundll32,a b", u"b.dll"},
        {u"rundll32 ,x", u".dll"},
        {u"rundll32  C:\\a b\\c ,x", u"C:\\a b\\c.dll"},
        {u"rundll32 \"C:\\a b\\c.dll\",x", u"\"C:\\a b\\c.dll\""},
        {u"rundll32 a/b,x", u"a/b.dll"},
        {u"\"rundll32.exe\" foo.dll,bar", u"foo.dll"},
        {u"\"RunDll32.exe\" foo,bar", u"foo.dll"},
        {u"%SystemRoot%\\System32\\rundll32.exe foo,bar", u"foo.dll"},
        {u"C:\\WINDOWS\\SYSTEM32\\RUNDLL32.EXE x.dll,y", u"C:\\WINDOWS\\SYSTEM32\\RUNDLL32.EXE"},
        {u"\"rundll32\" foo.dll,bar", u"rundll32"},
        // Switches and slashes.
        {u"\"C:\\Program Files\\App\\app.exe\" /min", u"C:\\Program Files\\App\\app.exe"},
        {u"C:/Tools/x.exe", u"C:"},
        {u"/x", u""},
        {u"explorer /e,c:\\", u"explorer.exe"},
        {u"explorer", u"explorer.exe"},
        {u"Explorer", u"Explorer"},
        {u"\"explorer\"", u"explorer.exe"},
        // Blanks, without quotes.
        {u"C:\\Program Files\\App\\app.exe -x", u"C:\\Program Files\\App\\app.exe"},
        {u"C:\\Program Files\\App\\app.exe", u"C:\\Program Files\\App\\app.exe"},
        {u"foo bar baz", u"foo bar"},
        {u"  foo.exe", u""},
        {u"foo.exe ", u"foo.exe"},
        {u" C:\\a\\b.exe c", u"C:\\a\\b.exe"},
        // Placeholders go from the third character on.
        {u"C:\\Program Files\\App\\app.exe \"%1\"", u"C:\\Program Files\\App\\app.exe"},
        {u"C:\\a b\\c%1.exe %1", u"C:\\a b\\c.exe"},
        {u"%1 a", u"%1"},
        // Quotes.
        {u"\"C:\\a b\\c.exe\" -x", u"C:\\a b\\c.exe"},
        {u"\"C:\\a b\\c.exe -x", u"C:\\a"},
        {u"\"C:\\a\\b.exe\"", u"C:\\a\\b.exe"},
        {u"\"C:\\a\\b.exe", u"\"C:\\a\\b.exe"},
        {u"\"\" x", u""},
        {u"\"\"", u""},
        {u"", u""},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(ToUtf8(checker.GetFileNameFromCommandLine(row.line)), ToUtf8(row.file))
            << ToUtf8(row.line);
    }
    EXPECT_THROW(checker.GetFileNameFromCommandLine(u"\""), RuntimeError);
    EXPECT_THROW(checker.GetFileNameFromCommandLine(u"\" /x"), RuntimeError);
}

TEST(CFileChecker, KeepsOddNames) {
    const DetectionFixture fixture;
    CFileChecker checker;
    const Text odd[] = {
        {u'a', 0xD800, u'.', u'e'},  {0xDC00}, {u'a', 0, u'b'}, Text(32767, u'x'),
        u"C:\\" + Text(32764, u'y'),
    };
    for (const Text& name : odd) {
        EXPECT_EQ(checker.GetFileNameFromCommandLine(name), name);
        EXPECT_EQ(checker.GetFullFileNameFromShortFilename(name), name);
    }
}

enum class System { Windows98, NT4, XP };

const Text kLongName = u"\\\\?\\C:\\" + Text(2100, u'l');

/// What a resolved name looks like, with the length where it is a whole buffer or blanks.
std::string Shown(const Text& name) {
    if (Trim(name).empty()) return std::to_string(name.size()) + " blanks";
    if (name.size() < 4000) return ToUtf8(name);
    return ToUtf8(name.substr(0, name.find(u'\0'))) + " in " + std::to_string(name.size());
}

TEST(CFileChecker, ResolvesNamesAsEachSystemDoes) {
    const struct {
        const char* label;
        System system;
        Text name;
        const char* fullName;
    } rows[] = {
        {"a bare name", System::XP, u"tool.exe", "C:\\WINDOWS\\tool.exe"},
        {"a bare name", System::NT4, u"tool.exe", "C:\\WINDOWS\\tool.exe"},
        {"a bare name", System::Windows98, u"tool.exe", "C:\\WINDOWS\\tool.exe"},
        {"a variable", System::XP, u"%windir%\\tool.exe", "C:\\WINDOWS\\tool.exe"},
        {"a short name", System::XP, u"C:\\LONGNA~1\\APP.EXE", "C:\\Long name\\app.exe"},
        {"a short name stays", System::NT4, u"C:\\LONGNA~1\\APP.EXE", "C:\\LONGNA~1\\APP.EXE"},
        {"a short name stays", System::Windows98, u"C:\\LONGNA~1\\APP.EXE",
         "C:\\LONGNA~1\\APP.EXE"},
        {"not there", System::XP, u"no.exe", "no.exe"},
        {"not there, unexpanded", System::Windows98, u"%windir%\\no.exe", "%windir%\\no.exe"},
        {"found unexpanded only", System::XP, u"%odd%.exe", "C:\\WINDOWS\\%odd%.exe"},
        {"found unexpanded only", System::NT4, u"%odd%.exe", "C:\\WINDOWS\\%odd%.exe in 4000"},
        {"found unexpanded only", System::Windows98, u"%odd%.exe",
         "C:\\WINDOWS\\%odd%.exe in 4000"},
        {"a drive has no file part", System::XP, u"C:\\", "C:\\ in 4000"},
        {"a drive has no file part", System::NT4, u"C:\\", "C:\\"},
        // The system asks for a larger buffer and writes nothing into this one.
        {"a name beyond the buffer", System::XP, kLongName, "4000 blanks"},
        {"a name beyond the buffer", System::NT4, kLongName, "2104 blanks"},
        {"a name beyond the buffer", System::Windows98, kLongName, "2104 blanks"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.label) + ' ' + std::to_string(static_cast<int>(row.system)));
        DetectionFixture fixture(row.system == System::Windows98 ? WindowsFamily::Windows9x
                                                                 : WindowsFamily::NT);
        if (row.system == System::NT4) fixture.machine.SetVersion(4, 0, 1381);
        fixture.Start();
        fixture.machine.SetEnvironment(u"odd", u"even");
        fixture.machine.AddFile(u"C:\\WINDOWS\\tool.exe");
        fixture.machine.AddFile(u"C:\\WINDOWS\\%odd%.exe");
        fixture.machine.AddFile(u"C:\\Long name\\app.exe");
        fixture.machine.AddFile(kLongName.substr(4));
        fixture.machine.SetShortName(u"C:\\Long name", u"LONGNA~1");
        CFileChecker checker;
        checker.Init(fixture.log);
        EXPECT_EQ(Shown(checker.GetFullFileNameFromShortFilename(row.name)), row.fullName);
        EXPECT_EQ(fixture.Calls("GetLongPathNameW") > 0,
                  row.system == System::XP && std::string(row.label) != "not there");
        EXPECT_EQ(fixture.Calls("SearchPathA") > 0, row.system == System::Windows98);
    }
}

TEST(CFileChecker, GivesTheEmptyNameWhenTheLongNameFails) {
    DetectionFixture fixture;
    fixture.machine.AddFile(u"C:\\WINDOWS\\tool.exe");
    fixture.spy.before["GetLongPathNameW"] = [&] {
        EXPECT_TRUE(fixture.machine.FileSystem().DeleteFileW(u"C:\\WINDOWS\\tool.exe").IsOk());
    };
    CFileChecker checker;
    checker.Init(fixture.log);
    EXPECT_EQ(checker.GetFullFileNameFromShortFilename(u"tool.exe"), u"");
}

TEST(CFileChecker, SearchesEachNameOnce) {
    DetectionFixture fixture;
    fixture.machine.AddFile(u"C:\\WINDOWS\\tool.exe");
    CFileChecker checker;
    const auto resolve = [&](TextView name) {
        return ToUtf8(checker.GetFullFileNameFromShortFilename(Text(name)));
    };
    EXPECT_EQ(resolve(u"%windir%\\tool.exe"), "C:\\WINDOWS\\tool.exe");
    EXPECT_EQ(fixture.Calls("SearchPathW"), 3);
    ASSERT_TRUE(fixture.machine.FileSystem().DeleteFileW(u"C:\\WINDOWS\\tool.exe").IsOk());
    EXPECT_EQ(resolve(u"%windir%\\tool.exe"), "C:\\WINDOWS\\tool.exe");
    EXPECT_EQ(fixture.Calls("SearchPathW"), 3);
    // The expanded name is another one, and a name that wasn't found is remembered too.
    for (const TextView name : {u"C:\\WINDOWS\\tool.exe", u"late.exe"}) {
        const int calls = fixture.Calls("SearchPathW");
        resolve(name);
        EXPECT_EQ(fixture.Calls("SearchPathW"), calls + 2);
    }
    fixture.machine.AddFile(u"C:\\WINDOWS\\late.exe");
    EXPECT_EQ(resolve(u"late.exe"), "late.exe");
    EXPECT_EQ(fixture.Calls("SearchPathW"), 7);
}

TEST(CFileChecker, GoesThroughTheCodePageOfTheOldFamily) {
    DetectionFixture fixture(WindowsFamily::Windows9x);
    fixture.machine.SetCodePage(1252);
    fixture.machine.AddFile(u"C:\\WINDOWS\\f\u00E9.exe");
    CFileChecker checker;
    EXPECT_EQ(checker.GetFullFileNameFromShortFilename(u"f\u00E9.exe"),
              u"C:\\WINDOWS\\f\u00E9.exe");
    EXPECT_EQ(checker.GetFullFileNameFromShortFilename(u"\u0436.exe"), u"\u0436.exe");
    // A character of two bytes: the system counts bytes, the name ends by characters.
    fixture.machine.SetCodePage(932);
    fixture.machine.AddFile(u"C:\\WINDOWS\\\u30C4.exe");
    EXPECT_EQ(checker.GetFullFileNameFromShortFilename(u"\u30C4.exe"), u"C:\\WINDOWS\\\u30C4.exe");
}

}  // namespace
}  // namespace bkfd
