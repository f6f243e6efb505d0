#include <algorithm>

#include "platform/undo/UndoFolder.h"
#include "platform/undo/UndoMachine.h"

namespace bkfd {
namespace {

using Kind = UndoChange::Kind;

constexpr std::uint32_t kSettable = FileAttribute::ReadOnly | FileAttribute::Hidden |
                                    FileAttribute::System | FileAttribute::Archive;
constexpr std::size_t kPiece = 64 * 1024;

UndoChange ChangeOf(Kind kind, TextView path) {
    UndoChange change;
    change.kind = kind;
    change.name = UpToNul(path);
    return change;
}

bool IsTemporary(TextView name, TextView prefix) {
    return name.starts_with(prefix) && name.ends_with(u".tmp");
}

}  // namespace

/// Logs, backups, records, and the temporary files of these and of reports.
bool UndoMachine::UndoFiles::IsOwn(TextView path) {
    if (recorder_.IsOff()) return true;
    const Text folded = ToLower(UpToNul(path));
    const Text records = ToLower(UndoFolderPath(system_)) + u"\\";
    const Text program = records.substr(0, records.size() - TextView(u"undo\\").size());
    const Text temporary = ToLower(system_.GetTempPathW());
    if (folded.starts_with(records) || folded.starts_with(program + u"backup\\")) return true;
    if (folded + u"\\" == records || folded == program + u"backup") return true;
    const std::size_t last = folded.rfind(u'\\');
    if (last == Text::npos) return false;
    const Text folder = folded.substr(0, last + 1);
    const TextView name = TextView(folded).substr(last + 1);
    if (folder == program) {
        return name == u"bkfd.log" || name == u"short.log" || IsTemporary(name, u"bkf");
    }
    return folder == temporary && (IsTemporary(name, u"bkf") || IsTemporary(name, u"sc"));
}

Status UndoMachine::UndoFiles::NoteAttributes(TextView path, std::uint32_t attributes) {
    const auto before = target_.GetFileAttributesW(path);
    if (before.IsNotThere() || IsOwn(path)) return {};
    if (!before.IsOk()) return before;
    UndoChange change = ChangeOf(Kind::SetAttributes, path);
    change.attributesBefore = before.value & kSettable;
    change.attributesAfter = attributes & kSettable;
    if (change.attributesBefore == change.attributesAfter) return {};
    return recorder_.Note({change});
}

Status UndoMachine::UndoFiles::SetFileAttributesW(TextView path, std::uint32_t attributes) {
    const Status noted = NoteAttributes(path, attributes);
    return noted.IsOk() ? target_.SetFileAttributesW(path, attributes) : noted;
}

Status UndoMachine::UndoFiles::SetFileAttributesA(std::string_view path, std::uint32_t attributes) {
    const Status noted = NoteAttributes(system_.MultiByteToWideChar(path), attributes);
    return noted.IsOk() ? target_.SetFileAttributesA(path, attributes) : noted;
}

Status UndoMachine::UndoFiles::DeleteFileW(TextView path) {
    const auto attributes = target_.GetFileAttributesW(path);
    constexpr std::uint32_t kRefused = FileAttribute::Directory | FileAttribute::ReadOnly;
    const bool isRefused = !attributes.IsOk() || (attributes.value & kRefused) != 0;
    if (isRefused || IsOwn(path)) return target_.DeleteFileW(path);
    const Status opened = recorder_.Open();
    if (!opened.IsOk()) return opened;
    const auto spelled = Spelled(path);
    if (!spelled.IsOk()) return spelled;
    UndoChange change = ChangeOf(Kind::DeleteFile, spelled.value);
    change.target = recorder_.KeptName();
    change.content = ContentOf(target_, path);
    const Status noted = recorder_.Note({change});
    return noted.IsOk() ? recorder_.Tell(target_.MoveFileW(path, change.target)) : noted;
}

Status UndoMachine::UndoFiles::DeleteFileA(std::string_view path) {
    return DeleteFileW(system_.MultiByteToWideChar(path));
}

/// The path with its last name as the disk has it.
Result<Text> UndoMachine::UndoFiles::Spelled(TextView path) {
    Text spelled(UpToNul(path));
    FindData data;
    const Handle search = target_.FindFirstFileW(spelled, data);
    if (search == kInvalidHandle) return Status{SystemError::IoDevice};
    (void)target_.FindClose(search);
    return spelled.substr(0, spelled.rfind(u'\\') + 1) + data.name;
}

Status UndoMachine::UndoFiles::NoteMove(TextView source, TextView target) {
    const auto spelled = Spelled(source);
    if (!spelled.IsOk()) return spelled;
    UndoChange change = ChangeOf(Kind::MoveFile, spelled.value);
    change.target = UpToNul(target);
    change.content = ContentOf(target_, source);
    return recorder_.Note({change});
}

Status UndoMachine::UndoFiles::MoveFileW(TextView source, TextView target) {
    const auto move = [&] { return target_.MoveFileW(source, target); };
    if (IsOwn(source) && IsOwn(target)) return move();
    if (!target_.GetFileAttributesW(source).IsOk() || target_.GetFileAttributesW(target).IsOk()) {
        return move();  // which fails
    }
    const Status noted = NoteMove(source, target);
    return noted.IsOk() ? recorder_.Tell(move()) : noted;
}

Status UndoMachine::UndoFiles::MoveFileA(std::string_view source, std::string_view target) {
    const Text from = system_.MultiByteToWideChar(source);
    const Text to = system_.MultiByteToWideChar(target);
    const auto move = [&] { return target_.MoveFileA(source, target); };
    if (IsOwn(from) && IsOwn(to)) return move();
    if (!target_.GetFileAttributesW(from).IsOk() || target_.GetFileAttributesW(to).IsOk()) {
        return move();
    }
    const Status noted = NoteMove(from, to);
    return noted.IsOk() ? recorder_.Tell(move()) : noted;
}

Status UndoMachine::UndoFiles::MoveFileExW(TextView source, TextView target) {
    const auto move = [&] { return target_.MoveFileExW(source, target); };
    if ((IsOwn(source) && IsOwn(target)) || !target_.GetFileAttributesW(source).IsOk()) {
        return move();
    }
    if (!IsOwn(target)) {
        const Status kept = NoteContent(target);
        if (!kept.IsOk()) return kept;
    }
    const Status noted = IsOwn(source) ? Status{} : NoteMove(source, target);
    return noted.IsOk() ? recorder_.Tell(move()) : noted;
}

Status UndoMachine::UndoFiles::CreateDirectoryW(TextView path) {
    const auto make = [&] { return target_.CreateDirectoryW(path); };
    if (IsOwn(path) || target_.GetFileAttributesW(path).IsOk()) return make();
    const Status noted = recorder_.Note({ChangeOf(Kind::MakeFolder, path)});
    return noted.IsOk() ? recorder_.Tell(make()) : noted;
}

Status UndoMachine::UndoFiles::KeepCopy(TextView path, const Text& kept) {
    const auto from = target_.CreateFileW(path, FileMode::Read);
    if (!from.IsOk()) return from;
    const auto to = target_.CreateFileW(kept, FileMode::CreateNew);
    if (!to.IsOk()) return to;
    Bytes piece(kPiece);
    for (std::uint64_t done = 0;;) {
        const auto count = from.value->ReadFile(done, piece);
        if (!count.IsOk()) return count;
        if (count.value == 0) return to.value->FlushFileBuffers();
        const Status written =
            to.value->WriteFile(std::span<const std::uint8_t>(piece).first(count.value));
        if (!written.IsOk()) return written;
        done += count.value;
    }
}

/// Before a file is made, written to or replaced.
Status UndoMachine::UndoFiles::NoteContent(TextView path) {
    const auto attributes = target_.GetFileAttributesW(path);
    if (attributes.IsOk() && (attributes.value & FileAttribute::Directory) != 0) return {};
    UndoChange change = ChangeOf(Kind::WriteFile, path);
    Status status = recorder_.Open();
    if (status.IsOk() && attributes.IsOk()) {
        change.target = recorder_.KeptName();
        change.attributesBefore = attributes.value;
        change.content = ContentOf(target_, path);
        status = KeepCopy(path, change.target);
    }
    return status.IsOk() ? recorder_.Note({change}) : status;
}

Result<std::unique_ptr<OpenFile>> UndoMachine::UndoFiles::CreateFileW(TextView path,
                                                                      FileMode mode) {
    const auto open = [&] { return target_.CreateFileW(path, mode); };
    if (mode == FileMode::Read || IsOwn(path)) return open();
    if (mode == FileMode::CreateNew && target_.GetFileAttributesW(path).IsOk()) return open();
    const Status noted = NoteContent(path);
    if (!noted.IsOk()) return noted;
    auto opened = open();
    (void)recorder_.Tell(opened);
    return opened;
}

}  // namespace bkfd
