#pragma once

#include <cstdint>

#include "platform/Machine.h"

namespace bkfd {

/// A change of a modelled machine's registry, processes or file facts.
struct MachineChange {
    enum class Kind {
        SetValue,
        DeleteValue,
        DeleteKey,
        EndProcess,     // `number` is the process's identifier
        SetAttributes,  // of the file `key`, to `number`
    };

    Kind kind = Kind::SetValue;
    RegistryRoot root = RegistryRoot::LocalMachine;
    Text key;
    Text name;
    RegistryValue value;
    std::uint32_t number = 0;
};

/// Is told of each change after all checks and before it is made; a failure keeps it from being
/// made and is what the caller gets.
class ChangeLog {
  public:
    virtual ~ChangeLog() = default;
    virtual Status Note(const MachineChange& change) = 0;
};

}  // namespace bkfd
