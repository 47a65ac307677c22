#include "core/arm_errors.h"

#include "kelvane.h"
#include "kelvane_trace_defs.h"

#define ARM_ERROR_ROW(name, low_31_bits)          {static_cast<uint32_t>(name), #name},
#define ARM_ERROR_ROW_WITH_TAB(name, low_31_bits) {static_cast<uint32_t>(name), #name "\t"},

// A word with two names is told by the first.
const arm_error_row arm_errors_array[ARM_ERRORS_COUNT] = {
    KELVANE_ARM_ERRORS(ARM_ERROR_ROW, ARM_ERROR_ROW_WITH_TAB) // a row brings its comma along
    {ARM_ERRORS_END, "UNKNOWN"},
};

const char *kelvane_arm_error_to_string(int32_t code)
{
    const arm_error_row *row = arm_errors_array;
    while (row->code != static_cast<uint32_t>(code) && row->code != ARM_ERRORS_END) {
        row++;
    }
    return row->name;
}

int32_t kelvane_dump_arm_error(kelvane_handle handle, uint32_t code)
{
    TRACE(LEVEL_ERROR, handle, NO_ADDRESS, "ARM ERR 0x%x %s %u ", code,
          kelvane_arm_error_to_string(static_cast<int32_t>(code)), code);
    return KELVANE_EOK;
}
