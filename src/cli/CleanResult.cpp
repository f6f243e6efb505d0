#include "cli/CleanResult.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string_view>
#include <unordered_map>

#include "cli/IgnoredThings.h"
#include "detection/HelperObjects.h"
#include "detection/StartupItems.h"
#include "platform/RegistryValues.h"
#include "processes/ParasiteFileName.h"
#include "services/RegistryAccess.h"
#include "services/SysUtil.h"

namespace bkfd {
namespace {

/// Sorts the changes into the result, one at a time and in order.
class Summary {
  public:
    void Add(const RecordedChange& change) {
        NoteChange(change);
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
        if (failures_ > 0) return;
        for (const MemoryLog::Line& line : log) {
            const bool isFailure = line.level != LogLevel::Trace && line.source != kPassOverSource;
            if (isFailure) Fail("step", line.source, line.message);
        }
    }

    CleanResult Take() {
        std::erase_if(result_.failed,
                      [](const FailedChange& failed) { return IsMadeGood(failed); });
        return std::move(result_);
    }

  private:
    void Fail(const char* kind, const Text& name, const Text& error) {
        failedByName_[name].push_back(result_.failed.size());
        result_.failed.push_back({kind, name, error});
        ++failures_;
    }
    static bool IsMadeGood(const FailedChange& failed) { return failed.kind == nullptr; }
    /// What failed under the name has been tried again; `kind` is null for every kind.
    void ForgetFailures(const Text& name, const char* kind) {
        const auto found = failedByName_.find(name);
        if (found == failedByName_.end()) return;
        std::erase_if(found->second, [&](std::size_t place) {
            FailedChange& failed = result_.failed[place];
            if (kind != nullptr && failed.kind != std::string_view(kind)) return false;
            failed.kind = nullptr;
            --failures_;
            return true;
        });
    }
    void Fail(const char* kind, const Text& name, Status outcome) {
        Fail(kind, name, SysUtil::SystemErrorText(outcome.code));
    }

    /// What wasn't there to be changed, or is as it was, is no change.
    void NoteChange(const RecordedChange& change) {
        using Kind = RecordedChange::Kind;
        if (change.outcome.IsNotThere()) return;
        ToldChange noted{"value", change.name, nullptr, nullptr, change.outcome.IsOk()};
        switch (change.kind) {
            case Kind::SetValue:
            case Kind::DeleteValue:
                if (noted.isDone && change.before == change.after) return;
                noted.place = FullKey(change) + u'\\' + change.valueName;
                noted.before = RegistryValueToJson(change.before);
                noted.after = RegistryValueToJson(change.after);
                break;
            case Kind::DeleteKey:
                noted.kind = "key";
                noted.place = FullKey(change);
                break;
            case Kind::MoveFile:
                noted.kind = "file";
                noted.before = TextToJson(change.name);
                noted.after = TextToJson(change.target);
                break;
            case Kind::EndProcess:
                noted.kind = "process";
                noted.before = change.processId;
                break;
            case Kind::Restart:
                noted.kind = "restart";
                noted.place = u"Windows";
                break;
        }
        result_.changes.push_back(std::move(noted));
    }

    // A file that fails at first may succeed when its holders have ended.
    void AddMove(const RecordedChange& change) {
        if (!EqualsIgnoreCase(change.target, GetParasiteFileName(change.name))) return;
        ForgetFailures(change.name, "file");
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
        if (change.root == RegistryRoot::CurrentUser && !change.user.empty()) {
            return RegistryAccess::RootName(RegistryRoot::Users) + u'\\' + change.user + u'\\' +
                   change.name;
        }
        return RegistryAccess::RootName(change.root) + u"\\" + change.name;
    }

    void AddKey(const RecordedChange& change) {
        if (change.outcome.IsNotThere()) return;
        if (!change.outcome.IsOk()) return Fail("registry", FullKey(change), change.outcome);
        const Text& key = change.KeyInView();
        const std::size_t classAt = kHelperObjectsKey.size() + 1;
        if (!EqualsIgnoreCase(key.substr(0, classAt), Text(kHelperObjectsKey) + u'\\')) {
            result_.changedSettings.push_back({FullKey(change), {}, {}, {}, true});
        } else if (key.find(u'\\', classAt) == Text::npos) {
            result_.deletedBhos.push_back(key.substr(classAt));
        }
    }

    void AddValue(const RecordedChange& change) {
        if (change.outcome.IsNotThere()) return;
        const Text place = FullKey(change) + u"\\" + change.valueName;
        // What was refused at first may have succeeded since.
        ForgetFailures(place, nullptr);
        if (!change.outcome.IsOk()) return Fail("registry", place, change.outcome);
        if (ToLower(change.name).starts_with(kOwnKey) || change.before == change.after) return;
        if (IsStartupPlace(change.root, change.KeyInView())) {
            result_.deletedStartup.push_back({FullKey(change), change.valueName,
                                              RegistryValueText(change.before).value_or(Text())});
        } else {
            result_.changedSettings.push_back(
                {FullKey(change), change.valueName, change.before, change.after, false});
        }
    }

    CleanResult result_;
    std::unordered_map<Text, std::vector<std::size_t>> failedByName_;  // places in the result
    std::size_t failures_ = 0;
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

Json TextsToJson(const std::vector<std::string>& texts) {
    Json list = Json::array();
    for (const std::string& text : texts) list.push_back(TextToJson(FromUtf8(text)));
    return list;
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

std::optional<Text> RegistryValueText(const std::optional<RegistryValue>& value) {
    if (!value) return std::nullopt;
    switch (value->type) {
        case RegistryType::String:
        case RegistryType::ExpandString:
        case RegistryType::MultiString:
            return TextOfValue(*value);
        default:
            return std::nullopt;
    }
}

Json RegistryValueToJson(const std::optional<RegistryValue>& value) {
    if (!value) return nullptr;
    if (const auto text = RegistryValueText(value)) return TextToJson(*text);
    if (value->type == RegistryType::Dword) {
        if (const auto number = NumberOfValue(*value)) return *number;
    }
    return HexOf(value->data);
}

void AddToDocument(const CleanResult& result, Json& document) {
    Json changes = Json::array();
    for (const ToldChange& change : result.changes) {
        changes.push_back({{"kind", change.kind},
                           {"place", TextToJson(change.place)},
                           {"before", change.before},
                           {"after", change.after},
                           {"done", change.isDone}});
    }
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
    document["record"] = result.record == 0 ? Json(nullptr) : Json(result.record);
    document["changes"] = std::move(changes);
    document["failed"] = std::move(failed);
    document["ignored"] = IgnoredToJson(result.ignored);
    document["removedFiles"] = TextsToJson(result.removedFiles);
    document["deletedBhos"] = TextsToJson(result.deletedBhos);
    document["deletedStartup"] = std::move(startup);
    document["endedProcesses"] = std::move(processes);
    document["changedSettings"] = std::move(settings);
    if (!result.plan.empty()) document["plan"] = TextsToJson(result.plan);
}

}  // namespace bkfd
