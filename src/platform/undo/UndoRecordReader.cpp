#include <rapidjson/document.h>

#include <algorithm>
#include <initializer_list>

#include "platform/RootNames.h"
#include "platform/undo/RecordTerms.h"
#include "platform/undo/UndoRecord.h"

namespace bkfd {
namespace {

using Kind = UndoChange::Kind;
using State = UndoRecord::State;
using JsonValue = rapidjson::Value;

constexpr std::string_view kHeadBegins = R"({"brackenfold":"undo record")";

/// Reads members of one line; what is missing or of another form makes the line wrong.
class Members {
  public:
    explicit Members(const JsonValue& object) : object_(object) {}

    bool IsGood() const { return isGood_; }
    bool Has(const char* name) const { return object_.HasMember(name); }

    Text TextOf(const char* name) { return ReadText(Member(name)); }

    std::uint64_t NumberOf(const char* name, std::uint64_t most) {
        const JsonValue* member = Member(name);
        if (member != nullptr && member->IsUint64() && member->GetUint64() <= most) {
            return member->GetUint64();
        }
        isGood_ = false;
        return 0;
    }
    std::uint32_t NumberOf(const char* name) {
        return static_cast<std::uint32_t>(NumberOf(name, 0xFFFFFFFF));
    }

    std::optional<RegistryValue> ValueOf(const char* name) {
        if (!Has(name)) return std::nullopt;
        return ReadValue(*Member(name));
    }

    std::optional<FileContent> ContentOf() {
        if (!Has("size")) return std::nullopt;
        return FileContent{NumberOf("size", ~std::uint64_t{0}), NumberOf("crc32")};
    }

    std::vector<NamedRegistryValue> ValuesOf(const char* name, bool haveData) {
        std::vector<NamedRegistryValue> values;
        const JsonValue* list = Member(name);
        if (list == nullptr || !list->IsArray()) {
            isGood_ = false;
            return values;
        }
        for (const JsonValue& entry : list->GetArray()) {
            if (!haveData) {
                values.push_back({ReadText(&entry), {}});
                continue;
            }
            if (!entry.IsObject()) {
                isGood_ = false;
                return values;
            }
            Members inner(entry);
            Text valueName = inner.TextOf("name");
            isGood_ = isGood_ && inner.IsGood();
            values.push_back({std::move(valueName), ReadValue(entry)});
        }
        return values;
    }

    /// "HKEY_CURRENT_USER\A\B"
    void KeyOf(RegistryRoot& root, Text& key) {
        const Text place = TextOf("key");
        constexpr RegistryRoot kRoots[] = {RegistryRoot::LocalMachine, RegistryRoot::CurrentUser,
                                           RegistryRoot::Users};
        for (const RegistryRoot one : kRoots) {
            const Text start = Text(RegistryRootName(one)) + u"\\";
            if (!place.starts_with(start)) continue;
            root = one;
            key = place.substr(start.size());
            return;
        }
        isGood_ = false;
    }

  private:
    const JsonValue* Member(const char* name) {
        const auto found = object_.FindMember(name);
        if (found != object_.MemberEnd()) return &found->value;
        isGood_ = false;
        return nullptr;
    }

    Text ReadText(const JsonValue* member) {
        if (member != nullptr && member->IsString()) {
            return FromUtf8({member->GetString(), member->GetStringLength()});
        }
        Text text;
        isGood_ = isGood_ && member != nullptr && member->IsArray();
        if (!isGood_) return text;
        for (const JsonValue& unit : member->GetArray()) {
            isGood_ = isGood_ && unit.IsUint() && unit.GetUint() <= 0xFFFF;
            if (isGood_) text.push_back(static_cast<char16_t>(unit.GetUint()));
        }
        return text;
    }

    RegistryValue ReadValue(const JsonValue& member) {
        RegistryValue value;
        if (!member.IsObject()) {
            isGood_ = false;
            return value;
        }
        Members inner(member);
        value.type = RegistryType{inner.NumberOf("type")};
        const Text digits = inner.TextOf("data");
        isGood_ = isGood_ && inner.IsGood() && digits.size() % 2 == 0;
        value.data.reserve(digits.size() / 2);
        for (std::size_t i = 0; isGood_ && i < digits.size(); i += 2) {
            value.data.push_back(
                static_cast<std::uint8_t>(Digit(digits[i]) << 4 | Digit(digits[i + 1])));
        }
        return value;
    }

    int Digit(char16_t digit) {
        if (digit >= u'0' && digit <= u'9') return digit - u'0';
        if (digit >= u'a' && digit <= u'f') return digit - u'a' + 10;
        isGood_ = false;
        return 0;
    }

