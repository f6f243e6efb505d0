#include <gtest/gtest.h>

#include <optional>

#include "base/Utf16Bytes.h"
#include "common/BrowserKeys.h"
#include "common/RemovalFixture.h"
#include "removal/FRestoreFiles.h"
#include "removal/FSafeRemover.h"
#include "testing/Describe.h"
#include "ui/Keys.h"

namespace bkfd {
namespace {

using enum MessageResult;

constexpr char kRestart[] =
    "65 Operation complete successfully. Close all opened documents then press OK button to "
    "restart Windows.\n";
constexpr char kQuestion[] = "49 Are you sure you want to disable programs?\n";

class SafeRemover : public RemovalFixture {
  public:
    explicit SafeRemover(WindowsFamily family = WindowsFamily::NT) : RemovalFixture(family) {
        window.Init(log);
        window.Show();
    }
    ~SafeRemover() { window.Unload(); }

    Text Typed() const { return Box().GetText(); }
    void Type(const Text& text) { Box().UserEdit(text); }
    /// Presses the button with that letter; true if that ended the program.
    bool Press(char16_t letter, std::initializer_list<MessageResult> answers = {}) {
        toolkit.Answer(answers);
        return EndsProgram([&] { window.PressKey(letter, Shift::Alt); });
    }
    bool HasSearchButton() { return window.FindControl(u"cmdFindSuspiciousFiles")->Visible(); }
    TextBox& Box() const {
        return dynamic_cast<TextBox&>(*const_cast<FSafeRemover&>(window).FindControl(u"txtFiles"));
    }

