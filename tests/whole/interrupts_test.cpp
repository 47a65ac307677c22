// Interrupts that are lost, doubled, late and spurious. One only shortens a delay: every outcome arrives
// exactly once, at the latest with the drain that the low-priority thread makes every 2 seconds. Time runs
// faster here.
#include <gtest/gtest.h>

#include <cstdlib>

#include "support/fast_time.h"
#include "whole/working_card.h"

namespace {

// What a mailbox's queue holds has to outlast a thread that waits for a processor.
#ifdef KELVANE_SLOW_BUILD // with sanitizers
constexpr uint64_t SPEED = 3;
#else
constexpr uint64_t SPEED = 10;
#endif
constexpr uint64_t PATIENCE = 250 * SECOND; // ends a test that failed; less than a request's 300 s
constexpr uint64_t TWO_DRAINS = 5 * SECOND;
constexpr uint32_t SIRANES = KELVANE_SIRANE_COUNT;
constexpr uint32_t ROUNDS = 8; // of all outcomes; a sirane's table holds 12 requests
constexpr uint64_t ROUND = 400 * MS;

std::array<std::array<std::atomic<uint32_t>, ROUNDS>, SIRANES> completions;
std::atomic<uint32_t> failed_completions;
std::array<sequence, SIRANES> plugs; // 1 for the first unplugging, 2 for the plugging after it, ...

int32_t laser_done(kelvane_handle, kelvane_device_address address, uint32_t transaction_id, int32_t result)
{
    completions.at(sirane_of(address)).at(transaction_id)++;
    failed_completions += result == 0 ? 0 : 1;
    return 0;
}

int32_t plug_came(kelvane_handle, kelvane_device_address address, uint32_t plugged)
{
    sequence &it = plugs.at(sirane_of(address));
    const bool unplugging_is_next = it.count % 2 == 0;
    it.add((plugged == 0) == unplugging_is_next ? it.count + 1 : 0);
    return 0;
}

uint64_t interrupts_raised()
{
    const std::string text = tell("show");
    const size_t at = text.find(" clients, ");
    return at == std::string::npos ? UINT64_MAX : std::strtoull(text.c_str() + at + 10, nullptr, 10);
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
        for (const std::atomic<uint32_t> &calls : completions[sirane]) {
            if (calls == 0) {
                return false;
            }
        }
        // An alarm besides those of the rounds: the empty port's own, with each unplugging and plugging.
        if (alarms[sirane].count < 2 * ROUNDS || plugs[sirane].count < ROUNDS) {
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
    fast_time_start(SPEED);
    ASSERT_NO_FATAL_FAILURE(start_work(2 * MS, 0, plug_came));
    tell("batch-interval 600");
    const bool spurious = *fault.verb == '\0';
    if (!spurious) {
        tell(fault.verb + std::to_string(percent) + "%");
    }

    const uint64_t before = interrupts_raised();
    uint32_t owed = 0;
    for (uint32_t round = 0; round < ROUNDS; round++) {
        bring_about(round);
        disturb(spurious ? percent : 0, &owed);
    }
    EXPECT_TRUE(wait_for(all_arrived, PATIENCE));
    wait_sleep(TWO_DRAINS); // which would bring what comes twice
    const uint64_t raised = interrupts_raised() - before;
    EXPECT_EQ(raised == 0, percent == 100 && std::string(fault.name) == "lost") << raised;

    EXPECT_EQ(failed_completions, 0u);
    for (uint32_t sirane = 0; sirane < SIRANES; sirane++) {
        for (const std::atomic<uint32_t> &calls : completions[sirane]) {
            EXPECT_EQ(calls, 1u);
        }
        EXPECT_EQ(alarms[sirane].count, 2 * ROUNDS);
        EXPECT_EQ(plugs[sirane].count, ROUNDS);
        EXPECT_GE(batches[sirane].count, ROUNDS);
        for (const auto *all : {&alarms, &plugs, &batches}) {
            EXPECT_EQ((*all)[sirane].missing + (*all)[sirane].disordered, 0u);
        }
    }
    end_work();
}

#ifdef KELVANE_ALL_CASES
const auto SHARES = testing::Values(0, 1, 10, 50, 100);
#else
const auto SHARES = testing::Values(10, 100);
#endif

INSTANTIATE_TEST_SUITE_P(disturbed, interrupts, testing::Combine(testing::ValuesIn(FAULTS), SHARES),
                         [](const auto &row) {
                             return std::string(std::get<0>(row.param).name) + "_" +
                                    std::to_string(std::get<1>(row.param));
                         });

} // namespace
