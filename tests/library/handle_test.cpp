#include "core/handle.h"

#include "core/transaction_id.h"
#include "kelvane_trace_defs.h"
#include "support/library.h"

namespace {

TEST_F(library_test, only_handle_0_of_a_created_device_passes)
{
    ASSERT_EQ(kelvane_init_driver(), 0);
    EXPECT_EQ(check_kelvane_handler_input(0), 22);
    EXPECT_EQ(kelvane_slot_of_handler(0), 0xFFFFFFFF);
    ASSERT_EQ(kelvane_device_create(recorded_bar_device()), 0);
    EXPECT_EQ(check_kelvane_handler_input(0), 0);
    EXPECT_EQ(kelvane_slot_of_handler(0), 0u);
    for (const uint32_t handle : {1u, 3u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
        EXPECT_EQ(check_kelvane_handler_input(handle), 22);
        EXPECT_EQ(kelvane_slot_of_handler(handle), 0xFFFFFFFF);
        EXPECT_EQ(kelvane_get_pci_mapped(handle), 0);
        EXPECT_EQ(kelvane_get_low_prio_thread(handle), 0xDDEEAA00u);
    }
}

TEST_F(library_test, a_record_that_is_only_half_in_use_is_not)
{
    start_library();
    local_handles_array[0].signature = 0x01010101;
    EXPECT_EQ(check_kelvane_handler_input(0), 22);
    EXPECT_EQ(kelvane_device_create(recorded_bar_device()), -1);
    local_handles_array[0].signature = 0xAA88AA88;
    local_handles_array[0].dev = 0xFFFFFFFF;
    EXPECT_EQ(check_kelvane_handler_input(0), 22);
    EXPECT_EQ(kelvane_device_create(recorded_bar_device()), -1);
}

TEST_F(library_test, the_accessor_of_command_mutexes_ignores_its_index)
{
    start_library();
    for (const uint32_t index : {0u, 1u, 2u, 3u}) {
        EXPECT_EQ(kelvane_get_command_mutex(0, index), &local_handles_array[0].command_mutex[0]);
    }
    EXPECT_EQ(kelvane_get_command_mutex(0, 4), nullptr);
    EXPECT_EQ(kelvane_get_command_mutex(1, 0), nullptr);
}

TEST_F(library_test, batch_numbers_are_kept_for_each_sirane)
{
    start_library();
    uint64_t value = 1;
    EXPECT_EQ(kelvane_set_local_pm_incremental_id(0, 2, 0x123456789Aull), 0);
    EXPECT_EQ(kelvane_get_local_pm_incremental_id(0, 2, &value), 0);
    EXPECT_EQ(value, 0x123456789Aull);
    EXPECT_EQ(kelvane_get_local_pm_incremental_id(0, 1, &value), 0);
    EXPECT_EQ(value, 0u);
    EXPECT_EQ(kelvane_set_local_pm_incremental_id(0, 3, 1), 22);
    EXPECT_EQ(kelvane_set_local_pm_incremental_id(1, 0, 1), 22);
    EXPECT_EQ(kelvane_get_local_pm_incremental_id(1, 0, &value), 22);
    EXPECT_EQ(kelvane_get_local_pm_incremental_id(0, 3, &value), 22);
}

TEST_F(library_test, references_count_up_and_wrap)
{
    start_library();
    kelvane_transaction_counter.next = 0xFFFFFFFE;
    uint32_t drawn[3];
    for (uint32_t &reference : drawn) {
        ASSERT_EQ(kelvane_transaction_id_next(&reference), 0);
    }
    EXPECT_EQ(drawn[0], 0xFFFFFFFEu);
    EXPECT_EQ(drawn[1], 0xFFFFFFFFu);
    EXPECT_EQ(drawn[2], 0u);
}

} // namespace
