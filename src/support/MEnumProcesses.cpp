#include "support/MEnumProcesses.h"

#include "detection/CPaDetector.h"
#include "detection/identity/CFileChecker.h"
#include "detection/identity/CFileInfoManager.h"
#include "detection/identity/CHashier.h"
#include "removal/processes/CProcessManager.h"
#include "removal/processes/KnownSystemFiles.h"
#include "services/ApplicationState.h"
#include "services/ItemList.h"
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
Text Finished(Text document) {
    return gIsNT ? WideDocument(document) : Text(kDeclaration) + document;
}

/// Walks the tree and writes the document of processes; keeps each file that it names.
class ProcessReport {
  public:
    explicit ProcessReport(const LoggerRef& logger) {
        checker_.Init(logger);
        detector_.Init(logger, nullptr);
    }

    void Add(const ItemNode& process) {
        const Text path = checker_.GetFullFileNameFromShortFilename(process.Id);
        bool isReported = !IsSystemProcess(path) && !detector_.IsGoodRunningModule(path);
        if (isReported) Open(process, path);
        for (const auto& child : process.Children()) {
            SysUtil::PumpMessages();
            const Text module = checker_.GetFullFileNameFromShortFilename(child->Id);
            if (IsSystemModule(module) || detector_.IsGoodRunningModule(module)) continue;
            if (!isReported) Open(process, path);
            isReported = true;
            Note(module);
            document_ += u"<M f='" + SysUtil::XmlEscape(module) + u"'/>";
        }
        if (isReported) document_ += u"</P>";
    }

    Text Document() const { return u"<Ps>" + document_ + u"</Ps>"; }
    const KeyedList& SeenFiles() const { return seenFiles_; }

  private:
    void Open(const ItemNode& process, const Text& path) {
        Note(path);
        document_ += u"<P f='" + SysUtil::XmlEscape(process.Id) + u"'>";
    }

    void Note(const Text& path) {
        if (!seenFiles_.Exists(path)) seenFiles_.Add(path, path);
    }

    CFileChecker checker_;
    CPaDetector detector_;
    KeyedList seenFiles_;
    Text document_;
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
    return element += u"</f>";
}

}  // namespace

Text MakeProcessReport(Text& filesDocument, LoggerRef logger) {
    CProcessManager processes;
    processes.Init(logger);
    std::shared_ptr<ItemList> tree;
    processes.EnumProcs(tree);
    ProcessReport report(logger);
    for (const auto& process : Walk(tree)) report.Add(*process);

    Text files = u"<Files>";
    CFileInfoManager info;
    info.Init(MakeFileLogger());  // a logger of its own, never opened
    for (const Variant& path : report.SeenFiles()) files += DescribeFile(info, path.AsText());
    filesDocument = Finished(files += u"</Files>");
    return Finished(report.Document());
}

}  // namespace bkfd
