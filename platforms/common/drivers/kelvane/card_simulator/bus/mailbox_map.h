// The card's mailboxes, by their places in the BAR.
#ifndef CARD_SIMULATOR_BUS_MAILBOX_MAP_H
#define CARD_SIMULATOR_BUS_MAILBOX_MAP_H

#include <cstdint>

#include "kelvane_mbox.h"

constexpr uint32_t SIRANE_MAILBOXES[] = {MBOX_COMMAND, MBOX_RESPONSE, MBOX_ALARM, MBOX_PM};
constexpr mbox_registers DAP_REGISTERS = mbox_registers_of(0, MBOX_DAP);
constexpr mbox_registers KEEP_ALIVE_REGISTERS = mbox_registers_of(0, MBOX_KEEP_ALIVE);

#endif
