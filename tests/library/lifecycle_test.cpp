// The device from its creation to its deletion, and who may access the card meanwhile.
#include "core/handle.h"
#include "core/mutex.h"
#include "core/pci.h"
#include "kelvane_trace_defs.h"
#include "lifecycle/driver.h"
#include "support/library.h"

namespace {

kelvane_init_device_t device()
{
    kelvane_init_device_t device = recorded_bar_device();
    device.app_zynq_restart_notify_cb = [](auto...) { return 0; };
    device.client_type = 0xC1;
    device.subsystem_number = 0x5B;
    return device;
}

class lifecycle_test : public firmware_test {
  protected:
    lifecycle_test() : firmware_test(device())
    {
    }

    // The results of the four forms of access to one word, and the accesses.
    static std::string access(uint32_t check_alive, kelvane_handle handle = 0)
    {
        uint32_t word = 0;
        const int32_t rc[] = {kelvane_internal_pci_read(handle, 0, 0x300, &word, check_alive),
                              kelvane_internal_pci_write(handle, 0, 0x300, 1, check_alive),
                              kelvane_internal_pci_read_block(handle, 0, 0x300, 1, &word, check_alive),
                              kelvane_internal_pci_write_block(handle, 0, 0x300, 1, &word, check_alive)};
        return std::to_string(rc[0]) + " " + std::to_string(rc[1]) + " " + std::to_string(rc[2]) + " " +
               did(rc[3]);
    }

    // Whether a device can be created, and the last line of the log.
    std::string create(const kelvane_init_device_t &init_device)
    {
        const int32_t rc = kelvane_device_create(init_device);
        return std::to_string(rc) + " " + log_lines().back();
    }

    kelvane_handle_record &record = local_handles_array[0];
};

constexpr char PASSED[] = "0 0 0 0 r300 w300=1 r300 w300=1";
constexpr char REFUSED[] = "64174 64174 64174 64174 ";

TEST_F(lifecycle_test, creating_and_deleting)
{
    kelvane_init_device_t other = device();
    other.client_type = 7;
    EXPECT_EQ(create(other), "0 INFO  kelvane_device_create: Handler already registered");
    EXPECT_EQ(kelvane_get_client_type(0), 0xC1u); // the one there is stays
    other.slot_id = 1;
    EXPECT_EQ(create(other), "-1 ERROR kelvane_device_create: No handle free");
    ASSERT_EQ(kelvane_mutex_lock(&record.command_mutex[0]), 0); // made once
    record.local_pm_incremental_id[1] = 5;
    set_watch(1, 1);
    for (const uint32_t handle : {1u, 3u, 0xFFFFFFFFu, 0u, 0u}) {
        EXPECT_EQ(kelvane_device_delete(handle), handle == 0 && record.dev == 0 ? 0 : 22);
        EXPECT_EQ(kelvane_slot_of_handler(handle), 0xFFFFFFFF);
        EXPECT_EQ(kelvane_get_low_prio_thread(handle), 0xDDEEAA00u);
    }
    EXPECT_EQ(access(0), REFUSED);
    kelvane_init_device_t lacking[] = {device(), device(), device()};
    lacking[0].notify_plugin_cb = nullptr;
    lacking[1].pci_read_cb = nullptr;
    lacking[2].pci_write_cb = nullptr;
    for (const kelvane_init_device_t &each : lacking) {
        EXPECT_EQ(create(each), "-1 ERROR kelvane_device_create: callback not evaluated ");
    }
    other.slot_id = 0xFFFFFFFF;
    EXPECT_EQ(create(other), "-1 ERROR kelvane_device_create: No handle free");
    EXPECT_EQ(create(device()), "0 INFO  kelvane_device_create: Returned handler 0 ");
    EXPECT_EQ(held_locks(), "0 command, ");
    EXPECT_EQ(record.local_pm_incremental_id[1], 0u);
    EXPECT_EQ(record.keep_alive_enabled + record.keep_alive_status, 0u);
    kelvane_device_delete(0);
    ASSERT_EQ(kelvane_mutex_lock(&record.asynch_req_lock[0]), 0);
    EXPECT_EQ(kelvane_device_create(device()), 64172);
    EXPECT_EQ(check_kelvane_handler_input(0), 0); // the record stays claimed
    record.signature = 0x01010101;                // only half in use
    EXPECT_EQ(kelvane_device_create(device()), -1);
    EXPECT_EQ(check_kelvane_handler_input(0), 22);
}

TEST_F(lifecycle_test, the_record_in_the_log)
{
    record.mbox_tid[1][2] = 77;
    trace_level_mask_set(2);
    kelvane_print_local_handler(0);
    std::string text;
    for (const std::string &line : log_lines()) { // without what is an address
        text += line.substr(line.find(':') + 1, line.find("0x") - line.find(':') - 1);
    }
    EXPECT_EQ(
        text.substr(0, text.find("MUT")),
        " signature   aa88aa88  dev         0    pci_mapped  1    is_thread_initialized  1    "
        "stored_ordune_ver_maj  0    stored_ordune_ver_min  0     slot_id            00000000   client_type  "
        "      "
        "000000c1   subsystem_number   0000005b   notify_plugin_cb     pci_read_cb          pci_write_cb     "
        "    "
        "pci_read_block_cb  (nil)   pci_write_block_cb (nil)   app_zynq_restart_notify_cb  srn=0 mbox=0 "
        "th=00000000  mbox_tid t0 ");
    EXPECT_NE(text.find(" srn=1 mbox=2 th=00000000  mbox_tid t77 MUT resp= srn=2 mbox=0 "),
              std::string::npos);
    EXPECT_NE(text.find(" low prio th=00000000  mbox_tid t0  dap      th=00000000  mbox_tid t0 "),
              std::string::npos);
    EXPECT_NE(text.find(" srn=2 mbox=2 semAddr  pos 15   mbx 6 cmd 37 rfd "), std::string::npos);
    EXPECT_NE(text.find("= KELVANE_ASYNCH_TYPE_OP_NOTIFY_PLUGIN pos 16   mbx 6 cmd 41 rfd "),
              std::string::npos);
}

TEST_F(lifecycle_test, who_may_access_the_card)
{
    const std::tuple<uint32_t, uint32_t, uint32_t, const char *> cases[] = {
        // watch, status, check_alive
        {0, 0, 1, PASSED},  {0, 2, 1, PASSED}, {1, 1, 1, PASSED}, {1, 0, 1, REFUSED},
        {1, 2, 1, REFUSED}, {1, 2, 0, PASSED}, {1, 2, 7, PASSED}, {1, 3, 1, REFUSED}};
    for (const auto &[watch, status, check_alive, result] : cases) {
        set_watch(watch, status);
        EXPECT_EQ(access(check_alive), result) << watch << status << check_alive;
    }
    EXPECT_TRUE(log_has("ERROR check_keep_alive: keep alive NOT_ALIVE "));
    set_watch(0, 0);
    close_gate();
    testing::internal::CaptureStdout();
    EXPECT_EQ(access(0), REFUSED);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "fpga is not PCI mapped \n"); // of the word write
    EXPECT_EQ(log_lines().size(), 4u);
    EXPECT_TRUE(log_contains("ERROR Slot:00 kelvane_internal_pci_read: fpga is not PCI mapped \n"));
    EXPECT_TRUE(log_contains("ERROR Slot:00 kelvane_internal_pci_write_block: fpga is not PCI mapped \n"));
    EXPECT_EQ(access(0, 1), REFUSED);
    EXPECT_EQ(access(1, 0xFFFFFFFF), REFUSED);
    EXPECT_EQ(check_keep_alive(1), 0); // nobody watches there
}

