#pragma once

#include <string>

#include "cli/MachineSession.h"
#include "cli/ScanResult.h"

/// What a scan of one of many machines leaves: a line of JSON that is complete in itself.
namespace bkfd {

struct RecordOptions {
    std::string name;         // of the machine in the record; empty for that of its folder
    bool wantsTimes = false;  // when it was scanned, and when what was found was last written
};

/// The document of the scan with versions, the input's hashes, the registry's names for each place
/// and the numbers of techniques. Without times it is the same for the same machine wherever and
/// whenever it is made: host paths are told from the machine's folder on. A PassingError when
/// something could not be read for a cause that goes by.
Json MakeRecord(const MachineSession& session, const ScanResult& result,
                const RecordOptions& options);

/// Whether the host lacks something just now that opening the folder takes, so that another try
/// may succeed: descriptors, memory, a server that doesn't answer.
bool IsShortOfResources(const std::string& folder);

}  // namespace bkfd
