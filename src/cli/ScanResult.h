#pragma once

#include <functional>
#include <optional>
#include <vector>

#include "cli/MachineSession.h"
#include "detection/Finding.h"
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

struct ScanResult {
    Verdict verdict = Verdict::Clean;
    std::vector<FoundFile> files;       // to disable
    std::vector<HelperObject> bhos;     // to delete
    std::vector<FoundFile> suspicious;  // those that aren't among the files to disable
    std::vector<SettingInfo> settings;  // all, by number from 1
    std::vector<Unreadable> unreadable;
    std::size_t helperObjectsSeen = 0;
    std::size_t startupItemsSeen = 0;
    std::size_t programsSeen = 0;
};

/// Runs the detection of parasites on the installed machine and, if wanted, the search for
/// suspicious files, and judges the browser's settings. `unreadable` tells what could not be read
/// when all of that is done.
ScanResult Scan(const LoggerRef& logger, bool wantsSuspicious,
                const std::function<std::vector<Unreadable>()>& unreadable);
int ExitCodeOf(Verdict verdict);
/// Adds the result to a document that says which machine it is about.
void AddToDocument(const ScanResult& result, Json& document);
/// The result for people.
void PrintScan(const Console& console, const Text& windowsText, const ScanResult& result);

}  // namespace bkfd
