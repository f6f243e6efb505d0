#include "services/SysUtil.h"

#include <algorithm>

#include "base/RuntimeError.h"
#include "formats/Base64.h"
#include "formats/VersionRecord.h"
#include "platform/Machine.h"
#include "ui/Toolkit.h"

namespace bkfd::SysUtil {
namespace {

constexpr int kTemporaryNameTries = 100;
constexpr std::uint8_t kUtf8Mark[] = {0xEF, 0xBB, 0xBF};

bool IsDigit(char16_t unit) {
    return unit >= u'0' && unit <= u'9';
}

/// A placeholder of a template: which argument, and how many digits it takes.
struct Placeholder {
    std::size_t argument = 0;  // counted from 1; 0 is none
    std::size_t digits = 0;
};

/// The longest number at the start of `digits` that has an argument.
Placeholder ReadPlaceholder(TextView digits, std::size_t argumentCount) {
    Placeholder best;
    std::size_t number = 0;
    for (std::size_t i = 0; i < digits.size() && IsDigit(digits[i]); ++i) {
        number = number * 10 + (digits[i] - u'0');
        if (number == 0 || number > argumentCount) break;
        best = {number, i + 1};
    }
    return best;
}

/// An open file of the machine for the parsers of file formats.
class FileSource : public ByteSource {
  public:
    explicit FileSource(OpenFile& file) : file_(file) {}

    std::uint64_t Size() override {
        const auto size = file_.GetFileSize();
        return size.IsOk() ? size.value : 0;
    }
    bool Read(std::uint64_t offset, std::span<std::uint8_t> buffer) override {
        const auto count = file_.ReadFile(offset, buffer);
        return count.IsOk() && count.value == buffer.size();
    }

  private:
    OpenFile& file_;
};

/// Another number at each call, also where no clock goes on.
std::uint32_t AnyNumber() {
    std::uint32_t number = 2'166'136'261U;  // FNV-1a
    for (const char16_t unit : NewUniqueId()) number = (number ^ unit) * 16'777'619U;
    return number;
}

/// Base64 of a byte a character, piece by piece: a large text isn't in memory once more as bytes.
Text EncodeBytes(TextView text) {
    constexpr std::size_t kPiece = 3 * 16 * 1024;  // whole groups, without padding
    Text out;
    out.reserve((text.size() + 2) / 3 * 4);
    for (; !text.empty(); text.remove_prefix(std::min(text.size(), kPiece))) {
        out += EncodeBase64(ToBytes(text.substr(0, kPiece)));
    }
    return out;
}

}  // namespace

Text NewUniqueId() {
    const Text guid = TheMachine().ComponentObjects().CoCreateGuid();
    return guid.starts_with(u'{') && guid.ends_with(u'}') ? guid.substr(1, guid.size() - 2) : guid;
}

Text FormatTemplate(TextView format, const std::vector<Variant>& arguments) {
    Text out;
    while (!format.empty()) {
        const std::size_t percent = std::min(format.find(u'%'), format.size());
        out += format.substr(0, percent);
        if (percent == format.size()) break;
        format.remove_prefix(percent + 1);
        const Placeholder found = ReadPlaceholder(format, arguments.size());
        out += found.argument == 0 ? Text(u"%") : arguments[found.argument - 1].AsText();
        format.remove_prefix(found.digits);
    }
    return out;
}

Text GetTempFileName(const Text& prefix) {
    const Text folder = WithBackslash(GetTempPath());
    std::uint32_t number = AnyNumber();
    Status status;
    for (int i = 0; i < kTemporaryNameTries; ++i, ++number) {
        const Text path = folder + prefix + ToHex(number) + u".tmp";
        status = TheMachine().FileSystem().CreateFileW(path, FileMode::CreateNew);
        if (status.IsOk()) return path;
        if (status.code != SystemError::FileExists) break;
    }
    throw RuntimeError(ErrorNumber::PathFileAccess,
                       u"Temporary file in '" + folder + u"': " + SystemErrorText(status.code));
}

void PumpMessages() {
    TheToolkit().PumpMessages();
}

Text ExpandEnvironment(const Text& text) {
    return TheMachine().System().ExpandEnvironmentStringsW(text);
}

Text EncodeText(TextView text) {
    const bool isBytes = std::ranges::all_of(text, [](char16_t unit) { return unit <= 0xFF; });
    if (isBytes) return EncodeBytes(text);
    // Generalised UTF-8: file names of parasites hold lone surrogates.
    const std::string utf8 = ToWtf8(text);
    Bytes bytes(std::begin(kUtf8Mark), std::end(kUtf8Mark));
    bytes.insert(bytes.end(), utf8.begin(), utf8.end());
    return BytesToText(bytes);
}

Text GetTempPath() {
    return TheMachine().System().GetTempPathW();
}

Text BytesToText(std::span<const std::uint8_t> bytes) {
    return EncodeBase64(bytes);
}

Bytes TextToBytes(TextView text) {
    auto bytes = DecodeBase64(text);
    if (!bytes) throw RuntimeError(ErrorNumber::InvalidProcedureCall);
    return std::move(*bytes);
}

bool IsArrayEmpty(const Bytes* bytes) {
    return bytes == nullptr || bytes->empty();
}

bool IsArrayEmpty(const Bytes& bytes) {
    return bytes.empty();
}

Text SystemErrorText(std::uint32_t code) {
    const Text text = TheMachine().System().FormatMessageW(code);
    const std::size_t last = text.find_last_not_of(u"\r\n\t ");
    if (last != Text::npos) return text.substr(0, last + 1);
    return u"System error " + ToText(code) + u" (0x" + ToHex(code) + u")";
}

KeyedList GetVersionStrings(const Text& path) {
    KeyedList strings;
    const auto file = TheMachine().FileSystem().CreateFileW(path, FileMode::Read);
    if (!file.IsOk()) return strings;
    FileSource source(*file.value);
    const auto fromCodePage = [](std::string_view bytes) {
        return TheMachine().System().MultiByteToWideChar(bytes);
    };
    for (auto& [name, value] : ReadVersionStrings(source, fromCodePage)) {
        if (!strings.Exists(name)) strings.Add(std::move(value), name);
    }
    return strings;
}

Text VersionString(const KeyedList& strings, TextView name, const Text& otherwise) {
    return strings.Exists(name) ? strings.Item(name).AsText() : otherwise;
}

}  // namespace bkfd::SysUtil
