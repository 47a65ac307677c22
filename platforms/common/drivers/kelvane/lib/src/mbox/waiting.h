// Who may wait for whom.
//
// A thread that serves a message holds its mailbox's response mutex while the application's callback runs.
// What that callback calls may need a command mutex, or the answer of another sirane: it waits against the
// order of the locks. Three rules keep such waits from hanging until their limits:
//
// - Whoever waits for long with a mutex held announces it: `holder_waits_for` of what it holds is what it
// wants.
//   A command that awaits its answer waits for the response mutex from its first poll on to its last.
// - A thread that serves a message and would wait for itself at the end of that chain cannot come to its
// turn. It
//   is refused, as after its time-out but at once. Of those in one circle only one is: then the others can go
//   on.
// - All others wait for up to 360 s. They take their locks in order, so that no circle is without one who
// serves.
#ifndef MBOX_WAITING_H
#define MBOX_WAITING_H

#include <cstdint>

#include "kelvane_sync.h"

// The response mutex under which this thread is serving a message, or null.
extern thread_local kelvane_mutex *mbox_mutex_served_here;

// While it lives, the holder of `held` (null: nothing) waits for `wanted`, and so does the mailbox that is
// served here.
class announced_wait {
  public:
    announced_wait(kelvane_mutex *held, kelvane_mutex *wanted);
    ~announced_wait();
    announced_wait(const announced_wait &) = delete;
    announced_wait &operator=(const announced_wait &) = delete;

    // Locks `wanted`. KELVANE_EOK, or as kelvane_mutex_timed_lock with its limit of 360 s or, when refused,
    // with none.
    int32_t lock();

    // Whether it failed because this thread cannot come to its turn.
    bool refused() const
    {
        return refused_;
    }

    // Waits no more, though it lives on.
    void end();

  private:
    bool refuse_if_circular();

    kelvane_mutex *held_;
    kelvane_mutex *wanted_;
    bool refused_ = false;
};

#endif
