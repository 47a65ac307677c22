// The names of the firmware's source modules, which coded rows of its log carry by number.
#ifndef FIRMWARE_LOG_SOURCE_MODULES_H
#define FIRMWARE_LOG_SOURCE_MODULES_H

#include <cstdint>

struct source_module {
    uint64_t number; // its place in the table
    const char *name;
};
static_assert(sizeof(source_module) == 16);

constexpr uint32_t SOURCE_MODULES = 48;
extern const source_module file_list[SOURCE_MODULES];

#endif
