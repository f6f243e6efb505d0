#pragma once

#include "platform/model/RegistryStore.h"
#include "platform/model/RegistryTree.h"

namespace bkfd {

/// The keys below one of a tree in memory.
class TreeStore final : public RegistryStore {
  public:
    /// `root` must outlive this.
    explicit TreeStore(RegistryKey& root) : root_(root) {}
    explicit TreeStore(std::unique_ptr<RegistryKey> root)
        : owned_(std::move(root)), root_(*owned_) {}

    Status FindKey(TextView key) override;
    Result<RegistryValue> QueryValue(TextView key, TextView name) override;
    Result<std::vector<Text>> EnumKeys(TextView key) override;
    Result<std::vector<Text>> EnumValues(TextView key) override;
    Status MakeKey(TextView key) override;
    Status SetValue(TextView key, TextView name, const RegistryValue& value) override;
    Status DeleteValue(TextView key, TextView name) override;
    Status DeleteKey(TextView key) override;
    std::unique_ptr<RegistryStore> Fork() const override;

  private:
    std::unique_ptr<RegistryKey> owned_;  // if nobody else owns it
    RegistryKey& root_;
};

}  // namespace bkfd
