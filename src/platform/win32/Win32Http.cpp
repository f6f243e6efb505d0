#include "platform/win32/Win32Http.h"

#include <windows.h>

#include <objbase.h>

#include <vector>

#include "base/RuntimeError.h"
#include "platform/win32/ComBridge.h"
#include "platform/win32/ComPtr.h"

namespace bkfd {
namespace {

class XmlHttpRequest : public HttpRequest {
  public:
    explicit XmlHttpRequest(ObjectRef object) : object_(std::move(object)) {}

    Status open(TextView method, TextView url) override {
        return Call(u"open", {Text(method), Text(url)});
    }
    Status setRequestHeader(TextView name, TextView value) override {
        return Call(u"setRequestHeader", {Text(name), Text(value)});
    }
    Status send(TextView body) override { return Call(u"send", {Text(body)}); }
    std::int32_t readyState() override {
        const Result<Variant> state = Ask(u"readyState");
        return state.IsOk() && state.value.IsInteger() ? state.value.AsInteger() : 0;
    }
    Result<std::int32_t> status() override {
        const Result<Variant> status = Ask(u"status");
        if (!status.IsOk()) return Status(status);
        if (!status.value.IsInteger()) return Status{SystemError::ResourceNotFound};
        const std::int32_t number = status.value.AsInteger();
        // The service hands the network's own error numbers out as statuses.
        if (number < 100 || number > 999) return Status{SystemError::ResourceNotFound};
        return number;
    }
    Text statusText() override {
        const Result<Variant> text = Ask(u"statusText");
        return text.IsOk() && text.value.IsText() ? text.value.AsText() : Text();
    }
    void abort() override { (void)Call(u"abort", {}); }

  private:
    Result<Variant> Invoke(TextView name, std::vector<Variant> arguments) {
        try {
            return object_->Invoke(name, arguments);
        } catch (const RuntimeError& error) {
            return Status{static_cast<std::uint32_t>(error.Number())};
        }
    }
    Status Call(TextView name, std::vector<Variant> arguments) {
        return Invoke(name, std::move(arguments));
    }
    Result<Variant> Ask(TextView name) { return Invoke(name, {}); }

    ObjectRef object_;
};

}  // namespace

Result<std::unique_ptr<HttpRequest>> Win32Http::CreateXmlHttpRequest() {
    CLSID classId{};
    HRESULT result = ::CLSIDFromProgID(L"Microsoft.XMLHTTP", &classId);
    if (FAILED(result)) return Status{static_cast<std::uint32_t>(result)};
    IUnknown* created = nullptr;
    result = ::CoCreateInstance(classId, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown,
                                reinterpret_cast<void**>(&created));
    if (FAILED(result)) return Status{static_cast<std::uint32_t>(result)};
    const ComPtr<IUnknown> owned(created);
    return std::unique_ptr<HttpRequest>(std::make_unique<XmlHttpRequest>(FromUnknown(created)));
}

}  // namespace bkfd
