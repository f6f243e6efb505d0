#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>

namespace bkfd {

/// The traditional encryption of zip archives (APPNOTE.TXT, section 6.1). It is weak by today's
/// measure and stands here because every unpacker knows it.
class ZipCipher {
  public:
    static constexpr std::size_t kHeaderSize = 12;

    explicit ZipCipher(const std::string& password);

    void Encrypt(std::span<std::uint8_t> bytes);
    void Decrypt(std::span<std::uint8_t> bytes);

  private:
    std::uint8_t KeyByte() const;
    void Update(std::uint8_t plain);

    std::array<std::uint32_t, 3> keys_{0x12345678, 0x23456789, 0x34567890};
};

}  // namespace bkfd
