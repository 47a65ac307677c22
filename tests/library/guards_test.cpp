// What inner functions refuse, though no public operation hands it to them.
#include "background/aging.h"
#include "card/info_tables.h"
#include "card/running_firmware.h"
#include "firmware_log/eprom_trace.h"
#include "firmware_log/log_file.h"
#include "mbox/model.h"
#include "mbox/receive.h"
#include "mbox/request_table.h"
#include "support/library.h"

namespace {

struct guards_test : firmware_test {
    const mailbox_handler &mb = mailbox_of(0, MBOX_RESPONSE);
    request_table &requests = sirane_0.requests;
};

TEST_F(guards_test, what_is_not_there_is_refused)
{
    const std::string longest(512, 'x');
    uint64_t number = 0;
    uint32_t told = 0;
    bool is_old = false;
    asynch_req_t none{}, odd{};
    none.fn_cb.address = odd.fn_cb.address = [] {};
    odd.asynch_op_type = static_cast<kelvane_asynch_type>(99);
    int32_t (*const dump)(kelvane_handle, kelvane_device_address, FILE *, const char *, ...) =
        kelvane_ltrace_file_dump;
    const trace_context at = {0, 0xFF00FFFF};
    EXPECT_EQ(
        (std::vector{
            kelvane_get_local_pm_incremental_id(0, 3, &number), kelvane_set_local_pm_incremental_id(0, 3, 1),
            insert_asynch_req(at, mb, requests, none, &told), insert_asynch_req(at, mb, requests, odd, &told),
            remove_asynch_req(at, mb, requests, 17), get_asynch_req(at, mb, requests, 17, &none),
            increase_aging_asynch_req(at, mb, requests, 17),
            is_out_of_date_asynch_req(at, mb, requests, 17, &is_old),
            dump(0, 0xFF00FFFF, stdout, longest.c_str()), dump(0, 0xFFFFFFFF, stdout, "x"),
            dump(0, 0xFF00FFFF, nullptr, "x"),
            dumpBlockSize(0, 0xFFFFFFFF, 0x03E00000, 0x03E00004, 4, stdout, 1),
            dumpBlockSize(0, 0xFF00FFFF, 0x03E00000, 0x03E00004, 3, stdout, 1),
            dumpBlockSize(0, 0xFF00FFFF, 0x03E00000, 0x03E00004, 4, stdout, 2),
            kelvane_dump_voltage_regulator_alarm(0, 0xFF00FFFF, nullptr)}),
        std::vector(15, 22));
    EXPECT_EQ((std::vector{kelvane_get_sirane_software(0, 0, 2, &told, &told),
                           kelvane_get_ordune_software(0, 0, 3, &told, &told),
                           manage_resp_mbox_new_state(at, mb, 8, true)}),
              std::vector(3, 64170));
    EXPECT_EQ((std::vector<const void *>{kelvane_get_command_mutex(1, 0), kelvane_get_command_mutex(0, 4),
                                         mbox_sem_of(1, 0, 0), mbox_sem_of(0, 3, 0), mbox_sem_of(0, 2, 3)}),
              std::vector<const void *>(5));
    EXPECT_EQ(kelvane_get_command_mutex(0, 3), &sirane_0.command_mutex);
    EXPECT_EQ(check_if_cb_is_available(1, sirane_0, MBOX_PM), 0); // no version there
    kelvane_store_firmware_version(1);
}

// A subscription in a request's place does not age; a command without a handler, or none, is not reported.
TEST_F(guards_test, what_cannot_be_reported_does_not_go)
{
    const auto age = [this](kelvane_device_address address) {
        return kelvane_manage_asynch_req_aging({0, address}, mailbox_of(0, MBOX_PM), requests);
    };
    const std::tuple<kelvane_asynch_type, uint32_t, int32_t, uint32_t> ROWS[] = {
        {KELVANE_ASYNCH_TYPE_OP_PM, 2, 0, 1000},
        {KELVANE_ASYNCH_TYPE_OP_STANDARD_ASYNCH, 9, 64170, 1002},
        {KELVANE_ASYNCH_TYPE_OP_STANDARD_ASYNCH, 2, 22, 1002}, // without callback
        {KELVANE_ASYNCH_TYPE_OP_STANDARD_ASYNCH, COMMAND_COUNT, 22, 1002}};
    for (const auto &[type, command, rc, aged] : ROWS) {
        asynch_req_t &record = requests.record[11];
        record = {};
        record.signature = 0xCCBBDD11;
        record.asynch_op_type = type;
        record.header.cmd = command;
        record.aging_time = 1000;
        EXPECT_EQ(age(0xFF00FFFF), rc);
        EXPECT_EQ(record.aging_time, aged);
    }
    EXPECT_TRUE(
        log_contains("PM    Slot:00 kelvane_manage_asynch_req_aging: ERROR problem with req id 11  "));
    EXPECT_TRUE(log_contains("LOWPR Slot:00 print_asynch_req_array: pos 11  "));
    EXPECT_EQ(age(0xF0FFFFFF), 22);
    kelvane_mutex *lock = &local_handles_array[0].sirane[1].requests.lock;
    kelvane_mutex_lock(lock); // of another sirane, whose table cannot be locked
    EXPECT_EQ(age(0xFF01FFFF), 64172);
    kelvane_mutex_unlock(lock);
}

} // namespace
