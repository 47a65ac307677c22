// The whole library against the simulated card, with real threads in real time: commands and requests on all
// siranes at once, while the card talks by itself and faults strike. Every request has exactly one outcome.
//
// KELVANE_STORM_SECONDS is how long the faults strike, 3 unless set. The library's threads go on when main
// returns: what they touch here is never destroyed.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "card_simulator/card.h"
#include "kelvane.h"
#include "platform/host_tree.h"
#include "platform/wait.h"
#include "support/library.h"

namespace {

constexpr uint32_t SIRANES = 3;
constexpr uint32_t THREADS_PER_SIRANE = 2;
constexpr uint64_t MS = 1000000;
constexpr uint64_t SECOND = 1000 * MS;
constexpr uint64_t PATIENCE = 60 * SECOND;
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

struct sequence {
    std::atomic<uint64_t> last;
    std::atomic<uint64_t> count;
    std::atomic<uint64_t> missing;
    std::atomic<uint64_t> disordered;
    std::atomic<uint64_t> came_ns; // the last one
    std::atomic<uint64_t> longest_pause_ns;

    void add(uint64_t number)
    {
        const uint64_t expected = last + 1;
        (number < expected ? disordered : missing) += number < expected ? 1 : number - expected;
        last = number;
        count++;
        const uint64_t now = wait_monotonic();
        const uint64_t before = came_ns.exchange(now);
        longest_pause_ns = std::max(longest_pause_ns.load(), before == 0 ? 0 : now - before);
    }
};

struct storm_state {
    card *it;
    std::atomic<bool> card_ends;
    std::atomic<bool> work_ends;
    std::atomic<bool> alive;
    std::atomic<uint32_t> requests_made;
    std::array<request, REQUESTS_MOST> requests;
    std::array<sequence, SIRANES> batches;
    std::array<sequence, SIRANES> alarms;
    std::atomic<uint64_t> exchanges; // synchronous
    std::atomic<uint64_t> refused;   // of all commands
    std::atomic<uint64_t> failed;    // with the injected word
    std::atomic<uint64_t> unexpected;
    std::atomic<int32_t> unexpected_code; // the last one
    std::atomic<uint64_t> wrong_values;
};

storm_state storm;

// ---- the application's side

int32_t read_word(kelvane_handle, uint32_t, uint32_t offset, uint32_t *value, uint32_t)
{
    *value = card_host_read(storm.it, offset);
    return 0;
}

int32_t write_word(kelvane_handle, uint32_t, uint32_t offset, uint32_t value, uint32_t)
{
    card_host_write(storm.it, offset, value);
    return 0;
}

int32_t laser_done(kelvane_handle, kelvane_device_address address, uint32_t transaction_id, int32_t result)
{
    request &it = storm.requests.at(transaction_id);
    it.result = result;
    it.address = address;
    it.calls++;
    return 0;
}

int32_t batch_came(kelvane_handle, kelvane_device_address address, const kelvane_global_pm *, uint64_t number)
{
    storm.batches.at(address >> 16 & 0xFF).add(number);
    return 0;
}

int32_t alarms_came(kelvane_handle, kelvane_device_address address, const global_alarms *, uint64_t number)
{
    storm.alarms.at(address >> 16 & 0xFF).add(number);
    return 0;
}

int32_t firmware_watched(kelvane_handle, int32_t, uint32_t status)
{
    storm.alive = status == KELVANE_ALIVE;
    return 0;
}

void run_card()
{
    while (!storm.card_ends) {
        card_step(storm.it);
        while (card_take_interrupt(storm.it)) {
            kelvane_notify_msi(0);
        }
        wait_sleep(200000);
    }
}

// Whether a synchronous command was run; if not, that it was for an injected reason.
bool was_run(int32_t code)
{
    storm.exchanges++;
    if (code == 0) {
        return true;
    }
    if (code == REFUSED) {
        storm.refused++;
    } else if (code == FAILED) {
        storm.failed++;
    } else {
        storm.unexpected_code = code;
        storm.unexpected++;
    }
    return false;
}

void request_laser(kelvane_device_address port, int32_t on)
{
    const uint32_t id = storm.requests_made++;
    if (id >= REQUESTS_MOST) {
        return;
    }
    request &it = storm.requests[id];
    it.asked = port;
    it.sent = kelvane_set_laser(0, port, on, laser_done, static_cast<int32_t>(id));
    if (it.sent == REFUSED) {
        storm.refused++;
    } else if (it.sent != 0 && it.sent != BUSY) {
        storm.unexpected_code = it.sent;
        storm.unexpected++;
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
        if (round % 4 == 1) {
            request_laser(port, static_cast<int32_t>(round / 4 % 2));
        }
    }
}

// ---- the faults

std::string tell(const std::string &line)
{
    std::string answer;
    EXPECT_EQ(card_verb(storm.it, line.c_str(), &answer), 0) << line << ": " << answer;
    return answer;
}

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
    uint32_t times[std::size(FAULTS)] = {};
    uint64_t alarm_changes = 0; // of each sirane

