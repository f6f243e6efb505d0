// ReadVersionStrings answers as version.dll does: for the files of the system folder, and for the
// made-to-order samples.
#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>

#include "formats/VersionSamples.h"
#include "win32/NativeText.h"

namespace bkfd {
namespace {

class File : public ByteSource {
  public:
    explicit File(const std::filesystem::path& path) : file_(path, std::ios::binary) {}

    std::uint64_t Size() override {
        return static_cast<std::uint64_t>(file_.seekg(0, std::ios::end).tellg());
    }
    bool Read(std::uint64_t offset, std::span<std::uint8_t> buffer) override {
        file_.clear();
        file_.seekg(static_cast<std::streamoff>(offset));
        return !file_.read(reinterpret_cast<char*>(buffer.data()), std::ssize(buffer)).fail();
    }

  private:
    std::ifstream file_;
};

VersionStrings ReadStrings(const std::filesystem::path& path) {
    File file(path);
    return ReadVersionStrings(file, FromAnsi);
}

using Fields = std::map<std::string, std::string>;

/// The version record of a file as version.dll gives it.
class SystemRecord {
  public:
    explicit SystemRecord(const std::filesystem::path& path) {
        block_.resize(::GetFileVersionInfoSizeW(path.c_str(), nullptr));
        const auto size = static_cast<DWORD>(block_.size());
        if (size == 0 || ::GetFileVersionInfoW(path.c_str(), 0, size, block_.data()) == 0) return;
        const TextView listed = Query(L"\\VarFileInfo\\Translation").value_or(TextView());
        for (std::size_t i = 0; i + 1 < listed.size(); i += 2) {
            wchar_t language[16];
            std::swprintf(language, std::size(language), L"%04x%04x", listed[i], listed[i + 1]);
            languages_.emplace_back(language);
        }
        // A record may lack the list, or have one that names other tables than it has.
        languages_.insert(languages_.end(), {L"040904b0", L"040904e4", L"000004b0", L"04090000"});
    }

    bool IsEmpty() const { return languages_.empty(); }

    /// Those of the names that are there, in the first language that the record has.
    Fields Find(const std::set<Text>& names) {
        Fields found;
        for (const std::wstring& language : languages_) {
            const std::wstring table = L"\\StringFileInfo\\" + language;
            if (!Query(table)) continue;
            for (const Text& name : names) {
                const auto value = Query(table + L"\\" + Wide(name));
                if (value) found[ToUtf8(name)] = ToUtf8(value->substr(0, value->find(u'\0')));
            }
            break;
        }
        return found;
    }

  private:
    std::optional<TextView> Query(const std::wstring& path) {
        void* data = nullptr;
        UINT size = 0;  // of a text in units, else in bytes
        if (::VerQueryValueW(block_.data(), path.c_str(), &data, &size) == 0) return std::nullopt;
        const bool isText = path.starts_with(L"\\S");
        return FromWide(static_cast<const wchar_t*>(data), isText ? size : size / sizeof(wchar_t));
    }

    std::vector<char> block_;
    std::vector<std::wstring> languages_;
};

Fields Find(const VersionStrings& strings, const std::set<Text>& names) {
    Fields found;
    for (const Text& name : names) {
        const auto field = std::ranges::find_if(
            strings, [&](const auto& each) { return EqualsIgnoreCase(each.first, name); });
        if (field != strings.end()) found[ToUtf8(name)] = ToUtf8(field->second);
    }
    return found;
}

const std::set<Text> kUsualNames{u"Comments",        u"CompanyName",      u"FileDescription",
                                 u"FileVersion",     u"InternalName",     u"LegalCopyright",
                                 u"LegalTrademarks", u"OriginalFilename", u"PrivateBuild",
                                 u"ProductName",     u"ProductVersion",   u"SpecialBuild"};

TEST(VersionAgreement, FilesOfTheSystemFolder) {
    wchar_t folder[MAX_PATH];
    ::GetSystemDirectoryW(folder, MAX_PATH);
    std::map<std::filesystem::path, VersionStrings> records;
    // All that any file has, so that a field missed in one file shows.
    std::set<Text> names = kUsualNames;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (!entry.is_regular_file()) continue;
        VersionStrings& strings = records[entry.path()] = ReadStrings(entry.path());
        for (const auto& [name, value] : strings) names.insert(name);
    }
    int compared = 0;
    for (const auto& [path, strings] : records) {
        SystemRecord system(path);
        EXPECT_EQ(Find(strings, names), system.Find(names)) << path.string();
        if (!system.IsEmpty()) ++compared;
    }
    EXPECT_GE(compared, 200);
}

TEST(VersionAgreement, Samples) {
    wchar_t path[MAX_PATH];
    ::GetTempFileNameW(std::filesystem::temp_directory_path().c_str(), L"ver", 0, path);
    for (const auto& sample : samples::VersionSamples()) {
        if (!sample.systemSays) continue;
        SCOPED_TRACE(sample.label);
        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<const char*>(sample.file.data()), std::ssize(sample.file));
        SystemRecord system(path);
        EXPECT_FALSE(system.IsEmpty());
        EXPECT_EQ(Find(ReadStrings(path), kUsualNames), system.Find(kUsualNames));
    }
    ::DeleteFileW(path);
}

}  // namespace
}  // namespace bkfd
