#include "cli/SignatureFiles.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string_view>

#include "cli/Command.h"
#include "cli/HostSha256.h"
#include "identity/FileSha256.h"
#include "resources/SignatureLists.h"
#include "ui/terminal/PrintableText.h"

namespace bkfd {
namespace {

constexpr std::size_t kSha256Digits = 64;

struct ParsedRow {
    std::string sha256;  // empty for a row of size and hash
    std::int32_t size = 0;
    std::int32_t hash = 0;
    KnownFiles::Row row;
};

std::vector<std::string> SplitAt(char separator, const std::string& text) {
    std::vector<std::string> parts(1);
    for (const char character : text) {
        if (character == separator) {
            parts.emplace_back();
        } else {
            parts.back() += character;
        }
    }
    return parts;
}

std::optional<std::int32_t> PositiveNumber(const std::string& text) {
    std::int32_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end || number <= 0) return std::nullopt;
    return number;
}

bool IsSha256(std::string& text) {
    if (text.size() != kSha256Digits) return false;
    for (char& digit : text) {
        if (digit >= 'A' && digit <= 'F') digit = static_cast<char>(digit - 'A' + 'a');
    }
    return text.find_first_not_of("0123456789abcdef") == std::string::npos;
}

/// Nothing for what is no row.
std::optional<ParsedRow> ParseRow(const std::string& line) {
    std::vector<std::string> columns = SplitAt('\t', line);
    if (columns.size() != 3 || columns[1].empty() || columns[2].empty()) return std::nullopt;
    ParsedRow row{{}, 0, 0, {columns[1], columns[2]}};
    if (IsSha256(columns[0])) {
        row.sha256 = columns[0];
        return row;
    }
    const std::vector<std::string> numbers = SplitAt(' ', columns[0]);
    if (numbers.size() != 2) return std::nullopt;
    const auto size = PositiveNumber(numbers[0]);
    const auto hash = PositiveNumber(numbers[1]);
    if (!size || !hash) return std::nullopt;
    row.size = *size;
    row.hash = *hash;
    return row;
}

[[noreturn]] void Fail(const std::string& path, std::size_t line, const std::string& why) {
    throw CommandError(PrintableText(FromUtf8(path)) + ':' + std::to_string(line) + ": " + why);
}

void ReadList(const std::string& path, KnownFiles& list, const KnownFiles& other) {
    std::ifstream file(path, std::ios::binary);
    std::string line;
    std::size_t number = 0;
    while (std::getline(file, line)) {
        ++number;
        if (line.ends_with('\r')) line.pop_back();
        if (line.empty() || line.starts_with('#')) continue;
        auto parsed = ParseRow(line);
        if (!parsed) {
            Fail(path, number,
                 "is no row: a SHA-256 or \"SIZE HASH\", a name and a source, with tabs between");
        }
        if (other.Find(parsed->size, parsed->hash, parsed->sha256) != nullptr) {
            Fail(path, number, "is in the list of parasites too");
        }
        if (parsed->sha256.empty()) {
            list.Add(parsed->size, parsed->hash, std::move(parsed->row));
        } else {
            list.Add(parsed->sha256, std::move(parsed->row));
        }
    }
    if (file.bad() || number == 0) throw CommandError(path + " is empty or can't be read");
}

}  // namespace

SignatureFiles ReadSignatureFiles(const std::string& folder) {
    SignatureFiles files;
    files.signatures.sha256 = FileSha256;
    KnownFiles& parasites = files.signatures.parasites;
    KnownFiles& good = files.signatures.good;
    const struct {
        const char* name;
        KnownFiles& list;
        const KnownFiles& other;
    } rows[] = {{"parasites.txt", parasites, good}, {"good.txt", good, parasites}};
    for (const auto& row : rows) {
        const std::string path = folder + '/' + row.name;
        std::error_code ignored;
        if (!std::filesystem::exists(path, ignored)) continue;
        ReadList(path, row.list, row.other);
        files.lists.push_back(
            {row.name, row.list.Count(), HostFileSha256(path).value_or(std::string())});
    }
    if (files.lists.empty()) {
        throw CommandError("--signatures: " + PrintableText(FromUtf8(folder)) +
                           " has neither parasites.txt nor good.txt");
    }
    return files;
}

SignatureListInfo BuiltInSignatures() {
    SignatureListInfo info{"built-in", 0, {}};
    std::string text;
    for (const SignatureList list : {kParasiteSizes, kParasiteHashes, kGoodSizes, kGoodHashes}) {
        for (const std::int32_t number : list) text += std::to_string(number) + '\n';
        text += '\n';
    }
    info.entries = kParasiteHashes.size() + kGoodHashes.size();
    info.sha256 = TextSha256(text);
    return info;
}

}  // namespace bkfd
