// Requests that nobody waits for and subscriptions, and what the firmware sends later or by itself, from the
// mailbox to the callback: answers, for which requests age meanwhile, and what it tells unasked.
#include <cstring>
#include <numeric>
#include <sstream>
#include <thread>

#include "background/response_thread.h"
#include "support/library.h"

namespace {

std::string heard; // what the callbacks were told, in hexadecimal
int32_t callback_returns;
kelvane_global_pm last_batch;
global_alarms last_alarms;

template <typename... number> int32_t hear(const std::string &who, number... numbers)
{
    std::ostringstream text;
    ((text << std::hex << " " << (static_cast<uint64_t>(numbers) & 0xFFFFFFFFFF)), ...);
    heard += who + text.str() + "; ";
    return callback_returns;
}

const auto on_laser = [](auto, auto... values) { return hear("laser", values...); };
const auto on_alarms = [](auto, auto address, const global_alarms *record, auto value) {
    last_alarms = *record;
    return hear("alarms", address, value);
};
const auto on_batch = [](auto, auto address, const kelvane_global_pm *record, auto number) {
    last_batch = *record;
    return hear("batch", address, number);
};

kelvane_init_device_t listening_device()
{
    kelvane_init_device_t device = recorded_bar_device();
    device.notify_plugin_cb = [](auto, auto... values) { return hear("plugin", values...); };
    device.app_zynq_restart_notify_cb = [](auto, auto... values) { return hear("restart", values...); };
    return device;
}

class deliveries_test : public firmware_test {
  protected:
    deliveries_test() : firmware_test(listening_device())
    {
        firmware.answer = false;
        heard.clear();
        callback_returns = 0;
    }

    // What the callbacks were told since the last call.
    static std::string told()
    {
        return std::exchange(heard, "");
    }

    // Asks for a laser; the first with the reference 0x1234.
    static void request(int32_t transaction_id, kelvane_set_laser_cb callback = on_laser)
    {
        EXPECT_EQ(kelvane_set_laser(0, 0xFF0001FF, 1, callback, transaction_id), 0);
    }

    // The result of a delivery, "refused" for a message that was, and what the callbacks were told.
    std::string outcome(uint32_t mbox, const std::vector<uint32_t> &header, const std::vector<uint32_t> &data)
    {
        const std::string rc = std::to_string(deliver(mbox, header, data));
        EXPECT_EQ(kelvane_mutex_get_owner(&sirane_0.answers[mbox].response_mutex), 0);
        return rc + (accesses().find("=10 ") != std::string::npos ? " refused " : " ") + told();
    }

    // Its transaction id is nobody's: the request's own is told.
    std::string answer(uint32_t reference, uint32_t slot = 0, uint32_t command = 2)
    {
        return outcome(0, {command, reference, 4, 0, slot, 0}, {0, 0xFF0001FF, 1, 0x50});
    }

