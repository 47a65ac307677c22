// The number of a device in an argument text.
#ifndef MOCK_CLIENT_DEVICE_NUMBER_H
#define MOCK_CLIENT_DEVICE_NUMBER_H

#include <cstdint>

// Cuts the next token off `rest`, as next_token does, and gives its number, which need not be that of a
// device. False when there is no token, after saying so.
bool next_device_number(const char *&rest, int32_t &device);

#endif
