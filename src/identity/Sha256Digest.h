#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace bkfd {

/// SHA-256 of what comes piece by piece: by the system's library where there is one, by
/// `PortableSha256` on Windows.
class Sha256Digest {
  public:
    Sha256Digest();
    ~Sha256Digest();
    Sha256Digest(const Sha256Digest&) = delete;
    Sha256Digest& operator=(const Sha256Digest&) = delete;

    void Add(std::span<const std::uint8_t> bytes);
    /// In lower-case hexadecimal, empty if it can't be made; nothing may be added behind it.
    std::string Finish();

  private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace bkfd
