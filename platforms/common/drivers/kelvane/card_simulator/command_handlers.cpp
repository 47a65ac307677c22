#include "card_simulator/command_handlers.h"

const command_row *command_row_of(uint32_t command)
{
    const command_family families[] = {
        card_control_commands,
    };
    for (const command_family &family : families) {
        for (const command_row &row : family) {
            if (row.command == command) {
                return &row;
            }
        }
    }
    return nullptr;
}
