/* What a simulated card and a host's process share: the greeting on the socket that stands in for
 * /dev/uio<N>, and the control page beside the BAR.
 *
 * The socket is SOCK_SEQPACKET. On connecting, the card sends one greeting packet with two descriptors:
 * the BAR's memory, then the control page's. Every later packet is a 4-byte interrupt count. Both
 * memories are sealed against resizing, so neither side can make the other fault.
 *
 * Posted writes travel in a queue of one 64-bit word a slot, for any number of writers and one reader.
 * A writer draws a ticket; slot = ticket modulo SLOTS, lap = ticket divided by SLOTS (24 bits are
 * kept). The slot holds EMPTY(lap) until the writer replaces it by FULL(lap, register, value) in one
 * compare-and-swap, and the reader then by EMPTY(lap + 1). A writer that died between ticket and swap
 * leaves an EMPTY slot behind: after SIMULATED_UIO_PATIENCE_NS the reader moves it to the next lap, and
 * a writer that was only slow sees its swap fail and draws another ticket. Both halves of the queue, and
 * why they lose nothing, are in simulated_uio_queue.h. The host reads the register lists once, on mapping.
 */
#ifndef PLATFORM_SIMULATED_UIO_H
#define PLATFORM_SIMULATED_UIO_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define SIMULATED_UIO_MAGIC       0x4B53494Du
#define SIMULATED_UIO_VERSION     1u
#define SIMULATED_UIO_SLOTS       1024u
#define SIMULATED_UIO_REGISTERS   64u
#define SIMULATED_UIO_AWAKE_NS    2000000u  /* the card looks again this long after the last write */
#define SIMULATED_UIO_PATIENCE_NS 20000000u /* after this, a drawn ticket without a word is given up */

struct simulated_uio_greeting {
    uint32_t magic;
    uint32_t version;
    uint32_t bar_bytes;
    uint32_t control_bytes;
};

/* All words are accessed atomically by both sides. */
struct simulated_uio_control {
    uint32_t magic;
    uint32_t version;
    uint32_t bar_bytes;
    uint32_t removed;             /* nonzero: the card was pulled, the host reads all ones */
    uint32_t asleep;              /* 1 while the card waits on `wake` */
    uint32_t wake;                /* futex word (shared); a writer adds 1 and wakes when `asleep` is 1 */
    uint32_t clear_on_one_offset; /* the one register whose bits written as 1 are cleared; 0xFFFFFFFF: none */
    uint32_t posted_count;        /* how many of the next are in use; set before the greeting */
    uint32_t posted_offset[SIMULATED_UIO_REGISTERS]; /* every write of these reaches the card, in order */
    uint32_t reserved[8];
    uint64_t tail; /* next ticket of a writer */
    uint64_t slot[SIMULATED_UIO_SLOTS];
};

#define SIMULATED_UIO_LAP(ticket)   (((ticket) / SIMULATED_UIO_SLOTS) & 0xFFFFFFu)
#define SIMULATED_UIO_EMPTY(ticket) ((uint64_t)SIMULATED_UIO_LAP(ticket) << 40)
#define SIMULATED_UIO_FULL(ticket, index, value)                                                             \
    (SIMULATED_UIO_EMPTY(ticket) | (((uint64_t)(index) + 1u) << 32) | (uint64_t)(uint32_t)(value))

#ifdef __cplusplus
}
#endif
#endif
