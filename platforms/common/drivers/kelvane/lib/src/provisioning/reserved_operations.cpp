// Reserved operations: each writes its line in the log and returns KELVANE_EOK.
#include "core/trace/trace.h"
#include "kelvane.h"

namespace {

int32_t stubbed(const char *function)
{
    TRACE_AS(function, LEVEL_INFO, NO_HANDLE, NO_ADDRESS, "stubbed ");
    return KELVANE_EOK;
}

} // namespace

#define DEFINE_SETTER(name)                                                                                  \
    int32_t name(uint32_t, uint32_t, uint32_t, uint64_t, uint32_t)                                           \
    {                                                                                                        \
        return stubbed(__func__);                                                                            \
    }
#define DEFINE_OPERATION(name)                                                                               \
    int32_t name(uint32_t, uint32_t, ...)                                                                    \
    {                                                                                                        \
        return stubbed(__func__);                                                                            \
    }

KELVANE_RESERVED_SETTERS(DEFINE_SETTER)
KELVANE_RESERVED_OPERATIONS(DEFINE_OPERATION)
