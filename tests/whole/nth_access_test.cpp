// What the bus may do to an operation, one thing after the other: its first access is spoiled, then its
// second, and so on until it runs through untouched. Each run ends with a code that has a meaning, with no
// lock held and no word beyond an output touched, and the card works afterwards.
#include "lifecycle/driver.h"
#include "platform/wait.h"
#include "support/library.h"
#include "support/operations.h"
#include "support/promises.h"
#include "whole/simulation/world.h"

namespace {

constexpr uint64_t MS = 1000000;
constexpr uint64_t ACCESSES_MOST = 2000;
constexpr uint64_t SEED = 5; // of a card with firmware 5.23
constexpr char LINK_UP[] = "kelvane_pci_mapped";

std::string image_path; // of an image of 64 words, with its digest

struct spoiled_operation {
    std::string name;
    std::function<int32_t(uint32_t *out)> run;
    bool serves_interrupts = false; // until none is pending
};

// What comes of an operation later, in the library's threads.
int32_t with_time(int32_t rc, uint64_t nanoseconds)
{
    wait_sleep(nanoseconds);
    return rc;
}

int32_t exchange_dap(uint32_t *)
{
    const uint32_t message[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    const uint32_t size = sizeof message;
    return with_time(kelvane_dap_command(0, message, &size, no_matter), 500 * MS);
}

int32_t watch_firmware(uint32_t *)
{
    const int32_t rc = with_time(kelvane_enable_keep_alive_notify(0, 1, no_matter), 5000 * MS);
    kelvane_enable_keep_alive_notify(0, 0, nullptr);
    return rc;
}

template <auto enable> int32_t subscribe(uint32_t *)
{
    simulation_verb("batch-interval 600");
    const int32_t rc = enable(0, 0xFF00FFFF, 1, no_matter);
    simulation_verb("alarm raise 1 SRN_TEMP");
    return with_time(rc, 3000 * MS);
}

std::vector<spoiled_operation> operations()
{
    std::vector<spoiled_operation> all = {
        {LINK_UP, [](uint32_t *) { return kelvane_pci_mapped(0, 1, 0, 0); }},
        {"kelvane_download_software",
         [](uint32_t *) { return kelvane_download_software(0, 2, image_path.c_str()); }},
        {"the delivery of an answer",
         [](uint32_t *) { return with_time(kelvane_set_laser(0, 0xFF0000FF, 1, no_matter, 1), 500 * MS); }},
        {"the delivery of a batch", subscribe<kelvane_enable_pm_notify>},
        {"the delivery of alarms", subscribe<kelvane_enable_alarms_notify>},
        {"a pass of the low-priority thread", [](uint32_t *) { return with_time(0, 2500 * MS); }},
        {"the watch over the firmware", watch_firmware, true},
        {"an exchange over the DAP channel", exchange_dap},
    };
    for (const auto &rows : {command_rows, register_rows}) {
        for (const operation_row &row : rows) {
            all.push_back({row.name, [&row](uint32_t *out) { return row.run(0, row.address(), out); },
                           row.call == caller<kelvane_deque_msi, false>::call});
        }
    }
    return all;
}

// Between the accesses that are spoiled: a link-up has a thousand of them, and waits minutes for each mailbox
// of a card that stays silent.
#if defined KELVANE_SLOW_BUILD // with sanitizers
constexpr uint64_t STEP = 7, LINK_UP_STEP = 101;
#elif defined KELVANE_ALL_CASES
constexpr uint64_t STEP = 1, LINK_UP_STEP = 2;
#else
constexpr uint64_t STEP = 5, LINK_UP_STEP = 53;
#endif

class nth_access_test : public library_test, public testing::WithParamInterface<size_t> {
  protected:
    nth_access_test()
    {
        EXPECT_EQ(kelvane_init_driver(), 0);
        image_path = folder.path + "/image.bin";
        std::ofstream(image_path) << std::string(256, 'x');
        std::ofstream(image_path + ".md5") << "c7a139a2b8e92164276f778917ba10b9";
    }

    // Whether it was disturbed as `arm` wants it.
    static bool run_disturbed(const spoiled_operation &operation, bool with_lies,
                              const std::function<void()> &arm)
    {
        const bool links_up = operation.name == LINK_UP;
        guarded_words out;
        int32_t code = 0;
        world_run(SEED, [&] {
            EXPECT_TRUE(links_up || kelvane_pci_mapped(0, 1, 0, 0) == 0);
            EXPECT_TRUE(links_up || kelvane_enable_msi(0, 1) == 0);
            arm();
            simulation.accesses_of_step = 0;
            code = operation.run(out.word);
            simulation.bus_spoils = false;
            simulation.locks_are_kept = links_up && code != 0;
        });
        EXPECT_TRUE(with_lies || is_documented(code)) << code; // a lie may be about the result
        EXPECT_TRUE(out.is_intact_behind());
        return simulation.was_struck;
    }
};

TEST_P(nth_access_test, leaves_a_card_that_works)
{
    const spoiled_operation operation = operations().at(GetParam());
    for (uint32_t fault = FAILS; fault < BUS_FAULTS; fault++) {
        for (const bool for_ever : {false, true}) {
            if (for_ever && operation.serves_interrupts && fault != FAILS) {
                continue; // for as long as the card shows one, and so for ever
            }
            uint64_t nth = 1;
            const auto spoil = [&] {
                simulation.bus_fault_kind = static_cast<bus_fault>(fault);
                simulation.bus_fault_in = static_cast<uint32_t>(nth - 1);
                simulation.bus_fault_count = for_ever ? UINT32_MAX : 1;
                simulation.bus_spoils = true;
            };
            while (nth < ACCESSES_MOST && run_disturbed(operation, fault != FAILS, spoil)) {
                ASSERT_FALSE(HasFailure()) << operation.name << ", fault " << fault << ", for ever "
                                           << for_ever << ", access " << nth;
                nth += operation.name != LINK_UP ? STEP : for_ever ? 211 : LINK_UP_STEP;
            }
            EXPECT_GT(nth, 1u) << operation.name << " reaches no card";
            EXPECT_LT(nth, ACCESSES_MOST) << operation.name;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(operation, nth_access_test, testing::Range(size_t{0}, operations().size()));

} // namespace
