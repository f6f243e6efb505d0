#include "cli/ReportText.h"

#include <nlohmann/json.hpp>
#include <ostream>

#include "base/Utf16Bytes.h"
#include "platform/Machine.h"
#include "ui/terminal/PrintableText.h"

namespace bkfd {
namespace {

/// The text's lines without their ends; an end at the end of the text begins no further one.
std::vector<TextView> LinesOf(TextView text) {
    std::vector<TextView> lines;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find(u'\n'), text.size());
        TextView line = text.substr(0, end);
        if (line.ends_with(u'\r')) line.remove_suffix(1);
        lines.push_back(line);
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

}  // namespace

Text TextOf(const DecodedFile& file) {
    const Bytes& bytes = file.content;
    if (bytes.size() >= 2 && bytes[0] == 0xFF && bytes[1] == 0xFE) {
        return FromUtf16Bytes(std::span(bytes).subspan(2));
    }
    const std::string_view raw(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    Text text = FromUtf8(raw);
    return ToUtf8(text) == raw ? text : TheMachine().System().MultiByteToWideChar(raw);
}

void PrintReport(const Console& console, const DecodedReport& report) {
    for (const DecodedFile& file : report.files) {
        console.out << console.Bold(file.name) << '\n';
        const Text text = TextOf(file);
        for (const TextView line : LinesOf(text)) {
            console.out << "  " << PrintableText(line) << '\n';
        }
        if (file.content.empty()) console.out << "  (empty)\n";
    }
}

Json EntriesToJson(const DecodedReport& report) {
    Json list = Json::array();
    for (const DecodedFile& file : report.files) {
        list.push_back({{"name", file.name}, {"content", TextToJson(TextOf(file))}});
    }
    return list;
}

}  // namespace bkfd
