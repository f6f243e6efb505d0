#include "platform/undo/UndoFolder.h"

#include <zlib.h>

#include <algorithm>

namespace bkfd {
namespace {

constexpr TextView kRecordSuffix = u".undo";
constexpr std::size_t kFewestDigits = 4;  // at least
constexpr std::uint64_t kLargestRecord = 1u << 30;
constexpr std::size_t kReadPiece = 64 * 1024;

Text DigitsOf(RecordId id) {
    const Text digits = ToText(id);
    return Text(kFewestDigits - std::min(kFewestDigits, digits.size()), u'0') + digits;
}

template <class Take>
void ForEachName(Machine& machine, const Text& pattern, const Take& take) {
    Files& files = machine.FileSystem();
    FindData data;
    const Handle search = files.FindFirstFileW(pattern, data);
    if (search == kInvalidHandle) return;
    do {
        take(data.name);
    } while (files.FindNextFileW(search, data).IsOk());
    (void)files.FindClose(search);
}

/// Hands the file's content to `take`, piece by piece; false if not all of it could be read.
template <class Take>
bool ReadPieces(Files& files, TextView path, std::uint64_t most, const Take& take) {
    const auto file = files.CreateFileW(path, FileMode::Read);
    if (!file.IsOk()) return false;
    const auto size = file.value->GetFileSize();
    if (!size.IsOk() || size.value > most) return false;
    Bytes piece(kReadPiece);
    for (std::uint64_t done = 0; done < size.value;) {
        const auto count = file.value->ReadFile(done, piece);
        if (!count.IsOk() || count.value == 0) return false;
        take(std::span<const std::uint8_t>(piece).first(count.value));
        done += count.value;
    }
    return true;
}

}  // namespace

Text UndoFolderPath(SystemFacts& system) {
    const Text program = system.GetModuleFileNameW();
    return program.substr(0, program.find_last_of(u'\\')) + u"\\Undo";
}

Text UndoRecordPath(SystemFacts& system, RecordId id) {
    return UndoFolderPath(system) + u"\\" + DigitsOf(id) + Text(kRecordSuffix);
}

std::optional<RecordId> RecordIdOf(TextView name) {
    constexpr std::size_t kMostDigits = 9;
    if (!EqualsIgnoreCase(name.substr(std::min(name.size(), name.find(u'.'))), kRecordSuffix)) {
        return std::nullopt;
    }
    const TextView digits = name.substr(0, name.size() - kRecordSuffix.size());
    RecordId id = 0;
    if (digits.size() > kMostDigits) return std::nullopt;
    for (const char16_t digit : digits) {
        if (digit < u'0' || digit > u'9') return std::nullopt;
        id = id * 10 + static_cast<RecordId>(digit - u'0');
    }
    if (id == 0 || DigitsOf(id) != digits) return std::nullopt;
    return id;
}

std::vector<RecordId> ListRecordIds(Machine& machine) {
    std::vector<RecordId> ids;
    ForEachName(machine, UndoFolderPath(machine.System()) + u"\\*.undo", [&](const Text& name) {
        if (const auto id = RecordIdOf(name)) ids.push_back(*id);
    });
    std::ranges::sort(ids);
    return ids;
}

std::vector<Text> ListKeptFiles(Machine& machine, RecordId id) {
    const Text folder = UndoFolderPath(machine.System()) + u"\\";
    std::vector<Text> files;
    for (const TextView suffix : {u".kept", u".registry"}) {
        ForEachName(machine, folder + DigitsOf(id) + u"-*" + Text(suffix),
                    [&](const Text& name) { files.push_back(folder + name); });
    }
    return files;
}

UndoRecord ReadUndoRecord(Machine& machine, RecordId id) {
    std::string bytes;
    const bool isRead = ReadPieces(
        machine.FileSystem(), UndoRecordPath(machine.System(), id), kLargestRecord,
        [&](std::span<const std::uint8_t> piece) { bytes.append(piece.begin(), piece.end()); });
    UndoRecord record;
    if (isRead) record = ParseUndoRecord(bytes);
    if (!isRead) record.state = UndoRecord::State::Damaged;
    // One that was copied from elsewhere tells of another operation.
    if (record.IsUsable() && record.id != 0 && record.id != id) {
        record = {};
        record.state = UndoRecord::State::Foreign;
    }
    record.id = id;
    return record;
}

std::optional<FileContent> ContentOf(Files& files, TextView path) {
    FileContent content;
    const bool isRead =
        ReadPieces(files, path, ~std::uint64_t{0}, [&](std::span<const std::uint8_t> piece) {
            content.size += piece.size();
            content.crc =
                static_cast<std::uint32_t>(crc32_z(content.crc, piece.data(), piece.size()));
        });
    if (!isRead) return std::nullopt;
    return content;
}

}  // namespace bkfd
