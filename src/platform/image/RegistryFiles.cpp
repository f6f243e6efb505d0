#include "platform/image/RegistryFiles.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

#include "base/Utf16Bytes.h"
#include "platform/RootNames.h"
#include "platform/files/HostFiles.h"

namespace bkfd {
namespace {

constexpr const char* kFirstFile = "/registry.reg";

bool IsRegFile(const std::string& name) {
    return name.size() > 4 && EqualsIgnoreCase(FromUtf8(name.substr(name.size() - 4)), u".reg");
}

/// Names of the export files, in order.
std::optional<std::vector<std::string>> ListFiles(const std::string& folder) {
    std::vector<std::string> names;
    DIR* opened = opendir(folder.c_str());
    if (opened == nullptr) return errno == ENOENT ? std::optional(names) : std::nullopt;
    while (const dirent* entry = readdir(opened)) {
        if (IsRegFile(entry->d_name)) names.emplace_back(entry->d_name);
    }
    closedir(opened);
    std::sort(names.begin(), names.end());
    return names;
}

/// Roots that Windows exports beside those of the machine; nothing here looks into them.
constexpr TextView kOtherRoots[] = {u"HKEY_CURRENT_CONFIG", u"HKEY_DYN_DATA",
                                    u"HKEY_PERFORMANCE_DATA"};

bool HasKnownRoot(TextView key) {
    RegistryRoot root = RegistryRoot::LocalMachine;
    Text below;
    if (SplitRegistryPath(key, root, below)) return true;
    const TextView first = NextKeyComponent(key);
    return std::ranges::any_of(kOtherRoots,
                               [&](TextView other) { return EqualsIgnoreCase(first, other); });
}

std::string WrongWithKey(TextView key) {
    TextView below = key;
    (void)NextKeyComponent(below);
    if (IsTooDeepKey(below)) return "the key lies deeper than Windows allows";
    return HasKnownRoot(key) ? "" : ToUtf8(key) + ": the key's root isn't known";
}

bool IsSameKey(TextView a, TextView b) {
    return EqualsIgnoreCase(a, b);
}

/// Whether `key` is `above` or below it.
bool IsWithinKey(TextView key, TextView above) {
    return key.size() >= above.size() && EqualsIgnoreCase(key.substr(0, above.size()), above) &&
           (key.size() == above.size() || key[above.size()] == u'\\');
}

TextView ParentKey(TextView key) {
    const std::size_t last = key.rfind(u'\\');
    return last == TextView::npos ? TextView() : key.substr(0, last);
}

/// "HKEY_CLASSES_ROOT\..." and short root names as the keys that they stand for.
bool RealKey(TextView key, RegistryRoot& root, Text& below) {
    if (!SplitRegistryPath(key, root, below)) return false;
    if (root != RegistryRoot::ClassesRoot) return true;
    root = RegistryRoot::LocalMachine;
    below = below.empty() ? u"Software\\Classes" : u"Software\\Classes\\" + below;
    return true;
}

Text FullKeyName(RegistryRoot root, TextView key) {
    Text name(RegistryRootName(root));
    for (TextView part = NextKeyComponent(key); !part.empty(); part = NextKeyComponent(key)) {
        name.append(1, u'\\').append(part);
    }
    return name;
}

void LoadSection(const RegSection& section, RegistryTree& tree) {
    RegistryRoot root = RegistryRoot::LocalMachine;
    Text below;
    if (!RealKey(section.key, root, below)) return;
    if (section.isDeletion) {
        tree.Root(root).Remove(below);
        return;
    }
    RegistryKey& key = tree.Root(root).Make(below);
    for (const RegEntry& entry : section.entries) {
        if (entry.isDeletion) {
            key.values.Remove(entry.name);
        } else {
            key.values.Set(entry.name, {RegistryType{entry.type}, entry.data});
        }
    }
}

/// Gives the section's key its full, real name, so that lookups compare one form.
void Canonicalise(RegSection& section) {
    RegistryRoot root = RegistryRoot::LocalMachine;
    Text below;
    if (RealKey(section.key, root, below)) section.key = FullKeyName(root, below);
}

std::string Utf16File(TextView text) {
    const Bytes bytes = ToUtf16Bytes(text);
    std::string file = "\xFF\xFE";
    file.append(bytes.begin(), bytes.end());
    return file;
}

}  // namespace

RegistryFiles::RegistryFiles(std::string folder, CodePage& codePage)
    : folder_(std::move(folder)), codePage_(codePage) {}

RegCodePage RegistryFiles::Converter() const {
    return {[this](std::string_view bytes) { return codePage_.Decode(bytes); },
            [this](TextView text) { return codePage_.Encode(text); }};
}

std::optional<ImageError> RegistryFiles::Load(RegistryTree& tree) {
    const auto names = ListFiles(folder_);
    if (!names) return ImageError{folder_, 0, "", "can't be read"};
    for (const std::string& name : *names) {
        const std::string path = folder_ + '/' + name;
        const auto content = ReadHostFile(path);
        if (!content) return ImageError{path, 0, "", "can't be read"};
        const auto* bytes = reinterpret_cast<const std::uint8_t*>(content->data());
        auto parsed = ParseRegText({bytes, content->size()}, Converter(), WrongWithKey);
        if (const auto* error = std::get_if<RegParseError>(&parsed)) {
            return ImageError{path, error->line, "", error->message};
        }
        files_.push_back({path, std::move(std::get<RegDocument>(parsed)), false});
        for (RegSection& section : files_.back().document.sections) {
            Canonicalise(section);
            LoadSection(section, tree);
        }
    }
    return std::nullopt;
}

std::optional<RegistryFiles::Position> RegistryFiles::DecidingSection(TextView key) const {
    for (std::size_t file = files_.size(); file-- > 0;) {
        const auto& sections = files_[file].document.sections;
        for (std::size_t i = sections.size(); i-- > 0;) {
            if (sections[i].isDeletion && IsWithinKey(key, sections[i].key)) return std::nullopt;
            if (!sections[i].isDeletion && IsSameKey(sections[i].key, key)) {
                return Position{file, i};
            }
        }
    }
    return std::nullopt;
}

RegistryFiles::Position RegistryFiles::PlaceForNew(TextView key) const {
    for (TextView above = key; !above.empty(); above = ParentKey(above)) {
        for (std::size_t file = files_.size(); file-- > 0;) {
            const auto& sections = files_[file].document.sections;
            for (std::size_t i = sections.size(); i-- > 0;) {
                if (sections[i].isDeletion && IsWithinKey(key, sections[i].key)) {
                    return {files_.size() - 1, files_.back().document.sections.size()};
                }
                if (!sections[i].isDeletion && IsWithinKey(sections[i].key, above)) {
                    return {file, i + 1};
                }
            }
        }
    }
    return {files_.size() - 1, files_.back().document.sections.size()};
}

RegistryFiles::File& RegistryFiles::HomeForAll() {
    if (files_.empty()) files_.push_back({folder_ + kFirstFile, {}, true});
    return files_.back();
}

RegistryFiles::Position RegistryFiles::MakeSection(TextView key) {
    if (const auto found = DecidingSection(key)) return *found;
    HomeForAll();
    const Position place = PlaceForNew(key);
    auto& sections = files_[place.file].document.sections;
    sections.insert(sections.begin() + static_cast<std::ptrdiff_t>(place.section),
                    RegSection{Text(key), false, {}});
    files_[place.file].isChanged = true;
    return place;
}

void RegistryFiles::SetValue(TextView key, RegEntry entry) {
    const Position place = MakeSection(key);
    auto& entries = files_[place.file].document.sections[place.section].entries;
    const auto same = std::find_if(entries.rbegin(), entries.rend(), [&](const RegEntry& old) {
        return EqualsIgnoreCase(old.name, entry.name);
    });
    files_[place.file].isChanged = true;
    if (same == entries.rend()) {
        entries.push_back(std::move(entry));
        return;
    }
    entry.name = same->name;
    *same = std::move(entry);
}

void RegistryFiles::DeleteValue(TextView key, TextView name) {
    for (File& file : files_) {
        for (RegSection& section : file.document.sections) {
            if (section.isDeletion || !IsSameKey(section.key, key)) continue;
            const auto erased = std::erase_if(section.entries, [&](const RegEntry& entry) {
                return EqualsIgnoreCase(entry.name, name);
            });
            if (erased > 0) file.isChanged = true;
        }
    }
}

void RegistryFiles::DeleteKey(TextView key) {
    // The keys above stood in the files through this one alone, perhaps.
    if (ParentKey(key).find(u'\\') != TextView::npos) MakeSection(ParentKey(key));
    for (File& file : files_) {
        const auto erased = std::erase_if(file.document.sections, [&](const RegSection& section) {
            return !section.isDeletion && IsWithinKey(section.key, key);
        });
        if (erased > 0) file.isChanged = true;
    }
}

void RegistryFiles::Apply(const MachineChange& change) {
    const Text key = FullKeyName(change.root, change.key);
    switch (change.kind) {
        case MachineChange::Kind::SetValue:
            SetValue(key, {change.name, false, static_cast<std::uint32_t>(change.value.type),
                           change.value.data});
            break;
        case MachineChange::Kind::DeleteValue:
            DeleteValue(key, change.name);
            break;
        case MachineChange::Kind::DeleteKey:
            DeleteKey(key);
            break;
        default:
            break;
    }
}

/// In the file's own form, unless its code page lacks a character.
std::string RegistryFiles::Format(File& file) const {
    const auto textIn = [&](RegFormat format) {
        Text text = RegHeader(format) + u"\r\n";
        for (const RegSection& section : file.document.sections) {
            text += FormatRegSection(section, format, Converter());
        }
        return text;
    };
    if (file.document.format == RegFormat::Regedit4) {
        const Text text = textIn(RegFormat::Regedit4);
        std::string bytes = codePage_.Encode(text);
        const bool isComplete = codePage_.Decode(bytes) == text;
        const std::string again = isComplete ? bytes : std::string();
        const auto* begin = reinterpret_cast<const std::uint8_t*>(again.data());
        const auto parsed = ParseRegText({begin, again.size()}, Converter());
        const auto* document = std::get_if<RegDocument>(&parsed);
        if (document != nullptr && document->sections == file.document.sections) return bytes;
        file.document.format = RegFormat::Version5;
    }
    return Utf16File(textIn(RegFormat::Version5));
}

Status RegistryFiles::Save() {
    if (std::none_of(files_.begin(), files_.end(),
                     [](const File& file) { return file.isChanged; })) {
        return {};
    }
    if (mkdir(folder_.c_str(), 0777) != 0 && errno != EEXIST) return StatusOfErrno(errno);
    for (File& file : files_) {
        if (!file.isChanged) continue;
        const Status saved = ReplaceHostFile(file.path, Format(file));
        if (!saved.IsOk()) return saved;
        file.isChanged = false;
    }
    return {};
}

}  // namespace bkfd
