#include <gtest/gtest.h>

#include "app/FMain.h"
#include "app/MMain.h"
#include "detection/identity/CHashier.h"
#include "platform/memory/MemoryMachine.h"
#include "resources/ComponentIds.h"
#include "services/ApplicationState.h"
#include "ui/headless/HeadlessToolkit.h"

namespace bkfd {
namespace {

const std::string kStartLines =
    "2026-11-16 09:39:04 5 00000000 FMain.Form_Initialize: ********** start app\r\n"
    "2026-11-16 09:39:04 5 00000000 FMain.Form_Initialize: Brackenfold ver.4.53.0\r\n"
    "2026-11-16 09:39:04 5 00000000 FMain.Form_Initialize: Startup: 2026-11-16 08:39:04\r\n";
const std::string kCheckLine = "2026-11-16 09:39:04 5 00000000 CPaRemover.Check: False\r\n";
const std::string kStateLine =
    "2026-11-16 09:39:04 5 00000000 FMain.LogTabState: Setting: OK, 'User's style sheet is "
    "enabled', 'No'\r\n";
const std::string kMissingSentence =
    "' or one of its dependencies not correctly registered: a file is missing or invalid. Try to "
    "reinstall Brackenfold.";

/// Keeps what it is told in one text.
class MemoryLogger : public Logger {
  public:
    void Write(std::int32_t code, const Text& message, LogLevel level,
               const Text& source) override {
        lines += ToText(static_cast<int>(level)) + u" " + ToText(code) + u" " + source + u": " +
                 message + u"\n";
    }
    void Open(const Text&, const Text&) override {}

    Text lines;
};

/// The component's object that may replace the logger.
class CustomObject : public Object {
  public:
    explicit CustomObject(Variant left) : left_(std::move(left)) {}

    Variant Invoke(TextView name, std::span<Variant> arguments) override {
        if (name != u"Init" || arguments.size() != 1) return Object::Invoke(name, arguments);
        if (!left_.IsEmpty()) arguments[0] = left_;
        return {};
    }

  private:
    Variant left_;
};

class StartUpTest : public testing::Test {
  protected:
    explicit StartUpTest(WindowsFamily family = WindowsFamily::NT) : machine_(family) {
        previous_ = InstallToolkit(&toolkit_);
        machine_.AddComponent(ComponentIds::CheckClassId,
                              [] { return std::make_shared<Object>(); });
    }
    ~StartUpTest() override {
        InstallToolkit(previous_);
        gHashier.reset();
        gIsNT = gIsNT4 = false;
        gWindowsPath.clear();
        gSystemPath.clear();
    }

    void OfferCustomObject(const Variant& left) {
        machine_.AddComponent(ComponentIds::CustomProgId,
                              [left] { return std::make_shared<CustomObject>(left); });
    }
    /// True when the start-up came to its end.
    bool Start() {
        FMain main;
        try {
            main.Form_Initialize();
            main.Form_Load();
        } catch (const ProgramEnd&) {
            return false;
        }
        caption_ = main.Caption();
        return true;
    }
    std::string Log(TextView name = u"BKFD.log") {
        const Bytes bytes = machine_.FileContent(u"C:\\Program Files\\Brackenfold\\" + Text(name));
        return {bytes.begin(), bytes.end()};
    }

