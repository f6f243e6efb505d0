#include "cli/ReportRequest.h"

#include <istream>
#include <ostream>

#include "cli/Command.h"
#include "cli/CommandFiles.h"
#include "resources/StringTable.h"

namespace bkfd {
namespace {

Text ReadLine(Console& console, const char* question) {
    console.err << question << std::flush;
    std::string line;
    std::getline(console.in, line);
    return FromUtf8(line);
}

Text ReadLines(Console& console, const char* question) {
    console.err << question << std::endl;
    Text text;
    for (std::string line; std::getline(console.in, line) && !line.empty();) {
        if (!text.empty()) text += u"\r\n";
        text += FromUtf8(line);
    }
    return text;
}

}  // namespace

SupportRequest RequestFrom(const RequestOptions& options, Console& console) {
    SupportRequest request{FromUtf8(options.name), FromUtf8(options.email), {}};
    if (!options.textFile.empty()) {
        const Bytes text = ReadInput(options.textFile, console.in);
        const Text lines = FromUtf8({reinterpret_cast<const char*>(text.data()), text.size()});
        request.answer = Replace(Replace(lines, u"\r\n", u"\n"), u"\n", u"\r\n");
    }
    return request;
}

void AskForMissing(SupportRequest& request, Console& console) {
    if (request.name.empty()) request.name = ReadLine(console, "Your name: ");
    if (request.email.empty()) request.email = ReadLine(console, "Your e-mail: ");
    if (request.answer.empty()) {
        request.answer = ReadLines(console, "Please describe the problem; an empty line ends it:");
    }
}

void CheckComplete(const SupportRequest& request) {
    if (const auto missing = WhatIsMissing(request)) {
        throw CommandError(ToUtf8(ResourceString(*missing)) + "(--text FILE, --name, --email)");
    }
}

}  // namespace bkfd
