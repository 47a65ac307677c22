// The watch over the firmware, as the log names its verdict.
#ifndef DEVICE_KEEP_ALIVE_SWITCH_H
#define DEVICE_KEEP_ALIVE_SWITCH_H

#include <cstdint>

// Padded to one width.
const char *keep_alive_status_name(uint32_t keep_alive_status);

#endif
