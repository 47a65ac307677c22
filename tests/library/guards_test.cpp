// What inner functions refuse though no door hands them such a thing.
#include <unistd.h>

#include "background/aging.h"
#include "background/keep_alive.h"
#include "card/info_tables.h"
#include "core/handle.h"
#include "core/mutex.h"
#include "firmware_log/eprom_trace.h"
#include "firmware_log/log_file.h"
#include "mbox/model.h"
#include "mbox/receive.h"
#include "mbox/request_table.h"
#include "support/library.h"

namespace {

kelvane_init_device_t failing_device()
{
    kelvane_init_device_t device = recorded_bar_device();
    device.generic_cb = [](kelvane_handle, kelvane_device_address, uint32_t) { return 5; };
    return device;
}

class guards_test : public firmware_test {
  protected:
    guards_test() : firmware_test(failing_device())
    {
    }

    kelvane_handle_record &record = local_handles_array[0];
    asynch_req_t *const table = record.asynch_req_array[0];
    kelvane_mutex *const lock = &record.asynch_req_lock[0];
};

TEST_F(guards_test, siranes_mailboxes_and_versions_that_are_not_there)
{
    uint64_t number = 0;
    uint32_t major = 0, minor = 0;
    EXPECT_EQ(kelvane_get_local_pm_incremental_id(0, 3, &number), 22);
    EXPECT_EQ(kelvane_set_local_pm_incremental_id(0, 3, 1), 22);
    EXPECT_EQ(kelvane_get_command_mutex(1, 0), nullptr);
    EXPECT_EQ(kelvane_get_command_mutex(0, 4), nullptr);
    EXPECT_EQ(kelvane_get_command_mutex(0, 3), &record.command_mutex[0]);
    EXPECT_EQ(mbox_sem_of(1, 0, 0), nullptr);
    EXPECT_EQ(mbox_sem_of(0, 3, 0), nullptr);
    EXPECT_EQ(mbox_sem_of(0, 2, 3), nullptr);
    EXPECT_EQ(mbox_sem_of(0, 2, 4), &record.dap_semaphore);
    EXPECT_EQ(kelvane_get_sirane_software(0, 0, 2, &major, &minor), 64170);
    EXPECT_EQ(kelvane_get_ordune_software(0, 0, 3, &major, &minor), 64170);
    kelvane_store_firmware_version(1);
    EXPECT_EQ(check_if_cb_is_available(1, 0, 1), 0); // no version there
    EXPECT_EQ(check_if_cb_is_available(0, 3, 1), 64170);
    the_bar.word[0x01F04F0C] = 0xBBCC0066;
    EXPECT_EQ(kelvane_manage_seu_pl_uncorrectable(0), 0); // the callback's failure is its own
    EXPECT_EQ(kelvane_get_zynq_rsa_check(0, 1, &major), 0);
    record.dev = 0xFFFFFFFF; // only half in use
    EXPECT_EQ(kelvane_device_create(recorded_bar_device()), -1);
}

TEST_F(guards_test, a_drain_whose_second_look_fails)
{
    the_bar.word[0x01F04004] = 0x00050016;
    for (const uint64_t access : {24, 25}) { // the state, the header
        offer_message({9, 0x77, 4, 0, 0xFF00FF00, 0}, {1, 2, 3, 4});
        the_bar.fail_from = the_bar.access_number + access;
        EXPECT_EQ(kelvane_deque_resp_receive(0, 0xFF00FFFF, 0), 64174);
        EXPECT_EQ(held_locks(), "");
    }
}

TEST_F(guards_test, requests_that_are_none)
{
    constexpr uint32_t NO_SLOT = 17;
    asynch_req_t request{};
    uint32_t told = 0;
    request.asynch_op_type = KELVANE_ASYNCH_TYPE_OP_PM;
    EXPECT_EQ(insert_asynch_req(0, 0xFF00FFFF, nullptr, table, lock, &told, request), 22); // no callback
    request.fn_cb = [] {};
    for (const uint32_t type : {0u, 99u}) {
        request.asynch_op_type = static_cast<kelvane_asynch_type>(type);
        EXPECT_EQ(insert_asynch_req(0, 0xFF00FFFF, nullptr, table, lock, &told, request), 22) << type;
    }
    EXPECT_EQ(told, 0xFF00FF00u);
    EXPECT_EQ(remove_asynch_req(0, 0xFF00FFFF, nullptr, table, lock, NO_SLOT), 22);
    EXPECT_EQ(get_asynch_req(0, 0xFF00FFFF, nullptr, table, lock, NO_SLOT, &request), 22);
    EXPECT_EQ(increase_aging_asynch_req(0, 0xFF00FFFF, nullptr, table, lock, NO_SLOT), 22);
    EXPECT_EQ(is_out_of_date_asynch_req(0, 0xFF00FFFF, nullptr, table, lock, NO_SLOT, &told), 22);
    EXPECT_EQ(told, 0u);
    // A subscription in a request's place does not age; a command without a handler, or none, is not
    // reported.
    const auto age = [&](kelvane_device_address address) {
        return kelvane_manage_asynch_req_aging(0, address, get_mbox_handler(0, 0), table, lock);
    };
    for (const auto &[type, command] : {std::pair{KELVANE_ASYNCH_TYPE_OP_PM, 2u},
                                        {KELVANE_ASYNCH_TYPE_OP_STANDARD_ASYNCH, 9u},
                                        {KELVANE_ASYNCH_TYPE_OP_STANDARD_ASYNCH, 66u}}) {
        table[11] = {};
        table[11].signature = 0xCCBBDD11;
        table[11].asynch_op_type = type;
        table[11].header.cmd = command;
        table[11].aging_time = 1000;
        EXPECT_EQ(age(0xFF00FFFF), command == 66 ? 22 : command == 9 ? 64170 : 0);
        EXPECT_EQ(table[11].aging_time, type == KELVANE_ASYNCH_TYPE_OP_PM ? 1000u : 1002u);
    }
    EXPECT_EQ(age(0xF0FFFFFF), 22); // an address of no sirane
    ASSERT_EQ(kelvane_mutex_lock(&record.asynch_req_lock[1]), 0);
    EXPECT_EQ(age(0xFF01FFFF), 64172); // of another one, whose table cannot be locked
    kelvane_mutex_unlock(&record.asynch_req_lock[1]);
}

TEST_F(guards_test, texts_that_are_not_to_be_written)
{
    log_file file = {fopen("/dev/full", "w")};
    ASSERT_NE(file.fp, nullptr);
    int32_t (*const dump)(kelvane_handle, kelvane_device_address, FILE *, const char *, ...) =
        kelvane_ltrace_file_dump;
    EXPECT_EQ(dump(0, 0xFF00FFFF, file.fp, std::string(512, 'x').c_str()), 22);
    EXPECT_EQ(dump(0, 0xFFFFFFFF, file.fp, "x"), 22);
    EXPECT_EQ(dump(0, 0xFF00FFFF, nullptr, "x"), 22);
    EXPECT_EQ(dumpBlockSize(0, 0xFFFFFFFF, 0x03E00000, 0x03E00004, 4, file.fp, 1), 22);
    EXPECT_EQ(dump(0, 0xFF00FFFF, file.fp, "x"), 0); // told when it is closed
    EXPECT_EQ(close_log_file(0, &file, 5), 5);
    file.fp = tmpfile();
    close(fileno(file.fp)); // so that the closing itself fails
    EXPECT_EQ(close_log_file(0, &file, 0), 64170);
    EXPECT_EQ(kelvane_dump_voltage_regulator_alarm(0, 0xFF00FFFF, nullptr), 22);
    file.fp = fopen("/dev/full", "w");
    setvbuf(file.fp, nullptr, _IONBF, 0); // fails at once, and not when it is closed
    EXPECT_EQ(dump(0, 0xFF00FFFF, file.fp, "x"), 0);
    EXPECT_EQ(close_log_file(0, &file, 0), 64170);
}

} // namespace
