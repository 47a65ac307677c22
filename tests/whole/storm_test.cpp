// Commands and requests on all siranes at once, while the card talks by itself and faults strike. Every
// request has exactly one outcome.
//
// KELVANE_STORM_SECONDS is how long the faults strike, 3 unless set.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <numeric>
#include <span>
#include <thread>
#include <vector>

#include "whole/working_card.h"

namespace {

constexpr uint32_t THREADS_PER_SIRANE = 2;
constexpr uint32_t REQUESTS_MOST = 100000;
constexpr int32_t REFUSED = 64173;
constexpr int32_t BUSY = 16;
constexpr int32_t FAILED = static_cast<int32_t>(0x8010000F); // ORDUNE_TIMEOUT, the word that is injected

// A laser request; its transaction id is its index.
struct request {
    std::atomic<uint32_t> calls;
    std::atomic<int32_t> result;
    std::atomic<uint32_t> address; // that the callback was told
    uint32_t asked;
    int32_t sent; // the code of the sending
};

struct storm_state {
    std::atomic<bool> work_ends;
    std::atomic<bool> alive;
    std::atomic<uint32_t> requests_made;
    std::array<request, REQUESTS_MOST> requests;
    std::atomic<uint64_t> rounds;
    std::atomic<uint64_t> refused;   // of all commands
    std::atomic<uint64_t> failed;    // with the injected word
    std::atomic<int32_t> unexpected; // the last other code
    std::atomic<uint64_t> wrong_values;
};

storm_state storm;

int32_t laser_done(kelvane_handle, kelvane_device_address address, uint32_t transaction_id, int32_t result)
{
    request &it = storm.requests.at(transaction_id);
    it.result = result;
    it.address = address;
    it.calls++;
    return 0;
}

int32_t firmware_watched(kelvane_handle, int32_t, uint32_t status)
{
    storm.alive = status == KELVANE_ALIVE;
    return 0;
}

// Whether a command was run; if not, that it was for an injected reason.
bool was_run(int32_t code)
{
    if (code == REFUSED || code == FAILED) {
        (code == REFUSED ? storm.refused : storm.failed)++;
    } else if (code != 0) {
        storm.unexpected = code;
    }
    return code == 0;
}

void request_laser(kelvane_device_address port, int32_t on)
{
    const uint32_t id = storm.requests_made++;
    if (id < REQUESTS_MOST) {
        request &it = storm.requests[id];
        it.asked = port;
        it.sent = kelvane_set_laser(0, port, on, laser_done, static_cast<int32_t>(id));
        was_run(it.sent == BUSY ? 0 : it.sent);
    }
}

// One thread, with a register and a port that nobody else sets.
void work(uint32_t sirane, uint32_t thread)
{
    const kelvane_device_address address = KELVANE_ADDRESS_SIRANE(sirane);
    const kelvane_device_address port = KELVANE_ADDRESS_NETWORK_PORT(sirane, thread);
    uint32_t written = 0;
    uint32_t type = 24;
    for (uint32_t round = 1; !storm.work_ends; round++) {
        if (was_run(kelvane_write_register(0, address, 0x100 + thread, round))) {
            written = round;
        }
        uint32_t value = 0;
        if (was_run(kelvane_read_register(0, address, 0x100 + thread, &value)) && value != written) {
            storm.wrong_values++;
        }
        if (was_run(kelvane_set_traffic_type(0, port, round % 25, nullptr, 0))) {
            type = round % 25;
        }
        if (was_run(kelvane_get_traffic_type(0, port, &value)) && value != type) {
            storm.wrong_values++;
        }
        storm.rounds++;
        if (round % 4 == 1) {
            request_laser(port, static_cast<int32_t>(round / 4 % 2));
        }
    }
}

// ---- the faults

bool is_armed(const std::string &fault)
{
    return tell("show").find("fault: " + fault) != std::string::npos;
}

struct fault {
    const char *name; // as `show` begins its line
    const char *arguments;
    uint32_t every = 1;         // so many rounds
    uint32_t most = UINT32_MAX; // times
};

constexpr fault FAULTS[] = {
    {"drop-interrupt", ""},
    {"late-interrupt", " 30"},
    {"double-interrupt", ""},
    {"skip-batch", "", 3},
    {"delay 9", " 40"},
    {"delay 2", " 90"},
    {"refuse 10", ""},
    {"refuse 1", ""},
    {"refuse 2", "", 1, 3}, // each keeps its request's slot for 300 s
    {"error 9", " ORDUNE_TIMEOUT"},
    {"error 2", " ORDUNE_TIMEOUT"},
};

struct injected {
    std::map<std::string, uint64_t> times;
    uint64_t alarm_changes = 0; // of each sirane

