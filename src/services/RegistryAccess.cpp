#include "services/RegistryAccess.h"

#include <algorithm>
#include <optional>

#include "base/Utf16Bytes.h"
#include "platform/RegistryValues.h"
#include "services/MAPI.h"

namespace bkfd {
namespace {

Registry& Keys() {
    return TheMachine().RegistryKeys();
}

/// What stands before the first NUL, which is what Windows acts on; an odd last byte is left out.
Text TextBeforeNul(const Bytes& data) {
    return Text(UpToNul(FromUtf16Bytes(data)));
}

bool HoldsText(RegistryType type) {
    return type == RegistryType::String || type == RegistryType::ExpandString ||
           type == RegistryType::MultiString;
}

KeyedList ToKeyedList(Result<std::vector<Text>> names) {
    KeyedList list;
    if (!names.IsOk()) return list;
    for (Text& name : names.value) list.Add(std::move(name));
    return list;
}

/// Deletes what lies below first, and stops at the first key that can't be deleted.
bool DeleteTree(RegistryBase base, const Text& subkey, int depth) {
    if (depth > kRegistryDepthLimit) return false;
    const auto children = Keys().RegEnumKeyExW(base, subkey);
    if (children.IsNotThere()) return false;
    // A key that can't be listed may still be deletable; with keys below it, it stays whole.
    if (children.IsOk()) {
        for (const Text& child : children.value) {
            if (!DeleteTree(base, subkey + u"\\" + child, depth + 1)) return false;
        }
    }
    return Keys().RegDeleteKeyW(base, subkey).IsOk();
}

}  // namespace

Status RegistryAccess::ReadString(RegistryBase base, TextView subkey, TextView name, Text& value) {
    value.clear();
    const auto stored = Keys().RegQueryValueExW(base, subkey, name);
    if (!stored.IsOk()) return stored;
    if (!HoldsText(stored.value.type)) return {SystemError::UnsupportedType};
    value = TextBeforeNul(stored.value.data);
    return {};
}

Status RegistryAccess::ReadDword(RegistryBase base, TextView subkey, TextView name,
                                 std::int32_t& value) {
    value = 0;
    const auto stored = Keys().RegQueryValueExW(base, subkey, name);
    if (!stored.IsOk()) return stored;
    const auto number = NumberOfValue(stored.value);
    if (!number) return {SystemError::UnsupportedType};
    value = static_cast<std::int32_t>(*number);
    return {};
}

Status RegistryAccess::WriteString(RegistryBase base, TextView subkey, TextView name,
                                   TextView value) {
    return Keys().RegSetValueExW(base, subkey, name, MakeStringValue(value));
}

Status RegistryAccess::WriteDword(RegistryBase base, TextView subkey, TextView name,
                                  std::int32_t value) {
    return Keys().RegSetValueExW(base, subkey, name,
                                 MakeDwordValue(static_cast<std::uint32_t>(value)));
}

Status RegistryAccess::DeleteValue(RegistryBase base, TextView subkey, TextView name) {
    return Keys().RegDeleteValueW(base, subkey, name);
}

KeyedList RegistryAccess::EnumSubkeys(RegistryBase base, TextView subkey) {
    return ToKeyedList(Keys().RegEnumKeyExW(base, subkey));
}

KeyedList RegistryAccess::EnumValues(RegistryBase base, TextView subkey) {
    return ToKeyedList(Keys().RegEnumValueW(base, subkey));
}

bool RegistryAccess::DeleteKey(RegistryBase base, TextView subkey) {
    // An empty last name would reach the key above, or the root itself.
    if (subkey.empty() || subkey.ends_with(u'\\')) return false;
    return DeleteTree(base, Text(subkey), 0);
}

}  // namespace bkfd
