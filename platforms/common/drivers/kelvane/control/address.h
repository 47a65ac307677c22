// Device addresses in words: "board", "sirane/1", "module/3", "host/1.2", or any number, "0xff01ffff".
#ifndef CONTROL_ADDRESS_H
#define CONTROL_ADDRESS_H

#include <string>
#include <string_view>
#include <vector>

#include "kelvane.h"

// False, with the output untouched, for what is none.
bool address_of_words(std::string_view words, kelvane_device_address *address);

// The number for an address that has no words.
std::string words_of_address(kelvane_device_address address);

// Those of all devices, from the board on.
std::vector<std::string> all_address_words();

// The sirane whose queue and limits an address falls under: that of its commands, 0 for the board. Beyond the
// last one for an address that names none.
uint32_t sirane_serving(kelvane_device_address address);

#endif
