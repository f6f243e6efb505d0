#include <gtest/gtest.h>

#include "StartedProgram.h"
#include "ui/Keys.h"

namespace bkfd {
namespace {

using enum MessageResult;

constexpr char kCannotSend[] = "48 Cannot send support request. Ensure you are online now. \n";
const std::string kRequested = "5 ucSupport.cmdRequestSupport_Click: Requesting support\n";

/// An exchange that ends at once with a status.
class InstantRequest final : public HttpRequest {
  public:
    InstantRequest(std::int32_t answer, int& sent) : answer_(answer), sent_(sent) {}

    Status open(TextView, TextView) override { return {}; }
    Status setRequestHeader(TextView, TextView) override { return {}; }
    Status send(TextView) override {
        ++sent_;
        return {};
    }
    std::int32_t readyState() override { return 4; }
    Result<std::int32_t> status() override { return answer_; }
    Text statusText() override { return u"Busy"; }
    void abort() override {}

  private:
    std::int32_t answer_;
    int& sent_;
};

class Support : public StartedProgram {
  public:
    Support() {
        machine.SetEnvironment(u"TMP", u"C:\\Temp");
        machine.AddFolder(u"C:\\Temp");
        machine.SetHttp([this] { return std::make_unique<InstantRequest>(answer, sent); });
        Start();
        Find<TabStrip>(u"ts").UserSelect(4);
        log->text.clear();
        const auto& description = Find<TextBox>(u"txtAnswers");
        placeholder = description.GetText().substr(0, description.SelectionLength());
        Type(u"x", u"n", u"e");
    }
    void Type(const Text& description, const Text& name, const Text& email) {
        Find<TextBox>(u"txtAnswers").UserEdit(description);
        Find<TextBox>(u"txtName").UserEdit(name);
        Find<TextBox>(u"txtEmail").UserEdit(email);
    }
    void MakeGatheringFail() {
        constexpr char16_t kHosts[] = u"C:\\WINDOWS\\system32\\drivers\\etc\\hosts";
        machine.AddFile(kHosts, "127.0.0.1");
        machine.MakeUnreadable(kHosts);
    }
    void Request(std::initializer_list<MessageResult> answers) {
        toolkit.Answer(answers);
        main->PressKey('R', Shift::Alt);
    }

