// Time for a test on one thread: a sleep advances the clock and returns, a lock that is held elsewhere
// runs into its deadline at once.
#ifndef TESTS_SUPPORT_VIRTUAL_TIME_H
#define TESTS_SUPPORT_VIRTUAL_TIME_H

#include <cstdint>
#include <functional>

#include "platform/wait.h"

class virtual_time {
  public:
    virtual_time(); // takes the place of the system's time until destroyed
    ~virtual_time();
    virtual_time(const virtual_time &) = delete;
    virtual_time &operator=(const virtual_time &) = delete;

    void advance(uint64_t nanoseconds);
    uint64_t now() const; // nanoseconds slept and advanced so far
    uint64_t sleeps() const;
    void fail_realtime_with(int error); // 0 lets the wall clock work again

    // What happens elsewhere while the thread sleeps; called after the clock has advanced.
    void on_sleep(std::function<void()> hook);

  private:
    wait_source source_;
    uint64_t now_ = 0;
    uint64_t sleeps_ = 0;
    int realtime_error_ = 0;
    std::function<void()> hook_;
};

#endif
