#ifndef KELVANECTL_VALUES_H
#define KELVANECTL_VALUES_H

#include <string>
#include <vector>

#include "control/operations.h"

// What `get` reads of a device at the address, or `set` sets there; any device where it is null.
std::vector<const operation *> gettable(const kelvane_device_address *address);
std::vector<const operation *> settable(const kelvane_device_address *address);

#endif
