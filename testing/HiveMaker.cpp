#include "testing/HiveMaker.h"

#include <algorithm>

#include "base/Utf16Bytes.h"

namespace bkfd {

using namespace hive;

namespace {

void Append(Bytes& bytes, std::uint64_t value, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        bytes.push_back(static_cast<std::uint8_t>(value >> 8 * i));
    }
}

void Append(Bytes& bytes, const Bytes& more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
}

bool IsLatin1(const Text& name) {
    return std::ranges::all_of(name, [](char16_t unit) { return unit < 0x100; });
}

Bytes StoredName(const Text& name) {
    return IsLatin1(name) ? ToBytes(name) : ToUtf16Bytes(name);
}

std::uint32_t Hint(const std::string& list, const Text& name) {
    if (list == "lh") return HiveNameHash(name);
    std::uint32_t hint = 0;
    for (std::size_t i = 0; i < std::min<std::size_t>(4, name.size()); ++i) {
        hint |= std::uint32_t{name[i] & 0xFFU} << 8 * i;
    }
    return hint;
}

}  // namespace

HiveMaker::HiveMaker(const HiveMakerKey& root, std::uint32_t minor)
    : minor_(minor), file_(kBaseBlockSize) {
    Bytes descriptor = {'s', 'k', 0, 0};
    for (int i = 0; i < 3; ++i) Append(descriptor, 0, 4);
    const Bytes empty = {1, 0, 0, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    Append(descriptor, empty.size(), 4);
    Append(descriptor, empty);
    security_ = AddCell(descriptor);
    Put(security_, 4, security_);
    Put(security_, 8, security_);
    const CellOffset offset = AddKey(root, kNoCell, {});
    Put(security_, 12, keyCount_);
    CloseBin(binEnd_);
    WriteBaseBlock(offset);
}

CellOffset HiveMaker::AddCell(const Bytes& content) {
    const std::size_t size = (4 + content.size() + kCellUnit - 1) / kCellUnit * kCellUnit;
    if (file_.size() + size > binEnd_) {
        CloseBin(binEnd_);
        binStart_ = file_.size();
        const std::size_t needed = kBinHeaderSize + size;
        binEnd_ = binStart_ + (needed + kBinUnit - 1) / kBinUnit * kBinUnit;
        Append(file_, 0x6E696268, 4);  // hbin
        Append(file_, binStart_ - kBaseBlockSize, 4);
        Append(file_, binEnd_ - binStart_, 4);
        file_.resize(file_.size() + 20);
    }
    const std::size_t at = file_.size();
    Append(file_, static_cast<std::uint64_t>(-static_cast<std::int64_t>(size)), 4);
    Append(file_, content);
    file_.resize(at + size);
    return static_cast<CellOffset>(at - kBaseBlockSize);
}

/// A free cell takes what is left.
void HiveMaker::CloseBin(std::size_t end) {
    const std::size_t at = file_.size();
    if (at >= end) return;
    Append(file_, end - at, 4);
    file_.resize(end);
}

CellOffset HiveMaker::AddKey(const HiveMakerKey& key, CellOffset parent, const Text& path) {
    ++keyCount_;
    const bool isRoot = parent == kNoCell;
    const Bytes name = StoredName(key.name);
    Bytes cell = {'n', 'k'};
    Append(cell, (isRoot ? kIsRoot : 0U) | (IsLatin1(key.name) ? kIsNameLatin1 : 0U), 2);
    Append(cell, 0x01D0000000000000, 8);
    Append(cell, 0, 4);
    Append(cell, isRoot ? 0 : parent, 4);
    Append(cell, key.subkeys.size(), 4);
    Append(cell, 0, 4);
    for (int i = 0; i < 2; ++i) Append(cell, kNoCell, 4);
    Append(cell, key.values.size(), 4);
    for (int i = 0; i < 3; ++i) Append(cell, kNoCell, 4);
    std::size_t subkeyName = 0;
    std::size_t valueName = 0;
    std::size_t valueData = 0;
    for (const auto& subkey : key.subkeys) subkeyName = std::max(subkeyName, subkey.name.size());
    for (const auto& value : key.values) {
        valueName = std::max(valueName, value.name.size());
        valueData = std::max(valueData, value.data.size());
    }
    for (const std::size_t most : {2 * subkeyName, std::size_t{0}, 2 * valueName, valueData}) {
        Append(cell, most, 4);
    }
    Append(cell, 0, 4);
    Append(cell, name.size(), 2);
    Append(cell, 2 * key.className.size(), 2);
    Append(cell, name);

    const CellOffset offset = AddCell(cell);
    keys_[path] = offset;
    Put(offset, 44, security_);
    if (!key.className.empty()) Put(offset, 48, AddCell(ToUtf16Bytes(key.className)));
    if (!key.values.empty()) Put(offset, 40, AddValues(key, path));
    if (!key.subkeys.empty()) Put(offset, 28, AddSubkeys(key, offset, path));
    return offset;
}

CellOffset HiveMaker::AddSubkeys(const HiveMakerKey& key, CellOffset parent, const Text& path) {
    std::vector<CellOffset> offsets;
    for (const auto& subkey : key.subkeys) {
        offsets.push_back(AddKey(subkey, parent, path + u'\\' + subkey.name));
    }
    const std::size_t most = key.entriesALeaf == 0 ? offsets.size() : key.entriesALeaf;
    Bytes root = {'r', 'i', 0, 0};
    for (std::size_t start = 0; start < offsets.size(); start += most) {
        const std::size_t count = std::min(most, offsets.size() - start);
        Bytes leaf(key.list.begin(), key.list.end());
        Append(leaf, count, 2);
        for (std::size_t i = start; i < start + count; ++i) {
            Append(leaf, offsets[i], 4);
            if (key.list != "li") Append(leaf, Hint(key.list, key.subkeys[i].name), 4);
        }
        lists_[path] = AddCell(leaf);
        Append(root, lists_[path], 4);
    }
    if (key.entriesALeaf == 0) return lists_[path];
    root[2] = static_cast<std::uint8_t>((root.size() - 4) / 4);
    root[3] = static_cast<std::uint8_t>((root.size() - 4) / 4 >> 8);
    return lists_[path] = AddCell(root);
}

CellOffset HiveMaker::AddValues(const HiveMakerKey& key, const Text& path) {
    Bytes list;
    for (const HiveMakerValue& value : key.values) {
        const Bytes name = StoredName(value.name);
        const bool isInline = value.data.size() <= 4;
        Bytes cell = {'v', 'k'};
        Append(cell, name.size(), 2);
        Append(cell, value.data.size() | (isInline ? kIsInline : 0U), 4);
        if (isInline) {
            Append(cell, value.data);
            cell.resize(12);
        } else {
            Append(cell, AddData(value.data), 4);
        }
        Append(cell, value.type, 4);
        Append(cell, IsLatin1(value.name) && !value.name.empty() ? kIsValueNameLatin1 : 0U, 4);
        Append(cell, name);
        const CellOffset offset = AddCell(cell);
        values_[path + u'\\' + value.name] = offset;
        Append(list, offset, 4);
    }
    return AddCell(list);
}

CellOffset HiveMaker::AddData(const Bytes& data) {
    if (data.size() <= kLongestCellData || minor_ < kFirstWithBigData) return AddCell(data);
    Bytes list;
    for (std::size_t at = 0; at < data.size(); at += kLongestCellData) {
        const auto start = data.begin() + static_cast<std::ptrdiff_t>(at);
        const std::size_t size = std::min<std::size_t>(kLongestCellData, data.size() - at);
        Bytes segment(start, start + static_cast<std::ptrdiff_t>(size));
        segment.resize(kLongestCellData);  // as Windows has the last one too
        Append(list, AddCell(segment), 4);
    }
    Bytes record = {'d', 'b'};
    Append(record, list.size() / 4, 2);
    Append(record, AddCell(list), 4);
    return AddCell(record);
}

void HiveMaker::Put(CellOffset cell, std::size_t at, std::uint32_t value) {
    Write32(file_, kBaseBlockSize + cell + 4 + at, value);
}

void HiveMaker::WriteBaseBlock(CellOffset root) {
    const std::uint32_t fields[] = {0x66676572,
                                    7,
                                    7,
                                    0x12345678,
                                    0x01D00000,
                                    1,
                                    minor_,
                                    0,
                                    1,
                                    root,
                                    static_cast<std::uint32_t>(file_.size() - kBaseBlockSize),
                                    1};
    for (std::size_t i = 0; i < std::size(fields); ++i) Write32(file_, 4 * i, fields[i]);
    SealHive(file_);
}

void SealHive(Bytes& file) {
    Write32(file, kChecksumAt, HiveChecksum(file));
}

}  // namespace bkfd
