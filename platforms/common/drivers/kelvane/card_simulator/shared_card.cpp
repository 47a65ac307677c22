#include "card_simulator/shared_card.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "card_simulator/firmware/host_writes.h"
#include "card_simulator/firmware/log_keeping.h"
#include "card_simulator/firmware/restarts.h"

card *card_create_on(const card_options &options, int memory_fd, const card_outlets &outlets)
{
    auto *it = new card;
    const int32_t error = bar_map(it->bar, memory_fd);
    if (error != 0) {
        std::fprintf(stderr, "card_simulator: no memory for the card's BAR: %s\n", std::strerror(error));
        std::abort();
    }
    it->outlets = outlets;
    it->state.images.working = {options.firmware_major, options.firmware_minor};
    it->state.seed = options.seed;
    it->state.client = options.client;
    it->faults.dice = options.seed;
    logs_start(*it);
    firmware_start(*it);
    return it;
}

void card_posted_write(card *card, uint32_t offset, uint32_t value)
{
    const std::lock_guard guard(card->mutex);
    if (!card->bar.removed && bar_posts(offset)) {
        firmware_host_wrote(*card, offset, value);
    }
}
