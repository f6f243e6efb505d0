#include <gtest/gtest.h>

#include "common/EngineFixture.h"
#include "common/LoopbackServer.h"
#include "platform/curl/CurlHttp.h"
#include "support/cl.h"

// Reports over real HTTP to servers on loopback, by a machine whose clock the test drives.
namespace bkfd {
namespace {

class Sender {
  public:
    Sender() {
        fixture.machine.AddFolder(u"C:\\Temp");
        fixture.machine.SetEnvironment(u"TMP", u"C:\\Temp");
        fixture.machine.SetNow(ToDate({2026, 11, 16, 12, 0, 0, 0}));
        fixture.machine.SetHttp([] { return std::move(CurlHttp().CreateXmlHttpRequest().value); });
        values.Add(u"Log", Text(200'000, u'x'));
    }
    /// The end of the exchange: whether it was accepted, the error's text, how many files stay.
    std::string Send() {
        Text errorText;
        bool success = false;
        cl().Do1(fixture.log, u"BKFD/SupportRequest", values, errorText, success);
        const std::string dump = DumpFiles(fixture.machine);
        const bool stays = dump.find(".xml") != std::string::npos;
        EXPECT_EQ(dump.find(".zip") != std::string::npos, stays);
        return (success ? "accepted " : "refused ") + ToUtf8(errorText) + (stays ? " stays" : "");
    }

    EngineFixture fixture;
    ValueBag values;
};

TEST(Exchange, EndsAsTheServerEndsIt) {
    constexpr char kNoAnswer[] =
        "refused The server returned an invalid or unrecognized response. stays";
    const struct {
        std::vector<std::string> mode;
        const char* end;
        bool isRead = true;
    } rows[] = {
        {{"status", "200"}, "accepted  stays"},
        {{"status", "206"}, "accepted  stays"},
        {{"status", "302"}, "accepted  stays"},
        {{"redirect"}, "accepted  stays"},
        {{"status", "304"}, "accepted  stays"},
        {{"status", "201"}, "refused Status 201 stays"},
        {{"status", "404"}, "refused Status 404 stays"},
        {{"status", "500"}, "refused Status 500 stays"},
        {{"status", "99"}, kNoAnswer},
        {{"status", "1000"}, kNoAnswer},
        {{"half"}, "accepted  stays"},  // the answer's body isn't looked at
        {{"half-head"}, "refused The connection was interrupted."},
        {{"cut-head"}, "refused The connection was interrupted."},
        {{"close"}, "refused The connection was interrupted.", false},
    };
    for (const auto& row : rows) {
        LoopbackServer server("tests/common/odd_server.py", row.mode);
        Sender sender;
        EXPECT_EQ(sender.Send(), row.end) << row.mode.back();
        if (!row.isRead) continue;
        EXPECT_TRUE(server.ReadLine().starts_with(
            "POST http://support.tarnwick.example/php/ic.php HTTP/1.1 ("))
            << row.mode.back();
    }
    LoopbackServer::UseProxy("http://127.0.0.1:1");
    EXPECT_EQ(Sender().Send(), "refused The attempt to connect to the Internet has failed.");
    LoopbackServer::UseProxy("http://nobody.invalid:1");
    EXPECT_EQ(Sender().Send(), "refused The server or proxy was not found.");
    unsetenv("http_proxy");
}

TEST(Exchange, AHangingServerIsGivenUpAfterFiveMinutes) {
    for (const char* mode : {"hang", "hang-body"}) {
        LoopbackServer server("tests/common/odd_server.py", {mode});
        Sender sender;
        // The clock stands until the server has the request.
        bool hasRequest = false;
        int pumpsAfter = 0;
        sender.fixture.toolkit.onPump = [&] {
            if (!hasRequest) hasRequest = server.HasLine();
            if (hasRequest && ++pumpsAfter > 20) sender.fixture.machine.AdvanceClock(10'000);
        };
        EXPECT_EQ(sender.Send(), "refused Cannot send.  stays") << mode;
        EXPECT_TRUE(hasRequest) << mode;
        EXPECT_GE(pumpsAfter, 50) << mode;
    }
}

TEST(Exchange, MayBeDroppedAtAnyTime) {
    LoopbackServer server("tests/common/odd_server.py", {"hang"});
    auto request = std::move(CurlHttp().CreateXmlHttpRequest().value);
    EXPECT_EQ(request->readyState(), 0);
    EXPECT_FALSE(request->send(u"x").IsOk());
    EXPECT_TRUE(request->open(u"POST", u"http://support.tarnwick.example/").IsOk());
    EXPECT_TRUE(request->send(u"x").IsOk());
    while (!server.HasLine()) EXPECT_EQ(request->readyState(), 1);
    EXPECT_FALSE(request->status().IsOk());
    request->abort();
    EXPECT_EQ(request->readyState(), 0);
}

}  // namespace
}  // namespace bkfd
