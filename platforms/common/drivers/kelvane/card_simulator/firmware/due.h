// Things that wait for their time: records with a `due_ns` of wait_monotonic's clock.
#ifndef CARD_SIMULATOR_FIRMWARE_DUE_H
#define CARD_SIMULATOR_FIRMWARE_DUE_H

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

#include "card_simulator/state/durations.h"

// Takes out what is due, in the order in which it was put in.
template <typename delayed> std::vector<delayed> take_due(std::vector<delayed> &all, uint64_t now_ns)
{
    std::vector<delayed> due;
    for (delayed &it : all) {
        if (it.due_ns <= now_ns) {
            due.push_back(std::move(it));
        }
    }
    std::erase_if(all, [now_ns](const delayed &it) { return it.due_ns <= now_ns; });
    return due;
}

template <typename delayed> uint64_t earliest_due_ns(const std::vector<delayed> &all)
{
    uint64_t due_ns = NEVER_NS;
    for (const delayed &it : all) {
        due_ns = std::min(due_ns, it.due_ns);
    }
    return due_ns;
}

#endif
