#include "core/handle.h"
#include "support/handshake.h"
#include "support/library.h"

namespace {

int32_t batch(kelvane_handle, kelvane_device_address, const kelvane_global_pm *, uint64_t)
{
    return 0;
}

int32_t other_batch(kelvane_handle, kelvane_device_address, const kelvane_global_pm *, uint64_t)
{
    return 0;
}

int32_t change(kelvane_handle, kelvane_device_address, const global_alarms *, uint64_t)
{
    return 0;
}

class subscription_test : public library_test {
  protected:
    subscription_test()
    {
        start_library();
        firmware.install();
        firmware.answer = false;
    }

    answering_firmware firmware;
    kelvane_handle_record &record = local_handles_array[0];
    asynch_req_t &performance = record.asynch_req_array[0][13];
    asynch_req_t &alarms = record.asynch_req_array[0][14];
};

TEST_F(subscription_test, renewing_starts_a_new_sequence_with_a_new_reference)
{
    record.local_pm_incremental_id[0] = 7;
    record.local_pm_incremental_id[1] = 8;
    EXPECT_EQ(kelvane_enable_pm_notify(0, 0xFF00FFFF, 1, batch), 0);
    const uint32_t first = performance.header.ref_id;
    EXPECT_EQ(record.local_pm_incremental_id[0], 0u);
    EXPECT_EQ(record.local_pm_incremental_id[1], 8u);
    EXPECT_EQ(kelvane_enable_pm_notify(0, 0xFF0001FF, 1, other_batch), 0); // a port's sirane
    EXPECT_EQ(performance.header.ref_id, first + 1);
    EXPECT_EQ(performance.fn_cb, reinterpret_cast<asynch_callback>(other_batch));
    EXPECT_EQ(performance.asynch_op_type, 2u);
    EXPECT_EQ(performance.req_data[1], 0u);
}

TEST_F(subscription_test, the_record_comes_first_and_the_command_second)
{
    firmware.refuse = true;
    EXPECT_EQ(kelvane_enable_alarms_notify(0, 0xFF00FFFF, 1, change), 64173);
    EXPECT_EQ(alarms.signature, 0xCCBBDD11u);
    EXPECT_EQ(kelvane_enable_alarms_notify(0, 0xFF00FFFF, 0, nullptr), 64173);
    EXPECT_EQ(alarms.signature, 0xBBAACC00u);
    EXPECT_EQ(kelvane_enable_alarms_notify(0, 0xFF00FFFF, 0, nullptr), 64173); // none to end, and no matter
}

TEST_F(subscription_test, nothing_is_awaited)
{
    EXPECT_EQ(kelvane_enable_pm_notify(0, 0xFF00FFFF, 1, batch), 0);
    EXPECT_EQ(kelvane_enable_alarms_notify(0, 0xFF00FFFF, 1, change), 0);
    EXPECT_EQ(time.sleeps(), 0u);
    EXPECT_EQ(the_bar.word.count(RESPONSE_H), 0u);
}

} // namespace
