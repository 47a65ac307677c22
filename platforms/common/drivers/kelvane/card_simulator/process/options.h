// The command line of card_simulator.
#ifndef CARD_SIMULATOR_PROCESS_OPTIONS_H
#define CARD_SIMULATOR_PROCESS_OPTIONS_H

#include <string>

#include "card_simulator/process/uio_device.h"
#include "card_simulator/state/card_options.h"
#include "kelvane.h"

struct simulator_options {
    card_options card;
    uio_device_files device; // empty: the card makes a device of its own
    std::string host;        // folder of the tree, empty for a new one
    std::string link;
    std::string name = KELVANE_UIO_NAME;
    std::string script;
    std::string verb; // with `send`: the line
    int ready_fd = -1;
    bool send = false;
    bool quiet = false;
    bool exit_with_parent = false;
    bool help = false;
};

// Returns false with the reason in `problem` for a command line that makes no sense.
bool parse_options(int count, char **words, simulator_options *options, std::string *problem);

std::string options_help();

#endif
