// A version of the firmware. Its age decides what the card understands and how it answers.
#ifndef CARD_FIRMWARE_VERSION_H
#define CARD_FIRMWARE_VERSION_H

#include <compare>
#include <cstdint>

struct firmware_version {
    uint32_t major = 0;
    uint32_t minor = 0;

    // By age; 0.0 is the oldest.
    friend constexpr auto operator<=>(const firmware_version &, const firmware_version &) = default;

    // Whether this firmware has what came with `first`. One that gives no version (0.0) passes for the
    // newest.
    constexpr bool is_at_least(firmware_version first) const
    {
        return *this == firmware_version{} || *this >= first;
    }

    // As one word of the card's tables: major in the upper half, minor in the lower.
    static constexpr firmware_version from_word(uint32_t word)
    {
        return {word >> 16, word & 0xFFFF};
    }
    constexpr uint32_t to_word() const
    {
        return major << 16 | (minor & 0xFFFF);
    }
};

#endif
