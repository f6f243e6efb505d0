#include "identity/CHashier.h"

#include <limits>

#include "base/RuntimeError.h"
#include "identity/ContentHash.h"
#include "services/ErrorMode.h"
#include "services/FileUtil.h"
#include "services/SysUtil.h"

namespace bkfd {
namespace {

std::int32_t SizeOf(const Bytes& content) {
    if (content.size() > std::numeric_limits<std::int32_t>::max()) {
        throw RuntimeError(ErrorNumber::Overflow);
    }
    return static_cast<std::int32_t>(content.size());
}

}  // namespace

std::unique_ptr<CHashier> gHashier;

std::int32_t CHashier::HashFromFullFileName(const Text& fileName, std::int32_t& size) {
    const Text key = u"_" + fileName;
    if (hashes_.Exists(key)) {
        size = sizes_.Item(key).AsInteger();
        return hashes_.Item(key).AsInteger();
    }
    size = 0;
    std::int32_t hash = 0;
    ContinueOnError step;  // an error is dropped: what can't be read counts as nothing
    step([&] {
        const Bytes content = FileUtil::ReadBinaryFile(fileName);
        if (SysUtil::IsArrayEmpty(content)) return;
        size = SizeOf(content);
        hash = ContentHash(content);
    });
    hashes_.Add(hash, key);
    sizes_.Add(size, key);
    return hash;
}

}  // namespace bkfd
