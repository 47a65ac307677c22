/* The host's half of a simulated card: its socket, and what a mapping needs beside its memory. See
 * simulated_uio.h. */
#ifndef PLATFORM_SIMULATED_UIO_CLIENT_H
#define PLATFORM_SIMULATED_UIO_CLIENT_H

#include <stdint.h>

#include "platform/mmio.h"
#include "platform/simulated_uio.h"

#ifdef __cplusplus
extern "C" {
#endif

enum {
    SIMULATED_PAGE_BYTES = 4096,
    SIMULATED_BAR_BYTES_MAX = 1 << 30,
    SIMULATED_PAGE_WORDS = SIMULATED_BAR_BYTES_MAX / SIMULATED_PAGE_BYTES / 64,
};

struct simulated_mapping {
    struct simulated_uio_control *control;
    uint32_t gone; /* set by the watcher when the card's process hangs up; accessed atomically */
    int socket;    /* the watcher's own descriptor */

    /* Copied from the control page when it was mapped, checked then, and never read from there again. */
    uint32_t clear_on_one_offset;
    uint32_t posted_count;
    uint32_t posted_offset[SIMULATED_UIO_REGISTERS];
    uint64_t special_page[SIMULATED_PAGE_WORDS]; /* bit per page that holds a posted register */

    struct simulated_mapping *next; /* list of all in the process, for a debugger */
};

/* Connects to one of the card's sockets, of which `node` is the file, opened with O_PATH. Returns the
 * descriptor, or -1 with errno set: ETIMEDOUT when the card has let those who came before wait for 2
 * seconds, the longest that this blocks. */
int simulated_uio_connect(int node);

/* Takes the greeting and its two memories from the connected socket, and maps `size` bytes of the first.
 * Returns 0; EPROTO for a greeting or a memory other than simulated_uio.h describes; ETIMEDOUT when
 * none comes within 5 seconds; EINVAL when the card has less than `size`; or a system call's error.
 * After a failure nothing stays open or mapped. */
int simulated_mapping_attach(int fd, uint64_t size, struct mmio_mapping *out);

/* Takes all counts of interrupts that wait on the socket; the newest one, if any, replaces `count`. */
void simulated_uio_newest_count(int fd, uint32_t *count);

#ifdef __cplusplus
}
#endif
#endif
