// The whole library against the simulated card while interrupts are lost, doubled, late and spurious. An
// interrupt only shortens a delay: every outcome arrives exactly once, at the latest with the drain that the
// low-priority thread makes every 2 seconds. Time runs faster here.
//
// The library's threads go on when main returns: what they touch here is never destroyed.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>

#include "card_simulator/card.h"
#include "kelvane.h"
#include "platform/host_tree.h"
#include "platform/wait.h"
#include "support/fast_time.h"
#include "support/library.h"

namespace {

// What a mailbox's queue holds has to outlast a thread that waits for a processor.
#ifdef KELVANE_SLOW_BUILD // with sanitizers
constexpr uint64_t SPEED = 3;
#else
constexpr uint64_t SPEED = 10;
#endif
constexpr uint64_t MS = 1000000;
constexpr uint64_t SECOND = 1000 * MS;
constexpr uint64_t PATIENCE = 250 * SECOND; // ends a test that failed; less than a request's 300 s
constexpr uint64_t TWO_DRAINS = 5 * SECOND;
constexpr uint32_t SIRANES = 3;
constexpr uint32_t ROUNDS = 8; // of all outcomes; a sirane's table holds 12 requests
constexpr uint64_t ROUND = 400 * MS;

// Numbers as they came: every one exactly once and in order, or not.
struct sequence {
    std::atomic<uint64_t> count;
    std::atomic<uint64_t> out_of_order;

