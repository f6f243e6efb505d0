#pragma once

#include "platform/Machine.h"

namespace bkfd {

/// HTTP requests of the host's network for machines that are held in files. An exchange goes on
/// whenever its state is asked for; redirects aren't followed, and the answer's body is dropped.
class CurlHttp final : public Http {
  public:
    Result<std::unique_ptr<HttpRequest>> CreateXmlHttpRequest() override;
};

}  // namespace bkfd
