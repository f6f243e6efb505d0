#pragma once

#include <algorithm>
#include <map>
#include <random>
#include <utility>

#include "formats/HiveEditor.h"
#include "formats/HiveWalk.h"

namespace bkfd {

/// What a registry file holds, key by key in the file's order.
class RegistryListing : public RegistryVisitor {
  public:
    struct Value {
        Text name;
        std::uint32_t type = 0;
        Bytes data;

        bool operator==(const Value&) const = default;
    };
    struct Key {
        Text path;
        std::vector<Value> values;

        bool operator==(const Key&) const = default;
    };

    std::vector<Key> keys;
    std::size_t unreadable = 0;

    void OnKey(TextView path) override { keys.push_back({Text(path), {}}); }
    void OnValue(const RegistryValueView& value) override {
        Bytes data;
        for (const ByteView piece : value.data) data.insert(data.end(), piece.begin(), piece.end());
        keys.back().values.push_back({Text(value.name), value.type, std::move(data)});
    }
    void OnUnreadable(TextView, const std::string&) override { ++unreadable; }
    void OnDeletion(TextView, const Text*) override {}
};

inline RegistryListing ListHive(ByteView file) {
    RegistryListing listing;
    const auto opened = Hive::Open(file);
    if (const auto* const hive = std::get_if<Hive>(&opened)) WalkHive(*hive, listing);
    return listing;
}

/// What a hive should hold after changes, told by other means than the hive's.
struct ModelKey {
    Text name;
    std::vector<RegistryListing::Value> values;
    std::map<Text, ModelKey> subkeys;  // by names in upper case

    static Text Upper(Text text) {
        std::ranges::transform(text, text.begin(), HiveUpperCase);
        return text;
    }
    RegistryListing::Value* Find(const Text& valueName) {
        const auto found = std::ranges::find(values, Upper(valueName),
                                             [](const auto& value) { return Upper(value.name); });
        return found == values.end() ? nullptr : &*found;
    }
    void List(const Text& path, std::vector<RegistryListing::Key>& keys) const {
        keys.push_back({path, values});
        for (const auto& [upper, key] : subkeys) key.List(path + u'\\' + key.name, keys);
    }
};

/// Changes a hive at random, and a model in the same way; the same changes for the same seed.
class RandomChanges {
  public:
    using Value = RegistryListing::Value;

    /// `hasOddNames`: names with NULs, lone surrogates and letters of several scripts too.
    RandomChanges(HiveEditor& editor, unsigned seed, bool hasOddNames = true)
        : editor_(editor), random_(seed), hasOddNames_(hasOddNames) {}

    /// The hive's content at the start, if it can be read.
    void Learn() {
        for (const auto& key : ListHive(editor_.File()).keys) {
            ModelKey* at = &model;
            std::size_t start = 1;
            while (start <= key.path.size()) {
                const std::size_t end = std::min(key.path.find(u'\\', start), key.path.size());
                const Text name = key.path.substr(start, end - start);
                at = &at->subkeys[ModelKey::Upper(name)];
                at->name = name;
                start = end + 1;
            }
            at->values = key.values;
        }
    }

    /// One change; what became of it.
    HiveOutcome Step() {
        const std::vector<Text> path = PickPath();
        ModelKey* key = &model;
        CellOffset cell = editor_.Cells().View().BaseBlock().root;
        ModelKey* above = nullptr;
        CellOffset aboveCell = cell;
        for (const Text& name : path) {
            const auto& hive = editor_.Cells().View();
            const auto found = hive.FindSubkey(*hive.Key(cell), name);
            if (!found) return HiveOutcome::Damaged;
            aboveCell = std::exchange(cell, found->Offset());
            above = std::exchange(key, &key->subkeys.at(ModelKey::Upper(name)));
        }
        if (!editor_.Cells().View().Key(cell)) return HiveOutcome::Damaged;
        switch (Below(8)) {
            case 0:
            case 1:
                return Make(*key, cell);
            case 2:
                return Delete(above, aboveCell, path);
            case 3:
            case 4:
                return DeleteValue(*key, cell);
            default:
                return Set(*key, cell);
        }
    }

    ModelKey model;

  private:
    std::size_t Below(std::size_t end) { return random_() % end; }

    std::vector<Text> PickPath() {
        std::vector<Text> path;
        const ModelKey* key = &model;
        while (!key->subkeys.empty() && Below(4) != 0) {
            const auto next = std::next(key->subkeys.begin(),
                                        static_cast<std::ptrdiff_t>(Below(key->subkeys.size())));
            key = &next->second;
            path.push_back(key->name);
        }
        return path;
    }

