// Set laser and set traffic type as requests that are answered later, up to the send.
#include "core/handle.h"
#include "core/mutex.h"
#include "core/transaction_id.h"
#include "provisioning/value_names.h"
#include "support/handshake.h"
#include "support/library.h"

#include <thread>

namespace {

int32_t done(kelvane_handle, kelvane_device_address, uint32_t, int32_t)
{
    return 0;
}

class request_test : public library_test {
  protected:
    request_test()
    {
        turn_log_on();
        start_library();
        firmware.install();
        firmware.answer = false; // it comes later
        kelvane_transaction_counter.next = 0x1234;
        log_lines();
    }

    answering_firmware firmware;
    asynch_req_t *table = local_handles_array[0].asynch_req_array[0];
};

TEST_F(request_test, a_request_is_stored_and_its_slot_travels)
{
    EXPECT_EQ(kelvane_set_traffic_type(0, 0xFF0001FF, 25, done, 2), 0);
    EXPECT_EQ(firmware.request_header, (std::vector<uint32_t>{0, 0x1234, 4, 0, 0, 0}));
    EXPECT_EQ(firmware.request_data, (std::vector<uint32_t>{0, 0xFF0001FF, 25, 2}));
    EXPECT_EQ(table[0].header.cmd, 0u);
    EXPECT_EQ(table[0].header.ref_id, 0x1234u);
    EXPECT_EQ(table[0].header.sy, 0u);
    EXPECT_EQ(table[0].req_data[3], 2u);
    EXPECT_EQ(table[0].asynch_op_type, 1u);
    EXPECT_EQ(table[0].fn_cb, reinterpret_cast<asynch_callback>(done));
    const std::string text = log_text();
    EXPECT_NE(text.find("kelvane_set_traffic_type:  start traffic_type =  KELVANE_TRAFFIC_TYPE_NONE  \n"),
              std::string::npos);
    EXPECT_NE(text.find("INFO  Slot:00 kelvane_set_traffic_type: asynch mode \n"), std::string::npos);

    EXPECT_EQ(kelvane_set_laser(0, 0xFF0000FF, -1, done, 1), 0);
    EXPECT_EQ(firmware.request_header, (std::vector<uint32_t>{2, 0x1235, 4, 0, 1, 0}));
    EXPECT_EQ(firmware.request_data, (std::vector<uint32_t>{0, 0xFF0000FF, 0xFFFFFFFF, 1}));
    EXPECT_NE(log_text().find("kelvane_set_laser: start laser=-1 transaction_id=1 \n"), std::string::npos);
    EXPECT_NE(log_text().find("DEBUG Slot:00 kelvane_set_laser: asynch mode \n"), std::string::npos);
    EXPECT_EQ(kelvane_mutex_get_owner(&local_handles_array[0].command_mutex[0]), 0);
    EXPECT_EQ(time.sleeps(), 0u); // nothing is waited for
}

TEST_F(request_test, a_full_table_sends_nothing)
{
    for (int i = 0; i < 12; i++) {
        EXPECT_EQ(kelvane_set_laser(0, 0xFF0000FF, 1, done, i), 0);
    }
    the_bar.take_accesses();
    EXPECT_EQ(kelvane_set_laser(0, 0xFF0000FF, 1, done, 12), 16);
    EXPECT_TRUE(the_bar.take_accesses().empty());
}

TEST_F(request_test, a_failed_send_leaves_the_request_to_age)
{
    firmware.refuse = true;
    EXPECT_EQ(kelvane_set_laser(0, 0xFF0000FF, 1, done, 1), 64173);
    EXPECT_EQ(table[0].signature, 0xCCBBDD11u);
    EXPECT_TRUE(log_has("ERROR kelvane_set_laser: returned rc = 64173 on manage_cmd_send "));
    std::thread([] { kelvane_mutex_lock(&local_handles_array[0].command_mutex[0]); }).join();
    EXPECT_EQ(kelvane_set_traffic_type(0, 0xFF0000FF, 1, done, 1), 110);
    EXPECT_EQ(table[1].signature, 0xCCBBDD11u);
}

TEST_F(request_test, what_is_checked_comes_before_the_table)
{
    EXPECT_EQ(kelvane_set_laser(0, 0xFF00FFFF, 1, done, 1), 22);
    EXPECT_EQ(kelvane_set_laser(1, 0xFF0000FF, 1, done, 1), 22);
    EXPECT_EQ(table[0].signature, 0xBBAACC00u);
}

TEST(value_names, traffic_types_and_leds)
{
    EXPECT_STREQ(traffic_type_name(0), "KELVANE_TRAFFIC_TYPE_OTU_CLIENT_100G_QPSK_FEC15_DIFF");
    EXPECT_STREQ(traffic_type_name(11), "KELVANE_TRAFFIC_TYPE_OTU_CLIENT_150G_8QAM_FEC25_NODIFF");
    EXPECT_STREQ(traffic_type_name(18), "KELVANE_TRAFFIC_TYPE_100GE_CLIENT_200G_16QAM_FEC25_DIFF");
    EXPECT_STREQ(traffic_type_name(24), "KELVANE_TRAFFIC_TYPE_NONE");
    EXPECT_STREQ(traffic_type_name(25), " KELVANE_TRAFFIC_TYPE_NONE ");
    EXPECT_STREQ(led_name(1), "KELVANE_LED_GREEN  ");
    EXPECT_STREQ(led_name(2), "KELVANE_LED_YELLOW ");
    EXPECT_STREQ(led_name(3), "KELVANE_LED_RED    ");
    EXPECT_STREQ(led_name(4), "KELVANE_LED_OFF    ");
    EXPECT_STREQ(led_name(0), "KELVANE_UNKNOWN_LED");
}

} // namespace