    Text placeholder;  // what was selected at first
    std::int32_t answer = 200;
    int sent = 0;
};

TEST(ucSupport, AsksForWhatIsMissingInOrder) {
    Support it;
    EXPECT_EQ(it.placeholder, u"Your description here...");
    const struct {
        Text description, name, email;
        const char* message;
        TextView field;  // where the user types on
    } rows[] = {
        {u"", u"", u"", "48 Please describe the problem. \n", u"txtAnswers"},
        {u"Your description here...", u"n", u"e", "48 Please describe the problem. \n",
         u"txtAnswers"},
        {u"Your description here... it hurts", u"", u"e", "48 Please type your name. \n",
         u"txtName"},
        {u"x", u"", u"", "48 Please type your name. \n", u"txtName"},
        {u"x", u" ", u"", "48 Please type your e-mail. \n", u"txtEmail"},
    };
    std::string messages;
    for (const auto& row : rows) {
        it.Type(row.description, row.name, row.email);
        it.Request({Ok});
        EXPECT_EQ(it.Messages(), messages + row.message);
        messages = it.Messages();
        auto& field = it.Find<TextBox>(row.field);
        EXPECT_TRUE(field.HasFocus()) << row.message;
        if (row.field == u"txtAnswers") field.UserType(u"typed");
        EXPECT_EQ(it.Find<TextBox>(u"txtAnswers").GetText(),
                  row.field == u"txtAnswers" ? u"typed" : row.description);
    }
    EXPECT_EQ(it.sent, 0);
    EXPECT_EQ(it.log->text, "");
}

TEST(ucSupport, SendsAReportBehindTheProgressWindow) {
    Support it;
    it.Type(u"x", u" ", u"no address at all");
    bool wasShown = false;
    it.toolkit.onPump = [&] {
        if (const Form* progressor = it.Window(u"FProgressor")) {
            wasShown = progressor->IsModal() && progressor->Owner() == it.main.get();
            EXPECT_EQ(it.toolkit.CurrentPointer(), Pointer::Hourglass);
        }
    };
    for (int request = 1; request <= 2; ++request) {
        it.Request({Ok});
        EXPECT_EQ(it.sent, request);
        EXPECT_TRUE(wasShown);
        EXPECT_EQ(it.Window(u"FProgressor"), nullptr);
        EXPECT_EQ(it.toolkit.CurrentPointer(), Pointer::Default);
    }
    const std::string sent =
        "64 Your support request has been sent successfully. Please allow up to 48 hours for a "
        "response.\n";
    EXPECT_EQ(it.Messages(), sent + sent);
    EXPECT_EQ(it.log->text, kRequested + kRequested);
    EXPECT_EQ(it.Find<TextBox>(u"txtAnswers").GetText(), u"x");
}

TEST(ucSupport, TellsOfARefusedReport) {
    Support it;
    it.answer = 503;
    it.Request({Ok});
    EXPECT_EQ(it.Messages(), kCannotSend);
    EXPECT_TRUE(
        it.log->text.starts_with("8004038A 4 ucSupport.cmdRequestSupport_Click: Cannot contact. "))
        << it.log->text;
    EXPECT_EQ(it.toolkit.CurrentPointer(), Pointer::Default);
}

TEST(ucSupport, AFailedGatheringSendsNothing) {
    Support it;
    it.MakeGatheringFail();
    it.Request({Ok, Ok});
    EXPECT_EQ(it.sent, 0);
    EXPECT_TRUE(it.log->text.starts_with("75 4 ucSupport.moProgressor_Started: ")) << it.log->text;
    EXPECT_TRUE(it.Messages().starts_with("64 "));
    EXPECT_TRUE(it.Messages().ends_with(kCannotSend));
    EXPECT_EQ(it.Window(u"FProgressor"), nullptr);
    EXPECT_EQ(it.toolkit.CurrentPointer(), Pointer::Default);
}

TEST(ucSupport, AFailedGatheringLeavesTheResultOfTheRequestBeforeOnPurpose) {
    Support it;
    it.Request({Ok});
    it.MakeGatheringFail();
    it.Request({Ok, Ok});
    EXPECT_EQ(it.sent, 1);
    EXPECT_TRUE(it.log->text.starts_with(kRequested + "75 4 ucSupport.moProgressor_Started: "));
    EXPECT_TRUE(it.log->text.ends_with("\n" + kRequested)) << it.log->text;
}

TEST(ucSupport, AnErrorFromBeforeTheWorkIsLoggedAndStopsNothing) {
    Support it;
    bool hasFailed = false;
    it.toolkit.onPump = [&] {
        if (hasFailed || it.Window(u"FProgressor") == nullptr) return;
        hasFailed = true;
        throw RuntimeError(ErrorNumber::DeviceIo, u"a handler failed as the window was painted");
    };
    it.Request({Ok});
    EXPECT_EQ(it.sent, 1);
    EXPECT_EQ(
        it.log->text,
        "57 4 ucSupport.moProgressor_Started(.): a handler failed as the window was painted\n" +
            kRequested);
}

TEST(ucSupport, TheWindowMayBeClosedOrActivatedAgainDuringTheWork) {
    Support it;
    int pumps = 0;
    int clicks = 0;
    auto& button = it.Find<Button>(u"cmdRequestSupport");
    const auto& status = it.Find<Label>(u"lblStatus");
    button.SetFocus();
    it.toolkit.onPump = [&] {
        Form* progressor = it.Window(u"FProgressor");
        if (progressor == nullptr) {
            if (pumps < 4) return;
            ++clicks;
            EXPECT_FALSE(button.Enabled());
            EXPECT_TRUE(status.Visible());
            button.Click();
            return;
        }
        ++pumps;
        if (pumps == 2) progressor->onActivate();
        it.main->UserClose();  // blocked
        if (pumps == 4) progressor->UserClose();
    };
    it.Request({Ok});
    EXPECT_GT(clicks, 0);
    EXPECT_EQ(it.sent, 1) << "no second request during the first";
    EXPECT_EQ(it.toolkit.Messages().size(), 1u);
    EXPECT_TRUE(it.main->IsLoaded());
    EXPECT_TRUE(button.Enabled() && button.HasFocus());
    EXPECT_FALSE(status.Visible());
}

TEST(ucSupport, ClosingTheMainWindowDuringTheWorkEndsTheProgram) {
    Support it;
    it.toolkit.onPump = [&] {
        if (Form* progressor = it.Window(u"FProgressor")) progressor->UserClose();
        it.main->UserClose();
    };
    EXPECT_THROW(it.Request({}), ProgramEnd);
    EXPECT_EQ(it.sent, 0);
}

}  // namespace
}  // namespace bkfd
