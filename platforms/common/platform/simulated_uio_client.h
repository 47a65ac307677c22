/* The host's half of a simulated card: what a mapping needs beside its memory. See simulated_uio.h. */
#ifndef PLATFORM_SIMULATED_UIO_CLIENT_H
#define PLATFORM_SIMULATED_UIO_CLIENT_H

#include <stdbool.h>
#include <stdint.h>

#include "platform/mmio.h"
#include "platform/simulated_uio.h"

#ifdef __cplusplus
extern "C" {
#endif

enum {
    SIMULATED_PAGE_BYTES = 4096,
    SIMULATED_MAX_BAR_BYTES = 1 << 30,
    SIMULATED_PAGE_WORDS = SIMULATED_MAX_BAR_BYTES / SIMULATED_PAGE_BYTES / 64,
};

struct simulated_mapping {
    struct simulated_uio_control *control;
    uint32_t gone; /* set by the watcher when the card's process hangs up; atomic */
    int socket;    /* the watcher's own descriptor */

    /* Copied from the control page when it was mapped and checked, and never looked up there again. */
    uint32_t clear_on_one_offset;
    uint32_t posted_count;
    uint32_t posted_offset[SIMULATED_UIO_REGISTERS];
    uint64_t special_page[SIMULATED_PAGE_WORDS]; /* bit per page that holds a register as above */

    struct simulated_mapping *next; /* all of the process, for a debugger */
};

/* Takes the greeting and its two memories from the connected socket, and maps `size` bytes of the first.
 * Returns 0; EPROTO for a greeting or a memory that is not what simulated_uio.h tells; ETIMEDOUT when
 * none comes within 5 seconds; EINVAL when the card has less than `size`; or a system call's error.
 * After a failure nothing stays open or mapped. */
int simulated_mapping_attach(int fd, uint64_t size, struct mmio_mapping *out);

/* The card is removed, or its process died. */
static inline bool simulated_mapping_gone(const struct simulated_mapping *mapping)
{
    return __atomic_load_n(&mapping->gone, __ATOMIC_RELAXED) != 0 ||
           __atomic_load_n(&mapping->control->removed, __ATOMIC_RELAXED) != 0;
}

static inline bool simulated_mapping_special(const struct simulated_mapping *mapping, uint32_t offset)
{
    const uint32_t page = offset / SIMULATED_PAGE_BYTES;
    return (mapping->special_page[page / 64] >> (page % 64) & 1) != 0;
}

/* A write to a page that holds a clear-on-one or posted register. */
void simulated_mapping_write_special(struct simulated_mapping *mapping, volatile uint32_t *word,
                                     uint32_t offset, uint32_t value);

#ifdef __cplusplus
}
#endif
#endif
