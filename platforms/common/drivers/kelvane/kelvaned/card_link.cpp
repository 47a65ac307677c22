#include "kelvaned/card_link.h"

#include <thread>

#include <asio/post.hpp>

#include "control/card_owner.h"

namespace {

constexpr auto LOOKS_AGAIN = std::chrono::seconds(1);

card_link *the_link; // for the library's callbacks, which have no argument of ours

} // namespace

// They come with mailboxes held: each copies what it was given, and leaves the rest to the loop.
struct card_link::calls {
    template <typename function> static int32_t queue(function what)
    {
        asio::post(the_link->loop_, std::move(what));
        return 0;
    }

    static int32_t plugin(kelvane_handle, kelvane_device_address address, uint32_t plugged)
    {
        return queue([=] { the_link->listens.plugin(address, plugged); });
    }

    static int32_t restart(kelvane_handle, uint32_t restart)
    {
        return queue([=] {
            the_link->listens.restart(restart);
            if (restart != KELVANE_APP_ZYNQ_RESTART_WARM) { // which only announces it
                the_link->recover("the firmware restarted");
            }
        });
    }

    static int32_t generic(kelvane_handle, kelvane_device_address address, uint32_t value)
    {
        return queue([=] { the_link->listens.upset(address, value); });
    }

    static int32_t watch(kelvane_handle, int32_t, uint32_t status)
    {
        return queue([=] { the_link->hear_firmware(status); });
    }

    static int32_t batch(kelvane_handle, kelvane_device_address address, const kelvane_global_pm *record,
                         uint64_t number)
    {
        return queue([address, number, copy = *record] {
            the_link->hear_batch(KELVANE_SIRANE_OF(address) % KELVANE_SIRANE_COUNT, number, copy);
        });
    }

    static int32_t alarms(kelvane_handle, kelvane_device_address address, const global_alarms *record,
                          uint64_t)
    {
        return queue([address, copy = *record] {
            the_link->hear_alarms(KELVANE_SIRANE_OF(address) % KELVANE_SIRANE_COUNT, copy);
        });
    }

    static void gone()
    {
        queue([] { the_link->listens.ended("the card is gone"); });
    }

    // Blocks. The watch comes last: it closes the access until the firmware has answered.
    static outcome subscribe()
    {
        int32_t rc = KELVANE_EOK;
        for (uint32_t sirane = 0; sirane < KELVANE_SIRANE_COUNT && rc == KELVANE_EOK; sirane++) {
            const kelvane_device_address address = KELVANE_ADDRESS_SIRANE(sirane);
            global_alarms record = {};
            rc = kelvane_enable_alarms_notify(THE_CARD, address, 1, alarms);
            rc = rc == KELVANE_EOK ? kelvane_enable_pm_notify(THE_CARD, address, 1, batch) : rc;
            rc = rc == KELVANE_EOK ? kelvane_get_global_alarms(THE_CARD, address, &record) : rc;
            if (rc == KELVANE_EOK) {
                alarms(THE_CARD, address, &record, 0);
            }
        }
        rc = rc == KELVANE_EOK ? kelvane_enable_keep_alive_notify(THE_CARD, 1, watch) : rc;
        return {static_cast<uint32_t>(rc), ""};
    }

    static void end_because(const char *step, int64_t code)
    {
        queue([reason = step + (" failed: " + name_of_code(code))] { the_link->listens.ended(reason); });
    }

    // On a thread of its own.
    static void bring_up(host_kind kind)
    {
        while (!card_is_there()) {
            std::this_thread::sleep_for(LOOKS_AGAIN);
        }
        queue([] { the_link->set_state(card_state::linking, "the card is there"); });
        const std::string problem = take_card(kind, {plugin, restart, generic, gone});
        if (!problem.empty()) {
            queue([problem] { the_link->listens.ended(problem); });
            return;
        }
        if (const int32_t rc = link_up_card(); rc != KELVANE_EOK) {
            end_because("the link-up", static_cast<uint32_t>(rc));
            return;
        }
        queue([] {
            the_link->is_linked_up_ = true;
            the_link->recover("the link is up");
        });
    }
};

card_link::card_link(asio::io_context &loop, jobs &jobs, host_kind kind)
    : loop_(loop), jobs_(jobs), kind_(kind), alarms_(kind)
{
    the_link = this;
}

