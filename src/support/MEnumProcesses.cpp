#include "support/MEnumProcesses.h"

#include <unordered_map>
#include <utility>

#include "detection/CPaDetector.h"
#include "identity/CFileChecker.h"
#include "identity/CFileInfoManager.h"
#include "identity/CHashier.h"
#include "processes/KnownSystemFiles.h"
#include "processes/RunningProgram.h"
#include "services/ApplicationState.h"
#include "services/SysUtil.h"
#include "services/WideDocument.h"

namespace bkfd {
namespace {

constexpr TextView kDeclaration = u"<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>";

bool IsSystemProcess(const Text& path) {
    return gIsNT ? IsSystemProcessNT(path) : IsSystemProcess9x(path);
}

bool IsSystemModule(const Text& path) {
    return gIsNT ? IsSystemModuleNT(path) : IsSystemModule9x(path);
}

/// The document in the encoding of the machine's family.
Text Finished(const Text& document) {
    return gIsNT ? WideDocument(document) : Text(kDeclaration) + document;
}

/// Writes the document of processes, one at a time; keeps each file that it names.
class ProcessReport {
  public:
    explicit ProcessReport(const LoggerRef& logger) {
        checker_.Init(logger);
        detector_.Init(logger, nullptr);
    }

    void Add(const RunningProgram& process) {
        const Text path = checker_.GetFullFileNameFromShortFilename(process.path);
        // The list holds one name in the form in which the system reports it.
        const bool isSystem = IsSystemProcess(process.path) || IsSystemProcess(path);
        bool isReported = !isSystem && !detector_.IsGoodRunningModule(path);
        if (isReported) Open(process, path);
        for (const Text& loaded : process.modules) {
            SysUtil::PumpMessages();
            const Module& module = Judge(loaded);
            if (module.element.empty()) continue;
            if (!isReported) Open(process, path);
            isReported = true;
            Note(module.path);
            document_ += module.element;
        }
        if (isReported) document_ += u"</P>";
    }

    Text TakeDocument() { return std::move(document_) + u"</Ps>"; }
    KeyedList TakeSeenFiles() { return std::move(seenFiles_); }

  private:
    struct Module {
        Text path;
        Text element;  // empty for a module that is left out
    };

    /// Most modules are loaded in many processes; each is judged once.
    const Module& Judge(const Text& loaded) {
        const auto [place, isNew] = modules_.try_emplace(loaded);
        Module& module = place->second;
        if (isNew) {
            module.path = checker_.GetFullFileNameFromShortFilename(loaded);
            if (!IsSystemModule(module.path) && !detector_.IsGoodRunningModule(module.path)) {
                module.element = u"<M f='" + SysUtil::XmlEscape(module.path) + u"'/>";
            }
        }
        return module;
    }

    void Open(const RunningProgram& process, const Text& path) {
        Note(path);
        document_ += u"<P f='" + SysUtil::XmlEscape(process.path) + u"'>";
    }

    void Note(const Text& path) {
        if (!seenFiles_.Exists(path)) seenFiles_.Add(path, path);
    }

    CFileChecker checker_;
    CPaDetector detector_;
    std::unordered_map<Text, Module> modules_;
    KeyedList seenFiles_;
    Text document_ = u"<Ps>";
};

/// A file of a known maker is described by what it says of itself, an anonymous one by what it is.
Text DescribeFile(CFileInfoManager& info, const Text& path) {
    Text manufacturer;
    Text description;
    info.GetFileInfo(path, manufacturer, description);
    Text element = u"<f i='" + SysUtil::XmlEscape(path) + u"'>";
    if (!manufacturer.empty()) {
        element += u"<d i='" + SysUtil::XmlEscape(description) + u"'/>";
        element += u"<m i='" + SysUtil::XmlEscape(manufacturer) + u"'/>";
    } else {
        std::int32_t size = 0;
        const std::int32_t hash = gHashier->HashFromFullFileName(path, size);
        element += u"<c s='" + ToText(size) + u"' h='" + ToText(hash) + u"'/>";
    }
    element += u"</f>";
    return element;
}

/// The document of processes, and the files that it names. What it took is gone on return, and a
/// process's modules before: a machine with many modules has a large list.
Text DescribeProcesses(const LoggerRef& logger, KeyedList& seenFiles) {
    auto programs = gIsNT ? ListRunningProgramsNT() : ListRunningPrograms9x();
    ProcessReport report(logger);
    for (RunningProgram& program : programs) report.Add(std::exchange(program, {}));
    seenFiles = report.TakeSeenFiles();
    return report.TakeDocument();
}

Text DescribeFiles(const KeyedList& files) {
    Text document = u"<Files>";
    CFileInfoManager info;
    info.Init(MakeFileLogger());  // a logger of its own, never opened
    for (const Variant& path : files) document += DescribeFile(info, path.AsText());
    document += u"</Files>";
    return document;
}

}  // namespace

Text MakeProcessReport(Text& filesDocument, const LoggerRef& logger) {
    KeyedList seenFiles;
    Text processes = Finished(DescribeProcesses(logger, seenFiles));
    filesDocument = Finished(DescribeFiles(seenFiles));
    return processes;
}

}  // namespace bkfd
