#include "platform/win32/Win32Http.h"

#include <windows.h>

#include <objbase.h>

#include <vector>

#include "base/RuntimeError.h"
#include "platform/win32/ComBridge.h"
#include "win32/ComPtr.h"

namespace bkfd {
namespace {

constexpr std::int32_t kAsynchronous = 1;
// States of a request.

Result<Variant> Invoke(Object& object, TextView name, std::vector<Variant> arguments) {
    try {
        return object.Invoke(name, arguments);
    } catch (const RuntimeError& error) {
        return Status{static_cast<std::uint32_t>(error.Number())};
    }
}

std::int32_t StateOf(Object& object) {
    const Result<Variant> state = Invoke(object, u"readyState", {});
    return state.IsOk() && state.value.IsInteger() ? state.value.AsInteger()
                                                   : ReadyState::NotOpened;
}

bool IsUnderWay(Object& object) {
    const std::int32_t state = StateOf(object);
    return state != ReadyState::NotOpened && state != ReadyState::Complete;
}

class XmlHttpRequest final : public HttpRequest {
  public:
    XmlHttpRequest(ObjectRef object, std::shared_ptr<Win32Http::Unfinished> unfinished)
        : object_(std::move(object)), unfinished_(std::move(unfinished)) {}
    /// Wine's service fails when the answer comes to an object that is released or was told to
    /// abort, so one that still waits for it is kept.
    ~XmlHttpRequest() override {
        if (IsUnderWay(*object_)) unfinished_->push_back(object_);
    }
    XmlHttpRequest(const XmlHttpRequest&) = delete;
    XmlHttpRequest& operator=(const XmlHttpRequest&) = delete;

    Status open(TextView method, TextView url) override {
        // Asynchronous is what the service takes a missing third argument for, but Wine doesn't.
        return Call(u"open", {Text(method), Text(url), kAsynchronous});
    }
    Status setRequestHeader(TextView name, TextView value) override {
        return Call(u"setRequestHeader", {Text(name), Text(value)});
    }
    Status send(TextView body) override { return Call(u"send", {Text(body)}); }
    std::int32_t readyState() override { return StateOf(*object_); }
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
    Status Call(TextView name, std::vector<Variant> arguments) {
        return Invoke(*object_, name, std::move(arguments));
    }
    Result<Variant> Ask(TextView name) { return Invoke(*object_, name, {}); }

    ObjectRef object_;
    std::shared_ptr<Win32Http::Unfinished> unfinished_;
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
    std::erase_if(*unfinished_, [](const ObjectRef& object) { return !IsUnderWay(*object); });
    return std::unique_ptr<HttpRequest>(
        std::make_unique<XmlHttpRequest>(FromUnknown(created), unfinished_));
}

}  // namespace bkfd
