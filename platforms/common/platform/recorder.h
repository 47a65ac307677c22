/* Records each access to the card and each interrupt in a file, for an engineer far away: recording_layout.h.
 *
 * A process records one card, into one file at a time. An access costs some tens of nanoseconds more; a
 * thread of the recorder's own writes the file every tenth of a second. When it cannot follow, entries are
 * left out and counted. When the file cannot be written any more, one line on standard error says so, and the
 * program goes on without.
 */
#ifndef PLATFORM_RECORDER_H
#define PLATFORM_RECORDER_H

#include <stdbool.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Begins a recording in the file `path`, before uio_map; what that file held is in `path`.1 from then on, in
 * place of what was there. Words that are written in a row from `image_from` on, the offset at which the
 * memory for firmware images begins, are recorded as their count and digest. It ends with recorder_stop or
 * exit. Returns 0 or the error of opening or renaming the file; EBUSY when there is a recording, or another
 * process writes one into this file; EINVAL when `path` is no plain file. Any thread. */
int recorder_start(const char *path, uint32_t image_from);

/* Ends the recording with all that was recorded before; nothing when there is none. Blocks while the rest is
 * written. To be called before _exit. Any thread. */
void recorder_stop(void);

/* Whether mmio and uio are to tell what they do. Any thread. */
bool recorder_is_on(void);

/* One word was read or written; `answered` is false when nothing was there to do it. Do not block. Any
 * thread. */
void recorder_read(uint32_t offset, uint32_t value, bool answered);
void recorder_write(uint32_t offset, uint32_t value, bool answered);

/* The device counted `count` interrupts. */
void recorder_interrupt(uint32_t count);

/* None can come any more: an error number, or 0. */
void recorder_interrupts_ended(int error);

#ifdef __cplusplus
}
#endif
#endif
