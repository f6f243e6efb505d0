#include "formats/Marvin32.h"

#include <bit>

namespace bkfd {
namespace {

struct State {
    std::uint32_t low = 0x7A4E55C5;
    std::uint32_t high = 0x82EF4D88;

    void Mix(std::uint32_t value) {
        low += value;
        high ^= low;
        low = std::rotl(low, 20) + high;
        high = std::rotl(high, 9) ^ low;
        low = std::rotl(low, 27) + high;
        high = std::rotl(high, 19);
    }
};

}  // namespace

std::uint64_t HiveLogHash(ByteView bytes) {
    State state;
    std::size_t at = 0;
    for (; bytes.size() - at >= 4; at += 4) state.Mix(Read32(bytes, at));
    std::uint32_t rest = 0x80;
    for (std::size_t i = bytes.size(); i > at; --i) rest = rest << 8 | bytes[i - 1];
    state.Mix(rest);
    state.Mix(0);
    return std::uint64_t{state.high} << 32 | state.low;
}

}  // namespace bkfd
