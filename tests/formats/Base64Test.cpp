#include "formats/Base64.h"

#include <gtest/gtest.h>

namespace bkfd {
namespace {

TEST(Base64, VectorsOfRfc4648) {
    const std::pair<TextView, TextView> cases[] = {
        {u"", u""},
        {u"f", u"Zg=="},
        {u"fo", u"Zm8="},
        {u"foo", u"Zm9v"},
        {u"foob", u"Zm9vYg=="},
        {u"fooba", u"Zm9vYmE="},
        {u"foobar", u"Zm9vYmFy"},
        {u"\u00FB\u00FF\u00FE", u"+//+"},
    };
    for (const auto& [bytes, encoded] : cases) {
        EXPECT_EQ(EncodeBase64(ToBytes(bytes)), encoded);
        EXPECT_EQ(DecodeBase64(encoded), ToBytes(bytes)) << ToUtf8(encoded);
    }
}

TEST(Base64, WhatIsNoEncodingIsRefused) {
    const struct {
        const char* label;
        TextView text;
    } cases[] = {
        {"one digit", u"Z"},
        {"no padding", u"Zg"},
        {"too little padding", u"Zg="},
        {"padding alone", u"===="},
        {"three of padding", u"Z==="},
        {"padding in the middle", u"Zg==Zm9v"},
        {"padding before a digit", u"Z=g="},
        {"bits behind the last byte", u"Zh=="},
        {"bits behind the second byte", u"Zm9="},
        {"line end", u"Zm9v\r\n\r\n"},
        {"blank", u"Zm 9"},
        {"digits of the other alphabet", u"-__-"},
        {"a character whose low byte is a digit", u"Zm9\u0176"},
    };
    for (const auto& c : cases) EXPECT_EQ(DecodeBase64(c.text), std::nullopt) << c.label;
}

}  // namespace
}  // namespace bkfd
