// What every target expects of the library, whatever the bytes.
#ifndef FUZZ_FUZZ_CHECKS_H
#define FUZZ_FUZZ_CHECKS_H

#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "support/promises.h"

// A finding: the program ends where it stands, so that a debugger shows the place.
inline void must(bool holds, const char *what, const char *where)
{
    if (!holds) {
        fprintf(stderr, "FINDING: %s: %s\n", where, what);
        abort();
    }
}

#endif
