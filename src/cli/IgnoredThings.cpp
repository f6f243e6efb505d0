#include "cli/IgnoredThings.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <ostream>

#include "platform/RegistryViews.h"
#include "ui/terminal/PrintableText.h"

namespace bkfd {
namespace {

Json TextOrNull(const Text& text) {
    return text.empty() ? Json() : TextToJson(text);
}

}  // namespace

void AddIgnored(std::vector<PassedOver>& all, const std::vector<PassedOver>& more) {
    for (const PassedOver& it : more) {
        if (std::ranges::find(all, it) == all.end()) all.push_back(it);
    }
}

Json EntryToJson(const IgnoreEntry& entry) {
    return {{"sha256", TextOrNull(entry.sha256)},
            {"clsid", TextOrNull(entry.clsid)},
            {"path", entry.IsByContent() ? Json() : TextToJson(entry.path)},
            {"date", TextToJson(entry.date)},
            {"note", TextToJson(entry.note)}};
}

Json IgnoredToJson(const std::vector<PassedOver>& ignored) {
    Json list = Json::array();
    for (const PassedOver& it : ignored) {
        const bool isFile = it.kind == PassedOver::Kind::File;
        list.push_back({{"kind", isFile ? "file" : "helper-object"},
                        {"path", TextToJson(it.path)},
                        {"clsid", TextOrNull(isFile ? it.entry.clsid : it.clsid)},
                        {"sha256", TextOrNull(it.entry.sha256)},
                        {"view", ViewToJson(it.view)},
                        {"note", TextToJson(it.entry.note)},
                        {"date", TextToJson(it.entry.date)}});
    }
    return list;
}

void PrintIgnored(const Console& console, const std::vector<PassedOver>& ignored) {
    if (ignored.empty()) return;
    console.out << console.Bold("Ignored (" + std::to_string(ignored.size()) + ")") << '\n';
    for (const PassedOver& it : ignored) {
        const bool isFile = it.kind == PassedOver::Kind::File;
        console.out << "  "
                    << (isFile ? PrintableText(it.path)
                               : "helper object " + PrintableText(it.clsid) +
                                     ToUtf8(ViewSuffix(it.view)))
                    << "\n      since  " << PrintableText(it.entry.date) << ", by "
                    << (it.entry.IsByContent() ? "SHA-256" : "class and path") << '\n';
        if (!it.entry.note.empty()) {
            console.out << "      note   " << PrintableText(it.entry.note) << '\n';
        }
    }
}

std::string IgnoredClause(const std::vector<PassedOver>& ignored) {
    return ignored.empty() ? std::string() : "; " + ToUtf8(IgnoredText(ignored.size()));
}

}  // namespace bkfd
