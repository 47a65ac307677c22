// The service's card: taken, linked up, watched and subscribed to, and once again when its firmware restarts.
#ifndef KELVANED_CARD_LINK_H
#define KELVANED_CARD_LINK_H

#include <chrono>
#include <functional>
#include <string>

#include <asio/io_context.hpp>

#include "kelvaned/alarm_board.h"
#include "kelvaned/jobs.h"

enum class card_state {
    waiting, // the host has no such device
    linking, // it has, and the firmware is not heard of yet
    up,
};

// All of it on the loop's thread. Lives as long as the process.
class card_link {
  public:
    struct listener {
        std::function<void(const char *reason)> state_changed;
        std::function<void(const alarm_change &)> alarm;
        std::function<void(uint32_t sirane, uint64_t number, const kelvane_global_pm &)> batch;
        std::function<void(uint32_t sirane, uint64_t count)> batches_missed;
        std::function<void(kelvane_device_address, uint32_t plugged)> plugin;
        std::function<void(uint32_t restart)> restart;
        std::function<void(uint32_t status)> watch;
        std::function<void(kelvane_device_address, uint32_t value)> upset;
        std::function<void(const std::string &reason)>
            ended; // the card is of no use to this process any more
    };

    card_link(asio::io_context &loop, jobs &jobs, host_kind kind);

    listener listens;

    // Takes the card as soon as there is one, on a thread of its own.
    void start();

    card_state state() const
    {
        return state_;
    }
    uint32_t firmware() const // enum kelvane_keep_alive_status
    {
        return firmware_;
    }
    std::chrono::seconds since_state() const;

    // Has the alarms of all siranes read, as far as that succeeds, and calls `is_done`.
    void read_alarms(std::function<void()> is_done);

    const alarm_board &alarms() const
    {
        return alarms_;
    }

  private:
    struct calls; // the library's callbacks

    void set_state(card_state state, const char *reason);
    void hear_firmware(uint32_t status);
    void hear_batch(uint32_t sirane, uint64_t number, const kelvane_global_pm &record);
    void hear_alarms(uint32_t sirane, const global_alarms &record);
    void recover(const char *reason);

    asio::io_context &loop_;
    jobs &jobs_;
    host_kind kind_;
    card_state state_ = card_state::waiting;
    std::chrono::steady_clock::time_point state_since_ = std::chrono::steady_clock::now();
    uint32_t firmware_ = KELVANE_UNDEF;
    bool is_linked_up_ = false;
    bool is_subscribed_ = false; // the firmware that is alive now knows of it
    bool is_recovering_ = false;
    bool recovers_again_ = false;
    std::array<uint64_t, KELVANE_SIRANE_COUNT> last_batch_{}; // 0: none since the subscription
    alarm_board alarms_;
};

#endif
