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

}  // namespace

/// Whether it is in the program's folder or the temporary one, with the name of a file that becomes
/// another one when it is whole.
bool UndoMachine::UndoFiles::IsTemporaryName(TextView path) {
    const Text folded = ToLower(UpToNul(path));
    const Text name = folded.substr(folded.rfind(u'\\') + 1);
    const Text folder = folded.substr(0, folded.size() - name.size());
    const bool isTheirs = folder == ProgramFolder() || folder == ToLower(system_.GetTempPathW());
    return isTheirs && name.starts_with(u"bkf") && name.ends_with(u".tmp");
}

/// Lower-cased, with its backslash.
Text UndoMachine::UndoFiles::ProgramFolder() {
    const Text records = ToLower(UndoFolderPath(system_));
    return records.substr(0, records.rfind(u'\\') + 1);
}

/// Logs, backups, records and the ignore list, and temporary files that this run has made: one of
/// such a name that was there before may be anybody's.
bool UndoMachine::UndoFiles::IsOwn(TextView path) {
    if (recorder_.IsOff()) return true;
    const Text folded = ToLower(UpToNul(path));
    if (temporary_.contains(folded)) return true;
    const Text program = ProgramFolder();
    if (!folded.starts_with(program)) return false;
    const TextView below = TextView(folded).substr(program.size());
    const TextView first = below.substr(0, below.find(u'\\'));
    constexpr TextView kOwnFiles[] = {u"bkfd.log", u"short.log", u"ignore.txt"};
    return first == u"undo" || first == u"backup" ||
           std::ranges::find(kOwnFiles, below) != std::end(kOwnFiles);
}

/// A temporary file that is gone under its name leaves it to anybody.
Status UndoMachine::UndoFiles::Forgotten(TextView path, Status outcome) {
    if (outcome.IsOk()) temporary_.erase(ToLower(UpToNul(path)));
    return outcome;
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
    const bool isRefused = attributes.IsNotThere() || (attributes.value & kRefused) != 0;
    if (isRefused || IsOwn(path)) return Forgotten(path, target_.DeleteFileW(path));
    if (!attributes.IsOk()) return attributes;
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

/// Whether there is something to move and nothing in the way; a move that must fail needs no
/// record. An error where that can't be told, since the move might be made after all.
Result<bool> UndoMachine::UndoFiles::CanMove(TextView source, TextView target) {
    const auto from = target_.GetFileAttributesW(source);
    if (!from.IsOk() && !from.IsNotThere()) return Status(from);
    return from.IsOk() && !target_.GetFileAttributesW(target).IsOk();
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
    const auto move = [&] { return Forgotten(source, target_.MoveFileW(source, target)); };
    if (IsOwn(source) && IsOwn(target)) return move();
    const auto canMove = CanMove(source, target);
    if (!canMove.IsOk()) return canMove;
    if (!canMove.value) return move();
    const Status noted = NoteMove(source, target);
    return noted.IsOk() ? recorder_.Tell(move()) : noted;
}

Status UndoMachine::UndoFiles::MoveFileA(std::string_view source, std::string_view target) {
    const Text from = system_.MultiByteToWideChar(source);
    const Text to = system_.MultiByteToWideChar(target);
    const auto move = [&] { return Forgotten(from, target_.MoveFileA(source, target)); };
    if (IsOwn(from) && IsOwn(to)) return move();
    const auto canMove = CanMove(from, to);
    if (!canMove.IsOk()) return canMove;
    if (!canMove.value) return move();
    const Status noted = NoteMove(from, to);
    return noted.IsOk() ? recorder_.Tell(move()) : noted;
}

Status UndoMachine::UndoFiles::MoveFileExW(TextView source, TextView target) {
    const auto move = [&] { return Forgotten(source, target_.MoveFileExW(source, target)); };
    if (IsOwn(source) && IsOwn(target)) return move();
    const auto from = target_.GetFileAttributesW(source);
    if (from.IsNotThere()) return move();
    if (!from.IsOk()) return from;
    if (!IsOwn(target)) {
        const Status kept = NoteContent(target);
        if (!kept.IsOk()) return kept;
    }
    const Status noted = IsOwn(source) ? Status{} : NoteMove(source, target);
    return noted.IsOk() ? recorder_.Tell(move()) : noted;
}

Status UndoMachine::UndoFiles::CreateDirectoryW(TextView path) {
    const auto make = [&] { return target_.CreateDirectoryW(path); };
    const bool isTheirs = ToLower(UpToNul(path)) + u'\\' == ProgramFolder();
    if (isTheirs || IsOwn(path) || target_.GetFileAttributesW(path).IsOk()) return make();
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
    if (!attributes.IsOk() && !attributes.IsNotThere()) return attributes;
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
    if (mode == FileMode::CreateNew && IsTemporaryName(path)) {
        auto made = open();
        if (made.IsOk()) temporary_.insert(ToLower(UpToNul(path)));
        return made;
    }
    const Status noted = NoteContent(path);
    if (!noted.IsOk()) return noted;
    auto opened = open();
    (void)recorder_.Tell(opened);
    return opened;
}

}  // namespace bkfd
