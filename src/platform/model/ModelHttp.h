#pragma once

#include <functional>
#include <memory>

#include "platform/Machine.h"

namespace bkfd {

/// The XML service of a modelled machine; missing until it is given requests to hand out.
class ModelHttp final : public Http {
  public:
    using Factory = std::function<std::unique_ptr<HttpRequest>()>;

    void SetFactory(Factory make) { make_ = std::move(make); }

    Result<std::unique_ptr<HttpRequest>> CreateXmlHttpRequest() override {
        if (!make_) return Status{SystemError::ClassNotRegistered};
        return make_();
    }

  private:
    Factory make_;
};

}  // namespace bkfd
