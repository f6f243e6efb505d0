#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>

#include "cli/Commands.h"
#include "cli/MachineSession.h"
#include "cli/StartedBy.h"
#include "cli/TextTable.h"
#include "detection/CBHOManager.h"
#include "detection/CStartupManager.h"
#include "platform/RegistryViews.h"
#include "processes/RunningProgram.h"
#include "services/RegistryAccess.h"
#include "ui/terminal/PrintableText.h"

// The commands that list what the engine's inventories hold.
namespace bkfd {
namespace {

constexpr char kHelperObjectsHelp[] = R"(With --json: items of {"id": class, "name", "dll"}.)";

constexpr char kStartupHelp[] =
    R"(With --json: items of {"id", "name", "dll", "manufacturer",
"key": the root's number, "hive": the key's path, "valueName",
"icon": "OK" for a component of Windows, else "IE"}. The identifiers are new in each run.)";

constexpr char kProcessesHelp[] =
    R"(With --json: items of {"id": path, "modules": [paths]}. A process that can't be
opened is left out, with a message.)";

/// What an inventory holds, and whose it is; nobody's on a machine of one user.
template <class Item>
struct OfUser {
    Item item;
    Text user;
};

/// A command that lists one inventory.
template <class Item>
class InventoryCommand : public Command {
  public:
    InventoryCommand(const char* name, const char* summary, const char* footer)
        : name_(name), summary_(summary), footer_(footer) {}

    const char* Name() const override { return name_; }
    const char* Summary() const override { return summary_; }
    void Declare(CommandOptions& options) override { options.Explain(footer_); }

    int Run(CommandContext& context) override {
        MachineSession session(context);
        const auto items = ListOfAllUsers(session);
        const std::vector<Unreadable> unreadable = session.CollectUnreadable();
        PrintUnreadable(context.console, unreadable);
        if (!items) throw CommandError("the list of " + std::string(name_) + " failed");
        if (context.asJson) {
            Json document = session.NewDocument();
            Json& list = document["items"] = Json::array();
            for (const OfUser<Item>& one : *items) {
                list.push_back(ToJson(one.item));
                AddView(ViewOf(one.item), list.back());
                if (!one.user.empty()) list.back()["user"] = TextToJson(one.user);
            }
            PrintJson(context.console.out, document);
        } else {
            Print(context.console, *items);
        }
        return ExitCodeOf(unreadable);
    }

  protected:
    /// Nothing for an inventory that failed, which is already in the engine's log.
    virtual std::optional<std::vector<Item>> List(const LoggerRef& logger) = 0;
    virtual Json ToJson(const Item& item) = 0;
    virtual void Print(const Console& console, const std::vector<OfUser<Item>>& items) = 0;
    /// In which the item is registered.
    virtual RegistryView ViewOf(const Item& /*item*/) const { return RegistryView::Native; }
    /// Whether one user's item is another's too.
    virtual bool IsSame(const Item& a, const Item& b) const = 0;
    /// Whether the item is the user's and not the machine's.
    virtual bool IsOfUser(const Item& /*item*/) const { return false; }

  private:
    std::optional<std::vector<OfUser<Item>>> ListOfAllUsers(MachineSession& session) {
        std::vector<OfUser<Item>> all;
        bool isWhole = true;
        session.ForEachUser([&](const Text& user) {
            auto items = List(session.Log());
            isWhole = isWhole && items.has_value();
            if (!items) return;
            for (Item& item : *items) {
                const bool isOfUser = IsOfUser(item);
                const bool isKnown = !isOfUser && !user.empty() &&
                                     std::ranges::any_of(all, [&](const OfUser<Item>& known) {
                                         return !IsOfUser(known.item) && IsSame(known.item, item);
                                     });
                if (!isKnown) all.push_back({std::move(item), isOfUser ? user : Text()});
            }
        });
        if (!isWhole) return std::nullopt;
        return all;
    }

    const char* name_;
    const char* summary_;
    const char* footer_;
};

class BhosCommand final : public InventoryCommand<HelperObject> {
  public:
    BhosCommand()
        : InventoryCommand("bhos", "List the browser helper objects", kHelperObjectsHelp) {}

  private:
    std::optional<std::vector<HelperObject>> List(const LoggerRef& logger) override {
        CBHOManager manager;
        manager.Init(logger);
        return manager.ListHelperObjects();
    }

