// The alarm reports. Each reads one word, shows its bits and returns it. A word that cannot be read is
// reported and shown all the same: as 0, or as the firmware sent it with its error.
#ifndef MOCK_CLIENT_CLIENT_ALARMS_H
#define MOCK_CLIENT_CLIENT_ALARMS_H

#include <cstdint>

uint32_t client_print_network_alarms(int32_t device);
uint32_t client_print_generic_alarms(int32_t device);

// Shows the generic alarm word of the module's port with the meanings of a module's bits, although its
// check line names the module's own word.
uint32_t client_print_xpm2_alarms(int32_t device);

#endif
