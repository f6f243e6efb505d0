#include "platform/RegistryValues.h"

#include "base/Utf16Bytes.h"

namespace bkfd {

RegistryValue MakeStringValue(TextView text, RegistryType type) {
    RegistryValue value{type, ToUtf16Bytes(text)};
    value.data.insert(value.data.end(), 2, 0);
    return value;
}

RegistryValue MakeDwordValue(std::uint32_t number) {
    RegistryValue value{RegistryType::Dword, {}};
    for (int shift = 0; shift < 32; shift += 8) {
        value.data.push_back(static_cast<std::uint8_t>(number >> shift));
    }
    return value;
}

Text TextOfValue(const RegistryValue& value) {
    Text text = FromUtf16Bytes(value.data);
    while (!text.empty() && text.back() == u'\0') text.pop_back();
    return text;
}

std::optional<std::uint32_t> NumberOfValue(const RegistryValue& value) {
    if (value.type != RegistryType::Dword || value.data.size() != sizeof(std::uint32_t)) {
        return std::nullopt;
    }
    std::uint32_t number = 0;
    for (std::size_t i = value.data.size(); i-- > 0;) number = number << 8 | value.data[i];
    return number;
}

}  // namespace bkfd
