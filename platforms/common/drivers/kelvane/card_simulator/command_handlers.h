// The commands that this firmware runs. A family of commands is a file of its own that ends in a
// command_family; command_handlers.cpp lists the families.
#ifndef CARD_SIMULATOR_COMMAND_HANDLERS_H
#define CARD_SIMULATOR_COMMAND_HANDLERS_H

#include <cstdint>
#include <span>

#include "card_simulator/card_state.h"
#include "kelvane_mbox.h"

// One command under way. The answer's data start as a copy of the request's: word 0 the handle and, in
// most commands, word 1 the device address.
struct command_exchange {
    card_state &state;
    uint32_t sirane_id; // whose mailbox brought it
    const mbox_data_header &request;
    uint32_t version;          // of the answer's layout; a handler for older firmware lowers it
    std::span<uint32_t> words; // as many as the command's row says
};

struct command_row {
    uint32_t command;
    uint32_t words; // size of the request and of the answer
    uint32_t version;
    int32_t (*run)(command_exchange &exchange); // 0 or an enum kelvane_arm_error
};

using command_family = std::span<const command_row>;

// The command's row, null for one that this firmware refuses.
const command_row *command_row_of(uint32_t command);

// The families.
extern const command_family card_control_commands;

#endif
