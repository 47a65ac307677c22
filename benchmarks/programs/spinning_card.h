// The simulated card's firmware in a process that never sleeps, the fastest that a card in another process
// can be: what the card that does sleep is compared with.
#ifndef BENCHMARKS_SPINNING_CARD_H
#define BENCHMARKS_SPINNING_CARD_H

#include <sys/types.h>

#include "platform/mmio.h"

// Starts it and maps it. It takes a whole processor until it is stopped by a signal; it ends with this
// process.
pid_t spinning_card_start(mmio_mapping *out);

#endif
