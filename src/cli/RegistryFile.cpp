#include "cli/RegistryFile.h"

#include <cerrno>
#include <cstring>
#include <vector>

#include "cli/Command.h"
#include "formats/Creg.h"
#include "formats/HiveLog.h"
#include "formats/HiveWalk.h"
#include "formats/RegText.h"
#include "formats/WineReg.h"
#include "platform/files/MappedFile.h"
#include "platform/hive/HiveStore.h"
#include "ui/terminal/PrintableText.h"

namespace bkfd {
namespace {

[[noreturn]] void Fail(const std::string& path, const std::string& what) {
    throw CommandError(PrintableText(FromUtf8(path)) + ": " + what);
}

MappedFile OpenMapped(const std::string& path, std::uint64_t size = 0) {
    MappedFile file;
    if (!file.Open(path, size)) {
        Fail(path, errno == EINVAL ? "is no regular file" : std::strerror(errno));
    }
    return file;
}

/// The logs beside a hive, in the order of their names; those that can't be read are noted.
std::vector<MappedFile> OpenLogs(const std::string& path,
                                 const std::function<void(const std::string&)>& onNote) {
    std::vector<MappedFile> logs;
    for (const std::string& log : FindHiveLogs(path)) {
        MappedFile file;
        if (file.Open(log)) {
            logs.push_back(std::move(file));
        } else {
            onNote("its log " + PrintableText(FromUtf8(log)) + " can't be read");
        }
    }
    return logs;
}

/// Zeros stand in place of what the disk didn't give.
void TellDiskError(const MappedFile& file, RegistryVisitor& visitor) {
    if (file.HasFailed()) {
        visitor.OnUnreadable({}, "the disk gives an error for a part of the file");
    }
}

void WalkHiveFile(const std::string& path, MappedFile file, const RegistryFileOptions& options,
                  RegistryVisitor& visitor, const std::function<void(const std::string&)>& onNote) {
    std::vector<MappedFile> logs;
    if (options.replaysLogs) logs = OpenLogs(path, onNote);
    std::vector<ByteView> views;
    views.reserve(logs.size());
    for (const MappedFile& log : logs) views.emplace_back(log.Bytes());
    const HiveRecovery recovery = PlanHiveRecovery(file.Bytes(), views);
    if (recovery.state == HiveState::Recovered) {
        if (recovery.size > file.Bytes().size()) file = OpenMapped(path, recovery.size);
        ApplyHiveRecovery(recovery, file.Bytes());
        onNote("wasn't written to the end; its logs were replayed");
    }
    for (const std::string& note : recovery.notes) onNote(note);
    const auto opened = Hive::Open(file.Bytes());
    if (const auto* const refusal = std::get_if<std::string>(&opened)) Fail(path, *refusal);
    if (recovery.state == HiveState::Unrecovered) {
        visitor.OnUnreadable({}, options.replaysLogs
                                     ? "it wasn't written to the end, and no log beside it fits: "
                                       "the newest changes may be missing"
                                     : "it wasn't written to the end: the newest changes may be "
                                       "missing");
    }
    WalkHive(std::get<Hive>(opened), visitor);
    TellDiskError(file, visitor);
}

void WalkRegText(const std::string& path, ByteView file, const RegistryFileOptions& options,
                 RegistryVisitor& visitor) {
    const RegCodePage codePage{options.decode, {}};
    std::vector<RegParseError> passedOver;
    const auto parsed = ParseRegText(file, codePage, {}, &passedOver);
    if (const auto* const error = std::get_if<RegParseError>(&parsed)) {
        if (error->line == 1) Fail(path, "is no registry file of a known form");
        Fail(path, "line " + std::to_string(error->line) + ": " + error->message);
    }
    for (const RegParseError& error : passedOver) {
        visitor.OnUnreadable({}, "line " + std::to_string(error.line) + ": " + error.message);
    }
    for (const RegSection& section : std::get<RegDocument>(parsed).sections) {
        const Text key = u'\\' + section.key;
        if (section.isDeletion) {
            visitor.OnDeletion(key, nullptr);
        } else {
            visitor.OnKey(key);
        }
        for (const RegEntry& entry : section.entries) {
            const ByteView data = entry.data;
            if (entry.isDeletion) {
                visitor.OnDeletion(key, &entry.name);
            } else {
                visitor.OnValue({entry.name, entry.type, {&data, data.empty() ? 0U : 1U}});
            }
        }
    }
}

}  // namespace

void WalkRegistryFile(const std::string& path, const RegistryFileOptions& options,
                      RegistryVisitor& visitor,
                      const std::function<void(const std::string& note)>& onNote) {
    MappedFile file = OpenMapped(path);
    const ByteView bytes = file.Bytes();
    if (HasText(bytes, 0, "regf")) {
        return WalkHiveFile(path, std::move(file), options, visitor, onNote);
    }
    if (IsCreg(bytes)) {
        const std::string error = WalkCreg(bytes, options.decode, visitor);
        if (!error.empty()) Fail(path, error);
    } else if (WineRegReader::IsWineReg(bytes)) {
        WalkWineReg(bytes, visitor);
    } else {
        WalkRegText(path, bytes, options, visitor);
    }
    TellDiskError(file, visitor);
}

}  // namespace bkfd
