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
bool DeleteTree(RegistryRoot root, const Text& subkey, int depth) {
    if (depth > kRegistryDepthLimit) return false;
    const auto children = Keys().RegEnumKeyExW(root, subkey);
    if (children.IsNotThere()) return false;
    // A key that can't be listed may still be deletable; with keys below it, it stays whole.
    if (children.IsOk()) {
        for (const Text& child : children.value) {
            if (!DeleteTree(root, subkey + u"\\" + child, depth + 1)) return false;
        }
    }
    return Keys().RegDeleteKeyW(root, subkey).IsOk();
}

}  // namespace

Status RegistryAccess::ReadString(RegistryRoot root, TextView subkey, TextView name, Text& value) {
    value.clear();
    const auto stored = Keys().RegQueryValueExW(root, subkey, name);
    if (!stored.IsOk()) return stored;
    if (!HoldsText(stored.value.type)) return {SystemError::UnsupportedType};
    value = TextBeforeNul(stored.value.data);
    return {};
}

Status RegistryAccess::ReadDword(RegistryRoot root, TextView subkey, TextView name,
                                 std::int32_t& value) {
    value = 0;
    const auto stored = Keys().RegQueryValueExW(root, subkey, name);
    if (!stored.IsOk()) return stored;
    const auto number = NumberOfValue(stored.value);
    if (!number) return {SystemError::UnsupportedType};
    value = static_cast<std::int32_t>(*number);
    return {};
}

Status RegistryAccess::WriteString(RegistryRoot root, TextView subkey, TextView name,
                                   TextView value) {
    return Keys().RegSetValueExW(root, subkey, name, MakeStringValue(value));
}

Status RegistryAccess::WriteDword(RegistryRoot root, TextView subkey, TextView name,
                                  std::int32_t value) {
    return Keys().RegSetValueExW(root, subkey, name,
                                 MakeDwordValue(static_cast<std::uint32_t>(value)));
}

Status RegistryAccess::DeleteValue(RegistryRoot root, TextView subkey, TextView name) {
    return Keys().RegDeleteValueW(root, subkey, name);
}

KeyedList RegistryAccess::EnumSubkeys(RegistryRoot root, TextView subkey) {
    return ToKeyedList(Keys().RegEnumKeyExW(root, subkey));
}

KeyedList RegistryAccess::EnumValues(RegistryRoot root, TextView subkey) {
    return ToKeyedList(Keys().RegEnumValueW(root, subkey));
}

bool RegistryAccess::DeleteKey(RegistryRoot root, TextView subkey) {
    // An empty last name would reach the key above, or the root itself.
    if (subkey.empty() || subkey.ends_with(u'\\')) return false;
    return DeleteTree(root, Text(subkey), 0);
}

}  // namespace bkfd
