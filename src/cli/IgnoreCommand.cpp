#include <algorithm>
#include <charconv>
#include <nlohmann/json.hpp>
#include <ostream>

#include "cli/Commands.h"
#include "cli/IgnoredThings.h"
#include "cli/MachineSession.h"
#include "cli/Reported.h"
#include "detection/CBHOManager.h"
#include "identity/FileSha256.h"
#include "ignore/MakeEntries.h"
#include "ui/terminal/PrintableText.h"

namespace bkfd {
namespace {

constexpr char kIgnoreHelp[] =
    R"(What is on the machine's ignore list is passed over by scan, clean and the Windows program, which
say how much that was. WHAT to add is one of

  C:\path\file.dll  the file: what it holds now, whatever its name; no longer once it changes
  {class}           a helper object as it is registered now, with its file
  64 digits         a SHA-256

and to remove, the same or the number that list shows. An entry by class holds for its file only while
nothing else speaks against that. The list is ignore.txt in the program's folder on the machine, a text
that can be edited; while a line of it can't be read nothing is ignored, and nothing is added or removed.

With --json: add {"added", "already"}, remove {"removed"}, list {"items"}: entries of {"sha256", "clsid",
"path", "date", "note"}, in items also "number" and "holds": whether the helper object is registered
with that file now, null for an entry by SHA-256.)";

IgnoreList ReadList() {
    IgnoreList list = IgnoreList::Read();
    if (list.Damage().empty()) return list;
    throw CommandError(PrintableText(IgnoreListPath() + u": " + list.Damage()));
}

/// Those of all users.
std::vector<HelperObject> RegisteredObjects(MachineSession& session) {
    std::vector<HelperObject> all;
    session.ForEachUser([&](const Text&) {
        CBHOManager manager;
        manager.Init(session.Log());
        const auto objects = manager.ListHelperObjects();
        if (!objects) throw CommandError("the list of helper objects can't be read");
        all.insert(all.end(), objects->begin(), objects->end());
    });
    return all;
}

bool IsFor(const IgnoreEntry& entry, const HelperObject& object) {
    return EqualsIgnoreCase(entry.clsid, object.clsid) && EqualsIgnoreCase(entry.path, object.file);
}

class IgnoreCommand final : public Command {
  public:
    const char* Name() const override { return "ignore"; }
    const char* Summary() const override { return "Keep the list of what is passed over"; }

    void Declare(CommandOptions& options) override {
        options.AddName("ACTION", action_, "add, remove or list");
        options.AddOptionalNames("WHAT", what_, "A file of the machine, a class or a SHA-256");
        options.AddValue("--note", "TEXT", note_,
                         "Why it is ignored, for people; else a file's path");
        options.Explain(kIgnoreHelp);
    }

    int Run(CommandContext& context) override {
        const bool isList = action_ == "list";
        if (!isList && action_ != "add" && action_ != "remove") {
            throw CommandError("ignore can add, remove or list");
        }
        if (isList != what_.empty()) {
            throw CommandError(isList ? "ignore list takes no names"
                                      : "ignore " + action_ + " needs a file, a class or a hash");
        }
        if (action_ != "add" && !note_.empty()) throw CommandError("--note is for ignore add");
        SessionUse use;
        use.changes = !isList;
        use.keepsRegistry = true;
        MachineSession session(context, use);
        if (isList) {
            List(context, session);
        } else if (action_ == "add") {
            Add(context, session);
        } else {
            Remove(context, session);
        }
        const std::vector<Unreadable> unreadable = session.CollectUnreadable();
        PrintUnreadable(context.console, unreadable);
        return ExitCodeOf(unreadable);
    }

  private:
    static void Print(const CommandContext& context, const char* what,
                      const std::vector<IgnoreEntry>& entries) {
        for (const IgnoreEntry& entry : entries) {
            context.console.out << what << PrintableText(TitleOf(entry)) << '\n';
        }
    }

    static Json ToJson(const std::vector<IgnoreEntry>& entries) {
        Json list = Json::array();
        for (const IgnoreEntry& entry : entries) list.push_back(EntryToJson(entry));
        return list;
    }

    // ------------------------------------------------------------ add

    std::vector<IgnoreEntry> NewEntries(MachineSession& session, const std::string& typed) const {
        const Text what = FromUtf8(typed);
        const Text note = FromUtf8(note_);
        if (const Text hash = ParseSha256(what); !hash.empty()) return {EntryOfContent(hash, note)};
        if (!IsClassInBraces(what)) {
            if (what.find(u'\\') == Text::npos) {
                throw CommandError(PrintableText(what) +
                                   " is no path of the machine, no {class} and no SHA-256");
            }
            return {Reported([&] { return EntryOfFile(what, note); })};
        }
        std::vector<IgnoreEntry> entries;
        for (const HelperObject& object : RegisteredObjects(session)) {
            if (!EqualsIgnoreCase(object.clsid, what)) continue;
            entries.push_back(Reported([&] { return EntryOfObject(object, note); }));
        }
        if (!entries.empty()) return entries;
        throw CommandError("no helper object is registered as " + PrintableText(what));
    }

