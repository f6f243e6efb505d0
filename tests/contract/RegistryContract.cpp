#include <algorithm>

#include "platform/RegistryViews.h"
#include "tests/contract/MachineContract.h"

namespace bkfd::contract {
namespace {

constexpr RegistryRoot kUser = RegistryRoot::CurrentUser;
const RegistryValue kOne{RegistryType::Binary, {1}};

std::vector<Text> Sorted(const Result<std::vector<Text>>& names) {
    EXPECT_EQ(names.code, 0u);
    std::vector<Text> sorted = names.value;
    std::sort(sorted.begin(), sorted.end());
    return sorted;
}

TEST_P(MachineContract, ValuesKeepTypeAndBytes) {
    const struct {
        const char* label;
        TextView name;
        RegistryValue value;
        bool onNTAlone = false;  // the Windows 95 family holds texts in the code page
    } rows[] = {
        {"text", u"text", {RegistryType::String, {'a', 0, 0, 0}}},
        {"default value", u"", {RegistryType::String, {'d', 0, 0, 0}}},
        {"text without NUL", u"open", {RegistryType::String, {'a', 0, 'b', 0}}, true},
        {"text with NUL inside",
         u"nul",
         {RegistryType::String, {'a', 0, 0, 0, 'b', 0, 0, 0}},
         true},
        {"lone surrogate", u"lone", {RegistryType::String, {0x00, 0xD8, 0, 0}}, true},
        {"expandable", u"expand", {RegistryType::ExpandString, {'%', 0, 'x', 0, 0, 0}}},
        {"many", u"many", {RegistryType::MultiString, {'a', 0, 0, 0, 'b', 0, 0, 0, 0, 0}}},
        {"dword", u"dword", {RegistryType::Dword, {4, 3, 2, 0xFF}}},
        {"binary", u"binary", {RegistryType::Binary, {0, 0xFF, 0x80}}},
        {"empty binary", u"empty", {RegistryType::Binary, {}}},
        {"large", u"large", {RegistryType::Binary, Bytes(70'000, 7)}},
        {"odd type", u"odd", {RegistryType{11}, {1, 2, 3, 4, 5, 6, 7, 8}}},
        {"name with backslash", u"C:\\a\\b.exe", {RegistryType::String, {'c', 0, 0, 0}}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        ASSERT_EQ(registry_.RegSetValueExW(kUser, under_->ScratchKey(), row.name, row.value).code,
                  0u);
    }
    for (const auto& row : rows) {
        if (row.onNTAlone && !IsNT()) continue;
        SCOPED_TRACE(row.label);
        const auto read = registry_.RegQueryValueExW(kUser, under_->ScratchKey(), row.name);
        EXPECT_EQ(read.code, 0u);
        EXPECT_EQ(read.value, row.value);
    }
    EXPECT_EQ(registry_.RegEnumValueW(kUser, under_->ScratchKey()).value.size(), std::size(rows));
}

TEST_P(MachineContract, NamesIgnoreCaseAndKeepIt) {
    const RegistryValue second = {RegistryType::Binary, {2}};
    ASSERT_EQ(registry_.RegSetValueExW(kUser, Key(u"SubKey"), u"NaMe", kOne).code, 0u);
    ASSERT_EQ(registry_.RegSetValueExW(kUser, Key(u"SUBKEY"), u"nAmE", second).code, 0u);
    EXPECT_EQ(registry_.RegQueryValueExW(kUser, Key(u"subkey"), u"NAME").value, second);
    EXPECT_EQ(Sorted(registry_.RegEnumKeyExW(kUser, under_->ScratchKey())),
              std::vector<Text>{u"SubKey"});
    EXPECT_EQ(Sorted(registry_.RegEnumValueW(kUser, Key(u"subKEY"))), std::vector<Text>{u"NaMe"});
}

/// The NT family counts a name's characters; the 95 family has no such names.
TEST_P(MachineContract, ANulIsAPartOfAValuesName) {
    if (!IsNT()) return;
    const TextView names[] = {u"n", TextView(u"n\0hidden", 8), TextView(u"n\0", 2),
                              TextView(u"\0", 1)};
    std::uint8_t number = 0;
    for (const TextView name : names) {
        const Bytes data(++number * std::size_t{400}, number);
        const RegistryValue value{RegistryType{number}, data};
        ASSERT_EQ(registry_.RegSetValueExW(kUser, Key(u"nul"), name, value).code, 0u);
    }
    EXPECT_EQ(Sorted(registry_.RegEnumValueW(kUser, Key(u"nul"))).size(), number);
    for (const TextView name : {names[1], names[3]}) {
        EXPECT_EQ(registry_.RegDeleteValueW(kUser, Key(u"nul"), ToLower(name)).code, 0u);
        EXPECT_EQ(registry_.RegQueryValueExW(kUser, Key(u"nul"), name).code,
                  SystemError::FileNotFound);
        EXPECT_EQ(registry_.RegDeleteValueW(kUser, Key(u"nul"), name).code,
                  SystemError::FileNotFound);
    }
    EXPECT_EQ(registry_.RegQueryValueExW(kUser, Key(u"nul"), u"N").value.data, Bytes(400, 1));
    EXPECT_EQ(registry_.RegQueryValueExW(kUser, Key(u"nul"), names[2]).value,
              (RegistryValue{RegistryType{3}, Bytes(1200, 3)}));
    EXPECT_EQ(registry_.RegDeleteKeyW(kUser, Key(u"nul")).code, 0u);
}

TEST_P(MachineContract, SettingMakesTheKeysAbove) {
    const RegistryValue value = {RegistryType::Dword, {1, 0, 0, 0}};
    Text deep = Key(u"a");
    for (int i = 0; i < 20; ++i) deep += u"\\level";
    ASSERT_EQ(registry_.RegSetValueExW(kUser, deep + u"\\", u"v", value).code, 0u);
    EXPECT_EQ(registry_.RegQueryValueExW(kUser, deep, u"v").value, value);
    EXPECT_EQ(registry_.RegQueryValueExW(kUser, deep + u"\\", u"v").value, value);
    EXPECT_EQ(Sorted(registry_.RegEnumKeyExW(kUser, Key(u"a"))), std::vector<Text>{u"level"});
    EXPECT_EQ(Sorted(registry_.RegEnumValueW(kUser, Key(u"a"))), std::vector<Text>{});
}

TEST_P(MachineContract, WhatIsMissingIsNotThere) {
    const Text missing = Key(u"missing");
    EXPECT_EQ(registry_.RegQueryValueExW(kUser, missing, u"v").code, SystemError::FileNotFound);
    EXPECT_EQ(registry_.RegEnumKeyExW(kUser, missing).code, SystemError::FileNotFound);
    EXPECT_EQ(registry_.RegEnumValueW(kUser, missing).code, SystemError::FileNotFound);
    EXPECT_EQ(registry_.RegDeleteValueW(kUser, missing, u"v").code, SystemError::FileNotFound);
    EXPECT_EQ(registry_.RegDeleteKeyW(kUser, missing).code, SystemError::FileNotFound);
    ASSERT_EQ(registry_.RegSetValueExW(kUser, missing, u"v", kOne).code, 0u);
    EXPECT_EQ(registry_.RegQueryValueExW(kUser, missing, u"w").code, SystemError::FileNotFound);
    EXPECT_EQ(registry_.RegQueryValueExW(kUser, missing, u"").code, SystemError::FileNotFound);
    EXPECT_EQ(registry_.RegDeleteValueW(kUser, missing, u"w").code, SystemError::FileNotFound);
}

TEST_P(MachineContract, DeletionTakesValuesAndEmptyKeys) {
    ASSERT_EQ(registry_.RegSetValueExW(kUser, Key(u"up"), u"v", kOne).code, 0u);
    ASSERT_EQ(registry_.RegSetValueExW(kUser, Key(u"up\\down"), u"w", kOne).code, 0u);

    EXPECT_EQ(registry_.RegDeleteValueW(kUser, Key(u"UP"), u"V").code, 0u);
    EXPECT_EQ(registry_.RegQueryValueExW(kUser, Key(u"up"), u"v").code, SystemError::FileNotFound);
    if (IsNT()) {
        EXPECT_EQ(registry_.RegDeleteKeyW(kUser, Key(u"up")).code, SystemError::AccessDenied);
        EXPECT_EQ(registry_.RegQueryValueExW(kUser, Key(u"up\\down"), u"w").value, kOne);
    }
    EXPECT_EQ(registry_.RegDeleteKeyW(kUser, Key(u"up\\DOWN")).code, 0u);
    EXPECT_EQ(registry_.RegEnumValueW(kUser, Key(u"up\\down")).code, SystemError::FileNotFound);
    EXPECT_EQ(registry_.RegDeleteKeyW(kUser, Key(u"up")).code, 0u);
    EXPECT_EQ(Sorted(registry_.RegEnumKeyExW(kUser, under_->ScratchKey())), std::vector<Text>{});
}

TEST_P(MachineContract, EnumerationNamesEveryChildOnce) {
    std::vector<Text> names;
    for (int i = 0; i < 120; ++i) names.push_back(u"name" + ToText(i));
    for (const Text& name : names) {
        ASSERT_EQ(registry_.RegSetValueExW(kUser, Key(name), u"v", kOne).code, 0u);
        ASSERT_EQ(registry_.RegSetValueExW(kUser, under_->ScratchKey(), name, kOne).code, 0u);
    }
    std::sort(names.begin(), names.end());
    EXPECT_EQ(Sorted(registry_.RegEnumKeyExW(kUser, under_->ScratchKey())), names);
    EXPECT_EQ(Sorted(registry_.RegEnumValueW(kUser, under_->ScratchKey())), names);
}

TEST_P(MachineContract, ClassesAreAViewOfTheMachinesClasses) {
    const auto classes = registry_.RegEnumKeyExW(RegistryRoot::LocalMachine, u"Software\\Classes");
    if (!classes.IsOk()) return;
    const auto view = registry_.RegEnumKeyExW(RegistryRoot::ClassesRoot, u"");
    ASSERT_EQ(view.code, 0u);
    for (const Text& name : classes.value) {
        EXPECT_TRUE(std::any_of(view.value.begin(), view.value.end(), [&](const Text& seen) {
            return EqualsIgnoreCase(seen, name);
        })) << ToUtf8(name);
    }
}

TEST_P(MachineContract, ViewsHaveKeysOfTheirOwnWhereThereAreTwo) {
    const bool areTwo = HasTwoViews(system_);
    const RegistryBase native = RegistryRoot::LocalMachine;
    const RegistryBase bits32 = {RegistryRoot::LocalMachine, RegistryView::Bits32};
    const Text key = under_->ScratchKey();
    const Text inNative = NativeKey(system_, bits32, key);
    EXPECT_EQ(inNative != key, areTwo);
    const bool looksAtBoth = areTwo && !system_.IsWow64Process();
    EXPECT_EQ(ViewsOf(system_, native.root, key).size(), looksAtBoth ? 2u : 1u);
    const auto folder = system_.GetSystemWow64DirectoryW();
    EXPECT_EQ(folder.code, areTwo ? 0u : SystemError::CallNotImplemented);

    ASSERT_EQ(registry_.RegSetValueExW(native, key, u"native", kOne).code, 0u);
    ASSERT_EQ(registry_.RegSetValueExW(bits32, key + u"\\below", u"32", kOne).code, 0u);
    EXPECT_EQ(registry_.RegQueryValueExW(bits32, key, u"native").IsOk(), !areTwo);
    EXPECT_EQ(registry_.RegEnumKeyExW(native, key).value.empty(), areTwo);
    EXPECT_EQ(registry_.RegQueryValueExW(native, inNative + u"\\below", u"32").value, kOne);
    EXPECT_EQ(registry_.RegEnumValueW(bits32, key + u"\\below").value.size(), 1u);

    EXPECT_EQ(registry_.RegDeleteKeyW(bits32, key).code, SystemError::AccessDenied);
    EXPECT_EQ(registry_.RegDeleteValueW(bits32, key + u"\\below", u"32").code, 0u);
    EXPECT_EQ(registry_.RegDeleteKeyW(bits32, key + u"\\below").code, 0u);
    EXPECT_EQ(registry_.RegDeleteKeyW(bits32, key).code, 0u);
    EXPECT_EQ(registry_.RegEnumKeyExW(native, inNative).IsNotThere(), true);
    EXPECT_EQ(registry_.RegDeleteKeyW(native, key).code,
              areTwo ? SystemError::Success : SystemError::FileNotFound);
}

TEST_P(MachineContract, ViewsShareTheUsersSettings) {
    const RegistryBase bits32 = {kUser, RegistryView::Bits32};
    ASSERT_EQ(registry_.RegSetValueExW(kUser, under_->ScratchKey(), u"a", kOne).code, 0u);
    EXPECT_EQ(registry_.RegQueryValueExW(bits32, under_->ScratchKey(), u"a").value, kOne);
    EXPECT_EQ(registry_.RegDeleteValueW(bits32, under_->ScratchKey(), u"a").code, 0u);
    EXPECT_TRUE(registry_.RegEnumValueW(kUser, under_->ScratchKey()).value.empty());
}

}  // namespace
}  // namespace bkfd::contract
