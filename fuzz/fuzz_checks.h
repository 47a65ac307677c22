// What every target expects of the library, whatever the bytes.
#ifndef FUZZ_FUZZ_CHECKS_H
#define FUZZ_FUZZ_CHECKS_H

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

// A finding: the program ends where it stands, so that a debugger shows the place.
inline void must(bool holds, const char *what, const char *where)
{
    if (!holds) {
        fprintf(stderr, "FINDING: %s: %s\n", where, what);
        abort();
    }
}

// Whether the documentation knows the code: success, the library's own, or a firmware error word.
inline bool is_documented(int32_t code)
{
    const auto word = static_cast<uint32_t>(code);
    return word == 0 || word == 16 || word == 22 || word == 110 || (word >= 64170 && word <= 64175) ||
           word >= 0x80000001;
}

// An output with guards on either side.
template <typename value_type> struct guarded {
    static constexpr uint32_t GUARD = 0xC0FFEE11;

    uint32_t before[4] = {GUARD, GUARD, GUARD, GUARD};
    value_type value;
    uint32_t behind[4] = {GUARD, GUARD, GUARD, GUARD};

    guarded()
    {
        memset(&value, 0x5A, sizeof value);
    }

    void check(const char *where) const
    {
        for (const uint32_t *guard : {before, behind}) {
            for (int i = 0; i < 4; i++) {
                must(guard[i] == GUARD, "written beyond the output", where);
            }
        }
    }
};

#endif
