#include "cli/PlanRegistry.h"

#include <algorithm>

#include "base/Utf16Bytes.h"
#include "platform/RootNames.h"
#include "services/ApplicationState.h"
#include "services/WindowsVersionText.h"

namespace bkfd {
namespace {

using Kind = RecordedChange::Kind;

bool IsOfRegistry(Kind kind) {
    return kind == Kind::SetValue || kind == Kind::DeleteValue || kind == Kind::DeleteKey;
}

Text FullKey(const RecordedChange& change) {
    Text key = Text(RegistryRootName(change.root)) + u'\\' + change.name;
    while (key.ends_with(u'\\')) key.pop_back();
    return key;
}

Text PlaceOf(const RecordedChange& change) {
    return change.kind == Kind::DeleteKey ? FullKey(change)
                                          : FullKey(change) + u'\\' + change.valueName;
}

bool IsWithin(const Text& key, const Text& above) {
    return key.size() >= above.size() && EqualsIgnoreCase(key.substr(0, above.size()), above) &&
           (key.size() == above.size() || key[above.size()] == u'\\');
}

/// Sections in the order in which they have to be carried out, values of a key together.
class Sections {
  public:
    void SetValue(const Text& key, const Text& name, const std::optional<RegistryValue>& value) {
        RegSection& section = At(key);
        std::erase_if(section.entries,
                      [&](const RegEntry& entry) { return EqualsIgnoreCase(entry.name, name); });
        RegEntry entry{name, !value, 0, {}};
        if (value) {
            entry.type = static_cast<std::uint32_t>(value->type);
            entry.data = value->data;
        }
        section.entries.push_back(std::move(entry));
    }

    /// What was to become of the key and what is below it needn't be told any more.
    void DeleteKey(const Text& key) {
        std::erase_if(all_, [&](const RegSection& section) { return IsWithin(section.key, key); });
        all_.push_back({key, true, {}});
    }

    /// The key's section that nothing behind it deletes again, made if there is none.
    RegSection& At(const Text& key) {
        for (auto section = all_.rbegin(); section != all_.rend(); ++section) {
            if (section->isDeletion && IsWithin(key, section->key)) break;
            if (!section->isDeletion && EqualsIgnoreCase(section->key, key)) return *section;
        }
        return all_.emplace_back(RegSection{key, false, {}});
    }

    const std::vector<RegSection>& All() const { return all_; }

  private:
    std::vector<RegSection> all_;
};

}  // namespace

PlanRegistry::PlanRegistry(std::vector<FailedChange>& failed) : failed_(failed) {
    const WindowsVersionFacts version = ReadWindowsVersion();
    constexpr std::int32_t kMinorOf98 = 10;
    format_ = gIsNT && version.major >= 5 ? RegFormat::Version5 : RegFormat::Regedit4;
    deletes_ = gIsNT || version.minor >= kMinorOf98;
}

bool PlanRegistry::Fits(TextView text) const {
    if (format_ == RegFormat::Version5) return true;
    SystemFacts& system = TheMachine().System();
    return system.MultiByteToWideChar(system.WideCharToMultiByte(text)) == text;
}

bool PlanRegistry::CanTell(const RecordedChange& change) {
    const Text place = PlaceOf(change);
    const auto refuse = [&](const char16_t* why) {
        const bool isTold = std::ranges::any_of(
            failed_, [&](const FailedChange& failed) { return failed.name == place; });
        if (!isTold) failed_.push_back({"registry", place, why});
        return false;
    };
    if (place.find_first_of(u"\r\n") != Text::npos) {
        return refuse(u"A name with a line break can't be written in a registry file.");
    }
    const auto fits = [&](const std::optional<RegistryValue>& value) {
        const auto text = RegistryValueText(value);
        return !text || Fits(*text);
    };
    if (!Fits(place) || !fits(change.before) || !fits(change.after)) {
        return refuse(u"The machine's code page lacks a character of it.");
    }
    if (!deletes_ && !change.after) {
        return refuse(
            u"The registry editor of Windows 95 deletes nothing from a file: do it there.");
    }
    return true;
}

void PlanRegistry::Add(const RecordedChange& change) {
    if (!IsOfRegistry(change.kind) || change.outcome.IsNotThere()) return;
    if (change.kind != Kind::DeleteKey && change.before == change.after) return;
    if (CanTell(change)) changes_.push_back(change);
}

Bytes PlanRegistry::Fix() const {
    Sections sections;
    for (const RecordedChange& change : changes_) {
        if (change.kind == Kind::DeleteKey) {
            sections.DeleteKey(FullKey(change));
        } else {
            sections.SetValue(FullKey(change), change.valueName, change.after);
        }
    }
    return Format(sections.All());
}

Bytes PlanRegistry::Undo() const {
    Sections sections;
    for (auto change = changes_.rbegin(); change != changes_.rend(); ++change) {
        const Text key = FullKey(*change);
        if (change->kind != Kind::DeleteKey) {
            sections.SetValue(key, change->valueName, change->before);
            continue;
        }
        (void)sections.At(key);
        for (const auto& [name, value] : change->deletedValues) sections.SetValue(key, name, value);
    }
    return Format(sections.All());
}

Bytes PlanRegistry::Format(const std::vector<RegSection>& sections) const {
    SystemFacts& system = TheMachine().System();
    const RegCodePage codePage{
        [&](std::string_view bytes) { return system.MultiByteToWideChar(bytes); },
        [&](TextView text) { return system.WideCharToMultiByte(text); }};
    Text text = RegHeader(format_) + u"\r\n";
    for (const RegSection& section : sections) text += FormatRegSection(section, format_, codePage);
    if (format_ == RegFormat::Regedit4) {
        const std::string bytes = system.WideCharToMultiByte(text);
        return {bytes.begin(), bytes.end()};
    }
    Bytes content = {0xFF, 0xFE};
    const Bytes units = ToUtf16Bytes(text);
    content.insert(content.end(), units.begin(), units.end());
    return content;
}

}  // namespace bkfd
