#include "platform/undo/UndoRecorder.h"

#include "platform/OrderedFile.h"
#include "platform/undo/RecordTerms.h"
#include "platform/undo/UndoFolder.h"

namespace bkfd {
namespace {

/// Kind and place, which stay when a change is tried again.
Text TryKey(const UndoChange& change) {
    const Text kind(RecordTerms::NameOf(change.kind));
    // What is deleted gets another kept name with each try.
    const bool isMove = change.kind == UndoChange::Kind::MoveFile;
    return ToLower(kind + u'\n' + ToHex(static_cast<std::uint32_t>(change.root)) + change.name +
                   u'\n' + (isMove ? change.target : change.value));
}

}  // namespace

void UndoRecorder::Begin(TextView operation, std::optional<RecordId> undoes) {
    End();
    isBegun_ = true;
    operation_ = operation;
    undoes_ = undoes;
    id_ = 0;
    failure_ = {};
}

void UndoRecorder::End() {
    const bool isToStay = count_ > 0 || isConcluded_;
    if (file_ != nullptr && isToStay && failure_.IsOk()) {
        (void)Append(std::exchange(head_, {}) +
                     FormatUndoFoot(count_, refused_.size() + (isWhole_ ? 0 : 1)));
        (void)file_->FlushFileBuffers();
    }
    if (file_ != nullptr && !isToStay) Discard();
    file_.reset();
    isBegun_ = false;
    head_.clear();
    operation_ = UndoOperation::kOther;
    undoes_.reset();
    count_ = 0;
    refused_.clear();
    isWhole_ = true;
    isConcluded_ = false;
    names_.clear();
}

void UndoRecorder::Conclude(bool isWhole) {
    isWhole_ = isWhole;
    isConcluded_ = isWhole && Open().IsOk();
}

Status UndoRecorder::Open() {
    if (file_ != nullptr) return failure_;
    if (isBegun_ && !failure_.IsOk()) return failure_;
    failure_ = Create();
    return failure_;
}

/// Nothing was noted, so nothing was changed.
void UndoRecorder::Discard() {
    file_.reset();
    (void)machine_.FileSystem().DeleteFileW(UndoRecordPath(machine_.System(), id_));
    id_ = 0;
}

Status UndoRecorder::Create() {
    Files& files = machine_.FileSystem();
    const Text folder = UndoFolderPath(machine_.System());
    if (files.GetFileAttributesW(folder).IsNotThere()) {
        const Status made = files.CreateDirectoryW(folder);
        if (!made.IsOk()) return made;
    }
    constexpr int kTries = 100;  // others may make records at the same time
    for (int i = 0; i < kTries; ++i) {
        const std::vector<RecordId> ids = ListRecordIds(machine_);
        const RecordId newest = ids.empty() ? 0 : ids.back();
        const Status alone = CheckIsAlone(newest);
        if (!alone.IsOk()) return alone;
        auto file =
            files.CreateFileW(UndoRecordPath(machine_.System(), newest + 1), FileMode::CreateNew);
        if (file.code == SystemError::FileExists) continue;
        if (!file.IsOk()) return file;
        file_ = std::move(file.value);
        id_ = newest + 1;
        head_ = Head(id_);
        return {};
    }
    return {SystemError::SharingViolation};
}

/// Whoever works has the newest record open, and shares it with readers alone.
Status UndoRecorder::CheckIsAlone(RecordId newest) {
    if (newest == 0) return {};
    const Text path = UndoRecordPath(machine_.System(), newest);
    const auto opened = machine_.FileSystem().CreateFileW(path, FileMode::Append);
    return opened.code == SystemError::SharingViolation ? Status(opened) : Status{};
}

std::string UndoRecorder::Head(RecordId id) {
    UndoRecord head;
    head.id = id;
    head.operation = operation_;
    head.time = FormatDate(machine_.System().GetLocalTime());
    head.program = program_;
    if (const auto version = machine_.System().GetVersionExW(); version.IsOk()) {
        head.windows = ToText(version.value.major) + u"." + ToText(version.value.minor) + u"." +
                       ToText(version.value.build & 0xFFFF);
    }
    head.undoes = undoes_;
    return FormatUndoHead(head);
}

Status UndoRecorder::Append(const std::string& lines) {
    return file_->WriteFile({reinterpret_cast<const std::uint8_t*>(lines.data()), lines.size()});
}

/// Before what is noted is changed. A machine that writes its changes to a journal takes the lines
/// along there, which saves it every second wait for the disk.
Status UndoRecorder::Settle() {
    auto* const ordered = dynamic_cast<OrderedFile*>(file_.get());
    return ordered != nullptr ? ordered->WriteBarrier() : file_->FlushFileBuffers();
}

Status UndoRecorder::Note(const std::vector<UndoChange>& changes) {
    if (IsOff()) return {};
    const Status opened = Open();
    if (!opened.IsOk()) return opened;
    std::string lines = std::exchange(head_, {});
    for (const UndoChange& change : changes) lines += FormatUndoChange(change);
    failure_ = Append(lines);
    if (failure_.IsOk()) failure_ = Settle();
    if (failure_.IsOk()) count_ += changes.size();
    lastTry_ = TryKey(changes.back());
    return failure_;
}

Status UndoRecorder::Tell(Status outcome) {
    if (!failure_.IsOk() || file_ == nullptr) return outcome;
    if (outcome.IsOk()) {
        refused_.erase(lastTry_);
        return outcome;
    }
    refused_.insert(lastTry_);
    // If it can't be written, the state of the place tells it.
    failure_ = Append(FormatUndoOutcome(count_ - 1, outcome));
    return outcome;
}

Text UndoRecorder::KeptName() const {
    const Text record = UndoRecordPath(machine_.System(), id_);
    return record.substr(0, record.rfind(u'.')) + u"-" +
           ToText(static_cast<std::int64_t>(count_) + 1) + u".kept";
}

std::map<Text, Text>* UndoRecorder::NamesIn(const Text& place) {
    const auto found = names_.find(place);
    return found == names_.end() ? nullptr : &found->second;
}

void UndoRecorder::KeepNames(const Text& place, const std::vector<NamedRegistryValue>& names) {
    auto& spelled = names_[place];
    for (const auto& named : names) spelled[ToLower(named.name)] = named.name;
}

}  // namespace bkfd
