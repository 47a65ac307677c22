/* One 32-bit load, one 32-bit store: the only way anyone touches a mapped BAR.
 *
 * On a device an access is one test and one volatile load or store. On a simulated card it
 * also does what plain memory cannot: see simulated_mmio.h. On either it is recorded if recorder.h was told
 * to before the mapping was made. Offsets are in bytes and multiples of 4.
 */
#ifndef PLATFORM_MMIO_H
#define PLATFORM_MMIO_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define MMIO_ALL_ONES 0xFFFFFFFFu /* what the bus gives where nothing answers */

struct simulated_mapping; /* the platform's own */

struct mmio_mapping {
    volatile uint32_t *base;
    uint32_t size_bytes;
    uint32_t device_words;               /* what a plain access reaches; 0 on a simulated card, or recorded */
    struct simulated_mapping *simulated; /* NULL on a device */
};

/* The word at `offset`. All ones beyond the mapping, at an offset that is no multiple of 4, or from a
 * simulated card that was removed or whose process died: what the bus gives. Never fails. Any thread. */
uint32_t mmio_read32(const struct mmio_mapping *mapping, uint32_t offset);

/* Stores the word; beyond the mapping, or on a card that is gone, nothing happens. May wait for a
 * simulated card that is slow in taking posted writes. Any thread. */
void mmio_write32(const struct mmio_mapping *mapping, uint32_t offset, uint32_t value);

#ifdef __cplusplus
}
#endif
#endif
