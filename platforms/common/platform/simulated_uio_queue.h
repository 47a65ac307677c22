/* The queue of posted writes between a host's process and a simulated card: see simulated_uio.h for
 * what lies in the shared page. Any number of writers, one reader.
 */
#ifndef PLATFORM_SIMULATED_UIO_QUEUE_H
#define PLATFORM_SIMULATED_UIO_QUEUE_H

#include <stdbool.h>
#include <stdint.h>

#include "platform/simulated_uio.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The host's half. Queues one write of the posted register `index` and wakes the card when it sleeps.
 * While the queue is full it waits, without limit: a card that is stopped stops its writers, as a
 * stalled bus would. Returns false, with nothing queued, once `*gone` or the page's `removed` is set.
 * Any thread. */
bool simulated_uio_post(struct simulated_uio_control *control, uint32_t index, uint32_t value,
                        const uint32_t *gone);

/* The card's half: what the one reader knows. Lives with the control page. */
struct simulated_uio_reader {
    struct simulated_uio_control *control;
    uint64_t head;             /* next ticket to take */
    uint64_t missing_since_ns; /* when the card first missed the word of a drawn ticket */
    uint64_t missing_below;    /* the tickets that were drawn by then */
    uint32_t wakes_seen;       /* `wake` as it stood when the last sleep ended */
};

/* For a fresh, zeroed control page. */
void simulated_uio_reader_init(struct simulated_uio_reader *reader, struct simulated_uio_control *control);

/* Takes the oldest write, if there is one. `now_ns` is any clock that never runs backwards; with it a
 * ticket whose writer died is given up after SIMULATED_UIO_PATIENCE_NS. A word that names no posted
 * register is thrown away; the offset is what the shared page says and needs a check like any input. All that
 * the writer stored in the BAR before is visible afterwards. Never blocks. One thread. */
bool simulated_uio_pop(struct simulated_uio_reader *reader, uint64_t now_ns, uint32_t *offset,
                       uint32_t *value);

/* Sleeps until something is queued, or simulated_uio_wake is called, or `timeout_ns` (real time) have
 * passed; UINT64_MAX is no limit. Returns at once when something is queued already or somebody woke the
 * card since its last sleep, and early while a drawn ticket is being waited for. It may also return for
 * no reason: look again, then sleep again. One thread, the one that pops. */
void simulated_uio_sleep(struct simulated_uio_reader *reader, uint64_t timeout_ns);

/* Ends the card's sleep, for what reaches it in other ways than through the queue. Any thread. */
void simulated_uio_wake(struct simulated_uio_control *control);

#ifdef __cplusplus
}
#endif
#endif
