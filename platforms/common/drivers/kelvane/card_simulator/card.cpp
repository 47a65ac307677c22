#include "card_simulator/card.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "card_simulator/console/console.h"
#include "card_simulator/firmware/card_record.h"
#include "card_simulator/state/measurements.h"

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

card *card_create(const card_options &options)
{
    return card_create_on(options, -1, card_outlets{});
}

void card_destroy(card *card)
{
    bar_unmap(card->bar);
    delete card;
}

uint32_t card_host_read(card *card, uint32_t offset)
{
    return bar_host_read(card->bar, offset);
}

void card_host_write(card *card, uint32_t offset, uint32_t value)
{
    const std::lock_guard guard(card->mutex);
    if (bar_host_write(card->bar, offset, value)) {
        firmware_host_wrote(*card, offset, value);
    }
}

void card_posted_write(card *card, uint32_t offset, uint32_t value)
{
    const std::lock_guard guard(card->mutex);
    if (!card->bar.removed && bar_posts(offset)) {
        firmware_host_wrote(*card, offset, value);
    }
}

void card_step(card *card)
{
    const std::lock_guard guard(card->mutex);
    firmware_step(*card);
}

uint64_t card_next_due(card *card)
{
    const std::lock_guard guard(card->mutex);
    return firmware_next_due(*card);
}

bool card_take_interrupt(card *card)
{
    uint32_t untaken = card->untaken;
    while (untaken != 0 && !card->untaken.compare_exchange_weak(untaken, untaken - 1)) {
    }
    return untaken != 0;
}

void card_raise_interrupts(card &card, uint32_t events)
{
    for (uint32_t i = 0; i < events; i++) {
        card.interrupts++;
        card.untaken++;
        if (card.outlets.interrupt != nullptr) {
            card.outlets.interrupt(card.outlets.self);
        }
    }
}

void card_remove(card &card)
{
    card.bar.removed = true;
    if (card.outlets.removed != nullptr) {
        card.outlets.removed(card.outlets.self, true);
    }
}

void card_insert(card &card)
{
    bar_clear(card.bar);
    card.firmware.interrupts = {};
    firmware_restart(card, true);
    card.bar.removed = false;
    if (card.outlets.removed != nullptr) {
        card.outlets.removed(card.outlets.self, false);
    }
}

int32_t card_verb(card *card, const char *line, std::string *answer)
{
    const std::lock_guard guard(card->mutex);
    const int32_t result = console_run(*card, line, answer);
    measurements_follow(card->state);
    firmware_follow(*card);
    return result;
}
