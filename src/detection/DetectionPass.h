#pragma once

#include <unordered_map>

#include "detection/Finding.h"
#include "services/Logger.h"

namespace bkfd {

class CPaDetector;

/// One pass over the three places where parasites show themselves. The order of its steps and its
/// lines in the log are fixed.
class DetectionPass {
  public:
    DetectionPass(CPaDetector& detector, LoggerRef logger, bool keepsPlaces)
        : detector_(detector), logger_(std::move(logger)), files_(keepsPlaces) {}

    /// An inventory that failed, or a failure in a walk, is a RuntimeError; what was found until
    /// then stays.
    void Run();
    /// What was seen and found, with its places.
    Detection Take();

  private:
    /// How a file was met among the running ones.
    struct Sighting {
        const RunningProgram& program;
        bool isProgram;  // not a module of it
    };
    struct Judged {
        bool isParasite;
        std::int32_t number;  // of the finding, if it is one
    };

    void JudgeHelperObjects();
    void JudgeStartupItems();
    void JudgePrograms();
    void JudgeRunning(const Text& path, const Sighting& sighting);
    /// The judgment of a lower-cased path, and its first report; nothing when the judgment failed.
    const Judged* Judge(const Text& path, Reason reason);
    /// Good outranks every rule that put a file on the list. Helper objects stay on theirs.
    void RemoveGoodFiles();

    CPaDetector& detector_;
    LoggerRef logger_;
    Detection seen_;
    FindingList files_;
    KeyedList bhos_;
    std::unordered_map<Text, Judged> judged_;  // most modules are loaded in many processes
};

/// The search for files that merely look wrong: running ones and helper objects that name no
/// company.
class SuspiciousSearch {
  public:
    SuspiciousSearch(CPaDetector& detector, bool keepsPlaces)
        : detector_(detector), files_(keepsPlaces) {}

    void AddPrograms(const std::vector<RunningProgram>& programs);
    void AddHelperObjects(const std::vector<HelperObject>& helperObjects);
    FindingList& Found() { return files_; }

  private:
    void AddRunning(const Text& path, const RunningProgram& program, Reason reason);

    CPaDetector& detector_;
    FindingList files_;
    std::unordered_map<Text, std::int32_t> judged_;  // to the finding's number
};

}  // namespace bkfd
