#include "cli/ReportPage.h"

#include <openssl/sha.h>

#include <array>
#include <sstream>
#include <string_view>

#include "cli/CommandFiles.h"
#include "formats/Base64.h"

namespace bkfd {
namespace {

constexpr std::string_view kPage =
#include "cli/page.html.inc"
    ;
constexpr std::string_view kStyle =
#include "cli/page.css.inc"
    ;
constexpr std::string_view kScript =
#include "cli/page.js.inc"
    ;

/// By which the page's policy knows its own script and style.
std::string SourceHash(std::string_view text) {
    std::array<std::uint8_t, SHA256_DIGEST_LENGTH> digest;
    (void)SHA256(reinterpret_cast<const std::uint8_t*>(text.data()), text.size(), digest.data());
    return "sha256-" + ToUtf8(EncodeBase64(digest));
}

/// JSON that ends no script element, whatever its texts are.
std::string Embedded(const Json& data) {
    std::ostringstream line;
    PrintJsonLine(line, data);
    std::string text;
    for (const char character : line.str()) {
        switch (character) {
            case '&':
                text += "\\u0026";
                break;
            case '<':
                text += "\\u003c";
                break;
            case '>':
                text += "\\u003e";
                break;
            default:
                text += character;
        }
    }
    return text;
}

}  // namespace

std::string MakeReportPage(const Json& data) {
    const std::pair<std::string_view, std::string> parts[] = {
        {"@STYLE_HASH@", SourceHash(kStyle)}, {"@SCRIPT_HASH@", SourceHash(kScript)},
        {"@STYLE@", std::string(kStyle)},     {"@DATA@", Embedded(data)},
        {"@SCRIPT@", std::string(kScript)},
    };
    std::string page;
    std::string_view rest = kPage;
    // In the order in which the marks stand, so that none is looked for in what took one's place.
    for (const auto& [mark, text] : parts) {
        const std::size_t at = rest.find(mark);
        page.append(rest.substr(0, at)).append(text);
        rest.remove_prefix(at + mark.size());
    }
    return page.append(rest);
}

void WriteReportPage(const std::string& path, const Json& data) {
    const std::string page = MakeReportPage(data);
    const std::size_t cut = path.rfind('/') + 1;
    NewHostFiles files(path.substr(0, cut));
    (void)files.Write(path.substr(cut),
                      {reinterpret_cast<const std::uint8_t*>(page.data()), page.size()});
    files.Keep();
}

}  // namespace bkfd
