/* Linux UIO devices: find one by name, read its description, open it, map it, wait for its interrupts.
 *
 * All paths go through host_tree.h, so that a simulated device is found by the same code in the same
 * kind of files. Below a host tree dev/uio<N> may be a Unix socket, served by a simulated card: see
 * simulated_uio.h.
 */
#ifndef PLATFORM_UIO_H
#define PLATFORM_UIO_H

#include <stdbool.h>
#include <stdint.h>

#include "platform/mmio.h"

#ifdef __cplusplus
extern "C" {
#endif

enum { UIO_MAPS_MAX = 5, UIO_NAME_BYTES = 64 };

struct uio_memory {
    char name[UIO_NAME_BYTES];
    uint64_t address;
    uint64_t size;   /* bytes */
    uint64_t offset; /* bytes into the first page */
};

struct uio_info {
    int32_t number; /* N of /dev/uio<N> */
    char name[UIO_NAME_BYTES];
    char version[UIO_NAME_BYTES];
    uint64_t event_count;
    uint32_t map_count;
    struct uio_memory maps[UIO_MAPS_MAX];
};

/* The device with the lowest number whose name equals `name`, with its number and name filled in; NULL
 * when there is none, when the tree cannot be read or memory is out, with errno telling which (ENODEV,
 * the error of opendir, ENOMEM). The caller frees it with uio_free. Any thread. */
struct uio_info *uio_find_devices_by_name(const char *name);

/* Fills in version, event count and maps from the device's files. Returns 0, EINVAL for a null
 * `info`, or EIO when the first map's size is missing or unreadable as a number. */
int uio_get_all_info(struct uio_info *info);

void uio_free(struct uio_info *info);

/* Opens the node (an absolute path such as "/dev/uio0") for reading and writing with synchronous
 * writes, below the host tree's root. Returns the descriptor, or -1 with errno set. */
int uio_open(const char *node);

/* Maps `size` bytes of the first map of the open device, which from then on is this process's until it ends.
 * Returns 0 and fills `out`, which then lives as long as the process; or the error: EBUSY, with nothing
 * touched, when another process has it; EINVAL for a size of 0, above 1 GiB, or above what a simulated
 * device has; EPROTO when the other end is no simulated card, ETIMEDOUT when it says nothing for 5
 * seconds, the longest that this blocks; or what mmap says. Once per open device. */
int uio_map(int fd, uint64_t size, struct mmio_mapping *out);

/* The other process that has the open device mapped; 0 when there is none. */
int32_t uio_owner(int fd);

/* Blocks until the device of `fd`, mapped as `mapping`, raises an interrupt. Returns the number of bytes
 * read as the read call does: 4 with the interrupt count in `count`; 0 or -1 (errno) when no interrupt can
 * come any more. */
long uio_wait_interrupt(int fd, const struct mmio_mapping *mapping, uint32_t *count);

#ifdef __cplusplus
}
#endif
#endif
