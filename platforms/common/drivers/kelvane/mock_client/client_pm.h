// The performance report.
#ifndef MOCK_CLIENT_CLIENT_PM_H
#define MOCK_CLIENT_CLIENT_PM_H

#include <cstdint>

// "<device>": configures the device as client_init_device does, then shows the records of its module
// ports and of itself. When the text names no device it only traces what it read. A record that cannot be
// had is reported and not shown.
void client_pm(const char *text, bool asynchronous, int32_t laser_channel, uint32_t traffic_type);

// The record of a network port and that of the module in it.
void client_print_port_pm(int32_t port);

#endif
