// What the firmware tells by itself, from the mailbox to the callback.
#include <algorithm>
#include <cstring>

#include "background/handlers.h"
#include "background/response_thread.h"
#include "core/handle.h"
#include "support/handshake.h"
#include "support/library.h"

namespace {

struct {
    int calls;
    uint32_t device_address;
    uint32_t value;
    uint64_t number;
    kelvane_global_pm pm;
    global_alarms alarms;
    int32_t returns;
} heard;

int32_t on_batch(kelvane_handle, kelvane_device_address device_address, const kelvane_global_pm *record,
                 uint64_t number)
{
    heard.calls++;
    heard.device_address = device_address;
    heard.pm = *record;
    heard.number = number;
    return heard.returns;
}

int32_t on_alarms(kelvane_handle, kelvane_device_address device_address, const global_alarms *record,
                  uint64_t value)
{
    heard.calls++;
    heard.device_address = device_address;
    heard.alarms = *record;
    heard.number = value;
    return heard.returns;
}

int32_t on_plugin(kelvane_handle, kelvane_device_address device_address, uint32_t plugged)
{
    heard.calls++;
    heard.device_address = device_address;
    heard.value = plugged;
    return heard.returns;
}

int32_t on_restart(kelvane_handle, uint32_t zynq_restart)
{
    heard.calls++;
    heard.value = zynq_restart;
    return heard.returns;
}

class notifications_test : public library_test {
  protected:
    notifications_test()
    {
        turn_log_on();
        ASSERT_EQ_0(kelvane_init_driver());
        kelvane_init_device_t device = recorded_bar_device();
        device.notify_plugin_cb = on_plugin;
        device.app_zynq_restart_notify_cb = on_restart;
        ASSERT_EQ_0(kelvane_device_create(device));
        open_gate();
        firmware.install();
        firmware.answer = false;
        heard = {};
        EXPECT_EQ(kelvane_enable_pm_notify(0, 0xFF00FFFF, 1, on_batch), 0);
        pm_ref_id = firmware.request_header[1];
        EXPECT_EQ(kelvane_enable_alarms_notify(0, 0xFF00FFFF, 1, on_alarms), 0);
        alarm_ref_id = firmware.request_header[1];
        consume_messages();
        log_lines();
        the_bar.take_accesses();
    }

    static void ASSERT_EQ_0(int32_t rc)
    {
        EXPECT_EQ(rc, 0);
    }

    static void consume_messages()
    {
        the_bar.on_write = [](uint32_t offset, uint32_t value) {
            if (value == 4 || value == 16) {
                the_bar.word[offset + 4] = 2;
            }
        };
    }

    int32_t deliver(uint32_t mbox, const std::vector<uint32_t> &header, const std::vector<uint32_t> &data)
    {
        const uint32_t base[] = {0x01C02000, 0x01C08000, 0x01C04000};
        for (size_t i = 0; i < header.size(); i++) {
            the_bar.word[base[mbox] + 0x100 + 4 * static_cast<uint32_t>(i)] = header[i];
        }
        for (size_t i = 0; i < data.size(); i++) {
            the_bar.word[base[mbox] + 0x118 + 4 * static_cast<uint32_t>(i)] = data[i];
        }
        the_bar.word[base[mbox] + 4] = 4;
        the_bar.take_accesses();
        return kelvane_asyc_resp_common(0, 0, mbox);
    }

    // A batch of the current layout: words 4 to 113 the record, 114 and 115 the number.
    int32_t batch(uint64_t number, uint32_t ref_id)
    {
        std::vector<uint32_t> data(116);
        for (uint32_t i = 0; i < 116; i++) {
            data[i] = i;
        }
        data[1] = 0xFF00FFFF;
        data[4 + 98] = 0xABCDFF9C; // power of module 0
        data[114] = static_cast<uint32_t>(number);
        data[115] = static_cast<uint32_t>(number >> 32);
        return deliver(1, {24, ref_id, 116, 1, 13, 0}, data);
    }

    bool refused()
    {
        const std::vector<std::string> accesses = the_bar.take_accesses();
        return std::any_of(accesses.begin(), accesses.end(),
                           [](const std::string &a) { return a[0] == 'W' && a.substr(10) == "=00000010"; });
    }

