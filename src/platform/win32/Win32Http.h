#pragma once

#include "platform/Machine.h"

namespace bkfd {

/// The system's XML service, "Microsoft.XMLHTTP", called by name.
class Win32Http : public Http {
  public:
    /// Requests that were dropped before their answer came.
    using Unfinished = std::vector<ObjectRef>;

    Result<std::unique_ptr<HttpRequest>> CreateXmlHttpRequest() override;

  private:
    std::shared_ptr<Unfinished> unfinished_ = std::make_shared<Unfinished>();
};

}  // namespace bkfd
