#include "lifecycle/driver.h"

#include "core/handle.h"
#include "core/mutex.h"
#include "support/library.h"

namespace {

TEST_F(library_test, a_device_needs_its_three_callbacks)
{
    turn_log_on();
    ASSERT_EQ(kelvane_init_driver(), 0);
    for (int missing = 0; missing < 3; missing++) {
        kelvane_init_device_t device = recorded_bar_device();
        (missing == 0 ? device.notify_plugin_cb = nullptr : device.notify_plugin_cb);
        (missing == 1 ? device.pci_read_cb = nullptr : device.pci_read_cb);
        (missing == 2 ? device.pci_write_cb = nullptr : device.pci_write_cb);
        EXPECT_EQ(kelvane_device_create(device), -1);
        EXPECT_TRUE(log_has("ERROR kelvane_device_create: callback not evaluated "));
        EXPECT_EQ(local_handles_array[0].signature, 0x01010101u);
        EXPECT_EQ(local_handles_array[0].dev, 0xFFFFFFFFu);
    }
    EXPECT_EQ(kelvane_device_create(recorded_bar_device()), 0); // without block callbacks
}

TEST_F(library_test, only_slot_0_can_be_taken)
{
    ASSERT_EQ(kelvane_init_driver(), 0);
    for (const uint32_t slot : {1u, 7u, 0xFFFFFFFFu}) {
        kelvane_init_device_t device = recorded_bar_device();
        device.slot_id = slot;
        EXPECT_EQ(kelvane_device_create(device), -1);
        EXPECT_EQ(local_handles_array[0].dev, 0xFFFFFFFFu);
    }
}

TEST_F(library_test, a_second_create_finds_the_device_there)
{
    turn_log_on();
    start_library();
    kelvane_init_device_t other = recorded_bar_device();
    other.subsystem_number = 77;
    EXPECT_EQ(kelvane_device_create(other), 0);
    EXPECT_EQ(log_lines().back(), "INFO  kelvane_device_create: Handler already registered");
    EXPECT_EQ(local_handles_array[0].init_device.subsystem_number, 0u);
    other.slot_id = 1;
    EXPECT_EQ(kelvane_device_create(other), -1);
    EXPECT_EQ(log_lines().back(), "ERROR kelvane_device_create: No handle free");
}

TEST_F(library_test, what_a_new_device_holds)
{
    ASSERT_EQ(kelvane_init_driver(), 0);
    kelvane_init_device_t device = recorded_bar_device();
    device.app_zynq_restart_notify_cb = [](kelvane_handle, uint32_t) { return 0; };
    device.client_type = 1;
    ASSERT_EQ(kelvane_device_create(device), 0);
    kelvane_handle_record &record = local_handles_array[0];
    EXPECT_EQ(record.signature, 0xAA88AA88u);
    EXPECT_EQ(record.init_device.client_type, 1u);
    EXPECT_EQ(record.pci_mapped, 0);
    for (auto &table : record.asynch_req_array) {
        EXPECT_EQ(table[12].signature, 0xBBAACC00u);
        EXPECT_EQ(table[15].signature, 0xCCBBDD11u);
        EXPECT_EQ(table[15].header.cmd, 37u);
        EXPECT_EQ(table[15].header.size, 3u);
        EXPECT_EQ(table[15].header.sy, 15u);
        EXPECT_EQ(table[15].asynch_op_type, 4u);
        EXPECT_EQ(table[15].fn_cb, reinterpret_cast<asynch_callback>(device.notify_plugin_cb));
        EXPECT_EQ(table[16].header.cmd, 41u);
        EXPECT_EQ(table[16].header.size, 2u);
        EXPECT_EQ(table[16].asynch_op_type, 5u);
    }
}

TEST_F(library_test, deleting_closes_the_gate_and_keeps_what_was_made)
{
    start_library();
    kelvane_handle_record &record = local_handles_array[0];
    record.asynch_req_array[0][3].signature = 0xCCBBDD11;
    record.local_pm_incremental_id[1] = 5;
    EXPECT_EQ(kelvane_device_delete(1), 22);
    EXPECT_EQ(kelvane_device_delete(0), 0);
    EXPECT_EQ(record.pci_mapped, 0);
    EXPECT_EQ(kelvane_device_delete(0), 22);
    ASSERT_EQ(kelvane_mutex_lock(&record.command_mutex[0]), 0); // would fail on a mutex made anew while held
    EXPECT_EQ(kelvane_device_create(recorded_bar_device()), 0);
    EXPECT_NE(kelvane_mutex_get_owner(&record.command_mutex[0]), 0);
    kelvane_mutex_unlock(&record.command_mutex[0]);
    EXPECT_EQ(record.asynch_req_array[0][3].signature, 0xCCBBDD11u); // requests outlive the device
    EXPECT_EQ(record.local_pm_incremental_id[1], 0u);
}

TEST_F(library_test, a_table_that_refuses_leaves_the_record_claimed)
{
    start_library();
    kelvane_device_delete(0);
    ASSERT_EQ(kelvane_mutex_lock(&local_handles_array[0].asynch_req_lock[0]), 0);
    EXPECT_EQ(kelvane_device_create(recorded_bar_device()), 64172);
    EXPECT_EQ(local_handles_array[0].signature, 0xAA88AA88u);
    kelvane_mutex_unlock(&local_handles_array[0].asynch_req_lock[0]);
}

TEST_F(library_test, the_link_test)
{
    start_library();
    EXPECT_EQ(kelvene_check_pci_functionality(0), 0);
    std::vector<std::string> accesses = the_bar.take_accesses();
    ASSERT_EQ(accesses.size(), 100u);
    EXPECT_EQ(accesses[0], "W 00000300=00000000");
    EXPECT_EQ(accesses[98], "W 000003c4=00000031");
    EXPECT_EQ(accesses[99], "R 000003c4");
    the_bar.next_values[0x300] = {1};
    EXPECT_EQ(kelvene_check_pci_functionality(0), 64171);
    EXPECT_EQ(the_bar.take_accesses().size(), 2u); // stops at the first
    EXPECT_EQ(kelvane_fill_sdk_to_arm_data(0), 0);
    EXPECT_EQ(the_bar.take_accesses(),
              (std::vector<std::string>{"W 03fffc00=00000001", "W 03fffc04=0000002b"}));
    uint32_t major = 0, minor = 0;
    kelvane_get_sw_sdk_version(&major, &minor);
    EXPECT_EQ(major, 1u);
    EXPECT_EQ(minor, 43u);
}

TEST_F(library_test, the_record_in_the_log)
{
    turn_log_on();
    start_library();
    log_lines();
    trace_level_mask_set(2);
    kelvane_print_local_handler(0);
    const std::vector<std::string> lines = log_lines();
    ASSERT_EQ(lines.size(), 6u + 9 + 9 + 2 + 9 + 3 * 6);
    EXPECT_EQ(lines[0], "INFO  kelvane_print_local_handler: signature   aa88aa88 ");
    EXPECT_EQ(lines[2], "INFO  kelvane_print_local_handler: pci_mapped  1   ");
    EXPECT_EQ(lines[7], "INFO  kelvane_print_init_device_t:  client_type        00000000 ");
    EXPECT_EQ(lines[11].find("INFO  kelvane_print_init_device_t:  pci_write_cb       0x"), 0u);
    EXPECT_EQ(
        lines[15].find("INFO  kelvane_print_th_array: srn=0 mbox=0 th=00000000  mbox_tid t0 MUT resp=0x"),
        0u);
    EXPECT_EQ(lines[24], "INFO  kelvane_print_th_array: low prio th=00000000  mbox_tid t0 ");
    EXPECT_NE(lines[26].find(" semState 0x1 "), std::string::npos);
    EXPECT_EQ(lines[35], "INFO  print_asynch_req_array: pos 15  ");
    kelvane_print_local_handler(1); // names no record
    trace_level_mask_set(127);
}

} // namespace
