#include "services/SysUtil.h"

#include <gtest/gtest.h>

#include "base/RuntimeError.h"
#include "services/MAPI.h"
#include "testing/HeadlessToolkit.h"
#include "testing/MemoryMachine.h"

namespace bkfd {
namespace {

TEST(SysUtil, FormatTemplate) {
    const std::vector<Variant> none;
    const std::vector<Variant> two{u"A", -7};
    const std::vector<Variant> ten{u"a", u"b", u"c", u"d", u"e", u"f", u"g", u"h", u"i", u"j"};
    const struct {
        const char* label;
        TextView format;
        std::vector<Variant> arguments;
        const char* result;
    } rows[] = {
        {"no placeholder", u"plain", two, "plain"},
        {"number as text", u"%2|%1|%2", two, "-7|A|-7"},
        {"empty argument", u"<%1>", {u""}, "<>"},
        {"argument holding a placeholder", u"%1%2", {u"%2", u"x"}, "%2x"},
        {"no such argument", u"%3 %0 %", two, "%3 %0 %"},
        {"no arguments", u"%1", none, "%1"},
        {"percent before a placeholder", u"100%%1", two, "100%A"},
        {"two digits without a tenth", u"%10", two, "A0"},
        {"two digits", u"%10%1", ten, "ja"},
        {"more digits than a number holds", u"%199999999999999999999999", two,
         "A99999999999999999999999"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(ToUtf8(SysUtil::FormatTemplate(row.format, row.arguments)), row.result)
            << row.label;
    }
}

TEST(SysUtil, XmlEscape) {
    const struct {
        const char* label;
        Text text;
        const char* escaped;
    } rows[] = {
        {"markup", u"<a b='c' d=\"e\">&</a>",
         "&lt;a b=&apos;c&apos; d=&quot;e&quot;&gt;&amp;&lt;/a&gt;"},
        {"last plain one and the next", u"~\u007F\u00E9\u20AC", "~&#127;&#233;&#8364;"},
        {"what a parser would change", u"a\t\r\nb", "a&#9;&#13;&#10;b"},
        {"forbidden controls", Text(u"\0\x01\x1F", 3), "&#65533;&#65533;&#65533;"},
        {"surrogate pair", u"\U0001F600", "&#128512;"},
        {"lone surrogates", Text{0xDC00, 0xD800, u'x', 0xD800}, "&#65533;&#65533;x&#65533;"},
        {"not characters", Text{0xFFFE, 0xFFFF, 0xFFFD}, "&#65533;&#65533;&#65533;"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(ToUtf8(SysUtil::XmlEscape(row.text)), row.escaped) << row.label;
    }
}

TEST(SysUtil, EncodedTextComesBack) {
    const struct {
        const char* label;
        Text text;
        Bytes bytes;
    } rows[] = {
        {"bytes", Text{u'a', 0, 0xFF}, {'a', 0, 0xFF}},
        {"beyond bytes", u"\u0100a", {0xEF, 0xBB, 0xBF, 0xC4, 0x80, 'a'}},
        {"lone surrogate", Text{0xD800}, {0xEF, 0xBB, 0xBF, 0xED, 0xA0, 0x80}},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(SysUtil::TextToBytes(SysUtil::EncodeText(row.text)), row.bytes) << row.label;
    }
    EXPECT_THROW(SysUtil::TextToBytes(u"abc"), RuntimeError);
}

TEST(SysUtil, WindowsVersionAndHostsFile) {
    const struct {
        std::int32_t major, minor, build;
        TextView servicePack;
        const char* text;
        bool isNT = true;
    } rows[] = {
        {5, 1, 2600, u"Service Pack 2", "Windows XP 5.1.2600 Service Pack 2"},
        {10, 0, 19045, u"", "Windows 10 10.0.19045"},
        {10, 0, 22000, u"", "Windows 11 10.0.22000"},
        {7, 3, 1, u"", "Windows NT 7.3.1"},
        {4, 10, 0x040A08AE, u" A ", "Windows 98 SE 4.10.2222 A", false},
        {4, 0, 0x040003B6, u"", "Windows 95 4.0.950", false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        MemoryMachine machine(row.isNT ? WindowsFamily::NT : WindowsFamily::Windows9x);
        const InstalledMachine installed(machine);
        machine.SetVersion(row.major, row.minor, row.build, row.servicePack);
        std::int32_t major = 0, minor = 0, build = 0, platformId = 0;
        Text servicePack;
        EXPECT_EQ(ToUtf8(SysUtil::GetWindowsVersion(major, minor, build, platformId, servicePack)),
                  row.text);
        EXPECT_EQ(platformId, row.isNT ? WindowsPlatform::NT : WindowsPlatform::Windows9x);
        for (const TextView windir : {u"D:\\WINnt", u"D:\\WINnt\\"}) {
            machine.SetEnvironment(u"windir", windir);
            EXPECT_EQ(GetHostsFilePath(),
                      row.isNT ? u"D:\\WINnt\\system32\\drivers\\etc\\hosts" : u"D:\\WINnt\\hosts");
        }
    }
}

TEST(MAPI, BootTime) {
    MemoryMachine machine(WindowsFamily::NT);
    const InstalledMachine installed(machine);
    machine.SetNow(ToDate({2026, 3, 1, 0, 0, 10, 900}));
    const struct {
        const char* label;
        std::uint32_t ticks;
        const char* boot;
    } rows[] = {
        {"parts of a second don't count", 10'999, "2026-03-01 00:00:00"},
        {"over midnight", 11'000, "2026-02-28 23:59:59"},
        {"the last positive tick", 2'147'483'647, "2026-02-04 03:28:47"},
        {"negative: in the future", 2'147'483'648, "2026-03-25 20:31:33"},
        {"truncated towards zero", 0xFFFF'FC19, "2026-03-01 00:00:10"},
    };
    for (const auto& row : rows) {
        machine.SetTickCount(row.ticks);
        EXPECT_EQ(ToUtf8(FormatDate(GetBootTime())), row.boot) << row.label;
    }
}

TEST(MAPI, DatesAsText) {
    EXPECT_EQ(SysUtil::TextToBytes(DateToText(1.0)), (Bytes{0, 0, 0, 0, 0, 0, 0xF0, 0x3F}));
    for (const Date date : {0.0, -1.25, 46342.40212962963, 1e300}) {
        EXPECT_EQ(TextToDate(DateToText(date)), date);
    }
    const Text longer = SysUtil::BytesToText(Bytes{0, 0, 0, 0, 0, 0, 0xF0, 0x3F, 9});
    EXPECT_EQ(TextToDate(longer), 1.0);
    for (const TextView bad : {u"", u"AAAAAAAAAA==", u"2026-11-16"}) {
        EXPECT_THROW(TextToDate(bad), RuntimeError) << ToUtf8(bad);
    }
}

TEST(MAPI, SortKeyedList) {
    const struct {
        const char* label;
        std::vector<Text> items;
        const char* sorted;
    } rows[] = {
        {"empty", {}, ""},
        {"one", {u"a"}, "a,"},
        {"equal but for case", {u"abc", u"ABC", u"Abc"}, "abc,ABC,Abc,"},
        {"case and length",
         {u"b", u"C", u"a1", u"A", u"\u00DC", u"\u00FB"},
         "A,a1,b,C,\u00FB,\u00DC,"},
        // An exchange sort moves equal items past each other: on purpose.
        {"equal ones around a smaller", {u"b", u"B", u"a"}, "a,B,b,"},
    };
    for (const auto& row : rows) {
        KeyedList list;
        for (const Text& item : row.items) list.Add(item, item + ToText(list.Count()));
        SortKeyedList(list);
        Text joined;
        for (const Variant& item : list) joined += item.AsText() + u",";
        EXPECT_EQ(ToUtf8(joined), row.sorted) << row.label;
        EXPECT_FALSE(list.Exists(u"a0"));
    }
}

TEST(MAPI, MessagesShowWithoutHourglass) {
    HeadlessToolkit toolkit;
    Toolkit* const previous = InstallToolkit(&toolkit);
    toolkit.SetPointer(Pointer::Hourglass);
    toolkit.Answer({MessageResult::Cancel});
    EXPECT_EQ(ShowMessage(u"prompt", 49), MessageResult::Cancel);
    EXPECT_EQ(toolkit.Messages().at(0).title, u"Brackenfold");
    EXPECT_EQ(toolkit.Messages().at(0).pointer, Pointer::Default);
    EXPECT_EQ(toolkit.CurrentPointer(), Pointer::Hourglass);
    EXPECT_THROW(ShowMessage(u"unexpected", 0), RuntimeError);
    EXPECT_EQ(toolkit.CurrentPointer(), Pointer::Hourglass);
    InstallToolkit(previous);
}

}  // namespace
}  // namespace bkfd
