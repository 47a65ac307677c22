// The firmware's error words and their names.
#ifndef CORE_ARM_ERRORS_H
#define CORE_ARM_ERRORS_H

#include <cstdint>

#include "kelvane.h"

struct arm_error_row {
    uint32_t code;
    const char *name;
};

constexpr uint32_t ARM_ERRORS_COUNT = 171;
constexpr uint32_t ARM_ERRORS_END = 0xFFFFFFFF; // code of the last row, which names all unknown words

extern const arm_error_row arm_errors_array[ARM_ERRORS_COUNT];

// Logs the word with its name; returns 0.
int32_t kelvane_dump_arm_error(kelvane_handle handle, uint32_t code);

#endif
