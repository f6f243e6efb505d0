#pragma once

#include <map>

#include "platform/model/MachineFacts.h"
#include "platform/model/RegistryTree.h"

namespace bkfd {

/// Component classes that the machine has, and those that this process offers.
class ModelComponents final : public Components {
  public:
    explicit ModelComponents(const MachineFacts& facts) : facts_(facts) {}

    /// A class that the machine has, by programmatic identifier, class identifier or file.
    void Install(TextView name, std::function<ObjectRef()> make);

    void CopyClasses(const ModelComponents& from) {
        installed_ = from.installed_;
        registered_ = from.registered_;
    }

    Result<ObjectRef> CoCreateInstance(const ComponentClass& component) override;
    void CoRegisterClassObject(const Text& file, std::function<ObjectRef()> make) override;
    Text CoCreateGuid() override;

  private:
    using Factories = std::map<Text, std::function<ObjectRef()>, TextLess>;

    bool IsMissing(const ComponentClass& component) const;

    const MachineFacts& facts_;
    Factories installed_;
    Factories registered_;
};

}  // namespace bkfd
