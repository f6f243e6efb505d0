#pragma once

#include "platform/model/RegistryStore.h"
#include "platform/model/RegistryTree.h"

namespace bkfd {

/// The keys below the roots that hold keys of their own, any but ClassesRoot. Calls mean what those
/// of `RegistryStore` mean, with a root before the path.
class RegistryRoots {
  public:
    virtual ~RegistryRoots() = default;

    /// Success if the key is there.
    virtual Status FindKey(RegistryRoot root, TextView key) = 0;
    virtual Result<RegistryValue> QueryValue(RegistryRoot root, TextView key, TextView name) = 0;
    virtual Result<std::vector<Text>> EnumKeys(RegistryRoot root, TextView key) = 0;
    virtual Result<std::vector<Text>> EnumValues(RegistryRoot root, TextView key) = 0;
    /// Makes the keys that are missing.
    virtual Status SetValue(RegistryRoot root, TextView key, TextView name,
                            const RegistryValue& value) = 0;
    virtual Status DeleteValue(RegistryRoot root, TextView key, TextView name) = 0;
    virtual Status DeleteKey(RegistryRoot root, TextView key) = 0;

    /// The same content, whose changes stay its own and are never written. It must not outlive
    /// these, which aren't changed while it is used.
    virtual std::unique_ptr<RegistryRoots> Fork() const = 0;
};

/// The keys of a tree in memory.
class TreeRoots final : public RegistryRoots {
  public:
    /// `tree` must outlive this.
    explicit TreeRoots(RegistryTree& tree) : tree_(tree) {}
    explicit TreeRoots(std::unique_ptr<RegistryTree> tree)
        : owned_(std::move(tree)), tree_(*owned_) {}

    Status FindKey(RegistryRoot root, TextView key) override;
    Result<RegistryValue> QueryValue(RegistryRoot root, TextView key, TextView name) override;
    Result<std::vector<Text>> EnumKeys(RegistryRoot root, TextView key) override;
    Result<std::vector<Text>> EnumValues(RegistryRoot root, TextView key) override;
    Status SetValue(RegistryRoot root, TextView key, TextView name,
                    const RegistryValue& value) override;
    Status DeleteValue(RegistryRoot root, TextView key, TextView name) override;
    Status DeleteKey(RegistryRoot root, TextView key) override;
    std::unique_ptr<RegistryRoots> Fork() const override;

  private:
    std::unique_ptr<RegistryTree> owned_;  // of a fork
    RegistryTree& tree_;
};

}  // namespace bkfd
