#pragma once

#include <span>
#include <string>

#include "base/Text.h"
#include "formats/LittleEndian.h"

namespace bkfd {

/// A value as a registry file holds it; the views live as long as the call that hands them over.
struct RegistryValueView {
    TextView name;  // empty for the key's default value
    std::uint32_t type = 0;
    std::span<const ByteView> data;  // as stored, in pieces; none for no data
};

/// Is told what a registry file holds, in the file's order.
class RegistryVisitor {
  public:
    virtual ~RegistryVisitor() = default;

    /// "\Software\Microsoft", the root as "". Values that follow are this key's.
    virtual void OnKey(TextView path) = 0;
    virtual void OnValue(const RegistryValueView& value) = 0;
    /// What could not be read below a key, as a clause for people.
    virtual void OnUnreadable(TextView path, const std::string& what) = 0;
    /// A key or value that the file says to delete, which registry export files alone can. `name`
    /// is null for the whole key.
    virtual void OnDeletion(TextView path, const Text* name) = 0;
};

}  // namespace bkfd
