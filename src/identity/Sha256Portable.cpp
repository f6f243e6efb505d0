#include "base/Hex.h"
#include "identity/PortableSha256.h"
#include "identity/Sha256Digest.h"

namespace bkfd {

struct Sha256Digest::State {
    PortableSha256 digest;
};

Sha256Digest::Sha256Digest() : state_(std::make_unique<State>()) {}
Sha256Digest::~Sha256Digest() = default;

void Sha256Digest::Add(std::span<const std::uint8_t> bytes) {
    state_->digest.Add(bytes);
}

std::string Sha256Digest::Finish() {
    std::string text;
    AppendHex(text, state_->digest.Finish());
    return text;
}

}  // namespace bkfd
