#pragma once

#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "platform/image/ImageError.h"
#include "platform/image/ImageJson.h"
#include "platform/model/FileRules.h"
#include "platform/model/MachineFacts.h"
#include "platform/model/ModelProcesses.h"

namespace bkfd {

/// What the time of an image is. Without `now` it is the host's.
struct ImageTime {
    std::optional<Date> now;
    std::optional<std::uint32_t> uptimeMs;
    std::optional<Date> bootTime;  // with the host's clock, set by a restart

    bool operator==(const ImageTime&) const = default;
};

/// What machine.json says.
struct ImageSettings {
    explicit ImageSettings(WindowsFamily family) : facts(family) {}

    MachineFacts facts;
    ImageTime time;
    std::vector<ProcessRecord> processes;
    FileRules rules;
    std::vector<std::pair<RegistryRoot, Text>> deniedReads;
    std::vector<std::pair<RegistryRoot, Text>> deniedWrites;
};

/// Reads machine.json; `file` is its name for errors.
std::variant<ImageSettings, ImageError> ParseImageSettings(const std::string& file,
                                                           const std::string& content);
/// What of the settings changes.
struct ChangedSettings {
    const ImageTime& time;
    const std::vector<ProcessRecord>& processes;
    const FileRules& rules;
};
/// machine.json with what has changed since `saved`, which `content` says. All else keeps the form
/// that somebody gave it, byte for byte.
std::string UpdateImageSettings(const std::string& content, const ImageSettings& saved,
                                const ChangedSettings& changed);

// The parts that change, as machine.json and the journal hold them.
/// The order of an entry's keys is the one for people.
nlohmann::ordered_json ProcessesToJson(const std::vector<ProcessRecord>& processes);
ImageJson RuleToJson(const FileRule& rule);
/// The keys that are set.
ImageJson TimeToJson(const ImageTime& time);
/// False if the JSON isn't such a value, or has an id or the program's own process twice; the good
/// entries before the first bad one are in `processes` then.
bool ProcessesFromJson(const ImageJson& json, std::vector<ProcessRecord>& processes);
bool RuleFromJson(const ImageJson& json, FileRule& rule);
bool TimeFromJson(const ImageJson& json, ImageTime& time);

}  // namespace bkfd