    void add(uint64_t number)
    {
        out_of_order += number == count + 1 ? 0 : 1;
        count++;
    }
};

struct bench_state {
    card *it;
    std::atomic<bool> card_ends;
    std::array<std::array<std::atomic<uint32_t>, ROUNDS>, SIRANES> completions;
    std::atomic<uint32_t> failed_completions;
    std::array<sequence, SIRANES> batches;
    std::array<sequence, SIRANES> alarms;
    std::array<sequence, SIRANES> plugs; // 1 for the first unplugging, 2 for the plugging after it, ...
};

bench_state bench;

int32_t read_word(kelvane_handle, uint32_t, uint32_t offset, uint32_t *value, uint32_t)
{
    *value = card_host_read(bench.it, offset);
    return 0;
}

int32_t write_word(kelvane_handle, uint32_t, uint32_t offset, uint32_t value, uint32_t)
{
    card_host_write(bench.it, offset, value);
    return 0;
}

uint32_t sirane_of(kelvane_device_address address)
{
    return address >> 16 & 0xFF;
}

int32_t laser_done(kelvane_handle, kelvane_device_address address, uint32_t transaction_id, int32_t result)
{
    bench.completions.at(sirane_of(address)).at(transaction_id)++;
    bench.failed_completions += result == 0 ? 0 : 1;
    return 0;
}

int32_t batch_came(kelvane_handle, kelvane_device_address address, const kelvane_global_pm *, uint64_t number)
{
    bench.batches.at(sirane_of(address)).add(number);
    return 0;
}

int32_t alarms_came(kelvane_handle, kelvane_device_address address, const global_alarms *, uint64_t number)
{
    bench.alarms.at(sirane_of(address)).add(number);
    return 0;
}

int32_t plug_came(kelvane_handle, kelvane_device_address address, uint32_t plugged)
{
    sequence &it = bench.plugs.at(sirane_of(address));
    const bool unplugging_is_next = it.count % 2 == 0;
    it.add((plugged == 0) == unplugging_is_next ? it.count + 1 : 0);
    return 0;
}

void run_card()
{
    while (!bench.card_ends) {
        card_step(bench.it);
        while (card_take_interrupt(bench.it)) {
            kelvane_notify_msi(0);
        }
        wait_sleep(2 * MS);
    }
}

std::string tell(const std::string &line)
{
    std::string answer;
    EXPECT_EQ(card_verb(bench.it, line.c_str(), &answer), 0) << line << ": " << answer;
    return answer;
}

uint64_t interrupts_raised()
{
    const std::string text = tell("show");
    const size_t at = text.find(" clients, ");
    return at == std::string::npos ? UINT64_MAX : std::strtoull(text.c_str() + at + 10, nullptr, 10);
}

void start_library()
{
    kelvane_init_device_t device{};
    device.client_type = 1;
    device.notify_plugin_cb = plug_came;
    device.pci_read_cb = read_word;
    device.pci_write_cb = write_word;
    ASSERT_EQ(kelvane_init_driver(), 0);
    ASSERT_EQ(kelvane_device_create(device), 0);
    ASSERT_EQ(kelvane_pci_mapped(0, 1, 0, 0), 0);
    ASSERT_EQ(kelvane_enable_msi(0, 1), 0);
    for (uint32_t sirane = 0; sirane < SIRANES; sirane++) {
        ASSERT_EQ(kelvane_enable_pm_notify(0, KELVANE_ADDRESS_SIRANE(sirane), 1, batch_came), 0);
        ASSERT_EQ(kelvane_enable_alarms_notify(0, KELVANE_ADDRESS_SIRANE(sirane), 1, alarms_came), 0);
    }
}

template <typename condition> bool wait_for(condition holds)
{
    for (const uint64_t end = wait_monotonic() + PATIENCE; !holds();) {
        if (wait_monotonic() > end) {
            return false;
        }
        wait_sleep(50 * MS);
    }
    return true;
}

// One outcome of each kind on each sirane.
void bring_about(uint32_t round)
{
    constexpr const char *SIRANE_PLACES[] = {"1", "4", "7"};
    constexpr const char *MODULES[] = {"3", "6", "9"};
    const bool even = round % 2 == 0;
    for (uint32_t sirane = 0; sirane < SIRANES; sirane++) {
        EXPECT_EQ(kelvane_set_laser(0, KELVANE_ADDRESS_NETWORK_PORT(sirane, 0), even ? 1 : 0, laser_done,
                                    static_cast<int32_t>(round)),
                  0);
        tell(std::string(even ? "alarm raise " : "alarm clear ") + SIRANE_PLACES[sirane] + " SRN_TEMP");
        tell(std::string(even ? "unplug " : "plug ") + MODULES[sirane]);
    }
}

// So many of a hundred times: an event without a bit, one with a bit for a mailbox that holds no message,
// and one whose source no mailbox has.
void disturb(uint32_t percent, uint32_t *owed)
{
    constexpr const char *SPURIOUS[] = {"spurious-interrupt", "spurious-interrupt 4 17",
                                        "spurious-interrupt 7 19", "spurious-interrupt 1 99"};
    for (uint32_t occasion = 0; occasion < 10; occasion++) {
        *owed += percent;
        if (*owed >= 100) {
            *owed -= 100;
            tell(SPURIOUS[occasion % std::size(SPURIOUS)]);
        }
        wait_sleep(ROUND / 10);
    }
}

bool all_arrived()
{
    for (uint32_t sirane = 0; sirane < SIRANES; sirane++) {
        for (const std::atomic<uint32_t> &calls : bench.completions[sirane]) {
            if (calls == 0) {
                return false;
            }
        }
        // An alarm besides those of the rounds: the empty port's own, with each unplugging and plugging.
        if (bench.alarms[sirane].count < 2 * ROUNDS || bench.plugs[sirane].count < ROUNDS) {
            return false;
        }
    }
    return true;
}

struct fault_row {
    const char *name;
    const char *verb; // empty: spurious interrupts, which the test brings about itself
};

const fault_row FAULTS[] = {
    {"lost", "drop-interrupt "},
    {"doubled", "double-interrupt "},
    {"late", "late-interrupt 700 "},
    {"later_than_the_drain", "late-interrupt 2500 "},
    {"spurious", ""},
};

void PrintTo(const fault_row &row, std::ostream *out)
{
    *out << row.name;
}

using disturbed = std::tuple<fault_row, uint32_t>;

class interrupts : public testing::TestWithParam<disturbed> {};

TEST_P(interrupts, every_outcome_arrives_exactly_once)
{
    const auto &[fault, percent] = GetParam();
    const temporary_folder folder;
    setenv(HOST_TREE_VARIABLE, folder.path.c_str(), 1);
    setenv("KELVANE_TRACE_DIR", folder.path.c_str(), 1);
    host_tree_forget();
    fast_time_start(SPEED);
    bench.it = card_create(card_options{});
    std::thread card_thread(run_card);
    tell("batch-interval 600");
    const bool spurious = *fault.verb == '\0';
    if (!spurious) {
        tell(fault.verb + std::to_string(percent) + "%");
    }
    ASSERT_NO_FATAL_FAILURE(start_library());

    uint32_t owed = 0;
    for (uint32_t round = 0; round < ROUNDS; round++) {
        bring_about(round);
        disturb(spurious ? percent : 0, &owed);
    }
    EXPECT_TRUE(wait_for(all_arrived));
    wait_sleep(TWO_DRAINS); // which would bring what comes twice
    const uint64_t raised = interrupts_raised();
    EXPECT_EQ(raised == 0, percent == 100 && std::string(fault.name) == "lost") << raised;

    EXPECT_EQ(bench.failed_completions, 0u);
    for (uint32_t sirane = 0; sirane < SIRANES; sirane++) {
        for (const std::atomic<uint32_t> &calls : bench.completions[sirane]) {
            EXPECT_EQ(calls, 1u);
        }
        EXPECT_EQ(bench.alarms[sirane].count, 2 * ROUNDS);
        EXPECT_EQ(bench.alarms[sirane].out_of_order, 0u);
        EXPECT_EQ(bench.plugs[sirane].count, ROUNDS);
        EXPECT_EQ(bench.plugs[sirane].out_of_order, 0u);
        EXPECT_GE(bench.batches[sirane].count, ROUNDS);
        EXPECT_EQ(bench.batches[sirane].out_of_order, 0u);
    }
    EXPECT_NE(tell("show").find("\n0 messages lost"), std::string::npos);
    bench.card_ends = true;
    card_thread.join();
}

INSTANTIATE_TEST_SUITE_P(disturbed, interrupts,
                         testing::Combine(testing::ValuesIn(FAULTS), testing::Values(0, 1, 10, 50, 100)),
                         [](const auto &row) {
                             return std::string(std::get<0>(row.param).name) + "_" +
                                    std::to_string(std::get<1>(row.param));
                         });

} // namespace
