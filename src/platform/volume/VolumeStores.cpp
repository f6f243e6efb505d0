#include "platform/volume/VolumeStores.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>

#include "formats/WineReg.h"
#include "platform/files/HostFiles.h"
#include "platform/hive/RegistryCommit.h"
#include "platform/volume/VolumeMachine.h"

namespace bkfd {
namespace {

VolumeError ErrorOf(const RegistryFileError& error) {
    return {error.file + ' ' + error.message};
}

/// The record of the operation, and which of its commits: of "0003-2.registry".
using JournalNumber = std::pair<unsigned long, unsigned long>;

JournalNumber NumberOf(const std::string& journal) {
    const std::string name = std::filesystem::path(journal).stem().string();
    const std::size_t dash = name.find('-');
    return {std::strtoul(name.c_str(), nullptr, 10),
            dash == std::string::npos ? 0 : std::strtoul(name.c_str() + dash + 1, nullptr, 10)};
}

/// The newest first.
std::vector<std::string> JournalsIn(const std::string& folder) {
    std::vector<std::string> journals;
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(folder, ignored)) {
        if (entry.path().extension() == kJournalSuffix) journals.push_back(entry.path().string());
    }
    std::ranges::sort(journals, std::greater<>(), NumberOf);
    return journals;
}

/// It follows all that are there, whatever the record's number.
std::string NextJournal(const std::string& folder, const std::vector<std::string>& journals,
                        unsigned long record) {
    const JournalNumber last = journals.empty() ? JournalNumber() : NumberOf(journals.front());
    const bool isFirst = record > last.first;
    char name[64];
    std::snprintf(name, sizeof name, "/%04lu-%lu", isFirst ? record : last.first,
                  isFirst ? 1 : last.second + 1);
    return (folder + name).append(kJournalSuffix);
}

}  // namespace

VolumeStores::Opened VolumeStores::OpenHive(const std::string& path, const Text& mountedAt) {
    HiveStore::Options options;
    options.mountedAt = mountedAt;
    options.former = former_;
    auto opened = HiveStore::Open(path, std::move(options));
    if (auto* error = std::get_if<RegistryFileError>(&opened)) return *error;
    hives_.push_back(std::move(std::get<std::unique_ptr<HiveStore>>(opened)));
    return VolumeRegistry::Store(hives_.back());
}

VolumeStores::Opened VolumeStores::OpenWine(const std::string& path, const Text& linkRoot) {
    auto content = ReadHostFile(path);
    if (!content) {
        return RegistryFileError{StatusOfErrno(errno).code, path, "can't be read"};
    }
    if (const auto former = former_.find(path); former != former_.end()) {
        content->clear();
        for (const auto& [number, page] : former->second.pages) {
            content->append(page.begin(), page.end());
        }
    }
    const ByteView bytes(reinterpret_cast<const std::uint8_t*>(content->data()), content->size());
    if (!WineRegReader::IsWineReg(bytes)) {
        return RegistryFileError{SystemError::RegistryCorrupt, path, "is no registry text of Wine"};
    }
    auto store = std::make_shared<WineStore>(*content, linkRoot, FileTimeNow);
    std::string written = store->Content();
    wines_.push_back({path, std::move(*content), std::move(written), store});
    return VolumeRegistry::Store(store);
}

std::vector<std::string> VolumeStores::Files() const {
    std::vector<std::string> files;
    for (const auto& hive : hives_) {
        files.push_back(hive->Path());
        for (std::string& log : FindHiveLogs(hive->Path())) files.push_back(std::move(log));
    }
    for (const Wine& wine : wines_) files.push_back(wine.path);
    return files;
}

void VolumeStores::AddProblems(std::vector<VolumeProblem>& problems) const {
    for (const auto& hive : hives_) {
        if (hive->State() != HiveState::Unrecovered && !hive->HasFailed()) continue;
        const std::vector<std::string> notes = hive->Notes();
        std::string text;
        for (const std::string& note : notes) text += (text.empty() ? "" : "; ") + note;
        problems.push_back({hive->Path(), text.empty()
                                              ? "wasn't written to its end, and no log completes it"
                                              : text});
    }
    for (const Wine& wine : wines_) {
        for (const std::string& problem : wine.store->Problems()) {
            problems.push_back({wine.path, problem});
        }
    }
}

std::variant<std::string, VolumeError> VolumeStores::Recover(const std::string& journal) const {
    const auto recovered = RecoverRegistry(folder_, journal);
    if (const auto* error = std::get_if<RegistryFileError>(&recovered)) return ErrorOf(*error);
    switch (std::get<RegistryRecovery>(recovered)) {
        case RegistryRecovery::Finished:
            return std::string("a write of the registry broke off; all of it was written");
        case RegistryRecovery::RolledBack:
            return std::string("a write of the registry broke off; what it held before is back");
        case RegistryRecovery::Nothing:
            break;
    }
    return std::string();
}

std::variant<std::string, VolumeError> VolumeStores::ReadThrough(const std::string& journal) {
    auto former = ReadThroughJournal(folder_, journal);
    if (const auto* error = std::get_if<RegistryFileError>(&former)) return ErrorOf(*error);
    auto& files = std::get<FormerFiles>(former);
    if (files.empty()) return std::string();
    former_.merge(files);
    return std::string(
        "a write of the registry broke off; it is read as it was before, and the next command that "
        "changes something puts that back");
}

std::optional<VolumeError> VolumeStores::Commit(const std::string& journals, std::uint32_t record) {
    const bool isChanged =
        std::ranges::any_of(hives_, [](const auto& hive) { return hive->IsChanged(); }) ||
        std::ranges::any_of(wines_, [](const Wine& wine) { return wine.store->IsChanged(); });
    if (!isChanged) return std::nullopt;
    std::error_code failure;
    std::filesystem::create_directories(journals, failure);
    if (failure) return VolumeError{journals + " can't be made: " + failure.message()};
    std::vector<std::string> kept = JournalsIn(journals);
    RegistryCommit commit(folder_, NextJournal(journals, kept, record));
    commit.SetKept(std::move(kept));
    for (const auto& hive : hives_) commit.Add(*hive);
    std::vector<std::pair<Wine*, std::string>> written;
    for (Wine& wine : wines_) {
        std::string content = wine.store->IsChanged() ? wine.store->Content() : wine.written;
        if (content == wine.written) continue;
        commit.AddText(wine.path, wine.before, content);
        written.emplace_back(&wine, std::move(content));
    }
    if (const auto error = commit.Run()) return ErrorOf(*error);
    for (auto& [wine, content] : written) {
        // The file may have got the very text that it had before an earlier commit.
        wine->before = ReadHostFile(wine->path).value_or(content);
        wine->written = std::move(content);
    }
    return std::nullopt;
}

}  // namespace bkfd
