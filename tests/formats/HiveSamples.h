#pragma once

#include "base/Utf16Bytes.h"
#include "testing/HiveMaker.h"

namespace bkfd::samples {

/// The kind of list that a version makes.
inline const char* ListOf(std::uint32_t minor) {
    return minor < hive::kFirstWithHashes ? "lf" : "lh";
}

/// A key with something of everything that a hive can hold, in about 4 KB.
inline HiveMakerKey SmallRoot(std::uint32_t minor = 5) {
    HiveMakerKey fast{u"Fast", {}, {{u"abc"}, {u"abcd"}, {u"abcde"}}, "lf", 0, {}};
    HiveMakerKey index{u"Index", {}, {{u"a"}, {u"b"}, {u"c"}}, "li", 2, {}};
    HiveMakerKey names{u"Names",
                       {{Text(u"nul\0inside", 10), 3, {}}, {Text{u'x', 0xD800}, 3, {1}}},
                       {{Text(u"A\0", 2)}, {u"\u00E4"}, {u"\u0436"}},
                       ListOf(minor),
                       0,
                       u"Class"};
    return {u"ROOT",
            {{u"", 1, ToUtf16Bytes(Text(u"text\0", 5))},
             {u"number", 4, {1, 2, 3, 4}},
             {u"empty", 0, {}}},
            {fast, index, names},
            ListOf(minor),
            0,
            {}};
}

}  // namespace bkfd::samples
