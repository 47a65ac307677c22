// Interrupts that are lost, doubled and late. One only shortens a delay: every outcome arrives
// exactly once, at the latest with the drain that the low-priority thread makes every 2 seconds.
#include <array>

#include "lifecycle/driver.h"
#include "platform/wait.h"
#include "support/library.h"
#include "whole/simulation/world.h"

namespace {

constexpr uint64_t MS = 1000000;
constexpr uint64_t SEED = 5;   // of a card with firmware 5.23
constexpr uint32_t ROUNDS = 8; // of all outcomes; a sirane's table holds 12 requests
constexpr uint64_t DRAINS = 15000 * MS;
constexpr uint32_t SIRANES = KELVANE_SIRANE_COUNT;

// How many came of each sirane. They come in the order of their transaction ids, or of their numbers.
std::array<uint64_t, SIRANES> completions, alarms, batches;

int32_t laser_done(kelvane_handle, kelvane_device_address address, uint32_t transaction_id, int32_t result)
{
    EXPECT_EQ(result, 0);
    EXPECT_EQ(transaction_id, completions.at(address >> 16 & 0xFF)++);
    return 0;
}

template <auto &numbers, typename record_type>
int32_t record_came(kelvane_handle, kelvane_device_address address, const record_type *, uint64_t number)
{
    EXPECT_EQ(number, ++numbers.at(address >> 16 & 0xFF));
    return 0;
}

// One outcome of each kind on each sirane.
void bring_about(uint32_t round)
{
    constexpr const char *PLACES[] = {"1", "4", "7"};
    constexpr const char *MODULES[] = {"3", "6", "9"};
    const bool even = round % 2 == 0;
    for (uint32_t sirane = 0; sirane < SIRANES; sirane++) {
        const kelvane_device_address port = KELVANE_ADDRESS_NETWORK_PORT(sirane, 0);
        EXPECT_EQ(kelvane_set_laser(0, port, even ? 1 : 0, laser_done, static_cast<int32_t>(round)), 0);
        simulation_verb(std::string(even ? "alarm raise " : "alarm clear ") + PLACES[sirane] + " SRN_TEMP");
        simulation_verb(std::string(even ? "unplug " : "plug ") + MODULES[sirane]);
    }
}

void run_rounds(const std::string &fault, uint32_t percent)
{
    completions = alarms = batches = {};
    EXPECT_EQ(kelvane_pci_mapped(0, 1, 0, 0), 0);
    EXPECT_EQ(kelvane_enable_msi(0, 1), 0);
    for (uint32_t sirane = 0; sirane < SIRANES; sirane++) {
        const kelvane_device_address address = KELVANE_ADDRESS_SIRANE(sirane);
        EXPECT_EQ(kelvane_enable_pm_notify(0, address, 1, record_came<batches>), 0);
        EXPECT_EQ(kelvane_enable_alarms_notify(0, address, 1, record_came<alarms>), 0);
    }
    simulation_verb("batch-interval 600");
    EXPECT_EQ(simulation_verb(fault + " " + std::to_string(percent) + "%"), "");
    for (uint32_t round = 0; round < ROUNDS; round++) {
        bring_about(round);
        wait_sleep(400 * MS);
    }
    wait_sleep(DRAINS);
    for (uint32_t sirane = 0; sirane < SIRANES; sirane++) {
        EXPECT_EQ(completions[sirane], ROUNDS);
        // Besides those of the rounds the empty port's own, with each unplugging and plugging.
        EXPECT_EQ(alarms[sirane], 2 * ROUNDS);
        EXPECT_GE(batches[sirane], ROUNDS);
        EXPECT_EQ(simulation.plugs[KELVANE_ADDRESS_NETWORK_PORT(sirane, 1)],
                  (std::vector<uint32_t>{0, 1, 0, 1, 0, 1, 0, 1}));
    }
}

struct interrupts_test : library_test, testing::WithParamInterface<std::tuple<std::string, uint32_t>> {};

TEST_P(interrupts_test, every_outcome_arrives_exactly_once)
{
    ASSERT_EQ(kelvane_init_driver(), 0);
    world_run(SEED, [] { run_rounds(std::get<0>(GetParam()), std::get<1>(GetParam())); });
}

INSTANTIATE_TEST_SUITE_P(disturbed, interrupts_test,
                         testing::Combine(testing::Values("drop-interrupt", "double-interrupt",
                                                          "late-interrupt 700", "late-interrupt 2500"),
                                          testing::Values(0, 1, 10, 50, 100)));

} // namespace
