#include "platform/word_digest.h"

#include <bit>

namespace {

constexpr std::array<uint32_t, 64> ADDENDS = {
    0xD76AA478, 0xE8C7B756, 0x242070DB, 0xC1BDCEEE, 0xF57C0FAF, 0x4787C62A, 0xA8304613, 0xFD469501,
    0x698098D8, 0x8B44F7AF, 0xFFFF5BB1, 0x895CD7BE, 0x6B901122, 0xFD987193, 0xA679438E, 0x49B40821,
    0xF61E2562, 0xC040B340, 0x265E5A51, 0xE9B6C7AA, 0xD62F105D, 0x02441453, 0xD8A1E681, 0xE7D3FBC8,
    0x21E1CDE6, 0xC33707D6, 0xF4D50D87, 0x455A14ED, 0xA9E3E905, 0xFCEFA3F8, 0x676F02D9, 0x8D2A4C8A,
    0xFFFA3942, 0x8771F681, 0x6D9D6122, 0xFDE5380C, 0xA4BEEA44, 0x4BDECFA9, 0xF6BB4B60, 0xBEBFBC70,
    0x289B7EC6, 0xEAA127FA, 0xD4EF3085, 0x04881D05, 0xD9D4D039, 0xE6DB99E5, 0x1FA27CF8, 0xC4AC5665,
    0xF4292244, 0x432AFF97, 0xAB9423A7, 0xFC93A039, 0x655B59C3, 0x8F0CCC92, 0xFFEFF47D, 0x85845DD1,
    0x6FA87E4F, 0xFE2CE6E0, 0xA3014314, 0x4E0811A1, 0xF7537E82, 0xBD3AF235, 0x2AD7D2BB, 0xEB86D391};

// Of the four rounds: how far a step turns its sum, and which word it takes.
constexpr int TURNS[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};
constexpr uint32_t WORD_STEP[4] = {1, 5, 3, 7}, WORD_FIRST[4] = {0, 1, 5, 0};

uint32_t choose(uint32_t round, uint32_t b, uint32_t c, uint32_t d)
{
    switch (round) {
    case 0:
        return (b & c) | (~b & d);
    case 1:
        return (b & d) | (c & ~d);
    case 2:
        return b ^ c ^ d;
    default:
        return c ^ (b | ~d);
    }
}

} // namespace

void word_digest::mix()
{
    auto [a, b, c, d] = state_;
    for (uint32_t step = 0; step < 64; step++) {
        const uint32_t round = step / 16;
        const uint32_t word = block_[(WORD_STEP[round] * step + WORD_FIRST[round]) % 16];
        const uint32_t sum = a + choose(round, b, c, d) + ADDENDS[step] + word;
        a = d;
        d = c;
        c = b;
        b += std::rotl(sum, TURNS[round][step % 4]);
    }
    state_ = {state_[0] + a, state_[1] + b, state_[2] + c, state_[3] + d};
}

std::array<uint32_t, 4> word_digest::finish() const
{
    word_digest last = *this;
    const uint64_t bits = words_ * 32;
    last.add(0x80);
    while (last.words_ % 16 != 14) {
        last.add(0);
    }
    last.add(static_cast<uint32_t>(bits));
    last.add(static_cast<uint32_t>(bits >> 32));
    return last.state_;
}
