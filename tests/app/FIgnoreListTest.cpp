#include <gtest/gtest.h>

#include "StartedProgram.h"
#include "common/BrowserKeys.h"
#include "ignore/MakeEntries.h"
#include "testing/Describe.h"
#include "ui/Keys.h"

namespace bkfd {
namespace {

using enum MessageResult;

const Text kFirst = u"{11111111-1111-1111-1111-111111111111}";
const Text kSecond = u"{22222222-2222-2222-2222-222222222222}";
constexpr char kFound[] =
    "49 Brackenfold detected about:blank parasites which can be deleted automatically. Press OK to "
    "clean up.";
constexpr char kAskCleanUp[] = "49 Are you sure you want to start automatic parasite cleanup?";
constexpr char kIgnored[] = "\r\n \r\n1 ignored.\n";

/// The program on a machine with two dead helper objects, of which the list may hold some.
class IgnoreListTest : public testing::Test, protected StartedProgram {
  protected:
    IgnoreListTest() {
        AddHelperObject(machine, kFirst, u"First", {});
        AddHelperObject(machine, kSecond, u"Second", {});
    }
    void Ignore(std::initializer_list<Text> classes) {
        std::vector<IgnoreEntry> entries;
        for (const Text& clsid : classes) {
            entries.push_back(EntryOfObject({clsid, {}, {}}, u"note of " + clsid.substr(1, 1)));
        }
        (void)AddToIgnoreList(entries, *log);
    }
    void StartWith(std::initializer_list<MessageResult> answers) {
        toolkit.Answer(answers);
        Start();
    }
    /// What the user does in the window, which is closed behind it.
    void InWindow(const std::function<void(Form&)>& action) {
        toolkit.Then([this, action] {
            Form* const window = Window(u"FIgnoreList");
            ASSERT_NE(window, nullptr);
            action(*window);
            window->PressKey(Key::Escape);
        });
        Choose(u"mnuIgnoreList");
        EXPECT_EQ(Window(u"FIgnoreList"), nullptr);
        EXPECT_FALSE(toolkit.HasAnswersLeft());
    }
    /// The rows, the selected one behind a ">", and the button if it is grey.
    static std::string Rows(Form& window) {
        const std::string shown = Describe(window);
        std::string rows = shown.substr(shown.find("list lv"));
        rows.erase(0, rows.find('\n') + 1);
        return rows.substr(0, rows.find("  button cmdClose"));
    }
    std::string Label() { return ToUtf8(Find<bkfd::Label>(u"Label4").Caption()); }
};

TEST_F(IgnoreListTest, TheOfferAndTheCleanUpTellWhatTheyPassOver) {
    Ignore({kSecond});
    StartWith({Cancel});
    EXPECT_EQ(Messages(), kFound + std::string(kIgnored));
    EXPECT_TRUE(Logged("BHO: " + ToUtf8(kSecond) + ", 'Second', ''")) << log->text;
    toolkit.Answer({Ok, Cancel});
    main->PressKey(Key::F12);
    EXPECT_NE(Messages().find(kAskCleanUp + std::string(kIgnored)), std::string::npos)
        << Messages();
    EXPECT_FALSE(machine.HasKey(HKLM, kHelperObjects + kFirst));
    EXPECT_TRUE(machine.HasKey(HKLM, kHelperObjects + kSecond));
    EXPECT_EQ(Label(), "Detected Browser Helper Objects (1 ignored):");
    StartWith({});
    EXPECT_TRUE(Logged("CPaRemover.Check: False")) << "what is ignored alone is no reason to offer";
}

TEST_F(IgnoreListTest, TakesEntriesOffByKeys) {
    Ignore({kFirst, kSecond});
    StartWith({});
    InWindow([&](Form& window) {
        EXPECT_EQ(window.Owner(), main.get());
        const auto row = [](const Text& clsid, const char* mark) {
            const std::string name = ToUtf8(clsid);
            return "    " + std::string(mark) + "\"2026-11-16 09:39:04\" | \"" + name +
                   " (no file)\" | \"note of " + name[1] + "\"\n";
        };
        const std::string button = "  button cmdStop \"&Stop Ignoring\" (default)";
        const std::string second = row(kSecond, "> ") + button + '\n';
        EXPECT_EQ(Rows(window), row(kFirst, "> ") + row(kSecond, "  ") + button + '\n');
        toolkit.Answer({Cancel, Ok});
        window.PressKey('S', Shift::Alt);
        window.PressKey('S', Shift::Alt);
        EXPECT_EQ(Rows(window), second);
        EXPECT_EQ(Label(), "Detected Browser Helper Objects (1 ignored):");
        window.PressKey('I', Shift::Alt);  // the list has the focus
        window.PressKey(Key::Delete, Shift::Control);
        EXPECT_EQ(Rows(window).substr(0, 6), second.substr(0, 6));
        toolkit.Answer({Ok});
        window.PressKey(Key::Delete);
        EXPECT_EQ(Rows(window), button + " (disabled)\n");
        window.PressKey(Key::Delete);
    });
    const std::string question = "49 Are you sure you want to stop ignoring '";
    const auto asked = [&](const Text& clsid) {
        return question + ToUtf8(clsid) + " (no file)'?\n";
    };
    EXPECT_EQ(Messages(), asked(kFirst) + asked(kFirst) + asked(kSecond));
    EXPECT_EQ(Label(), "Detected Browser Helper Objects:");
    toolkit.Answer({Ok});
    Choose(u"mnuIgnoreList");
    EXPECT_TRUE(Messages().ends_with(
        "64 Nothing is ignored. The context menu of step 1 puts a browser helper object on the "
        "ignore list.\n"));
}

TEST_F(IgnoreListTest, ADamagedListIsToldBeforeTheOfferAndNothingIsIgnored) {
    Ignore({kFirst, kSecond});
    machine.AddFile(IgnoreListPath(), "Brackenfold ignore list 1\nx\n");
    StartWith({Ok, Cancel});
    const std::string damage =
        "The ignore list cannot be used, so nothing is ignored: 'C:\\Program Files\\Brackenfold\\"
        "ignore.txt': line 2: begins with no SHA-256 and no {class}. Correct the file, or delete "
        "it "
        "to begin a new list.\n";
    EXPECT_EQ(Messages(), "48 " + damage + kFound + '\n');
    toolkit.Answer({Ok});
    Choose(u"mnuIgnoreList");
    EXPECT_TRUE(Messages().ends_with("\n64 " + damage));
    EXPECT_EQ(Window(u"FIgnoreList"), nullptr);
    toolkit.Answer({Cancel});
    main->PressKey(Key::F12);
    EXPECT_TRUE(Messages().ends_with(std::string(kAskCleanUp) + '\n')) << Messages();
}

TEST_F(IgnoreListTest, AListThatIsDamagedMeanwhileStays) {
    Ignore({kFirst});
    StartWith({Cancel});
    InWindow([&](Form& window) {
        machine.AddFile(IgnoreListPath(), "x");
        toolkit.Answer({Ok, Ok});
        window.PressKey('S', Shift::Alt);
        EXPECT_TRUE(Rows(window).ends_with("(disabled)\n")) << Rows(window);
    });
    EXPECT_TRUE(
        Messages().ends_with("48 Cannot change the ignore list. C:\\Program "
                             "Files\\Brackenfold\\ignore.txt: line 1: isn't "
                             "the head of an ignore list\n"))
        << Messages();
    EXPECT_TRUE(Logged(" 4 FIgnoreList.cmdStop_Click: ")) << log->text;
}

}  // namespace
}  // namespace bkfd