    FSafeRemover window;
};

TEST(FSafeRemover, DisablesWhatIsNamed) {
    const std::string question = kQuestion;
    const std::string done = question + kRestart;
    const std::string gone =
        "49 File 'C:\\x.exe' is not found on file system. This file will be unloaded from memory "
        "only. Press OK to continue.\n";
    const std::string none = "48 Type filenames.\n";
    const struct {
        const char* label;
        Text typed;
        std::initializer_list<MessageResult> answers;
        std::string messages;
        std::string disabled;  // as the log lists them
        bool ends = false;
    } rows[] = {
        {"nothing", u"", {Ok}, none, ""},
        {"blank lines", u" \r\n\r\n  ", {Ok}, none, ""},
        {"cancelled at once", u"C:\\a.exe", {Cancel}, question, ""},
        {"two and blank lines",
         u"C:\\a.exe\r\n\r\n\n  C:\\b.dll \n",
         {Ok, Cancel},
         done,
         "C:\\a.exe C:\\b.dll "},
        {"one twice", u"C:\\a.exe\nC:\\A.EXE", {Ok, Cancel}, done, "C:\\a.exe "},
        {"one that is gone, passed over",
         u"C:\\x.exe\r\nC:\\a.exe",
         {Ok, Ok, Cancel},
         question + gone + kRestart,
         "C:\\a.exe "},
        {"one that is gone, given up",
         u"C:\\a.exe\r\nC:\\x.exe",
         {Ok, Cancel},
         question + gone,
         ""},
        {"only what is gone", u"C:\\x.exe", {Ok, Ok, Cancel}, question + gone + kRestart, ""},
        {"restarted", u"C:\\a.exe", {Ok, Ok}, done, "C:\\a.exe ", true},
    };
    for (const auto& row : rows) {
        for (const WindowsFamily family : {WindowsFamily::NT, WindowsFamily::Windows9x}) {
            SCOPED_TRACE(row.label);
            SafeRemover it(family);
            it.machine.AddFile(u"C:\\a.exe", "bytes");
            it.machine.AddFile(u"C:\\b.dll", "bytes");
            it.machine.SetString(HKCU, kMainKey, u"Start Page", u"http://hijacked/");
            it.Type(row.typed);
            it.window.FindControl(u"cmdCancel")->SetFocus();
            EXPECT_EQ(it.Press('D', row.answers), row.ends);
            EXPECT_EQ(it.Box().HasFocus(), row.messages == none) << "asked for";
            EXPECT_EQ(it.Messages(), row.messages);
            std::string disabled;
            const std::string mark = "5 FSafeRemover.cmdDisableParasites_Click: Disabling ";
            for (std::size_t at = 0; (at = it.log->text.find(mark, at)) != std::string::npos;) {
                at += mark.size();
                disabled += it.log->text.substr(at, it.log->text.find('\n', at) - at) + ' ';
            }
            EXPECT_EQ(disabled, row.disabled);
            EXPECT_EQ(it.machine.HasFile(u"C:\\parasite_a.exe.parasite"), !disabled.empty());
            EXPECT_EQ(it.machine.GetString(HKCU, kMainKey, u"Start Page"),
                      row.messages.ends_with(kRestart) ? u"about:blank" : u"http://hijacked/");
            EXPECT_EQ(it.machine.RestartCount(), row.ends);
            EXPECT_TRUE(it.window.Visible());
        }
    }
}

TEST(FSafeRemover, EndsTheHoldersAndTellsOfARefusedRestart) {
    SafeRemover it;
    it.machine.AddFile(u"C:\\a.dll", "bytes");
    it.machine.AddProcess({8, u"C:\\host.exe", {u"C:\\a.dll"}});
    it.machine.AddProcess({12, u"C:\\other.exe", {}});
    it.machine.DenyRestart();
    it.Type(u"C:\\a.dll");
    EXPECT_TRUE(it.Press('D', {Ok, Ok, Ok}));
    EXPECT_EQ(DumpProcesses(it.machine), "process 12 C:\\other.exe\n");
    const Text error = SysUtil::SystemErrorText(SystemError::PrivilegeNotHeld);
    const std::string refused = ToUtf8(error) + " Please restart Windows manually.\n";
    EXPECT_TRUE(it.Messages().ends_with("48 " + refused)) << it.Messages();
    EXPECT_TRUE(it.log->text.ends_with("0 FSafeRemover.cmdDisableParasites_Click: " + refused));
}

TEST(FSafeRemover, AFailureIsLoggedAndShown) {
    SafeRemover it;
    it.Type(u"C:\\a.dll");
    it.toolkit.Answer({});
    // The question fails, and so does the message that tells of it.
    EXPECT_THROW(it.Press('D'), RuntimeError);
    EXPECT_NE(it.Messages().find("48 Cannot disable programs. Unexpected message box: "),
              std::string::npos);
    EXPECT_TRUE(it.log->text.starts_with("51 0 FSafeRemover.cmdDisableParasites_Click: "));
}

TEST(FSafeRemover, Pastes) {
    const Text units = FromBytes(ToUtf16Bytes(u"C:\\\u0416.exe"));
    const Text encoded = SysUtil::EncodeText(units);
    const struct {
        const char* label;
        Text box;
        Text clipboard;
        Text result;
    } rows[] = {
        {"into an empty box", u"  ", u"C:\\a", u"C:\\a"},
        {"behind a line", u"C:\\b", u"C:\\a", u"C:\\b\r\nC:\\a"},
        {"behind a line end", u"C:\\b\r\n", u"C:\\a", u"C:\\b\r\nC:\\a"},
        {"what is there moves to the end", u"C:\\a\r\nC:\\b", u"C:\\a", u"\r\nC:\\b\r\nC:\\a"},
        {"an encoded name", u"", encoded, u"C:\\\u0416.exe"},
        {"a plain word", u"x", u"notes.exe", u"x\r\nnotes.exe"},
        {"a word that decodes to no path", u"", u"abcd", u"abcd"},
        {"wrapped by a mail", u"",
         u" " + encoded.substr(0, 8) + u"\r\n\t" + encoded.substr(8) + u"\r\n", u"C:\\\u0416.exe"},
        {"two encoded names", u"", encoded + u"\r\n" + encoded,
         u"C:\\\u0416.exe\r\nC:\\\u0416.exe"},
        {"two, both wrapped", u"",
         encoded.substr(0, 12) + u"\r\n " + encoded.substr(12) + u"\r\n\r\n" +
             encoded.substr(0, 16) + u"\r\n" + encoded.substr(16),
         u"C:\\\u0416.exe\r\nC:\\\u0416.exe"},
        {"words that decode to no path", u"", u"abcd abcd", u"abcd abcd"},
        {"an odd number of bytes", u"", SysUtil::EncodeText(units + u"x"), u"C:\\\u0416.exe"},
        {"a lone surrogate", u"", Text(u"\\") + char16_t{0xDC00}, Text(u"\\") + char16_t{0xDC00}},
        {"embedded NULs", u"", Text(u"\\a\0b", 4), Text(u"\\a\0b", 4)},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        for (const char* way : {"button", "Ctrl+V", "Shift+Insert"}) {
            SafeRemover it;
            it.Type(row.box);
            it.toolkit.SetClipboardText(row.clipboard);
            it.Box().SetFocus();
            int key = way[0] == 'C' ? 'V' : Key::Insert;
            if (way[0] == 'b') {
                it.Press('P');
            } else {
                it.window.KeyDown(key, way[0] == 'C' ? Shift::Control : Shift::Shift);
                EXPECT_EQ(key, 0) << "the box would paste too";
            }
            EXPECT_EQ(ToWtf8(it.Typed()), ToWtf8(row.result)) << way;
            it.window.PressKey(Key::Enter);
            EXPECT_EQ(ToWtf8(it.Typed()), ToWtf8(row.result) + "\r\n") << "the caret is behind it";
            EXPECT_EQ(it.log->text, "");
        }
    }
    SafeRemover it;
    it.Type(u"C:\\a");
    EXPECT_FALSE(it.Press('P', {Ok}));
    EXPECT_EQ(it.Messages(), "64 Cannot paste. Clipboard is empty. \n");
    int key = 'V';
    it.window.KeyDown(key, Shift::Control | Shift::Shift);
    EXPECT_EQ(key, 'V');
    EXPECT_EQ(it.Typed(), u"C:\\a");
}

TEST(FSafeRemover, F6AndThePictureShowTheSearch) {
    SafeRemover it;
    EXPECT_FALSE(it.HasSearchButton());
    for (const TextView focus : {u"txtFiles", u"cmdPaste"}) {
        it.window.FindControl(focus)->SetFocus();
        it.window.PressKey(Key::F6, Shift::Control);
        EXPECT_TRUE(it.HasSearchButton()) << ToUtf8(focus);
        it.window.PressKey(Key::F6);
        EXPECT_FALSE(it.HasSearchButton()) << ToUtf8(focus);
    }
    it.window.FindControl(u"Image1")->DoubleClick();
    EXPECT_TRUE(it.HasSearchButton());
    const std::string byKey = "5 FSafeRemover.Form_KeyUp: Enabling FindSuspiciousFiles button\n";
    EXPECT_EQ(
        it.log->text,
        byKey + byKey + "5 FSafeRemover.Image1_DblClick: Enabling FindSuspiciousFiles button\n");
    it.Type(u"old");
    it.Press('F', {Ok});
    EXPECT_EQ(it.Typed(), u"");
    it.machine.AddFile(u"C:\\b.exe", "bytes");
    it.machine.AddProcess({8, u"C:\\b.exe", {u"C:\\A.dll"}});
    it.Press('F', {Ok});
    EXPECT_EQ(ToUtf8(it.Typed()), "C:\\A.dll\r\nC:\\b.exe\r\n");
    EXPECT_EQ(it.Box().SelectionStart(), it.Typed().size());
    EXPECT_TRUE(it.Box().HasFocus());
    EXPECT_EQ(it.Messages(),
              "64 Search complete successfully. No suspicious files found.\n"
              "64 Search complete successfully.\n");
    EXPECT_EQ(it.toolkit.CurrentPointer(), Pointer::Default);
    it.Press('F');  // the message fails
    EXPECT_TRUE(it.Logged(" 0 FSafeRemover.cmdFindSuspiciousFiles_Click: "));
}

TEST(FSafeRemover, ClosingDuringTheWorkLosesNothing) {
    SafeRemover it;
    it.machine.AddFile(u"C:\\a.dll", "bytes");
    it.machine.AddProcess({8, u"C:\\host.exe", {u"C:\\a.dll"}});
    it.machine.LockFile(u"C:\\a.dll");
    it.Type(u"C:\\a.dll");
    int closings = 0;
    it.toolkit.onPump = [&] {
        it.machine.AdvanceClock(100);
        if (++closings > 1) return;
        it.window.UserClose();
        it.machine.UnlockFile(u"C:\\a.dll");
    };
    EXPECT_FALSE(it.Press('D', {Ok, Cancel}));
    EXPECT_GT(closings, 1) << "it waited";
    EXPECT_FALSE(it.window.Visible());
    EXPECT_TRUE(it.machine.HasFile(u"C:\\parasite_a.dll.parasite"));
    EXPECT_TRUE(it.machine.HasValue(HKCU, kRemovedFiles, u"C:\\a.dll"));
    EXPECT_EQ(DumpProcesses(it.machine), "");
    EXPECT_EQ(it.Messages(), std::string(kQuestion) + kRestart);
}

TEST(FSafeRemover, DisablesThousandsOfOddNamesAndUndoGivesThemBack) {
    std::vector<Text> files;
    for (int number = 0; number < 2000; ++number) {
        files.push_back(u"C:\\folder" + ToText(number / 10) + u"\\file" + ToText(number) + u".dll");
    }
    files.push_back(u"C:\\\u202E\u05D0\u05D1.exe");  // shown from right to left
    files.push_back(Text(u"C:\\x") + char16_t{0xD800} + u".exe");
    files.push_back(u"C:\\" + Text(230, u'n'));
    SafeRemover it;
    Text lines;
    for (const Text& file : files) {
        it.machine.AddFile(file, "bytes");
        lines += file + u"\r\n";
    }
    const Text tooLong = u"C:\\" + Text(32'764, u'n');  // for any file
    it.Type(lines + tooLong);
    EXPECT_FALSE(it.Press('D', {Ok, Ok, Cancel}));
    EXPECT_TRUE(it.Messages().starts_with(kQuestion + ("49 File '" + ToUtf8(tooLong) + "' is ")));
    EXPECT_TRUE(it.Messages().ends_with(kRestart));
    for (const Text& file : files) ASSERT_FALSE(it.machine.HasFile(file)) << ToWtf8(file);

    FRestoreFiles undo;
    bool hasEntries = false;
    undo.Init(it.log, hasEntries);
    undo.Show();
    auto& list = dynamic_cast<ListBox&>(*undo.FindControl(u"lstFiles"));
    ASSERT_EQ(list.Count(), files.size());
    constexpr std::size_t kRestored = 6;  // the odd ones are listed last
    for (std::size_t i = 0; i < kRestored; ++i) {
        it.toolkit.Answer({Ok, Ok});
        list.UserSelect(list.Count());
        undo.PressKey('R', Shift::Alt);
    }
    EXPECT_EQ(list.Count(), files.size() - kRestored);
    undo.Unload();
    for (std::size_t i = files.size() - kRestored; i < files.size(); ++i) {
        EXPECT_TRUE(it.machine.HasFile(files[i])) << ToWtf8(files[i]);
        EXPECT_FALSE(it.machine.HasValue(HKCU, kRemovedFiles, files[i])) << ToWtf8(files[i]);
    }
}

TEST(FSafeRemover, ClosingHidesIt) {
    SafeRemover it;
    it.window.PressKey(Key::Escape);
    EXPECT_FALSE(it.window.Visible());
    it.window.Show();
    it.window.UserClose();
    EXPECT_FALSE(it.window.Visible());
    EXPECT_TRUE(it.window.IsLoaded());
    EXPECT_EQ(
        Describe(it.window),
        "form FSafeRemover \"Safe Remover\" (hidden)\n"
        "  picture Image1 \"SAFEREMOVER\"\n"
        "  label lbl1 \"Safe Remover disables several parasite programs at once so they could "
        "not recover each other. Use Safe Remover only after contacting support via \\\"Step "
        "3. Contact Support\\\".\"\n"
        "  label lbl2 \"&Type programs one file per line then press \\\"Disable Parasites\\\" "
        "button:\"\n"
        "  text txtFiles \"\" (focus)\n"
        "  button cmdDisableParasites \"&Disable Parasites\" (default)\n"
        "  button cmdPaste \"&Paste\"\n"
        "  button cmdFindSuspiciousFiles \"&Find Suspicious Files\" (hidden)\n"
        "  button cmdCancel \"&Close\" (cancel)\n");
}

class Undo : public RemovalFixture {
  public:
    explicit Undo(WindowsFamily family = WindowsFamily::NT) : RemovalFixture(family) {}
    ~Undo() {
        if (window) window->Unload();
    }
    void Remove(const Text& file, const Text& disabled) {
        machine.SetString(HKCU, kRemovedFiles, file, file);
        if (!disabled.empty()) machine.AddFile(disabled, "bytes");
    }
    bool Open() {
        window.emplace();
        bool hasEntries = true;
        window->Init(log, hasEntries);
        if (hasEntries) window->Show();
        return hasEntries;
    }
    void Press(std::initializer_list<MessageResult> answers) {
        toolkit.Answer(answers);
        window->PressKey('R', Shift::Alt);
    }
    std::string Rows() {
        auto& list = dynamic_cast<ListBox&>(*window->FindControl(u"lstFiles"));
        std::string rows;
        for (std::size_t row = 1; row <= list.Count(); ++row) {
            rows += (row == list.SelectedIndex() ? ">" : "") + ToUtf8(list.Line(row)) + '\n';
        }
        return rows;
    }

    std::optional<FRestoreFiles> window;
};

TEST(FRestoreFiles, RestoresOneAfterTheOther) {
    for (const WindowsFamily family : {WindowsFamily::NT, WindowsFamily::Windows9x}) {
        Undo it(family);
        EXPECT_FALSE(it.Open());
        it.Remove(u"C:\\gone.exe", u"");
        EXPECT_FALSE(it.Open());
        it.Remove(u"C:\\a.exe", u"C:\\parasite_a.exe.parasite");
        it.Remove(u"C:\\x\\b.dll", u"C:\\x\\parasite_b.dll.parasite");
        it.machine.AddFile(u"C:\\a.exe", "a newer one");
        ASSERT_TRUE(it.Open());
        EXPECT_EQ(it.Rows(), ">C:\\a.exe\nC:\\x\\b.dll\n");
        it.Press({Cancel});
        EXPECT_EQ(it.Rows(), ">C:\\a.exe\nC:\\x\\b.dll\n");
        it.Press({Ok, Ok});
        EXPECT_EQ(it.Rows(), ">C:\\x\\b.dll\n");
        EXPECT_EQ(it.machine.FileContent(u"C:\\a.exe").size(), 5u);
        EXPECT_FALSE(it.machine.HasValue(HKCU, kRemovedFiles, u"C:\\a.exe"));
        EXPECT_TRUE(it.window->Visible());
        it.Press({Ok, Ok, Ok});
        EXPECT_FALSE(it.window->Visible());
        EXPECT_TRUE(it.machine.HasValue(HKCU, kRemovedFiles, u"C:\\gone.exe"));
        EXPECT_EQ(it.Messages(),
                  "49 Are you sure you want to restore 'C:\\a.exe'?\n"
                  "49 Are you sure you want to restore 'C:\\a.exe'?\n"
                  "64 Program 'C:\\a.exe' is restored successfully.\n"
                  "49 Are you sure you want to restore 'C:\\x\\b.dll'?\n"
                  "64 Program 'C:\\x\\b.dll' is restored successfully.\n"
                  "64 There are no more programs to restore. Press OK button to close Restore "
                  "Removed Programs window.\n");
        it.Press({});  // nothing is selected any more
    }
}

TEST(FRestoreFiles, AFailedRenameClaimsSuccessAndKeepsTheRow) {
    Undo it;
    it.Remove(u"C:\\a.exe", u"C:\\parasite_a.exe.parasite");
    it.machine.LockFile(u"C:\\parasite_a.exe.parasite");
    ASSERT_TRUE(it.Open());
    it.Press({Ok, Ok});
    EXPECT_TRUE(it.Messages().ends_with("64 Program 'C:\\a.exe' is restored successfully.\n"));
    EXPECT_EQ(it.Rows(), ">C:\\a.exe\n");
    EXPECT_TRUE(it.machine.HasValue(HKCU, kRemovedFiles, u"C:\\a.exe"));
    EXPECT_NE(it.log->text, "");
    EXPECT_THROW(it.Press({}), RuntimeError);  // the question fails, then the message about it
    EXPECT_NE(it.Messages().find("64 Cannot restore 'C:\\a.exe'. Unexpected message box: "),
              std::string::npos);
    EXPECT_TRUE(it.Logged("0 FRestoreFiles.cmdRestoreFile_Click: "));
}

}  // namespace
}  // namespace bkfd
