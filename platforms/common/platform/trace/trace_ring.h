/* Trace rings: named stores of a fixed size that overwrite their oldest entries.
 *
 * A ring lies in shared memory, so that trace_ring_reader can read it while the process runs and after
 * it died. Any number of threads write at once without a lock. A ring takes memory only as entries are
 * first written; when the shared-memory file system is full it keeps to what it could get.
 */
#ifndef PLATFORM_TRACE_RING_H
#define PLATFORM_TRACE_RING_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

struct trace_ring;

/* How an entry's arguments are laid out. */
#define TRACE_RING_TAG_STRING        0xC04000000C8ull  /* one string: the message */
#define TRACE_RING_TAG_TAGGED_STRING 0xC04000000C9ull  /* one string */
#define TRACE_RING_TAG_STRING_NUMBER 0xC05000000CBull  /* one string, one 32-bit number */
#define TRACE_RING_TAG_TWO_STRINGS   0x1C05000000CAull /* two strings */

/* Makes a ring of `entries` entries in `bytes` bytes of message store: bytes / entries each. Returns
 * NULL with errno set: EINVAL when the name is empty, longer than 31 characters or no plain word, a number
 * is 0, an entry would have less than 16 bytes or more than 64 KiB, or all of them more than 1 GiB; ENOSPC
 * or another error of the file system when there is no memory even for the first entries. The ring lives as
 * long as the process; its memory outlives it until a later start of a process with rings removes it.
 * Any thread. */
struct trace_ring *trace_ring_create(const char *name, uint32_t entries, uint64_t bytes);

/* Writes one entry: the tag's arguments follow `function` (copied, 87 characters of it).
 * Strings are cut to the entry. A null ring takes nothing. Makes no system call and never waits for
 * another writer, except for the first entry of each 64 in the first lap, when their memory is allocated. An
 * entry whose place is still being written by a thread a whole ring behind is dropped and counted. Any
 * thread; not a signal handler. */
void trace_ring_write(struct trace_ring *ring, uint64_t tag, int32_t slot, uint32_t device_address,
                      const char *function, ...);

#ifdef __cplusplus
}
#endif
#endif
