// Compares ReadVersionStrings with the answers of version.dll for every program and library of the
// system folder and for the made-to-order samples. Prints how many files with a record agreed;
// fails on any disagreement, and if the folder holds too few records to say anything.

#include <windows.h>

#include <cstdio>
#include <map>
#include <memory>
#include <set>

#include "base/Text.h"
#include "formats/VersionRecord.h"
#include "formats/VersionSamples.h"

namespace bkfd {
namespace {

constexpr int kFewestRecords = 200;

struct CloseHandleDeleter {
    using pointer = HANDLE;
    void operator()(HANDLE handle) const { CloseHandle(handle); }
};

class WindowsFile : public ByteSource {
  public:
    explicit WindowsFile(const std::wstring& path)
        : handle_(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                              nullptr, OPEN_EXISTING, 0, nullptr)) {}

    std::uint64_t Size() override {
        LARGE_INTEGER size{};
        GetFileSizeEx(handle_.get(), &size);
        return static_cast<std::uint64_t>(size.QuadPart);
    }

    bool Read(std::uint64_t offset, std::span<std::uint8_t> buffer) override {
        LARGE_INTEGER position;
        position.QuadPart = static_cast<LONGLONG>(offset);
        DWORD count = 0;
        return SetFilePointerEx(handle_.get(), position, nullptr, FILE_BEGIN) &&
               ReadFile(handle_.get(), buffer.data(), static_cast<DWORD>(buffer.size()), &count,
                        nullptr) &&
               count == buffer.size();
    }

  private:
    std::unique_ptr<void, CloseHandleDeleter> handle_;
};

Text ToText(const std::wstring& text) {
    return {text.begin(), text.end()};
}

std::wstring ToWide(TextView text) {
    return {text.begin(), text.end()};
}

/// The version record of one file as version.dll gives it.
class SystemRecord {
  public:
    explicit SystemRecord(const std::wstring& path) {
        DWORD unused = 0;
        block_.resize(GetFileVersionInfoSizeW(path.c_str(), &unused));
        if (!block_.empty() &&
            !GetFileVersionInfoW(path.c_str(), 0, static_cast<DWORD>(block_.size()),
                                 block_.data())) {
            block_.clear();
        }
        if (!block_.empty()) ListLanguages();
    }

    bool IsEmpty() const { return block_.empty(); }

    /// Whether the field is there, and its text, in the first language that the record has.
    bool Query(const Text& name, Text& value) {
        for (const std::wstring& language : languages_) {
            if (!HasTable(language)) continue;
            return QueryText(L"\\StringFileInfo\\" + language + L"\\" + ToWide(name), value);
        }
        return false;
    }

  private:
    void ListLanguages() {
        void* data = nullptr;
        UINT size = 0;
        if (VerQueryValueW(block_.data(), L"\\VarFileInfo\\Translation", &data, &size)) {
            const auto* words = static_cast<const WORD*>(data);
            for (UINT i = 0; i + 1 < size / sizeof(WORD); i += 2) {
                wchar_t language[16];
                std::swprintf(language, std::size(language), L"%04x%04x", words[i], words[i + 1]);
                languages_.emplace_back(language);
            }
        }
        // A record may lack the list, or have one that names other tables than it has.
        languages_.insert(languages_.end(), {L"040904b0", L"040904e4", L"000004b0", L"04090000"});
    }

    bool HasTable(const std::wstring& language) {
        void* data = nullptr;
        UINT size = 0;
        return VerQueryValueW(block_.data(), (L"\\StringFileInfo\\" + language).c_str(), &data,
                              &size) != 0;
    }

    bool QueryText(const std::wstring& path, Text& value) {
        void* data = nullptr;
        UINT size = 0;
        if (!VerQueryValueW(block_.data(), path.c_str(), &data, &size)) return false;
        value = size == 0 ? Text() : ToText(static_cast<const wchar_t*>(data));
        return true;
    }

