#include <cstdio>
#include <new>
#include <string>

#include "components/CustomInit.h"

#include <oleauto.h>

namespace bkfd {
namespace {

/// Writes "level code source: message" lines to the file that %BKFD_TEST_LOG% names.
class FileOfItsOwn final : public LateBound {
  public:
    FileOfItsOwn() : LateBound(kMembers) {}

  private:
    static constexpr const wchar_t* kMembers[] = {L"Write", L"Open"};

    HRESULT Call(std::size_t member, std::span<VARIANTARG> arguments) override {
        if (member == 1) return S_OK;
        if (arguments.size() != 4) return DISP_E_BADPARAMCOUNT;
        wchar_t path[MAX_PATH] = {};
        ::GetEnvironmentVariableW(L"BKFD_TEST_LOG", path, MAX_PATH);
        std::FILE* const file = _wfopen(path, L"ab");
        if (file == nullptr) return E_FAIL;
        std::fprintf(file, "%ls %ls %ls: %ls\n", TextOf(arguments[1]).c_str(),
                     TextOf(arguments[3]).c_str(), TextOf(arguments[0]).c_str(),
                     TextOf(arguments[2]).c_str());
        std::fclose(file);
        return S_OK;
    }

    static std::wstring TextOf(VARIANTARG& argument) {
        VARIANT text;
        ::VariantInit(&text);
        if (FAILED(::VariantChangeType(&text, &argument, 0, VT_BSTR))) return L"?";
        const std::wstring copy(text.bstrVal, ::SysStringLen(text.bstrVal));
        ::VariantClear(&text);
        return copy;
    }
};

}  // namespace

/// Brings the library that %BKFD_TEST_LIBRARY% names into the program's own process; where none is
/// named, another logger takes the place.
HRESULT CustomInit(VARIANTARG& logger) {
    wchar_t path[MAX_PATH] = {};
    if (::GetEnvironmentVariableW(L"BKFD_TEST_LIBRARY", path, MAX_PATH) != 0) {
        return ::LoadLibraryW(path) == nullptr ? HRESULT_FROM_WIN32(::GetLastError()) : S_OK;
    }
    if (logger.vt != (VT_BYREF | VT_VARIANT)) return DISP_E_TYPEMISMATCH;
    ::VariantClear(logger.pvarVal);
    logger.pvarVal->vt = VT_DISPATCH;
    logger.pvarVal->pdispVal = new (std::nothrow) FileOfItsOwn;
    return S_OK;
}

}  // namespace bkfd
