#pragma once

#include "platform/undo/UndoRecord.h"

/// Words of a record's file, for those who write and read it.
namespace bkfd::RecordTerms {

inline constexpr std::uint32_t kFormat = 1;
inline constexpr TextView kMark = u"undo record";
inline constexpr TextView kComplete = u"complete";
inline constexpr TextView kFailed = u"failed";

struct KindName {
    UndoChange::Kind kind;
    TextView name;
};

inline constexpr KindName kKinds[] = {
    {UndoChange::Kind::SetValue, u"set value"},
    {UndoChange::Kind::DeleteValue, u"delete value"},
    {UndoChange::Kind::MakeKey, u"make key"},
    {UndoChange::Kind::DeleteKey, u"delete key"},
    {UndoChange::Kind::ValueOrder, u"order of values"},
    {UndoChange::Kind::MoveFile, u"move file"},
    {UndoChange::Kind::SetAttributes, u"set attributes"},
    {UndoChange::Kind::DeleteFile, u"delete file"},
    {UndoChange::Kind::WriteFile, u"write file"},
    {UndoChange::Kind::MakeFolder, u"make folder"},
    {UndoChange::Kind::EndProcess, u"end process"},
    {UndoChange::Kind::Restart, u"restart"},
};

constexpr TextView NameOf(UndoChange::Kind kind) {
    for (const KindName& row : kKinds) {
        if (row.kind == kind) return row.name;
    }
    return {};
}

/// What stands at a line's end: the checksum of all before it.
std::string Seal(std::string_view line);
inline constexpr std::size_t kSealLength = 18;

}  // namespace bkfd::RecordTerms
