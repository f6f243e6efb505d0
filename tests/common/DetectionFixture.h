#pragma once

#include <memory>
#include <string>

#include "common/BrowserKeys.h"
#include "common/EngineFixture.h"
#include "common/SpyMachine.h"
#include "formats/VersionSamples.h"
#include "identity/ContentHash.h"
#include "services/ItemList.h"

namespace bkfd {

using samples::FileWithVersion;

/// A fixture whose machine is watched.
class DetectionFixture : public EngineFixture {
  public:
    explicit DetectionFixture(WindowsFamily family = WindowsFamily::NT) : EngineFixture(family) {
        Use(spy);
    }

    int Calls(const std::string& call) { return spy.calls[call]; }

    SpyMachine spy{machine};
};

/// The file, lengthened to `size` so that it has that content hash: the bits that the hash lacks
/// are spread over the last 31 bytes, one bit a byte. Empty if that can't be done.
inline Bytes Steered(Bytes file, std::size_t size, std::int32_t hash) {
    constexpr std::int64_t kModulus = 0x7FFFFFFF;
    if (size < file.size() + 31) return {};
    file.resize(size);
    std::int64_t missing = (hash + kModulus - ContentHash(file)) % kModulus;
    if (missing == 0 && hash == kModulus) missing = kModulus;
    file.back() = static_cast<std::uint8_t>(missing & 1);
    for (std::size_t bit = 30; bit > 0; --bit) {
        file[size - 32 + bit] = static_cast<std::uint8_t>((missing >> bit) & 1);
    }
    return ContentHash(file) == hash ? file : Bytes();
}

/// "name=value" of each param in order, separated by ", ".
inline std::string ParamsOf(const ItemNode& item) {
    std::string text;
    for (const auto& param : const_cast<ItemNode&>(item).params()) {
        if (!text.empty()) text += ", ";
        text += ToUtf8(param->Name()) + '=' + ToUtf8(param->Values(1).AsText());
    }
    return text;
}

inline std::string Lines(const KeyedList& list) {
    std::string text;
    for (const Variant& item : list) text += ToUtf8(item.AsText()) + '\n';
    return text;
}

}  // namespace bkfd
