#include "platform/image/ImageSettings.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

#include "platform/image/JsonShape.h"
#include "platform/model/CodePage.h"

namespace bkfd {
namespace {

/// Reads one key's value; an empty text is success, else what is wrong with it.
using KeyReader = std::string (*)(const ImageJson& value, ImageSettings& settings);

bool IsVersionPart(const ImageJson& value) {
    return IsUint32(value) && value <= 0xFFFF;
}

bool TextFromJson(const ImageJson& value, Text& text) {
    if (!value.is_string()) return false;
    text = FromImageJson(value.get_ref<const std::string&>());
    return true;
}

bool BoolFromJson(const ImageJson& value, bool& flag) {
    if (!value.is_boolean()) return false;
    flag = value;
    return true;
}

bool DateFromJson(const ImageJson& json, Date& date) {
    return json.is_string() && ParseDate(FromUtf8(json.get_ref<const std::string&>()), date);
}

bool IsDrivePath(const Text& path) {
    return path.size() >= 3 && path[1] == u':' && path[2] == u'\\';
}

std::string ReadVersion(const ImageJson& value, ImageSettings& settings) {
    if (!value.is_array() || value.size() != 2 || !IsVersionPart(value[0]) ||
        !IsVersionPart(value[1])) {
        return "must be two numbers, such as [5,1]";
    }
    settings.facts.major = value[0];
    settings.facts.minor = value[1];
    settings.facts.servicePack.clear();  // the family's default belongs to its default version
    return {};
}

/// On 9x the whole field may be given, whose upper half repeats the version.
std::string ReadBuild(const ImageJson& value, ImageSettings& settings) {
    if (!IsUint32(value) || value > 0x7FFF'FFFF) return "must be a number, such as 2600";
    settings.facts.build = value;
    return {};
}

std::string ReadServicePack(const ImageJson& value, ImageSettings& settings) {
    return TextFromJson(value, settings.facts.servicePack) ? "" : "must be a text";
}

std::string ReadArchitecture(const ImageJson& value, ImageSettings& settings) {
    if (value != "x86" && value != "x64") return "must be \"x86\" or \"x64\"";
    settings.facts.hasTwoViews = value == "x64";
    if (settings.facts.hasTwoViews && !settings.facts.IsNT()) return "can't be x64 on family 9x";
    return {};
}

std::string ReadCodePage(const ImageJson& value, ImageSettings& settings) {
    if (!IsUint32(value)) return "must be a number, such as 1252";
    settings.facts.codePage = value;
    return CodePage::IsKnown(settings.facts.codePage) ? "" : "is a code page that isn't known";
}

std::string ReadEnvironment(const ImageJson& value, ImageSettings& settings) {
    if (!value.is_object()) return "must map names to values";
    for (const auto& [name, content] : value.items()) {
        Text text;
        if (!TextFromJson(content, text)) return "must map names to texts: " + name;
        settings.facts.SetEnvironment(FromImageJson(name), std::move(text));
    }
    return {};
}

std::string ReadProgramFolder(const ImageJson& value, ImageSettings& settings) {
    Text& folder = settings.facts.programFolder;
    if (!TextFromJson(value, folder) || !IsDrivePath(folder)) return "must be a folder of a drive";
    return {};
}

std::string ReadNow(const ImageJson& value, ImageSettings& settings) {
    Date now = 0;
    if (!DateFromJson(value, now)) return "must be a time such as \"2026-11-16T09:39:04\"";
    settings.time.now = now;
    return {};
}

std::string ReadUptime(const ImageJson& value, ImageSettings& settings) {
    if (!IsUint32(value)) return "must be a number of milliseconds below 2^32";
    settings.time.uptimeMs = value.get<std::uint32_t>();
    return {};
}

std::string ReadBootTime(const ImageJson& value, ImageSettings& settings) {
    Date bootTime = 0;
    if (!DateFromJson(value, bootTime)) return "must be a time such as \"2026-11-16T09:39:04\"";
    settings.time.bootTime = bootTime;
    return {};
}

std::string ReadProcesses(const ImageJson& value, ImageSettings& settings) {
    if (ProcessesFromJson(value, settings.processes)) return {};
    // The good ones were taken before the first bad one.
    return std::string("must be a list of {id, path, modules, denied, self}, no id or self twice") +
           (value.is_array() ? ": entry " + std::to_string(settings.processes.size() + 1) : "");
}

std::string ReadFiles(const ImageJson& value, ImageSettings& settings) {
    if (!value.is_object()) return "must map paths to {attributes, locked, unreadable}";
    for (const auto& [path, rule] : value.items()) {
        if (!RuleFromJson(rule, settings.rules.At(FromImageJson(path)))) {
            return "must map paths to {attributes, locked, unreadable}: " + path;
        }
    }
    return {};
}

bool KeysFromJson(const ImageJson& value, std::vector<std::pair<RegistryRoot, Text>>& keys) {
    if (!value.is_array()) return false;
    for (const ImageJson& entry : value) {
        Text path;
        Text key;
        RegistryRoot root = RegistryRoot::LocalMachine;
        if (!TextFromJson(entry, path) || !SplitRegistryPath(path, root, key)) return false;
        keys.emplace_back(root, std::move(key));
    }
    return true;
}

std::string ReadDenied(const ImageJson& value, ImageSettings& settings) {
    constexpr const char* kForm = "must be {read: [keys], write: [keys]}";
    if (!value.is_object()) return kForm;
    for (const auto& [name, keys] : value.items()) {
        if (name != "read" && name != "write") return kForm;
        auto& list = name == "read" ? settings.deniedReads : settings.deniedWrites;
        if (!KeysFromJson(keys, list)) return kForm;
    }
    return {};
}

std::string ReadComponents(const ImageJson& value, ImageSettings& settings) {
    if (!value.is_object()) return "must map names to true or false";
    for (const auto& [name, isThere] : value.items()) {
        if (!isThere.is_boolean()) return "must map names to true or false: " + name;
        if (!isThere) settings.facts.missingComponents.push_back(FromImageJson(name));
    }
    return {};
}

std::string ReadRestart(const ImageJson& value, ImageSettings& settings) {
    if (value != "denied") return "must be \"denied\"";
    settings.facts.isRestartDenied = true;
    return {};
}

std::string ReadNothing(const ImageJson&, ImageSettings&) {
    return {};
}

struct KeyRow {
    const char* key;
    KeyReader read;
};

constexpr KeyRow kKeyRows[] = {
    {"family", ReadNothing},  // read before the others
    {"version", ReadVersion},
    {"build", ReadBuild},
    {"servicePack", ReadServicePack},
    {"architecture", ReadArchitecture},
    {"codePage", ReadCodePage},
    {"environment", ReadEnvironment},
    {"programFolder", ReadProgramFolder},
    {"now", ReadNow},
    {"uptimeMs", ReadUptime},
    {"bootTime", ReadBootTime},
    {"processes", ReadProcesses},
    {"files", ReadFiles},
    {"denied", ReadDenied},
    {"components", ReadComponents},
    {"restart", ReadRestart},
};

std::size_t LineAt(const std::string& content, std::size_t offset) {
    const auto end =
        content.begin() + static_cast<std::ptrdiff_t>(std::min(offset, content.size()));
    return 1 + static_cast<std::size_t>(std::count(content.begin(), end, '\n'));
}

ImageError KeyError(const std::string& file, const std::string& content, const std::string& key,
                    std::string message) {
    const std::size_t offset = content.find('"' + key + '"');
    const std::size_t line = offset == std::string::npos ? 0 : LineAt(content, offset);
    return {file, line, key, std::move(message)};
}

/// Reads one entry of the list of processes.
bool ProcessFromJson(const ImageJson& entry, ProcessRecord& record) {
    if (!entry.is_object() || !entry.contains("id") || !entry.contains("path")) return false;
    for (const auto& [name, value] : entry.items()) {
        bool isGood = false;
        if (name == "id" && IsUint32(value)) {
            record.id = value;
            isGood = true;
        } else if (name == "path") {
            isGood = TextFromJson(value, record.path);
        } else if (name == "modules" && value.is_array()) {
            isGood = std::all_of(value.begin(), value.end(), [&](const ImageJson& module) {
                return TextFromJson(module, record.modules.emplace_back());
            });
        } else if (name == "denied" || name == "self") {
            isGood = BoolFromJson(value, name == "self" ? record.self : record.denied);
        }
        if (!isGood) return false;
    }
    return true;
}

}  // namespace

std::string ImageError::Describe() const {
    std::string text = file;
    if (line != 0) text += ':' + std::to_string(line);
    if (!key.empty()) text += (text.empty() ? "" : ": ") + key;
    return text + (text.empty() ? "" : ": ") + message;
}

bool ProcessesFromJson(const ImageJson& json, std::vector<ProcessRecord>& processes) {
    if (!json.is_array()) return false;
    std::unordered_set<std::uint32_t> ids;
    bool hasSelf = false;
    for (const ImageJson& entry : json) {
        ProcessRecord record;
        if (!ProcessFromJson(entry, record) || !ids.insert(record.id).second) return false;
        if (record.self && std::exchange(hasSelf, true)) return false;
        processes.push_back(std::move(record));
    }
    return true;
}

bool RuleFromJson(const ImageJson& json, FileRule& rule) {
    if (!json.is_object()) return false;
    for (const auto& [name, value] : json.items()) {
        if (name == "attributes" && IsUint32(value)) {
            rule.attributes = value.get<std::uint32_t>();
        } else if (name == "locked" || name == "unreadable") {
            if (!BoolFromJson(value, name == "locked" ? rule.isLocked : rule.isUnreadable)) {
                return false;
            }
        } else {
            return false;
        }
    }
    return true;
}

bool TimeFromJson(const ImageJson& json, ImageTime& time) {
    ImageSettings read(WindowsFamily::NT);
    if (json.contains("now") && !ReadNow(json["now"], read).empty()) return false;
    if (json.contains("uptimeMs") && !ReadUptime(json["uptimeMs"], read).empty()) return false;
    if (json.contains("bootTime") && !ReadBootTime(json["bootTime"], read).empty()) return false;
    time = read.time;
    return true;
}

std::variant<ImageSettings, ImageError> ParseImageSettings(const std::string& file,
                                                           const std::string& content) {
    ImageJson document;
    try {
        document = ImageJson::parse(content);
    } catch (const ImageJson::parse_error& error) {
        const std::size_t offset = error.byte == 0 ? 0 : error.byte - 1;
        return ImageError{file, LineAt(content, offset), "", "malformed JSON"};
    } catch (const ImageJson::out_of_range&) {
        return ImageError{file, 0, "", "holds a number beyond all use"};
    }
    if (!document.is_object()) return ImageError{file, 1, "", "must be a JSON object"};
    if (const std::string repeated = ShapeOf(content).repeated; !repeated.empty()) {
        return KeyError(file, content, repeated, "stands there twice");
    }
    const auto family = document.find("family");
    if (family == document.end()) {
        return ImageError{file, 0, "family", "is missing; it is \"nt\" or \"9x\""};
    }
    if (*family != "nt" && *family != "9x") {
        return KeyError(file, content, "family", "must be \"nt\" or \"9x\"");
    }

    ImageSettings settings(*family == "nt" ? WindowsFamily::NT : WindowsFamily::Windows9x);
    for (const auto& [key, value] : document.items()) {
        if (std::none_of(std::begin(kKeyRows), std::end(kKeyRows),
                         [&key = key](const KeyRow& row) { return key == row.key; })) {
            return KeyError(file, content, key, "unknown key");
        }
    }
    for (const KeyRow& row : kKeyRows) {
        if (!document.contains(row.key)) continue;
        std::string wrong = row.read(document[row.key], settings);
        if (!wrong.empty()) return KeyError(file, content, row.key, std::move(wrong));
    }
    if (settings.time.bootTime && (settings.time.now || settings.time.uptimeMs)) {
        return KeyError(file, content, "bootTime", "can't stand beside now or uptimeMs");
    }
    return settings;
}

}  // namespace bkfd