    Json ToJson(const HelperObject& object) override {
        return {{"id", TextToJson(object.clsid)},
                {"name", TextToJson(object.name)},
                {"dll", TextToJson(object.file)}};
    }

    bool IsSame(const HelperObject& a, const HelperObject& b) const override {
        return EqualsIgnoreCase(a.clsid, b.clsid) && EqualsIgnoreCase(a.file, b.file) &&
               a.view == b.view;
    }
    RegistryView ViewOf(const HelperObject& object) const override { return object.view; }

    void Print(const Console& console, const std::vector<OfUser<HelperObject>>& objects) override {
        TextTable table({"Class", "Name", "File"});
        for (const auto& [object, user] : objects) {
            table.AddRow({PrintableText(object.clsid),
                          PrintableText(object.name) + ToUtf8(ViewSuffix(object.view)),
                          PrintableText(object.file)});
        }
        table.Print(console);
    }
};

class StartupCommand final : public InventoryCommand<StartupItem> {
  public:
    StartupCommand()
        : InventoryCommand("startup", "List the programs that Windows starts at logon",
                           kStartupHelp) {}

  private:
    std::optional<std::vector<StartupItem>> List(const LoggerRef& logger) override {
        CStartupManager manager;
        manager.Init(logger);
        return manager.ListItems();
    }

    Json ToJson(const StartupItem& item) override {
        return {{"id", TextToJson(item.id)},
                {"name", TextToJson(item.name)},
                {"dll", TextToJson(item.file)},
                {"manufacturer", TextToJson(item.manufacturer)},
                {"key", static_cast<std::uint32_t>(item.base.root)},
                {"hive", TextToJson(item.key)},
                {"valueName", TextToJson(item.valueName)},
                {"icon", item.isKnown ? "OK" : "IE"}};
    }

    bool IsSame(const StartupItem& a, const StartupItem& b) const override {
        return a.base == b.base && a.key == b.key && a.valueName == b.valueName;
    }
    bool IsOfUser(const StartupItem& item) const override {
        return item.base.root == RegistryRoot::CurrentUser;
    }
    RegistryView ViewOf(const StartupItem& item) const override { return item.base.view; }

    void Print(const Console& console, const std::vector<OfUser<StartupItem>>& items) override {
        TextTable table({"Name", "Company", "File", "Started by"});
        for (const auto& [item, user] : items) {
            const std::string whose = user.empty() ? "" : ", user " + PrintableText(user);
            table.AddRow({PrintableText(item.name), PrintableText(item.manufacturer),
                          PrintableText(item.file),
                          StartedBy(RegistryAccess::RootName(item.base.root) + u'\\' + item.key,
                                    item.valueName, item.base.view) +
                              whose});
        }
        table.Print(console);
    }
};

class ProcessesCommand final : public InventoryCommand<RunningProgram> {
  public:
    ProcessesCommand()
        : InventoryCommand("processes", "List the running processes with their modules",
                           kProcessesHelp) {}

  private:
    std::optional<std::vector<RunningProgram>> List(const LoggerRef&) override {
        return ListRunningPrograms();
    }

    Json ToJson(const RunningProgram& program) override {
        Json modules = Json::array();
        for (const Text& module : program.modules) modules.push_back(TextToJson(module));
        return {{"id", TextToJson(program.path)}, {"modules", std::move(modules)}};
    }

    bool IsSame(const RunningProgram& a, const RunningProgram& b) const override {
        return a.path == b.path && a.modules == b.modules;
    }

    void Print(const Console& console,
               const std::vector<OfUser<RunningProgram>>& programs) override {
        for (const auto& [program, user] : programs) {
            console.out << console.Bold(PrintableText(program.path)) << '\n';
            for (const Text& module : program.modules) {
                console.out << "    " << PrintableText(module) << '\n';
            }
        }
    }
};

}  // namespace

std::unique_ptr<Command> MakeBhosCommand() {
    return std::make_unique<BhosCommand>();
}

std::unique_ptr<Command> MakeStartupCommand() {
    return std::make_unique<StartupCommand>();
}

std::unique_ptr<Command> MakeProcessesCommand() {
    return std::make_unique<ProcessesCommand>();
}

}  // namespace bkfd
