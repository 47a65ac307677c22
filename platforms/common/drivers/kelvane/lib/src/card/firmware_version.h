// A version of the firmware, whose age decides what the card understands and how it answers.
#ifndef CARD_FIRMWARE_VERSION_H
#define CARD_FIRMWARE_VERSION_H

#include <compare>
#include <cstdint>

struct firmware_version {
    uint32_t major = 0;
    uint32_t minor = 0;

    // By age. A firmware that gives no version (0.0) counts as the newest.
    friend constexpr auto operator<=>(const firmware_version &a, const firmware_version &b)
    {
        return a.rank() <=> b.rank();
    }
    friend constexpr bool operator==(const firmware_version &, const firmware_version &) = default;

    // As one word of the card's tables: major in the upper half, minor in the lower.
    static constexpr firmware_version from_word(uint32_t word)
    {
        return {word >> 16, word & 0xFFFF};
    }
    constexpr uint32_t to_word() const
    {
        return major << 16 | (minor & 0xFFFF);
    }

  private:
    constexpr uint64_t rank() const
    {
        return (uint64_t{major} << 32 | minor) - 1; // that of 0.0 wraps round to the highest
    }
};

#endif
