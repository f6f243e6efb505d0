// How settings that changed go back into machine.json.

#include <algorithm>

#include "platform/image/ImageSettings.h"
#include "platform/image/JsonMembers.h"

namespace bkfd {
namespace {

constexpr const char* kTimeKeys[] = {"now", "uptimeMs", "bootTime"};

ImageJson DateToJson(Date date) {
    Text text = FormatDate(date);
    std::replace(text.begin(), text.end(), u' ', u'T');
    return ToUtf8(text);
}

/// The files of which something is said.
FileRules::Map Particular(const FileRules& rules) {
    FileRules::Map particular = rules.All();
    std::erase_if(particular, [](const auto& entry) { return entry.second == FileRule(); });
    return particular;
}

ImageJson RulesToJson(const FileRules::Map& rules) {
    ImageJson files = ImageJson::object();
    for (const auto& [path, rule] : rules) files[ToImageJson(path)] = RuleToJson(rule);
    return files;
}

}  // namespace

nlohmann::ordered_json ProcessesToJson(const std::vector<ProcessRecord>& processes) {
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const ProcessRecord& record : processes) {
        nlohmann::ordered_json entry = {{"id", record.id}, {"path", ToImageJson(record.path)}};
        for (const Text& module : record.modules) entry["modules"].push_back(ToImageJson(module));
        if (record.denied) entry["denied"] = true;
        if (record.self) entry["self"] = true;
        list.push_back(std::move(entry));
    }
    return list;
}

ImageJson RuleToJson(const FileRule& rule) {
    ImageJson json = ImageJson::object();
    if (rule.attributes) json["attributes"] = *rule.attributes;
    if (rule.isLocked) json["locked"] = true;
    if (rule.isUnreadable) json["unreadable"] = true;
    return json;
}

ImageJson TimeToJson(const ImageTime& time) {
    ImageJson json = ImageJson::object();
    if (time.now) json["now"] = DateToJson(*time.now);
    if (time.uptimeMs) json["uptimeMs"] = *time.uptimeMs;
    if (time.bootTime) json["bootTime"] = DateToJson(*time.bootTime);
    return json;
}

std::string UpdateImageSettings(const std::string& content, const ImageSettings& saved,
                                const ChangedSettings& changed) {
    JsonMembers members(content);
    if (changed.time != saved.time) {
        const ImageJson time = TimeToJson(changed.time);
        for (const char* key : kTimeKeys) {
            if (time.contains(key)) {
                members.Put(key, time[key]);
            } else {
                members.Erase(key);
            }
        }
    }
    if (changed.processes != saved.processes) {
        members.Put("processes", ProcessesToJson(changed.processes));
    }
    const FileRules::Map rules = Particular(changed.rules);
    if (rules != Particular(saved.rules)) members.Put("files", RulesToJson(rules));
    return members.Text();
}

}  // namespace bkfd
