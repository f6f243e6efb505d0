#include "components/CustomClasses.h"

#include <new>

#include "components/CustomInit.h"
#include "resources/ComponentIds.h"

namespace bkfd {
namespace {

/// The program's extension point.
class CCustom2 final : public LateBound {
  public:
    CCustom2() : LateBound(kMembers) {}

  private:
    static constexpr const wchar_t* kMembers[] = {L"Init"};

    HRESULT Call(std::size_t, std::span<VARIANTARG> arguments) override {
        if (arguments.size() != 1) return DISP_E_BADPARAMCOUNT;
        if ((arguments[0].vt & VT_BYREF) == 0) return DISP_E_TYPEMISMATCH;
        return CustomInit(arguments[0]);
    }
};

/// Exists: that it can be made tells that the file is there and loads.
class CCustomCheck final : public LateBound {
  public:
    CCustomCheck() : LateBound({}) {}

  private:
    HRESULT Call(std::size_t, std::span<VARIANTARG>) override { return DISP_E_MEMBERNOTFOUND; }
};

template <class Class>
LateBound* Make() {
    return new (std::nothrow) Class;
}

constexpr CustomClass kClasses[] = {
    {ComponentIds::CustomClassId, ComponentIds::CustomProgId, u"Brackenfold custom object",
     Make<CCustom2>},
    {ComponentIds::CheckClassId, nullptr, u"Brackenfold component check", Make<CCustomCheck>},
};

}  // namespace

std::span<const CustomClass> CustomClasses() {
    return kClasses;
}

}  // namespace bkfd
