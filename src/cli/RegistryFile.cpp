#include "cli/RegistryFile.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <vector>

#include "cli/Command.h"
#include "formats/Creg.h"
#include "formats/HiveLog.h"
#include "formats/HiveWalk.h"
#include "formats/RegText.h"
#include "formats/WineReg.h"
#include "platform/host/MappedFile.h"
#include "ui/terminal/PrintableText.h"

namespace bkfd {
namespace {

namespace fs = std::filesystem;

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

std::string LowerCase(std::string text) {
    std::ranges::transform(text, text.begin(), [](unsigned char unit) {
        return static_cast<char>(std::tolower(unit));
    });
    return text;
}

/// The logs beside a hive, in the order of their names; those that can't be read are noted.
std::vector<MappedFile> OpenLogs(const std::string& path,
                                 const std::function<void(const std::string&)>& onNote) {
    const fs::path hive(path);
    const std::string name = LowerCase(hive.filename().string());
    std::vector<std::string> found;
    std::error_code ignored;
    const fs::path folder = hive.has_parent_path() ? hive.parent_path() : fs::path(".");
    for (const auto& entry : fs::directory_iterator(folder, ignored)) {
        const std::string other = LowerCase(entry.path().filename().string());
        if (other == name + ".log" || other == name + ".log1" || other == name + ".log2") {
            found.push_back(entry.path().string());
        }
    }
    std::ranges::sort(found, {}, LowerCase);
    std::vector<MappedFile> logs;
    for (const std::string& log : found) {
        MappedFile file;
        if (file.Open(log)) {
            logs.push_back(std::move(file));
        } else {
            onNote("its log " + PrintableText(FromUtf8(log)) + " can't be read");
        }
    }
    return logs;
}

void WalkHiveFile(const std::string& path, MappedFile file, const RegistryFileOptions& options,
                  RegistryVisitor& visitor, const std::function<void(const std::string&)>& onNote) {
    std::vector<MappedFile> logs;
    if (options.replaysLogs) logs = OpenLogs(path, onNote);
    std::vector<ByteView> views;
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
}

void WalkRegText(const std::string& path, ByteView file, const RegistryFileOptions& options,
                 RegistryVisitor& visitor) {
    const RegCodePage codePage{options.decode, {}};
    const auto parsed = ParseRegText(file, codePage);
    if (const auto* const error = std::get_if<RegParseError>(&parsed)) {
        if (error->line == 1) Fail(path, "is no registry file of a known form");
        Fail(path, "line " + std::to_string(error->line) + ": " + error->message);
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
        WalkHiveFile(path, std::move(file), options, visitor, onNote);
    } else if (IsCreg(bytes)) {
        const std::string error = WalkCreg(bytes, options.decode, visitor);
        if (!error.empty()) Fail(path, error);
    } else if (WineRegReader::IsWineReg(bytes)) {
        WalkWineReg(bytes, visitor);
    } else {
        WalkRegText(path, bytes, options, visitor);
    }
}

}  // namespace bkfd
