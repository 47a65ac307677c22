#include "mbox/request_table.h"

#include "background/aging.h"
#include "core/handle.h"
#include "core/mutex.h"
#include "mbox/model.h"
#include "support/library.h"

namespace {

struct callback_record {
    int calls = 0;
    uint32_t device_address = 0;
    uint32_t transaction_id = 0;
    int32_t result = 0;
} called;

int32_t laser_done(kelvane_handle, kelvane_device_address device_address, uint32_t transaction_id,
                   int32_t result)
{
    called = {called.calls + 1, device_address, transaction_id, result};
    return 0;
}

class request_table_test : public library_test {
  protected:
    request_table_test()
    {
        turn_log_on();
        start_library();
        called = {};
        log_lines();
    }

    int32_t insert(uint32_t sirane_id, uint32_t type, uint32_t ref_id, uint32_t *id)
    {
        asynch_req_t request{};
        request.header = {2, ref_id, 4, 0, 0xFF00FF00, 0};
        request.req_data[1] = 0xFF0000FF | sirane_id << 16;
        request.req_data[3] = 40 + ref_id;
        request.fn_cb = reinterpret_cast<asynch_callback>(laser_done);
        request.asynch_op_type = type;
        return insert_asynch_req(0, address, mb, array(sirane_id), lock(sirane_id), id, request);
    }

    uint32_t valid(uint32_t sy, uint32_t ref_id)
    {
        uint32_t is_valid = 9;
        EXPECT_EQ(
            is_asynch_req_id_valid(0, address, mb, array(0), lock(0), &is_valid, {2, ref_id, 4, 0, sy, 0}),
            0);
        return is_valid;
    }

    int32_t age(int passes, uint32_t device_address = 0xFF00FFFF)
    {
        int32_t rc = 0;
        for (int i = 0; i < passes; i++) {
            rc = kelvane_manage_asynch_req_aging(0, device_address, mb, array(0), lock(0));
        }
        return rc;
    }

    asynch_req_t *array(uint32_t sirane_id)
    {
        return local_handles_array[0].asynch_req_array[sirane_id];
    }
    kelvane_mutex *lock(uint32_t sirane_id)
    {
        return &local_handles_array[0].asynch_req_lock[sirane_id];
    }

