#pragma once

#include <memory>
#include <optional>

#include "detection/Finding.h"
#include "identity/CFileInfoManager.h"
#include "services/Logger.h"

namespace bkfd {

/// Judges files, and answers what on this machine has to go. Nothing is changed by it.
class CPaDetector {
  public:
    /// Fills the four signature sets.
    CPaDetector();

    /// Must be called first. With a null manager the detector makes its own; one that is given is
    /// ignored, on purpose, and leaves the detector without any.
    void Init(LoggerRef logger, const std::shared_ptr<CFileInfoManager>& fileInfoManager);
    /// Names no company and isn't known to be good.
    bool IsSuspiciousRunningModule(const Text& file);
    /// Names no company, and its size and content hash are those of known good files.
    bool IsGoodRunningModule(const Text& file);
    bool IsSuspiciousBHO(const Text& file);
    bool IsParasiteBHO(const Text& file);
    bool IsParasiteRunningModule(const Text& file);
    /// The same; nothing when the judgment fails, which is logged.
    std::optional<bool> JudgeRunningModule(const Text& file);
    /// What on this machine has to go, why, and where it shows itself, if places are
    /// wanted. A failure is logged and leaves the results as far as they got.
    Detection Detect(bool keepsPlaces = true);
    /// The same as two lists, made anew: full paths of the files to disable, and class identifiers
    /// of the helper objects to delete, each once, as item and key.
    void DetectParasites(KeyedList& files, KeyedList& bhos);
    /// Of what a detection saw, the files that look wrong and aren't among its findings.
    std::vector<Finding> FindSuspicious(const Detection& detection);
    /// Makes the list anew: full paths, each as item and key, of running files and of helper
    /// objects that look wrong, then of all that `DetectParasites` finds. A failure is logged and
    /// leaves the list as far as it got.
    void DetectSuspiciousFiles(KeyedList& files);
    /// The same list as an XML document with each file's size, content hash, description and
    /// manufacturer: UTF-16LE behind its mark, one character a byte. A failure is logged and gives
    /// the empty text.
    Text MakeSuspiciousFilesXML();

  private:
    void FillParasiteSizes();
    void FillParasiteHashes();
    void FillGoodSizes();
    void FillGoodHashes();

    bool NamesNoCompany(const Text& file);
    /// A helper object that names no company and isn't spared.
    bool IsUnknownHelperObject(const Text& file);
    bool HasGoodContent(const Text& file);
    /// By listed size and hash, by lists that the user has added, or by the end of its name while
    /// it names no company.
    bool HasParasiteContent(const Text& file);
    /// The element of one file.
    Text DescribeFile(const Text& file);

    LoggerRef logger_;
    std::shared_ptr<CFileInfoManager> fileInfoManager_;
    KeyedList moParasiteSizes;
    KeyedList moParasiteHashes;
    KeyedList moGoodSizes;
    KeyedList moGoodHashes;
};

}  // namespace bkfd
