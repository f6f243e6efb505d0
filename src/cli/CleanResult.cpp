#include "cli/CleanResult.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "detection/HelperObjects.h"
#include "detection/StartupItems.h"
#include "platform/RegistryValues.h"
#include "processes/ParasiteFileName.h"
#include "services/RegistryAccess.h"
#include "services/SysUtil.h"

namespace bkfd {
namespace {

constexpr TextView kOwnKey = u"software\\tarnwick labs\\";

/// Sorts the changes into the result, one at a time and in order.
class Summary {
  public:
    void Add(const RecordedChange& change) {
        using Kind = RecordedChange::Kind;
        switch (change.kind) {
            case Kind::MoveFile:
                return AddMove(change);
            case Kind::EndProcess:
                return AddProcess(change);
            case Kind::Restart:
                return AddRestart(change);
            case Kind::DeleteKey:
                return AddKey(change);
            case Kind::SetValue:
            case Kind::DeleteValue:
                return AddValue(change);
        }
    }

    /// For failures that have left no refused change.
    void AddFailedSteps(const std::vector<MemoryLog::Line>& log) {
        if (!result_.failed.empty()) return;
        for (const MemoryLog::Line& line : log) {
            if (line.level != LogLevel::Trace) Fail("step", line.source, line.message);
        }
    }

    CleanResult Take() { return std::move(result_); }

  private:
    void Fail(const char* kind, const Text& name, const Text& error) {
        result_.failed.push_back({kind, name, error});
    }
    void Fail(const char* kind, const Text& name, Status outcome) {
        Fail(kind, name, SysUtil::SystemErrorText(outcome.code));
    }

    // A file that fails at first may succeed when its holders have ended.
    void AddMove(const RecordedChange& change) {
        if (!EqualsIgnoreCase(change.target, GetParasiteFileName(change.name))) return;
        std::erase_if(result_.failed, [&](const FailedChange& failed) {
            return failed.kind == std::string_view("file") && failed.name == change.name;
        });
        if (change.outcome.IsOk()) result_.removedFiles.push_back(change.name);
        // What isn't there needs no disabling.
        if (change.outcome.IsOk() || change.outcome.IsNotThere()) return;
        Fail("file", change.name, change.outcome);
    }

    void AddProcess(const RecordedChange& change) {
        if (change.outcome.IsOk()) {
            result_.endedProcesses.push_back({change.processId, change.name});
        } else {
            Fail("process", change.name, change.outcome);
        }
    }

    void AddRestart(const RecordedChange& change) {
        result_.isRestarted = change.outcome.IsOk();
        if (!change.outcome.IsOk()) Fail("restart", u"Windows", change.outcome);
    }

    static Text FullKey(const RecordedChange& change) {
        return RegistryAccess::RootName(change.root) + u"\\" + change.name;
    }

    void AddKey(const RecordedChange& change) {
        if (change.outcome.IsNotThere()) return;
        if (!change.outcome.IsOk()) return Fail("registry", FullKey(change), change.outcome);
        const std::size_t classAt = kHelperObjectsKey.size() + 1;
        if (!EqualsIgnoreCase(change.name.substr(0, classAt), Text(kHelperObjectsKey) + u'\\')) {
            result_.changedSettings.push_back({FullKey(change), {}, {}, {}, true});
        } else if (change.name.find(u'\\', classAt) == Text::npos) {
            result_.deletedBhos.push_back(change.name.substr(classAt));
        }
    }

    void AddValue(const RecordedChange& change) {
        if (change.outcome.IsNotThere()) return;
        const Text place = FullKey(change) + u"\\" + change.valueName;
        // What was refused at first may have succeeded since.
        std::erase_if(result_.failed,
                      [&](const FailedChange& failed) { return failed.name == place; });
        if (!change.outcome.IsOk()) return Fail("registry", place, change.outcome);
        if (ToLower(change.name).starts_with(kOwnKey) || change.before == change.after) return;
        if (IsStartupPlace(change.root, change.name)) {
            const Json data = RegistryValueToJson(change.before);
            result_.deletedStartup.push_back(
                {FullKey(change), change.valueName,
                 data.is_string() ? FromUtf8(data.get<std::string>()) : Text()});
        } else {
            result_.changedSettings.push_back(
                {FullKey(change), change.valueName, change.before, change.after, false});
        }
    }

    CleanResult result_;
};

std::string HexOf(const Bytes& data) {
    std::string text;
    for (const std::uint8_t byte : data) {
        constexpr char kDigits[] = "0123456789abcdef";
        if (!text.empty()) text += ',';
        text += kDigits[byte >> 4];
        text += kDigits[byte & 0xF];
    }
    return text;
}

Json TextsToJson(const std::vector<Text>& texts) {
    Json list = Json::array();
    for (const Text& text : texts) list.push_back(TextToJson(text));
    return list;
}

}  // namespace

CleanResult SummarizeChanges(const std::vector<RecordedChange>& changes,
                             const std::vector<MemoryLog::Line>& log) {
    Summary summary;
    for (const RecordedChange& change : changes) summary.Add(change);
    summary.AddFailedSteps(log);
    return summary.Take();
}

Json RegistryValueToJson(const std::optional<RegistryValue>& value) {
    if (!value) return nullptr;
    switch (value->type) {
        case RegistryType::String:
        case RegistryType::ExpandString:
        case RegistryType::MultiString:
            return TextToJson(TextOfValue(*value));
        case RegistryType::Dword:
            if (const auto number = NumberOfValue(*value)) return *number;
            break;
        default:
            break;
    }
    return HexOf(value->data);
}

Json CleanToJson(const CleanResult& result) {
    Json startup = Json::array();
    for (const DeletedStartup& entry : result.deletedStartup) {
        startup.push_back({{"key", TextToJson(entry.key)},
                           {"valueName", TextToJson(entry.valueName)},
                           {"data", TextToJson(entry.data)}});
    }
    Json processes = Json::array();
    for (const EndedProcess& process : result.endedProcesses) {
        processes.push_back({{"id", process.id}, {"path", TextToJson(process.path)}});
    }
    Json settings = Json::array();
    for (const ChangedSetting& setting : result.changedSettings) {
        Json object = {{"key", TextToJson(setting.key)}};
        if (!setting.isDeletedKey) {
            object["valueName"] = TextToJson(setting.valueName);
            object["before"] = RegistryValueToJson(setting.before);
        }
        object["after"] = RegistryValueToJson(setting.after);
        settings.push_back(std::move(object));
    }
    Json failed = Json::array();
    for (const FailedChange& change : result.failed) {
        failed.push_back({{"kind", change.kind},
                          {"name", TextToJson(change.name)},
                          {"error", TextToJson(change.error)}});
    }
    return {{"record", result.record == 0 ? Json(nullptr) : Json(result.record)},
            {"removedFiles", TextsToJson(result.removedFiles)},
            {"deletedBhos", TextsToJson(result.deletedBhos)},
            {"deletedStartup", std::move(startup)},
            {"endedProcesses", std::move(processes)},
            {"changedSettings", std::move(settings)},
            {"failed", std::move(failed)}};
}

}  // namespace bkfd
