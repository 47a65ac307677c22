// Requests that nobody waits for, up to their send; subscriptions; and operations that send nothing.
#include "support/library.h"

namespace {

std::string heard; // the numbers of notices

int32_t on_done(kelvane_handle, kelvane_device_address, uint32_t, int32_t)
{
    return 0;
}

template <typename record_type>
int32_t on_notice(kelvane_handle, kelvane_device_address, const record_type *, uint64_t number)
{
    heard += std::to_string(number) + " ";
    return 0;
}

class requests_test : public firmware_test {
  protected:
    requests_test()
    {
        heard.clear();
        firmware.answer = false; // it comes later
    }

    int32_t batch(uint32_t reference, uint32_t number)
    {
        std::vector<uint32_t> data(116);
        data[114] = number;
        return deliver(1, {24, reference, 116, 1, 13, 0}, data);
    }
};

TEST_F(requests_test, laser_and_traffic_type)
{
    EXPECT_EQ(kelvane_set_traffic_type(0, 0xFF0001FF, 25, on_done, 2), 0);
    EXPECT_EQ(kelvane_set_laser(0, 0xFF0000FF, -1, on_done, 3), 0);
    EXPECT_EQ(accesses(),
              "r1c00004 w1c00100=0,1234,4,0*4,ff0001ff,19,2 w1c00000=4 r1c00004 w1c00000=2 "
              "r1c00004 w1c00100=2,1235,4,0,1,0*2,ff0000ff,ffffffff,3 w1c00000=4 r1c00004 w1c00000=2");
    EXPECT_EQ(time.sleeps(), 0u);
    EXPECT_EQ(held_locks(), "");
    EXPECT_EQ(kelvane_set_laser(0, 0xFF00FFFF, 1, on_done, 1), 22);
    EXPECT_EQ(kelvane_set_traffic_type(1, 0xFF0000FF, 1, on_done, 1), 22);
    EXPECT_EQ(accesses(), "");
}

TEST_F(requests_test, subscriptions)
{
    EXPECT_EQ(kelvane_enable_pm_notify(0, 0xFF00FFFF, 1, on_notice), 0);
    EXPECT_EQ(batch(0x1234, 1) + batch(0x1234, 2), 0);
    EXPECT_EQ(kelvane_enable_pm_notify(0, 0xFF0001FF, 1, on_notice), 0); // renewed, by a port of the sirane
    EXPECT_EQ(batch(0x1234, 3) + batch(0x1235, 1), 0);                   // the old one's, and a new sequence
    EXPECT_FALSE(log_contains("MISSING"));
    firmware.refuse = true; // first the record is made, then the command fails
    EXPECT_EQ(kelvane_enable_alarms_notify(0, 0xFF00FFFF, 1, on_notice), 64173);
    const std::vector<uint32_t> change(14, 7);
    EXPECT_EQ(deliver(2, {35, 0x1236, 14, 0, 14, 0}, change), 0);
    EXPECT_EQ(kelvane_enable_alarms_notify(0, 0xFF00FFFF, 0, nullptr), 64173);
    EXPECT_EQ(kelvane_enable_alarms_notify(0, 0xFF00FFFF, 0, nullptr), 64173); // none to end, and no matter
    deliver(2, {35, 0x1236, 14, 0, 14, 0}, change);
    EXPECT_EQ(heard, "1 2 1 30064771079 ");
}

TEST_F(requests_test, values_have_names_in_the_log)
{
    trace_level_mask_set(2); // for a card that is not there only the first lines are written
    for (const uint32_t type : {11, 12, 24, 25}) {
        EXPECT_EQ(kelvane_set_traffic_type(1, 0xFF0000FF, type, on_done, 1), 22);
    }
    EXPECT_EQ(said("kelvane_set_traffic_type"),
              " start traffic_type = KELVANE_TRAFFIC_TYPE_OTU_CLIENT_150G_8QAM_FEC25_NODIFF |"
              " start traffic_type = KELVANE_TRAFFIC_TYPE_100GE_CLIENT_100G_QPSK_FEC15_DIFF |"
              " start traffic_type = KELVANE_TRAFFIC_TYPE_NONE |"
              " start traffic_type =  KELVANE_TRAFFIC_TYPE_NONE  |");
    for (const uint32_t led : {0, 1, 4}) {
        kelvane_set_xpm2_led(1, 0xFF0000FF, led);
    }
    EXPECT_EQ(said("kelvane_set_xpm2_led"),
              "start led = KELVANE_UNKNOWN_LED |start |start led = KELVANE_LED_GREEN   |start |"
              "start led = KELVANE_LED_OFF     |start |");
}

TEST_F(requests_test, reserved_operations_write_their_line)
{
#define SETTER(name)    {#name, [] { return name(9, 0xFFFFFFFF, 1, 2, 3); }},
#define OPERATION(name) {#name, [] { return name(9, 0xFFFFFFFF); }},
    const std::pair<std::string, int32_t (*)()> operations[] = {KELVANE_RESERVED_SETTERS(SETTER)
                                                                    KELVANE_RESERVED_OPERATIONS(OPERATION)};
    EXPECT_EQ(std::size(operations), 78u);
    for (const auto &[name, call] : operations) {
        EXPECT_EQ(call(), 0);
        EXPECT_EQ(log_lines(), std::vector<std::string>{"INFO  " + name + ": stubbed "});
    }
    EXPECT_TRUE(log_contains("INFO  Slot:-1 kelvane_get_rx_osnr_cur: stubbed \n"));
    EXPECT_EQ(accesses(), "");
}

} // namespace
