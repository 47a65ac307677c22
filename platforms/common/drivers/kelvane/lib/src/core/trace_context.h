// What a line of the log is about.
#ifndef CORE_TRACE_CONTEXT_H
#define CORE_TRACE_CONTEXT_H

#include "kelvane.h"
#include "kelvane_trace_defs.h"

struct trace_context {
    kelvane_handle handle;
    kelvane_device_address address;
};

#define TRACE_AT(level, at, ...) TRACE(level, (at).handle, (at).address, __VA_ARGS__)

// Under the name of the operation on whose behalf the line is written.
#define TRACE_AT_AS(function, level, at, ...)                                                                \
    TRACE_AS(function, level, (at).handle, (at).address, __VA_ARGS__)

#endif
