#include "undo/UndoText.h"

#include "platform/RegistryValues.h"
#include "platform/RootNames.h"
#include "platform/undo/RecordTerms.h"
#include "services/SysUtil.h"

namespace bkfd {
namespace {

using Kind = UndoChange::Kind;
using Outcome = UndoStep::Outcome;

struct OperationRow {
    TextView operation;
    TextView title;
};

constexpr OperationRow kOperations[] = {
    {UndoOperation::kCleanUp, u"Automatic cleanup"},
    {UndoOperation::kDeleteHelperObject, u"Delete Browser Helper Object"},
    {UndoOperation::kRestoreSettings, u"Restore settings"},
    {UndoOperation::kDisableFiles, u"Disable files"},
    {UndoOperation::kRestoreFile, u"Restore disabled file"},
    {UndoOperation::kUndo, u"Undo"},
    {UndoOperation::kOther, u"Other changes"},
};

struct AttributeRow {
    std::uint32_t flag;
    TextView name;
};

constexpr AttributeRow kAttributes[] = {
    {FileAttribute::ReadOnly, u"read-only"},
    {FileAttribute::Hidden, u"hidden"},
    {FileAttribute::System, u"system"},
    {FileAttribute::Archive, u"archive"},
};

Text Count(std::size_t count, TextView one, TextView many) {
    return ToText(static_cast<std::int64_t>(count)) + u" " + Text(count == 1 ? one : many);
}

Text HexOf(const Bytes& data) {
    constexpr char16_t kDigits[] = u"0123456789abcdef";
    Text hex;
    for (const std::uint8_t byte : data) {
        if (!hex.empty()) hex += u',';
        hex += kDigits[byte >> 4];
        hex += kDigits[byte & 15];
    }
    return hex;
}

}  // namespace

Text OperationTitle(TextView operation) {
    for (const OperationRow& row : kOperations) {
        if (row.operation == operation) return Text(row.title);
    }
    return Text(operation);
}

Text StateTitle(UndoRecord::State state) {
    switch (state) {
        case UndoRecord::State::Complete:
            return u"complete";
        case UndoRecord::State::Failed:
            return u"partly failed";
        case UndoRecord::State::Interrupted:
            return u"interrupted";
        case UndoRecord::State::Damaged:
            return u"damaged record";
        case UndoRecord::State::Foreign:
            return u"not a record of this program";
        case UndoRecord::State::Newer:
            break;
    }
    return u"record of a newer version";
}

Text StateTitle(const UndoSummary& record) {
    if (record.isUndone) return u"undone";
    return record.isPartlyUndone ? Text(u"partly undone") : StateTitle(record.state);
}

Text OutcomeTitle(UndoStep::Outcome outcome) {
    switch (outcome) {
        case Outcome::Done:
            return u"taken back";
        case Outcome::AsBefore:
            return u"already as before";
        case Outcome::Conflict:
            return u"conflict";
        case Outcome::Failed:
            return u"failed";
        case Outcome::NotUndoable:
            break;
    }
    return u"can't be undone";
}

Text KindTitle(UndoChange::Kind kind) {
    return Text(RecordTerms::NameOf(kind));
}

Text PlaceOf(const UndoChange& change) {
    if (change.kind == Kind::EndProcess) {
        return change.name + u" (" + ToText(change.processId) + u")";
    }
    if (change.kind == Kind::Restart) return u"Windows";
    if (!change.IsOfRegistry()) return change.name;
    const Text key = Text(RegistryRootName(change.root)) + u"\\" + change.name;
    if (change.kind != Kind::SetValue && change.kind != Kind::DeleteValue) return key;
    return key + u"\\" + (change.value.empty() ? Text(u"(default)") : change.value);
}

Text DescribeValue(const std::optional<RegistryValue>& value) {
    if (!value) return {};
    const Text text = TextOfValue(*value);
    if (value->type == RegistryType::String && MakeStringValue(text) == *value) {
        return u"\"" + text + u"\"";
    }
    if (const auto number = NumberOfValue(*value)) return u"dword:" + ToLower(ToHex(*number));
    return u"hex(" + ToLower(ToHex(static_cast<std::uint32_t>(value->type)).substr(7)) + u"):" +
           HexOf(value->data);
}

Text DescribeAttributes(std::uint32_t attributes) {
    Text text;
    for (const AttributeRow& row : kAttributes) {
        if ((attributes & row.flag) == 0) continue;
        if (!text.empty()) text += u", ";
        text += row.name;
    }
    return text.empty() ? Text(u"none") : text;
}

Text BeforeOf(const UndoChange& change) {
    switch (change.kind) {
        case Kind::SetValue:
        case Kind::DeleteValue:
            return DescribeValue(change.before);
        case Kind::DeleteKey:
            return Count(change.values.size(), u"value", u"values");
        case Kind::SetAttributes:
            return DescribeAttributes(change.attributesBefore);
        case Kind::MoveFile:
        case Kind::DeleteFile:
        case Kind::EndProcess:
            return change.name;
        case Kind::WriteFile:
            return change.target.empty() ? Text() : change.name;
        default:
            return {};
    }
}

Text AfterOf(const UndoChange& change) {
    switch (change.kind) {
        case Kind::SetValue:
            return DescribeValue(change.after);
        case Kind::MakeKey:
            return u"empty";
        case Kind::SetAttributes:
            return DescribeAttributes(change.attributesAfter);
        case Kind::MoveFile:
        case Kind::DeleteFile:
            return change.target;
        case Kind::WriteFile:
        case Kind::MakeFolder:
            return change.name;
        default:
            return {};
    }
}

Text ResultSentence(const UndoResult& result) {
    Text text = result.IsWhole() ? u"Undone: " : u"Partly undone: ";
    text += Count(result.Count(Outcome::Done), u"change", u"changes") + u" taken back";
    const auto add = [&](Outcome outcome, TextView words) {
        const std::size_t count = result.Count(outcome);
        if (count > 0) text += u", " + ToText(static_cast<std::int64_t>(count)) + Text(words);
    };
    add(Outcome::AsBefore, u" already as before");
    add(Outcome::Conflict, u" left alone, since something else changed the place");
    add(Outcome::Failed, u" failed");
    add(Outcome::NotUndoable, u" that can't be undone");
    text += u".";
    return result.failure.empty() ? text : text + u" " + result.failure;
}

}  // namespace bkfd
