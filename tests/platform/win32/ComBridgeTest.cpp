#include <windows.h>
// Behind windows.h.
#include <oleauto.h>

#include <gtest/gtest.h>

#include "base/RuntimeError.h"
#include "platform/win32/ComBridge.h"
#include "platform/win32/NativeVariant.h"
#include "win32/ComPtr.h"

namespace bkfd {
namespace {

/// Passes calls on to a dispatch and is no object of ours, so that a call through it takes both
/// directions of the bridge.
class Stranger final : public IDispatch {
  public:
    explicit Stranger(IDispatch* inner) : inner_(inner) {}
    virtual ~Stranger() = default;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** result) override {
        const bool known = ::IsEqualIID(iid, IID_IUnknown) || ::IsEqualIID(iid, IID_IDispatch);
        *result = known ? this : nullptr;
        return known ? (AddRef(), S_OK) : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
    ULONG STDMETHODCALLTYPE Release() override { return --references; }
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override {
        return inner_.Get()->GetTypeInfoCount(count);
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID locale, ITypeInfo** info) override {
        return inner_.Get()->GetTypeInfo(index, locale, info);
    }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID iid, LPOLESTR* names, UINT count, LCID locale,
                                            DISPID* ids) override {
        return inner_.Get()->GetIDsOfNames(iid, names, count, locale, ids);
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID iid, LCID locale, WORD flags,
                                     DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* described,
                                     UINT* wrong) override {
        return inner_.Get()->Invoke(id, iid, locale, flags, parameters, result, described, wrong);
    }

    ULONG references = 0;

  private:
    ComPtr<IDispatch> inner_;
};

/// "Swap" exchanges its two arguments and returns the first; "Fail" throws.
class Callee : public Object {
  public:
    Variant Invoke(TextView name, std::span<Variant> arguments) override {
        if (name == u"Swap") {
            std::swap(arguments[0], arguments[1]);
            return arguments[0];
        }
        if (name == u"Fail") throw RuntimeError(arguments[0].AsInteger(), u"because \u00E4");
        return Object::Invoke(name, arguments);
    }
};

class ComBridge : public testing::Test {
  protected:
    std::shared_ptr<Callee> callee_ = std::make_shared<Callee>();
    Stranger stranger_{ToDispatch(callee_)};
    ObjectRef foreign_ = FromUnknown(&stranger_);
};

TEST_F(ComBridge, ArgumentsPassByReferenceAndKeepTheirKinds) {
    const struct {
        const char* label;
        Variant value;
    } rows[] = {
        {"empty", {}},
        {"16 bits", std::int16_t{-7}},
        {"32 bits", std::int32_t{70000}},
        {"small number of 32 bits", std::int32_t{7}},
        {"text", u"a \u00E4 \u16A0"},
        {"empty text", u""},
        {"text with NUL and a lone surrogate", Text{u'a', u'\0', u'\xD800'}},
        {"object of ours", callee_},
        {"no object", ObjectRef()},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        Variant arguments[] = {u"first", row.value};
        const Variant result = foreign_->Invoke(u"Swap", arguments);
        EXPECT_EQ(result, row.value);
        EXPECT_EQ(arguments[0], row.value);
        EXPECT_EQ(arguments[1], Variant(u"first"));
    }
}

TEST_F(ComBridge, AForeignObjectGoesBackAsItselfAndIsReleased) {
    EXPECT_EQ(ComPtr<IDispatch>(ToDispatch(foreign_)).Get(), &stranger_);
    {
        Variant arguments[] = {u"x", foreign_};
        foreign_->Invoke(u"Swap", arguments);
    }
    foreign_.reset();
    EXPECT_EQ(stranger_.references, 0u);
}

TEST_F(ComBridge, ErrorsKeepNumberAndDescription) {
    const struct {
        const char* label;
        const char16_t* member;
        std::int32_t number;
        TextView description;
    } rows[] = {
        {"run-time error", u"Fail", 13, u"because \u00E4"},
        {"HRESULT", u"Fail", static_cast<std::int32_t>(0x8004038A), u"because \u00E4"},
        {"no such member",
         u"NoSuchMember",
         static_cast<std::int32_t>(ErrorNumber::MemberNotFound),
         {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        Variant arguments[] = {row.number};
        try {
            foreign_->Invoke(row.member, arguments);
            ADD_FAILURE() << "no error";
        } catch (const RuntimeError& error) {
            EXPECT_EQ(error.Number(), row.number);
            EXPECT_TRUE(row.description.empty() || error.Description() == row.description);
        }
    }
}

/// Calls "Swap" as a foreign caller does, with one argument that refers to a variable of a type.
TEST_F(ComBridge, ResultsGoIntoTypedVariables) {
    const ComPtr<IDispatch> dispatch(ToDispatch(callee_));
    wchar_t swap[] = L"Swap";
    wchar_t* names[] = {swap};
    DISPID id = 0;
    ASSERT_EQ(dispatch.Get()->GetIDsOfNames(IID_NULL, names, 1, 0, &id), S_OK);
    const std::pair<VARTYPE, Variant> rows[] = {{VT_I4, std::int32_t{5}},
                                                {VT_I2, std::int16_t{5}},
                                                {VT_BSTR, u"five"},
                                                {VT_DISPATCH, callee_}};
    for (const auto& [kind, value] : rows) {
        SCOPED_TRACE(kind);
        NativeVariant target;
        target.Get()->vt = kind;
        NativeVariant given(value);
        VARIANTARG arguments[2] = {*given.Get(), {}};
        arguments[1].vt = static_cast<VARTYPE>(VT_BYREF | kind);
        arguments[1].byref = &target.Get()->byref;
        DISPPARAMS parameters = {arguments, nullptr, 2, 0};
        EXPECT_EQ(dispatch.Get()->Invoke(id, IID_NULL, 0, DISPATCH_METHOD, &parameters, nullptr,
                                         nullptr, nullptr),
                  S_OK);
        EXPECT_EQ(FromNative(*target.Get()), value);
    }
}

TEST_F(ComBridge, OtherKindsOfValuesAreConverted) {
    const struct {
        VARTYPE kind;
        ULONG bits;
        Variant expected;
    } rows[] = {
        {VT_NULL, 0, {}},
        {VT_BOOL, 0xFFFF, std::int16_t{-1}},
        {VT_UI1, 200, 200},
        {VT_UI4, 4000000000, u"4000000000"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.kind);
        NativeVariant native;
        native.Get()->ulVal = row.bits;
        native.Get()->vt = row.kind;
        EXPECT_EQ(FromNative(*native.Get()), row.expected);
    }
    NativeVariant array;
    array.Get()->vt = VT_ARRAY | VT_UI1;
    array.Get()->parray = ::SafeArrayCreateVector(VT_UI1, 0, 1);
    EXPECT_THROW(FromNative(*array.Get()), RuntimeError);
}

}  // namespace
}  // namespace bkfd
