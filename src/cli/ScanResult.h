#pragma once

#include <functional>
#include <optional>
#include <vector>

#include "cli/MachineSession.h"
#include "detection/Finding.h"
#include "ignore/PassOver.h"
#include "panels/SettingInfo.h"

namespace bkfd {

enum class Verdict { Clean, Parasites, Incomplete };

/// A file that was found, and what is known of it.
struct FoundFile {
    Finding finding;
    bool exists = false;
    bool isFolder = false;  // under that name; the file doesn't exist then
    std::int32_t size = 0;  // 0 for a file that isn't there or can't be read
    std::int32_t hash = 0;
    std::optional<std::string> sha256;  // nothing for one that can't be read
    Text company;
    Text description;
};

struct FoundSetting {
    int number = 0;
    SettingInfo info;
    Text user;  // whose it is, of a machine of several users; else empty
};

struct ScanResult {
    Verdict verdict = Verdict::Clean;
    std::vector<FoundFile> files;        // to disable
    std::vector<HelperObject> bhos;      // to delete
    std::vector<FoundFile> suspicious;   // those that aren't among the files to disable
    std::vector<FoundSetting> settings;  // all, by number from 1; of each user in turn
    std::vector<PassedOver> ignored;     // found, and on the machine's ignore list
    std::vector<Unreadable> unreadable;
    std::size_t helperObjectsSeen = 0;
    std::size_t startupItemsSeen = 0;
    std::size_t programsSeen = 0;
};

/// What a scan asks for beside the installed machine.
struct ScanSources {
    LoggerRef logger;
    /// Calls what it is given as each user in turn.
    std::function<void(const std::function<void(const Text& user)>& work)> forEachUser;
    std::vector<StartPlace> startPlaces;
    /// What could not be read when all users were looked at.
    std::function<std::vector<Unreadable>()> unreadable;
};

/// Runs the detection of parasites and, if wanted, the search for suspicious files, and judges the
/// browser's settings, for all users in turn.
ScanResult Scan(const ScanSources& sources, bool wantsSuspicious);
ScanResult Scan(MachineSession& session, bool wantsSuspicious);
int ExitCodeOf(Verdict verdict);
/// Adds the result to a document that says which machine it is about.
void AddToDocument(const ScanResult& result, Json& document);
/// The result for people.
void PrintScan(const Console& console, const Text& windowsText, const ScanResult& result);

}  // namespace bkfd
