#pragma once

#include <cstdint>
#include <memory>

#include "services/KeyedList.h"

namespace bkfd {

/// Size and content hash of files, each file read once in the object's life.
class CHashier {
  public:
    /// The hash, 0 to 2147483647. Never fails: a file that is missing, empty or can't be read gives
    /// size 0 and hash 0, which is remembered too. The cache is by name as given.
    std::int32_t HashFromFullFileName(const Text& fileName, std::int32_t& size);

  private:
    KeyedList hashes_;
    KeyedList sizes_;
};

/// The one hasher that all parts share; made at start-up.
extern std::unique_ptr<CHashier> gHashier;

}  // namespace bkfd
