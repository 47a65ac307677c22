// The whole library on a simulated card that works by itself, both with real threads: commands and requests
// on all siranes at once, while the card talks and faults strike. Every request has exactly one outcome.
//
// KELVANE_STORM_SECONDS is how long the faults strike, 3 unless set.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <span>
#include <thread>

#include "card_simulator/card.h"
#include "kelvane.h"
#include "platform/wait.h"
#include "support/operations.h"
#include "support/temporary_folder.h"

namespace {

constexpr uint64_t MS = 1000000;
constexpr uint64_t PATIENCE = 60000 * MS;
constexpr uint32_t SIRANES = KELVANE_SIRANE_COUNT;
constexpr uint32_t THREADS_PER_SIRANE = 2;
constexpr uint32_t REQUESTS_MOST = 100000;
constexpr int32_t REFUSED = 64173;
constexpr int32_t BUSY = 16;
constexpr int32_t FAILED = static_cast<int32_t>(0x8010000F); // ORDUNE_TIMEOUT, the word that is injected

// A laser request; its transaction id is its index.
struct request {
    std::atomic<uint32_t> outcomes;
    int32_t sent; // the code of the sending
};

// The library's threads go on when main returns: nothing of this is ever destroyed.
struct storm_state {
    card *it;
    std::atomic<bool> work_ends, card_ends, alive;
    std::atomic<uint32_t> requests_made;
    std::array<request, REQUESTS_MOST> requests;
    std::atomic<int32_t> unexpected; // the last code that is neither success nor injected
    std::atomic<uint64_t> wrong_values;
    std::atomic<uint64_t> batches;
};

storm_state storm;

std::string tell(const std::string &verb)
{
    std::string answer;
    EXPECT_EQ(card_verb(storm.it, verb.c_str(), &answer), 0) << verb << ": " << answer;
    return answer;
}

int32_t laser_done(kelvane_handle, kelvane_device_address, uint32_t transaction_id, int32_t)
{
    storm.requests.at(transaction_id).outcomes++;
    return 0;
}

int32_t batch_came(kelvane_handle, kelvane_device_address, const kelvane_global_pm *, uint64_t)
{
    storm.batches++;
    return 0;
}

// Whether a command was run; if not, that it was for an injected reason.
bool was_run(int32_t code)
{
    if (code != 0 && code != REFUSED && code != FAILED) {
        storm.unexpected = code;
    }
    return code == 0;
}

void request_laser(kelvane_device_address port, int32_t on)
{
    const uint32_t id = storm.requests_made++;
    ASSERT_LT(id, REQUESTS_MOST);
    request &it = storm.requests[id];
    it.sent = kelvane_set_laser(0, port, on, laser_done, static_cast<int32_t>(id));
    was_run(it.sent == BUSY ? 0 : it.sent);
}

// One thread, with a register and a port that nobody else sets.
void work(uint32_t sirane, uint32_t thread)
{
    const kelvane_device_address address = KELVANE_ADDRESS_SIRANE(sirane);
    const kelvane_device_address port = KELVANE_ADDRESS_NETWORK_PORT(sirane, thread);
    uint32_t written = 0;
    for (uint32_t round = 1; !storm.work_ends; round++) {
        if (was_run(kelvane_write_register(0, address, 0x100 + thread, round))) {
            written = round;
        }
        uint32_t value = 0;
        if (was_run(kelvane_read_register(0, address, 0x100 + thread, &value)) && value != written) {
            storm.wrong_values++;
        }
        if (round % 4 == 1) {
            request_laser(port, static_cast<int32_t>(round / 4 % 2));
        }
    }
}

void run_card()
{
    while (!storm.card_ends) {
        card_step(storm.it);
        while (card_take_interrupt(storm.it)) {
            kelvane_notify_msi(0);
        }
        wait_sleep(MS / 5);
    }
}

kelvane_init_device_t storm_device()
{
    kelvane_init_device_t device{};
    device.client_type = 1;
    device.notify_plugin_cb = [](kelvane_handle, kelvane_device_address, uint32_t) { return 0; };
    device.pci_read_cb = [](kelvane_handle, uint32_t, uint32_t offset, uint32_t *value, uint32_t) {
        *value = card_host_read(storm.it, offset);
        return 0;
    };
    device.pci_write_cb = [](kelvane_handle, uint32_t, uint32_t offset, uint32_t value, uint32_t) {
        card_host_write(storm.it, offset, value);
        return 0;
    };
    return device;
}

void start_library()
{
    ASSERT_EQ(kelvane_init_driver(), 0);
    ASSERT_EQ(kelvane_device_create(storm_device()), 0);
    ASSERT_EQ(kelvane_pci_mapped(0, 1, 0, 0), 0);
    ASSERT_EQ(kelvane_enable_msi(0, 1), 0);
    for (uint32_t sirane = 0; sirane < SIRANES; sirane++) {
        const kelvane_device_address address = KELVANE_ADDRESS_SIRANE(sirane);
        ASSERT_EQ(kelvane_enable_pm_notify(0, address, 1, batch_came), 0);
        ASSERT_EQ(kelvane_enable_alarms_notify(0, address, 1, no_matter), 0);
    }
    const auto watched = [](kelvane_handle, int32_t, uint32_t status) {
        storm.alive = status == KELVANE_ALIVE;
        return 0;
    };
    ASSERT_EQ(kelvane_enable_keep_alive_notify(0, 1, watched), 0);
    while (!storm.alive) { // no command passes before
        wait_sleep(10 * MS);
    }
}

void strike_until(uint64_t end)
{
    constexpr const char *FAULTS[] = {"drop-interrupt",
                                      "delay read_register 40",
                                      "late-interrupt 30",
                                      "delay set_laser 90",
                                      "double-interrupt",
                                      "refuse write_register",
                                      "error read_register ORDUNE_TIMEOUT",
                                      "refuse get_traffic_type",
                                      "spurious-interrupt",
                                      "error set_laser ORDUNE_TIMEOUT"};
    for (uint32_t turn = 0; wait_monotonic() < end; turn++) {
        tell(FAULTS[turn % std::size(FAULTS)]);
        if (turn % 25 == 0) { // seldom enough for the card's queue while an alarm waits for the drain
            const std::string change = turn % 2 == 0 ? "alarm raise " : "alarm clear ";
            for (const char *place : {"1", "4", "7"}) {
                tell(change + place + " SRN_TEMP");
            }
        }
        wait_sleep((10 + turn % 13) * MS);
    }
}

class storm_test : public testing::Test {
  protected:
    void SetUp() override
    {
        storm.it = card_create(card_options{});
        card_thread_ = std::thread(run_card);
        start_library();
        tell("batch-interval 200");
    }

