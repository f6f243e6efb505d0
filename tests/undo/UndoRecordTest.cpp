#include <gtest/gtest.h>

#include <algorithm>

#include "platform/undo/RecordTerms.h"

namespace bkfd {

namespace {

using Kind = UndoChange::Kind;
using State = UndoRecord::State;

/// One change of each kind, with what is hard to write down.
std::vector<UndoChange> EveryChange() {
    const RegistryValue odd{RegistryType{0xFFFF0007}, {0, 0xFF, 0x80}};
    std::vector<UndoChange> changes;
    for (const auto& row : RecordTerms::kKinds) {
        UndoChange change;
        change.kind = row.kind;
        change.root = RegistryRoot::CurrentUser;
        change.name = u"Software\\\u0431\\\"quoted\"";
        change.value = {u'l', 0xD800, u'o', u'\0', u'n', u'e'};
        change.target = u"C:\\a\u2028b\n.dll";
        change.before = odd;
        if (row.kind == Kind::SetValue) change.after = RegistryValue{RegistryType::None, {}};
        change.values = {{u"", odd}, {u"b", {}}};
        change.attributesBefore = 0x27;
        change.attributesAfter = 0x20;
        change.content = {std::uint64_t{5} << 32, 0xFEDCBA98};
        change.processId = 0xFFFFFFFF;
        changes.push_back(std::move(change));
    }
    return changes;
}

std::string Head() {
    UndoRecord head;
    head.id = 7;
    head.operation = UndoOperation::kUndo;
    head.time = u"2026-11-16 09:39:04";
    head.undoes = 3;
    return FormatUndoHead(head);
}

TEST(UndoRecord, ComesBackAsItWasWritten) {
    const std::vector<UndoChange> changes = EveryChange();
    std::string file = Head();
    for (const UndoChange& change : changes) file += FormatUndoChange(change);
    file += FormatUndoOutcome(1, {SystemError::AccessDenied});
    file += FormatUndoFoot(changes.size(), 1);

    UndoRecord record = ParseUndoRecord(file);
    EXPECT_EQ(record.state, State::Failed);
    EXPECT_EQ(record.id, 7u);
    EXPECT_EQ(record.undoes, 3u);
    EXPECT_EQ(record.time, u"2026-11-16 09:39:04");
    ASSERT_EQ(record.changes.size(), changes.size());
    EXPECT_EQ(record.changes[1].outcome.code, SystemError::AccessDenied);
    record.changes[1].outcome = {};
    for (std::size_t i = 0; i < changes.size(); ++i) {
        EXPECT_EQ(FormatUndoChange(record.changes[i]), FormatUndoChange(changes[i]));
    }
    EXPECT_EQ(record.changes[0].value, changes[0].value);
}

TEST(UndoRecord, WhateverIsCutOffTheRestIsUsable) {
    const std::string first = FormatUndoChange(EveryChange()[0]);
    const std::string file = Head() + first + first + FormatUndoFoot(2, 0);
    for (std::size_t length = 0; length < file.size(); ++length) {
        SCOPED_TRACE(length);
        const UndoRecord record = ParseUndoRecord(file.substr(0, length));
        const auto lines =
            static_cast<std::size_t>(std::ranges::count(file.substr(0, length), '\n'));
        EXPECT_EQ(record.state, State::Interrupted);
        EXPECT_EQ(record.changes.size(), lines == 0 ? 0 : lines - 1);
    }
}

TEST(UndoRecord, WhatIsNotOursIsNeverHalfUsed) {
    const std::string change = FormatUndoChange(EveryChange()[0]);
    const std::string foot = FormatUndoFoot(1, 0);
    const auto sealed = [](std::string line) { return line + RecordTerms::Seal(line) + '\n'; };
    std::string flipped = Head() + change + foot;
    flipped[Head().size() + 80] ^= 1;
    const std::string newer = sealed(R"({"brackenfold":"undo record","format":2,"id":7,)"
                                     R"("operation":"","time":"","program":"","windows":"")");
    const struct {
        const char* label;
        std::string file;
        State state;
    } rows[] = {
        {"a byte that changed", flipped, State::Damaged},
        {"a line that is missing", Head() + foot, State::Damaged},
        {"a line behind the foot", Head() + change + foot + change, State::Damaged},
        {"a member of a wrong form", Head() + sealed(R"({"kind":"make key","key":5)") + foot,
         State::Damaged},
        {"a root of another kind",
         Head() + sealed(R"({"kind":"make key","key":"HKEY_CLASSES_ROOT\\a")") + foot,
         State::Damaged},
        {"deep nesting", Head() + sealed(std::string(100'000, '[')) + foot, State::Damaged},
        {"a text", "Windows Registry Editor Version 5.00\r\n", State::Foreign},
        {"a later form", newer, State::Newer},
        {"a kind that isn't known", Head() + sealed(R"({"kind":"hive pages")") + foot,
         State::Newer},
        {"a line that isn't known", Head() + sealed(R"({"pages":[])") + foot, State::Newer},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        const UndoRecord record = ParseUndoRecord(row.file);
        EXPECT_EQ(record.state, row.state);
        EXPECT_TRUE(record.changes.empty());
    }
}

}  // namespace
}  // namespace bkfd
