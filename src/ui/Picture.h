#pragma once

#include "ui/Control.h"

namespace bkfd {

/// A picture of the program's resources, by name: an icon or a bitmap. It fills the control, and is
/// kept in more than one size, so that it looks well at any resolution. Nothing is drawn for a name
/// that the program doesn't have. A caption is a line in white over the picture's lower edge.
class Picture : public Control {
  public:
    Picture(Container& parent, Text name, Text resource = {}, Text caption = {})
        : Control(&parent, std::move(name)),
          resource_(std::move(resource)),
          caption_(std::move(caption)) {}

    const Text& Resource() const { return resource_; }
    const Text& Caption() const { return caption_; }

    void Accept(ControlVisitor& visitor) override { visitor.Visit(*this); }

  private:
    Text resource_;
    Text caption_;
};

}  // namespace bkfd
