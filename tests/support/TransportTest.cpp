#include <gtest/gtest.h>

#include "cli/decode/ReportDecoder.h"
#include "common/EngineFixture.h"
#include "support/cl.h"
#include "testing/FaultMachine.h"

namespace bkfd {
namespace {

/// What a scripted exchange does.
struct Exchange {
    Status openStatus;
    Status sendStatus;
    std::int32_t endState = 4;
    Result<std::int32_t> httpStatus = 200;
    Text statusText;
    std::string trace;  // the calls, with the body's beginning
    Bytes body;
};

class ScriptedRequest final : public HttpRequest {
  public:
    explicit ScriptedRequest(Exchange& exchange) : exchange_(exchange) {}

    Status open(TextView method, TextView url) override {
        exchange_.trace += "open " + ToUtf8(method) + " " + ToUtf8(url) + "\n";
        return exchange_.openStatus;
    }
    Status setRequestHeader(TextView name, TextView value) override {
        exchange_.trace += ToUtf8(name) + ": " + ToUtf8(value) + "\n";
        return {};
    }
    Status send(TextView body) override {
        exchange_.body = ToBytes(body);
        exchange_.trace += "send\n";
        return exchange_.sendStatus;
    }
    std::int32_t readyState() override { return exchange_.endState; }
    Result<std::int32_t> status() override { return exchange_.httpStatus; }
    Text statusText() override { return exchange_.statusText; }
    void abort() override { exchange_.trace += "abort\n"; }

  private:
    Exchange& exchange_;
};

class Transport {
  public:
    Transport() {
        fixture.machine.AddFolder(u"C:\\Temp");
        fixture.machine.SetEnvironment(u"TMP", u"C:\\Temp");
        fixture.machine.SetHttp([this] { return std::make_unique<ScriptedRequest>(exchange); });
        values.Add(u"name", u"A <b> & \u043F\u0001\xD800 \xD83D\xDE00");
        values.Add(u"Log", SysUtil::EncodeText(u"line\r\n"));
    }

    /// Returns the body that was posted.
    std::string Send(const Text& category = u"BKFD/SupportRequest") {
        cl().Do1(fixture.log, category, values, errorText, success);
        return {exchange.body.begin(), exchange.body.end()};
    }
    int FilesLeft() {
        const std::string dump = DumpFiles(fixture.machine);
        return (dump.find(".xml") != dump.npos) + (dump.find(".zip") != dump.npos);
    }

