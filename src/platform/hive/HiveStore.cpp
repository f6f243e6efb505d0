#include "platform/hive/HiveStore.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>

#include "base/Utf16Bytes.h"
#include "platform/hive/HostErrors.h"
#include "platform/model/RegistryTree.h"

namespace bkfd {

using namespace hive;

namespace {

namespace fs = std::filesystem;

/// What a hive may grow by in one use; address space, not memory.
constexpr std::size_t kRoomToGrow = std::size_t{256} << 20;
constexpr int kMostLinks = 32;
constexpr std::uint32_t kLinkType = 6;  // REG_LINK
constexpr std::size_t kFirstBinTimeAt = kBaseBlockSize + 20;

Status StatusOf(const HiveFault& fault) {
    return {fault.rule == HiveRule::NoSuchName ? SystemError::FileNotFound
                                               : SystemError::RegistryCorrupt};
}

/// What stands in a list for an entry that can't be read.
Text PlaceOf(const HiveFault& fault) {
    char place[32];
    (void)std::snprintf(place, sizeof place, "cell 0x%x", fault.cell);
    return u'\uFFFD' + FromAscii(place);
}

std::string LowerCase(std::string text) {
    std::ranges::transform(text, text.begin(), [](unsigned char unit) {
        return static_cast<char>(std::tolower(unit));
    });
    return text;
}

constexpr std::uint64_t kSecondsFrom1601 = 11'644'473'600;  // to 1970
constexpr std::uint64_t kTicksASecond = 10'000'000;         // of FILETIME

}  // namespace

std::uint64_t FileTimeNow() {
    timespec now{};
    (void)clock_gettime(CLOCK_REALTIME, &now);
    return (static_cast<std::uint64_t>(now.tv_sec) + kSecondsFrom1601) * kTicksASecond +
           static_cast<std::uint64_t>(now.tv_nsec) / 100;
}

std::int64_t UnixTimeOf(std::uint64_t fileTime) {
    return static_cast<std::int64_t>(fileTime / kTicksASecond) -
           static_cast<std::int64_t>(kSecondsFrom1601);
}

std::uint64_t FileTimeOf(std::uint64_t unixTime) {
    if (unixTime > UINT64_MAX / kTicksASecond - kSecondsFrom1601) return 0;
    return (unixTime + kSecondsFrom1601) * kTicksASecond;
}

std::vector<std::string> FindHiveLogs(const std::string& path) {
    const fs::path hive(path);
    const std::string name = LowerCase(hive.filename().string());
    std::vector<std::string> found;
    std::error_code ignored;
    const fs::path folder = hive.has_parent_path() ? hive.parent_path() : fs::path(".");
    for (const auto& entry : fs::directory_iterator(folder, ignored)) {
        const std::string other = LowerCase(entry.path().filename().string());
        if (other == name + ".log" || other == name + ".log1" || other == name + ".log2") {
            found.push_back(entry.path().string());
        }
    }
    std::ranges::sort(found, {}, LowerCase);
    return found;
}

HiveStore::Opened HiveStore::Open(const std::string& path, Options options) {
    std::unique_ptr<HiveStore> store(new HiveStore(path, std::move(options)));
    if (auto error = store->Load()) return *std::move(error);
    return store;
}

/// Of the file as it is read.
std::size_t HiveStore::SizeOf(const MappedFile& file, const std::string& path) const {
    const auto former = options_.former.find(path);
    return former == options_.former.end() ? file.FileSize() : former->second.size;
}

/// Puts the former pages into the mapping, and zeros behind the former end.
void HiveStore::ShowFormer(const MappedFile& file, const std::string& path) const {
    const auto former = options_.former.find(path);
    if (former == options_.former.end()) return;
    const auto bytes = file.Bytes();
    for (const auto& [number, page] : former->second.pages) {
        std::ranges::copy(page, bytes.begin() + static_cast<std::ptrdiff_t>(number * kFilePage));
    }
    for (std::size_t at = former->second.size; at < file.FileSize(); ++at) bytes[at] = 0;
}

/// Maps a file as it is to be read, with at least so many bytes; false leaves errno.
bool HiveStore::Map(MappedFile& file, const std::string& path, std::size_t size) const {
    const auto former = options_.former.find(path);
    const std::size_t least = former == options_.former.end() ? 0 : former->second.size;
    if (!file.Open(path, std::max(size, least))) return false;
    ShowFormer(file, path);
    return true;
}

std::optional<RegistryFileError> HiveStore::Load() {
    if (!Map(file_, path_, 0)) return ErrnoError(path_);
    const std::size_t fileSize = SizeOf(file_, path_);
    std::vector<MappedFile> logs;
    std::vector<ByteView> views;
    std::vector<std::string> paths;
    const auto base = ReadHiveBaseBlock(file_.Bytes().first(fileSize));
    if (base && base->IsDirty()) {
        for (const std::string& path : FindHiveLogs(path_)) {
            MappedFile log;
            if (!Map(log, path, 0)) {
                notes_.push_back("its log " + path + " can't be read: " + std::strerror(errno));
                continue;
            }
            views.emplace_back(log.Bytes().first(SizeOf(log, path)));
            paths.push_back(path);
            logs.push_back(std::move(log));
        }
    }
    const HiveRecovery recovery = PlanHiveRecovery(file_.Bytes().first(fileSize), views);
    if (!Map(file_, path_, std::max<std::size_t>(fileSize, recovery.size) + kRoomToGrow)) {
        return ErrnoError(path_);
    }
    editor_ = std::make_unique<HiveEditor>(file_.Bytes(), fileSize, options_.clock);
    state_ = recovery.state;
    if (state_ == HiveState::Recovered) {
        Replay(recovery);
        replayedLogs_ = std::move(paths);
    }
    notes_.insert(notes_.end(), recovery.notes.begin(), recovery.notes.end());
    const auto opened = Hive::Open(editor_->File());
    if (const auto* const refusal = std::get_if<std::string>(&opened)) {
        return RegistryFileError{SystemError::RegistryCorrupt, path_, *refusal};
    }
    const HiveBaseBlock& block = std::get<Hive>(opened).BaseBlock();
    sequence_ = block.primarySequence;
    isCut_ = editor_->File().size() < kBaseBlockSize + std::size_t{block.binsSize};
    return std::nullopt;
}

void HiveStore::Replay(const HiveRecovery& recovery) {
    HiveCells& cells = editor_->Cells();
    for (const HivePage& page : recovery.pages) cells.PutIntoFile(page.at, page.bytes);
    cells.PutIntoFile(0, recovery.baseBlock);
    notes_.emplace_back("wasn't written to the end; its logs were replayed");
}

std::optional<RegistryFileError> HiveStore::Reload() {
    editor_.reset();
    notes_.clear();
    replayedLogs_.clear();
    isChanged_ = false;
    return Load();
}

std::vector<std::string> HiveStore::Notes() const {
    std::vector<std::string> notes = notes_;
    if (file_.HasFailed()) notes.emplace_back("has a part that the disk doesn't give");
    if (isCut_) notes.emplace_back("is shorter than it says");
    return notes;
}

std::unique_ptr<RegistryStore> HiveStore::Fork() const {
    std::unique_ptr<HiveStore> fork(new HiveStore(path_, options_));
    if (!fork->file_.OpenAgain(file_)) return nullptr;
    fork->ShowFormer(fork->file_, path_);
    fork->editor_ =
        std::make_unique<HiveEditor>(fork->file_.Bytes(), SizeOf(file_, path_), options_.clock);
    const ByteView content = Content();
    for (const std::size_t page : ChangedPages()) {
        const std::size_t at = page * kBinUnit;
        if (at >= content.size()) continue;
        fork->editor_->Cells().PutIntoFile(
            at, content.subspan(at, std::min(kBinUnit, content.size() - at)));
    }
    fork->state_ = state_;
    fork->sequence_ = sequence_;
    fork->notes_ = notes_;
    return fork;
}

void HiveStore::Seal() {
    const ByteView content = Content();
    const auto first = content.first(kBaseBlockUsed);
    Bytes block(first.begin(), first.end());
    Bytes time(8);
    Write64(time, 0, options_.clock());
    // The first bin has a copy of the time, where the two were the same.
    const bool hasCopy = content.size() >= kFirstBinTimeAt + 8 &&
                         Read64(content, kFirstBinTimeAt) == Read64(block, 12);
    Write32(block, 4, sequence_ + 1);
    Write32(block, 8, sequence_ + 1);
    std::ranges::copy(time, block.begin() + 12);
    Write32(block, kChecksumAt, HiveChecksum(block));
    editor_->Cells().PutIntoFile(0, block);
    if (hasCopy) editor_->Cells().PutIntoFile(kFirstBinTimeAt, time);
}

// ---------------------------------------------------------------- paths

/// Nothing is found below a damaged list, unless it is found all the same.
Result<HiveKey> HiveStore::Step(const HiveKey& key, TextView name) const {
    const auto found = View().FindSubkey(key, name);
    if (!found) return StatusOf(*found.fault);
    return *found;
}

/// The path in this hive that a link leads to; false if it leads elsewhere.
bool HiveStore::TargetOf(const HiveKey& link, Text& path) const {
    const auto value = View().FindValue(link, u"SymbolicLinkValue");
    std::vector<ByteView> pieces;
    if (!value || value->Type() != kLinkType || View().Data(*value, pieces)) return false;
    Bytes data;
    for (const ByteView piece : pieces) data.insert(data.end(), piece.begin(), piece.end());
    const Text target(UpToNul(FromUtf16Bytes(data)));
    const Text& top = options_.mountedAt;
    if (top.empty() || target.size() < top.size() ||
        !EqualsIgnoreCase(TextView(target).substr(0, top.size()), top)) {
        return false;
    }
    path = target.substr(top.size());
    return path.empty() || path.front() == u'\\';
}

Result<HiveKey> HiveStore::Find(TextView path) const {
    Text rest(path);
    for (int links = 0; links <= kMostLinks; ++links) {
        const auto root = View().Root();
        if (!root) return StatusOf(*root.fault);
        HiveKey key = *root;
        TextView left = rest;
        TextView name = NextKeyComponent(left);
        for (; !name.empty() && !key.IsLink(); name = NextKeyComponent(left)) {
            const auto next = Step(key, name);
            if (!next.IsOk()) return next;
            key = next.value;
        }
        if (!key.IsLink()) return key;
        Text target;
        if (!TargetOf(key, target)) return Status{SystemError::CantResolveFilename};
        rest = target + u'\\' + Text(name) + Text(left);
    }
    return Status{SystemError::CantResolveFilename};
}

/// The last key of the path that is there, and the names of those behind it.
Status HiveStore::FindToMake(TextView path, CellOffset& key, std::vector<Text>& missing) const {
    if (IsTooDeepKey(path)) return {SystemError::InvalidParameter};
    Text there(path);
    for (;;) {
        const auto found = Find(there);
        if (found.IsOk()) {
            key = found.value.Offset();
            return {};
        }
        if (!found.IsNotThere()) return found;
        while (!there.empty() && there.back() == u'\\') there.pop_back();
        if (there.empty()) return {SystemError::CantResolveFilename};  // the root, as a link
        const std::size_t start = there.rfind(u'\\') == Text::npos ? 0 : there.rfind(u'\\') + 1;
        missing.insert(missing.begin(), there.substr(start));
        there.resize(start);
    }
}

// ---------------------------------------------------------------- reading

Result<std::uint64_t> HiveStore::LastWritten(TextView key) {
    const auto found = Find(key);
    if (!found.IsOk()) return Status(found);
    return found.value.LastWritten();
}

Result<RegistryValue> HiveStore::QueryValue(TextView key, TextView name) {
    const auto found = Find(key);
    if (!found.IsOk()) return Status(found);
    const auto value = View().FindValue(found.value, name);
    if (!value) return StatusOf(*value.fault);
    std::vector<ByteView> pieces;
    if (const auto fault = View().Data(*value, pieces)) return StatusOf(*fault);
    RegistryValue read{static_cast<RegistryType>(value->Type()), {}};
    for (const ByteView piece : pieces) {
        read.data.insert(read.data.end(), piece.begin(), piece.end());
    }
    return read;
}

Result<std::vector<Text>> HiveStore::EnumKeys(TextView key) {
    const auto found = Find(key);
    if (!found.IsOk()) return Status(found);
    std::vector<Text> names;
    std::size_t left =
        View().BinsSize() / kKeySize + 1;  // what lists that share leaves can't use up
    View().ForEachSubkey(found.value, [&](const HiveResult<HiveListEntry>& entry) {
        const auto subkey = entry ? View().Key(entry->key) : HiveResult<HiveKey>{{}, entry.fault};
        names.push_back(subkey ? subkey->Name().ToText() : PlaceOf(*subkey.fault));
        return --left > 0;
    });
    return names;
}

Result<std::vector<Text>> HiveStore::EnumValues(TextView key) {
    const auto found = Find(key);
    if (!found.IsOk()) return Status(found);
    std::vector<Text> names;
    View().ForEachValue(found.value, [&](const HiveResult<HiveValue>& value) {
        names.push_back(value ? value->Name().ToText() : PlaceOf(*value.fault));
        return true;
    });
    return names;
}

// ---------------------------------------------------------------- changing

Status HiveStore::Finish(const HiveChange& change) {
    switch (change.outcome) {
        case HiveOutcome::Done:
            isChanged_ = true;
            return {};
        case HiveOutcome::NotFound:
            return {SystemError::FileNotFound};
        case HiveOutcome::HasSubkeys:
            return {SystemError::AccessDenied};
        case HiveOutcome::TooLong:
            return {SystemError::InvalidParameter};
        case HiveOutcome::Full:
            return {SystemError::DiskFull};
        case HiveOutcome::Damaged:
            break;
    }
    return {SystemError::RegistryCorrupt};
}

Status HiveStore::MakeKey(TextView key) {
    CellOffset start = kNoCell;
    std::vector<Text> missing;
    const Status found = FindToMake(key, start, missing);
    if (!found.IsOk() || missing.empty()) return found;
    if (state_ == HiveState::Unrecovered) return {SystemError::WriteProtect};
    return Finish(editor_->MakeKeys(start, missing));
}

Status HiveStore::SetValue(TextView key, TextView name, const RegistryValue& value) {
    if (state_ == HiveState::Unrecovered) return {SystemError::WriteProtect};
    CellOffset start = kNoCell;
    std::vector<Text> missing;
    const Status found = FindToMake(key, start, missing);
    if (!found.IsOk()) return found;
    return Finish(editor_->SetValue(start, missing, name, static_cast<std::uint32_t>(value.type),
                                    value.data));
}

Status HiveStore::DeleteValue(TextView key, TextView name) {
    if (state_ == HiveState::Unrecovered) return {SystemError::WriteProtect};
    const auto found = Find(key);
    if (!found.IsOk()) return found;
    return Finish(editor_->DeleteValue(found.value.Offset(), name));
}

Status HiveStore::DeleteKey(TextView key) {
    if (state_ == HiveState::Unrecovered) return {SystemError::WriteProtect};
    while (!key.empty() && key.back() == u'\\') key.remove_suffix(1);
    if (key.empty()) return {SystemError::AccessDenied};
    const std::size_t start = key.rfind(u'\\') == TextView::npos ? 0 : key.rfind(u'\\') + 1;
    const auto parent = Find(key.substr(0, start));
    if (!parent.IsOk()) return parent;
    return Finish(editor_->DeleteSubkey(parent.value.Offset(), key.substr(start)));
}

}  // namespace bkfd
