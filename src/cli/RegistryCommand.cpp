#include <charconv>
#include <ostream>

#include "base/Hex.h"
#include "cli/Commands.h"
#include "cli/JsonLine.h"
#include "cli/RegistryFile.h"
#include "platform/model/CodePage.h"
#include "ui/terminal/PrintableText.h"

namespace bkfd {
namespace {

constexpr std::size_t kMostMessages = 100;

/// Prints each key and value as a line, and what can't be read as messages.
class LinePrinter final : public RegistryVisitor {
  public:
    LinePrinter(Console& console, const std::string& file)
        : console_(console), file_(PrintableText(FromUtf8(file))) {}

    bool HasUnreadable() const { return unreadable_ > 0; }

    void OnKey(TextView path) override {
        BeginLine(path);
        Print();
    }

    void OnValue(const RegistryValueView& value) override {
        line_.resize(keyLength_);
        line_ += R"(, "name": )";
        AppendJsonString(line_, value.name);
        line_ += R"(, "type": )";
        line_ += std::to_string(value.type);
        line_ += R"(, "data": ")";
        for (const ByteView piece : value.data) {
            for (std::size_t at = 0; at < piece.size(); at += kPiece) {
                AppendHex(line_, piece.subspan(at, std::min(kPiece, piece.size() - at)));
                if (line_.size() > kPiece) Flush();
            }
        }
        line_ += '"';
        Print();
        if (wasFlushed_) BeginAgain();
    }

    void OnDeletion(TextView path, const Text* name) override {
        BeginLine(path);
        if (name != nullptr) {
            line_ += R"(, "name": )";
            AppendJsonString(line_, *name);
        }
        line_ += R"(, "deleted": true)";
        Print();
        // A section's values follow its deletion.
        line_.resize(keyLength_);
    }

    void OnUnreadable(TextView path, const std::string& what) override {
        if (++unreadable_ > kMostMessages) return;
        Note("could not read" + (path.empty() ? std::string() : " " + PrintableText(path)) + ": " +
             what);
    }

    void Note(const std::string& what) const {
        console_.err << "brackenfold: " << file_ << ": " << what << '\n';
    }

    void Finish() const {
        if (unreadable_ <= kMostMessages) return;
        Note("could not read: " + std::to_string(unreadable_ - kMostMessages) + " more places");
    }

  private:
    static constexpr std::size_t kPiece = 64 * 1024;

    void BeginLine(TextView path) {
        key_ = path;
        BeginAgain();
    }

    void BeginAgain() {
        line_ = R"({"key": )";
        AppendJsonString(line_, key_);
        keyLength_ = line_.size();
        wasFlushed_ = false;
    }

    void Flush() {
        console_.out.write(line_.data(), static_cast<std::streamsize>(line_.size()));
        line_.clear();
        wasFlushed_ = true;
    }

    void Print() {
        line_ += "}\n";
        console_.out.write(line_.data(), static_cast<std::streamsize>(line_.size()));
        if (!wasFlushed_) line_.resize(keyLength_);
    }

    Console& console_;
    std::string file_;
    Text key_;
    std::string line_;  // begins with the key, written once for all of its values
    std::size_t keyLength_ = 0;
    bool wasFlushed_ = false;
    std::size_t unreadable_ = 0;
};

std::uint32_t CodePageNumber(const std::string& text) {
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || !CodePage::IsKnown(number)) {
        throw CommandError("--code-page: " + PrintableText(FromUtf8(text)) +
                           " is no known code page");
    }
    return number;
}

class RegistryCommand final : public Command {
  public:
    const char* Name() const override { return "registry"; }
    const char* Summary() const override { return "Print what a registry file holds"; }

    void Declare(CommandOptions& options) override {
        options.AddName("FILE", file_, "A registry file of this computer");
        options.AddValue("--code-page", "NUMBER", codePage_,
                         "Of names in files of Windows 95 to Me and in REGEDIT4; 1252 if absent");
        options.AddFlag("--no-logs", ignoresLogs_, "Read a hive without the logs beside it");
        options.Explain(
            "Reads hives of the NT family (versions 1.3 to 1.6), SYSTEM.DAT and USER.DAT of "
            "Windows "
            "95 to Me,\nthe registry of a Wine prefix, and registry export files (.reg).\n\n"
            "Prints one JSON object a line, in the file's order: {\"key\": \"\\\\A\\\\B\"} for "
            "each "
            "key, the root as \"\",\nand {\"key\", \"name\", \"type\", \"data\"} for each value: "
            "the "
            "registry's number of the type, and the data in\nhexadecimal digits as it is stored. "
            "What a .reg file deletes has \"deleted\": true.\n\n"
            "The logs of a hive (X.LOG, X.LOG1, X.LOG2 beside X) are replayed in memory if it "
            "wasn't written to the\nend. Nothing is changed. What can't be read is told on "
            "standard "
            "error and makes the exit code 3.");
    }

    int Run(CommandContext& context) override {
        CodePage codePage(CodePageNumber(codePage_));
        const RegistryFileOptions options{
            [&](std::string_view bytes) { return codePage.Decode(bytes); }, !ignoresLogs_};
        LinePrinter printer(context.console, file_);
        WalkRegistryFile(file_, options, printer,
                         [&](const std::string& note) { printer.Note(note); });
        printer.Finish();
        return printer.HasUnreadable() ? ExitCode::Incomplete : ExitCode::Done;
    }

  private:
    std::string file_;
    std::string codePage_ = "1252";
    bool ignoresLogs_ = false;
};

}  // namespace

std::unique_ptr<Command> MakeRegistryCommand() {
    return std::make_unique<RegistryCommand>();
}

}  // namespace bkfd