    EngineFixture fixture;
    Exchange exchange;
    ValueBag values;
    Text errorText = u"old";
    bool success = true;
};

TEST(Transport, PostsTheEnvelopeInAnArchive) {
    Transport transport;
    const std::string body = transport.Send();
    EXPECT_TRUE(transport.success);
    EXPECT_EQ(transport.errorText, u"");
    EXPECT_EQ(transport.exchange.trace,
              "open POST http://support.tarnwick.example/php/ic.php\n"
              "Content-Type: application/x-www-form-urlencoded\n"
              "send\n");
    EXPECT_EQ(transport.FilesLeft(), 2);  // both stay, on purpose
    EXPECT_TRUE(body.starts_with("subject=BKFD%5CSupportRequest%5C")) << body.substr(0, 80);
    EXPECT_EQ(body.find('+'), std::string::npos);

    const auto decoded = DecodeReport(transport.exchange.body);
    ASSERT_TRUE(std::holds_alternative<DecodedReport>(decoded)) << std::get<std::string>(decoded);
    const auto& report = std::get<DecodedReport>(decoded);
    EXPECT_EQ(report.category, u"BKFD\\SupportRequest");
    ASSERT_EQ(report.files.size(), 2U);
    const std::string name = ToUtf8(u"A <b> & \u043F\uFFFD\uFFFD \xD83D\xDE00");
    EXPECT_EQ(report.files[0].content, Bytes(name.begin(), name.end()));
    EXPECT_EQ(report.files[1].content, ToBytes(u"line\r\n"));
}

TEST(Transport, JudgesTheEndOfTheExchange) {
    const struct {
        const char* label;
        void (*set)(Exchange&);
        bool success;
        const char16_t* errorText;
        int filesLeft;
        bool isAborted;
    } rows[] = {
        // what a server can answer is in ExchangeTest.cpp
        {"hangs while opening", [](Exchange& e) { e.endState = 1; }, false, u"Cannot send. ", 2,
         true},
        {"hangs while receiving", [](Exchange& e) { e.endState = 3; }, false, u"Cannot send. ", 2,
         true},
        {"hangs in state 2, status there", [](Exchange& e) { e.endState = 2; }, true, u"", 2,
         false},
        {"no status", [](Exchange& e) { e.httpStatus = Status{SystemError::AccessDenied}; }, false,
         u"Access is denied.", 0, false},
        {"open fails", [](Exchange& e) { e.openStatus = {SystemError::AccessDenied}; }, false,
         u"Access is denied.", 0, false},
        {"send fails", [](Exchange& e) { e.sendStatus = {SystemError::AccessDenied}; }, false,
         u"Access is denied.", 0, false},
    };
    for (const auto& row : rows) {
        Transport transport;
        row.set(transport.exchange);
        transport.Send();
        EXPECT_EQ(transport.success, row.success) << row.label;
        EXPECT_EQ(ToUtf8(transport.errorText), ToUtf8(row.errorText)) << row.label;
        EXPECT_EQ(transport.FilesLeft(), row.filesLeft) << row.label;
        EXPECT_EQ(transport.exchange.trace.find("abort") != std::string::npos, row.isAborted)
            << row.label;
    }
}

TEST(Transport, WaitsFiveMinutesButWithoutLimitAcrossMidnight) {
    const struct {
        const char* label;
        CivilTime start;
        int minutesUntilComplete;
        bool success;
    } rows[] = {{"in time", {2026, 11, 16, 12, 0, 0, 0}, 4, true},
                {"too late", {2026, 11, 16, 12, 0, 0, 0}, 6, false},
                {"across midnight, on purpose", {2026, 11, 16, 23, 59, 0, 0}, 60, true}};
    for (const auto& row : rows) {
        Transport transport;
        transport.fixture.machine.SetNow(ToDate(row.start));
        transport.exchange.endState = 1;
        int pumped = 0;
        transport.fixture.toolkit.onPump = [&] {
            transport.fixture.machine.AdvanceClock(1000);
            if (++pumped == row.minutesUntilComplete * 60) transport.exchange.endState = 4;
        };
        transport.Send();
        EXPECT_EQ(transport.success, row.success) << row.label;
    }
}

TEST(Transport, WithoutHttpNothingIsLeft) {
    Transport transport;
    transport.fixture.machine.SetHttp(nullptr);
    transport.Send();
    EXPECT_FALSE(transport.success);
    EXPECT_NE(transport.errorText, u"");
    EXPECT_EQ(transport.FilesLeft(), 0);
}

TEST(Transport, AnyFailingCallIsToldOrCostsNothing) {
    std::string failed;
    for (std::size_t number = 1;; ++number) {
        Transport transport;
        FaultMachine fault(transport.fixture.machine);
        transport.fixture.Use(fault);
        fault.FailCall(number, FaultPlan::Lasting::Once, SystemError::DiskFull);
        const std::string body = transport.Send();
        if (fault.FailedCall().empty()) break;
        failed += fault.FailedCall() + " ";
        const std::string label = std::to_string(number) + " " + fault.FailedCall();
        EXPECT_EQ(transport.success, transport.errorText.empty()) << label;
        // What could not be exchanged leaves nothing behind.
        EXPECT_TRUE(!transport.exchange.trace.empty() || transport.FilesLeft() == 0) << label;
        // The envelope is whole or isn't sent.
        if (!transport.success) continue;
        const auto decoded = DecodeReport(transport.exchange.body);
        EXPECT_TRUE(std::holds_alternative<DecodedReport>(decoded) || body.ends_with("&value="))
            << label;
    }
    EXPECT_NE(failed.find("WriteFile"), std::string::npos) << failed;
    EXPECT_NE(failed.find("MoveFileExW"), std::string::npos) << failed;
}

TEST(Transport, KeepsACharacterOfTwoUnitsWhole) {
    Transport transport;
    const std::size_t counts[] = {16 * 1024 - 2, 16 * 1024 - 1, 16 * 1024};
    for (const std::size_t before : counts) {
        transport.values.Add(u"v" + ToText(static_cast<std::int64_t>(before)),
                             Text(before, u'x') + u"\xD83D\xDE00y");
    }
    transport.values.Add(u"lone", Text(16 * 1024 - 1, u'x') + u"\xD800\xD83D\xDE00y");
    transport.Send();
    const auto decoded = DecodeReport(transport.exchange.body);
    const auto& files = std::get<DecodedReport>(decoded).files;
    ASSERT_EQ(files.size(), 6U);
    const std::string lone = std::string(16 * 1024 - 1, 'x') + "\xEF\xBF\xBD\xF0\x9F\x98\x80y";
    EXPECT_EQ(files[5].content, Bytes(lone.begin(), lone.end()));
    for (std::size_t i = 0; i < std::size(counts); ++i) {
        const std::string text = std::string(counts[i], 'x') + "\xF0\x9F\x98\x80y";
        EXPECT_EQ(files[2 + i].content, Bytes(text.begin(), text.end())) << counts[i];
    }
}

/// A machine on which every new identifier is the same.
class RepeatingMachine final : public ForwardMachine {
  public:
    explicit RepeatingMachine(Machine& target)
        : ForwardMachine(target, OpenGate()), components_(target.ComponentObjects(), OpenGate()) {}
    Components& ComponentObjects() override { return components_; }

