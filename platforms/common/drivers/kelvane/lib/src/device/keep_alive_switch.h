// The names that the log has for the verdict of the watch over the firmware.
#ifndef DEVICE_KEEP_ALIVE_SWITCH_H
#define DEVICE_KEEP_ALIVE_SWITCH_H

#include <cstdint>

// Padded to one width.
const char *keep_alive_status_name(uint32_t keep_alive_status);

#endif
