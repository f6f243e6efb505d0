#include "formats/Creg.h"

#include <algorithm>
#include <cstdio>
#include <vector>

namespace bkfd {
namespace {

constexpr std::size_t kCregHeader = 32;  // of the file, of the tree and of a block alike
constexpr std::size_t kCregEntry = 28;   // of a key in the tree
constexpr std::size_t kCregRecord = 20;  // without name and values
constexpr std::size_t kCregValue = 12;   // without name and data
constexpr std::uint32_t kNoEntry = 0xFFFFFFFF;
constexpr std::size_t kDeepestCreg = 512;

std::string PlaceOf(const char* what, std::size_t offset) {
    char text[64];
    std::snprintf(text, sizeof text, "%s at 0x%zx", what, offset);
    return text;
}

/// A key's name and values.
struct CregRecord {
    std::uint32_t id = 0;  // its number in the block, and in the upper half the block's
    std::size_t at = 0;    // in the file
    bool isUsed = false;
};

class CregWalk {
  public:
    CregWalk(ByteView file, const std::function<Text(std::string_view)>& decode,
             RegistryVisitor& visitor)
        : file_(file), decode_(decode), visitor_(visitor) {}

    std::string Run() {
        if (!HasText(file_, kCregHeader, "RGKN") || file_.size() < 2 * kCregHeader) {
            return "has no tree of keys";
        }
        const std::size_t size = Read32(file_, kCregHeader + 4);
        const std::size_t there = file_.size() - kCregHeader;
        tree_ = file_.subspan(kCregHeader, std::min(size, there));
        if (tree_.size() < kCregHeader) return "has a tree of keys of a wrong size";
        if (size > there) visitor_.OnUnreadable({}, "the file is cut off within the tree of keys");
        isVisited_.resize(tree_.size());
        FindRecords(Read32(file_, 8), Read16(file_, 16));
        VisitSiblings(Read32(tree_, 8));
        return {};
    }

  private:
    /// Lists the records of all blocks, in the order of their ids.
    void FindRecords(std::size_t at, std::size_t blocks) {
        for (std::size_t block = 0; block < blocks; ++block) {
            if (!HasText(file_, at, "RGDB") || file_.size() - at < kCregHeader) {
                visitor_.OnUnreadable({}, PlaceOf("there is no block of names and values", at));
                break;
            }
            const std::size_t size = Read32(file_, at + 4);
            FindRecordsOfBlock(at + kCregHeader, std::min(at + size, file_.size()));
            if (size > file_.size() - at || size < kCregHeader) {
                visitor_.OnUnreadable({}, PlaceOf("the file is cut off within the block", at));
                break;
            }
            at += size;
        }
        std::ranges::stable_sort(records_, {}, &CregRecord::id);
    }

    void FindRecordsOfBlock(std::size_t at, std::size_t end) {
        while (at < end && end - at >= kCregRecord) {
            const std::size_t size = Read32(file_, at);
            if (size < kCregRecord) {
                // Where a block isn't full, it may end in less than a record.
                if (size != 0) visitor_.OnUnreadable({}, PlaceOf("a record has a wrong size", at));
                return;
            }
            const std::uint32_t id = Read32(file_, at + 4);
            if (id != kNoEntry) records_.push_back({id, at, false});
            at += std::min(size, end - at);
        }
    }

    void VisitSiblings(std::uint32_t entry) {
        for (; entry != kNoEntry; entry = Read32(tree_, entry + 20)) {
            if (entry < kCregHeader || entry > tree_.size() || tree_.size() - entry < kCregEntry) {
                return visitor_.OnUnreadable(path_,
                                             PlaceOf("there is no key", kCregHeader + entry));
            }
            if (isVisited_[entry]) {
                return visitor_.OnUnreadable(
                    path_, PlaceOf("a second time there is the key", kCregHeader + entry));
            }
            isVisited_[entry] = true;
            VisitKey(entry);
        }
    }

    void VisitKey(std::uint32_t entry) {
        const std::size_t length = path_.size();
        const std::uint32_t id = Read32(tree_, entry + 24);
        if (id == kNoEntry) {  // the root alone has no name
            visitor_.OnKey(path_);
        } else {
            VisitRecord(id, entry);
        }
        if (depth_ == kDeepestCreg) {
            visitor_.OnUnreadable(path_, PlaceOf("too deep lies the key", kCregHeader + entry));
        } else {
            ++depth_;
            VisitSiblings(Read32(tree_, entry + 16));
            --depth_;
        }
        path_.resize(length);
    }

    /// Appends the key's name to the path and tells its values.
    void VisitRecord(std::uint32_t id, std::uint32_t entry) {
        const auto found = std::ranges::lower_bound(records_, id, {}, &CregRecord::id);
        ByteView record;
        if (found != records_.end() && found->id == id && !found->isUsed) {
            found->isUsed = true;
            const std::size_t size =
                std::min<std::size_t>(Read32(file_, found->at), file_.size() - found->at);
            const std::size_t used = Read32(file_, found->at + 8);
            record = file_.subspan(found->at, std::min(size, std::max(used, kCregRecord)));
        }
        const std::size_t nameSize = record.empty() ? 0 : Read16(record, 12);
        if (record.size() < kCregRecord + nameSize) {
            visitor_.OnUnreadable(path_,
                                  PlaceOf("there is no name for the key", kCregHeader + entry));
            path_ += u"\\?";  // its subkeys have a place at least
            return;
        }
        path_ += u'\\';
        path_ += Decode(record.subspan(kCregRecord, nameSize));
        visitor_.OnKey(path_);
        const std::size_t count = Read16(record, 14);
        VisitValues(record.subspan(kCregRecord + nameSize), count, found->at);
    }

    void VisitValues(ByteView values, std::size_t count, std::size_t at) {
        for (; count > 0; --count) {
            const std::size_t nameSize = values.size() < kCregValue ? 0 : Read16(values, 8);
            const std::size_t dataSize = values.size() < kCregValue ? 0 : Read16(values, 10);
            const std::size_t size = kCregValue + nameSize + dataSize;
            if (values.size() < size) {
                return visitor_.OnUnreadable(path_,
                                             PlaceOf("the values don't fit into the record", at));
            }
            const Text name = Decode(values.subspan(kCregValue, nameSize));
            const ByteView data = values.subspan(kCregValue + nameSize, dataSize);
            visitor_.OnValue({name, Read32(values, 0), {&data, dataSize == 0 ? 0U : 1U}});
            values = values.subspan(size);
        }
    }

    Text Decode(ByteView bytes) const {
        return decode_({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    }

    ByteView file_;
    const std::function<Text(std::string_view)>& decode_;
    RegistryVisitor& visitor_;
    ByteView tree_;
    std::vector<CregRecord> records_;
    std::vector<bool> isVisited_;  // by the entry's offset in the tree
    Text path_;
    std::size_t depth_ = 0;
};

}  // namespace

bool IsCreg(ByteView file) {
    return file.size() >= kCregHeader && HasText(file, 0, "CREG");
}

std::string WalkCreg(ByteView file, const std::function<Text(std::string_view)>& decode,
                     RegistryVisitor& visitor) {
    return CregWalk(file, decode, visitor).Run();
}

}  // namespace bkfd
