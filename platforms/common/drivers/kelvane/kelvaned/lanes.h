// Whose turn it is: a queue for each sirane, of which one job runs at a time, and jobs that run while nothing
// else does. Knows jobs by their numbers only. One thread.
#ifndef KELVANED_LANES_H
#define KELVANED_LANES_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

#include "kelvane.h"

constexpr size_t LANE_JOBS_MAX = 256; // that wait, in each

class lanes {
  public:
    // A job of this one stands in all lanes, and begins when it is the first in each.
    static constexpr uint32_t ALONE = KELVANE_SIRANE_COUNT;

    // False when its lane is full.
    bool push(uint64_t job, uint32_t lane);

    // One of the owner's that runs alone, before all that wait, however many they are.
    void push_ahead(uint64_t job);

    // Takes out a job that has not begun; false when it has.
    bool withdraw(uint64_t job);

    // The jobs that begin now.
    std::vector<uint64_t> begin();

    // A job that began has ended.
    void end(uint64_t job);

  private:
    struct waiting {
        uint64_t job;
        bool is_alone;
    };
    struct queue {
        std::deque<waiting> jobs;
        uint64_t running = 0; // 0: none
    };

    bool everything_waits_for(uint64_t job) const;

    std::array<queue, KELVANE_SIRANE_COUNT> lanes_;
};

#endif
