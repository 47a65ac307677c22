// The device from its creation to its deletion, and who may access the card meanwhile.
#include "core/handle.h"
#include "core/mutex.h"
#include "core/pci.h"
#include "kelvane_trace_defs.h"
#include "lifecycle/driver.h"
#include "support/library.h"

namespace {

class lifecycle_test : public firmware_test {
  protected:
    lifecycle_test() : firmware_test(device())
    {
    }

    static kelvane_init_device_t device()
    {
        kelvane_init_device_t device = recorded_bar_device();
        device.app_zynq_restart_notify_cb = [](kelvane_handle, uint32_t) { return 0; };
        device.client_type = 0xC1;
        device.subsystem_number = 0x5B;
        return device;
    }

    // The four forms of access with one word; the results.
    static std::vector<int32_t> access(uint32_t check_alive)
    {
        uint32_t word = 0;
        return {kelvane_internal_pci_read(0, 0, 0x300, &word, check_alive),
                kelvane_internal_pci_write(0, 0, 0x300, 1, check_alive),
                kelvane_internal_pci_read_block(0, 0, 0x300, 1, &word, check_alive),
                kelvane_internal_pci_write_block(0, 0, 0x300, 1, &word, check_alive)};
    }

    kelvane_handle_record &record = local_handles_array[0];
};

const std::vector<int32_t> passed(4, 0);
const std::vector<int32_t> refused(4, 64174);

TEST_F(lifecycle_test, creating_and_deleting)
{
    kelvane_init_device_t other = device();
    other.slot_id = 1;
    EXPECT_EQ(kelvane_device_create(other), -1);
    EXPECT_TRUE(log_has("ERROR kelvane_device_create: No handle free"));
    other.slot_id = 0;
    other.client_type = 7;
    EXPECT_EQ(kelvane_device_create(other), 0);
    EXPECT_TRUE(log_has("INFO  kelvane_device_create: Handler already registered"));
    EXPECT_EQ(kelvane_get_client_type(0), 0xC1u);               // the one there is stays
    ASSERT_EQ(kelvane_mutex_lock(&record.command_mutex[0]), 0); // made once
    record.local_pm_incremental_id[1] = 5;
    set_watch(1, 1);
    for (const uint32_t handle : {1u, 3u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
        EXPECT_EQ(kelvane_device_delete(handle), 22);
        EXPECT_EQ(kelvane_slot_of_handler(handle), 0xFFFFFFFF);
        EXPECT_EQ(kelvane_get_low_prio_thread(handle), 0xDDEEAA00u);
    }
    EXPECT_EQ(kelvane_slot_of_handler(0), 0u);
    EXPECT_EQ(kelvane_device_delete(0), 0);
    EXPECT_EQ(kelvane_device_delete(0), 22);
    EXPECT_EQ(access(0), refused);
    kelvane_init_device_t lacking[3] = {device(), device(), device()};
    lacking[0].notify_plugin_cb = nullptr;
    lacking[1].pci_read_cb = nullptr;
    lacking[2].pci_write_cb = nullptr;
    for (const kelvane_init_device_t &each : lacking) {
        EXPECT_EQ(kelvane_device_create(each), -1);
        EXPECT_TRUE(log_has("ERROR kelvane_device_create: callback not evaluated "));
        EXPECT_EQ(kelvane_device_delete(0), 22);
    }
    other = device();
    other.slot_id = 0xFFFFFFFF;
    EXPECT_EQ(kelvane_device_create(other), -1);
    EXPECT_EQ(kelvane_device_create(device()), 0);
    EXPECT_EQ(held_locks(), "0 command, ");
    EXPECT_EQ(record.local_pm_incremental_id[1], 0u);
    EXPECT_EQ(record.keep_alive_enabled + record.keep_alive_status, 0u);
    kelvane_device_delete(0);
    ASSERT_EQ(kelvane_mutex_lock(&record.asynch_req_lock[0]), 0);
    EXPECT_EQ(kelvane_device_create(device()), 64172); // and the record stays claimed
    EXPECT_EQ(check_kelvane_handler_input(0), 0);
    record.signature = 0x01010101; // only half in use
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
        const std::string told = line.substr(line.find(':') + 1);
        text += told.substr(0, told.find("0x")) + "|";
    }
    EXPECT_EQ(text.substr(0, text.find("MUT")),
              " signature   aa88aa88 | dev         0   | pci_mapped  1   | is_thread_initialized  1   | "
              "stored_ordune_ver_maj  0   | stored_ordune_ver_min  0   |  slot_id            00000000 |  "
              "client_type        000000c1 |  subsystem_number   0000005b |  notify_plugin_cb   |  "
              "pci_read_cb        |"
              "  pci_write_cb       |  pci_read_block_cb  (nil) |  pci_write_block_cb (nil) |  "
              "app_zynq_restart_notify_cb | srn=0 mbox=0 th=00000000  mbox_tid t0 ");
    for (const char *const told :
         {"| srn=1 mbox=2 th=00000000  mbox_tid t77 MUT resp=|",
          "| low prio th=00000000  mbox_tid t0 | dap      th=",
          "| srn=2 mbox=2 semAddr | pos 15  | mbx 6 cmd 37 rfd |",
          " asynch_req_p->asynch_op_type  = KELVANE_ASYNCH_TYPE_OP_NOTIFY_PLUGIN| pos 16  |"}) {
        EXPECT_NE(text.find(told), std::string::npos) << told;
    }
    kelvane_print_local_handler(1); // names no record
    EXPECT_TRUE(log_lines().empty());
}

TEST_F(lifecycle_test, numbers_that_the_record_keeps)
{
    uint64_t value = 1;
    for (const uint32_t sirane : {0u, 1u, 2u, 3u}) {
        const int32_t code = sirane < 3 ? 0 : 22;
        EXPECT_EQ(kelvane_set_local_pm_incremental_id(0, sirane, 0x123456789Aull + sirane), code);
        EXPECT_EQ(kelvane_get_local_pm_incremental_id(0, sirane, &value), code);
        EXPECT_EQ(value, 0x123456789Aull + std::min(sirane, 2u));
        EXPECT_EQ(kelvane_get_command_mutex(0, sirane), &record.command_mutex[0]); // whatever the index
    }
    EXPECT_EQ(kelvane_get_command_mutex(0, 4), nullptr);
    firmware.next_reference(0xFFFFFFFF);
    for (const uint32_t reference : {0xFFFFFFFFu, 0u}) {
        kelvane_write_register(0, 0xFF00FFFF, 1, 2);
        EXPECT_EQ(firmware.request_header[1], reference);
    }
}

TEST_F(lifecycle_test, who_may_access_the_card)
{
    const struct {
        bool mapped;
        uint32_t watch, status, check_alive;
        bool passes;
    } cases[] = {
        {false, 0, 0, 0, false}, {false, 0, 0, 1, false}, {true, 0, 0, 1, true},  {true, 0, 2, 1, true},
        {true, 1, 1, 1, true},   {true, 1, 0, 1, false},  {true, 1, 2, 1, false}, {true, 1, 2, 0, true},
        {true, 1, 2, 7, true},   {true, 1, 3, 1, false},
    };
    for (const auto &c : cases) {
        c.mapped ? open_gate() : close_gate();
        set_watch(c.watch, c.status);
        EXPECT_EQ(access(c.check_alive), c.passes ? passed : refused) << c.watch << c.status << c.check_alive;
        EXPECT_EQ(accesses(), c.passes ? "r300 w300=1 r300 w300=1" : "");
    }
    EXPECT_TRUE(log_has("ERROR check_keep_alive: keep alive NOT_ALIVE "));
    close_gate();
    testing::internal::CaptureStdout();
    access(1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "fpga is not PCI mapped \n"); // of the word write
    const std::string end = ": fpga is not PCI mapped ";
    EXPECT_EQ(log_lines(),
              (std::vector{"ERROR kelvane_internal_pci_read" + end, "ERROR kelvane_internal_pci_write" + end,
                           "ERROR kelvane_internal_pci_read_block" + end,
                           "ERROR kelvane_internal_pci_write_block" + end}));
    uint32_t value = 0;
    EXPECT_EQ(kelvane_internal_pci_read(1, 0, 0, &value, 0), 64174);
    EXPECT_EQ(kelvane_internal_pci_read(0xFFFFFFFF, 0, 0, &value, 1), 64174);
    EXPECT_EQ(check_keep_alive(1), 0); // nobody watches there
}

TEST_F(lifecycle_test, words_and_blocks)
{
    const uint32_t out[] = {7, 8, 0xFFFFFFFF};
    uint32_t in[3] = {1, 1, 1};
    EXPECT_EQ(kelvane_internal_pci_write_block(0, 0, 0x40, 3, out, 0), 0); // without a callback word by word
    EXPECT_EQ(the_bar.check_alive, (std::vector<uint32_t>{0, 0, 0}));
    EXPECT_EQ(accesses(), "w40=7,8,ffffffff");
    EXPECT_TRUE(log_has("REG   kelvane_internal_pci_write: offset 0x00000048 value 0xffffffff "));
    the_bar.fail_from = the_bar.access_number + 2;
    EXPECT_EQ(kelvane_internal_pci_read_block(0, 0, 0x40, 3, in, 1), 64174);
    EXPECT_EQ(accesses(), "r40+2");
    EXPECT_EQ(in[0] + in[2], 8u);
    EXPECT_TRUE(log_has("ERROR kelvane_internal_pci_read: callback rc = 5 "));
    EXPECT_EQ(kelvane_internal_pci_read_block(0, 0, 0x40, 0, in, 1), 0);
    EXPECT_EQ(kelvane_internal_pci_read(0, 0, 0x48, in, 1), 0); // all ones is a value
    EXPECT_EQ(in[0], 0xFFFFFFFF);
    record.init_device.pci_read_block_cb = [](auto, auto bus, auto offset, auto words, uint32_t *data,
                                              auto alive) {
        data[0] = offset;
        data[1] = words * 100 + bus * 10 + alive;
        return offset == 0 ? 3 : 0;
    };
    record.init_device.pci_write_block_cb = [](auto, auto, auto offset, auto, const uint32_t *, auto) {
        return offset == 0x80 ? 0 : 4;
    };
    log_lines();
    EXPECT_EQ(kelvane_internal_pci_read_block(0, 0, 0x80, 2, in, 1), 0);
    EXPECT_EQ(kelvane_internal_pci_write_block(0, 0, 0x80, 2, in, 1), 0);
    EXPECT_EQ(in[0], 0x80u);
    EXPECT_EQ(in[1], 201u);
    EXPECT_TRUE(log_lines().empty());
    EXPECT_EQ(kelvane_internal_pci_read_block(0, 0, 0, 2, in, 1), 64174);
    EXPECT_EQ(kelvane_internal_pci_write_block(0, 0, 0, 2, in, 1), 64174);
    EXPECT_TRUE(log_has("ERROR kelvane_internal_pci_write_block: callback rc = 4 "));
}

} // namespace
