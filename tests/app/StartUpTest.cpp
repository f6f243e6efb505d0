#include <gtest/gtest.h>

#include "StartedProgram.h"
#include "app/MMain.h"
#include "resources/StringTable.h"
#include "testing/MachineDump.h"

namespace bkfd {
namespace {

std::string Line(const std::string& message, const char* levelAndCode = "5 00000000") {
    return "2026-11-16 09:39:04 " + (levelAndCode + (" " + message)) + "\r\n";
}
const std::string kStartLines =
    Line("FMain.Form_Initialize: ********** start app") +
    Line("FMain.Form_Initialize: Brackenfold ver." + ToUtf8(ProgramVersion())) +
    Line("FMain.Form_Initialize: Startup: 2026-11-16 08:39:04");
const std::string kCheckLine = Line("CPaRemover.Check: False");
const std::string kStateLine =
    Line("FMain.LogTabState: Setting: OK, 'User's style sheet is enabled', 'No'");
const std::string kMissingSentence =
    "' or one of its dependencies not correctly registered: a file is missing or invalid. Try to "
    "reinstall Brackenfold.";

/// A program that keeps its own logs, and none of the facts that its start finds out.
class StartUpTest : public testing::Test, protected StartedProgram {
  protected:
    StartUpTest() {
        OfferCustomObject({});
        gHashier.reset();
        gWindowsPath.clear();
    }

