#include "removal/DisableFiles.h"

#include <algorithm>
#include <iterator>

#include "base/RuntimeError.h"
#include "base/Utf16Bytes.h"
#include "identity/CFileChecker.h"
#include "platform/undo/RecordedOperation.h"
#include "processes/CProcessManager.h"
#include "removal/CPaRemover.h"
#include "removal/MReboot.h"
#include "resources/StringTable.h"
#include "services/FileUtil.h"
#include "services/MAPI.h"
#include "services/SysUtil.h"
#include "undo/KeptChanges.h"

namespace bkfd {
namespace {

bool Confirms(const Text& question, int icon) {
    return ShowMessage(question, icon | MessageStyle::OkCancel) == MessageResult::Ok;
}

constexpr TextView kBlanks = u" \t\r\n\u00A0";

/// The name that one encoded text stands for, or nothing.
Text Decoded(TextView encoded) {
    try {
        const Text name = FromUtf16Bytes(SysUtil::TextToBytes(encoded));
        return Find(name, u"\\") != 0 ? name : Text();
    } catch (const RuntimeError&) {
        return {};  // not an encoded text at all
    }
}

std::vector<TextView> Words(TextView text) {
    std::vector<TextView> words;
    for (std::size_t at = 0; (at = text.find_first_not_of(kBlanks, at)) != TextView::npos;) {
        const std::size_t end = std::min(text.find_first_of(kBlanks, at), text.size());
        words.push_back(text.substr(at, end - at));
        at = end;
    }
    return words;
}

/// Whether a name begins here, and no rest of one: neither a colon nor two backslashes are inside.
bool IsWholePath(const Text& name) {
    return name.find(u":\\") == 1 || name.starts_with(u"\\\\");
}

/// The same of a word that may be the first of several that a name was broken into.
bool BeginsPath(TextView word) {
    constexpr std::size_t kEncodedStart = 8;  // three characters of a name
    return IsWholePath(Decoded(word.substr(0, kEncodedStart)));
}

}  // namespace

std::vector<Text> DecodedFileNames(const Text& text) {
    if (Find(text, u"\\") != 0) return {text};
    Text joined;
    std::vector<Text> encoded;
    for (const TextView word : Words(text)) {
        joined += word;
        if (encoded.empty() || BeginsPath(word)) encoded.emplace_back();
        encoded.back() += word;
    }
    std::vector<Text> names;
    std::ranges::transform(encoded, std::back_inserter(names), Decoded);
    if (!names.empty() && std::ranges::all_of(names, IsWholePath)) return names;
    const Text name = Decoded(joined);
    return {name.empty() ? text : name};
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
    const RecordedOperation operation(UndoOperation::kDisableFiles);
    for (const Variant& file : files) logger->Trace(u"Disabling " + file.AsText(), source);
    CProcessManager processManager;
    processManager.Init(logger);
    processManager.RenameParasiteFilesEx(files);
    processManager.TerminateProcessesByModules(files, true);
    CPaRemover remover;
    remover.Init(logger);
    remover.RestoreConfigurationSettings();
    if (TellIfNotKept(*logger, source)) return;
    if (Confirms(ResourceString(StringId::ProgramsDisabled), MessageStyle::Information)) {
        RestartWindowsAndEnd(*logger, source);
    }
}

}  // namespace bkfd
