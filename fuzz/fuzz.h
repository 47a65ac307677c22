// What the targets have in common.
#ifndef FUZZ_FUZZ_H
#define FUZZ_FUZZ_H

#include <cstdint>
#include <cstdio>
#include <cstdlib>

// A finding: the program ends where it stands, so that a debugger shows the place.
inline void must(bool holds, const char *what, const char *where)
{
    if (!holds) {
        fprintf(stderr, "FINDING: %s: %s\n", where, what);
        abort();
    }
}

// The bytes of one input, taken one after the other. Behind their end there are zeros for ever, which are
// nothing out of the ordinary.
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
        uint32_t value = byte();
        value |= static_cast<uint32_t>(byte()) << 8;
        value |= static_cast<uint32_t>(byte()) << 16;
        return value | static_cast<uint32_t>(byte()) << 24;
    }

    template <typename row_type, size_t count> row_type one_of(const row_type (&rows)[count])
    {
        return rows[byte() % count];
    }
};

#endif
