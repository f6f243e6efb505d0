#include "detection/CPaDetector.h"

#include <array>
#include <charconv>
#include <limits>
#include <utility>

#include "base/RuntimeError.h"
#include "detection/AddedSignatures.h"
#include "detection/CBHOManager.h"
#include "detection/DetectionPass.h"
#include "detection/MFileEnum.h"
#include "identity/CHashier.h"
#include "resources/SignatureLists.h"
#include "services/ErrorMode.h"
#include "services/SysUtil.h"
#include "services/WideDocument.h"

namespace bkfd {
namespace {

/// The only file that is good by its name alone.
constexpr TextView kSessionManager = u"\\systemroot\\system32\\smss.exe";
// Helper objects that are spared although they name no company.
constexpr TextView kSparedHelperObjects[] = {u"\\acroiehelper.ocx", u"\\pcshared\\nmiehelp.dll"};
/// Spared by the cleanup, yet suspicious, on purpose.
constexpr TextView kSparedByCleanup = u"\\acroiefavclient.dll";

constexpr TextView kFileElement = u"<f i='%1'><c s='%2' h='%3'/><d i='%4'/><m i='%5'/></f>";

const Text kDetectSuspiciousFiles = u"CPaDetector.DetectSuspiciousFiles";

/// What a signature set knows a number by.
Text SignatureKey(std::int32_t number) {
    std::array<char, 16> key{'_'};
    const auto end = std::to_chars(key.data() + 1, key.data() + key.size(), number).ptr;
    return {key.data(), end};
}

Variant SmallestInteger(std::int32_t value) {
    if (value > std::numeric_limits<std::int16_t>::max()) return value;
    return static_cast<std::int16_t>(value);
}

void Fill(KeyedList& set, SignatureList values) {
    set.Reserve(values.size());
    for (const std::int32_t value : values) set.Add(SmallestInteger(value), SignatureKey(value));
}

bool EndsWith(TextView path, TextView lowerCaseEnd) {
    return path.size() >= lowerCaseEnd.size() &&
           EqualsIgnoreCase(path.substr(path.size() - lowerCaseEnd.size()), lowerCaseEnd);
}

/// The shared hasher's answer.
Text HashKey(const Text& file) {
    if (gHashier == nullptr) throw RuntimeError(ErrorNumber::ObjectNotSet);
    std::int32_t readSize = 0;  // the size that counts is the directory's
    return SignatureKey(gHashier->HashFromFullFileName(file, readSize));
}

/// A name that is a parasite's whatever the file holds, and even if there is none: ".tmp" anywhere
/// in the last component, or a colon in it, as an alternate stream has.
bool HasParasiteName(const Text& file) {
    const Text name = ToLower(TextView(file).substr(FindLast(file, u"\\")));
    return Find(name, u".tmp") != 0 || FindLast(file, u":") > FindLast(file, u"\\");
}

}  // namespace

CPaDetector::CPaDetector() {
    FillParasiteSizes();
    FillParasiteHashes();
    FillGoodSizes();
    FillGoodHashes();
}

void CPaDetector::FillParasiteSizes() {
    Fill(moParasiteSizes, kParasiteSizes);
}
void CPaDetector::FillParasiteHashes() {
    Fill(moParasiteHashes, kParasiteHashes);
}
void CPaDetector::FillGoodSizes() {
    Fill(moGoodSizes, kGoodSizes);
}
void CPaDetector::FillGoodHashes() {
    Fill(moGoodHashes, kGoodHashes);
}

void CPaDetector::Init(LoggerRef logger, const std::shared_ptr<CFileInfoManager>& fileInfoManager) {
    logger_ = std::move(logger);
    if (fileInfoManager != nullptr) return;  // ignored, on purpose
    fileInfoManager_ = std::make_shared<CFileInfoManager>();
    fileInfoManager_->Init(logger_);
}

// ---------------------------------------------------------------- judgments

bool CPaDetector::IsSuspiciousRunningModule(const Text& file) {
    bool suspicious = false;
    LogErrors(*logger_, LogLevel::SystemFailure, u"CPaDetector.IsSuspiciousRunningModule",
              [&] { suspicious = !IsGoodRunningModule(file) && NamesNoCompany(file); });
    return suspicious;
}

bool CPaDetector::IsGoodRunningModule(const Text& file) {
    bool good = false;
    LogErrors(*logger_, LogLevel::SystemFailure, u"CPaDetector.IsGoodRunningModule", [&] {
        good = EqualsIgnoreCase(file, kSessionManager) ||
               (NamesNoCompany(file) && HasGoodContent(file));
    });
    return good;
}

bool CPaDetector::IsSuspiciousBHO(const Text& file) {
    bool suspicious = false;
    LogErrors(*logger_, LogLevel::SystemFailure, u"CPaDetector.IsSuspiciousBHO",
              [&] { suspicious = IsUnknownHelperObject(file); });
    return suspicious;
}

bool CPaDetector::IsParasiteBHO(const Text& file) {
    bool parasite = false;
    LogErrors(*logger_, LogLevel::SystemFailure, u"CPaDetector.IsParasiteBHO",
              [&] { parasite = IsUnknownHelperObject(file) && !EndsWith(file, kSparedByCleanup); });
    return parasite;
}

bool CPaDetector::IsParasiteRunningModule(const Text& file) {
    return JudgeRunningModule(file).value_or(false);
}

std::optional<bool> CPaDetector::JudgeRunningModule(const Text& file) {
    std::optional<bool> parasite;
    LogErrors(*logger_, LogLevel::SystemFailure, u"CPaDetector.IsParasiteRunningModule",
              [&] { parasite = HasParasiteName(file) || HasParasiteContent(file); });
    return parasite;
}

bool CPaDetector::NamesNoCompany(const Text& file) {
    if (fileInfoManager_ == nullptr) throw RuntimeError(ErrorNumber::ObjectNotSet);
    Text manufacturer;
    Text description;
    fileInfoManager_->GetFileInfo(file, manufacturer, description);
    return manufacturer.empty();
}

bool CPaDetector::IsUnknownHelperObject(const Text& file) {
    if (!NamesNoCompany(file)) return false;
    for (const TextView spared : kSparedHelperObjects) {
        if (EndsWith(file, spared)) return false;
    }
    return true;
}

bool CPaDetector::HasGoodContent(const Text& file) {
    if (moGoodSizes.Exists(SignatureKey(GetFileSizeLow(file))) &&
        moGoodHashes.Exists(HashKey(file))) {
        return true;
    }
    InstalledSignatures* const added = TheAddedSignatures();
    return added != nullptr && added->Knows(added->Lists().good, file);
}

bool CPaDetector::HasParasiteContent(const Text& file) {
    const std::int32_t size = GetFileSizeLow(file);
    if (size == 0) return false;  // not there, or nothing in it
    if (moParasiteSizes.Exists(SignatureKey(size)) && moParasiteHashes.Exists(HashKey(file))) {
        return true;
    }
    InstalledSignatures* const added = TheAddedSignatures();
    if (added != nullptr && added->Knows(added->Lists().parasites, file)) return true;
    return (EndsWith(file, u"32.exe") || EndsWith(file, u"\\se.dll")) && NamesNoCompany(file);
}

// ---------------------------------------------------------------- detection

Detection CPaDetector::Detect(bool keepsPlaces) {
    DetectionPass pass(*this, logger_, keepsPlaces);
    LogErrors(*logger_, LogLevel::SystemFailure, u"CPaDetector.DetectParasites",
              [&] { pass.Run(); });
    return pass.Take();
}

void CPaDetector::DetectParasites(KeyedList& files, KeyedList& bhos) {
    files = KeyedList();
    bhos = KeyedList();
    const Detection detection = Detect(false);
    for (const Finding& file : detection.files) files.Add(file.path, file.path);
    for (const HelperObject& object : detection.bhos) {
        if (!bhos.Exists(object.clsid)) bhos.Add(object.clsid, object.clsid);
    }
}

// ---------------------------------------------------------------- suspicious files

std::vector<Finding> CPaDetector::FindSuspicious(const Detection& detection) {
    SuspiciousSearch search(*this, true);
    LogErrors(*logger_, LogLevel::SystemFailure, kDetectSuspiciousFiles, [&] {
        search.AddPrograms(detection.programs);
        search.AddHelperObjects(detection.helperObjects);
    });
    KeyedList parasites;
    for (const Finding& file : detection.files) parasites.Add(file.path, file.path);
    std::vector<bool> isParasite;
    for (const Finding& file : search.Found().All()) {
        isParasite.push_back(parasites.Exists(file.path));
    }
    search.Found().Remove(isParasite);
    search.Found().AddRegistryPlaces(detection.helperObjects, detection.startupItems);
    return search.Found().Take();
}

void CPaDetector::DetectSuspiciousFiles(KeyedList& files) {
    files = KeyedList();
    SuspiciousSearch search(*this, false);
    KeyedList parasites;
    LogErrors(*logger_, LogLevel::SystemFailure, kDetectSuspiciousFiles, [&] {
        search.AddPrograms(ListRunningPrograms());
        CBHOManager bhoManager;
        bhoManager.Init(logger_);
        const auto helperObjects = bhoManager.ListHelperObjects();
        if (!helperObjects) throw RuntimeError(ErrorNumber::ObjectNotSet);
        search.AddHelperObjects(*helperObjects);
        KeyedList bhos;
        DetectParasites(parasites, bhos);
    });
    for (const Finding& file : search.Found().All()) files.Add(file.path, file.path);
    for (const Variant& parasite : parasites) {
        if (!files.Exists(parasite.AsText())) files.Add(parasite, parasite.AsText());
    }
}

Text CPaDetector::MakeSuspiciousFilesXML() {
    Text result;
    LogErrors(*logger_, LogLevel::SystemFailure, u"CPaDetector.MakeSuspiciousFilesXML", [&] {
        KeyedList files;
        DetectSuspiciousFiles(files);
        Text document = u"<xml>";
        for (const Variant& file : files) document += DescribeFile(file.AsText());
        result = WideDocument(document += u"</xml>");
    });
    return result;
}

Text CPaDetector::DescribeFile(const Text& file) {
    if (gHashier == nullptr || fileInfoManager_ == nullptr) {
        throw RuntimeError(ErrorNumber::ObjectNotSet);
    }
    std::int32_t size = 0;
    const std::int32_t hash = gHashier->HashFromFullFileName(file, size);
    Text manufacturer;
    Text description;
    fileInfoManager_->GetFileInfo(file, manufacturer, description);
    return SysUtil::FormatTemplate(
        kFileElement, {SysUtil::XmlEscape(file), size, hash, SysUtil::XmlEscape(description),
                       SysUtil::XmlEscape(manufacturer)});
}

}  // namespace bkfd
