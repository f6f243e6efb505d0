#pragma once

#include <string>
#include <vector>

#include "cli/MachineSession.h"

namespace bkfd {

enum class Verdict { Clean, Parasites, Incomplete };

/// A file that has to go, and what is known of it.
struct FoundFile {
    Text path;
    std::string why;                  // the engine's reason
    std::vector<std::string> places;  // where it shows itself: "module of explorer.exe"
    std::int32_t size = 0;            // 0 for a file that isn't there
    std::int32_t hash = 0;
    Text manufacturer;
};

/// A helper object whose registration has to go.
struct FoundHelper {
    Text clsid;
    Text name;
    Text file;  // empty for a registration without a file
};

struct ScanResult {
    Verdict verdict = Verdict::Clean;
    std::vector<FoundFile> files;
    std::vector<FoundHelper> helpers;
    std::vector<Text> suspicious;
    std::vector<Unreadable> unreadable;
    std::size_t helpersSeen = 0;
    std::size_t startupItemsSeen = 0;
    std::size_t processesSeen = 0;
};

/// Runs the detection of parasites on the installed machine and, if wanted, the search for
/// suspicious files, which lists the parasites' files too.
ScanResult Scan(MachineSession& session, bool wantsSuspicious);
int ExitCodeOf(Verdict verdict);
Json ScanToJson(const ScanResult& result);
/// The result for people.
void PrintScan(const Console& console, const std::string& windowsText, const ScanResult& result);

}  // namespace bkfd