    std::vector<char> block_;
    std::vector<std::wstring> languages_;
};

std::vector<std::wstring> ListPrograms() {
    wchar_t folder[MAX_PATH];
    GetSystemDirectoryW(folder, MAX_PATH);
    std::vector<std::wstring> paths;
    for (const wchar_t* pattern : {L"\\*.dll", L"\\*.exe"}) {
        WIN32_FIND_DATAW found;
        const HANDLE search = FindFirstFileW((folder + std::wstring(pattern)).c_str(), &found);
        if (search == INVALID_HANDLE_VALUE) continue;
        do {
            paths.push_back(std::wstring(folder) + L"\\" + found.cFileName);
        } while (FindNextFileW(search, &found));
        FindClose(search);
    }
    return paths;
}

using Records = std::map<std::wstring, VersionStrings>;

/// The usual field names and all that any file has, so that a field missed in one file shows.
std::set<Text> AllNames(const Records& records) {
    std::set<Text> names{u"Comments",        u"CompanyName",      u"FileDescription",
                         u"FileVersion",     u"InternalName",     u"LegalCopyright",
                         u"LegalTrademarks", u"OriginalFilename", u"PrivateBuild",
                         u"ProductName",     u"ProductVersion",   u"SpecialBuild"};
    for (const auto& [path, strings] : records) {
        for (const auto& [name, value] : strings) names.insert(name);
    }
    return names;
}

const Text* FindField(const VersionStrings& strings, const Text& name) {
    for (const auto& [field, value] : strings) {
        if (EqualsIgnoreCase(field, name)) return &value;
    }
    return nullptr;
}

bool Agree(const std::wstring& path, const VersionStrings& strings, SystemRecord& record,
           const std::set<Text>& names) {
    bool agree = true;
    for (const Text& name : names) {
        Text expected;
        const bool isExpected = record.Query(name, expected);
        const Text* value = FindField(strings, name);
        if (isExpected ? value != nullptr && *value == expected : value == nullptr) continue;
        agree = false;
        std::printf("%s: %s is \"%s\", version.dll says \"%s\"\n", ToUtf8(ToText(path)).c_str(),
                    ToUtf8(name).c_str(), value == nullptr ? "(none)" : ToUtf8(*value).c_str(),
                    isExpected ? ToUtf8(expected).c_str() : "(none)");
    }
    return agree;
}

VersionStrings ReadFileStrings(const std::wstring& path) {
    WindowsFile file(path);
    return ReadVersionStrings(file, [](std::string_view bytes) {
        std::wstring text(bytes.size(), L'\0');
        const int length =
            MultiByteToWideChar(CP_ACP, 0, bytes.data(), static_cast<int>(bytes.size()),
                                text.data(), static_cast<int>(text.size()));
        return ToText(text.substr(0, static_cast<std::size_t>(length)));
    });
}

/// Each sample lies in the temporary folder while the two are asked. Returns the disagreements.
int CompareSamples() {
    int disagreements = 0;
    int compared = 0;
    for (const auto& sample : samples::VersionSamples()) {
        if (!sample.systemSays) continue;
        wchar_t folder[MAX_PATH];
        wchar_t path[MAX_PATH];
        GetTempPathW(MAX_PATH, folder);
        GetTempFileNameW(folder, L"ver", 0, path);
        FILE* file = _wfopen(path, L"wb");
        std::fwrite(sample.file.data(), 1, sample.file.size(), file);
        std::fclose(file);
        SystemRecord record(path);
        const VersionStrings strings = ReadFileStrings(path);
        if (record.IsEmpty() || !Agree(path, strings, record, AllNames({{path, strings}}))) {
            std::printf("disagreement about the sample \"%s\"\n", sample.label);
            ++disagreements;
        }
        ++compared;
        DeleteFileW(path);
    }
    std::printf("%d samples, %d disagreements\n", compared, disagreements);
    return disagreements;
}

int Run() {
    Records records;
    for (const std::wstring& path : ListPrograms()) records[path] = ReadFileStrings(path);
    const std::set<Text> names = AllNames(records);
    int compared = 0;
    int disagreements = 0;
    std::size_t fields = 0;
    for (const auto& [path, strings] : records) {
        SystemRecord record(path);
        if (record.IsEmpty() && strings.empty()) continue;
        ++compared;
        fields += strings.size();
        if (!Agree(path, strings, record, names)) ++disagreements;
    }
    std::printf("%zu files, %d with a version record, %zu fields of %zu names, %d disagreements\n",
                records.size(), compared, fields, names.size(), disagreements);
    disagreements += CompareSamples();
    return disagreements == 0 && compared >= kFewestRecords ? 0 : 1;
}

}  // namespace
}  // namespace bkfd

int main() {
    return bkfd::Run();
}
