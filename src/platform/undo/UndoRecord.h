#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Machine.h"

/// What a machine held before an operation of the program changed it, as a file that can be read
/// later: JSON lines in UTF-8, each with the CRC-32 of what stands before it as its last member.
///
///     {"brackenfold":"undo record","format":1,"id":3,"operation":"cleanup",...,"crc":"1b2c3d4e"}
///     {"kind":"set value","key":"HKEY_CURRENT_USER\\A","name":"b","before":{...},...}
///     {"end":"complete","changes":12,"failed":0,...}
///
/// A text that no UTF-8 holds (lone surrogates) is the list of its UTF-16 units instead of a
/// string; data of values is in hexadecimal digits as it is stored.
namespace bkfd {

/// Counts from 1 up; a later record has a higher number.
using RecordId = std::uint32_t;

struct NamedRegistryValue {
    Text name;
    RegistryValue value;

    bool operator==(const NamedRegistryValue&) const = default;
};

/// Tells a file's content from another's. Nothing is known of a file that couldn't be read.
struct FileContent {
    std::uint64_t size = 0;
    std::uint32_t crc = 0;

    bool operator==(const FileContent&) const = default;
};

/// One change, as it was noted before it was made.
struct UndoChange {
    enum class Kind {
        SetValue,       // `value` of `name` from `before`, if it was there, to `after`
        DeleteValue,    // the same from `before`
        MakeKey,        // `name`, empty
        DeleteKey,      // `name` with `values`, in their order
        ValueOrder,     // no change: `values` of `name` by name, in their order, before the first
                        // of them is deleted
        MoveFile,       // from `name` to `target`
        SetAttributes,  // of `name`, from `attributesBefore` to `attributesAfter`
        DeleteFile,     // `name`; it lies under `target` now, beside the record
        WriteFile,      // `name` is made, or, if there is a `target`, changed: a copy lies there
        MakeFolder,     // `name`; can't be undone
        EndProcess,     // `processId` of the program `name`; can't be undone
        Restart,        // of Windows; can't be undone
    };

    Kind kind = Kind::SetValue;
    RegistryRoot root = RegistryRoot::LocalMachine;  // never ClassesRoot, which is a view
    Text name;                                       // the key, the file or the program
    Text value;                                      // its name
    Text target;
    std::optional<RegistryValue> before;
    std::optional<RegistryValue> after;
    std::vector<NamedRegistryValue> values;
    std::uint32_t attributesBefore = 0;
    std::uint32_t attributesAfter = 0;
    std::optional<FileContent> content;  // of a file that was moved, deleted or changed
    std::uint32_t processId = 0;
    /// What became of it, if it was refused; after a crash nobody could tell.
    Status outcome;

    bool IsOfRegistry() const { return kind <= Kind::ValueOrder; }
    /// Whether it tells of something that happened.
    bool IsChange() const { return kind != Kind::ValueOrder; }
    bool CanBeUndone() const { return kind < Kind::MakeFolder; }
};

/// Keys of what is recorded, by which programs tell them apart.
namespace UndoOperation {
inline constexpr TextView kCleanUp = u"cleanup";
inline constexpr TextView kDeleteHelperObject = u"delete-helper-object";
inline constexpr TextView kRestoreSettings = u"restore-settings";
inline constexpr TextView kDisableFiles = u"disable-files";
inline constexpr TextView kRestoreFile = u"restore-file";
inline constexpr TextView kUndo = u"undo";
inline constexpr TextView kOther = u"other";  // nobody said what it is
/// What the program notes about itself: nothing of it is recorded.
inline constexpr TextView kBookkeeping = u"";
}  // namespace UndoOperation

struct UndoRecord {
    enum class State {
        Complete,
        Failed,       // the system refused a part of it
        Interrupted,  // the program ended before it
        Damaged,      // from here on nothing is used
        Foreign,      // no record of ours
        Newer,        // of a later version
    };

    State state = State::Interrupted;
    RecordId id = 0;
    Text operation;
    Text time;                        // local, "2026-11-16 09:39:04"
    Text program;                     // the program's version
    Text windows;                     // "5.1.2600"
    std::optional<RecordId> undoes;   // of an undo: what it takes back
    std::vector<UndoChange> changes;  // empty unless it can be used

    /// Whether what it holds may be acted on.
    bool IsUsable() const { return state <= State::Interrupted; }
};

/// The lines of a record. Times, versions and the number stand in the head.
std::string FormatUndoHead(const UndoRecord& record);
std::string FormatUndoChange(const UndoChange& change);
/// That the change which was noted as number `change`, counted from 0, was refused.
std::string FormatUndoOutcome(std::size_t change, Status outcome);
std::string FormatUndoFoot(std::size_t changes, std::size_t failed);

/// Reads a whole file. A last line that was cut off is passed over.
UndoRecord ParseUndoRecord(std::string_view file);

}  // namespace bkfd