void card_link::start()
{
    std::thread(calls::bring_up, kind_).detach();
}

std::chrono::seconds card_link::since_state() const
{
    return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - state_since_);
}

void card_link::set_state(card_state state, const char *reason)
{
    state_ = state;
    state_since_ = std::chrono::steady_clock::now();
    if (state == card_state::up) {
        kelvane_notify_msi(THE_CARD); // for an interrupt that came while the access was closed
    }
    listens.state_changed(reason);
}

void card_link::hear_firmware(uint32_t status)
{
    firmware_ = status;
    listens.watch(status);
    if (status != KELVANE_ALIVE) {
        is_subscribed_ = false; // a firmware that comes back may have restarted
        if (card_reads_all_ones()) {
            listens.ended("the card is gone from its bus");
        }
    } else if (!is_subscribed_) {
        recover("the firmware is back");
    } else if (state_ == card_state::linking) {
        set_state(card_state::up, "the firmware is alive");
    }
}

// Subscribes, for the first time or because the firmware restarted, and has forgotten of it. What fails
// because it is silent is tried again when it is heard of.
void card_link::recover(const char *reason)
{
    recovers_again_ = is_recovering_;
    if (is_recovering_ || !is_linked_up_) { // at the link-up it comes by itself
        return;
    }
    is_recovering_ = true;
    last_batch_ = {};
    set_state(card_state::linking, reason);
    jobs_.push_ahead(
        [] {
            outcome subscribed = calls::subscribe();
            if (subscribed.code == 0 || subscribed.code == KELVANE_RET_CODE_DEVICE_UNAVAILABLE) {
                return subscribed;
            }
            const int32_t rc = link_up_card();
            return rc == KELVANE_EOK ? calls::subscribe() : outcome{static_cast<uint32_t>(rc), ""};
        },
        [this](const outcome &done) {
            is_recovering_ = false;
            is_subscribed_ = done.code == 0;
            uint32_t is_watched = 0;
            kelvane_get_keep_alive_status(THE_CARD, &is_watched, &firmware_);
            if (std::exchange(recovers_again_, false)) {
                recover("the firmware restarted again");
            } else if (done.code == 0 && firmware_ == KELVANE_ALIVE) {
                set_state(card_state::up, "the firmware is alive");
            } else if (done.code != 0 &&
                       (is_watched == 0 || done.code != KELVANE_RET_CODE_DEVICE_UNAVAILABLE)) {
                listens.ended("subscribing failed: " + name_of_code(done.code));
            }
        });
}

void card_link::hear_batch(uint32_t sirane, uint64_t number, const kelvane_global_pm &record)
{
    uint64_t &last = last_batch_[sirane];
    if (last != 0 && number > last + 1) {
        listens.batches_missed(sirane, number - last - 1);
    }
    last = number;
    listens.batch(sirane, number, record);
}

void card_link::hear_alarms(uint32_t sirane, const global_alarms &record)
{
    for (const alarm_change &it : alarms_.update(sirane, record)) {
        listens.alarm(it);
    }
}

void card_link::read_alarms(std::function<void()> is_done)
{
    const auto left = std::make_shared<uint32_t>(KELVANE_SIRANE_COUNT);
    const auto one_less = [left, is_done = std::move(is_done)] {
        if (--*left == 0) {
            is_done();
        }
    };
    for (uint32_t sirane = 0; sirane < KELVANE_SIRANE_COUNT; sirane++) {
        const auto record = std::make_shared<global_alarms>();
        const uint64_t updates = alarms_.updates(sirane);
        const auto heard = [this, one_less, record, sirane, updates](const outcome &done) {
            if (done.code == 0 && updates == alarms_.updates(sirane)) { // what came since is newer
                hear_alarms(sirane, *record);
            }
            one_less();
        };
        const bool is_pushed =
            state_ == card_state::up && jobs_.push_own(
                                            sirane,
                                            [record, sirane] {
                                                const int32_t rc = kelvane_get_global_alarms(
                                                    THE_CARD, KELVANE_ADDRESS_SIRANE(sirane), record.get());
                                                return outcome{static_cast<uint32_t>(rc), ""};
                                            },
                                            heard);
        if (!is_pushed) {
            one_less();
        }
    }
}
