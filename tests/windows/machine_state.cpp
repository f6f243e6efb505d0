// machine_state holders FOLDER: prints the files of the folder that processes have loaded, as their
// program or as a module, a line a process, sorted.
// machine_state values FILE: prints the registry values that the file names, "KEY|NAME" a line, as
// "KEY|NAME|DATA" lines; the data of a value that isn't there is "(none)".
// All texts are UTF-8.
#include <windows.h>
// Behind windows.h.
#include <tlhelp32.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "Utf8.h"

namespace {

// ---------------------------------------------------------------- processes

std::wstring LowerCase(std::wstring text) {
    ::CharLowerW(text.data());
    return text;
}

/// The process's files in the folder, as a line; empty when there are none.
std::wstring FilesIn(const std::wstring& folder, DWORD processId) {
    const HANDLE snapshot = ::CreateToolhelp32Snapshot(TH32CS_SNAPMODULE, processId);
    if (snapshot == INVALID_HANDLE_VALUE) return {};
    std::wstring line;
    MODULEENTRY32W module = {};
    module.dwSize = sizeof(module);
    for (BOOL more = ::Module32FirstW(snapshot, &module); more != 0;
         more = ::Module32NextW(snapshot, &module)) {
        const std::wstring path = LowerCase(module.szExePath);
        if (path.compare(0, folder.size(), folder) != 0) continue;
        line += (line.empty() ? L"" : L" ") + path.substr(folder.size());
    }
    ::CloseHandle(snapshot);
    return line;
}

int PrintHolders(const std::string& folder) {
    const std::wstring prefix = LowerCase(FromUtf8(folder)) + L"\\";
    std::vector<std::wstring> lines;
    const HANDLE snapshot = ::CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    PROCESSENTRY32W process = {};
    process.dwSize = sizeof(process);
    for (BOOL more = ::Process32FirstW(snapshot, &process); more != 0;
         more = ::Process32NextW(snapshot, &process)) {
        std::wstring line = FilesIn(prefix, process.th32ProcessID);
        if (!line.empty()) lines.push_back(std::move(line));
    }
    ::CloseHandle(snapshot);
    std::sort(lines.begin(), lines.end());
    for (const std::wstring& line : lines) std::puts(ToUtf8(line).c_str());
    return 0;
}

// ---------------------------------------------------------------- registry

const std::map<std::string, HKEY> kRoots{{"HKEY_LOCAL_MACHINE", HKEY_LOCAL_MACHINE},
                                         {"HKEY_CURRENT_USER", HKEY_CURRENT_USER},
                                         {"HKEY_CLASSES_ROOT", HKEY_CLASSES_ROOT}};

/// A text up to its first NUL; behind it the number of NULs beyond the one that ends a text.
std::string ShownText(const std::vector<wchar_t>& data) {
    const auto end = std::find(data.begin(), data.end(), L'\0');
    const auto nuls = std::count(end, data.end(), L'\0');
    std::string shown = ToUtf8({data.begin(), end});
    if (nuls > 1) shown += "+" + std::to_string(nuls - 1) + " NUL";
    return shown;
}

std::string Data(const std::string& path, const std::string& name) {
    const std::size_t rootEnd = path.find('\\');
    HKEY key = nullptr;
    if (::RegOpenKeyExW(kRoots.at(path.substr(0, rootEnd)),
                        FromUtf8(path.substr(rootEnd + 1)).c_str(), 0, KEY_QUERY_VALUE,
                        &key) != ERROR_SUCCESS) {
        return "(none)";
    }
    std::vector<wchar_t> data(4096);
    auto size = static_cast<DWORD>(data.size() * sizeof(wchar_t));
    DWORD type = REG_NONE;
    const LSTATUS status = ::RegQueryValueExW(key, FromUtf8(name).c_str(), nullptr, &type,
                                              reinterpret_cast<BYTE*>(data.data()), &size);
    ::RegCloseKey(key);
    if (status != ERROR_SUCCESS) return "(none)";
    data.resize(size / sizeof(wchar_t));
    if (type == REG_SZ) return ShownText(data);
    if (type == REG_DWORD) return "dword:" + std::to_string(data[0] | data[1] << 16);
    return "type " + std::to_string(type);
}

int PrintValues(const char* file) {
    std::ifstream lines(file);
    std::string line;
    while (std::getline(lines, line)) {
        const std::size_t bar = line.find('|');
        if (bar == std::string::npos) return 2;
        const std::string data = Data(line.substr(0, bar), line.substr(bar + 1));
        std::printf("%s|%s\n", line.c_str(), data.c_str());
    }
    return 0;
}

}  // namespace

int main(int count, char** arguments) {
    const std::string command = count > 1 ? arguments[1] : "";
    if (command == "holders" && count == 3) return PrintHolders(arguments[2]);
    if (command == "values" && count == 3) return PrintValues(arguments[2]);
    return 2;
}
