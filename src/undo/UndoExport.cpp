#include "undo/UndoExport.h"

#include <algorithm>
#include <map>

#include "formats/RegText.h"
#include "platform/RootNames.h"

namespace bkfd {
namespace {

using Kind = UndoChange::Kind;

/// Sections in the order in which they were met, each key once.
class Sections {
  public:
    static Text KeyOf(const UndoChange& change) {
        return Text(RegistryRootName(change.root)) + u"\\" + change.name;
    }

    bool IsKnown(const UndoChange& change) const {
        return places_.contains(ToLower(KeyOf(change)));
    }

    RegSection& At(const UndoChange& change) {
        const Text key = KeyOf(change);
        const auto [found, isNew] = places_.try_emplace(ToLower(key), sections_.size());
        if (isNew) sections_.push_back({key, false, {}});
        return sections_[found->second];
    }

    /// What was there first counts.
    void Put(RegSection& section, const Text& name, const std::optional<RegistryValue>& value) {
        const bool isKnown = std::ranges::any_of(section.entries, [&](const RegEntry& entry) {
            return EqualsIgnoreCase(entry.name, name);
        });
        if (section.isDeletion || isKnown) return;
        if (name.find(u'\0') != Text::npos) {
            AddComment(section.key, name);
            return;
        }
        RegEntry entry{name, !value, 0, {}};
        if (value) {
            entry.type = static_cast<std::uint32_t>(value->type);
            entry.data = value->data;
        }
        section.entries.push_back(std::move(entry));
    }

    void Add(const UndoChange& change) {
        switch (change.kind) {
            case Kind::SetValue:
            case Kind::DeleteValue:
                Put(At(change), change.value, change.before);
                break;
            case Kind::MakeKey:
                // One that was deleted before was there.
                if (const bool isNew = !IsKnown(change); isNew) At(change).isDeletion = true;
                break;
            case Kind::DeleteKey:
                for (RegSection& section = At(change); const auto& [name, value] : change.values) {
                    Put(section, name, value);
                }
                break;
            default:
                break;
        }
    }

    Text Format() const {
        const RegCodePage none{[](std::string_view) { return Text(); },
                               [](TextView) { return std::string(); }};
        Text text = RegHeader(RegFormat::Version5) + u"\r\n" + comments_;
        for (const RegSection& section : sections_) {
            text += FormatRegSection(section, RegFormat::Version5, none);
        }
        return text;
    }

  private:
    void AddComment(const Text& key, Text name) {
        std::ranges::replace_if(
            name, [](char16_t unit) { return unit < u' '; }, u' ');
        comments_ += u"; No export can name this value: " + key + u", " + name + u"\r\n\r\n";
    }

    Text comments_;
    std::vector<RegSection> sections_;
    std::map<Text, std::size_t> places_;  // by lower-cased key
};

}  // namespace

Text ExportBefore(const UndoRecord& record) {
    Sections sections;
    for (const UndoChange& change : record.changes) sections.Add(change);
    return sections.Format();
}

}  // namespace bkfd
