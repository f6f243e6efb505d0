#include "formats/ZipCipher.h"

#include <zlib.h>

namespace bkfd {
namespace {

std::uint32_t CrcStep(std::uint32_t crc, std::uint8_t byte) {
    const auto* table = get_crc_table();
    return static_cast<std::uint32_t>(table[(crc ^ byte) & 0xFF]) ^ (crc >> 8);
}

}  // namespace

ZipCipher::ZipCipher(const std::string& password) {
    for (const char byte : password) Update(static_cast<std::uint8_t>(byte));
}

std::uint8_t ZipCipher::KeyByte() const {
    const std::uint32_t half = (keys_[2] & 0xFFFF) | 2;
    return static_cast<std::uint8_t>((half * (half ^ 1)) >> 8);
}

void ZipCipher::Update(std::uint8_t plain) {
    keys_[0] = CrcStep(keys_[0], plain);
    keys_[1] = (keys_[1] + (keys_[0] & 0xFF)) * 134775813 + 1;
    keys_[2] = CrcStep(keys_[2], static_cast<std::uint8_t>(keys_[1] >> 24));
}

void ZipCipher::Encrypt(std::span<std::uint8_t> bytes) {
    for (std::uint8_t& byte : bytes) {
        const std::uint8_t plain = byte;
        byte = static_cast<std::uint8_t>(plain ^ KeyByte());
        Update(plain);
    }
}

void ZipCipher::Decrypt(std::span<std::uint8_t> bytes) {
    for (std::uint8_t& byte : bytes) {
        byte = static_cast<std::uint8_t>(byte ^ KeyByte());
        Update(byte);
    }
}

}  // namespace bkfd
