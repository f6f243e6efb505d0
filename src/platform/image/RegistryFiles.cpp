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
        auto& document = std::get<RegDocument>(parsed);
        files_.push_back({path, document.format});
        sections_.BeginFile();
        for (RegSection& section : document.sections) {
            Canonicalise(section);
            LoadSection(section, tree);
            sections_.Append(std::move(section));
        }
    }
    return std::nullopt;
}

void RegistryFiles::Apply(const MachineChange& change) {
    const Text key = FullKeyName(change.root, change.key);
    switch (change.kind) {
        case MachineChange::Kind::SetValue:
            sections_.SetValue(key,
                               {change.name, false, static_cast<std::uint32_t>(change.value.type),
                                change.value.data});
            break;
        case MachineChange::Kind::DeleteValue:
            sections_.DeleteValue(key, change.name);
            break;
        case MachineChange::Kind::DeleteKey:
            sections_.DeleteKey(key);
            break;
        default:
            break;
    }
}

/// In the file's own form, unless its code page lacks a character.
std::string RegistryFiles::Format(File& file, const Sections& sections) const {
    const auto textIn = [&](RegFormat format) {
        Text text = RegHeader(format) + u"\r\n";
        for (const RegSection* section : sections) {
            text += FormatRegSection(*section, format, Converter());
        }
        return text;
    };
    if (file.format == RegFormat::Regedit4) {
        const Text text = textIn(RegFormat::Regedit4);
        std::string bytes = codePage_.Encode(text);
        const bool isComplete = codePage_.Decode(bytes) == text;
        const std::string again = isComplete ? bytes : std::string();
        const auto* begin = reinterpret_cast<const std::uint8_t*>(again.data());
        const auto parsed = ParseRegText({begin, again.size()}, Converter());
        const auto* document = std::get_if<RegDocument>(&parsed);
        const auto isSame = [](const RegSection& read, const RegSection* meant) {
            return read == *meant;
        };
        if (document != nullptr && std::ranges::equal(document->sections, sections, isSame)) {
            return bytes;
        }
        file.format = RegFormat::Version5;
    }
    return Utf16File(textIn(RegFormat::Version5));
}

Status RegistryFiles::Save() {
    if (sections_.Changed().empty()) return {};
    if (mkdir(folder_.c_str(), 0777) != 0 && errno != EEXIST) return StatusOfErrno(errno);
    if (files_.empty()) files_.push_back({folder_ + kFirstFile, RegFormat::Version5});
    const auto byFile = sections_.ByFile();
    for (std::size_t i = 0; i < files_.size(); ++i) {
        if (!sections_.Changed().contains(i)) continue;
        const Status saved = ReplaceHostFile(files_[i].path, Format(files_[i], byFile[i]));
        if (!saved.IsOk()) return saved;
        sections_.MarkSaved(i);
    }
    return {};
}

}  // namespace bkfd
