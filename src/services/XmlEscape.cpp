#include "base/Surrogates.h"
#include "services/SysUtil.h"

namespace bkfd::SysUtil {
namespace {

constexpr char32_t kReplacement = 0xFFFD;
constexpr char32_t kLastPlain = 126;

struct MarkupCharacter {
    char16_t character;
    TextView reference;
};

constexpr MarkupCharacter kMarkup[] = {
    {u'&', u"&amp;"}, {u'<', u"&lt;"}, {u'>', u"&gt;"}, {u'"', u"&quot;"}, {u'\'', u"&apos;"},
};

bool IsWhiteSpaceControl(char32_t point) {
    return point == u'\t' || point == u'\n' || point == u'\r';
}

/// The characters of XML 1.0 (production "Char").
bool IsAllowed(char32_t point) {
    if (point < 0x20) return IsWhiteSpaceControl(point);
    if (IsSurrogate(point)) return false;
    return point != 0xFFFE && point != 0xFFFF;
}

void AppendEscaped(Text& out, char32_t point) {
    for (const MarkupCharacter& markup : kMarkup) {
        if (point == markup.character) {
            out += markup.reference;
            return;
        }
    }
    if (!IsAllowed(point)) point = kReplacement;
    if (point <= kLastPlain && !IsWhiteSpaceControl(point)) {
        out += static_cast<char16_t>(point);
        return;
    }
    out.append(u"&#").append(ToText(static_cast<std::int64_t>(point))).append(u";");
}

}  // namespace

Text XmlEscape(TextView text) {
    Text out;
    out.reserve(text.size());
    for (std::size_t position = 0; position < text.size();) {
        AppendEscaped(out, NextCharacter(text, position));
    }
    return out;
}

}  // namespace bkfd::SysUtil