    answering_firmware firmware;
    uint32_t pm_ref_id = 0;
    uint32_t alarm_ref_id = 0;
};

TEST_F(notifications_test, a_batch)
{
    EXPECT_EQ(batch(0x100000005, pm_ref_id), 0);
    EXPECT_EQ(heard.calls, 1);
    EXPECT_EQ(heard.device_address, 0xFF00FFFFu);
    EXPECT_EQ(heard.number, 0x100000005u);
    EXPECT_EQ(heard.pm.host[0].otn.fec_frame_counter, 0x500000004u);
    EXPECT_EQ(heard.pm.xpm2_port[0].optical_output_power, -100);
    EXPECT_EQ(heard.pm.generic.ordune_temperature, 113);
    EXPECT_FALSE(refused());
}

TEST_F(notifications_test, missing_batches_are_told_and_the_others_delivered)
{
    for (const uint64_t number : {5, 6, 8, 9}) {
        EXPECT_EQ(batch(number, pm_ref_id), 0);
    }
    EXPECT_EQ(heard.calls, 4);
    int told = 0;
    for (const std::string &line : log_lines()) {
        told += line.find("MISSING") != std::string::npos;
        if (line.find("MISSING") != std::string::npos) {
            EXPECT_EQ(line, "ERROR mbox_manage_enable_pm_notify:  ERROR MISSING PM SEQUENCE  old6 new 8");
        }
    }
    EXPECT_EQ(told, 1);
}

TEST_F(notifications_test, a_batch_of_a_renewed_subscription_under_way)
{
    firmware.install();
    EXPECT_EQ(kelvane_enable_pm_notify(0, 0xFF00FFFF, 1, on_batch), 0);
    consume_messages();
    EXPECT_EQ(batch(5, pm_ref_id), 0); // of the one before
    EXPECT_EQ(heard.calls, 0);
    EXPECT_EQ(batch(1, firmware.request_header[1]), 0);
    EXPECT_EQ(heard.calls, 1);
}

TEST_F(notifications_test, a_batch_of_older_firmware)
{
    std::vector<uint32_t> data(116);
    for (uint32_t i = 0; i < 96; i++) {
        data[i] = 0x1000 + i;
    }
    data[94] = 77; // the number, at byte 376
    data[95] = 0;
    EXPECT_EQ(deliver(1, {24, pm_ref_id, 116, 0, 13, 0}, data), 0);
    EXPECT_EQ(heard.number, 77u);
    EXPECT_EQ(heard.pm.sirane_port[0].rx_cd_curr, 0x1024);
    EXPECT_EQ(heard.pm.sirane_port[1].rx_cd_curr, 0x103A);
    EXPECT_EQ(heard.pm.sirane_port[1].pdl_max, -1);
    EXPECT_EQ(heard.pm.generic.sirane_temperature, 0x105C);
}

TEST_F(notifications_test, no_batch_is_taken_without_a_subscription)
{
    the_bar.word[0x01F04004] = 0x00050016;
    firmware.install();
    EXPECT_EQ(kelvane_enable_pm_notify(0, 0xFF00FFFF, 0, nullptr), 0);
    EXPECT_EQ(batch(1, pm_ref_id), 64175);
    EXPECT_EQ(the_bar.word[0x01C08004], 4u);
}

TEST_F(notifications_test, an_alarm_change)
{
    const std::vector<uint32_t> data = {0, 0xFF00FFFF, 1, 1, 2, 3, 4, 5, 6, 7, 8, 9, 0x55, 0x66};
    heard.returns = 1; // logged, and no matter
    EXPECT_EQ(deliver(2, {35, alarm_ref_id, 14, 0, 14, 0}, data), 0);
    EXPECT_EQ(heard.calls, 1);
    EXPECT_EQ(heard.alarms.host[3], 4u);
    EXPECT_EQ(heard.alarms.xpm2[1], 8u);
    EXPECT_EQ(heard.alarms.generic, 9u);
    EXPECT_EQ(heard.number, 0x6600000055u);
    EXPECT_FALSE(refused());
    EXPECT_TRUE(log_has("ERROR mbox_manage_enable_alarms_notify: ERROR after calling callback rc = 1"));
    EXPECT_EQ(local_handles_array[0].asynch_req_array[0][14].signature, 0xCCBBDD11u); // it stays
}

TEST_F(notifications_test, plug_in_goes_to_its_slot_whatever_the_header_says)
{
    for (const uint32_t sy : {3u, 15u, 0u, 0xFFFFFFFFu}) {
        heard.calls = 0;
        EXPECT_EQ(deliver(0, {37, 0x999, 3, 0, sy, 0}, {0, 0xFF0001FF, 1}), 0);
        EXPECT_EQ(heard.calls, 1) << sy;
        EXPECT_EQ(heard.device_address, 0xFF0001FFu);
        EXPECT_EQ(heard.value, 1u);
    }
    heard.returns = 0x99; // this one the firmware hears of
    EXPECT_EQ(deliver(0, {37, 0, 3, 0, 15, 0}, {0, 0xFF0001FF, 0}), 0x99);
    EXPECT_TRUE(refused());
    EXPECT_TRUE(log_has("ERROR mbox_manage_notify_plugin: ERROR after calling callback rc = 0x99"));
}

TEST_F(notifications_test, a_restart_refreshes_the_stored_version)
{
    the_bar.word[0x01F04004] = 0x00050017;
    EXPECT_EQ(deliver(0, {41, 0, 2, 0, 0, 0}, {0, 3}), 0);
    EXPECT_EQ(heard.value, 3u);
    EXPECT_EQ(local_handles_array[0].stored_ordune_ver_min, 23u);
    EXPECT_EQ(deliver(0, {41, 0, 2, 0, 0, 0}, {0, 7}), 0);
    EXPECT_EQ(heard.value, 7u);
    EXPECT_TRUE(log_has("INFO  mbox_manage_app_zynq_restart_notify: zynq_restart Invalid zynq_restart value "
                        "ref id = 00000000 "));
}

TEST_F(notifications_test, a_warm_restart_done_resets_the_command_mailboxes_first)
{
    EXPECT_EQ(deliver(0, {41, 0, 2, 0, 0, 0}, {0, 4}), 0);
    std::vector<std::string> writes;
    for (const std::string &access : the_bar.take_accesses()) {
        if (access[0] == 'W' && (access.find("W 01c00000") == 0 || access.find("W 01d00000") == 0 ||
                                 access.find("W 01e00000") == 0)) {
            writes.push_back(access);
        }
    }
    EXPECT_EQ(writes, (std::vector<std::string>{"W 01c00000=00000000", "W 01c00000=00000002",
                                                "W 01d00000=00000000", "W 01d00000=00000002",
                                                "W 01e00000=00000000", "W 01e00000=00000002"}));
    EXPECT_EQ(heard.value, 4u);
    EXPECT_EQ(time.now(), 4 * 500000u);
}

TEST_F(notifications_test, six_commands_have_a_handler)
{
    for (uint32_t command = 0; command < 66; command++) {
        const bool expected =
            command == 0 || command == 2 || command == 24 || command == 35 || command == 37 || command == 41;
        EXPECT_EQ(cb_fn_data_table[command].handler != nullptr, expected) << command;
    }
}

TEST_F(notifications_test, absurd_sizes_stay_in_the_buffer)
{
    for (const uint32_t size : {0u, 1u, 463u, 464u, 2000u, 0xFFFFFFFFu}) {
        const int32_t rc = deliver(1, {24, pm_ref_id, size, 1, 13, 0}, {});
        EXPECT_EQ(rc, 0) << size;
        EXPECT_EQ(refused(), size >= 464) << size;
    }
}

TEST_F(notifications_test, every_failing_access_of_a_message)
{
    const struct {
        uint32_t mbox;
        std::vector<uint32_t> header;
        std::vector<uint32_t> data;
        uint64_t accesses; // up to the callback: 16 for the version, state, header, data
    } messages[] = {
        {1, {24, pm_ref_id, 4, 1, 13, 0}, {0, 0xFF00FFFF, 0, 0}, 27},
        {2, {35, alarm_ref_id, 4, 0, 14, 0}, {0, 0xFF00FFFF, 1, 1}, 27},
        {0, {37, 0, 3, 0, 15, 0}, {0, 0xFF0001FF, 1}, 26},
        {0, {41, 0, 2, 0, 16, 0}, {0, 4}, 47}, // the version again, and the reset of three mailboxes
    };
    for (const auto &message : messages) {
        for (uint64_t n = 17; n <= message.accesses; n++) {
            heard.calls = 0;
            the_bar.fail_from = the_bar.access_number + n;
            const int32_t rc = deliver(message.mbox, message.header, message.data);
            const bool only_told = message.header[0] == 41 && n > 25 && n <= 41; // the version again
            EXPECT_EQ(rc, only_told ? 0 : 64174) << message.header[0] << ": " << n;
            EXPECT_EQ(heard.calls, only_told ? 1 : 0) << message.header[0] << ": " << n;
        }
        the_bar.fail_from = 0;
        heard.calls = 0;
        EXPECT_EQ(deliver(message.mbox, message.header, message.data), 0);
        EXPECT_EQ(heard.calls, 1);
    }
}

TEST_F(notifications_test, every_kind_of_restart_by_its_name)
{
    const struct {
        uint32_t restart;
        const char *name;
    } cases[] = {
        {0, "KELVANE_APP_ZYNQ_RESTART_UNDEF"},      {1, "KELVANE_APP_ZYNQ_RESTART_WARM"},
        {2, "KELVANE_APP_ZYNQ_RESTART_WARM_FAIL"},  {3, "KELVANE_APP_ZYNQ_RESTART_COLD"},
        {4, "KELVANE_APP_ZYNQ_RESTART_WARM_DONE"},  {5, "Invalid zynq_restart value"},
        {0xFFFFFFFF, "Invalid zynq_restart value"},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(deliver(0, {41, 0, 2, 0, 0, 0}, {0, c.restart}), 0);
        EXPECT_EQ(heard.value, c.restart);
        EXPECT_TRUE(log_has(std::string("INFO  mbox_manage_app_zynq_restart_notify: zynq_restart ") + c.name +
                            " ref id = 00000000 "));
    }
}

TEST_F(notifications_test, a_batch_that_comes_while_the_device_is_deleted)
{
    local_handles_array[0].signature = 0x01010101; // the gate is still open
    EXPECT_EQ(batch(5, pm_ref_id), 0);
    EXPECT_EQ(heard.calls, 1);
    const std::string text = log_text();
    EXPECT_NE(text.find(" ERROR getting local_pm_incremental_id srn 0 rc = 22 \n"), std::string::npos);
    EXPECT_NE(text.find(" ERROR setting local_pm_incremental_id srn 0 rc = 22 \n"), std::string::npos);
}

} // namespace
