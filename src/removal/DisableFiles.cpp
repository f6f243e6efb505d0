#include "removal/DisableFiles.h"

#include "base/RuntimeError.h"
#include "base/Utf16Bytes.h"
#include "identity/CFileChecker.h"
#include "processes/CProcessManager.h"
#include "removal/CPaRemover.h"
#include "removal/MReboot.h"
#include "resources/StringTable.h"
#include "services/FileUtil.h"
#include "services/MAPI.h"
#include "services/SysUtil.h"

namespace bkfd {
namespace {

bool Confirms(const Text& question, int icon) {
    return ShowMessage(question, icon | MessageStyle::OkCancel) == MessageResult::Ok;
}

}  // namespace

Text DecodedFileName(const Text& text) {
    if (Find(text, u"\\") != 0) return text;
    try {
        const Text name = FromUtf16Bytes(SysUtil::TextToBytes(text));
        return Find(name, u"\\") != 0 ? name : text;
    } catch (const RuntimeError&) {
        return text;  // not an encoded text at all
    }
}

bool CollectFilesToDisable(const std::vector<Text>& names, const LoggerRef& logger,
                           NamedFiles& named) {
    CFileChecker checker;
    checker.Init(logger);
    for (const Text& name : names) {
        const Text file = checker.GetFullFileNameFromShortFilename(Trim(name));
        if (!FileUtil::FileExists(file)) {
            // The message says that it is unloaded from memory; it isn't, on purpose.
            const Text question =
                SysUtil::FormatTemplate(ResourceString(StringId::FileToDisableNotFound), {file});
            if (!Confirms(question, MessageStyle::Exclamation)) return false;
            named.missing.push_back(file);
        } else if (!named.files.Exists(file)) {
            named.files.Add(file, file);
        }
    }
    return true;
}

void DisableFiles(const KeyedList& files, const LoggerRef& logger, const Text& source) {
    for (const Variant& file : files) logger->Trace(u"Disabling " + file.AsText(), source);
    CProcessManager processManager;
    processManager.Init(logger);
    processManager.RenameParasiteFilesEx(files);
    processManager.TerminateProcessesByModules(files, true);
    CPaRemover remover;
    remover.Init(logger);
    remover.RestoreConfigurationSettings();
    if (Confirms(ResourceString(StringId::ProgramsDisabled), MessageStyle::Information)) {
        RestartWindowsAndEnd(*logger, source);
    }
}

}  // namespace bkfd
