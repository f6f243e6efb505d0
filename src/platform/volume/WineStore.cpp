#include "platform/volume/WineStore.h"

#include <algorithm>
#include <unordered_set>

#include "base/Utf16Bytes.h"
#include "formats/WineReg.h"
#include "formats/WineRegWriter.h"
#include "platform/hive/HiveStore.h"

namespace bkfd {
namespace {

constexpr TextView kLinkValue = u"SymbolicLinkValue";
constexpr int kMostLinks = 16;  // on one way to a key

ByteView ViewOf(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

TextView ParentOf(TextView path) {
    const std::size_t last = path.rfind(u'\\');
    return last == TextView::npos ? TextView() : path.substr(0, last);
}

bool IsBlankLine(std::string_view line) {
    return line.find_first_not_of(" \t\r\n") == std::string_view::npos;
}

/// "A\B" of "\A\\B\".
Text Normal(TextView path) {
    Text normal;
    for (TextView part = NextKeyComponent(path); !part.empty(); part = NextKeyComponent(path)) {
        if (!normal.empty()) normal += u'\\';
        normal += part;
    }
    return normal;
}

}  // namespace

WineStore::WineStore(std::string content, Text linkRoot, Clock clock)
    : content_(std::move(content)), linkRoot_(std::move(linkRoot)), clock_(std::move(clock)) {
    Parse();
}

WineStore::~WineStore() = default;

WineStore::Key& WineStore::MakeNode(TextView path) {
    Key* key = &root_;
    for (TextView part = NextKeyComponent(path); !part.empty(); part = NextKeyComponent(path)) {
        auto& below = key->keys[ToLower(part)];
        if (!below) below = std::make_unique<Key>(Text(part), key);
        key = below.get();
    }
    return *key;
}

void WineStore::Parse() {
    WineRegReader reader(ViewOf(content_));
    WineRegItem item;
    sections_.emplace_back();
    Key* key = nullptr;
    while (reader.Next(item)) {
        if (item.kind == WineRegKind::Key) {
            const std::uint64_t time = item.time == 0 ? 0 : FileTimeOf(item.time);
            sections_.push_back({Normal(item.name), {}, 0, false, time});
            key = &MakeNode(item.name);
            key->sections.push_back(std::prev(sections_.end()));
        } else if (item.kind == WineRegKind::Malformed) {
            problems_.push_back("line " + std::to_string(item.number) + ": " + item.problem);
        }
        Section& section = sections_.back();
        if (item.kind == WineRegKind::Link) section.isLink = true;
        if (item.kind == WineRegKind::Time && item.time != 0) section.time = item.time;
        const bool isHead = item.kind == WineRegKind::Key || item.kind == WineRegKind::Time;
        if (isHead && section.headLines == section.lines.size()) ++section.headLines;
        section.lines.push_back(
            {std::string_view(content_).substr(item.begin, item.end - item.begin),
             {},
             item.name,
             item.kind == WineRegKind::Value});
        if (item.kind == WineRegKind::Value) {
            key->values[ToLower(item.name)] = &section.lines.back();
        }
    }
}

std::string WineStore::Content() const {
    std::string content;
    for (const Section& section : sections_) {
        for (const Line& line : section.lines) content += TextOf(line);
    }
    return content;
}

RegistryValue WineStore::ValueOf(const Line& line) {
    // A line of a value is understood behind a key.
    const std::string alone = "WINE REGISTRY Version 2\n[]\n" + std::string(TextOf(line));
    WineRegReader reader(ViewOf(alone));
    WineRegItem item;
    while (reader.Next(item)) {
    }
    return {RegistryType{item.type}, std::move(item.data)};
}

WineStore::Line* WineStore::FindValue(const Key& key, TextView name) {
    const auto found = key.values.find(ToLower(name));
    return found == key.values.end() ? nullptr : found->second;
}

/// Below the root of this file; empty for a link that leads elsewhere.
Text WineStore::LinkTarget(const Key& key) const {
    const Line* line = FindValue(key, kLinkValue);
    if (line == nullptr) return {};
    const Text target = FromUtf16Bytes(ValueOf(*line).data);
    const TextView rest = UpToNul(target);
    if (rest.size() <= linkRoot_.size() || rest[linkRoot_.size()] != u'\\' ||
        !EqualsIgnoreCase(rest.substr(0, linkRoot_.size()), linkRoot_)) {
        return {};
    }
    return Normal(rest.substr(linkRoot_.size()));
}

WineStore::Key* WineStore::FindNode(TextView path, bool followsLast, int depth) {
    Key* key = &root_;
    for (TextView part = NextKeyComponent(path); !part.empty(); part = NextKeyComponent(path)) {
        const auto found = key->keys.find(ToLower(part));
        if (found == key->keys.end()) return nullptr;
        key = found->second.get();
        TextView rest = path;
        const bool isLast = NextKeyComponent(rest).empty();
        const bool isLink = std::ranges::any_of(
            key->sections, [](Sections::iterator section) { return section->isLink; });
        if (!isLink || (isLast && !followsLast)) continue;
        const Text target = LinkTarget(*key);
        if (target.empty() || depth == kMostLinks) return nullptr;
        return FindNode(target + Text(path), followsLast, depth + 1);
    }
    return key;
}

Status WineStore::FindKey(TextView key) {
    return {FindNode(key, true) == nullptr ? SystemError::FileNotFound : SystemError::Success};
}

/// Of a key that the file repeats, the latest of its times.
Result<std::uint64_t> WineStore::LastWritten(TextView key) {
    const Key* node = FindNode(key, true);
    if (node == nullptr) return Status{SystemError::FileNotFound};
    std::uint64_t time = 0;
    for (const Sections::iterator section : node->sections) time = std::max(time, section->time);
    return time;
}

Result<RegistryValue> WineStore::QueryValue(TextView key, TextView name) {
    const Key* node = FindNode(key, true);
    const Line* line = node == nullptr ? nullptr : FindValue(*node, name);
    if (line == nullptr) return Status{SystemError::FileNotFound};
    return ValueOf(*line);
}

Result<std::vector<Text>> WineStore::EnumKeys(TextView key) {
    const Key* node = FindNode(key, true);
    if (node == nullptr) return Status{SystemError::FileNotFound};
    std::vector<Text> names;
    for (const auto& [folded, below] : node->keys) names.push_back(below->name);
    return names;
}

Result<std::vector<Text>> WineStore::EnumValues(TextView key) {
    const Key* node = FindNode(key, true);
    if (node == nullptr) return Status{SystemError::FileNotFound};
    std::vector<Text> names;
    std::unordered_set<Text> seen;
    for (const Sections::iterator section : node->sections) {
        for (const Line& line : section->lines) {
            if (line.isValue && seen.insert(ToLower(line.name)).second) names.push_back(line.name);
        }
    }
    return names;
}

WineStore::Sections::iterator WineStore::PlaceFor(const Key& key) {
    const auto last = [](const auto& self, const Key& one) -> const Sections::iterator* {
        for (auto below = one.keys.rbegin(); below != one.keys.rend(); ++below) {
            if (const auto* found = self(self, *below->second)) return found;
        }
        return one.sections.empty() ? nullptr : &one.sections.back();
    };
    for (const Key* one = &key; one->above != nullptr; one = one->above) {
        const Key& above = *one->above;
        for (auto next = above.keys.find(ToLower(one->name)); next != above.keys.begin();) {
            if (const auto* found = last(last, *(--next)->second)) return std::next(*found);
        }
        if (!above.sections.empty()) return std::next(above.sections.back());
    }
    return std::next(sections_.begin());
}

void WineStore::AddSection(Key& key) {
    const Text path = PathOf(key);
    const auto place = PlaceFor(key);
    auto& before = std::prev(place)->lines;
    if (!before.empty() && !TextOf(before.back()).ends_with('\n')) {
        before.push_back({{}, "\n", {}, false});
    }
    if (!before.empty() && !IsBlankLine(TextOf(before.back()))) {
        before.push_back({{}, "\n", {}, false});
    }
    const auto added = sections_.insert(place, {path, {}, 1, false, clock_()});
    added->lines.push_back({{}, FormatWineKey(path, added->time), path, false});
    added->lines.push_back({{}, "\n", {}, false});
    key.sections.push_back(added);
    isChanged_ = true;
}

/// Gives the key the time of its change.
void WineStore::Touch(Section& section) {
    auto end = std::next(section.lines.begin(), static_cast<std::ptrdiff_t>(section.headLines));
    section.lines.erase(section.lines.begin(), end);
    section.time = clock_();
    section.lines.push_front({{}, FormatWineKey(section.path, section.time), section.path, false});
    section.headLines = 1;
    isChanged_ = true;
}

Status WineStore::MakeKey(TextView key) {
    if (FindNode(key, true) != nullptr) return {};
    // A link on the way leads to where the key is made.
    const Text path = Normal(key);
    const Text above(ParentOf(path));
    if (!above.empty()) {
        const Status made = MakeKey(above);
        if (!made.IsOk()) return made;
    }
    Key* parent = FindNode(above, true);
    if (parent == nullptr) return {SystemError::FileNotFound};
    const Text name = above.empty() ? path : path.substr(above.size() + 1);
    const bool isDangling = parent->keys.contains(ToLower(name));
    if (isDangling) return {SystemError::CantResolveFilename};
    auto& below = parent->keys[ToLower(name)] = std::make_unique<Key>(name, parent);
    AddSection(*below);
    return {};
}

Status WineStore::SetValue(TextView key, TextView name, const RegistryValue& value) {
    const Status made = MakeKey(key);
    if (!made.IsOk()) return made;
    Key& node = *FindNode(key, true);
    const auto format = [&](TextView spelled) {
        return FormatWineValue(spelled, static_cast<std::uint32_t>(value.type), value.data);
    };
    if (node.sections.empty()) AddSection(node);
    if (Line* line = FindValue(node, name)) {
        line->text = format(line->name);
        Touch(*node.sections.back());
        return {};
    }
    Section& section = *node.sections.back();
    Touch(section);
    // Behind the last value: a line that isn't understood might take what follows for its own.
    auto place = section.lines.end();
    while (!std::prev(place)->isValue && std::prev(place) != section.lines.begin()) --place;
    Line& last = *std::prev(place);
    if (!TextOf(last).ends_with('\n')) last.text = std::string(TextOf(last)) + '\n';
    const auto added = section.lines.insert(place, {{}, format(name), Text(name), true});
    node.values[ToLower(name)] = &*added;
    return {};
}

Status WineStore::DeleteValue(TextView key, TextView name) {
    Key* node = FindNode(key, true);
    if (node == nullptr || FindValue(*node, name) == nullptr) return {SystemError::FileNotFound};
    for (const Sections::iterator section : node->sections) {
        const auto erased = section->lines.remove_if(
            [&](const Line& line) { return line.isValue && EqualsIgnoreCase(line.name, name); });
        if (erased > 0) Touch(*section);
    }
    node->values.erase(ToLower(name));
    return {};
}

Status WineStore::DeleteKey(TextView key) {
    const Text path = Normal(key);
    Key* node = FindNode(path, false);
    if (node == nullptr) return {SystemError::FileNotFound};
    if (node == &root_ || !node->keys.empty()) return {SystemError::AccessDenied};
    Key& parent = *FindNode(ParentOf(path), true);
    for (const Sections::iterator section : node->sections) sections_.erase(section);
    parent.keys.erase(ToLower(node->name));
    // The key above may have stood in the file by this one alone.
    if (&parent != &root_ && parent.sections.empty() && parent.keys.empty()) {
        AddSection(parent);
    }
    for (const Sections::iterator section : parent.sections) Touch(*section);
    isChanged_ = true;
    return {};
}

Text WineStore::PathOf(const Key& key) {
    Text path;
    for (const Key* one = &key; one->above != nullptr; one = one->above) {
        path = path.empty() ? one->name : one->name + u'\\' + path;
    }
    return path;
}

std::unique_ptr<RegistryStore> WineStore::Fork() const {
    return std::make_unique<WineStore>(Content(), linkRoot_, clock_);
}

}  // namespace bkfd