  private:
    class Repeating final : public ForwardComponents {
      public:
        using ForwardComponents::ForwardComponents;
        Text CoCreateGuid() override { return u"{1}"; }
    };
    Repeating components_;
};

TEST(Transport, LeavesAnotherReportsArchiveAlone) {
    Transport transport;
    RepeatingMachine machine(transport.fixture.machine);
    transport.fixture.Use(machine);
    for (const TextView text : {u"first", u"second"}) {
        ValueBag values;
        values.Add(u"answer", Text(text));
        cl().Do1(transport.fixture.log, u"a", values, transport.errorText, transport.success);
        ASSERT_TRUE(transport.success) << ToUtf8(transport.errorText);
        const auto decoded = DecodeReport(transport.exchange.body);
        const auto& report = std::get<DecodedReport>(decoded);
        EXPECT_EQ(report.files.at(0).content, ToBytes(Text(text)));
        EXPECT_TRUE(report.problems.empty());
        // The next temporary file can have the same name, the archive can't.
        FindData data;
        Files& files = machine.FileSystem();
        (void)files.FindClose(files.FindFirstFileW(u"C:\\Temp\\sc*.tmp", data));
        EXPECT_TRUE(files.DeleteFileW(u"C:\\Temp\\" + data.name).IsOk());
    }
}

TEST(Transport, NamesTemporaryFilesAnewWhereTheClockStands) {
    Transport transport;
    const Text name = SysUtil::GetTempFileName(u"sc");
    EXPECT_TRUE(transport.fixture.machine.FileSystem().DeleteFileW(name).IsOk());
    EXPECT_NE(SysUtil::GetTempFileName(u"sc"), name);
}

TEST(Transport, EscapesFourCharactersAlone) {
    Transport transport;
    const std::string body = transport.Send(u"a+b/c%&=\r\n");
    EXPECT_TRUE(body.starts_with("subject=a%2Bb%5Cc%&=%0D%0A%5C")) << body.substr(0, 60);
}

}  // namespace
}  // namespace bkfd
