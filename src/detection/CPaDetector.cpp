#include "detection/CPaDetector.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <unordered_set>
#include <utility>

#include "base/RuntimeError.h"
#include "detection/CBHOManager.h"
#include "detection/CStartupManager.h"
#include "detection/MFileEnum.h"
#include "identity/CHashier.h"
#include "processes/CProcessManager.h"
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

/// How the NT family reports the programs that the kernel starts.
constexpr TextView kNativePrefix = u"\\??\\";

constexpr TextView kFileElement = u"<f i='%1'><c s='%2' h='%3'/><d i='%4'/><m i='%5'/></f>";

const Text kDetectParasites = u"CPaDetector.DetectParasites";

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

/// Adds a path or an identifier under itself; false when it is there already.
bool AddOnce(KeyedList& list, const Text& entry) {
    if (list.Exists(entry)) return false;
    list.Add(entry, entry);
    return true;
}

Text FirstValue(const ItemNode& item, TextView param) {
    return item.params(param).Values(1).AsText();
}

/// The file of a helper object, empty where it has none.
Text FileOf(ItemNode& helperObject) {
    return helperObject.params().Exists(u"DLL") ? FirstValue(helperObject, u"DLL") : Text();
}

bool IsProgramOf(const ItemList& processes, TextView path) {
    return std::ranges::any_of(
        processes, [&](const auto& process) { return EqualsIgnoreCase(process->Id, path); });
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

void CPaDetector::Init(LoggerRef logger, std::shared_ptr<CFileInfoManager> fileInfoManager) {
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
               (NamesNoCompany(file) && moGoodSizes.Exists(SignatureKey(GetFileSizeLow(file))) &&
                moGoodHashes.Exists(HashKey(file)));
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

bool CPaDetector::HasParasiteContent(const Text& file) {
    const std::int32_t size = GetFileSizeLow(file);
    if (size == 0) return false;  // not there, or nothing in it
    if (moParasiteSizes.Exists(SignatureKey(size)) && moParasiteHashes.Exists(HashKey(file))) {
        return true;
    }
    return (EndsWith(file, u"32.exe") || EndsWith(file, u"\\se.dll")) && NamesNoCompany(file);
}

// ---------------------------------------------------------------- detection

void CPaDetector::DetectParasites(KeyedList& files, KeyedList& bhos) {
    LogErrors(*logger_, LogLevel::SystemFailure, kDetectParasites, [&] {
        files = KeyedList();
        bhos = KeyedList();
        CProcessManager processManager;
        processManager.Init(logger_);
        CBHOManager bhoManager;
        bhoManager.Init(logger_);
        CStartupManager startupManager;
        startupManager.Init(logger_);

        const auto helperObjects = bhoManager.EnumBHOs();
        AddHelperObjects(Walk(helperObjects), files, bhos);
        const auto startupItems = startupManager.EnumItems();
        std::shared_ptr<ItemList> processes;
        processManager.EnumProcs(processes);
        AddRunningNonamers(Walk(startupItems), processes, files);
        AddRunningModules(Walk(processes), files);
        RemoveGoodFiles(files);
    });
}

void CPaDetector::AddHelperObjects(const ItemList& helperObjects, KeyedList& files,
                                   KeyedList& bhos) {
    for (const auto& helperObject : helperObjects) {
        const Text dll = FileOf(*helperObject);
        if (!dll.empty()) {
            if (!IsParasiteBHO(dll)) continue;
            AddOnce(files, dll);
        }
        AddOnce(bhos, helperObject->Id);  // one without a file is a dead registration
    }
}

void CPaDetector::AddRunningNonamers(const ItemList& startupItems,
                                     const std::shared_ptr<ItemList>& processes, KeyedList& files) {
    for (const auto& item : startupItems) {
        if (!FirstValue(*item, u"Manufacturer").empty()) continue;
        const Text dll = ToLower(FirstValue(*item, u"DLL"));
        // Programs only: a startup item that is merely loaded as a module isn't running.
        if (!IsProgramOf(Walk(processes), dll) || !AddOnce(files, dll)) continue;
        logger_->Trace(u"RunningStartupNonamer found: " + dll, kDetectParasites);
    }
}

void CPaDetector::AddRunningModules(const ItemList& processes, KeyedList& files) {
    // Most modules are loaded in many processes. A judgment that failed is tried, and logged, anew.
    std::unordered_set<Text> judged;
    const auto addIfParasite = [&](const Text& path, const Text& report) {
        if (judged.contains(path)) return;
        const auto parasite = JudgeRunningModule(path);
        if (parasite) judged.insert(path);
        if (!parasite.value_or(false) || !AddOnce(files, path)) return;
        logger_->Trace(report + path, kDetectParasites);
    };
    for (const auto& process : processes) {
        addIfParasite(ToLower(process->Id), u"Running parasite process: ");
        for (const auto& module : process->Children()) {
            addIfParasite(ToLower(module->Id), u"Running parasite module: ");
        }
    }
}

/// Good outranks every rule that put a file on the list. Helper objects stay on theirs.
void CPaDetector::RemoveGoodFiles(KeyedList& files) {
    KeyedList exceptions;
    for (const Variant& file : files) {
        if (IsGoodRunningModule(file.AsText())) exceptions.Add(file, file.AsText());
    }
    for (const Variant& file : exceptions) files.Remove(file.AsText());
}

// ---------------------------------------------------------------- suspicious files

void CPaDetector::DetectSuspiciousFiles(KeyedList& files) {
    LogErrors(*logger_, LogLevel::SystemFailure, u"CPaDetector.DetectSuspiciousFiles", [&] {
        files = KeyedList();
        CProcessManager processManager;
        processManager.Init(logger_);
        std::shared_ptr<ItemList> processes;
        processManager.EnumProcs(processes);
        AddSuspiciousModules(Walk(processes), files);
        processes.reset();  // a large tree, and the next one follows

        CBHOManager bhoManager;
        bhoManager.Init(logger_);
        const auto helperObjects = bhoManager.EnumBHOs();
        AddSuspiciousHelperObjects(Walk(helperObjects), files);

        KeyedList parasites;
        KeyedList bhos;
        DetectParasites(parasites, bhos);
        for (const Variant& parasite : parasites) AddOnce(files, parasite.AsText());
    });
}

void CPaDetector::AddSuspiciousModules(const ItemList& processes, KeyedList& files) {
    std::unordered_set<Text> judged;  // most modules are loaded in many processes
    const auto addIfSuspicious = [&](const Text& file) {
        if (!judged.insert(file).second) return;
        if (IsSuspiciousRunningModule(file)) AddOnce(files, file);
    };
    for (const auto& process : processes) {
        // Modules keep the prefix, on purpose.
        const bool isNative = process->Id.starts_with(kNativePrefix);
        addIfSuspicious(isNative ? process->Id.substr(kNativePrefix.size()) : process->Id);
        for (const auto& module : process->Children()) addIfSuspicious(module->Id);
    }
}

void CPaDetector::AddSuspiciousHelperObjects(const ItemList& helperObjects, KeyedList& files) {
    for (const auto& helperObject : helperObjects) {
        const Text dll = FileOf(*helperObject);
        if (!dll.empty() && IsSuspiciousBHO(dll)) AddOnce(files, dll);
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