    uint64_t of(std::string_view kind) const
    {
        uint64_t sum = 0;
        for (size_t i = 0; i < std::size(FAULTS); i++) {
            sum += std::string_view(FAULTS[i].name).starts_with(kind) ? times[i] : 0;
        }
        return sum;
    }
};

void strike_until(uint64_t end, injected *done)
{
    for (uint32_t turn = 0; wait_monotonic() < end; turn++) {
        const size_t i = turn % std::size(FAULTS);
        const uint32_t round = turn / std::size(FAULTS);
        if (round % FAULTS[i].every == 0 && done->times[i] < FAULTS[i].most && !is_armed(FAULTS[i].name)) {
            tell(std::string(FAULTS[i].name) + FAULTS[i].arguments);
            done->times[i]++;
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

template <typename condition> bool wait_for(condition holds)
{
    for (const uint64_t end = wait_monotonic() + PATIENCE; !holds();) {
        if (wait_monotonic() > end) {
            return false;
        }
        wait_sleep(10 * MS);
    }
    return true;
}

// ---- the accounts

uint32_t requests_made()
{
    return std::min(storm.requests_made.load(), REQUESTS_MOST);
}

uint64_t requests_unanswered()
{
    uint64_t count = 0;
    for (uint32_t id = 0; id < requests_made(); id++) {
        count += storm.requests[id].sent == 0 && storm.requests[id].calls == 0 ? 1 : 0;
    }
    return count;
}

struct request_counts {
    uint64_t done = 0;
    uint64_t failed = 0;
    uint64_t busy = 0;
    uint64_t pending = 0; // refused, to be told as timed out much later
};

request_counts account_for_requests()
{
    request_counts counts;
    for (uint32_t id = 0; id < requests_made(); id++) {
        const request &it = storm.requests[id];
        EXPECT_EQ(it.calls, it.sent == 0 ? 1u : 0u) << "request " << id << ", sent with " << it.sent;
        counts.busy += it.sent == BUSY ? 1 : 0;
        counts.pending += it.sent == REFUSED ? 1 : 0;
        if (it.calls == 1) {
            EXPECT_EQ(it.address, it.asked) << "request " << id;
            EXPECT_TRUE(it.result == 0 || it.result == FAILED) << "request " << id << ": " << it.result;
            (it.result == 0 ? counts.done : counts.failed)++;
        }
    }
    return counts;
}

struct sequence_counts {
    uint64_t came = 0;
    uint64_t missing = 0;
    uint64_t disordered = 0;
    uint64_t pause_ns = 0; // longest
};

sequence_counts batch_counts()
{
    sequence_counts counts;
    for (const sequence &it : storm.batches) {
        counts.came += it.count;
        counts.missing += it.missing;
        counts.disordered += it.disordered;
        counts.pause_ns = std::max(counts.pause_ns, it.longest_pause_ns.load());
    }
    return counts;
}

uint64_t storm_ns()
{
    const char *seconds = std::getenv("KELVANE_STORM_SECONDS");
    return (seconds != nullptr ? std::strtoull(seconds, nullptr, 10) : 3) * SECOND;
}

void start_library()
{
    kelvane_init_device_t device{};
    device.client_type = 1;
    device.notify_plugin_cb = [](kelvane_handle, kelvane_device_address, uint32_t) { return 0; };
    device.pci_read_cb = read_word;
    device.pci_write_cb = write_word;
    ASSERT_EQ(kelvane_init_driver(), 0);
    ASSERT_EQ(kelvane_device_create(device), 0);
    ASSERT_EQ(kelvane_pci_mapped(0, 1, 0, 0), 0);
    ASSERT_EQ(kelvane_enable_msi(0, 1), 0);
    for (uint32_t sirane = 0; sirane < SIRANES; sirane++) {
        ASSERT_EQ(kelvane_enable_pm_notify(0, KELVANE_ADDRESS_SIRANE(sirane), 1, batch_came), 0);
        ASSERT_EQ(kelvane_enable_alarms_notify(0, KELVANE_ADDRESS_SIRANE(sirane), 1, alarms_came), 0);
        wait_sleep(70 * MS); // their batches come apart, so that what strikes the next one strikes all
    }
    ASSERT_EQ(kelvane_enable_keep_alive_notify(0, 1, firmware_watched), 0);
    ASSERT_TRUE(wait_for([] { return storm.alive.load(); }));
}

TEST(storm, every_request_has_one_outcome)
{
    const temporary_folder folder;
    setenv(HOST_TREE_VARIABLE, folder.path.c_str(), 1);
    setenv("KELVANE_TRACE_DIR", folder.path.c_str(), 1);
    host_tree_forget();
    storm.it = card_create(card_options{});
    std::thread card_thread(run_card);
    start_library();
    tell("batch-interval 200");
    tell("laser-time 10");

    std::vector<std::thread> workers;
    for (uint32_t i = 0; i < SIRANES * THREADS_PER_SIRANE; i++) {
        workers.emplace_back(work, i / THREADS_PER_SIRANE, i % THREADS_PER_SIRANE);
    }
    injected done;
    strike_until(wait_monotonic() + storm_ns(), &done);
    EXPECT_TRUE(wait_for([] { return !is_armed(""); })) << tell("show");
    storm.work_ends = true;
    for (std::thread &worker : workers) {
        worker.join();
    }
    EXPECT_TRUE(wait_for([] { return requests_unanswered() == 0; })) << requests_unanswered();

    const request_counts requests = account_for_requests();
    EXPECT_EQ(storm.unexpected, 0u) << kelvane_rc_to_string(storm.unexpected_code);
    EXPECT_EQ(storm.wrong_values, 0u);
    EXPECT_EQ(storm.refused, done.of("refuse"));
    EXPECT_EQ(storm.failed + requests.failed, done.of("error"));
    EXPECT_EQ(requests.pending, done.of("refuse 2"));
    EXPECT_TRUE(wait_for([&done] { return batch_counts().missing >= done.of("skip-batch"); }));
    const sequence_counts batches = batch_counts();
    EXPECT_EQ(batches.missing, done.of("skip-batch"));
    EXPECT_EQ(batches.disordered, 0u);
    for (const sequence &it : storm.alarms) {
        EXPECT_TRUE(wait_for([&it, &done] { return it.count >= done.alarm_changes; }));
        EXPECT_EQ(it.count, done.alarm_changes);
        EXPECT_EQ(it.missing + it.disordered, 0u);
    }
    EXPECT_NE(tell("show").find("\n0 messages lost"), std::string::npos);
    EXPECT_TRUE(storm.alive);
    std::printf("%lu exchanges, %lu refused, %lu failed; %u requests: %lu done, %lu failed, %lu busy, "
                "%lu pending; %lu batches, %lu skipped, longest pause %lu ms; %lu alarm changes\n",
                storm.exchanges.load(), storm.refused.load(), storm.failed.load(), requests_made(),
                requests.done, requests.failed, requests.busy, requests.pending, batches.came,
                batches.missing, batches.pause_ns / MS, 3 * done.alarm_changes);

    EXPECT_EQ(kelvane_pci_mapped(0, 0, 0, 0), 0);
    EXPECT_EQ(kelvane_device_delete(0), 0);
    storm.card_ends = true;
    card_thread.join();
}

} // namespace