    const JsonValue& object_;
    bool isGood_ = true;
};

void ReadRegistryChange(Members& members, UndoChange& change) {
    members.KeyOf(change.root, change.name);
    switch (change.kind) {
        case Kind::SetValue:
        case Kind::DeleteValue:
            change.value = members.TextOf("name");
            change.before = members.ValueOf("before");
            change.after = members.ValueOf("after");
            break;
        case Kind::DeleteKey:
            change.values = members.ValuesOf("values", true);
            break;
        case Kind::ValueOrder:
            change.values = members.ValuesOf("names", false);
            break;
        default:
            break;
    }
}

void ReadOtherChange(Members& members, UndoChange& change) {
    if (change.kind == Kind::Restart) return;
    change.name = members.TextOf(change.kind == Kind::EndProcess ? "program" : "file");
    switch (change.kind) {
        case Kind::MoveFile:
            change.target = members.TextOf("to");
            change.content = members.ContentOf();
            break;
        case Kind::DeleteFile:
        case Kind::WriteFile:
            if (change.kind == Kind::DeleteFile || members.Has("kept")) {
                change.target = members.TextOf("kept");
            }
            change.content = members.ContentOf();
            if (members.Has("attributes")) change.attributesBefore = members.NumberOf("attributes");
            break;
        case Kind::SetAttributes:
            change.attributesBefore = members.NumberOf("before");
            change.attributesAfter = members.NumberOf("after");
            break;
        case Kind::EndProcess:
            change.processId = members.NumberOf("id");
            break;
        default:
            break;
    }
}

/// Takes a record in line by line.
class Reader {
  public:
    UndoRecord Read(std::string_view file) {
        if (!file.empty() && !file.starts_with(kHeadBegins) && !kHeadBegins.starts_with(file)) {
            return Unusable(State::Foreign);
        }
        while (!file.empty() && record_.IsUsable()) {
            const std::size_t end = file.find('\n');
            if (end == std::string_view::npos) break;  // cut off
            const std::string_view line = file.substr(0, end);
            file.remove_prefix(end + 1);
            const State outcome = TakeLine(line);
            if (outcome == State::Complete) continue;
            const bool isCutOff = !isSealed_ && file.empty() && !hasFoot_;
            if (!isCutOff) return Unusable(outcome);
        }
        return std::move(record_);
    }

  private:
    UndoRecord Unusable(State state) {
        record_.state = state;
        record_.changes.clear();
        return std::move(record_);
    }

    /// Complete if the line is as it should be.
    State TakeLine(std::string_view line) {
        isSealed_ = false;
        if (line.size() <= RecordTerms::kSealLength || hasFoot_) return State::Damaged;
        const std::string_view sealed = line.substr(0, line.size() - RecordTerms::kSealLength);
        if (RecordTerms::Seal(sealed) != line.substr(sealed.size())) return State::Damaged;
        isSealed_ = true;
        rapidjson::Document document;
        document.Parse<rapidjson::kParseIterativeFlag>(line.data(), line.size());
        if (document.HasParseError() || !document.IsObject()) return State::Damaged;
        Members members(document);
        if (!hasHead_) return TakeHead(members);
        if (members.Has("kind")) return TakeChange(members);
        if (members.Has("refused")) return TakeOutcome(members);
        return members.Has("end") ? TakeFoot(members) : State::Newer;
    }

    State TakeHead(Members& members) {
        const std::uint32_t format = members.NumberOf("format");
        record_.id = members.NumberOf("id");
        record_.operation = members.TextOf("operation");
        record_.time = members.TextOf("time");
        record_.program = members.TextOf("program");
        record_.windows = members.TextOf("windows");
        if (members.Has("undoes")) record_.undoes = members.NumberOf("undoes");
        hasHead_ = true;
        if (format > RecordTerms::kFormat) return State::Newer;
        return members.IsGood() ? State::Complete : State::Damaged;
    }

    State TakeChange(Members& members) {
        const Text name = members.TextOf("kind");
        const auto row =
            std::ranges::find(RecordTerms::kKinds, TextView(name), &RecordTerms::KindName::name);
        if (row == std::end(RecordTerms::kKinds)) return State::Newer;
        UndoChange change;
        change.kind = row->kind;
        if (change.IsOfRegistry()) {
            ReadRegistryChange(members, change);
        } else {
            ReadOtherChange(members, change);
        }
        record_.changes.push_back(std::move(change));
        return members.IsGood() ? State::Complete : State::Damaged;
    }

    State TakeOutcome(Members& members) {
        const std::uint32_t change = members.NumberOf("refused");
        const std::uint32_t error = members.NumberOf("error");
        if (!members.IsGood() || change >= record_.changes.size()) return State::Damaged;
        record_.changes[change].outcome = {error};
        return State::Complete;
    }

    State TakeFoot(Members& members) {
        const Text end = members.TextOf("end");
        const std::uint32_t count = members.NumberOf("changes");
        if (!members.IsGood() || count != record_.changes.size()) return State::Damaged;
        record_.state = end == RecordTerms::kComplete ? State::Complete : State::Failed;
        hasFoot_ = true;
        return State::Complete;
    }

    UndoRecord record_;
    bool hasHead_ = false;
    bool hasFoot_ = false;
    bool isSealed_ = false;  // the last line
};

}  // namespace

UndoRecord ParseUndoRecord(std::string_view file) {
    return Reader().Read(file);
}

}  // namespace bkfd
