#pragma once

#include "platform/Machine.h"

namespace bkfd {

/// An open file of a machine that can keep writes and its own changes in order without waiting for
/// the disk each time.
class OrderedFile : public OpenFile {
  public:
    /// What was written so far is sure to lie on the disk, or to be brought there by the machine's
    /// next use, before any later change of the machine does.
    virtual Status WriteBarrier() = 0;
};

}  // namespace bkfd