    void TearDown() override
    {
        storm.card_ends = true;
        card_thread_.join();
    }

  private:
    const host_folder folder_;
    std::thread card_thread_;
};

TEST_F(storm_test, every_request_has_one_outcome)
{
    tell("laser-time 10");
    std::vector<std::thread> workers;
    for (uint32_t i = 0; i < SIRANES * THREADS_PER_SIRANE; i++) {
        workers.emplace_back(work, i / THREADS_PER_SIRANE, i % THREADS_PER_SIRANE);
    }
    const char *seconds = std::getenv("KELVANE_STORM_SECONDS");
    const uint64_t duration = seconds != nullptr ? std::strtoull(seconds, nullptr, 10) : 3;
    strike_until(wait_monotonic() + 1000 * MS * duration);
    storm.work_ends = true;
    for (std::thread &worker : workers) {
        worker.join();
    }

    const auto requests = std::span(storm.requests).first(storm.requests_made);
    ASSERT_GT(requests.size(), 10u);
    const auto is_answered = [](const request &it) { return it.sent != 0 || it.outcomes > 0; };
    const uint64_t end = wait_monotonic() + PATIENCE;
    while (!std::ranges::all_of(requests, is_answered) && wait_monotonic() < end) {
        wait_sleep(10 * MS);
    }
    for (const request &it : requests) {
        EXPECT_EQ(it.outcomes, it.sent == 0 ? 1u : 0u) << "sent with " << it.sent;
    }
    EXPECT_EQ(storm.unexpected, 0) << kelvane_rc_to_string(storm.unexpected);
    EXPECT_EQ(storm.wrong_values, 0u);
    EXPECT_GT(storm.batches, SIRANES * duration);
    EXPECT_TRUE(storm.alive);
    EXPECT_NE(tell("show").find("\n0 messages lost"), std::string::npos);
    EXPECT_EQ(kelvane_pci_mapped(0, 0, 0, 0), 0);
    EXPECT_EQ(kelvane_device_delete(0), 0);
}

// Under threads that use it, until they are refused; while messages of all kinds come.
TEST_F(storm_test, a_device_comes_and_goes)
{
    for (int round = 0; round < 20; round++) {
        std::vector<std::thread> users;
        for (uint32_t sirane = 0; sirane < SIRANES; sirane++) {
            users.emplace_back([address = KELVANE_ADDRESS_SIRANE(sirane)] {
                uint32_t value = 0;
                int32_t rc = 0;
                while (rc == 0) {
                    kelvane_print_local_handler(0);
                    rc = kelvane_read_register(0, address, 0x100, &value);
                }
                EXPECT_TRUE(rc == 22 || rc == 64174) << rc;
            });
        }
        wait_sleep(20 * MS);
        EXPECT_EQ(kelvane_device_delete(0), 0);
        EXPECT_EQ(kelvane_device_create(storm_device()), 0);
        for (std::thread &user : users) {
            user.join();
        }
        EXPECT_EQ(kelvane_pci_mapped(0, 1, 0, 0), 0);
    }
}

} // namespace
