/* Who has a device: one process at a time, by a lock that the kernel takes back when that process ends.
 *
 * The lock is one of fcntl's on the device's file, so that its owner can be asked for. It goes with the first
 * descriptor of that file that the process closes: open a device once.
 */
#ifndef PLATFORM_DEVICE_OWNER_H
#define PLATFORM_DEVICE_OWNER_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Makes this process the owner of the file behind `fd`, which is open for writing; it may be already. Returns
 * 0, EBUSY when another process owns it, or what fcntl says. Does not block. Any thread. */
int device_own(int fd);

/* The other process that owns it; 0 when there is none. Any thread. */
int32_t device_owner(int fd);

#ifdef __cplusplus
}
#endif
#endif
