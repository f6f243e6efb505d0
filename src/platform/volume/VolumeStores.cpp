#include "platform/volume/VolumeStores.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>

#include "platform/files/HostFiles.h"
#include "platform/hive/RegistryCommit.h"
#include "platform/volume/VolumeMachine.h"

namespace bkfd {
namespace {

VolumeError ErrorOf(const RegistryFileError& error) {
    return {error.file + ' ' + error.message};
}

/// Numbered, so that the newest one has the highest number; the newest first.
std::vector<std::string> JournalsIn(const std::string& folder) {
    std::vector<std::string> journals;
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(folder, ignored)) {
        if (entry.path().extension() == kJournalSuffix) journals.push_back(entry.path().string());
    }
    std::ranges::sort(journals, std::greater<>());
    return journals;
}

std::string NextJournal(const std::string& folder, const std::vector<std::string>& journals) {
    unsigned long last = 0;
    if (!journals.empty()) {
        last = std::strtoul(std::filesystem::path(journals.front()).stem().c_str(), nullptr, 10);
    }
    char name[32];
    std::snprintf(name, sizeof name, "/%08lu", last + 1);
    return (folder + name).append(kJournalSuffix);
}

}  // namespace

VolumeStores::Opened VolumeStores::OpenHive(const std::string& path, const Text& mountedAt) {
    HiveStore::Options options;
    options.mountedAt = mountedAt;
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
    auto store = std::make_shared<WineStore>(*content, linkRoot, FileTimeNow);
    wines_.push_back({path, std::move(*content), store});
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

std::optional<VolumeError> VolumeStores::Recover(const std::string& journals) const {
    for (const std::string& journal : FindUnfinishedJournals(journals)) {
        const auto recovered = RecoverRegistry(folder_, journal);
        if (const auto* error = std::get_if<RegistryFileError>(&recovered)) return ErrorOf(*error);
    }
    return std::nullopt;
}

std::optional<VolumeError> VolumeStores::Commit(const std::string& journals) {
    const bool isChanged =
        std::ranges::any_of(hives_, [](const auto& hive) { return hive->IsChanged(); }) ||
        std::ranges::any_of(wines_, [](const Wine& wine) { return wine.store->IsChanged(); });
    if (!isChanged) return std::nullopt;
    std::error_code failure;
    std::filesystem::create_directories(journals, failure);
    if (failure) return VolumeError{journals + " can't be made: " + failure.message()};
    std::vector<std::string> kept = JournalsIn(journals);
    RegistryCommit commit(folder_, NextJournal(journals, kept));
    commit.SetKept(std::move(kept));
    for (const auto& hive : hives_) commit.Add(*hive);
    std::vector<std::pair<Wine*, std::string>> written;
    for (Wine& wine : wines_) {
        if (!wine.store->IsChanged()) continue;
        written.emplace_back(&wine, wine.store->Content());
        commit.AddText(wine.path, wine.before, written.back().second);
    }
    if (const auto error = commit.Run()) return ErrorOf(*error);
    for (auto& [wine, content] : written) wine->before = std::move(content);
    return std::nullopt;
}

}  // namespace bkfd
