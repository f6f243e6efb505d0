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

/// Reads machine.json; `file` is its name for errors, `document` receives the JSON.
std::variant<ImageSettings, ImageError> ParseImageSettings(const std::string& file,
                                                           const std::string& content,
                                                           ImageJson& document);

// The parts that change, as machine.json and the journal hold them.
ImageJson ProcessesToJson(const std::vector<ProcessRecord>& processes);
ImageJson RuleToJson(const FileRule& rule);
/// False if the JSON isn't such a value, or has an id or the program's own process twice; the good
/// entries before the first bad one are in `processes` then.
bool ProcessesFromJson(const ImageJson& json, std::vector<ProcessRecord>& processes);
bool RuleFromJson(const ImageJson& json, FileRule& rule);
bool DateFromJson(const ImageJson& json, Date& date);
ImageJson DateToJson(Date date);
/// Sets or takes away the keys of the time.
void PutTime(ImageJson& document, const ImageTime& time);
bool TimeFromJson(const ImageJson& json, ImageTime& time);

}  // namespace bkfd
