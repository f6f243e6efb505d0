#include "ignore/IgnoreList.h"

#include <gtest/gtest.h>

#include "common/EngineFixture.h"
#include "common/Errors.h"
#include "ignore/MakeEntries.h"
#include "platform/undo/UndoMachine.h"
#include "testing/FaultMachine.h"

namespace bkfd {
namespace {

const std::string kHash(64, 'a');
const std::string kHead = "Brackenfold ignore list 1\n";
const std::string kClass = "{12345678-1234-1234-1234-123456789ABC}";
const Text kFile = u"C:\\Program Files\\Brackenfold\\ignore.txt";

/// "what|date|note" of each entry, a line each; what is wrong with a damaged list.
std::string Describe(const IgnoreList& list) {
    std::string text = ToUtf8(list.Damage());
    for (const IgnoreEntry& entry : list.Entries()) {
        text += ToUtf8(TitleOf(entry) + u'|' + entry.date + u'|' + entry.note) + '\n';
    }
    return text;
}

TEST(IgnoreList, TakesWhatPeopleWriteAndTellsTheLineOfWhatItCannotRead) {
    const std::string hash = "SHA-256 " + kHash;
    const std::string day = "\t2026-11-16";
    const struct {
        const char* label;
        std::string content;
        std::string entries;
    } rows[] = {
        {"nothing but the head", kHead, ""},
        {"no last line end", kHead + kHash + day, hash + "|2026-11-16 00:00:00|\n"},
        {"an editor's mark and line ends",
         "\xEF\xBB\xBF"
         "Brackenfold ignore list 1\r\n" +
             kHash + day + " 09:39:04\tmine\r\n",
         hash + "|2026-11-16 09:39:04|mine\n"},
        {"comments, blanks, capitals",
         kHead + "# x\n\n \t\n" + std::string(64, 'A') + day + "T01:02:03\t",
         hash + "|2026-11-16 01:02:03|\n"},
        {"class and path, and none",
         kHead + kClass + "\tC:\\a b\\\xC3\xA4.dll" + day + "\n" + kClass + "\t" + day,
         kClass + " C:\\a b\\\xC3\xA4.dll|2026-11-16 00:00:00|\n" + kClass +
             " (no file)|2026-11-16 00:00:00|\n"},
        {"an escape that is none", kHead + kHash + day + "\t<0g09> <1> <",
         hash + "|2026-11-16 00:00:00|<0g09> <1> <\n"},
        {"an empty file", "", "line 1: isn't the head of an ignore list"},
        {"an entry first", kHash + day, "line 1: isn't the head of an ignore list"},
        {"a later version", "Brackenfold ignore list 2\n",
         "line 1: is the head of an ignore list of another version"},
        {"UTF-16",
         std::string("\xFF\xFE"
                     "B\0r\0",
                     6),
         "line 1: isn't UTF-8"},
        {"a code page's letter", kHead + "# \xE4\n", "line 2: isn't UTF-8"},
        {"a surrogate as bytes", kHead + "\n# \xED\xA0\x80", "line 3: isn't UTF-8"},
        {"a NUL", kHead + kHash + day + "\t" + std::string(1, '\0'),
         "line 2: holds a control character"},
        {"a short hash", kHead + kHash.substr(1) + day,
         "line 2: begins with no SHA-256 and no {class}"},
        {"no hexadecimal", kHead + kHash.substr(1) + "g" + day,
         "line 2: begins with no SHA-256 and no {class}"},
        {"a short class", kHead + "{1}\tC:\\a" + day,
         "line 2: begins with no SHA-256 and no {class}"},
        {"a hash alone, cut", kHead + kHash,
         "line 2: has too few or too many columns, with tabs between them"},
        {"one column more", kHead + kHash + day + "\ta\tb",
         "line 2: has too few or too many columns, with tabs between them"},
        {"a cut path", kHead + kClass + "\tC:\\a",
         "line 2: has too few or too many columns, with tabs between them"},
        {"a cut date", kHead + kHash + "\t2026-11-1",
         "line 2: has no date like 2026-11-16 in its place"},
        {"no day of the year", kHead + kHash + "\t2026-02-30",
         "line 2: has no date like 2026-11-16 in its place"},
        {"a class without its path", kHead + kClass + day + "\tnote",
         "line 2: has no date like 2026-11-16 in its place"},
        {"one bad line of many", kHead + kHash + day + "\n\nx\n" + kHash + day,
         "line 4: begins with no SHA-256 and no {class}"},
        {"too large", kHead + std::string(1024 * 1024, '#'), "is larger than 1024 KiB"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        IgnoreList list = IgnoreList::Parse(row.content);
        EXPECT_EQ(Describe(list), row.entries);
        if (list.Damage().empty()) {
            EXPECT_EQ(Describe(IgnoreList::Parse(list.Content())), row.entries);
        }
    }
}

TEST(IgnoreList, GivesBackEveryNameAndNote) {
    const Text odd[] = {u"C:\\\xD800.dll",
                        u"C:\\\xDC00\xD800",
                        u"C:\\<0041>\x202E\xFFFD\x1.tmp",
                        u"a\tb\r\nc",
                        u"\xD83D\xDE00 <<0009>",
                        u" # \"x\" ",
                        u""};
    IgnoreList list = IgnoreList::Parse(kHead + "# kept\n");
    std::vector<IgnoreEntry> entries;
    for (const Text& text : odd) {
        entries.push_back({{}, FromUtf8(kClass), text, u"2026-11-16 09:39:04", text});
        EXPECT_TRUE(list.Add(entries.back()));
        EXPECT_FALSE(list.Add(entries.back()));
    }
    IgnoreList again = IgnoreList::Parse(list.Content());
    EXPECT_EQ(again.Entries(), entries);
    for (std::size_t i = entries.size(); i-- > 1;) again.Remove(i - 1);
    EXPECT_EQ(again.Content(),
              "Brackenfold ignore list 1\r\n# kept\r\n" + kClass + "\t\t2026-11-16 09:39:04\t\r\n");
}

TEST(IgnoreList, EveryCutIsTheListSoFarOrDamaged) {
    const std::string whole = kHead + kHash + "\t2026-11-16\tone\n" + kClass +
                              "\tC:\\long name.dll\t2026-11-16 09:39:04\ttwo\n";
    for (std::size_t length = 0; length < whole.size(); ++length) {
        const IgnoreList list = IgnoreList::Parse(whole.substr(0, length));
        for (const IgnoreEntry& entry : list.Entries()) {
            EXPECT_TRUE(entry.IsByContent() || entry.path == u"C:\\long name.dll") << length;
        }
    }
}

class IgnoreFile : public testing::Test, protected EngineFixture {
  protected:
    std::string Content() {
        const Bytes bytes = machine.FileContent(kFile);
        return {bytes.begin(), bytes.end()};
    }
    std::size_t AddOne() { return AddToIgnoreList({EntryOfContent(FromUtf8(kHash), u"n")}, *log); }
};

TEST_F(IgnoreFile, IsWrittenWithItsFolderAndLeavesNoRecord) {
    machine.SetProgramFile(u"C:\\Program Files\\New\\Brackenfold.exe");
    UndoMachine undo(machine, u"1");
    Use(undo);
    machine.AddFile(u"C:\\a.dll", "abc");
    const std::vector entries = {EntryOfFile(u"c:\\A.DLL", u""),
                                 EntryOfObject({FromUtf8(kClass), u"", u"C:\\a.dll"}, u"")};
    EXPECT_EQ(AddToIgnoreList(entries, *log), 2U);
    EXPECT_EQ(AddToIgnoreList(entries, *log), 0U);
    EXPECT_EQ(Describe(IgnoreList::Read()),
              "SHA-256 ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad|2026-11-16 "
              "09:39:04|c:\\A.DLL\n" +
                  kClass + " C:\\a.dll|2026-11-16 09:39:04|\n");
    EXPECT_EQ(log->text,
              "5 IgnoreList.Add: From now on ignored: SHA-256 "
              "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad\n"
              "5 IgnoreList.Add: From now on ignored: " +
                  kClass + " C:\\a.dll\n");
    EXPECT_EQ(DumpFiles(machine).find(".undo"), std::string::npos);
    HelperObject unread{FromUtf8(kClass), u"", u""};
    unread.isRead = false;
    EXPECT_EQ(ErrorOf([&] { EntryOfObject(unread, u""); }), 75);
    EXPECT_EQ(ErrorOf([] { EntryOfFile(u"C:\\none", u""); }), 75);
}

TEST(DamagedIgnoreFile, IsNeverOverwritten) {
    const struct {
        const char* label;
        void (*damage)(MemoryMachine& machine);
    } rows[] = {
        {"a bad line", [](MemoryMachine& machine) { machine.AddFile(kFile, kHead + "x"); }},
        {"full",
         [](MemoryMachine& machine) {
             machine.AddFile(kFile, kHead + std::string(1024 * 1024 - 60, '#'));
         }},
        {"a folder", [](MemoryMachine& machine) { machine.AddFolder(kFile); }},
        {"unreadable",
         [](MemoryMachine& machine) {
             machine.AddFile(kFile, kHead);
             machine.MakeUnreadable(kFile);
         }},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        EngineFixture fixture;
        row.damage(fixture.machine);
        const Bytes before = fixture.machine.FileContent(kFile);
        const std::string files = DumpFiles(fixture.machine);
        const std::vector entries = {EntryOfContent(FromUtf8(kHash), u"n")};
        EXPECT_EQ(ErrorOf([&] { AddToIgnoreList(entries, *fixture.log); }), 75);
        EXPECT_EQ(DumpFiles(fixture.machine), files);
        EXPECT_EQ(fixture.machine.FileContent(kFile), before);
    }
}

TEST_F(IgnoreFile, HoldsTheOldOrTheNewListWhateverCallFails) {
    const std::string old = kHead + kHash.substr(1) + "b\t2026-11-16\told\n";
    IgnoreList expected = IgnoreList::Parse(old);
    expected.Add({FromUtf8(kHash), {}, {}, u"2026-11-16 09:39:04", u"n"});
    for (const auto lasting : {FaultPlan::Lasting::Once, FaultPlan::Lasting::FromThenOn}) {
        for (std::size_t call = 1;; ++call) {
            machine.AddFile(kFile, old);
            FaultMachine faulty(machine);
            Use(faulty);
            faulty.FailCall(call, lasting);
            bool isAdded = false;
            (void)ErrorOf([&] { isAdded = AddOne() == 1; });
            SCOPED_TRACE(faulty.FailedCall());
            EXPECT_EQ(Content(), isAdded ? expected.Content() : old);
            Use(machine);
            if (faulty.FailedCall().empty()) break;
        }
    }
}

}  // namespace
}  // namespace bkfd
