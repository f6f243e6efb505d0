#include "base/Utf16Bytes.h"
#include "identity/CHashier.h"
#include "processes/AsideFiles.h"
#include "processes/CProcessManager.h"
#include "processes/ParasiteFileName.h"
#include "processes/RemovedFiles.h"
#include "services/ApplicationState.h"
#include "services/ErrorMode.h"
#include "services/FileUtil.h"
#include "services/RefusedChange.h"
#include "services/RegistryAccess.h"
#include "services/SysUtil.h"

namespace bkfd {
namespace {

constexpr std::size_t kLastColonOfADrive = 5;  // positions count from 1
constexpr std::int64_t kSecondsForHoldersToEnd = 2;
constexpr std::uint32_t kPauseMilliseconds = 10;  // between two looks at the clock

Files& Disk() {
    return TheMachine().FileSystem();
}

std::string Ansi(const Text& path) {
    return TheMachine().System().WideCharToMultiByte(path);
}

/// What differs between the families: the calls, and texts of the log.
struct RenameForm {
    Status (*setAttributes)(const Text& path, std::uint32_t attributes);
    Status (*remove)(const Text& path);
    Status (*move)(const Text& source, const Text& target);
    const char16_t* failure;
    const char16_t* source;
    const char16_t* encodedNameSource;
    const char16_t* handlerSource;
};

constexpr RenameForm kRenameNT = {
    [](const Text& path, std::uint32_t attributes) {
        return Disk().SetFileAttributesW(path, attributes);
    },
    [](const Text& path) { return Disk().DeleteFileW(path); },
    [](const Text& source, const Text& target) { return Disk().MoveFileW(source, target); },
    u"Failed to rename file '%1', (%2, %3). %4",
    u"CProcessManager.RenameFileNT",
    u"CProcessManager.RenameParasiteFileNT",  // differs on purpose
    u"CProcessManager.RenameFileNT",
};

constexpr RenameForm kRename9x = {
    [](const Text& path, std::uint32_t attributes) {
        return Disk().SetFileAttributesA(Ansi(path), attributes);
    },
    [](const Text& path) { return Disk().DeleteFileA(Ansi(path)); },
    [](const Text& source, const Text& target) {
        return Disk().MoveFileA(Ansi(source), Ansi(target));
    },
    u"Failed to rename file '%1', (%2, %3). %4(%5)",
    u"CProcessManager.RenameFile9x",
    u"CProcessManager.RenameFile9x",
    u"CProcessManager.RenameParasiteFile9x",  // differs on purpose
};

/// Each 8-bit unit of the text as one character, so that the encoded form holds any name.
Text ByteUnits(TextView text) {
    return FromBytes(ToUtf16Bytes(text));
}

/// A move of a file onto a name at which another one may lie. That one is moved aside, comes back
/// if the move fails, and is deleted if it succeeds.
class Replacement {
  public:
    Replacement(const RenameForm& form, Logger& logger, const Text& source, const Text& target)
        : form_(form), logger_(logger), source_(source), target_(target) {}

    /// Mends what a crash left of an earlier move.
    void Recover() {
        PutBack(source_);
        PutBack(target_);
    }

    Status Move() {
        const Status cleared = form_.setAttributes(source_, FileAttribute::Archive);
        // Nothing will take the target's place: what lies there needn't move.
        if (!cleared.IsNotThere() && FileUtil::FileExists(target_)) {
            (void)form_.move(target_, FreeAsideName(target_));
        }
        const Status moved = form_.move(source_, target_);
        if (moved.IsOk()) {
            DeleteAsides();
        } else {
            PutBack(target_);
        }
        return moved;
    }

  private:
    /// A file that is aside gets its name back, unless another one has it.
    void PutBack(const Text& path) {
        if (FileUtil::FileExists(path)) return;
        const Text aside = LastAside(path);
        if (aside.empty()) return;
        LogRefusedChange(logger_, form_.move(aside, path), u"give '" + path + u"' its name back",
                         form_.source);
    }

    void DeleteAsides() {
        for (Text aside = LastAside(target_); !aside.empty(); aside = LastAside(target_)) {
            (void)form_.setAttributes(aside, FileAttribute::Archive);
            const Status deleted = form_.remove(aside);
            LogRefusedChange(logger_, deleted, u"delete '" + aside + u"'", form_.source);
            if (!deleted.IsOk()) return;
        }
    }

