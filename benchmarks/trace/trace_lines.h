// The line that the figures of the log write: the one that the library writes most, an access to the card.
#ifndef BENCHMARKS_TRACE_LINES_H
#define BENCHMARKS_TRACE_LINES_H

#include "core/trace/trace.h"

// Ready to be measured: the first lap through a ring takes memory from the system, later ones do not.
void start_trace();

inline void trace_line(unsigned turn)
{
    TRACE(LEVEL_REG, NO_HANDLE, NO_ADDRESS, "offset 0x%08x value 0x%08x ", 0x01C00000 + 4 * turn, turn);
}

inline void trace_lines(unsigned turns)
{
    for (unsigned turn = 0; turn < turns; turn++) {
        trace_line(turn);
    }
}

#endif
