// The moment at which the card can be reached: the test of the link, and every mailbox brought to idle.
#include <algorithm>
#include <thread>

#include "core/handle.h"
#include "core/mutex.h"
#include "lifecycle/driver.h"
#include "mbox/send.h"
#include "support/library.h"

namespace {

class link_up_test : public firmware_test {
  protected:
    link_up_test()
    {
        close_gate();
        set_version(0x00050016);
    }

    static void set_version(uint32_t version)
    {
        the_bar.word[0x01F04004] = version;
    }

    // "result gate": a link-up's.
    static std::string link_up(int32_t mapped = 1, kelvane_handle handle = 0)
    {
        const int32_t rc = kelvane_pci_mapped(handle, mapped, 0, 0);
        return std::to_string(rc) + (kelvane_get_pci_mapped(0) == 1 ? " open" : " closed");
    }

    // The link breaks with the first idle that the second sirane is shown.
    static void break_the_link()
    {
        the_bar.on_write = [](uint32_t offset, uint32_t value) {
            if (offset == 0x01D00000 && value == 2) {
                the_bar.fail_from = the_bar.access_number + 1;
                the_bar.fail_count = 1000;
            }
        };
    }

    kelvane_handle_record &record = local_handles_array[0];
};

TEST_F(link_up_test, firmware_from_5_10_is_reset_and_awaited)
{
    std::string expected =
        "r3c4 r1f04000+16 w3fffc00=1,2b r1f04000+16 r1c02004 r1f04000+16 r1d02004 r1f04000+16 "
        "r1e02004 r1f04000+16 r24 w24=1 r24 w24=3 r24 w24=7 r1f04000+16 r1f04000+16";
    for (const char sirane : {'c', 'd', 'e'}) {
        std::string each =
            " r1f04000+16 w1S00000=0 w1S02000=0 w1S04000=0 w1S08000=0 w1c0c000=400 w1S00000=2 "
            "r1S00004 r1S02004 r1S04004 r1S08004 w1S00000=2 w1S02000=2 w1S04000=2 w1S08000=2 w1c0c000=400";
        std::ranges::replace(each, 'S', sirane);
        expected += each;
    }
    for (const uint32_t version : {0x00050016u, 0x0005000Au, 0x00060001u}) {
        set_version(version);
        the_bar.word[0x24] = 0;
        EXPECT_EQ(link_up(), "0 open");
        const std::string told = accesses();
        EXPECT_EQ(told.substr(0, 25), "w300=0 r300 w304=1 r304 w");
        EXPECT_EQ(told.substr(told.find("r3c4 ")), expected);
        EXPECT_EQ(record.stored_ordune_ver_min, version & 0xFFFF);
        EXPECT_EQ(held_locks(), "");
    }
    EXPECT_EQ(time.now(), 0u);
}

TEST_F(link_up_test, older_firmware_is_asked_until_it_shows_any_state)
{
    set_version(0x00050009);
    the_bar.word[0x01C00004] = 4; // not idle, and good enough
    the_bar.next_values[0x01D04004] = {0, 0xFFFFFFFF, 2};
    EXPECT_EQ(link_up(), "0 open");
    EXPECT_EQ(time.now(), 5 * 1500000000ull);
    the_bar.word[0x01E08004] = 0;
    EXPECT_EQ(link_up(), "64175 closed");
    EXPECT_EQ(time.now(), (5 + 2 + 100) * 1500000000ull);
    EXPECT_EQ(held_locks(), "");
}

TEST_F(link_up_test, what_does_not_fail_a_link_up)
{
    offer_message({9, 0x77, 4, 0, 0xFF00FF00, 0}, {1, 2, 3, 4});     // left by an earlier run
    the_bar.next_values[0x01C04004] = std::deque<uint32_t>(2100, 6); // idle only among other bits
    shorten_waits();
    EXPECT_EQ(link_up(), "0 open");
    EXPECT_EQ(the_bar.word[RESPONSE_AREA], 0xFFFFFFFFu);
    EXPECT_EQ(time.now(), 1999u * 500000ull + 1500000);
    EXPECT_EQ(link_up(0), "0 closed");
    accesses();
    kelvane_device_delete(0);
    for (const uint32_t handle : {0u, 3u, 0xFFFFFFFFu}) {
        EXPECT_EQ(link_up(1, handle), "22 closed");
    }
    EXPECT_EQ(accesses(), "");
}

TEST_F(link_up_test, every_failing_access_closes_the_gate_or_is_borne)
{
    std::string told; // the first failing access of each run of equal results
    std::string last;
    for (uint64_t n = 1; the_bar.fail_from <= the_bar.access_number; n++) {
        zero_handle_record();
        ASSERT_EQ(kelvane_device_create(recorded_bar_device()), 0);
        firmware.install();
        the_bar.fail_from = the_bar.access_number + n;
        const std::string result = link_up();
        told += result == last ? "" : std::to_string(n) + ":" + result + " ";
        last = result;
    }
    EXPECT_EQ(told, "1:64174 closed 101:0 open 117:64174 closed 119:0 open 170:64174 closed 186:0 open "
                    "224:64172 closed 240:0 open 245:64172 closed 246:0 open 250:64172 closed 271:0 open "
                    "276:64172 closed 277:0 open 281:64172 closed 302:0 open 307:64172 closed 308:0 open "
                    "312:64172 closed 317:0 open ");
}

TEST_F(link_up_test, a_failure_past_5_22_keeps_the_locks_of_its_sirane)
{
    set_version(0x0005000A);
    break_the_link();
    EXPECT_EQ(link_up(), "64174 closed");
    EXPECT_EQ(held_locks(), "");
    the_bar.fail_from = 0;
    set_version(0x00050016);
    break_the_link();
    EXPECT_EQ(link_up(), "64172 closed");
    EXPECT_EQ(held_locks(), "1 command, 1 response 0, 1 response 1, 1 response 2, ");
}

TEST_F(link_up_test, a_lock_that_cannot_be_had)
{
    std::thread([&] { kelvane_mutex_lock(&record.response_mutex[0][1]); }).join();
    // What was taken before is locked once more, and that failure is what the caller sees.
    EXPECT_EQ(link_up(), "64172 closed");
    EXPECT_EQ(held_locks(), "0 command, 0 response 0, 0 response 1, ");
    EXPECT_EQ(time.now(), 360000000000u);
    kelvane_mutex_unlock(&record.command_mutex[0]);
    std::thread([&] { kelvane_mutex_lock(&record.command_mutex[0]); }).join();
    EXPECT_EQ(link_up(), "110 closed");
    EXPECT_EQ(time.now(), 720000000000u);
}

TEST_F(link_up_test, the_test_of_the_link)
{
    open_gate();
    the_bar.next_values[0x304] = {2};
    EXPECT_EQ(did(kelvene_check_pci_functionality(0)),
              "64171 w300=0 r300 w304=1 r304"); // the first that differs
    EXPECT_TRUE(log_has("ERROR kelvene_check_pci_functionality: PCI not properly working"));
    EXPECT_EQ(global_reset_mbox(0, 3, 2), 64170); // no such sirane
    EXPECT_EQ(kelvane_wait_for_mbox_idle_startup(0, 3), 64170);
    EXPECT_EQ(kelvane_check_for_mbox_idle_startup(0, 3), 64170);
}

} // namespace