    Text PickName() {
        static const Text kOdd[] = {u"name",      u"NAME",         Text(u"nul\0x", 5),
                                    Text{0xD800}, u"\u00E4",       u"\u00C4",
                                    u"\u20AC",    u"\u0436\u0437", Text(200, u'L')};
        if (hasOddNames_ && Below(3) == 0) return kOdd[Below(std::size(kOdd))];
        return u"n" + Text(1 + Below(3), static_cast<char16_t>(u'a' + Below(26)));
    }

    Bytes PickData() {
        static constexpr std::size_t kSizes[] = {0, 1, 4, 5, 8, 60, 300, 5000, 16344, 16345, 40000};
        Bytes data(kSizes[Below(Below(6) == 0 ? std::size(kSizes) : 7)]);
        const std::size_t start = Below(256);
        for (std::size_t i = 0; i < data.size(); ++i) {
            data[i] = static_cast<std::uint8_t>(start + i / 256 + i);
        }
        return data;
    }

    HiveOutcome Make(ModelKey& key, CellOffset cell) {
        const Text name = PickName();
        const auto change = editor_.MakeKeys(cell, {&name, 1});
        if (change.outcome == HiveOutcome::Done) {
            ModelKey& made = key.subkeys[ModelKey::Upper(name)];
            if (made.name.empty()) made.name = name;
        }
        return change.outcome;
    }

    HiveOutcome Delete(ModelKey* above, CellOffset aboveCell, const std::vector<Text>& path) {
        if (above == nullptr) return HiveOutcome::NotFound;
        const auto change = editor_.DeleteSubkey(aboveCell, path.back());
        if (change.outcome == HiveOutcome::Done) {
            above->subkeys.erase(ModelKey::Upper(path.back()));
        }
        return change.outcome;
    }

    HiveOutcome DeleteValue(ModelKey& key, CellOffset cell) {
        const Text name = key.values.empty() || Below(8) == 0
                              ? Text(u"not there")
                              : key.values[Below(key.values.size())].name;
        const auto change = editor_.DeleteValue(cell, name);
        if (change.outcome == HiveOutcome::Done) {
            key.values.erase(key.values.begin() + (key.Find(name) - key.values.data()));
        }
        return change.outcome;
    }

    HiveOutcome Set(ModelKey& key, CellOffset cell) {
        Value value{Below(8) == 0 ? Text() : PickName(), static_cast<std::uint32_t>(Below(12)),
                    PickData()};
        const auto change = editor_.SetValue(cell, {}, value.name, value.type, value.data);
        if (change.outcome != HiveOutcome::Done) return change.outcome;
        if (Value* const old = key.Find(value.name)) {
            value.name = old->name;
            *old = std::move(value);
        } else {
            key.values.push_back(std::move(value));
        }
        return change.outcome;
    }

    HiveEditor& editor_;
    std::mt19937 random_;
    bool hasOddNames_;
};

/// A hive's bytes with room to grow.
struct HiveRoom {
    HiveRoom(ByteView file, std::size_t spare)
        : bytes(file.begin(), file.end()), fileSize(file.size()) {
        bytes.resize(file.size() + spare);
    }
    HiveEditor Edit() {
        return HiveEditor(bytes, fileSize, [] { return std::uint64_t{0x01DA000000000000}; });
    }

    Bytes bytes;
    std::size_t fileSize;
};

/// The file as it was, of what it is now and the former content of the pages that were changed.
inline Bytes PutPagesBack(const HiveEditor& editor, ByteView before) {
    Bytes file(editor.File().begin(), editor.File().end());
    file.resize(before.size());
    for (const std::size_t page : editor.Cells().ChangedPages()) {
        const std::size_t at = std::min(page * hive::kBinUnit, before.size());
        const std::size_t size = std::min(hive::kBinUnit, before.size() - at);
        std::ranges::copy(before.subspan(at, size), file.begin() + static_cast<std::ptrdiff_t>(at));
    }
    return file;
}

/// A copy with the right checksum, which who writes a hive gives it.
inline Bytes Sealed(ByteView file) {
    Bytes sealed(file.begin(), file.end());
    Write32(sealed, hive::kChecksumAt, HiveChecksum(sealed));
    return sealed;
}

}  // namespace bkfd
