#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <zlib.h>

#include "platform/RootNames.h"
#include "platform/undo/RecordTerms.h"
#include "platform/undo/UndoRecord.h"

namespace bkfd {
namespace {

using Kind = UndoChange::Kind;

/// One line: members in the order in which they are put.
class Line {
  public:
    Line() { writer_.StartObject(); }

    Line& Put(const char* name, TextView text) {
        writer_.Key(name);
        Write(text);
        return *this;
    }
    Line& Put(const char* name, std::uint64_t number) {
        writer_.Key(name);
        writer_.Uint64(number);
        return *this;
    }
    Line& Put(const char* name, const RegistryValue& value) {
        writer_.Key(name);
        writer_.StartObject();
        PutValue(value);
        writer_.EndObject();
        return *this;
    }
    Line& Put(const char* name, const std::optional<FileContent>& content) {
        if (!content) return *this;
        return Put("size", content->size).Put(name, content->crc);
    }
    Line& Put(const char* name, const std::vector<NamedRegistryValue>& values) {
        writer_.Key(name);
        writer_.StartArray();
        for (const auto& [valueName, value] : values) {
            writer_.StartObject();
            Put("name", valueName);
            PutValue(value);
            writer_.EndObject();
        }
        writer_.EndArray();
        return *this;
    }
    Line& PutNames(const char* name, const std::vector<NamedRegistryValue>& values) {
        writer_.Key(name);
        writer_.StartArray();
        for (const auto& named : values) Write(named.name);
        writer_.EndArray();
        return *this;
    }

    /// The line with its checksum and its end.
    std::string Take() {
        writer_.EndObject();
        std::string line(buffer_.GetString(), buffer_.GetSize() - 1);
        line += RecordTerms::Seal(line);
        return line + '\n';
    }

  private:
    void PutValue(const RegistryValue& value) {
        Put("type", static_cast<std::uint32_t>(value.type));
        constexpr char kDigits[] = "0123456789abcdef";
        std::string digits;
        digits.reserve(2 * value.data.size());
        for (const std::uint8_t byte : value.data) {
            digits += kDigits[byte >> 4];
            digits += kDigits[byte & 15];
        }
        writer_.Key("data");
        writer_.String(digits.data(), static_cast<rapidjson::SizeType>(digits.size()));
    }

    void Write(TextView text) {
        const std::string utf8 = ToUtf8(text);
        if (FromUtf8(utf8) == text) {
            writer_.String(utf8.data(), static_cast<rapidjson::SizeType>(utf8.size()));
            return;
        }
        writer_.StartArray();
        for (const char16_t unit : text) writer_.Uint(unit);
        writer_.EndArray();
    }

    rapidjson::StringBuffer buffer_;
    rapidjson::Writer<rapidjson::StringBuffer> writer_{buffer_};
};

Text KeyOf(const UndoChange& change) {
    return Text(RegistryRootName(change.root)) + u"\\" + change.name;
}

void PutRegistryChange(Line& line, const UndoChange& change) {
    line.Put("key", KeyOf(change));
    switch (change.kind) {
        case Kind::SetValue:
        case Kind::DeleteValue:
            line.Put("name", change.value);
            if (change.before) line.Put("before", *change.before);
            if (change.after) line.Put("after", *change.after);
            break;
        case Kind::DeleteKey:
            line.Put("values", change.values);
            break;
        case Kind::ValueOrder:
            line.PutNames("names", change.values);
            break;
        default:
            break;
    }
}

void PutOtherChange(Line& line, const UndoChange& change) {
    if (change.kind == Kind::Restart) return;
    line.Put(change.kind == Kind::EndProcess ? "program" : "file", change.name);
    switch (change.kind) {
        case Kind::MoveFile:
            line.Put("to", change.target).Put("crc32", change.content);
            break;
        case Kind::DeleteFile:
            line.Put("kept", change.target).Put("crc32", change.content);
            break;
        case Kind::WriteFile:
            if (change.target.empty()) break;
            line.Put("kept", change.target).Put("crc32", change.content);
            line.Put("attributes", change.attributesBefore);
            break;
        case Kind::SetAttributes:
            line.Put("before", change.attributesBefore).Put("after", change.attributesAfter);
            break;
        case Kind::EndProcess:
            line.Put("id", change.processId);
            break;
        default:
            break;
    }
}

}  // namespace

std::string RecordTerms::Seal(std::string_view line) {
    constexpr char kDigits[] = "0123456789abcdef";
    auto crc = static_cast<std::uint32_t>(
        crc32_z(0, reinterpret_cast<const Bytef*>(line.data()), line.size()));
    std::string seal = R"(,"crc":"00000000"})";
    for (std::size_t place = seal.size() - 3; crc != 0; crc >>= 4, --place) {
        seal[place] = kDigits[crc & 15];
    }
    return seal;
}

std::string FormatUndoHead(const UndoRecord& record) {
    Line line;
    line.Put("brackenfold", TextView(RecordTerms::kMark)).Put("format", RecordTerms::kFormat);
    line.Put("id", record.id).Put("operation", record.operation).Put("time", record.time);
    line.Put("program", record.program).Put("windows", record.windows);
    if (record.undoes) line.Put("undoes", *record.undoes);
    return line.Take();
}

std::string FormatUndoChange(const UndoChange& change) {
    Line line;
    line.Put("kind", RecordTerms::NameOf(change.kind));
    if (change.IsOfRegistry()) {
        PutRegistryChange(line, change);
    } else {
        PutOtherChange(line, change);
    }
    return line.Take();
}

std::string FormatUndoOutcome(std::size_t change, Status outcome) {
    return Line().Put("refused", change).Put("error", outcome.code).Take();
}

std::string FormatUndoFoot(std::size_t changes, std::size_t failed) {
    return Line()
        .Put("end", failed == 0 ? RecordTerms::kComplete : RecordTerms::kFailed)
        .Put("changes", changes)
        .Put("failed", failed)
        .Take();
}

}  // namespace bkfd
