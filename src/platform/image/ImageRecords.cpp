#include "platform/image/ImageRecords.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "base/Hex.h"

namespace bkfd {
namespace {

struct KindName {
    MachineChange::Kind kind;
    const char* name;
};

constexpr std::uint64_t kLargestOffset = std::uint64_t{1} << 40;

constexpr KindName kKindNames[] = {
    {MachineChange::Kind::SetValue, "set value"},
    {MachineChange::Kind::DeleteValue, "delete value"},
    {MachineChange::Kind::DeleteKey, "delete key"},
    {MachineChange::Kind::EndProcess, "end process"},
    {MachineChange::Kind::SetAttributes, "set attributes"},
};

int DigitOf(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    throw std::out_of_range("data");
}

Bytes BytesOfHex(const std::string& hex) {
    if (hex.size() % 2 != 0) throw std::out_of_range("data");
    Bytes bytes;
    for (std::size_t i = 0; i < hex.size(); i += 2) {
        bytes.push_back(static_cast<std::uint8_t>(DigitOf(hex[i]) << 4 | DigitOf(hex[i + 1])));
    }
    return bytes;
}

/// A member that is a number of 32 bits; 0 if it is missing.
std::uint32_t NumberOf(const ImageJson& record, const char* name) {
    const auto found = record.find(name);
    if (found == record.end()) return 0;
    if (!IsUint32(*found)) throw std::out_of_range(name);
    return found->get<std::uint32_t>();
}

MachineChange ChangeFrom(const ImageJson& record, MachineChange::Kind kind) {
    MachineChange change;
    change.kind = kind;
    change.root = RegistryRoot{NumberOf(record, "root")};
    change.key = FromImageJson(record.value("key", ""));
    TextView components = change.key;
    const bool isRoot = NextKeyComponent(components).empty();
    if (IsTooDeepKey(change.key) || (isRoot && kind == MachineChange::Kind::DeleteKey)) {
        throw std::out_of_range("key");
    }
    change.name = FromImageJson(record.value("name", ""));
    change.value.type = RegistryType{NumberOf(record, "type")};
    change.value.data = BytesOfHex(record.value("data", ""));
    change.number = NumberOf(record, "number");
    return change;
}

void ReplayChange(const MachineChange& change, ReplayTargets& targets) {
    switch (change.kind) {
        case MachineChange::Kind::EndProcess:
            targets.processes.End(change.number);
            return;
        case MachineChange::Kind::SetAttributes:
            targets.rules.At(change.key).attributes = change.number;
            return;
        case MachineChange::Kind::SetValue:
            targets.tree.Root(change.root).Make(change.key).values.Set(change.name, change.value);
            break;
        case MachineChange::Kind::DeleteValue:
            if (RegistryKey* key = targets.tree.Root(change.root).Find(change.key)) {
                key->values.Remove(change.name);
            }
            break;
        case MachineChange::Kind::DeleteKey:
            // The files would gain the key above it.
            if (!targets.tree.Root(change.root).Remove(change.key)) return;
            break;
    }
    targets.registryFiles.Apply(change);
}

bool ReplayTime(const ImageJson& record, ReplayTargets& targets) {
    ImageTime time;
    if (!TimeFromJson(record, time)) return false;
    targets.clock.SetTime(time);
    return true;
}

bool ReplayRestart(const ImageJson& record, ReplayTargets& targets) {
    std::vector<ProcessRecord> processes;
    if (!record.contains("processes") || !ProcessesFromJson(record["processes"], processes) ||
        !ReplayTime(record, targets)) {
        return false;
    }
    targets.processes.Replace(std::move(processes));
    return true;
}

VolumeMoves MovesFrom(const ImageJson& record) {
    VolumeMoves moves;
    for (const ImageJson& pair : record.at("moves")) {
        moves.emplace_back(FromImageJson(pair.at(0).get<std::string>()),
                           FromImageJson(pair.at(1).get<std::string>()));
    }
    return moves;
}

void ApplyRules(const ImageJson& record, FileRules& rules) {
    if (record.contains("path")) rules.Erase(FromImageJson(record["path"].get<std::string>()));
    if (!record.contains("rules")) return;
    for (const auto& [path, rule] : record["rules"].items()) {
        FileRule read;
        (void)RuleFromJson(rule, read);
        rules.At(FromImageJson(path)) = read;
    }
}

void TakeWritten(const ImageJson& record, ReplayTargets& targets) {
    if (!record.contains("written")) return;
    for (const ImageJson& one : record["written"]) {
        targets.written.push_back({FromImageJson(one.at(0).get<std::string>()),
                                   one.at(1).get<std::uint64_t>(),
                                   BytesOfHex(one.at(2).get<std::string>())});
        if (targets.written.back().offset > kLargestOffset) throw std::out_of_range("written");
    }
}

/// Whatever the name stands for later, it isn't that file; and that one was flushed before.
void DropWritten(const ImageJson& record, ReplayTargets& targets) {
    const auto drop = [&](const Text& place) {
        std::erase_if(targets.written, [&](const WrittenBytes& written) {
            return IsAtOrBelow(written.path, place);
        });
    };
    if (record.contains("path")) drop(FromImageJson(record["path"].get<std::string>()));
    if (!record.contains("moves")) return;
    for (const auto& [source, target] : MovesFrom(record)) {
        drop(source);
        drop(target);
    }
}

/// A redo that fails leaves the old names, which are as good a state as the new ones.
Status RedoNames(const ImageJson& record, DiskVolume& volume) {
    if (record.contains("moves")) return volume.RedoMoves(MovesFrom(record));
    return volume.RedoRemoval(FromImageJson(record.at("path").get<std::string>()));
}

/// A change of names was done when the next record was written, unless that says otherwise.
void SettlePending(ReplayTargets& targets, bool isDone) {
    if (targets.pending && isDone) ApplyRules(*targets.pending, targets.rules);
    targets.pending.reset();
}

}  // namespace

ImageJson ChangeRecord(const MachineChange& change) {
    const auto* row = std::find_if(std::begin(kKindNames), std::end(kKindNames),
                                   [&](const KindName& one) { return one.kind == change.kind; });
    ImageJson record = {{"change", row->name}};
    if (change.kind == MachineChange::Kind::EndProcess) {
        record["number"] = change.number;
        return record;
    }
    record["key"] = ToImageJson(change.key);
    if (change.kind == MachineChange::Kind::SetAttributes) {
        record["number"] = change.number;
        return record;
    }
    record["root"] = static_cast<std::uint32_t>(change.root);
    record["name"] = ToImageJson(change.name);
    if (change.kind != MachineChange::Kind::SetValue) return record;
    record["type"] = static_cast<std::uint32_t>(change.value.type);
    std::string digits;
    AppendHex(digits, change.value.data);
    record["data"] = std::move(digits);
    return record;
}

ImageJson TimeRecord(const ImageTime& time) {
    ImageJson record = TimeToJson(time);
    record["change"] = "time";
    return record;
}

ImageJson RestartRecord(const ImageTime& time, const std::vector<ProcessRecord>& processes) {
    ImageJson record = TimeToJson(time);
    record["change"] = "restart";
    record["processes"] = ProcessesToJson(processes);
    return record;
}

ImageJson MoveRecord(const VolumeMoves& moves, const FileRules& rules) {
    ImageJson record = {{"change", "move"}};
    FileRules before;
    for (const auto& [source, target] : moves) {
        record["moves"].push_back({ToImageJson(source), ToImageJson(target)});
        before.CopyWithin(rules, source);
        before.CopyWithin(rules, target);
    }
    FileRules after = before;
    for (const auto& [source, target] : moves) after.Move(source, target);
    record["rules"] = ImageJson::object();
    for (const auto& [path, rule] : before.All()) {
        if (after.Get(path) != rule) record["rules"][ToImageJson(path)] = RuleToJson(FileRule());
    }
    for (const auto& [path, rule] : after.All()) {
        if (before.Get(path) != rule) record["rules"][ToImageJson(path)] = RuleToJson(rule);
    }
    return record;
}

ImageJson RemovalRecord(const Text& path) {
    return {{"change", "remove"}, {"path", ToImageJson(path)}};
}

ImageJson OutcomeRecord(bool isDone) {
    return {{"change", "outcome"}, {"done", isDone}};
}

void AddWritten(ImageJson& record, const std::vector<WrittenBytes>& written) {
    for (const auto& [path, offset, bytes] : written) {
        std::string digits;
        AppendHex(digits, bytes);
        record["written"].push_back({ToImageJson(path), offset, std::move(digits)});
    }
}

bool ReplayRecord(const ImageJson& record, bool isLast, ReplayTargets& targets) {
    try {
        const std::string kind = record.value("change", "");
        TakeWritten(record, targets);
        if (kind == "outcome") {
            SettlePending(targets, record.value("done", true));
            return true;
        }
        SettlePending(targets, true);
        if (kind == "move" || kind == "remove") {
            DropWritten(record, targets);
            targets.pending = record;
            if (!isLast) return true;
            SettlePending(targets, RedoNames(record, targets.volume).IsOk());
            return true;
        }
        if (kind == "time") return ReplayTime(record, targets);
        if (kind == "restart") return ReplayRestart(record, targets);
        for (const KindName& row : kKindNames) {
            if (kind != row.name) continue;
            ReplayChange(ChangeFrom(record, row.kind), targets);
            return true;
        }
        return false;
    } catch (const ImageJson::exception&) {
        return false;
    } catch (const std::out_of_range&) {  // no such root, no key that can be changed so, no number
        return false;
    }
}

}  // namespace bkfd
