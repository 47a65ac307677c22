#include "kelvane_handle.h"
#include "support/handshake.h"
#include "support/library.h"

namespace {

int32_t watcher(kelvane_handle, int32_t, uint32_t)
{
    return 0;
}

class keep_alive_switch_test : public library_test {
  protected:
    keep_alive_switch_test()
    {
        turn_log_on();
        start_library();
        firmware.install();
    }

    answering_firmware firmware;
    kelvane_handle_record &record = local_handles_array[0];
};

TEST_F(keep_alive_switch_test, what_each_answer_turns_on)
{
    const struct {
        uint32_t enable, rc;
        int32_t code;
        uint32_t enabled;
    } cases[] = {
        {1, 0, 0, 1},
        {1, 0x80010013, 0, 1}, // the firmware watches already
        {1, 0x80010011, ORDUNE_MBOX_NOBUFF, 0},
        {2, 0, 0, 0},
        {0, 0x80010013, ORDUNE_MBOX_BUSY, 0},
    };
    for (const auto &c : cases) {
        record.keep_alive_enabled = 0;
        record.keep_alive_cb = nullptr;
        firmware.rc = c.rc;
        EXPECT_EQ(kelvane_enable_keep_alive_notify(0, c.enable, watcher), c.code);
        EXPECT_EQ(record.keep_alive_enabled, c.enabled);
        EXPECT_EQ(record.keep_alive_cb, c.enabled == 1 ? watcher : nullptr);
    }
}

TEST_F(keep_alive_switch_test, no_callback_leaves_the_one_before)
{
    kelvane_enable_keep_alive_notify(0, 1, watcher);
    record.keep_alive_status = 1; // alive, so that the next command passes the gate
    EXPECT_EQ(kelvane_enable_keep_alive_notify(0, 1, nullptr), 0);
    EXPECT_EQ(record.keep_alive_cb, watcher);
}

TEST_F(keep_alive_switch_test, turning_off_takes_effect_on_a_silent_card)
{
    record.keep_alive_enabled = 1;
    record.keep_alive_cb = watcher;
    firmware.answer = false;
    the_bar.record = false;
    EXPECT_EQ(kelvane_enable_keep_alive_notify(0, 0, watcher), 110);
    EXPECT_EQ(record.keep_alive_enabled, 0u);
    EXPECT_EQ(record.keep_alive_cb, nullptr);
    record.keep_alive_enabled = 1;
    record.keep_alive_status = 1;
    EXPECT_EQ(kelvane_enable_keep_alive_notify(0, 1, nullptr), 110);
    EXPECT_EQ(record.keep_alive_enabled, 1u); // a failure changes nothing
}

TEST_F(keep_alive_switch_test, the_watch_is_shut_until_the_firmware_has_answered)
{
    kelvane_enable_keep_alive_notify(0, 1, watcher);
    uint32_t value = 0;
    EXPECT_EQ(kelvane_read_register(0, 0xFF00FFFF, 1, &value), 64174);
    EXPECT_EQ(kelvane_enable_keep_alive_notify(0, 0, nullptr), 0);
    EXPECT_EQ(kelvane_read_register(0, 0xFF00FFFF, 1, &value), 0);
}

TEST_F(keep_alive_switch_test, status)
{
    const struct {
        uint32_t enabled, status;
        const char *line;
    } cases[] = {
        {1, 1, "INFO  kelvane_get_keep_alive_status:  end enable = 1   keep_alive =  KELVANE_ALIVE       "},
        {0, 2, "INFO  kelvane_get_keep_alive_status:  end enable = 0   keep_alive =  KELVANE_NOT_ALIVE   "},
        {1, 7, "INFO  kelvane_get_keep_alive_status:  end enable = 1   keep_alive =  KELVANE_UNDEF       "},
    };
    for (const auto &c : cases) {
        record.keep_alive_enabled = c.enabled;
        record.keep_alive_status = c.status;
        uint32_t enabled = 9, status = 9;
        EXPECT_EQ(kelvane_get_keep_alive_status(0, &enabled, &status), 0);
        EXPECT_EQ(enabled, c.enabled);
        EXPECT_EQ(status, c.status);
        EXPECT_EQ(log_lines().back(), c.line);
    }
    uint32_t enabled = 9, status = 9;
    EXPECT_EQ(kelvane_get_keep_alive_status(5, &enabled, &status), 0); // no check, and nothing indexed
    EXPECT_EQ(enabled + status, 0u);
}

} // namespace
