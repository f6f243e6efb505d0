#include "support/zip/cZip.h"

#include "base/RuntimeError.h"

namespace bkfd {

cZip::cZip() {
    SetStoreDirectories(false);
    SetStoreFolderNames(false);
    SetRecurseSubDirs(false);
}

std::int16_t cZip::MessageLevel() const {
    if (Slot(ZpSlot::Verbose) == 1) return 0;
    return Slot(ZpSlot::Quiet) == 1 ? 1 : 2;
}

void cZip::SetMessageLevel(std::int16_t level) {
    if (level < 0 || level > 2) return;
    Slot(ZpSlot::Verbose) = level == 0;
    Slot(ZpSlot::Quiet) = level == 1;
}

std::int32_t cZip::AddFileSpec(const Text& spec) {
    specs_.push_back(spec);
    return 0;
}

const Text& cZip::FileSpec(std::int32_t index) const {
    if (index < 1 || index > FileSpecCount()) throw RuntimeError(ErrorNumber::SubscriptOutOfRange);
    return specs_[static_cast<std::size_t>(index) - 1];
}

void cZip::Zip() {
    RunZipLibrary(*this, options_, specs_);
}

void cZip::Delete() {
    Slot(ZpSlot::Delete) = 1;
    try {
        RunZipLibrary(*this, options_, specs_);
    } catch (...) {
        Slot(ZpSlot::Delete) = 0;
        throw;
    }
    Slot(ZpSlot::Delete) = 0;
}

}  // namespace bkfd
