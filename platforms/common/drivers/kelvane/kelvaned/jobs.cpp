#include "kelvaned/jobs.h"

#include <string>

#include <asio/post.hpp>

#include "control/address.h"

namespace {

constexpr size_t WORKERS = KELVANE_SIRANE_COUNT;

jobs *the_jobs; // for the library's callback, which has no argument of ours

uint32_t lane_of(const request &request)
{
    if (runs_alone(*request.what)) {
        return lanes::ALONE;
    }
    const uint32_t sirane = request.has_address ? sirane_serving(request.call.address) : 0;
    return sirane < KELVANE_SIRANE_COUNT ? sirane : 0; // the library refuses such an address
}

std::string name_of_lane(uint32_t lane)
{
    return lane == lanes::ALONE ? "of a sirane" : "of " + words_of_address(KELVANE_ADDRESS_SIRANE(lane));
}

} // namespace

jobs::jobs(asio::io_context &loop, host_kind kind) : loop_(loop), workers_(WORKERS), kind_(kind)
{
    the_jobs = this;
}

outcome jobs::push(const request &request, descriptor image, outcome_taker is_done, uint64_t *job)
{
    const uint32_t lane = lane_of(request);
    const bool is_answered_later = request.what->begin != nullptr;
    if (is_answered_later && answered_later_[lane] >= ANSWERED_LATER_MAX) {
        return {RPC_QUEUE_FULL, std::to_string(ANSWERED_LATER_MAX) + " laser and traffic requests " +
                                    name_of_lane(lane) + " are under way"};
    }
    const uint64_t number = last_number_ + 1;
    if (!lanes_.push(number, lane)) {
        return {RPC_QUEUE_FULL, "the queue " + name_of_lane(lane) + " is full"};
    }
    last_number_ = number;
    *job = number;
    answered_later_[lane % KELVANE_SIRANE_COUNT] += is_answered_later ? 1 : 0;
    jobs_[number].reset(
        new entry{number, request, std::move(image), {}, std::move(is_done), lane, is_answered_later});
    begin_next();
    return {};
}

bool jobs::push_own(uint32_t lane, std::function<outcome()> task, outcome_taker is_done)
{
    const uint64_t number = last_number_ + 1;
    if (!lanes_.push(number, lane)) {
        return false;
    }
    last_number_ = number;
    jobs_[number].reset(new entry{number, {}, {}, std::move(task), std::move(is_done), lane});
    begin_next();
    return true;
}

void jobs::push_ahead(std::function<outcome()> task, outcome_taker is_done)
{
    const uint64_t number = ++last_number_;
    lanes_.push_ahead(number);
    jobs_[number].reset(new entry{number, {}, {}, std::move(task), std::move(is_done), lanes::ALONE});
    begin_next();
}

bool jobs::withdraw(uint64_t job)
{
    const auto it = jobs_.find(job);
    if (it == jobs_.end() || !lanes_.withdraw(job)) {
        return false;
    }
    it->second->is_done = nullptr;
    it->second->has_returned = true;
    forget(it);
    begin_next();
    return true;
}

// On a worker.
outcome jobs::run(entry &it)
{
    if (it.task) {
        return it.task();
    }
    if (!it.is_answered_later) {
        return run_request(it.asked, it.image.number(), kind_);
    }
    const auto transaction_id = static_cast<uint32_t>(it.number);
    return outcome_of(it.asked, it.asked.what->begin(it.asked.call, hear_outcome, transaction_id), kind_);
}

void jobs::begin_next()
{
    for (const uint64_t number : lanes_.begin()) {
        entry &it = *jobs_.at(number);
        if (it.lane == lanes::ALONE && it.asked.what != nullptr) {
            listens.began_alone(it.asked, it.image.number());
        }
        asio::post(workers_, [this, &it] {
            outcome done = run(it);
            asio::post(loop_, [this, number = it.number, done = std::move(done)]() mutable {
                returned(number, std::move(done));
            });
        });
    }
}

void jobs::returned(uint64_t number, outcome &&done)
{
    const auto it = jobs_.find(number);
    entry &job = *it->second;
    job.has_returned = true;
    if (job.lane == lanes::ALONE && job.asked.what != nullptr) {
        listens.ended_alone();
    }
    lanes_.end(number);
    begin_next();
    // Handed over: the outcome comes by the callback, or has come already.
    if (job.is_answered_later && done.code == 0) {
        forget(it);
    } else {
        finish(it, std::move(done));
    }
}

int32_t jobs::hear_outcome(kelvane_handle, kelvane_device_address, uint32_t transaction_id, int32_t result)
{
    asio::post(the_jobs->loop_, [transaction_id, result] {
        const auto it = the_jobs->jobs_.find(transaction_id);
        if (it != the_jobs->jobs_.end()) { // not after a failed sending
            the_jobs->finish(it, outcome_of(it->second->asked, result, the_jobs->kind_));
        }
    });
    return 0;
}

void jobs::finish(entry_ref it, outcome &&done)
{
    const jobs::outcome_taker is_done = std::exchange(it->second->is_done, nullptr);
    forget(it);
    if (is_done) {
        is_done(std::move(done));
    }
}

// Once it has both returned and an outcome, or none will come.
void jobs::forget(entry_ref it)
{
    const entry &job = *it->second;
    if (!job.has_returned || (job.is_answered_later && job.is_done != nullptr)) {
        return;
    }
    if (job.is_answered_later) {
        answered_later_[job.lane]--;
    }
    jobs_.erase(it);
}
