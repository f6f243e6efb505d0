#pragma once

#include <functional>
#include <variant>
#include <vector>

#include "base/Text.h"
#include "formats/HiveFormat.h"

/// Reading hives of the NT family where they lie, mapped say: views into the file's bytes, nothing
/// copied before it is asked for, every place checked against the bins' bounds.
namespace bkfd {

/// A thing read, or the rule that kept it from being read.
template <class T>
struct HiveResult {
    T value{};
    std::optional<HiveFault> fault;

    explicit operator bool() const { return !fault; }
    const T* operator->() const { return &value; }
    const T& operator*() const { return value; }
};

/// A name as stored: a byte a unit (Latin-1) or two. NULs and lone surrogates belong to it.
struct HiveName {
    ByteView bytes;
    bool isLatin1 = false;

    std::size_t Length() const { return isLatin1 ? bytes.size() : bytes.size() / 2; }
    char16_t operator[](std::size_t i) const {
        return isLatin1 ? bytes[i] : static_cast<char16_t>(Read16(bytes, 2 * i));
    }
    /// As names are ordered in lists: negative, zero or positive.
    int Compare(TextView name) const;
    int Compare(const HiveName& other) const;
    void AppendTo(Text& text) const;
    Text ToText() const;
};

/// A key ("nk"): a view of its cell.
class HiveKey {
  public:
    HiveKey() = default;
    HiveKey(CellOffset offset, ByteView cell) : offset_(offset), cell_(cell) {}

    CellOffset Offset() const { return offset_; }
    std::uint16_t Flags() const { return Read16(cell_, 2); }
    bool IsLink() const { return (Flags() & hive::kIsLink) != 0; }
    std::uint64_t LastWritten() const { return Read64(cell_, 4); }  // FILETIME
    CellOffset Parent() const { return Read32(cell_, 16); }
    std::uint32_t SubkeyCount() const { return Read32(cell_, 20); }
    CellOffset SubkeyList() const { return Read32(cell_, 28); }
    std::uint32_t ValueCount() const { return Read32(cell_, 36); }
    CellOffset ValueList() const { return Read32(cell_, 40); }
    CellOffset Security() const { return Read32(cell_, 44); }
    CellOffset Class() const { return Read32(cell_, 48); }
    std::uint16_t LargestSubkeyName() const { return Read16(cell_, 52); }  // bytes of UTF-16
    std::uint32_t LargestValueName() const { return Read32(cell_, 60); }   // bytes of UTF-16
    std::uint32_t LargestValueData() const { return Read32(cell_, 64); }   // bytes
    std::uint16_t ClassSize() const { return Read16(cell_, 74); }          // bytes of UTF-16
    HiveName Name() const;

  private:
    CellOffset offset_ = kNoCell;
    ByteView cell_;
};

/// A value ("vk"): a view of its cell.
class HiveValue {
  public:
    HiveValue() = default;
    HiveValue(CellOffset offset, ByteView cell) : offset_(offset), cell_(cell) {}

    CellOffset Offset() const { return offset_; }
    HiveName Name() const;
    std::uint32_t Type() const { return Read32(cell_, 12); }
    std::uint32_t DataSize() const { return Read32(cell_, 4) & ~hive::kIsInline; }
    /// Whether the data, at most 4 bytes, stands in place of its offset.
    bool IsInline() const { return (Read32(cell_, 4) & hive::kIsInline) != 0; }
    CellOffset Data() const { return Read32(cell_, 8); }
    ByteView InlineData() const { return cell_.subspan(8, DataSize()); }

  private:
    CellOffset offset_ = kNoCell;
    ByteView cell_;
};

enum class HiveListKind { Plain, Hints, Hashes };  // li, lf, lh

/// An entry of a list of subkeys.
struct HiveListEntry {
    CellOffset list = kNoCell;  // the leaf that it stands in
    HiveListKind kind{};
    CellOffset key = kNoCell;
    std::uint32_t hint = 0;  // the first four characters or the hash of the name
};

class Hive {
  public:
    /// The bytes must outlive the hive and what is read of it. An error, as a clause for people, is
    /// what is no hive of version 1.3 to 1.6: logs and delta hives are refused by name.
    static std::variant<Hive, std::string> Open(ByteView file);

    const HiveBaseBlock& BaseBlock() const { return base_; }
    /// What is there of the bins, in bytes; less than the base block says if the file is cut off.
    std::size_t BinsSize() const { return bins_.size(); }
    ByteView Bins() const { return bins_; }

    /// The content of a cell in use, without its size field.
    HiveResult<ByteView> Cell(CellOffset offset) const;

    HiveResult<HiveKey> Root() const { return Key(base_.root); }
    HiveResult<HiveKey> Key(CellOffset offset) const;
    HiveResult<HiveValue> Value(CellOffset offset) const;

    /// Is given each entry in turn, or a fault of a list; false ends it.
    using EntrySink = std::function<bool(const HiveResult<HiveListEntry>&)>;
    /// The entries of a key's lists in the file's order (lf, lh, li, and ri over these).
    void ForEachSubkey(const HiveKey& key, const EntrySink& sink) const;
    /// The first subkey of that name, without regard to case. If no hash in the lists is that of
    /// the name, every entry is looked at. A name that isn't there is the fault `NoSuchName`, any
    /// other fault is one of the lists, so that it can't be said.
    HiveResult<HiveKey> FindSubkey(const HiveKey& key, TextView name) const;
    /// A value by its name likewise.
    HiveResult<HiveValue> FindValue(const HiveKey& key, TextView name) const;

    using ValueSink = std::function<bool(const HiveResult<HiveValue>&)>;
    /// A key's values in the file's order, or their faults; false ends it.
    void ForEachValue(const HiveKey& key, const ValueSink& sink) const;

    /// Puts a value's data into `pieces`, one, or several for data in segments; none if there is no
    /// data. After a fault there are none.
    std::optional<HiveFault> Data(const HiveValue& value, std::vector<ByteView>& pieces) const;

    HiveResult<Text> ClassName(const HiveKey& key) const;
    /// The security descriptor of a key, as stored.
    HiveResult<ByteView> SecurityDescriptor(const HiveKey& key) const;

  private:
    Hive(const HiveBaseBlock& base, ByteView bins) : base_(base), bins_(bins) {}

    HiveResult<HiveKey> FindSubkey(const HiveKey& key, TextView name, bool byHash) const;
    bool ForEachEntry(CellOffset list, bool isNested, const EntrySink& sink) const;
    std::optional<HiveFault> SegmentedData(const HiveValue& value, ByteView record,
                                           std::vector<ByteView>& pieces) const;

    HiveBaseBlock base_;
    ByteView bins_;
};

}  // namespace bkfd
