#include <nlohmann/json.hpp>
#include <ostream>

#include "cli/ChangeRun.h"
#include "cli/Commands.h"
#include "cli/MachineSession.h"
#include "cli/TextTable.h"
#include "panels/SettingInfo.h"
#include "platform/RegistryViews.h"
#include "platform/undo/RecordedOperation.h"
#include "removal/CPaRemover.h"
#include "resources/StringTable.h"
#include "services/MAPI.h"
#include "ui/terminal/PrintableText.h"

namespace bkfd {
namespace {

struct NumberedSetting {
    int number;
    SettingInfo info;
    Text user;  // whose it is, of a machine of several users
};

/// The machine's once, each user's own.
std::vector<NumberedSetting> ReadSettings(MachineSession& session) {
    std::vector<NumberedSetting> settings;
    session.ForEachUser([&](const Text& user) {
        const bool isFirst = settings.empty();
        RegistryAccess registry;
        for (const auto& [number, view] : AllSettings()) {
            SettingInfo info = GetSettingInfo(registry, number, view);
            const bool isOfUser = info.place.base.root == RegistryRoot::CurrentUser;
            if (!isFirst && !isOfUser) continue;
            settings.push_back({number, std::move(info), isOfUser ? user : Text()});
        }
    });
    return settings;
}

Json SettingsToJson(const std::vector<NumberedSetting>& settings) {
    Json list = Json::array();
    for (const auto& [number, info, user] : settings) {
        list.push_back({{"number", number},
                        {"description", TextToJson(info.description)},
                        {"value", TextToJson(info.value)},
                        {"status", TextToJson(info.status)},
                        {"shown", info.shown}});
        if (!user.empty()) list.back()["user"] = TextToJson(user);
        AddView(info.place.base.view, list.back());
    }
    return list;
}

std::string StatusText(const Text& status) {
    if (status == SettingStatus::kAccepted) return "ok";
    if (status == SettingStatus::kOwnStartPage) return "your own?";
    return "SUSPECT";
}

void PrintSettings(const Console& console, const std::vector<NumberedSetting>& settings) {
    TextTable table({"Status", "Setting", "Value"});
    for (const auto& [number, info, user] : settings) {
        if (!info.shown) continue;
        const std::string whose = user.empty() ? "" : PrintableText(user) + ": ";
        table.AddRow(
            {StatusText(info.status),
             whose + PrintableText(info.description) + ToUtf8(ViewSuffix(info.place.base.view)),
             PrintableText(info.value)});
    }
    table.Print(console);
}

constexpr char kSettingsHelp[] =
    R"(Lists the settings that decide which page the browser opens: the pages, and of the rest
only what is suspect.

With --json: items for all 26, {"number", "description", "value", "status": "OK",
"i" for suspect, "IE" for a start page that merely isn't a known one, or "", "shown"}.)";

class SettingsCommand final : public Command {
  public:
    const char* Name() const override { return "settings"; }
    const char* Summary() const override { return "List the browser's settings, or restore them"; }

    void Declare(CommandOptions& options) override {
        options.AddFlag("--restore", restores_, "Put all settings back to known values first");
        options.AddFlag("--yes", yes_, "Answer OK to the question");
        options.Explain(kSettingsHelp);
    }

    int Run(CommandContext& context) override {
        MachineSession session(context, restores_ ? ChangingUse(context, yes_) : SessionUse{});
        const int code = restores_ ? Restore(context, session) : ExitCode::Done;
        const std::vector<NumberedSetting> settings = ReadSettings(session);
        if (context.asJson) {
            Json document = session.NewDocument();
            document["items"] = SettingsToJson(settings);
            PrintJson(context.console.out, document);
        } else {
            PrintSettings(context.console, settings);
        }
        if (code != ExitCode::Done) return code;
        const std::vector<Unreadable> unreadable = session.CollectUnreadable();
        PrintUnreadable(context.console, unreadable);
        return ExitCodeOf(unreadable);
    }

  private:
    static int Restore(CommandContext& context, MachineSession& session) {
        if (ShowMessage(ResourceString(StringId::AskRestoreSettings),
                        MessageStyle::Exclamation | MessageStyle::OkCancel) != MessageResult::Ok) {
            context.console.err << "brackenfold: nothing was changed" << std::endl;
            return ExitCode::Failed;
        }
        session.ForEachUser([](const Text& user) { BackUpBeforeChange(user); });
        const RecordedOperation operation(UndoOperation::kRestoreSettings);
        session.ForEachUser([&](const Text&) {
            CPaRemover remover;
            remover.Init(session.Log());
            remover.RestoreConfigurationSettings();
        });
        session.Commit();
        const std::vector<std::string> failures = session.Failures();
        for (const std::string& failure : failures) {
            context.console.err << "brackenfold: " << failure << '\n';
        }
        if (!failures.empty()) return ExitCode::Failed;
        ShowMessage(ResourceString(StringId::SettingsRestored), MessageStyle::Information);
        return ExitCode::Done;
    }

    bool restores_ = false;
    bool yes_ = false;
};

}  // namespace

std::unique_ptr<Command> MakeSettingsCommand() {
    return std::make_unique<SettingsCommand>();
}

}  // namespace bkfd
