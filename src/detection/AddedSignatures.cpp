#include "detection/AddedSignatures.h"

#include "identity/CHashier.h"

namespace bkfd {
namespace {

InstalledSignatures* installed = nullptr;

}  // namespace

const KnownFiles::Row* KnownFiles::Find(std::int32_t size, std::int32_t hash,
                                        const std::string& sha256) const {
    const auto known = bySha256_.find(sha256);
    if (known != bySha256_.end()) return &known->second;
    const auto alike = bySize_.find({size, hash});
    return alike == bySize_.end() ? nullptr : &alike->second;
}

InstalledSignatures::InstalledSignatures(AddedSignatures signatures)
    : signatures_(std::move(signatures)) {
    installed = this;
}

InstalledSignatures::~InstalledSignatures() {
    installed = nullptr;
}

bool InstalledSignatures::Knows(const KnownFiles& list, const Text& file) {
    if (list.IsEmpty() || gHashier == nullptr) return false;
    std::int32_t size = 0;
    const std::int32_t hash = gHashier->HashFromFullFileName(file, size);
    std::string sha256;
    if (list.NeedsSha256() && size != 0) {
        const auto [known, isNew] = hashes_.try_emplace(ToLower(file));
        if (isNew) known->second = signatures_.sha256(file).value_or("");
        sha256 = known->second;
    }
    return list.Find(size, hash, sha256) != nullptr;
}

InstalledSignatures* TheAddedSignatures() {
    return installed;
}

}  // namespace bkfd
