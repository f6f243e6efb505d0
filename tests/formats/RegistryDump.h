#pragma once

#include <cstdio>
#include <string>

#include "formats/HiveWalk.h"

namespace bkfd {

/// What a registry file holds as readable lines: "\A", "  name 1 6100", "! \A: what can't be read".
class RegistryDump : public RegistryVisitor {
  public:
    std::string text;
    std::size_t keys = 0;
    std::size_t values = 0;
    std::size_t unreadable = 0;

    void OnKey(TextView path) override {
        ++keys;
        Line(ToWtf8(path));
    }
    void OnValue(const RegistryValueView& value) override {
        ++values;
        std::string line = "  " + ToWtf8(value.name) + ' ' + std::to_string(value.type) + ' ';
        std::size_t size = 0;
        for (const ByteView piece : value.data) {
            for (const std::uint8_t byte : piece) {
                char digits[3];
                std::snprintf(digits, sizeof digits, "%02x", byte);
                if (++size <= 32) line += digits;
            }
        }
        Line(size <= 32 ? line : line + "... " + std::to_string(size));
    }
    void OnUnreadable(TextView path, const std::string& what) override {
        ++unreadable;
        Line("! " + ToWtf8(path) + ": " + what);
    }
    void OnDeletion(TextView, const Text*) override {}

  private:
    void Line(const std::string& line) {
        if (text.size() < 100'000) text += line + '\n';
    }
};

/// All that a hive's reader tells; its error for what it refuses.
inline RegistryDump DumpHive(ByteView file) {
    RegistryDump dump;
    const auto opened = Hive::Open(file);
    if (const auto* const hive = std::get_if<Hive>(&opened)) {
        WalkHive(*hive, dump);
    } else {
        dump.text = std::get<std::string>(opened);
    }
    return dump;
}

}  // namespace bkfd