    uint64_t of(const std::string &kind) const
    {
        uint64_t sum = 0;
        for (const auto &[name, count] : times) {
            sum += name.starts_with(kind) ? count : 0;
        }
        return sum;
    }
};

void strike_until(uint64_t end, injected *done)
{
    for (uint32_t turn = 0; wait_monotonic() < end; turn++) {
        const fault &it = FAULTS[turn % std::size(FAULTS)];
        const uint32_t round = turn / std::size(FAULTS);
        if (round % it.every == 0 && done->times[it.name] < it.most && !is_armed(it.name)) {
            tell(it.name + std::string(it.arguments));
            done->times[it.name]++;
        }
        if (turn % 25 == 0) { // seldom enough for the card's queue while an alarm waits for the drain
            const char *change = done->alarm_changes++ % 2 == 0 ? "raise" : "clear";
            for (const char *place : {"1", "4", "7"}) {
                tell(std::string("alarm ") + change + " " + place + " SRN_TEMP");
            }
        }
        if (turn % 7 == 0) {
            tell("spurious-interrupt");
        }
        wait_sleep((10 + turn % 13) * MS);
    }
}

// ---- the accounts

std::span<request> requests()
{
    return {storm.requests.data(), std::min(storm.requests_made.load(), REQUESTS_MOST)};
}

bool all_are_answered()
{
    return std::ranges::all_of(requests(), [](const request &it) { return it.sent != 0 || it.calls != 0; });
}

// How many failed with the injected word, and how many were refused, to be told as timed out much later.
std::pair<uint64_t, uint64_t> account_for_requests()
{
    uint64_t failed = 0;
    uint64_t pending = 0;
    for (const request &it : requests()) {
        EXPECT_EQ(it.calls, it.sent == 0 ? 1u : 0u) << "sent with " << it.sent;
        pending += it.sent == REFUSED ? 1 : 0;
        failed += it.result == FAILED ? 1 : 0;
        if (it.calls == 1) {
            EXPECT_EQ(it.address, it.asked);
            EXPECT_TRUE(it.result == 0 || it.result == FAILED) << it.result;
        }
    }
    return {failed, pending};
}

uint64_t storm_ns()
{
    const char *seconds = std::getenv("KELVANE_STORM_SECONDS");
    return (seconds != nullptr ? std::strtoull(seconds, nullptr, 10) : 3) * SECOND;
}

TEST(storm, every_request_has_one_outcome)
{
    // The siranes' batches come apart, so that what strikes the next one strikes all.
    ASSERT_NO_FATAL_FAILURE(start_work(MS / 5, 70 * MS));
    ASSERT_EQ(kelvane_enable_keep_alive_notify(0, 1, firmware_watched), 0);
    ASSERT_TRUE(wait_for([] { return storm.alive.load(); }));
    tell("batch-interval 200");
    tell("laser-time 10");

    std::vector<std::thread> workers;
    for (uint32_t i = 0; i < KELVANE_SIRANE_COUNT * THREADS_PER_SIRANE; i++) {
        workers.emplace_back(work, i / THREADS_PER_SIRANE, i % THREADS_PER_SIRANE);
    }
    injected done;
    strike_until(wait_monotonic() + storm_ns(), &done);
    EXPECT_TRUE(wait_for([] { return !is_armed(""); })) << tell("show");
    storm.work_ends = true;
    for (std::thread &worker : workers) {
        worker.join();
    }
    EXPECT_TRUE(wait_for(all_are_answered));
    const auto [failed, pending] = account_for_requests();
    EXPECT_EQ(storm.unexpected, 0) << kelvane_rc_to_string(storm.unexpected);
    EXPECT_EQ(storm.wrong_values, 0u);
    EXPECT_EQ(storm.refused, done.of("refuse"));
    EXPECT_EQ(storm.failed + failed, done.of("error"));
    EXPECT_EQ(pending, done.of("refuse 2"));
    const auto skipped = [] {
        return std::accumulate(batches.begin(), batches.end(), uint64_t{0},
                               [](uint64_t sum, const sequence &it) { return sum + it.missing; });
    };
    EXPECT_TRUE(wait_for([&] { return skipped() >= done.of("skip-batch"); }));
    EXPECT_EQ(skipped(), done.of("skip-batch"));
    for (const sequence &it : batches) {
        EXPECT_EQ(it.disordered, 0u);
    }
    for (const sequence &it : alarms) {
        EXPECT_TRUE(wait_for([&it, &done] { return it.count >= done.alarm_changes; }));
        EXPECT_EQ(it.count, done.alarm_changes);
        EXPECT_EQ(it.missing + it.disordered, 0u);
    }
    EXPECT_TRUE(storm.alive);
    std::printf(
        "%lu rounds, %lu refused, %lu failed; %zu requests: %lu failed, %lu pending; %lu batches skipped; "
        "%lu alarm changes\n",
        storm.rounds.load(), storm.refused.load(), storm.failed.load(), requests().size(), failed, pending,
        skipped(), 3 * done.alarm_changes);
    end_work();
}

} // namespace
