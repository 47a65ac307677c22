#include "card_simulator/card.h"

#include "card_simulator/console/console.h"
#include "card_simulator/firmware/host_writes.h"
#include "card_simulator/firmware/loop.h"
#include "card_simulator/firmware/notices.h"
#include "card_simulator/shared_card.h"
#include "card_simulator/state/measurements.h"

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

int32_t card_verb(card *card, const char *line, std::string *answer)
{
    const std::lock_guard guard(card->mutex);
    const int32_t result = console_run(*card, line, answer);
    measurements_follow(card->state);
    notices_follow(*card);
    return result;
}
