#include "kelvaned/lanes.h"

#include <algorithm>

bool lanes::push(uint64_t job, uint32_t lane)
{
    const auto takes_it = [lane](uint32_t it) { return lane == ALONE || it == lane; };
    for (uint32_t it = 0; it < lanes_.size(); it++) {
        if (takes_it(it) && lanes_[it].jobs.size() >= LANE_JOBS_MAX) {
            return false;
        }
    }
    for (uint32_t it = 0; it < lanes_.size(); it++) {
        if (takes_it(it)) {
            lanes_[it].jobs.push_back({job, lane == ALONE});
        }
    }
    return true;
}

void lanes::push_ahead(uint64_t job)
{
    for (queue &it : lanes_) {
        it.jobs.push_front({job, true});
    }
}

bool lanes::withdraw(uint64_t job)
{
    size_t taken = 0;
    for (queue &it : lanes_) {
        taken += std::erase_if(it.jobs, [job](const waiting &one) { return one.job == job; });
    }
    return taken > 0;
}

bool lanes::everything_waits_for(uint64_t job) const
{
    return std::ranges::all_of(lanes_, [job](const queue &it) {
        return it.running == 0 && !it.jobs.empty() && it.jobs.front().job == job;
    });
}

std::vector<uint64_t> lanes::begin()
{
    std::vector<uint64_t> begun;
    for (queue &it : lanes_) {
        if (it.running != 0 || it.jobs.empty()) {
            continue;
        }
        const waiting first = it.jobs.front();
        if (!first.is_alone) {
            it.running = first.job;
            it.jobs.pop_front();
            begun.push_back(first.job);
        } else if (everything_waits_for(first.job)) {
            for (queue &each : lanes_) {
                each.running = first.job;
                each.jobs.pop_front();
            }
            begun.push_back(first.job);
        }
    }
    return begun;
}

void lanes::end(uint64_t job)
{
    for (queue &it : lanes_) {
        it.running = it.running == job ? 0 : it.running;
    }
}
