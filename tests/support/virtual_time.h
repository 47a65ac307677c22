// Time for a test on one thread: a sleep advances the clock and returns, a lock that is held elsewhere
// runs into its deadline at once.
#ifndef TESTS_SUPPORT_VIRTUAL_TIME_H
#define TESTS_SUPPORT_VIRTUAL_TIME_H

#include <functional>
#include <utility>

#include "platform/wait.h"

class virtual_time {
  public:
    virtual_time(); // takes the place of the system's time until destroyed
    ~virtual_time();
    virtual_time(const virtual_time &) = delete;

    void advance(uint64_t nanoseconds)
    {
        now_ += nanoseconds;
    }
    uint64_t now() const // nanoseconds slept and advanced so far
    {
        return now_;
    }
    uint64_t sleeps() const
    {
        return sleeps_;
    }
    void fail_realtime_with(int error) // 0 lets the wall clock work again
    {
        realtime_error_ = error;
    }
    // What happens elsewhere while the thread sleeps; called after the clock has advanced.
    void on_sleep(std::function<void()> hook)
    {
        hook_ = std::move(hook);
    }

  private:
    wait_source source_;
    uint64_t now_ = 0;
    uint64_t sleeps_ = 0;
    int realtime_error_ = 0;
    std::function<void()> hook_;
};

#endif
