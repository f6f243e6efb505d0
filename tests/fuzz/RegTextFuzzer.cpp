#include <algorithm>
#include <cstdlib>

#include "base/Utf16Bytes.h"
#include "formats/RegText.h"
#include "fuzz/Fuzzer.h"

using namespace bkfd;

namespace {

const RegCodePage kLatin1{
    [](std::string_view bytes) {
        return FromBytes({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
    },
    [](TextView text) {
        std::string bytes;
        for (const char16_t unit : text) bytes += unit < 0x100 ? static_cast<char>(unit) : '?';
        return bytes;
    }};

Text Format(const RegDocument& document) {
    Text text = RegHeader(document.format);
    for (const RegSection& section : document.sections) {
        text += FormatRegSection(section, document.format, kLatin1);
    }
    return text;
}

}  // namespace

std::vector<Bytes> FuzzCorpus() {
    const std::string_view body =
        "\r\n[HKEY_CURRENT_USER\\Software\\[x]]\r\n@=\"a\\\\b \\\"c\\\"\"\r\n; a comment\r\n"
        "\"n\"=dword:0000001f\r\n\"b\"=hex:01,02,\\\r\n  03\r\n\"e\"=hex(2):25,00,00,00\r\n"
        "\"odd\"=hex(1):61,00,0a\r\n\"marked\"=hex(07):61,00\r\n\"two\r\nlines\"=\"a\r\nb\xE9\"\r\n"
        "\"gone\"=-\r\n\r\n[-HKEY_CURRENT_USER\\b]\r\n";
    const Text text = kLatin1.decode(body);
    const std::string regedit4 = "REGEDIT4\r\n" + std::string(body);
    const Text version5 = RegHeader(RegFormat::Version5) + text + Text{u'[', 0xD800, u']'};
    const std::string utf8 = ToWtf8(version5);
    return {Bytes(regedit4.begin(), regedit4.end()), Bytes(utf8.begin(), utf8.end()),
            ToUtf16Bytes(u"\uFEFF" + version5)};
}

/// What was read comes back unchanged when it is written and read again; an error is on a line.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto first = ParseRegText({data, size}, kLatin1);
    if (const auto* error = std::get_if<RegParseError>(&first)) {
        const auto ends = std::count_if(data, data + size,
                                        [](auto byte) { return byte == '\r' || byte == '\n'; });
        if (error->line > static_cast<std::size_t>(ends) + 1) std::abort();
        return 0;
    }
    const auto* document = std::get_if<RegDocument>(&first);
    // In UTF-16 no name is lost, whatever the format.
    const Bytes again = ToUtf16Bytes(u"\uFEFF" + Format(*document));
    const auto second = ParseRegText(again, kLatin1);
    if (!std::holds_alternative<RegDocument>(second)) std::abort();
    if (!(std::get<RegDocument>(second) == *document)) std::abort();
    return 0;
}
