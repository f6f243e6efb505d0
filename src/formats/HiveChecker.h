#pragma once

#include <vector>

#include "base/Text.h"
#include "formats/HiveFormat.h"

namespace bkfd {

/// A broken rule of a hive, and the key at which it was noticed.
struct HiveFinding {
    Text key;  // its path, "" for the root and for the hive as a whole
    HiveFault fault;

    bool operator==(const HiveFinding&) const = default;
};

/// Checks everything that Windows relies on, and what a writer must keep: base block, bins, cells
/// that neither overlap nor are lost nor are used twice, references, lists with their order, hashes
/// and counts, the sizes that keys state, data and the ring of security descriptors. At most `most`
/// findings. The hive must be one that `Hive::Open` opens; else there is one finding, BaseType.
/// Needs a bit or two for each 8 bytes of the hive.
std::vector<HiveFinding> CheckHive(ByteView file, std::size_t most = 1000);

}  // namespace bkfd
