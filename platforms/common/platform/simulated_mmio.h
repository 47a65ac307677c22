/* Access to the BAR of a simulated card. A store also does what plain memory cannot: it clears the bits
 * written as 1 in a clear-on-one register, and passes each write of a posted register on to the card in
 * order. Only mmio.cpp uses it.
 */
#ifndef PLATFORM_SIMULATED_MMIO_H
#define PLATFORM_SIMULATED_MMIO_H

#include <stdbool.h>
#include <stdint.h>

#include "platform/mmio.h"

#ifdef __cplusplus
extern "C" {
#endif

/* False beyond the mapping, or when the card was removed or its process died. Any thread. */
bool simulated_mmio_answers(const struct mmio_mapping *mapping, uint32_t word);

/* The word with this index, of a card that answers. Never fails. Any thread. */
uint32_t simulated_mmio_read32(const struct mmio_mapping *mapping, uint32_t word);

/* Stores the word, on a card that answers. Waits while the card has not
 * caught up with the posted writes. Any thread. */
void simulated_mmio_write32(const struct mmio_mapping *mapping, uint32_t word, uint32_t value);

#ifdef __cplusplus
}
#endif
#endif
