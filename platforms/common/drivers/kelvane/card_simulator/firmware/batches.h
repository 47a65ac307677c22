// Performance batches: a whole record of a subscribed sirane at each end of its interval.
#ifndef CARD_SIMULATOR_FIRMWARE_BATCHES_H
#define CARD_SIMULATOR_FIRMWARE_BATCHES_H

#include <cstdint>

struct card;

void batches_send_due(card &card, uint64_t now_ns);
uint64_t batches_next_due(const card &card); // NEVER_NS without a subscription

#endif
