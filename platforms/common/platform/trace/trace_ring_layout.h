/* What lies in a ring's file: a header of one page, then the entries.
 *
 * The file grows with its first lap, so its size shows how many entries it ever had. A writer draws a
 * ticket from `next` and writes the entry at ticket modulo capacity. `sequence` of an entry is 0 when it
 * was never written, 2 * ticket + 1 while it is written and 2 * ticket + 2 when it is complete.
 *
 * The tag's arguments are in the message store one after the other, each at a multiple of 8 bytes: a
 * string with its closing 0, a number as 4 bytes of the host's order.
 */
#ifndef PLATFORM_TRACE_RING_LAYOUT_H
#define PLATFORM_TRACE_RING_LAYOUT_H

#include <stdint.h>

#define TRACE_RING_MAGIC   0x474E49525F4D564Bull
#define TRACE_RING_VERSION 1u

enum {
    TRACE_RING_HEADER_BYTES = 4096,
    TRACE_RING_NAME_BYTES = 32,
    TRACE_RING_FUNCTION_BYTES = 88,
    TRACE_RING_MESSAGE_BYTES_MIN = 16,
    TRACE_RING_MESSAGE_BYTES_MAX = 65536,
    TRACE_RING_BYTES_MAX = 1 << 30, /* of all entries */
};

struct trace_ring_header {
    uint64_t magic; /* written last */
    uint32_t version;
    uint32_t entry_bytes; /* the record below and its message store */
    uint32_t message_bytes;
    uint32_t entries;
    int32_t pid;
    uint32_t reserved;
    uint64_t process_start_ns; /* when the process made its first ring; the same in all of its rings */
    char name[TRACE_RING_NAME_BYTES];
    char program[16];
    uint64_t reserved_words[5];

    /* Its own cache line: every write changes it. */
    uint64_t next;    /* ticket of the next entry */
    uint64_t last_ns; /* wall clock of about the last entry */
    uint64_t reserved_line[6];

    uint32_t capacity; /* entries, or fewer when the file system was full */
    uint32_t reserved_word;
    uint64_t dropped;
};

struct trace_ring_entry {
    uint64_t sequence;
    uint64_t time_ns; /* wall clock since 1970, 0 when there was none */
    uint64_t tag;
    int32_t slot;
    uint32_t device_address;
    int32_t thread;  /* kernel thread id */
    uint32_t length; /* bytes used of the message store */
    char function[TRACE_RING_FUNCTION_BYTES];
};

#ifdef __cplusplus
static_assert(sizeof(trace_ring_header) == 208);
static_assert(__builtin_offsetof(trace_ring_header, next) == 128);
static_assert(__builtin_offsetof(trace_ring_header, capacity) == 192);
static_assert(sizeof(trace_ring_entry) == 128);
static_assert(__builtin_offsetof(trace_ring_entry, function) == 40);
#endif
#endif