TEST_F(lifecycle_test, words_and_blocks)
{
    uint32_t words[] = {7, 8, 0xFFFFFFFF};
    EXPECT_EQ(did(kelvane_internal_pci_write_block(0, 0, 0x40, 3, words, 0)), "0 w40=7,8,ffffffff");
    EXPECT_TRUE(log_has("REG   kelvane_internal_pci_write: offset 0x00000048 value 0xffffffff "));
    the_bar.fail_from = the_bar.access_number + 2;
    EXPECT_EQ(did(kelvane_internal_pci_read_block(0, 0, 0x44, 3, words, 1)), "64174 r44+2");
    EXPECT_EQ(words[0] + words[2], 7u); // 8 was read; all ones stayed
    EXPECT_TRUE(log_has("ERROR kelvane_internal_pci_read: callback rc = 5 "));
    EXPECT_EQ(did(kelvane_internal_pci_read_block(0, 0, 0x40, 0, words, 1)), "0 ");
    EXPECT_EQ(did(kelvane_internal_pci_read(0, 0, 0x48, words, 1)), "0 r48");
    EXPECT_EQ(words[0], 0xFFFFFFFF); // a value like any other
    record.init_device.pci_read_block_cb = [](auto, auto bus, auto offset, auto count, uint32_t *data,
                                              auto alive) {
        data[0] = offset + count * 100 + bus * 10 + alive;
        return offset == 0 ? 3 : 0;
    };
    record.init_device.pci_write_block_cb = [](auto, auto, auto offset, auto...) {
        return offset == 0 ? 4 : 0;
    };
    log_lines();
    EXPECT_EQ(did(kelvane_internal_pci_read_block(0, 0, 4000, 2, words, 1)), "0 ");
    EXPECT_EQ(words[0], 4201u);
    EXPECT_EQ(did(kelvane_internal_pci_write_block(0, 0, 4000, 2, words, 1)), "0 ");
    EXPECT_TRUE(log_lines().empty());
    EXPECT_EQ(kelvane_internal_pci_read_block(0, 0, 0, 2, words, 1), 64174);
    EXPECT_EQ(kelvane_internal_pci_write_block(0, 0, 0, 2, words, 1), 64174);
    EXPECT_TRUE(log_has("ERROR kelvane_internal_pci_write_block: callback rc = 4 "));
}

} // namespace
