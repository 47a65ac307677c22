// What the host writes: states of mailboxes, tokens, interrupt enables, the reset trigger.
//
// H is the state register that the host writes, F the one that it reads. The firmware never shows 0 or
// a value that is no state once it is up; publishes in the order data, header, F = 4, interrupt source,
// pending bit, interrupt; and never overwrites a message that it offered.
#ifndef CARD_SIMULATOR_FIRMWARE_HOST_WRITES_H
#define CARD_SIMULATOR_FIRMWARE_HOST_WRITES_H

#include <cstdint>

struct card;

// The host wrote a posted register.
void firmware_host_wrote(card &card, uint32_t offset, uint32_t value);

#endif
