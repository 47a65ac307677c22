#include "mbox/waiting.h"

#include <cerrno>

#include "core/mutex.h"
#include "platform/thread.h"
#include "platform/wait.h"

thread_local kelvane_mutex *mbox_mutex_served_here;

namespace {

constexpr uint64_t LOOK_EVERY_NS = 1000000; // whether the chain has closed meanwhile
constexpr uint32_t CHAIN_LINKS_MAX = 16;    // more than there are command and response mutexes

pthread_mutex_t one_refusal_at_a_time = PTHREAD_MUTEX_INITIALIZER;

void announce(kelvane_mutex *held, const kelvane_mutex *wanted)
{
    if (held != nullptr) {
        held->holder_waits_for.store(wanted, std::memory_order_release);
    }
}

bool leads_to(const kelvane_mutex *from, const kelvane_mutex *to)
{
    for (uint32_t i = 0; from != nullptr && i < CHAIN_LINKS_MAX; i++) {
        if (from == to) {
            return true;
        }
        from = from->holder_waits_for.load(std::memory_order_acquire);
    }
    return false;
}

// As kelvane_mutex_timed_lock, for a moment and without a line in the log. ETIMEDOUT when it is taken.
int lock_shortly(kelvane_mutex *mutex)
{
    timespec deadline{};
    int rc = wait_realtime(&deadline);
    if (rc == 0) {
        deadline.tv_nsec += static_cast<long>(LOOK_EVERY_NS);
        deadline.tv_sec += deadline.tv_nsec / static_cast<long>(WAIT_NS_PER_S);
        deadline.tv_nsec %= static_cast<long>(WAIT_NS_PER_S);
        rc = thread_timed_lock(&mutex->lock.lock, &deadline, __func__, __LINE__);
    }
    if (rc == 0) {
        mutex->lockingTID.store(thread_kernel_id(), std::memory_order_relaxed);
    }
    return rc;
}

} // namespace

announced_wait::announced_wait(kelvane_mutex *held, kelvane_mutex *wanted) : held_(held), wanted_(wanted)
{
    announce(held_, wanted_);
    announce(mbox_mutex_served_here, wanted_);
}

announced_wait::~announced_wait()
{
    end();
}

void announced_wait::end()
{
    announce(held_, nullptr);
    announce(mbox_mutex_served_here, nullptr);
}

bool announced_wait::refuse_if_circular()
{
    pthread_mutex_lock(&one_refusal_at_a_time);
    refused_ = leads_to(wanted_, mbox_mutex_served_here);
    if (refused_) {
        end(); // the next one that looks finds the circle open
    }
    pthread_mutex_unlock(&one_refusal_at_a_time);
    return refused_;
}

int32_t announced_wait::lock()
{
    if (mbox_mutex_served_here == nullptr) {
        return kelvane_mutex_timed_lock(wanted_, LOCK_LIMIT_SECONDS, 0);
    }
    const uint64_t end_ns = wait_monotonic() + LOCK_LIMIT_SECONDS * WAIT_NS_PER_S;
    while (!refuse_if_circular()) {
        const int rc = lock_shortly(wanted_);
        if (rc == 0) {
            return KELVANE_EOK;
        }
        if (rc != ETIMEDOUT || wait_monotonic() >= end_ns) {
            break; // what it comes to is said below
        }
    }
    return kelvane_mutex_timed_lock(wanted_, 0, 0);
}