    // A batch of the current layout: words 4 to 113 the record, 114 and 115 the number.
    std::string batch(uint32_t reference, uint32_t number, uint32_t upper_half)
    {
        std::vector<uint32_t> data(114);
        std::iota(data.begin(), data.end(), 0);
        data[1] = 0xFF00FFFF;
        data[102] = 0xABCDFF9C;
        data.insert(data.end(), {number, upper_half});
        return outcome(1, {CMD_ENABLE_PM_NOTIFY, reference, 116, 1, 13, 0}, data);
    }
};

TEST_F(deliveries_test, requests_on_their_way)
{
    EXPECT_EQ(kelvane_set_traffic_type(0, 0xFF0001FF, 25, on_laser, 2), 0);
    EXPECT_EQ(kelvane_set_laser(0, 0xFF0000FF, -1, on_laser, 3), 0);
    EXPECT_EQ(accesses(),
              "r1c00004 w1c00100=0,1234,4,0*4,ff0001ff,19,2 w1c00000=4 r1c00004 w1c00000=2 "
              "r1c00004 w1c00100=2,1235,4,0,1,0*2,ff0000ff,ffffffff,3 w1c00000=4 r1c00004 w1c00000=2");
    EXPECT_EQ(time.sleeps(), 0u);
    for (int32_t id = 2; id < 12; id++) {
        request(id);
    }
    EXPECT_EQ(kelvane_set_laser(0, 0xFF0001FF, 1, on_laser, 12), 16); // no room
}

TEST_F(deliveries_test, requests_in_flight_are_each_answered_once)
{
    for (const int32_t transaction : {0x40, 0x41, 0x42, 0x43}) {
        request(transaction);
    }
    the_bar.on_write = [&, follow = the_bar.on_write](uint32_t offset, uint32_t value) {
        follow(offset, value);
        if (offset == RESPONSE_H && value == 2 && heard == "laser ff0001ff 43 0; ") { // in one wake-up
            offer_message({CMD_SET_LASER, 0x1235, 4, 0, 1, 0}, {0, 0xFF0001FF, 1, 0x41});
        }
    };
    callback_returns = 0x77; // logged, and no matter
    EXPECT_EQ(answer(0x1237, 3), "0 laser ff0001ff 43 0; laser ff0001ff 41 0; ");
    EXPECT_EQ(time.now(), 1000000u);    // half a millisecond for each
    EXPECT_EQ(answer(0x1237, 3), "0 "); // nobody's any more
    request(0x41);
    EXPECT_EQ(firmware.request_header[4], 1u); // the lowest that is free
}

TEST_F(deliveries_test, a_request_is_answered_at_298_and_timed_out_at_300)
{
    trace_level_mask_set(1);
    request(0x40);
    background_passes(149);
    EXPECT_EQ(answer(0x1234), "0 laser ff0001ff 40 0; ");
    request(0x41);
    EXPECT_EQ(kelvane_enable_pm_notify(0, 0xFF00FFFF, 1, on_batch), 0);
    background_passes(149);
    EXPECT_EQ(told(), "");
    background_passes(1);
    EXPECT_EQ(told(), "laser ff0001ff 41 6e; ");
    EXPECT_EQ(answer(0x1235), "0 ");                        // dropped
    EXPECT_EQ(batch(0x1236, 1, 0), "0 batch ff00ffff 1; "); // a subscription does not age
    firmware.refuse = true; // a request whose sending failed is reported all the same, and once
    EXPECT_EQ(kelvane_set_laser(0, 0xFF0001FF, 1, on_laser, 42), 64173);
    background_passes(310);
    EXPECT_EQ(told(), "laser ff0001ff 2a 6e; ");
}

TEST_F(deliveries_test, requests_age_without_the_mapping_and_are_not_reported)
{
    trace_level_mask_set(1);
    for (uint32_t i = 0; i < 2; i++) { // at first a pass knows no address, then that of the last sirane
        request(0x40);
        local_handles_array[0].pci_mapped = 0;
        background_passes(151);
        local_handles_array[0].pci_mapped = 1;
        EXPECT_EQ(answer(0x1234 + i), "0 "); // too late, and only the pass reports it
        background_passes(1);
        EXPECT_EQ(told(), "laser ff0001ff 40 6e; ");
    }
}

TEST_F(deliveries_test, a_synchronous_answer_is_left_to_its_caller)
{
    request(0x40);
    time.on_sleep([this] {
        EXPECT_EQ(held_locks(), ""); // not during the pause
        if (time.sleeps() == 3) {
            EXPECT_EQ(accesses().find('w'), std::string::npos);
            offer_message({CMD_SET_LASER, 0x1234, 4, 0, 0, 0}, {0, 0xFF0001FF, 1, 0x40});
        }
    });
    EXPECT_EQ(outcome(0, {CMD_READ_REGISTER, 7, 4, 0, 0xFF00FF00, 0}, {}), "0 laser ff0001ff 40 0; ");
    EXPECT_EQ(time.now(), 2 * 2000500000ull + 500000); // the pause is for a synchronous answer only
}

TEST_F(deliveries_test, messages_that_belong_to_nobody)
{
    constexpr uint32_t r = 0x1234;
    request(0x40);
    // Command, reference, version, slot, and what comes of it: last a command that nobody handles, another
    // than was sent, and one whose callback is another.
    const std::tuple<uint32_t, uint32_t, uint32_t, uint32_t, std::string> messages[] = {
        {CMD_SET_LASER, r + 1, 0, 0, "0 "},
        {CMD_SET_LASER, r, 0, 5, "0 "},
        {CMD_SET_LASER, r, 0, 17, "0 "},
        {CMD_READ_REGISTER, r, 0, 3, "0 "},
        {COMMAND_COUNT, r, 0, 0, "0 refused "},
        {CMD_SET_LASER, r, 1, 0, "0 refused "},
        {CMD_READ_REGISTER, r, 0, 0, "64170 refused "},
        {CMD_SET_TRAFFIC_TYPE, r, 0, 0, "64170 refused "},
        {CMD_ENABLE_PM_NOTIFY, r, 1, 0, "64170 refused "}};
    for (const auto &[command, reference, version, slot, expected] : messages) {
        EXPECT_EQ(outcome(0, {command, reference, 4, version, slot, 0}, {}), expected) << command << slot;
    }
    kelvane_mutex *lock = &sirane_0.requests.lock;
    ASSERT_EQ(kelvane_mutex_lock(lock), 0); // and while nobody can look
    EXPECT_EQ(kelvane_set_laser(0, 0xFF0001FF, 1, on_laser, 41), 64172);
    for (const uint32_t command : {2u, 9u, 66u}) {
        EXPECT_EQ(answer(r, 0, command), "64172 refused ");
    }
    background_passes(200);
    kelvane_mutex_unlock(lock);
    EXPECT_EQ(outcome(0, {CMD_SET_LASER, r, 4, 0, 0, 0}, {0, 0xFF0100FF, 1, 0x41}),
              "0 laser ff0001ff 40 0; "); // the request waited on, and is told what it gave itself
}

TEST_F(deliveries_test, a_command_from_a_callback_fails)
{
    const auto commanding = [](auto...) {
        return hear("command", kelvane_write_register(0, 0xFF00FFFF, 1, 2));
    };
    request(0x40, commanding);
    EXPECT_EQ(answer(0x1234), "0 command faac; ");
    request(0x40, commanding);
    std::thread([] { kelvane_mutex_lock(&sirane_0.command_mutex); }).join();
    sirane_0.command_mutex.holder_waits_for = &sirane_0.answers[0].response_mutex;
    EXPECT_EQ(answer(0x1236), "0 command 6e; "); // who would wait for its own end does not wait
    EXPECT_LT(time.now(), 1000000000u);
}

TEST_F(deliveries_test, batches)
{
    EXPECT_EQ(kelvane_enable_pm_notify(0, 0xFF00FFFF, 1, on_batch), 0);
    callback_returns = 5; // logged, and no matter
    EXPECT_EQ(outcome(1, {CMD_SET_LASER, 0x1234, 4, 0, 13, 0}, {}),
              "64170 refused "); // a laser's answer is no batch
    EXPECT_EQ(batch(0x1234, 5, 1), "0 batch ff00ffff 100000005; ");
    EXPECT_EQ(last_batch.xpm2_port[0].optical_output_power, -100);
    EXPECT_EQ(last_batch.generic.ordune_temperature, 113);
    EXPECT_EQ(batch(0x1234, 7, 1), "0 batch ff00ffff 100000007; ");
    EXPECT_EQ(batch(0x1234, 8, 1), "0 batch ff00ffff 100000008; ");
    EXPECT_TRUE(log_contains(" ERROR MISSING PM SEQUENCE  old4294967301 new 4294967303\n"));
    EXPECT_EQ(kelvane_enable_pm_notify(0, 0xFF0001FF, 1, on_batch), 0); // renewed, by a port of the sirane
    EXPECT_EQ(batch(0x1234, 9, 1) + batch(0x1235, 1, 0), "0 0 batch ff00ffff 1; "); // the old one's
    EXPECT_EQ(log_text().find("MISSING"), log_text().rfind("MISSING"));             // a new sequence
    std::vector<uint32_t> older(116, 0x1000);
    older[40] = 0x1024;
    older[94] = 0x77; // the number of older firmware
    older[95] = 1;
    EXPECT_EQ(outcome(1, {CMD_ENABLE_PM_NOTIFY, 0x1235, 116, 0, 13, 0}, older), "0 batch 1000 100000077; ");
    EXPECT_EQ(last_batch.sirane_port[1].pdl_max, -1);
    local_handles_array[0].signature = 0x01010101; // the device is deleted meanwhile
    the_bar.fail_from = the_bar.access_number + 24;
    EXPECT_EQ(batch(0x1235, 5, 0), "64174 refused ");
    EXPECT_TRUE(log_contains(" ERROR getting local_pm_incremental_id srn 0 rc = 22 \n")); // before the data
    EXPECT_EQ(batch(0x1235, 5, 0), "0 batch ff00ffff 5; ");
}

TEST_F(deliveries_test, alarm_changes_and_modules)
{
    const std::vector<uint32_t> change = {0, 0xFF00FFFF, 1, 1, 2, 3, 4, 5, 6, 7, 8, 9, 0x55, 1};
    firmware.refuse = true; // first the record is made, then the command fails
    EXPECT_EQ(kelvane_enable_alarms_notify(0, 0xFF00FFFF, 1, on_alarms), 64173);
    EXPECT_EQ(outcome(0, {CMD_NOTIFY_PLUGIN, 0x999, 3, 0, 3, 0}, {0, 0xFF0001FF, 1}),
              "0 plugin ff0001ff 1; ");
    callback_returns = 0x99; // no matter, but for a module, of which the firmware hears
    EXPECT_EQ(outcome(2, {CMD_ENABLE_ALARMS_NOTIFY, 0x1234, 14, 0, 14, 0}, change),
              "0 alarms ff00ffff 100000055; ");
    EXPECT_EQ(kelvane_enable_alarms_notify(0, 0xFF00FFFF, 0, nullptr), 64173);
    EXPECT_EQ(outcome(2, {CMD_ENABLE_ALARMS_NOTIFY, 0x1234, 14, 0, 14, 0}, change), "0 ");
    EXPECT_EQ(memcmp(&last_alarms, &change[3], sizeof last_alarms), 0);
    EXPECT_EQ(outcome(0, {CMD_NOTIFY_PLUGIN, 0x999, 3, 0, 15, 0}, {0, 0xFF0001FF, 0}),
              "153 refused plugin ff0001ff 0; ");
    EXPECT_TRUE(log_contains("mbox_manage_notify_plugin: ERROR after calling callback rc = 0x99"));
}

TEST_F(deliveries_test, restarts_of_the_firmware)
{
    const std::string resets = "w1c00000=0 w1c00000=2 w1d00000=0 w1d00000=2 w1e00000=0 w1e00000=2 ";
    for (uint32_t restart = 0; restart < 6; restart++) {
        the_bar.word[0x01F04004] = 0x00050010 + restart;
        EXPECT_EQ(did(deliver(0, {CMD_APP_ZYNQ_RESTART_NOTIFY, 0, 2, 0, 0, 0}, {0, restart})),
                  "0 r1f04000+16 r1c02004 r1c02100+8 r1f04000+16 " + (restart == 4 ? resets : "") +
                      "w1c02100=ffffffff*6 w1c02000=4 r1c02004 w1c02000=2 r1c02004");
        EXPECT_EQ(local_handles_array[0].stored_ordune_ver_min, 16 + restart); // refreshed
    }
    EXPECT_EQ(told(), "restart 0; restart 1; restart 2; restart 3; restart 4; restart 5; ");
    EXPECT_EQ(time.now(), 6 * 500000u + 3 * 500000u);
}

TEST_F(deliveries_test, what_cannot_be_read_is_refused_and_not_told)
{
    kelvane_enable_pm_notify(0, 0xFF00FFFF, 1, on_batch);
    kelvane_enable_alarms_notify(0, 0xFF00FFFF, 1, on_alarms);
    request(0x40);
    // The mailbox, the access that fails; command, reference, size, version, slot.
    const uint32_t messages[][7] = {{1, 24, CMD_ENABLE_PM_NOTIFY, 0x1234, 1, 1, 13},
                                    {2, 24, CMD_ENABLE_ALARMS_NOTIFY, 0x1235, 1, 0, 14},
                                    {0, 24, CMD_SET_LASER, 0x1236, 4, 0, 0},
                                    {0, 24, CMD_NOTIFY_PLUGIN, 0, 1, 0, 15},
                                    {0, 24, CMD_APP_ZYNQ_RESTART_NOTIFY, 0, 1, 0, 16},
                                    {0, 43, CMD_APP_ZYNQ_RESTART_NOTIFY, 0, 2, 0, 16}};
    for (const auto &[mbox, failing, command, reference, size, version, slot] : messages) {
        the_bar.fail_from = the_bar.access_number + failing;
        EXPECT_EQ(outcome(mbox, {command, reference, size, version, slot, 0}, {0, 4}), "64174 refused ");
    }
    the_bar.next_values[RESPONSE_F] = {2, 0xFFFFFFFF}; // gone at the second look
    EXPECT_EQ(did(kelvane_asyc_resp_common(0, sirane_0, MBOX_RESPONSE)),
              "64171 r1f04000+16 r1c02004 r1c02004 w1c02000=2");
    the_bar.fail_from = the_bar.access_number + 18; // the header itself: nobody answers the firmware
    EXPECT_EQ(outcome(0, {CMD_SET_LASER, 0x1236, 4, 0, 0, 0}, {}), "64174 ");
}

} // namespace
