#include "base/Variant.h"

#include <gtest/gtest.h>

#include <new>

#include "common/Errors.h"

namespace bkfd {
namespace {

TEST(Variant, Conversions) {
    const struct {
        const char* label;
        Variant value;
        TextView text;
        std::int32_t textError;
        std::int32_t integer;
        std::int32_t integerError;
    } cases[] = {
        {"empty", {}, u"", 0, 0, 0},
        {"16 bits", std::int16_t{-7}, u"-7", 0, -7, 0},
        {"32 bits", std::int32_t{INT32_MIN}, u"-2147483648", 0, INT32_MIN, 0},
        {"text of digits", u"12", u"12", 0, 0, 13},
        {"object", std::make_shared<Object>(), u"", 13, 0, 13},
        {"null object", ObjectRef(), u"", 13, 0, 13},
    };
    for (const auto& c : cases) {
        Text text;
        std::int32_t integer = 0;
        EXPECT_EQ(ErrorOf([&] { text = c.value.AsText(); }), c.textError) << c.label;
        EXPECT_EQ(ErrorOf([&] { integer = c.value.AsInteger(); }), c.integerError) << c.label;
        EXPECT_EQ(text, c.text) << c.label;
        EXPECT_EQ(integer, c.integer) << c.label;
    }
    EXPECT_EQ(ErrorOf([] { Variant(ObjectRef()).AsObject(); }), 91) << "null object";
    EXPECT_EQ(ErrorOf([] { Variant(u"x").AsObject(); }), 91) << "text";
    EXPECT_EQ(ErrorOf([] { Object().Invoke(u"Init", {}); }), 438);
}

TEST(RuntimeError, ExceptionsOfTheLibraryGetNumbers) {
    EXPECT_EQ(ErrorOf([] { throw std::bad_alloc(); }), 7);
    EXPECT_EQ(ErrorOf([] { throw std::runtime_error("x"); }), 51);
    const std::int32_t elsewhere = static_cast<std::int32_t>(0x80004005);
    EXPECT_EQ(ErrorOf([&] { throw RuntimeError(elsewhere, u"x"); }), elsewhere);
}

}  // namespace
}  // namespace bkfd
