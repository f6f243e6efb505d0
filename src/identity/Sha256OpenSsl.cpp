#include <openssl/evp.h>

#include <array>

#include "base/Hex.h"
#include "identity/Sha256Digest.h"

namespace bkfd {

struct Sha256Digest::State {
    std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context{EVP_MD_CTX_new(),
                                                                    EVP_MD_CTX_free};
    bool isRight =
        context != nullptr && EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr) == 1;
};

Sha256Digest::Sha256Digest() : state_(std::make_unique<State>()) {}
Sha256Digest::~Sha256Digest() = default;

void Sha256Digest::Add(std::span<const std::uint8_t> bytes) {
    state_->isRight =
        state_->isRight && EVP_DigestUpdate(state_->context.get(), bytes.data(), bytes.size()) == 1;
}

std::string Sha256Digest::Finish() {
    std::array<std::uint8_t, EVP_MAX_MD_SIZE> hash;
    unsigned length = 0;
    std::string text;
    if (!state_->isRight || EVP_DigestFinal_ex(state_->context.get(), hash.data(), &length) != 1) {
        return text;
    }
    AppendHex(text, {hash.data(), length});
    return text;
}

}  // namespace bkfd
