// The card in the memory of one of this machine's own UIO devices, for test rigs: a host finds it without a
// tree. The memory outlives the card.
#ifndef CARD_SIMULATOR_PROCESS_UIO_DEVICE_H
#define CARD_SIMULATOR_PROCESS_UIO_DEVICE_H

#include <string>

#include "card_simulator/card.h"

struct uio_server;

struct uio_device_files {
    std::string memory;    // the device's node
    std::string interrupt; // makes the kernel raise the device's interrupt when a 1 is written to it
};

// In place of uio_server_start, and ended by uio_server_stop as well. The memory is zeroed first; a card that
// is removed or ends leaves all ones in it.
bool uio_device_start(uio_server &server, const card_options &options, const uio_device_files &files,
                      std::string *problem);

#endif
