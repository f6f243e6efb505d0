#include "formats/VersionRecord.h"

#include <algorithm>
#include <unordered_set>

#include "formats/VersionResource.h"

namespace bkfd {
namespace {

/// A block of the record: a key, a value and blocks below it. All are offsets in the record.
struct Block {
    std::size_t end = 0;  // of what it may hold, its parent's end at most
    std::size_t next = 0;
    Text key;
    std::size_t value = 0;
    std::size_t valueLength = 0;  // as it says: bytes or characters
    std::size_t children = 0;
};

class Record {
  public:
    using ToTextFunction = std::function<Text(std::string_view)>;

    Record(const Bytes& bytes, const ToTextFunction& toText) : bytes_(bytes), toText_(toText) {
        // The 16-bit form has no type word: its key begins there, and a type is 0 or 1. The
        // system tells the forms apart in the same way.
        isNarrow_ = bytes.size() > 4 && bytes[4] >= u' ';
    }

    VersionStrings Strings() const {
        const auto root = ReadBlock(0, bytes_.size());
        const auto info = root ? FindChild(*root, u"StringFileInfo") : std::nullopt;
        const auto table = info ? ReadBlock(info->children, info->end) : std::nullopt;
        return table ? ReadTable(*table) : VersionStrings();
    }

  private:
    /// The block at `start`, aligned to four bytes from there; nothing if no block begins there.
    std::optional<Block> ReadBlock(std::size_t start, std::size_t limit) const {
        const std::size_t headerSize = isNarrow_ ? 4 : 6;
        if (start > limit || limit - start < headerSize) return std::nullopt;
        const std::size_t length = ReadUint16(bytes_, start);
        if (length == 0) return std::nullopt;
        const auto align = [start](std::size_t offset) {
            return start + ((offset - start + 3) & ~std::size_t{3});
        };

        Block block;
        block.end = std::min(start + length, limit);
        block.next = align(start + length);
        const auto keyEnd = FindNul(start + headerSize, block.end);
        if (!keyEnd) return std::nullopt;
        block.key = TextAt(start + headerSize, *keyEnd);
        block.value = align(*keyEnd + UnitSize());
        block.valueLength = ReadUint16(bytes_, start + 2);
        const bool isText = !isNarrow_ && ReadUint16(bytes_, start + 4) != 0;
        block.children = align(block.value + block.valueLength * (isText ? 2 : 1));
        return block;
    }

    std::optional<Block> FindChild(const Block& parent, TextView key) const {
        auto child = ReadBlock(parent.children, parent.end);
        while (child && !EqualsIgnoreCase(child->key, key)) {
            child = ReadBlock(child->next, parent.end);
        }
        return child;
    }

    VersionStrings ReadTable(const Block& table) const {
        VersionStrings strings;
        std::unordered_set<Text> names;
        for (auto field = ReadBlock(table.children, table.end); field;
             field = ReadBlock(field->next, table.end)) {
            if (field->key.empty() || !names.insert(ToLower(field->key)).second) continue;
            strings.emplace_back(field->key, ValueText(*field));
        }
        return strings;
    }

    /// The text from the value's start to its NUL. The length isn't relied on, as some linkers
    /// count it in bytes and some in characters; but 0 means that there is no value.
    Text ValueText(const Block& field) const {
        if (field.valueLength == 0 || field.value >= field.end) return {};
        return TextAt(field.value, FindNul(field.value, field.end).value_or(field.end));
    }

    std::size_t UnitSize() const { return isNarrow_ ? 1 : 2; }

    std::optional<std::size_t> FindNul(std::size_t start, std::size_t end) const {
        for (std::size_t at = start; at + UnitSize() <= end; at += UnitSize()) {
            if (bytes_[at] == 0 && (isNarrow_ || bytes_[at + 1] == 0)) return at;
        }
        return std::nullopt;
    }

    Text TextAt(std::size_t start, std::size_t end) const {
        if (isNarrow_) {
            return toText_({reinterpret_cast<const char*>(bytes_.data()) + start, end - start});
        }
        Text text;
        for (std::size_t at = start; at + 2 <= end; at += 2) {
            text += static_cast<char16_t>(ReadUint16(bytes_, at));
        }
        return text;
    }

    const Bytes& bytes_;
    const ToTextFunction& toText_;
    bool isNarrow_ = false;
};

}  // namespace

VersionStrings ReadVersionStrings(ByteSource& file,
                                  const std::function<Text(std::string_view)>& toText) {
    const auto bytes = ReadVersionResource(file);
    return bytes ? Record(*bytes, toText).Strings() : VersionStrings();
}

}  // namespace bkfd
