#include "platform/win32/Win32Registry.h"

#include <windows.h>

#include "base/Utf16Bytes.h"
#include "platform/win32/CountedNames.h"
#include "platform/win32/Win32SystemFacts.h"
#include "win32/DynamicCall.h"
#include "win32/Handles.h"
#include "win32/NativeText.h"

namespace bkfd {
namespace {

Status StatusOfCode(LSTATUS code) {
    return {static_cast<std::uint32_t>(code)};
}

/// A root's handle is its number with the sign extended.
HKEY Native(RegistryRoot root) {
    return reinterpret_cast<HKEY>(static_cast<LONG_PTR>(static_cast<LONG>(root)));
}

/// The flag for a view; none where the registry has but one, since old systems know no such flags.
REGSAM ViewFlag(RegistryView view) {
    static const bool hasTwoViews = Win32SystemFacts().GetSystemWow64DirectoryW().IsOk();
    if (!hasTwoViews) return 0;
    return view == RegistryView::Bits32 ? KEY_WOW64_32KEY : KEY_WOW64_64KEY;
}

/// The call that doesn't know views is not enough where there are two.
LSTATUS DeleteKey(RegistryBase base, const wchar_t* name) {
    static const DynamicCall<decltype(&::RegDeleteKeyExW)> call("advapi32.dll", "RegDeleteKeyExW");
    const REGSAM flag = ViewFlag(base.view);
    if (flag == 0 || !call.IsThere()) return ::RegDeleteKeyW(Native(base.root), name);
    return call(Native(base.root), name, flag, DWORD{0});
}

bool HasNul(TextView name) {
    return name.find(u'\0') != TextView::npos;
}

Status OpenKey(RegistryBase base, TextView subkey, REGSAM access, OwnedKey& key) {
    if (HasNul(subkey)) return {SystemError::InvalidName};
    return StatusOfCode(CallWithText(
        subkey,
        [&](const wchar_t* name) {
            return ::RegOpenKeyExW(Native(base.root), name, 0, access | ViewFlag(base.view),
                                   key.Receive());
        },
        [&](const char* name) {
            return ::RegOpenKeyExA(Native(base.root), name, 0, access | ViewFlag(base.view),
                                   key.Receive());
        }));
}

Status CreateKey(RegistryBase base, TextView subkey, OwnedKey& key) {
    if (HasNul(subkey)) return {SystemError::InvalidName};
    return StatusOfCode(CallWithText(
        subkey,
        [&](const wchar_t* name) {
            return ::RegCreateKeyExW(Native(base.root), name, 0, nullptr, REG_OPTION_NON_VOLATILE,
                                     KEY_SET_VALUE | ViewFlag(base.view), nullptr, key.Receive(),
                                     nullptr);
        },
        [&](const char* name) {
            return ::RegCreateKeyExA(Native(base.root), name, 0, nullptr, REG_OPTION_NON_VOLATILE,
                                     KEY_SET_VALUE | ViewFlag(base.view), nullptr, key.Receive(),
                                     nullptr);
        }));
}

// The ANSI calls hold text values in the code page; the seam holds them as UTF-16LE.

bool IsTextType(DWORD type) {
    return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ;
}

Bytes FromAnsiBytes(std::span<const std::uint8_t> ansi) {
    return ToUtf16Bytes(FromAnsi({reinterpret_cast<const char*>(ansi.data()), ansi.size()}));
}

Bytes ToAnsiBytes(std::span<const std::uint8_t> utf16) {
    const std::string ansi = ToAnsi(FromUtf16Bytes(utf16));
    return Bytes(ansi.begin(), ansi.end());
}

/// Calls `query(data, size)` with a growing buffer until the value, which others may change
/// meanwhile, fits. A size that the system leaves alone on `MoreData` is doubled.
template <class Query>
LSTATUS ReadGrowing(Bytes& data, Query query) {
    data.resize(256);
    for (int round = 0; round < 32; ++round) {
        auto size = static_cast<DWORD>(data.size());
        const LSTATUS result = query(data.data(), &size);
        if (result != ERROR_MORE_DATA) {
            data.resize(result == ERROR_SUCCESS ? size : 0);
            return result;
        }
        data.resize(size > data.size() ? std::size_t{size} : 2 * data.size());
    }
    return ERROR_MORE_DATA;
}

/// Collects names by calling `next(index, buffer, length)`, which returns as RegEnumKeyEx does.
template <class Unit, class Next>
LSTATUS CollectNames(std::vector<std::basic_string<Unit>>& names, Next next) {
    std::basic_string<Unit> buffer(512, Unit{});
    for (DWORD index = 0;;) {
        auto length = static_cast<DWORD>(buffer.size());
        const LSTATUS result = next(index, buffer.data(), &length);
        if (result == ERROR_NO_MORE_ITEMS) return ERROR_SUCCESS;
        if (result == ERROR_MORE_DATA && buffer.size() < 0x10000) {
            buffer.resize(2 * buffer.size());
            continue;
        }
        if (result != ERROR_SUCCESS) return result;
        names.push_back(buffer.substr(0, length));
        ++index;
    }
}

template <class WideNext, class AnsiNext>
Result<std::vector<Text>> EnumNames(RegistryBase base, TextView subkey, REGSAM access,
                                    WideNext wideNext, AnsiNext ansiNext) {
    OwnedKey key;
    const Status opened = OpenKey(base, subkey, access, key);
    if (!opened.IsOk()) return opened;
    std::vector<Text> names;
    if (HasWideCalls()) {
        const LSTATUS result =
            CollectNames(names, [&](DWORD index, char16_t* buffer, DWORD* length) {
                return wideNext(key.Get(), index, Wide(buffer), length, nullptr, nullptr, nullptr,
                                nullptr);
            });
        if (result != ERROR_SUCCESS) return StatusOfCode(result);
        return names;
    }
    std::vector<std::string> ansiNames;
    const LSTATUS result = CollectNames(ansiNames, [&](DWORD index, char* buffer, DWORD* length) {
        return ansiNext(key.Get(), index, buffer, length, nullptr, nullptr, nullptr, nullptr);
    });
    if (result != ERROR_SUCCESS) return StatusOfCode(result);
    for (const std::string& name : ansiNames) names.push_back(FromAnsi(name));
    return names;
}

}  // namespace

RegistryView ViewOfThisProgram() {
    return Win32SystemFacts().IsWow64Process() ? RegistryView::Bits32 : RegistryView::Native;
}

Result<RegistryValue> Win32Registry::RegQueryValueExW(RegistryBase base, TextView subkey,
                                                      TextView name) {
    OwnedKey key;
    const Status opened = OpenKey(base, subkey, KEY_QUERY_VALUE, key);
    if (!opened.IsOk()) return opened;
    if (HasNul(name)) return CountedNames::QueryValue(key.Get(), name);
    DWORD type = REG_NONE;
    RegistryValue value;
    const LSTATUS result = CallWithText(
        name,
        [&](const wchar_t* wideName) {
            return ReadGrowing(value.data, [&](BYTE* data, DWORD* size) {
                return ::RegQueryValueExW(key.Get(), wideName, nullptr, &type, data, size);
            });
        },
        [&](const char* ansiName) {
            return ReadGrowing(value.data, [&](BYTE* data, DWORD* size) {
                return ::RegQueryValueExA(key.Get(), ansiName, nullptr, &type, data, size);
            });
        });
    if (result != ERROR_SUCCESS) return StatusOfCode(result);
    value.type = static_cast<RegistryType>(type);
    if (!HasWideCalls() && IsTextType(type)) value.data = FromAnsiBytes(value.data);
    return value;
}

Status Win32Registry::RegSetValueExW(RegistryBase base, TextView subkey, TextView name,
                                     const RegistryValue& value) {
    OwnedKey key;
    const Status created = CreateKey(base, subkey, key);
    if (!created.IsOk()) return created;
    if (HasNul(name)) return CountedNames::SetValue(key.Get(), name, value);
    const auto type = static_cast<DWORD>(value.type);
    Bytes data = !HasWideCalls() && IsTextType(type) ? ToAnsiBytes(value.data) : value.data;
    const auto size = static_cast<DWORD>(data.size());
    // Behind a text without its NUL the call looks for one and would store it too.
    data.insert(data.end(), 2, 0xFF);
    return StatusOfCode(CallWithText(
        name,
        [&](const wchar_t* wideName) {
            return ::RegSetValueExW(key.Get(), wideName, 0, type, data.data(), size);
        },
        [&](const char* ansiName) {
            return ::RegSetValueExA(key.Get(), ansiName, 0, type, data.data(), size);
        }));
}

Status Win32Registry::RegDeleteValueW(RegistryBase base, TextView subkey, TextView name) {
    OwnedKey key;
    const Status opened = OpenKey(base, subkey, KEY_SET_VALUE, key);
    if (!opened.IsOk()) return opened;
    if (HasNul(name)) return CountedNames::DeleteValue(key.Get(), name);
    return StatusOfCode(CallWithText(
        name, [&](const wchar_t* wideName) { return ::RegDeleteValueW(key.Get(), wideName); },
        [&](const char* ansiName) { return ::RegDeleteValueA(key.Get(), ansiName); }));
}

Result<std::vector<Text>> Win32Registry::RegEnumKeyExW(RegistryBase base, TextView subkey) {
    return EnumNames(base, subkey, KEY_ENUMERATE_SUB_KEYS, ::RegEnumKeyExW, ::RegEnumKeyExA);
}

Result<std::vector<Text>> Win32Registry::RegEnumValueW(RegistryBase base, TextView subkey) {
    return EnumNames(base, subkey, KEY_QUERY_VALUE, ::RegEnumValueW, ::RegEnumValueA);
}

Status Win32Registry::RegDeleteKeyW(RegistryBase base, TextView subkey) {
    // The Windows 95 family would delete all that is below the key too.
    const Result<std::vector<Text>> below = RegEnumKeyExW(base, subkey);
    if (!below.IsOk()) return below;
    if (!below.value.empty()) return {SystemError::AccessDenied};
    return StatusOfCode(CallWithText(
        subkey, [&](const wchar_t* name) { return DeleteKey(base, name); },
        [&](const char* name) { return ::RegDeleteKeyA(Native(base.root), name); }));
}

}  // namespace bkfd
