#include <algorithm>

#include "tests/contract/MachineContract.h"

namespace bkfd::contract {
namespace {

constexpr RegistryRoot kUser = RegistryRoot::CurrentUser;

RegistryValue Value(RegistryType type, Bytes data) {
    return {type, std::move(data)};
}

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
        {"text", u"text", Value(RegistryType::String, {'a', 0, 0, 0})},
        {"default value", u"", Value(RegistryType::String, {'d', 0, 0, 0})},
        {"text without NUL", u"open", Value(RegistryType::String, {'a', 0, 'b', 0}), true},
        {"text with NUL inside", u"nul", Value(RegistryType::String, {'a', 0, 0, 0, 'b', 0, 0, 0}),
         true},
        {"lone surrogate", u"lone", Value(RegistryType::String, {0x00, 0xD8, 0, 0}), true},
        {"expandable", u"expand", Value(RegistryType::ExpandString, {'%', 0, 'x', 0, 0, 0})},
        {"many", u"many", Value(RegistryType::MultiString, {'a', 0, 0, 0, 'b', 0, 0, 0, 0, 0})},
        {"dword", u"dword", Value(RegistryType::Dword, {4, 3, 2, 0xFF})},
        {"binary", u"binary", Value(RegistryType::Binary, {0, 0xFF, 0x80})},
        {"empty binary", u"empty", Value(RegistryType::Binary, {})},
        {"large", u"large", Value(RegistryType::Binary, Bytes(70'000, 7))},
        {"odd type", u"odd", Value(RegistryType{11}, {1, 2, 3, 4, 5, 6, 7, 8})},
        {"name with backslash", u"C:\\a\\b.exe", Value(RegistryType::String, {'c', 0, 0, 0})},
    };
    Registry& registry = machine_.RegistryKeys();
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        ASSERT_EQ(registry.RegSetValueExW(kUser, under_->ScratchKey(), row.name, row.value).code,
                  0u);
    }
    for (const auto& row : rows) {
        if (row.onNTAlone && !IsNT()) continue;
        SCOPED_TRACE(row.label);
        const auto read = registry.RegQueryValueExW(kUser, under_->ScratchKey(), row.name);
        EXPECT_EQ(read.code, 0u);
        EXPECT_EQ(read.value, row.value);
    }
    EXPECT_EQ(registry.RegEnumValueW(kUser, under_->ScratchKey()).value.size(), std::size(rows));
}

TEST_P(MachineContract, NamesIgnoreCaseAndKeepIt) {
    Registry& registry = machine_.RegistryKeys();
    const RegistryValue first = Value(RegistryType::Binary, {1});
    const RegistryValue second = Value(RegistryType::Binary, {2});
    ASSERT_EQ(registry.RegSetValueExW(kUser, Key(u"SubKey"), u"NaMe", first).code, 0u);
    ASSERT_EQ(registry.RegSetValueExW(kUser, Key(u"SUBKEY"), u"nAmE", second).code, 0u);
    EXPECT_EQ(registry.RegQueryValueExW(kUser, Key(u"subkey"), u"NAME").value, second);
    EXPECT_EQ(Sorted(registry.RegEnumKeyExW(kUser, under_->ScratchKey())),
              std::vector<Text>{u"SubKey"});
    EXPECT_EQ(Sorted(registry.RegEnumValueW(kUser, Key(u"subKEY"))), std::vector<Text>{u"NaMe"});
}

TEST_P(MachineContract, SettingMakesTheKeysAbove) {
    Registry& registry = machine_.RegistryKeys();
    const RegistryValue value = Value(RegistryType::Dword, {1, 0, 0, 0});
    Text deep = Key(u"a");
    for (int i = 0; i < 20; ++i) deep += u"\\level";
    ASSERT_EQ(registry.RegSetValueExW(kUser, deep + u"\\", u"v", value).code, 0u);
    EXPECT_EQ(registry.RegQueryValueExW(kUser, deep, u"v").value, value);
    EXPECT_EQ(registry.RegQueryValueExW(kUser, deep + u"\\", u"v").value, value);
    EXPECT_EQ(Sorted(registry.RegEnumKeyExW(kUser, Key(u"a"))), std::vector<Text>{u"level"});
    EXPECT_EQ(Sorted(registry.RegEnumValueW(kUser, Key(u"a"))), std::vector<Text>{});
}

TEST_P(MachineContract, WhatIsMissingIsNotThere) {
    Registry& registry = machine_.RegistryKeys();
    const Text missing = Key(u"missing");
    EXPECT_EQ(registry.RegQueryValueExW(kUser, missing, u"v").code, SystemError::FileNotFound);
    EXPECT_EQ(registry.RegEnumKeyExW(kUser, missing).code, SystemError::FileNotFound);
    EXPECT_EQ(registry.RegEnumValueW(kUser, missing).code, SystemError::FileNotFound);
    EXPECT_EQ(registry.RegDeleteValueW(kUser, missing, u"v").code, SystemError::FileNotFound);
    EXPECT_EQ(registry.RegDeleteKeyW(kUser, missing).code, SystemError::FileNotFound);
    ASSERT_EQ(registry.RegSetValueExW(kUser, missing, u"v", Value(RegistryType::Binary, {1})).code,
              0u);
    EXPECT_EQ(registry.RegQueryValueExW(kUser, missing, u"w").code, SystemError::FileNotFound);
    EXPECT_EQ(registry.RegQueryValueExW(kUser, missing, u"").code, SystemError::FileNotFound);
    EXPECT_EQ(registry.RegDeleteValueW(kUser, missing, u"w").code, SystemError::FileNotFound);
}

TEST_P(MachineContract, DeletionTakesValuesAndEmptyKeys) {
    Registry& registry = machine_.RegistryKeys();
    const RegistryValue value = Value(RegistryType::Binary, {1});
    ASSERT_EQ(registry.RegSetValueExW(kUser, Key(u"up"), u"v", value).code, 0u);
    ASSERT_EQ(registry.RegSetValueExW(kUser, Key(u"up\\down"), u"w", value).code, 0u);

    EXPECT_EQ(registry.RegDeleteValueW(kUser, Key(u"UP"), u"V").code, 0u);
    EXPECT_EQ(registry.RegQueryValueExW(kUser, Key(u"up"), u"v").code, SystemError::FileNotFound);
    if (IsNT()) {
        EXPECT_EQ(registry.RegDeleteKeyW(kUser, Key(u"up")).code, SystemError::AccessDenied);
        EXPECT_EQ(registry.RegQueryValueExW(kUser, Key(u"up\\down"), u"w").value, value);
    }
    EXPECT_EQ(registry.RegDeleteKeyW(kUser, Key(u"up\\DOWN")).code, 0u);
    EXPECT_EQ(registry.RegEnumValueW(kUser, Key(u"up\\down")).code, SystemError::FileNotFound);
    EXPECT_EQ(registry.RegDeleteKeyW(kUser, Key(u"up")).code, 0u);
    EXPECT_EQ(Sorted(registry.RegEnumKeyExW(kUser, under_->ScratchKey())), std::vector<Text>{});
}

TEST_P(MachineContract, EnumerationNamesEveryChildOnce) {
    Registry& registry = machine_.RegistryKeys();
    std::vector<Text> names;
    for (int i = 0; i < 120; ++i) names.push_back(u"name" + ToText(i));
    for (const Text& name : names) {
        const RegistryValue value = Value(RegistryType::Binary, {1});
        ASSERT_EQ(registry.RegSetValueExW(kUser, Key(name), u"v", value).code, 0u);
        ASSERT_EQ(registry.RegSetValueExW(kUser, under_->ScratchKey(), name, value).code, 0u);
    }
    std::sort(names.begin(), names.end());
    EXPECT_EQ(Sorted(registry.RegEnumKeyExW(kUser, under_->ScratchKey())), names);
    EXPECT_EQ(Sorted(registry.RegEnumValueW(kUser, under_->ScratchKey())), names);
}

TEST_P(MachineContract, ClassesAreAViewOfTheMachinesClasses) {
    Registry& registry = machine_.RegistryKeys();
    const auto classes = registry.RegEnumKeyExW(RegistryRoot::LocalMachine, u"Software\\Classes");
    if (!classes.IsOk()) return;
    const auto view = registry.RegEnumKeyExW(RegistryRoot::ClassesRoot, u"");
    ASSERT_EQ(view.code, 0u);
    for (const Text& name : classes.value)
        EXPECT_TRUE(std::any_of(view.value.begin(), view.value.end(), [&](const Text& seen) {
            return EqualsIgnoreCase(seen, name);
        })) << ToUtf8(name);
}

}  // namespace
}  // namespace bkfd::contract
