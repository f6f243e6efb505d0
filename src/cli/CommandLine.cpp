#include "cli/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <ostream>

#include "base/ProgramEnd.h"
#include "base/RuntimeError.h"
#include "cli/Command.h"
#include "services/ApplicationState.h"
#include "ui/terminal/PrintableText.h"

namespace bkfd {
namespace {

constexpr const char* kDescription =
    "Finds home-page hijackers of Internet Explorer on a Windows machine held in files, and takes\n"
    "them out of action: the same engine as the Windows program, run on Linux.\n";

constexpr const char* kFooter =
    R"(A machine image is a folder that holds a Windows machine:

  machine.json     facts: family and version of Windows, processes, file attributes
  registry/*.reg   its registry, as the registry editor exports it
  drives/c/...     the files of its drive C:

A mounted Windows volume or a Wine prefix works in its place, as it lies on the disk.

Work on a copy, since a cleanup changes the image; examples/machines has three:

  cp -r examples/machines/hijacked-xp /tmp/pc
  brackenfold --machine /tmp/pc scan           what has to go, and why
  brackenfold --machine /tmp/pc clean          take it out of action, after a question
  brackenfold --machine /tmp/pc bhos           the browser's helper objects
  brackenfold --machine /tmp/pc --json scan    the same for scripts
  brackenfold identify setup.exe               what is known of any file
  brackenfold --machine /tmp/pc report --show  what the support staff would get

Exit codes: 0 done, or nothing found; 1 parasites found; 2 failed or wrong usage;
3 incomplete, since a registry key or a file could not be read.

Results go to standard output; messages, questions and progress to standard error.)";

std::string OneLine(std::string text) {
    std::replace(text.begin(), text.end(), '\n', ' ');
    while (!text.empty() && text.back() == ' ') text.pop_back();
    return text;
}

int Fail(Console& console, const std::string& message) {
    console.err << "brackenfold: " << PrintableText(FromUtf8(OneLine(message))) << std::endl;
    return ExitCode::Failed;
}

/// The options and commands as the parser knows them.
class Parser {
  public:
    Parser(const CommandList& commands, CommandContext& context)
        : app_(kDescription, "brackenfold") {
        app_.footer(kFooter);
        app_.set_version_flag("--version", "Brackenfold " + ToUtf8(ProgramVersion()),
                              "Print the version");
        DeclareMachine(context);
        app_.add_flag("--json", context.asJson, "Print one JSON document and never ask");
        app_.require_subcommand(0, 1);
        app_.fallthrough();
        app_.get_formatter()->column_width(26);
        for (const auto& command : commands) {
            CLI::App* const entry = app_.add_subcommand(command->Name(), command->Summary());
            entry->fallthrough();
            CommandOptions options(*entry);
            command->Declare(options);
            entries_.emplace_back(entry, command.get());
        }
    }

    void Parse(std::vector<std::string> arguments) {
        std::reverse(arguments.begin(), arguments.end());  // the form in which it is asked for
        app_.parse(std::move(arguments));
    }
    int Exit(const CLI::Success& success, Console& console) {
        return app_.exit(success, console.out, console.err);
    }
    Command& Chosen() const {
        const auto chosen = std::find_if(entries_.begin(), entries_.end(),
                                         [](const Entry& entry) { return entry.first->parsed(); });
        if (chosen == entries_.end()) {
            throw CommandError("no command given (brackenfold --help lists them)");
        }
        return *chosen->second;
    }

  private:
    void DeclareMachine(CommandContext& context) {
        MachineOptions& options = context.options;
        const struct {
            const char* name;
            std::string& value;
            const char* meaning;
            const char* placeholder;
        } rows[] = {
            {"--machine", context.machine,
             "Folder of the machine: an image, a Windows volume or a Wine prefix", "FOLDER"},
            {"--user", options.user, "Look at this user of a volume only", "NAME"},
            {"--windows-folder", options.windowsFolder,
             "The Windows folder of a volume, where its name doesn't tell", "NAME"},
            {"--program-folder", options.programFolder,
             "Where this program's log, backups and records lie on a volume", "FOLDER"},
            {"--signatures", options.signatures,
             "Lists of known files besides the compiled ones: parasites.txt, good.txt", "FOLDER"}};
        for (const auto& row : rows) {
            app_.add_option(row.name, row.value, row.meaning)->type_name(row.placeholder);
        }
        app_.add_option("--drive", options.drives, "Another drive of a volume, D=FOLDER")
            ->type_name("D=FOLDER")
            ->allow_extra_args(false);
    }

    using Entry = std::pair<CLI::App*, Command*>;

    CLI::App app_;
    std::vector<Entry> entries_;
};

int ParseAndRun(const std::vector<std::string>& arguments, Console& console) {
    const CommandList commands = MakeCommands();
    CommandContext context{console, {}, false, {}};
    Parser parser(commands, context);
    try {
        parser.Parse(arguments);
    } catch (const CLI::Success& success) {
        return parser.Exit(success, console);  // help or version was asked for
    } catch (const CLI::ParseError& error) {
        return Fail(console, OneLine(error.what()) + " (brackenfold --help explains the usage)");
    }
    return parser.Chosen().Run(context);
}

}  // namespace

int RunCommandLine(const std::vector<std::string>& arguments, Console& console) {
    try {
        const int code = ParseAndRun(arguments, console);
        console.out.flush();
        return console.out ? code : Fail(console, "the results could not be written");
    } catch (const ProgramEnd&) {
        console.out.flush();
        return ExitCode::Done;
    } catch (const RuntimeError& error) {
        return Fail(console, ToUtf8(error.Description()));
    } catch (const std::exception& error) {
        return Fail(console, error.what());
    }
}

}  // namespace bkfd