    const RenameForm& form_;
    Logger& logger_;
    const Text& source_;
    const Text& target_;
};

void Rename(const RenameForm& form, Logger& logger, const Text& source, const Text& target,
            bool& ok) {
    Replacement replacement(form, logger, source, target);
    replacement.Recover();
    std::int32_t size = 0;
    const std::int32_t hash = gHashier->HashFromFullFileName(source, size);
    // A registration can name a folder, by a blank in a file's name: all programs may lie in it.
    const Status moved =
        FileUtil::FolderExists(source) ? Status{SystemError::AccessDenied} : replacement.Move();
    if (moved.IsOk()) {
        logger.Trace(SysUtil::FormatTemplate(u"File renamed sucessfullly: '%1', (%2, %3)",
                                             {source, size, hash}),
                     form.source);
        ok = true;
        return;
    }
    const auto code = static_cast<std::int32_t>(moved.code);
    logger.Trace(
        SysUtil::FormatTemplate(
            form.failure, {source, size, hash, SysUtil::SystemErrorText(moved.code), ToText(code)}),
        form.source);
    logger.Trace(u"Encoded file name: " + SysUtil::EncodeText(ByteUnits(source)),
                 form.encodedNameSource);
}

bool IsNoted(const Text& path) {
    Text value;
    (void)RegistryAccess().ReadString(kRemovedFilesRoot, kRemovedFilesKey, path, value);
    return !value.empty();
}

Status NoteRemoved(const Text& path) {
    return RegistryAccess().WriteString(kRemovedFilesRoot, kRemovedFilesKey, path, path);
}

void WaitForHoldersToEnd() {
    const auto now = [] { return TheMachine().System().GetLocalTime(); };
    const Date end = AddSeconds(now(), kSecondsForHoldersToEnd);
    while (now() < end) {
        SysUtil::PumpMessages();
        TheMachine().System().Sleep(kPauseMilliseconds);
    }
}

}  // namespace

void CProcessManager::SafeRenameFile(const Text& source, const Text& target, bool& ok) {
    if (gIsNT) {
        RenameFileNT(source, target, ok);
    } else {
        RenameFile9x(source, target, ok);
    }
}

void CProcessManager::RenameParasiteFilesEx(const KeyedList& files) {
    if (files.Count() == 0) return;
    const Text operation = u"CProcessManager.RenameParasiteFilesEx";
    LogErrors(*logger_, LogLevel::SystemFailure, operation, [&] {
        KeyedList filesToPostDelete;
        bool ok = false;
        for (const Variant& file : files) {
            const Text path = file.AsText();
            RenameParasiteFile(path, ok);
            if (!ok) filesToPostDelete.Add(path, path);
        }
        logger_->Trace(u"FilesToPostDelete.Count=" + ToText(filesToPostDelete.Count()), operation);
        if (filesToPostDelete.Count() == 0) return;
        // All of them end together, so that none is left to restore another.
        TerminateProcessesByModules(files, false);
        WaitForHoldersToEnd();
        for (const Variant& file : filesToPostDelete) RenameParasiteFile(file.AsText(), ok);
    });
}

void CProcessManager::RenameParasiteFileEx(const Text& file) {
    KeyedList files;
    files.Add(file, file);
    RenameParasiteFilesEx(files);
}

void CProcessManager::RenameParasiteFile(const Text& file, bool& ok) {
    const Text operation = u"CProcessManager.RenameParasiteFile";
    // The system reads a name up to its first NUL: what is noted must be what is moved.
    Text path;
    TrimAtNull(file, path);
    // A stream of a file, "file:stream", is put out of action with the file.
    if (const std::size_t colon = FindLast(path, u":"); colon > kLastColonOfADrive) {
        path.resize(colon - 1);
        logger_->Trace(SysUtil::FormatTemplate(u"Converting filename '%1' -> '%2'", {file, path}),
                       operation);
    }
    // Noted before the move, so that no crash leaves a disabled file that nothing tells of.
    const bool wasNoted = IsNoted(path);
    Status noted = NoteRemoved(path);
    SafeRenameFile(path, GetParasiteFileName(path), ok);
    if (!ok) {
        if (!wasNoted) {
            (void)RegistryAccess().DeleteValue(kRemovedFilesRoot, kRemovedFilesKey, path);
        }
        return;
    }
    if (!noted.IsOk()) noted = NoteRemoved(path);
    LogRefusedChange(*logger_, noted, u"note '" + path + u"' in the list of removed files",
                     operation);
}

void CProcessManager::RenameFileNT(const Text& source, const Text& target, bool& ok) {
    ok = false;
    LogErrors(*logger_, LogLevel::SystemFailure, kRenameNT.handlerSource,
              [&] { Rename(kRenameNT, *logger_, source, target, ok); });
}

void CProcessManager::RenameFile9x(const Text& source, const Text& target, bool& ok) {
    ok = false;
    LogErrors(*logger_, LogLevel::SystemFailure, kRename9x.handlerSource,
              [&] { Rename(kRename9x, *logger_, source, target, ok); });
}

}  // namespace bkfd
