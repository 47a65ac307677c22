// Requests on their way through the lanes, on threads that wait for the library, and back to the loop.
#ifndef KELVANED_JOBS_H
#define KELVANED_JOBS_H

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>

#include <asio/io_context.hpp>
#include <asio/thread_pool.hpp>

#include "control/dispatch.h"
#include "kelvaned/descriptor.h"
#include "kelvaned/lanes.h"

constexpr uint32_t ANSWERED_LATER_MAX = 12; // of a sirane, which is what the library keeps

// All calls and all that is called back come on the loop's thread. Lives as long as the process.
class jobs {
  public:
    using outcome_taker = std::function<void(outcome &&)>;
    struct listener {
        // A job that runs alone begins; the descriptor is that of its image, or -1.
        std::function<void(const request &, int image)> began_alone;
        std::function<void()> ended_alone;
    };

    jobs(asio::io_context &loop, host_kind kind);

    listener listens;

    // Queues a request. `is_done` is called once, later, unless the job is withdrawn. A code other than 0
    // tells which queue is full, and nothing is queued.
    outcome push(const request &request, descriptor image, outcome_taker is_done, uint64_t *job);

    // Queues a task of the owner's; false when its lane is full.
    bool push_own(uint32_t lane, std::function<outcome()> task, outcome_taker is_done);

    // Has a task of the owner's run alone, before all that wait.
    void push_ahead(std::function<outcome()> task, outcome_taker is_done);

    // True when nothing was sent and nothing will be.
    bool withdraw(uint64_t job);

  private:
    struct entry {
        uint64_t number;
        request asked;
        descriptor image;
        std::function<outcome()> task; // on a worker
        outcome_taker is_done;
        uint32_t lane;
        bool is_answered_later = false;
        bool has_returned = false;
    };
    using entry_ref = std::map<uint64_t, std::unique_ptr<entry>>::iterator;

    static int32_t hear_outcome(kelvane_handle, kelvane_device_address, uint32_t transaction_id,
                                int32_t result);

    outcome run(entry &it);
    void begin_next();
    void returned(uint64_t number, outcome &&done);
    void finish(entry_ref it, outcome &&done);
    void forget(entry_ref it);

    asio::io_context &loop_;
    asio::thread_pool workers_;
    host_kind kind_;
    lanes lanes_;
    std::map<uint64_t, std::unique_ptr<entry>> jobs_;
    uint64_t last_number_ = 0;
    std::array<uint32_t, KELVANE_SIRANE_COUNT> answered_later_{};
};

#endif
