#pragma once

#include <string>
#include <vector>

#include "base/Text.h"

/// A small registry file of the 95 family.
namespace bkfd::samples {

inline void PutField(Bytes& bytes, std::uint64_t value, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        bytes.push_back(static_cast<std::uint8_t>(value >> 8 * i));
    }
}

inline void PutField(Bytes& bytes, std::string_view text) {
    bytes.insert(bytes.end(), text.begin(), text.end());
}

struct CregValue {
    std::uint32_t type;
    std::string name;
    std::string data;
};

/// A record of a block, with 8 bytes that it doesn't use.
inline Bytes Record(std::uint32_t id, std::string_view name, const std::vector<CregValue>& values) {
    Bytes rest;
    PutField(rest, name.size(), 2);
    PutField(rest, values.size(), 2);
    PutField(rest, 0, 4);
    PutField(rest, name);
    for (const CregValue& value : values) {
        PutField(rest, value.type, 4);
        PutField(rest, 0, 4);
        PutField(rest, value.name.size(), 2);
        PutField(rest, value.data.size(), 2);
        PutField(rest, value.name);
        PutField(rest, value.data);
    }
    Bytes record;
    PutField(record, rest.size() + 12 + 8, 4);
    PutField(record, id, 4);
    PutField(record, rest.size() + 12, 4);
    record.insert(record.end(), rest.begin(), rest.end());
    PutField(record, 0, 8);
    return record;
}

inline constexpr std::size_t kTreeAt = 32;
constexpr std::uint32_t EntryAt(std::uint32_t index) {
    return 32 + 28 * index;
}

/// A tree of five keys over two blocks: the root, A with A\B and A\C, and D.
inline Bytes CregFile() {
    constexpr std::uint32_t kNone = 0xFFFFFFFF;
    const struct {
        std::uint32_t child, next, id;
    } entries[] = {{EntryAt(1), kNone, kNone},
                   {EntryAt(2), EntryAt(4), 0},
                   {kNone, EntryAt(3), 1},
                   {kNone, kNone, 0x10000},
                   {kNone, kNone, 0x10001}};
    Bytes file;
    PutField(file, "CREG");
    PutField(file, 0x10000, 4);
    PutField(file, 32 + 32 + (std::size(entries) + 12) * 28, 4);
    PutField(file, 0, 4);
    PutField(file, 2, 2);
    file.resize(32);
    PutField(file, "RGKN");
    PutField(file, 32 + (std::size(entries) + 12) * 28, 4);
    PutField(file, 32, 4);
    PutField(file, 32 + std::size(entries) * 28, 4);  // where the free ones begin
    file.resize(64);
    for (const auto& entry : entries) {
        for (const std::uint32_t field : {0U, 0U, kNone, 0U, entry.child, entry.next, entry.id}) {
            PutField(file, field, 4);
        }
    }
    file.resize(file.size() + 12 * 28);  // room for more
    const Bytes records[2][2] = {
        {Record(0, "A", {{1, "", "text"}, {3, "b\xE4", std::string("\0\x01", 2)}}),
         Record(1, "B", {})},
        {Record(0x10000, "C", {{4, "n", std::string("\x01\0\0\0", 4)}, {1, "empty", ""}}),
         Record(0x10001, "D", {})}};
    for (const auto& block : records) {
        const std::size_t start = file.size();
        PutField(file, "RGDB");
        PutField(file, 32 + block[0].size() + block[1].size(), 4);
        file.resize(start + 32);
        for (const Bytes& record : block) file.insert(file.end(), record.begin(), record.end());
    }
    return file;
}

}  // namespace bkfd::samples
