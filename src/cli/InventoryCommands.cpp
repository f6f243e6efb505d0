#include <nlohmann/json.hpp>
#include <ostream>

#include "cli/Commands.h"
#include "cli/MachineSession.h"
#include "cli/StartedBy.h"
#include "cli/TextTable.h"
#include "detection/CBHOManager.h"
#include "detection/CStartupManager.h"
#include "processes/CProcessManager.h"
#include "ui/terminal/PrintableText.h"

// The commands that list what the engine's inventories hold.
namespace bkfd {
namespace {

/// The parameter as text; empty for one that is missing.
std::string Cell(ItemNode& item, TextView name) {
    if (!item.params().Exists(name)) return {};
    return PrintableText(item.params(name).Values(1).AsText());
}

/// A list of the engine, whose failure is already in its log.
const ItemList& Listed(const std::shared_ptr<ItemList>& list, const char* what) {
    if (list == nullptr) throw CommandError(std::string("the list of ") + what + " failed");
    return *list;
}

/// The identifier, and each parameter under its name.
Json ItemToJson(ItemNode& item) {
    Json object = {{"id", TextToJson(item.Id)}};
    for (const auto& parameter : item.params()) {
        object[MemberName(parameter->Name())] = VariantToJson(parameter->Values(1));
    }
    return object;
}

Json ItemsToJson(const ItemList& items) {
    Json list = Json::array();
    for (const auto& item : items) list.push_back(ItemToJson(*item));
    return list;
}

/// A command that lists one inventory.
class InventoryCommand : public Command {
  public:
    InventoryCommand(const char* name, const char* summary, const char* footer)
        : name_(name), summary_(summary), footer_(footer) {}

    const char* Name() const override { return name_; }
    const char* Summary() const override { return summary_; }
    void Declare(CommandOptions& options) override { options.Explain(footer_); }

    int Run(CommandContext& context) override {
        MachineSession session(context);
        const std::shared_ptr<ItemList> list = List(session.Log());
        const std::vector<Unreadable> unreadable = session.CollectUnreadable();
        PrintUnreadable(context.console, unreadable);
        const ItemList& items = Listed(list, name_);
        if (context.asJson) {
            PrintJson(context.console.out, ToDocument(items));
        } else {
            Print(context.console, items);
        }
        return ExitCodeOf(unreadable);
    }

  protected:
    /// Null for an inventory that failed.
    virtual std::shared_ptr<ItemList> List(const LoggerRef& logger) = 0;
    virtual Json ToDocument(const ItemList& items) { return ItemsToJson(items); }
    virtual void Print(const Console& console, const ItemList& items) = 0;

  private:
    const char* name_;
    const char* summary_;
    const char* footer_;
};

class BhosCommand final : public InventoryCommand {
  public:
    BhosCommand()
        : InventoryCommand("bhos", "List the browser helper objects",
                           "With --json: a list of {\"id\": class, \"name\", \"dll\"}.") {}

  private:
    std::shared_ptr<ItemList> List(const LoggerRef& logger) override {
        CBHOManager manager;
        manager.Init(logger);
        return manager.EnumBHOs();
    }

    void Print(const Console& console, const ItemList& items) override {
        TextTable table({"Class", "Name", "File"});
        for (const auto& item : items) {
            table.AddRow({PrintableText(item->Id), Cell(*item, u"Name"), Cell(*item, u"DLL")});
        }
        table.Print(console);
    }
};

class StartupCommand final : public InventoryCommand {
  public:
    StartupCommand()
        : InventoryCommand("startup", "List the programs that Windows starts at logon",
                           "With --json: a list of {\"id\", \"name\", \"dll\", \"manufacturer\",\n"
                           "\"key\": the root's number, \"hive\": the key's path, \"valueName\",\n"
                           "\"icon\": \"OK\" for a component of Windows, else \"IE\"}. The "
                           "identifiers are new in each run.") {}

  private:
    std::shared_ptr<ItemList> List(const LoggerRef& logger) override {
        CStartupManager manager;
        manager.Init(logger);
        return manager.EnumItems();
    }

    Json ToDocument(const ItemList& items) override {
        Json list = ItemsToJson(items);
        // A root is an unsigned number; the inventory holds it in 32 bits with a sign.
        for (Json& item : list) item["key"] = RootNumber(item["key"].get<std::int32_t>());
        return list;
    }

    void Print(const Console& console, const ItemList& items) override {
        TextTable table({"Name", "Company", "File", "Started by"});
        for (const auto& item : items) {
            table.AddRow({Cell(*item, u"Name"), Cell(*item, u"Manufacturer"), Cell(*item, u"DLL"),
                          StartedBy(*item)});
        }
        table.Print(console);
    }

    static std::uint32_t RootNumber(std::int32_t key) { return static_cast<std::uint32_t>(key); }
};

class ProcessesCommand final : public InventoryCommand {
  public:
    ProcessesCommand()
        : InventoryCommand("processes", "List the running processes with their modules",
                           "With --json: a list of {\"id\": path, \"modules\": [paths]}. A process "
                           "that can't be\nopened is left out, with a message.") {}

  private:
    std::shared_ptr<ItemList> List(const LoggerRef& logger) override {
        CProcessManager manager;
        manager.Init(logger);
        std::shared_ptr<ItemList> tree;
        manager.EnumProcs(tree);
        return tree;
    }

    Json ToDocument(const ItemList& items) override {
        Json list = Json::array();
        for (const auto& process : items) {
            Json modules = Json::array();
            for (const auto& module : process->Children())
                modules.push_back(TextToJson(module->Id));
            Json object = ItemToJson(*process);
            object["modules"] = std::move(modules);
            list.push_back(std::move(object));
        }
        return list;
    }

    void Print(const Console& console, const ItemList& items) override {
        for (const auto& process : items) {
            console.out << console.Bold(PrintableText(process->Id)) << '\n';
            for (const auto& module : process->Children()) {
                console.out << "    " << PrintableText(module->Id) << '\n';
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