    MemoryMachine machine_;
    InstalledMachine installed_{machine_};
    HeadlessToolkit toolkit_;
    Toolkit* previous_ = nullptr;
    Text caption_;
};

TEST_F(StartUpTest, NormalStart) {
    OfferCustomObject({});
    int pumped = 0;
    Pointer whilePumping = Pointer::Default;
    toolkit_.onPump = [&] {
        ++pumped;
        whilePumping = toolkit_.CurrentPointer();
    };
    ASSERT_TRUE(Start());
    EXPECT_EQ(Log(), kStartLines + kCheckLine + kStateLine);
    EXPECT_EQ(Log(u"short.log"), kStartLines);
    EXPECT_EQ(caption_, u"Brackenfold");
    EXPECT_NE(gHashier, nullptr);
    EXPECT_GE(pumped, 2);
    EXPECT_EQ(whilePumping, Pointer::Hourglass);
    EXPECT_EQ(toolkit_.CurrentPointer(), Pointer::Default);
    EXPECT_TRUE(toolkit_.Messages().empty());
}

TEST_F(StartUpTest, CustomObjects) {
    const auto other = std::make_shared<MemoryLogger>();
    const struct {
        const char* label;
        bool isThere;
        Variant left;
        std::string lines;
    } rows[] = {
        // The call on nothing is the last failure.
        {"missing",
         false,
         {},
         kCheckLine +
             "2026-11-16 09:39:04 0 0000005B FMain.Form_Initialize: Object variable not "
             "set\r\n" +
             kStateLine},
        {"leaves no logger", true, std::make_shared<KeyedList>(),
         kCheckLine + "2026-11-16 09:39:04 0 0000000D FMain.Form_Initialize: Type mismatch\r\n" +
             kStateLine},
        {"leaves nothing", true, ObjectRef(),
         kCheckLine +
             "2026-11-16 09:39:04 0 0000005B FMain.Form_Initialize: Object variable not "
             "set\r\n" +
             kStateLine},
        {"replaces the logger", true, other, ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        machine_.AddFile(u"C:\\Program Files\\Brackenfold\\BKFD.log", "");
        if (row.isThere) OfferCustomObject(row.left);
        EXPECT_TRUE(Start());
        EXPECT_EQ(Log(), kStartLines + row.lines);
    }
    EXPECT_EQ(ToUtf8(other->lines),
              "5 0 CPaRemover.Check: False\n5 0 FMain.LogTabState: Setting: OK, 'User's style "
              "sheet is enabled', 'No'\n");
}

TEST_F(StartUpTest, AMissingComponentEndsTheProgram) {
    const auto other = std::make_shared<MemoryLogger>();
    OfferCustomObject(other);
    machine_.RemoveComponent(ComponentIds::CheckClassId);
    const std::string registryBefore = machine_.DumpRegistry();
    for (const char* name : {"BKFDCUSTOM.DLL", "QUOIN.DLL"}) {
        SCOPED_TRACE(name);
        if (name[0] == 'Q') machine_.RemoveComponent(ComponentIds::LibraryFile);
        other->lines.clear();
        toolkit_.Answer({MessageResult::Ok});
        EXPECT_FALSE(Start());
        const std::string message = std::string("Component '") + name + kMissingSentence;
        EXPECT_EQ(ToUtf8(toolkit_.Messages().back().prompt), message);
        EXPECT_EQ(toolkit_.Messages().back().style, 16);
        EXPECT_EQ(toolkit_.Messages().back().title, u"Brackenfold");
        EXPECT_EQ(ToUtf8(other->lines), "4 0 FMain.Form_Initialize: " + message + "\n");
        EXPECT_EQ(gHashier, nullptr);
        EXPECT_EQ(gWindowsPath, u"");
    }
    EXPECT_EQ(machine_.DumpRegistry(), registryBefore);
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
    OfferCustomObject({});
    machine_.AddFile(u"C:\\Program Files\\Brackenfold\\BKFD.log", "old", FileAttribute::ReadOnly);
    EXPECT_TRUE(Start());
    EXPECT_EQ(Log(), "old");
    EXPECT_TRUE(
        Log(u"short.log")
            .starts_with(kStartLines +
                         "2026-11-16 09:39:04 0 0000004B FMain.Form_Initialize: Log 'C:\\Program "
                         "Files\\Brackenfold\\BKFD.log' can't be opened: "))
        << Log(u"short.log");
}

TEST_F(StartUpTest, LogsAtADrivesRoot) {
    machine_.SetProgramFile(u"C:\\Brackenfold.exe");
    EXPECT_EQ(ProgramFolder() + u"\\BKFD.log", u"C:\\\\BKFD.log");
    OfferCustomObject({});
    EXPECT_TRUE(Start());
    EXPECT_TRUE(machine_.HasFile(u"C:\\BKFD.log"));
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
        MemoryMachine machine(row.family);
        const InstalledMachine installed(machine);
        HeadlessToolkit toolkit;
        Toolkit* const previous = InstallToolkit(&toolkit);
        machine.AddComponent(ComponentIds::CustomFile, [] { return std::make_shared<Object>(); });
        machine.SetVersion(row.major, 0, 1000);
        machine.SetEnvironment(u"windir", row.windir);
        FMain main;
        main.Form_Initialize();
        EXPECT_EQ(gIsNT, row.isNT);
        EXPECT_EQ(gIsNT4, row.isNT4);
        EXPECT_EQ(ToUtf8(gWindowsPath), ToUtf8(row.windows));
        EXPECT_EQ(ToUtf8(gSystemPath), ToUtf8(row.system));
        InstallToolkit(previous);
    }
}

}  // namespace
}  // namespace bkfd