    static constexpr uint32_t address = 0xFF00FFFF;
    const mailbox_handler *mb = get_mbox_handler(0, 0);
};

TEST_F(request_table_test, twelve_in_flight_and_the_thirteenth_refused)
{
    uint32_t id = 0;
    for (uint32_t i = 0; i < 12; i++) {
        ASSERT_EQ(insert(0, 1, i, &id), 0);
        EXPECT_EQ(id, i);
        EXPECT_EQ(array(0)[i].header.sy, i);
        EXPECT_EQ(array(0)[i].signature, 0xCCBBDD11);
    }
    EXPECT_EQ(insert(0, 1, 12, &id), 16);
    EXPECT_EQ(id, 0xFF00FF00);
    EXPECT_NE(
        log_text().find("ERROR Slot:00 insert_asynch_req: asynch req queue full: asynch_req_id -16711936\n"),
        std::string::npos);
    EXPECT_EQ(insert(1, 1, 12, &id), 0); // the other siranes have tables of their own
    EXPECT_EQ(id, 0u);
    ASSERT_EQ(remove_asynch_req(0, address, mb, array(0), lock(0), 3), 0);
    EXPECT_EQ(insert(0, 1, 13, &id), 0);
    EXPECT_EQ(id, 3u);
    EXPECT_EQ(array(0)[12].signature, 0xBBAACC00); // never given out
}

TEST_F(request_table_test, fixed_slots_are_overwritten)
{
    const struct {
        uint32_t type, slot;
    } kinds[] = {{2, 13}, {3, 14}, {4, 15}, {5, 16}};
    for (const auto &kind : kinds) {
        uint32_t id = 0;
        EXPECT_EQ(insert(2, kind.type, 1, &id), 0);
        EXPECT_EQ(insert(2, kind.type, 2, &id), 0);
        EXPECT_EQ(id, kind.slot);
        EXPECT_EQ(array(2)[kind.slot].header.ref_id, 2u);
    }
}

TEST_F(request_table_test, what_is_refused)
{
    uint32_t id = 0;
    EXPECT_EQ(insert(0, 0, 1, &id), 22);
    EXPECT_EQ(insert(0, 6, 1, &id), 22);
    EXPECT_EQ(insert(0, 0xFFFFFFFF, 1, &id), 22);
    EXPECT_EQ(id, 0xFF00FF00);
    asynch_req_t none{};
    none.asynch_op_type = 1;
    EXPECT_EQ(insert_asynch_req(0, address, mb, array(0), lock(0), &id, none), 22);
    asynch_req_t out{};
    for (const uint32_t beyond : {17u, 0xFFFFFFFFu}) {
        EXPECT_EQ(get_asynch_req(0, address, mb, array(0), lock(0), beyond, &out), 22);
        EXPECT_EQ(remove_asynch_req(0, address, mb, array(0), lock(0), beyond), 22);
    }
    EXPECT_TRUE(
        log_has("ERROR remove_asynch_req: ERROR  Invalid asynch_req_id 17 > KELVANE_MAX_ASYNCH_REQ 17  "));
    EXPECT_EQ(remove_asynch_req(0, address, mb, array(0), lock(0), 12), 0); // free, and no failure
}

TEST_F(request_table_test, which_headers_belong_to_a_record)
{
    uint32_t id = 0;
    insert(0, 1, 5, &id);
    insert(0, 2, 6, &id);
    EXPECT_EQ(valid(0, 5), 1u);
    EXPECT_EQ(valid(0, 6), 0u);
    EXPECT_EQ(valid(1, 5), 0u);
    EXPECT_EQ(valid(12, 0), 0u);
    EXPECT_EQ(valid(13, 6), 1u);
    EXPECT_EQ(valid(13, 5), 0u);
    EXPECT_EQ(valid(15, 999), 1u); // a notification, of no reference
    EXPECT_EQ(valid(16, 0), 0u);   // no restart callback was given
    EXPECT_EQ(valid(17, 5), 0u);
    EXPECT_EQ(valid(0xFFFFFFFF, 5), 0u);
}

TEST_F(request_table_test, a_record_is_claimed_once)
{
    uint32_t id = 0;
    insert(0, 1, 5, &id);
    insert(0, 2, 6, &id);
    asynch_req_t record{};
    uint32_t is_valid = 0;
    EXPECT_EQ(claim_asynch_req(0, address, mb, array(0), lock(0), &is_valid, {2, 5, 4, 0, 0, 0}, &record), 0);
    EXPECT_EQ(is_valid, 1u);
    EXPECT_EQ(record.req_data[3], 45u);
    EXPECT_EQ(claim_asynch_req(0, address, mb, array(0), lock(0), &is_valid, {2, 5, 4, 0, 0, 0}, &record), 0);
    EXPECT_EQ(is_valid, 0u);
    for (int i = 0; i < 2; i++) { // a subscription stays
        claim_asynch_req(0, address, mb, array(0), lock(0), &is_valid, {24, 6, 4, 0, 13, 0}, &record);
        EXPECT_EQ(is_valid, 1u);
    }
}

TEST_F(request_table_test, aging_reports_at_300_and_not_before)
{
    uint32_t id = 0;
    insert(0, 1, 5, &id);
    insert(0, 2, 6, &id);
    EXPECT_EQ(age(149), 0);
    EXPECT_EQ(array(0)[0].aging_time, 298u);
    EXPECT_EQ(valid(0, 5), 1u);
    EXPECT_EQ(called.calls, 0);
    EXPECT_EQ(increase_aging_asynch_req(0, address, mb, array(0), lock(0), 0), 0);
    EXPECT_EQ(valid(0, 5), 0u); // from here on only the aging pass reports it
    EXPECT_EQ(age(1), 0);
    EXPECT_EQ(called.calls, 1);
    EXPECT_EQ(called.device_address, 0xFF0000FF);
    EXPECT_EQ(called.transaction_id, 45u);
    EXPECT_EQ(called.result, 110);
    EXPECT_EQ(array(0)[0].signature, 0xBBAACC00);
    EXPECT_EQ(age(200), 0);
    EXPECT_EQ(called.calls, 1);
    for (const uint32_t fixed : {13u, 15u}) {
        EXPECT_EQ(array(0)[fixed].aging_time, 0u);
    }
    EXPECT_TRUE(the_bar.take_accesses().empty()); // nothing is read for a time-out
}

TEST_F(request_table_test, an_address_that_names_no_table_reports_nothing)
{
    uint32_t id = 0;
    insert(0, 1, 5, &id);
    age(160, 0xFFFFFFFF);
    EXPECT_EQ(called.calls, 0);
    EXPECT_NE(log_text().find("ERROR problem with req id 0  \n"), std::string::npos);
    age(1);
    EXPECT_EQ(called.calls, 1);
}

TEST_F(request_table_test, a_stale_address_reports_what_it_finds_there)
{
    uint32_t id = 0;
    insert(0, 1, 5, &id);
    age(160, 0xFF02FFFF); // nothing in that sirane's slot
    EXPECT_EQ(called.calls, 0);
    EXPECT_EQ(array(0)[0].signature, 0xCCBBDD11);
}

TEST_F(request_table_test, a_record_of_a_command_without_handler_stays)
{
    asynch_req_t request{};
    request.header.cmd = 9;
    request.fn_cb = reinterpret_cast<asynch_callback>(laser_done);
    request.asynch_op_type = 1;
    uint32_t id = 0;
    insert_asynch_req(0, address, mb, array(0), lock(0), &id, request);
    age(155);
    EXPECT_EQ(called.calls, 0);
    EXPECT_EQ(array(0)[0].signature, 0xCCBBDD11);
}

TEST_F(request_table_test, what_does_not_age)
{
    uint32_t id = 0;
    uint32_t out_of_date = 9;
    EXPECT_EQ(insert(0, 2, 5, &id), 0); // a subscription
    array(0)[13].aging_time = 1000;
    EXPECT_EQ(increase_aging_asynch_req(0, address, mb, array(0), lock(0), 13), 0);
    EXPECT_EQ(array(0)[13].aging_time, 1000u);
    EXPECT_EQ(is_out_of_date_asynch_req(0, address, mb, array(0), lock(0), 13, &out_of_date), 0);
    EXPECT_EQ(out_of_date, 0u);
    EXPECT_EQ(increase_aging_asynch_req(0, address, mb, array(0), lock(0), 17), 22);
    out_of_date = 9;
    EXPECT_EQ(is_out_of_date_asynch_req(0, address, mb, array(0), lock(0), 17, &out_of_date), 22);
    EXPECT_EQ(out_of_date, 0u);
}

TEST_F(request_table_test, records_that_cannot_be_reported_stay)
{
    asynch_req_t request{};
    request.header.cmd = 66; // no command
    request.fn_cb = reinterpret_cast<asynch_callback>(laser_done);
    request.asynch_op_type = 1;
    uint32_t id = 0;
    insert_asynch_req(0, address, mb, array(0), lock(0), &id, request);
    age(155);
    EXPECT_EQ(array(0)[0].signature, 0xCCBBDD11);
    request.header.cmd = 2;
    insert_asynch_req(0, address, mb, array(0), lock(0), &id, request);
    EXPECT_EQ(id, 1u);
    array(0)[1].aging_time = 1000;
    kelvane_manage_asynch_req_aging(1, address, mb, array(0), lock(0)); // a handle of no card
    EXPECT_EQ(array(0)[1].signature, 0xCCBBDD11);
    EXPECT_EQ(called.calls, 0);
}

TEST_F(request_table_test, the_question_for_a_subscription)
{
    the_bar.word[0x01F04004] = 0x00050016;
    EXPECT_EQ(check_if_cb_is_available(0, 0, 1), 64175);
    EXPECT_EQ(check_if_cb_is_available(0, 3, 1), 64170);
    EXPECT_EQ(check_if_cb_is_available(1, 0, 1), 0); // whose version nobody can tell
    ASSERT_EQ(kelvane_mutex_lock(lock(0)), 0);
    EXPECT_EQ(check_if_cb_is_available(0, 0, 1), 64172);
    kelvane_mutex_unlock(lock(0));
}

TEST_F(request_table_test, a_lock_that_is_held_fails_every_operation)
{
    ASSERT_EQ(kelvane_mutex_lock(lock(0)), 0);
    uint32_t id = 0;
    asynch_req_t out{};
    EXPECT_EQ(insert(0, 1, 5, &id), 64172);
    EXPECT_EQ(get_asynch_req(0, address, mb, array(0), lock(0), 0, &out), 64172);
    EXPECT_EQ(remove_asynch_req(0, address, mb, array(0), lock(0), 0), 64172);
    EXPECT_EQ(age(1), 64172);
    kelvane_mutex_unlock(lock(0));
}

TEST_F(request_table_test, deleting_frees_every_record)
{
    uint32_t id = 0;
    insert(0, 1, 5, &id);
    delete_asynch_req_array(0, mb, array(0), lock(0));
    for (uint32_t i = 0; i < 17; i++) {
        EXPECT_EQ(array(0)[i].signature, 0xBBAACC00);
        EXPECT_EQ(array(0)[i].fn_cb, nullptr);
    }
}

} // namespace
