#pragma once

#include "platform/Machine.h"

namespace bkfd {

/// The system's XML service, "Microsoft.XMLHTTP", called by name.
class Win32Http : public Http {
  public:
    Result<std::unique_ptr<HttpRequest>> CreateXmlHttpRequest() override;
};

}  // namespace bkfd
