#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "base/Text.h"

/// Files that are known besides those of the compiled lists.
namespace bkfd {

/// One list. A file is known by the SHA-256 of what it holds, or by its size and content hash.
class KnownFiles {
  public:
    /// What the list says of a file, for people.
    struct Row {
        std::string name;
        std::string source;
    };

    /// In lower-case hexadecimal. The first row of several for the same content stays.
    void Add(const std::string& sha256, Row row) { bySha256_.emplace(sha256, std::move(row)); }
    void Add(std::int32_t size, std::int32_t hash, Row row) {
        bySize_.emplace(std::pair(size, hash), std::move(row));
    }
    bool IsEmpty() const { return bySha256_.empty() && bySize_.empty(); }
    std::size_t Count() const { return bySha256_.size() + bySize_.size(); }
    bool NeedsSha256() const { return !bySha256_.empty(); }
    /// Null for a file that isn't in the list. `sha256` may be empty where it isn't known.
    const Row* Find(std::int32_t size, std::int32_t hash, const std::string& sha256) const;

  private:
    std::map<std::string, Row> bySha256_;
    std::map<std::pair<std::int32_t, std::int32_t>, Row> bySize_;
};

struct AddedSignatures {
    KnownFiles parasites;
    KnownFiles good;
    /// The SHA-256 of a file of the machine, nothing for one that can't be read.
    std::function<std::optional<std::string>(const Text& file)> sha256;
};

/// Lets the detection ask those lists too while the object lives; one at a time.
class InstalledSignatures {
  public:
    explicit InstalledSignatures(AddedSignatures signatures);
    ~InstalledSignatures();
    InstalledSignatures(const InstalledSignatures&) = delete;
    InstalledSignatures& operator=(const InstalledSignatures&) = delete;

    const AddedSignatures& Lists() const { return signatures_; }
    /// Whether a file that is there is in the list, one of this object's. Each file is read once.
    bool Knows(const KnownFiles& list, const Text& file);

  private:
    AddedSignatures signatures_;
    std::map<Text, std::string> hashes_;  // by lower-cased path
};

/// Null where nobody has added any.
InstalledSignatures* TheAddedSignatures();

}  // namespace bkfd
