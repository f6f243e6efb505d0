#include <gtest/gtest.h>

#include <sstream>

#include "ui/SampleWindow.h"
#include "ui/terminal/TerminalToolkit.h"

namespace bkfd {
namespace {

/// Shows the sample window on a terminal on which `script` is typed.
struct Session {
    explicit Session(const std::string& script) : input(script), toolkit(output, ReadKey(), kAsk) {
        Toolkit* before = InstallToolkit(&toolkit);
        form = std::make_unique<FSample>(log);
        form->Show();
        try {
            toolkit.Run();
        } catch (const ProgramEnd&) {
            ended = true;
        }
        InstallToolkit(before);
    }
    ~Session() {
        Toolkit* before = InstallToolkit(&toolkit);
        form.reset();
        InstallToolkit(before);
    }

    TerminalToolkit::KeyReader ReadKey() {
        return [this]() -> std::optional<char> {
            char key = 0;
            return input.get(key) ? std::optional(key) : std::nullopt;
        };
    }

    static constexpr auto kAsk = TerminalToolkit::Answers::Ask;
    std::istringstream input;
    std::ostringstream output;
    TerminalToolkit toolkit;
    EventLog log;
    std::unique_ptr<FSample> form;
    bool ended = false;
};

TEST(TerminalForm, IsPrintedAndFollowsTypedLines) {
    Session session("menu exit\n");
    EXPECT_EQ(session.output.str(), R"screen(== Sample & Co ==
File: Refresh, Exit
> tab 1  Step 1. List
  tab 2  Step 2. Text
Helpers:
      Name | File
>   1  Good "Helper" | c:\good.dll
    2  Bad Helper | ! c:\bad.dll
    3  (noname) | 
Related File:
txtFile: 
[Delete]
www.example
[Hide]
> )screen");
    EXPECT_FALSE(session.ended) << "the window was closed before the input's end";
}

TEST(TerminalForm, EachCommandDoesWhatTheMouseAndTheKeysDo) {
    const struct {
        const char* script;
        const char* expected;  // one of the events, or the beginning of a printed line
    } rows[] = {
        {"row 2\n", "    1  Good \"Helper\" | c:\\good.dll\n>   2  Bad Helper | ! c:\\bad.dll\n"},
        {"row 2\n", "txtFile: c:\\bad.dll\n"},
        {"key f5\n", "F5"},
        {"key ctrl+tab\n", "> tab 2"},
        {"tab 2\npress send\n", "done"},
        {"tab 2\npress SEND\n", "== "},
        {"tab 2\ndouble Image1\n", "picture"},
        {"tab 2\nset txtNotes c:\\new file\n", "change c:\\new file"},
        {"tab 2\nset txtNotes one\nadd txtNotes two\n", "change one\r\ntwo"},
        {"tab 2\nadd txtNotes one\n", "change one"},
        {"tab 2\ncopy clip\nfocus txtNotes\nkey ctrl+v\n", "txtNotes: Your text here...[clip]"},
        {"click www.example\n", "link 1"},
        {"row 3\ncontext\n1\n", "    2  Bad Helper"},
        {"row 2\ncontext\n2\n", "  2  Properties"},
        {"row 3\ncontext\ndelete\n", "    2  Bad Helper"},
        {"row 3\ncontext\n7\n", "Number: Nothing was chosen.\n"},
        {"key escape\n", "escape"},
        {"close\n", "close box"},
        {"help\n", "  press CAPTION     presses a button"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.script);
        const Session session(row.script);
        bool found =
            session.output.str().find("\n" + std::string(row.expected)) != std::string::npos;
        for (const std::string& event : session.log) found = found || event == row.expected;
        EXPECT_TRUE(found) << session.output.str();
    }
}

TEST(TerminalForm, ComplainsInOneLineAndChangesNothing) {
    const struct {
        const char* line;
        const char* complaint;
    } rows[] = {
        {"row 4", "There is no row \"4\" here."},
        {"row 0", "There is no row \"0\" here."},
        {"row 99999999999999999999999", "There is no row"},
        {"row -1", "There is no row \"-1\" here."},
        {"tab x", "There is no tab \"x\" here."},
        {"press Send", "There is no button \"Send\" here."},
        {"press", "There is no button \"\" here."},
        {"menu -", "There is no menu entry \"-\" here."},
        {"menu File", "There is no menu entry \"File\" here."},
        {"set lv text", "There is no text box \"lv\" here."},
        {"key f25", "\"f25\" is no key."},
        {"dance", "\"dance\" is no command; help lists them."},
        {"\x1b[2J", "\"\\u001b[2J\" is no command"},
        {"\xff\xfe", "is no command"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.line);
        const Session session(std::string(row.line) + "\n");
        EXPECT_NE(session.output.str().find(row.complaint), std::string::npos)
            << session.output.str();
        EXPECT_EQ(session.form->ucList.lv.SelectedIndex(), 1u);
        EXPECT_EQ(session.log, (EventLog{"load", "activate"}));
        EXPECT_TRUE(session.ended) << "the end of the input ends the program";
    }
}

TEST(TerminalForm, TimersFireWithoutWaiting) {
    std::ostringstream output;
    TerminalToolkit toolkit(
        output, [] { return std::nullopt; }, TerminalToolkit::Answers::Ask);
    Toolkit* before = InstallToolkit(&toolkit);
    {
        Form splash(u"FSplash");
        splash.SetCaption(u"Splash");
        Timer timer;
        timer.onTimer = [&] { splash.Unload(); };
        timer.Start(3000);
        splash.Show();
        while (splash.Visible()) toolkit.PumpMessages();
    }
    InstallToolkit(before);
    EXPECT_EQ(output.str(), "== Splash ==\n");
}

}  // namespace
}  // namespace bkfd