    /// True when the start-up came to its end.
    bool StartsUp() {
        try {
            Start();
            return true;
        } catch (const ProgramEnd&) {
            return false;
        }
    }
    std::string Log(TextView name = u"BKFD.log") {
        const Bytes bytes = machine.FileContent(u"C:\\Program Files\\Brackenfold\\" + Text(name));
        return {bytes.begin(), bytes.end()};
    }
};

TEST_F(StartUpTest, NormalStart) {
    int pumped = 0;
    Pointer whilePumping = Pointer::Default;
    toolkit.onPump = [&] {
        ++pumped;
        whilePumping = toolkit.CurrentPointer();
    };
    ASSERT_TRUE(StartsUp());
    EXPECT_EQ(Log(), kStartLines + kCheckLine + kStateLine);
    EXPECT_EQ(Log(u"short.log"), kStartLines);
    EXPECT_EQ(main->Caption(), u"Brackenfold");
    EXPECT_NE(gHashier, nullptr);
    EXPECT_GE(pumped, 2);
    EXPECT_EQ(whilePumping, Pointer::Hourglass);
    EXPECT_EQ(toolkit.CurrentPointer(), Pointer::Default);
    EXPECT_EQ(Messages(), "");
}

TEST_F(StartUpTest, The32BitProgramNamesTheOtherOneOnce) {
    machine.Facts().hasTwoViews = true;
    machine.Facts().isWow64Process = true;
    const std::string message = ToUtf8(ResourceString(StringId::OtherProgram));
    toolkit.Answer({MessageResult::Ok});
    ASSERT_TRUE(StartsUp());
    EXPECT_EQ(Messages(), "64 " + message + '\n');
    ASSERT_TRUE(StartsUp());
    EXPECT_EQ(Messages(), "64 " + message + '\n') << "once to each user";
    EXPECT_EQ(Log(), kStartLines + kCheckLine + Line("FMain.Form_Initialize: " + message) +
                         kStateLine + kStartLines + kCheckLine +
                         Line("FMain.Form_Initialize: " + message) + kStateLine);
}

TEST_F(StartUpTest, CustomObjects) {
    // The call on nothing is the last failure.
    const std::string notSet =
        kCheckLine + Line("FMain.Form_Initialize: Object variable not set", "0 0000005B") +
        kStateLine;
    const struct {
        const char* label;
        Variant left;
        std::string lines;
    } rows[] = {
        {"leaves no logger", std::make_shared<KeyedList>(),
         kCheckLine + Line("FMain.Form_Initialize: Type mismatch", "0 0000000D") + kStateLine},
        {"leaves nothing", ObjectRef(), notSet},
        {"replaces the logger", log, ""},
        {"missing", {}, notSet},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        machine.AddFile(u"C:\\Program Files\\Brackenfold\\BKFD.log", "");
        OfferCustomObject(row.left);
        if (row.left.IsEmpty()) machine.RemoveComponent(ComponentIds::CustomProgId);
        EXPECT_TRUE(StartsUp());
        EXPECT_EQ(Log(), kStartLines + row.lines);
    }
    EXPECT_EQ(log->text,
              "5 CPaRemover.Check: False\n"
              "5 FMain.LogTabState: Setting: OK, 'User's style sheet is enabled', 'No'\n");
}

TEST_F(StartUpTest, AMissingComponentEndsTheProgram) {
    OfferCustomObject(log);
    machine.RemoveComponent(ComponentIds::CheckClassId);
    const std::string registryBefore = DumpRegistry(machine);
    std::string messages, lines;
    for (const char* name : {"BKFDCUSTOM.DLL", "QUOIN.DLL"}) {
        SCOPED_TRACE(name);
        if (name[0] == 'Q') machine.RemoveComponent(ComponentIds::LibraryFile);
        toolkit.Answer({MessageResult::Ok});
        EXPECT_FALSE(StartsUp());
        const std::string message = std::string("Component '") + name + kMissingSentence + "\n";
        EXPECT_EQ(Messages(), messages += "16 " + message);
        EXPECT_EQ(toolkit.Messages().back().title, u"Brackenfold");
        EXPECT_EQ(log->text, lines += "4 FMain.Form_Initialize: " + message);
        EXPECT_EQ(gHashier, nullptr);
        EXPECT_EQ(gWindowsPath, u"");
    }
    EXPECT_EQ(DumpRegistry(machine), registryBefore);
    EXPECT_EQ(Log(), kStartLines + kStartLines);
}

TEST(StartUp, TheStandInServesUnlessTheMachineLacksTheComponent) {
    for (const bool isMissing : {false, true}) {
        MemoryMachine machine(WindowsFamily::NT);
        const InstalledMachine installed(machine);
        if (isMissing) machine.RemoveComponent(u"bkfdcustom.dll");
        OfferLibraryClass();
        OfferCustomComponent();
        Text message;
        EXPECT_EQ(CheckComponents(message), !isMissing);
        EXPECT_EQ(message.empty(), !isMissing);
    }
}

TEST_F(StartUpTest, LogsThatCantBeOpenedLeaveOneLineInTheOther) {
    machine.AddFile(u"C:\\Program Files\\Brackenfold\\BKFD.log", "old", FileAttribute::ReadOnly);
    EXPECT_TRUE(StartsUp());
    EXPECT_EQ(Log(), "old");
    const std::string failed = Line(
        "FMain.Form_Initialize: Log 'C:\\Program Files\\Brackenfold\\BKFD.log' can't be opened: ",
        "0 0000004B");
    EXPECT_TRUE(Log(u"short.log").starts_with(kStartLines + failed.substr(0, failed.size() - 2)))
        << Log(u"short.log");
}

TEST_F(StartUpTest, LogsAtADrivesRoot) {
    machine.SetProgramFile(u"C:\\Brackenfold.exe");
    EXPECT_EQ(ProgramFolder() + u"\\BKFD.log", u"C:\\\\BKFD.log");
    EXPECT_TRUE(StartsUp());
    EXPECT_TRUE(machine.HasFile(u"C:\\BKFD.log"));
}

TEST(StartUp, ApplicationState) {
    const struct {
        const char* label;
        WindowsFamily family;
        std::int32_t major;
        TextView windir;
        bool isNT, isNT4;
        TextView windows, system;
    } rows[] = {
        {"XP", WindowsFamily::NT, 5, u"C:\\WinDOWS", true, false, u"c:\\windows\\",
         u"c:\\windows\\system32\\"},
        {"NT 4", WindowsFamily::NT, 4, u"D:\\WINNT\\", true, true, u"d:\\winnt\\",
         u"d:\\winnt\\system32\\"},
        {"98", WindowsFamily::Windows9x, 4, u"C:\\WINDOWS", false, false, u"c:\\windows\\",
         u"c:\\windows\\system\\"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        StartedProgram program(row.family);
        program.machine.SetVersion(row.major, 0, 1000);
        program.machine.SetEnvironment(u"windir", row.windir);
        program.Start();
        EXPECT_EQ(gIsNT, row.isNT);
        EXPECT_EQ(gIsNT4, row.isNT4);
        EXPECT_EQ(ToUtf8(gWindowsPath), ToUtf8(row.windows));
        EXPECT_EQ(ToUtf8(gSystemPath), ToUtf8(row.system));
    }
}

}  // namespace
}  // namespace bkfd
