#pragma once

#include <map>
#include <vector>

#include "base/Text.h"
#include "formats/HiveFormat.h"

namespace bkfd {

struct HiveMakerValue {
    Text name;
    std::uint32_t type = 0;
    Bytes data;
};

/// A key of a hive to be made. Subkeys stand in the hive in the order given, which must be that of
/// their names in upper case if the hive is to be right.
struct HiveMakerKey {
    Text name;
    std::vector<HiveMakerValue> values = {};
    std::vector<HiveMakerKey> subkeys = {};
    std::string list = "lh";       // lf, lh or li
    std::size_t entriesALeaf = 0;  // not 0: leaves of that many under an ri
    Text className = {};
};

/// A hive in which everything is right, written as Windows writes it.
class HiveMaker {
  public:
    explicit HiveMaker(const HiveMakerKey& root, std::uint32_t minor = 5);

    const Bytes& File() const { return file_; }
    /// Where a key's cell is, by its path ("\A\B", "" for the root), and its list of subkeys.
    CellOffset KeyAt(const Text& path) const { return keys_.at(path); }
    CellOffset ListAt(const Text& path) const { return lists_.at(path); }
    /// Where a value's cell is, by the key's path, a backslash and its name.
    CellOffset ValueAt(const Text& path) const { return values_.at(path); }

  private:
    CellOffset AddCell(const Bytes& content);
    void CloseBin(std::size_t size);
    CellOffset AddKey(const HiveMakerKey& key, CellOffset parent, const Text& path);
    CellOffset AddSubkeys(const HiveMakerKey& key, CellOffset parent, const Text& path);
    CellOffset AddValues(const HiveMakerKey& key, const Text& path);
    CellOffset AddData(const Bytes& data);
    void Put(CellOffset cell, std::size_t at, std::uint32_t value);
    void WriteBaseBlock(CellOffset root);

    std::uint32_t minor_;
    Bytes file_;
    std::size_t binStart_ = 0;
    std::size_t binEnd_ = 0;  // of the file, as is binStart_; cells fill up to file_.size()
    CellOffset security_ = kNoCell;
    std::uint32_t keyCount_ = 0;
    std::map<Text, CellOffset> keys_;
    std::map<Text, CellOffset> lists_;
    std::map<Text, CellOffset> values_;
};

/// Calculates a base block's checksum anew, after a change.
void SealHive(Bytes& file);

}  // namespace bkfd
