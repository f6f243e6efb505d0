#pragma once

#include "ui/Control.h"

namespace bkfd {

/// A picture of the program's resources, by name. It is drawn from the top left corner at its own
/// size.
class Picture : public Control {
  public:
    Picture(Container& parent, Text name, Text resource = {})
        : Control(&parent, std::move(name)), resource_(std::move(resource)) {}

    const Text& Resource() const { return resource_; }
    void SetResource(Text resource) {
        resource_ = std::move(resource);
        Notify({Aspect::Content});
    }

    void Accept(ControlVisitor& visitor) override { visitor.Visit(*this); }

  private:
    Text resource_;
};

}  // namespace bkfd