    void Add(const CommandContext& context, MachineSession& session) const {
        IgnoreList list = ReadList();
        const std::vector<IgnoreEntry> before = list.Entries();
        std::vector<IgnoreEntry> added;
        std::vector<IgnoreEntry> already;
        for (const std::string& what : what_) {
            for (const IgnoreEntry& entry : NewEntries(session, what)) {
                const auto isSame = [&](const IgnoreEntry& it) { return it.IsSameAs(entry); };
                if (list.Add(entry)) {
                    added.push_back(entry);
                } else if (std::ranges::any_of(before, isSame)) {
                    already.push_back(entry);
                }
            }
        }
        (void)Reported([&] { return AddToIgnoreList(added, *session.Log()); });
        if (context.asJson) {
            Json document = session.NewDocument();
            document["added"] = ToJson(added);
            document["already"] = ToJson(already);
            PrintJson(context.console.out, document);
            return;
        }
        Print(context, "Ignored from now on: ", added);
        Print(context, "Already ignored: ", already);
    }

    // ------------------------------------------------------------ remove

    /// The entries that are meant by what was typed: a number, a hash, a class, a path.
    static std::vector<IgnoreEntry> Meant(const IgnoreList& list, const std::string& typed) {
        const std::vector<IgnoreEntry>& entries = list.Entries();
        std::size_t number = 0;
        const auto [end, error] =
            std::from_chars(typed.data(), typed.data() + typed.size(), number);
        const bool isNumber = error == std::errc() && end == typed.data() + typed.size();
        if (isNumber && number > 0 && number <= entries.size()) return {entries[number - 1]};
        const Text what = FromUtf8(typed);
        Text hash = ParseSha256(what);
        if (hash.empty() && !isNumber && !IsClassInBraces(what)) {
            hash = FromAscii(FileSha256(what).value_or(""));
        }
        std::vector<IgnoreEntry> meant;
        std::ranges::copy_if(entries, std::back_inserter(meant), [&](const IgnoreEntry& entry) {
            if (entry.IsByContent()) return entry.sha256 == hash;
            return EqualsIgnoreCase(entry.clsid, what) || EqualsIgnoreCase(entry.path, what);
        });
        if (!meant.empty()) return meant;
        throw CommandError("nothing on the ignore list is meant by " + PrintableText(what));
    }

    void Remove(const CommandContext& context, const MachineSession& session) const {
        const IgnoreList list = ReadList();
        std::vector<IgnoreEntry> removed;
        for (const std::string& what : what_) {
            for (IgnoreEntry& entry : Meant(list, what)) {
                const bool isKnown = std::ranges::find(removed, entry) != removed.end();
                if (!isKnown) removed.push_back(std::move(entry));
            }
        }
        Reported([&] { RemoveFromIgnoreList(removed, *session.Log()); });
        if (context.asJson) {
            Json document = session.NewDocument();
            document["removed"] = ToJson(removed);
            PrintJson(context.console.out, document);
            return;
        }
        Print(context, "No longer ignored: ", removed);
    }

    // ------------------------------------------------------------ list

    static void PrintEntry(const Console& console, std::size_t number, const IgnoreEntry& entry,
                           bool holds) {
        console.out << number << "  " << PrintableText(TitleOf(entry)) << "\n      since  "
                    << PrintableText(entry.date) << '\n';
        if (!entry.note.empty()) {
            console.out << "      note   " << PrintableText(entry.note) << '\n';
        }
        if (entry.IsByContent()) return;
        console.out << "      holds  " << (holds ? "yes" : "no: it isn't registered so now")
                    << '\n';
    }

    static void List(const CommandContext& context, MachineSession& session) {
        const IgnoreList list = ReadList();
        const std::vector<HelperObject> objects = RegisteredObjects(session);
        Json items = Json::array();
        for (std::size_t i = 0; i < list.Entries().size(); ++i) {
            const IgnoreEntry& entry = list.Entries()[i];
            const bool holds = std::ranges::any_of(
                objects, [&](const HelperObject& object) { return IsFor(entry, object); });
            if (!context.asJson) {
                PrintEntry(context.console, i + 1, entry, holds);
                continue;
            }
            Json item = {{"number", i + 1}};
            item.update(EntryToJson(entry));
            item["holds"] = entry.IsByContent() ? Json() : Json(holds);
            items.push_back(std::move(item));
        }
        if (context.asJson) {
            Json document = session.NewDocument();
            document["items"] = std::move(items);
            PrintJson(context.console.out, document);
        } else if (list.Entries().empty()) {
            context.console.out << "Nothing is ignored.\n";
        }
    }

    std::string action_;
    std::vector<std::string> what_;
    std::string note_;
};

}  // namespace

std::unique_ptr<Command> MakeIgnoreCommand() {
    return std::make_unique<IgnoreCommand>();
}

}  // namespace bkfd
