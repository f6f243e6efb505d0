#include <gtest/gtest.h>

#include "services/FileUtil.h"
#include "services/Logger.h"
#include "testing/MemoryMachine.h"

namespace bkfd {
namespace {

const Text kFull = u"C:\\BKFD.log";
const Text kShort = u"C:\\short.log";

class FileLoggerTest : public testing::Test {
  protected:
    static LoggerRef Opened() {
        LoggerRef logger = MakeFileLogger();
        logger->Open(kFull, kShort);
        return logger;
    }
    std::string Content(const Text& path) {
        const Bytes bytes = machine_.FileContent(path);
        return {bytes.begin(), bytes.end()};
    }

    MemoryMachine machine_{WindowsFamily::NT};
    InstalledMachine installed_{machine_};
};

TEST_F(FileLoggerTest, AnEventIsALine) {
    const struct {
        const char* label;
        std::int32_t code;
        Text message;
        LogLevel level;
        const char* line;
    } rows[] = {
        {"trace", 0, u"text", LogLevel::Trace, "5 00000000 C.Op: text"},
        {"HRESULT", static_cast<std::int32_t>(0x8004038A), u"", LogLevel::WindowFailure,
         "4 8004038A C.Op: "},
        {"line breaks", 5, u"a\r\nb\u2028c\u0085d\te", LogLevel::SystemFailure,
         "0 00000005 C.Op: a  b c d e"},
        {"NULs", 0, Text(u"a\0b", 3), LogLevel::Trace, "5 00000000 C.Op: a b"},
        {"beyond ASCII", 0, u"\u00E9\U0001F600", LogLevel::Trace,
         "5 00000000 C.Op: \xC3\xA9\xF0\x9F\x98\x80"},
        {"lone surrogate", 0, Text{u'a', 0xD83D}, LogLevel::Trace,
         "5 00000000 C.Op: a\xEF\xBF\xBD"},
    };
    const LoggerRef logger = Opened();
    std::string shortLines;
    for (const auto& row : rows) {
        const std::string before = Content(kFull);
        logger->Write(row.code, row.message, row.level, u"C.Op");
        const std::string written = Content(kFull).substr(before.size());
        const std::string line = std::string("2026-11-16 09:39:04 ") + row.line + "\r\n";
        EXPECT_EQ(written, line) << row.label;
        if (row.level != LogLevel::Trace) shortLines += line;
    }
    logger->Trace(u"start", u"FMain.Form_Initialize");
    EXPECT_EQ(Content(kShort),
              shortLines + "2026-11-16 09:39:04 5 00000000 FMain.Form_Initialize: start\r\n");
}

TEST_F(FileLoggerTest, KeepsEarlierRunsAndMendsAHalfLine) {
    machine_.AddFile(kFull, "earlier\r\nhalf a li");
    machine_.AddFile(kShort, "earlier\r\n");
    Opened()->Trace(u"one", u"C.Op");
    Opened()->Trace(u"two", u"C.Op");
    EXPECT_EQ(Content(kFull),
              "earlier\r\nhalf a li\r\n2026-11-16 09:39:04 5 00000000 C.Op: one\r\n"
              "2026-11-16 09:39:04 5 00000000 C.Op: two\r\n");
    EXPECT_EQ(Content(kShort), "");
}

TEST_F(FileLoggerTest, ALongLogKeepsItsNewestLines) {
    constexpr std::size_t kLimit = 512 * 1024;
    std::string log;
    while (log.size() <= kLimit) log += "line " + std::to_string(log.size()) + "\r\n";
    const struct {
        const char* label;
        std::string content;
        bool isLocked;
        bool isCut;
    } rows[] = {
        {"at the limit", log.substr(log.size() - kLimit), false, false},
        {"beyond it", log, false, true},
        {"beyond it and in use", log, true, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        machine_.AddFile(kFull, row.content);
        if (row.isLocked) machine_.LockFile(kFull);
        Opened();
        const std::string kept = Content(kFull);
        EXPECT_TRUE(row.content.ends_with(kept));
        EXPECT_EQ(kept.size() != row.content.size(), row.isCut);
        EXPECT_GT(kept.size(), kLimit / 2 - 64);
        if (row.isCut) {
            EXPECT_LE(kept.size(), kLimit / 2);
            EXPECT_TRUE(kept.starts_with("line "));
        }
    }
}

TEST_F(FileLoggerTest, OneLogThatCantBeOpenedIsAnErrorAndTheOtherIsWritten) {
    machine_.AddFile(kFull, "old", FileAttribute::ReadOnly);
    const LoggerRef logger = MakeFileLogger();
    EXPECT_THROW(logger->Open(kFull, kShort), RuntimeError);
    logger->Write(1, u"failed", LogLevel::SystemFailure, u"C.Op");
    EXPECT_EQ(Content(kFull), "old");
    EXPECT_EQ(Content(kShort), "2026-11-16 09:39:04 0 00000001 C.Op: failed\r\n");
}

/// A component's object that answers by name.
class Scripted : public Object {
  public:
    explicit Scripted(TextView member) : member_(member) {}

    bool HasMember(TextView name) const override { return name == member_; }
    Variant Invoke(TextView name, std::span<Variant> arguments) override {
        for (const Variant& argument : arguments) heard += argument.AsText() + u"|";
        if (name != member_ || heard.starts_with(u"1")) return Object::Invoke(name, arguments);
        return {};
    }

    Text heard;

  private:
    Text member_;
};

TEST_F(FileLoggerTest, WhatAnswersWriteIsALogger) {
    const LoggerRef own = MakeFileLogger();
    EXPECT_EQ(AsLogger(own), own);
    EXPECT_EQ(AsLogger(nullptr), nullptr);
    EXPECT_EQ(AsLogger(std::make_shared<Scripted>(u"Read")), nullptr);
    const auto scripted = std::make_shared<Scripted>(u"Write");
    const LoggerRef foreign = AsLogger(scripted);
    ASSERT_NE(foreign, nullptr);
    EXPECT_EQ(scripted->heard, u"");
    foreign->Write(7, u"message", LogLevel::WindowFailure, u"C.Op");
    EXPECT_EQ(ToUtf8(scripted->heard), "7|message|4|C.Op|");
    scripted->heard = u"1";
    foreign->Trace(u"refused", u"C.Op");  // loses the line only
}

}  // namespace
}  // namespace bkfd
