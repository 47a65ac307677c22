// The bytes of one input, taken one after the other. Behind their end there are zeros for ever, which every
// target reads as "nothing out of the ordinary".
#ifndef FUZZ_FUZZ_INPUT_H
#define FUZZ_FUZZ_INPUT_H

#include <cstddef>
#include <cstdint>

struct fuzz_input {
    const uint8_t *next;
    const uint8_t *end;

    bool is_empty() const
    {
        return next == end;
    }

    uint8_t byte()
    {
        return is_empty() ? 0 : *next++;
    }

    uint32_t word() // lowest byte first
    {
        uint32_t value = 0;
        for (uint32_t shift = 0; shift < 32; shift += 8) {
            value |= static_cast<uint32_t>(byte()) << shift;
        }
        return value;
    }
};

#endif
