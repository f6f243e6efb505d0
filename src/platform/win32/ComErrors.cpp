#include <windows.h>
// Behind windows.h.
#include <oleauto.h>

#include "platform/win32/ComErrors.h"
#include "platform/win32/Win32SystemFacts.h"
#include "win32/NativeText.h"

namespace bkfd {
namespace {

constexpr std::uint32_t kRunTimeErrors = 0x800A0000;  // as Windows automation maps its numbers

Text TakeText(BSTR& text) {
    Text taken(FromWide(text, ::SysStringLen(text)));
    ::SysFreeString(text);
    text = nullptr;
    return taken;
}

std::int32_t NumberOf(HRESULT code) {
    const auto bits = static_cast<std::uint32_t>(code);
    if ((bits & 0xFFFF0000) == kRunTimeErrors) return static_cast<std::int32_t>(bits & 0xFFFF);
    return code;
}

Text SystemText(HRESULT code) {
    Text text = Win32SystemFacts().FormatMessageW(static_cast<std::uint32_t>(code));
    while (!text.empty() && (text.back() == u'\r' || text.back() == u'\n')) text.pop_back();
    return text.empty() ? u"Automation error " + ToHex(static_cast<std::uint32_t>(code)) : text;
}

}  // namespace

RuntimeError ErrorOfCall(std::int32_t result, EXCEPINFO& described) {
    if (result == DISP_E_MEMBERNOTFOUND || result == DISP_E_UNKNOWNNAME) {
        return RuntimeError(ErrorNumber::MemberNotFound);
    }
    if (result != DISP_E_EXCEPTION) return RuntimeError(result, SystemText(result));
    if (described.pfnDeferredFillIn != nullptr) described.pfnDeferredFillIn(&described);
    TakeText(described.bstrSource);
    TakeText(described.bstrHelpFile);
    const Text description = TakeText(described.bstrDescription);
    const HRESULT code = described.wCode != 0 ? HRESULT{described.wCode} : described.scode;
    return RuntimeError(NumberOf(code), description.empty() ? SystemText(code) : description);
}

std::int32_t ReportCurrentError(EXCEPINFO* described) {
    const RuntimeError error = CurrentError();
    if (error.Number() == static_cast<std::int32_t>(ErrorNumber::MemberNotFound)) {
        return DISP_E_MEMBERNOTFOUND;
    }
    if (described != nullptr) {
        *described = {};
        const auto number = static_cast<std::uint32_t>(error.Number());
        described->scode = static_cast<SCODE>(number <= 0xFFFF ? kRunTimeErrors | number : number);
        described->bstrDescription = ::SysAllocString(Wide(error.Description()));
    }
    return DISP_E_EXCEPTION;
}

}  // namespace bkfd
