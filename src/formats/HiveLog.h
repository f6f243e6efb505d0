#pragma once

#include <string>
#include <vector>

#include "formats/HiveFormat.h"

/// Logs of hives (X.LOG, X.LOG1, X.LOG2): changes that may not have reached the hive. The old form
/// has a bitmap of pages (up to Windows 8), the new one entries, each a write to the hive.
namespace bkfd {

/// Bytes that go to a place of the hive's file.
struct HivePage {
    std::uint64_t at = 0;
    ByteView bytes;  // of a log
};

enum class HiveState {
    Clean,       // logs, if there are any, are done with
    Recovered,   // by the pages of its logs
    Unrecovered  // dirty, and no log fits
};

/// What the logs of a hive make of it.
struct HiveRecovery {
    HiveState state = HiveState::Clean;
    std::uint64_t size = 0;                                      // the file's, in bytes, afterwards
    std::vector<HivePage> pages;                                 // written in this order
    std::array<std::uint8_t, hive::kBaseBlockUsed> baseBlock{};  // written last
    std::vector<std::string> notes;                              // for people, a clause each
};

/// Finds out whether the hive is dirty and which pages of its logs complete it, without changing
/// anything. A hive that isn't dirty is left alone, whatever its logs hold. Of logs of the old form
/// that fit, by the time of the last write, the newest counts; the entries of logs of the new form
/// count as far as their numbers follow each other over all logs and their hashes are right. The
/// result has views into the logs.
HiveRecovery PlanHiveRecovery(ByteView hive, std::span<const ByteView> logs);

/// Writes what was planned into an image of the file of at least the planned size.
void ApplyHiveRecovery(const HiveRecovery& recovery, std::span<std::uint8_t> image);

}  // namespace bkfd
