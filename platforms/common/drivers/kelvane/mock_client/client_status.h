// The status report: control and status registers of the siranes.
#ifndef MOCK_CLIENT_CLIENT_STATUS_H
#define MOCK_CLIENT_CLIENT_STATUS_H

#include <cstdint>

#include "kelvane.h"

// Shows the record of each sirane; one that cannot be had is reported, and the next one follows.
// Always 0.
int32_t client_dump_status_info();

// All but the record's last two words.
void client_print_subsystem_status(kelvane_subsystem_status_t status);

#endif
