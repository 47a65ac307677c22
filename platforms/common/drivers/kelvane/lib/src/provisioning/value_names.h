// Provisioned values as the log names them.
#ifndef PROVISIONING_VALUE_NAMES_H
#define PROVISIONING_VALUE_NAMES_H

#include <cstdint>

// A blank at each end distinguishes an unknown value from a true KELVANE_TRAFFIC_TYPE_NONE.
const char *traffic_type_name(uint32_t traffic_type);

// Padded, so that columns stay straight.
const char *led_name(uint32_t led);

#endif
