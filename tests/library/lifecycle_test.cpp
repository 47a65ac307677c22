// The device from its creation to its deletion: who may access the card, and the moment at which it can be
// reached.
#include <algorithm>
#include <thread>

#include "core/pci.h"
#include "core/trace/trace.h"
#include "lifecycle/driver.h"
#include "support/library.h"

namespace {

class lifecycle_test : public firmware_test {
  protected:
    // The result of the four forms of access to one word, and the accesses.
    static std::string access(uint32_t check_alive, kelvane_handle handle = 0)
    {
        uint32_t word = 0;
        const int32_t rc = kelvane_internal_pci_read(handle, 0, 0x300, &word, check_alive);
        EXPECT_EQ(kelvane_internal_pci_write(handle, 0, 0x300, 1, check_alive), rc);
        EXPECT_EQ(kelvane_internal_pci_read_block(handle, 0, 0x300, 1, &word, check_alive), rc);
        EXPECT_EQ(kelvane_internal_pci_write_block(handle, 0, 0x300, 1, &word, check_alive), rc);
        return did(rc);
    }

    // "result gate": a link-up's.
    static std::string link_up(kelvane_handle handle = 0, int32_t mapped = 1)
    {
        const int32_t rc = kelvane_pci_mapped(handle, mapped, 0, 0);
        return std::to_string(rc) + (kelvane_get_pci_mapped(0) == 1 ? " open" : " closed");
    }

    kelvane_handle_record &record = local_handles_array[0];
    uint32_t &version = the_bar.word[0x01F04004] = 0x00050016;
};

constexpr const char *PASSED = "0 r300 w300=1 r300 w300=1";
constexpr const char *REFUSED = "64174 ";

TEST_F(lifecycle_test, creating_and_deleting)
{
    const auto create = [](auto change) {
        kelvane_init_device_t device = recorded_bar_device();
        change(device);
        return kelvane_device_create(device);
    };
    const auto of_type_7 = [](auto &device) { device.client_type = 7; };
    EXPECT_EQ(create(of_type_7), 0);
    EXPECT_EQ(kelvane_get_client_type(0), 0u);                         // the one there is stays
    ASSERT_EQ(kelvane_mutex_lock(&record.sirane[0].command_mutex), 0); // made once
    record.sirane[1].local_pm_incremental_id = 5;
    set_watch(1, 1);
    EXPECT_EQ(create([](auto &device) { device.slot_id = 1; }), -1);
    for (const uint32_t handle : {1u, 3u, 0xFFFFFFFFu, 0u, 0u}) {
        const bool is_there = handle == 0 && record.dev == 0;
        EXPECT_EQ(kelvane_device_delete(handle), is_there ? 0 : 22);
        EXPECT_EQ(kelvane_slot_of_handler(handle), 0xFFFFFFFF);
        EXPECT_EQ(kelvane_get_low_prio_thread(handle), 0xDDEEAA00u);
    }
    EXPECT_EQ(access(0), REFUSED);
    EXPECT_EQ(create([](auto &device) { device.slot_id = 0xFFFFFFFF; }), -1);
    EXPECT_EQ(create([](auto &device) { device.notify_plugin_cb = nullptr; }), -1);
    EXPECT_EQ(create([](auto &device) { device.pci_read_cb = nullptr; }), -1);
    EXPECT_EQ(create([](auto &device) { device.pci_write_cb = nullptr; }), -1);
    EXPECT_EQ(create(of_type_7), 0);
    EXPECT_EQ(kelvane_get_client_type(0), 7u);
    EXPECT_FALSE(log_contains("problem with "));
    trace_level_mask_set(2);
    log_lines();
    kelvane_mutex_lock(&record.sirane[1].requests.lock); // held by a thread that a debugger has stopped
    kelvane_print_local_handler(0);
    kelvane_mutex_unlock(&record.sirane[1].requests.lock);
    EXPECT_EQ(log_lines().size(), 6u + 9 + 9 + 2 + 9 + 3 * 1 * 6);
    EXPECT_EQ(held_locks(), "0 command, ");
    EXPECT_EQ(record.sirane[1].local_pm_incremental_id, 0u);
    EXPECT_EQ(record.keep_alive_enabled + record.keep_alive_status, 0u);
    kelvane_device_delete(0);
    kelvane_mutex_lock(&record.sirane[0].requests.lock);
    EXPECT_EQ(create(of_type_7), 64172);
    EXPECT_EQ(check_kelvane_handler_input(0), 0); // the record stays claimed
    record.dev = 0xFFFFFFFF;                      // only half in use
    EXPECT_EQ(create(of_type_7), -1);
    record.dev = 0;
    record.signature = 0x01010101; // the other half
    EXPECT_EQ(create(of_type_7), -1);
    EXPECT_EQ(check_kelvane_handler_input(0), 22);
}

TEST_F(lifecycle_test, who_may_access_the_card_and_how)
{
    // Whether it is watched, what was found, how it is asked.
    for (const auto &[watched, status, check_alive, told] : {std::tuple{0, 2, 1, PASSED},
                                                             {1, 0, 1, REFUSED},
                                                             {1, 2, 1, REFUSED},
                                                             {1, 2, 7, PASSED},
                                                             {1, 1, 1, PASSED}}) {
        set_watch(watched, status);
        EXPECT_EQ(access(check_alive), told);
    }
    local_handles_array[0].pci_mapped = 0;
    testing::internal::CaptureStdout();
    EXPECT_EQ(access(0), REFUSED);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "fpga is not PCI mapped \n"); // of the word write
    EXPECT_EQ(access(0, 1), REFUSED);
    EXPECT_EQ(check_keep_alive(1), 0); // nobody watches there
    local_handles_array[0].pci_mapped = 1;
    uint32_t words[] = {7, 8, 0xFFFFFFFF};
    EXPECT_EQ(did(kelvane_internal_pci_write_block(0, 0, 0x40, 3, words, 0)), "0 w40=7,8,ffffffff");
    the_bar.fail_from = the_bar.access_number + 2;
    EXPECT_EQ(did(kelvane_internal_pci_read_block(0, 0, 0x44, 3, words, 1)), "64174 r44+2");
    EXPECT_EQ(words[0] + words[2], 7u); // 8 was read; all ones stayed
    EXPECT_EQ(did(kelvane_internal_pci_read(0, 0, 0x48, words, 1)), "0 r48");
    EXPECT_EQ(words[0], 0xFFFFFFFF); // a value like any other
    record.init_device.pci_read_block_cb = [](auto, auto bus, auto offset, auto count, auto *data,
                                              auto alive) {
        *data = offset + count * 100 + bus * 10 + alive;
        return offset == 0 ? 3 : 0;
    };
    record.init_device.pci_write_block_cb = [](auto, auto, auto offset, auto...) {
        return offset == 0 ? 4 : 0;
    };
    EXPECT_EQ(did(kelvane_internal_pci_read_block(0, 0, 4000, 2, words, 1)), "0 ");
    EXPECT_EQ(words[0], 4201u);
    EXPECT_EQ(did(kelvane_internal_pci_write_block(0, 0, 4000, 2, words, 1)), "0 ");
    EXPECT_EQ(kelvane_internal_pci_read_block(0, 0, 0, 2, words, 1), 64174);
    EXPECT_EQ(kelvane_internal_pci_write_block(0, 0, 0, 2, words, 1), 64174);
}

TEST_F(lifecycle_test, the_siranes_are_brought_to_idle)
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
    for (const uint32_t from_5_10 : {0x00050016u, 0x0005000Au}) {
        version = from_5_10;
        the_bar.word[0x24] = 0;
        EXPECT_EQ(link_up(), "0 open");
        const std::string told = accesses();
        EXPECT_EQ(told.substr(0, 25), "w300=0 r300 w304=1 r304 w");
        EXPECT_EQ(told.substr(told.find("r3c4 ")), expected);
        EXPECT_EQ(record.stored_ordune_ver_min, version & 0xFFFF);
    }
    EXPECT_EQ(time.now(), 0u);
    version = 0x00050009;         // older firmware is asked until it shows any state
    the_bar.word[0x01C00004] = 4; // not idle, and good enough
    the_bar.next_values[0x01D04004] = {0, 0xFFFFFFFF, 2};
    EXPECT_EQ(link_up(), "0 open");
    EXPECT_EQ(time.now(), 5 * 1500000000ull);
    the_bar.word[0x01E08004] = 0;
    EXPECT_EQ(link_up(), "64175 closed");
    EXPECT_EQ(time.now(), (5 + 2 + 100) * 1500000000ull);
    EXPECT_TRUE(log_contains("kelvane_check_for_mbox_idle_startup: end rc = 64175\n"));
}

TEST_F(lifecycle_test, what_fails_a_link_up_and_what_does_not)
{
    the_bar.next_values[0x304] = {2}; // a link that answers wrong
    EXPECT_EQ(link_up(), "64171 closed");
    EXPECT_EQ(accesses(), "w300=0 r300 w304=1 r304");
    offer_message({CMD_READ_REGISTER, 0x77, 4, 0, 0xFF00FF00, 0}, {1, 2, 3, 4}); // left by an earlier run
    the_bar.next_values[0x01C04004] = std::deque<uint32_t>(2100, 6);             // idle only among other bits
    shorten_waits();
    EXPECT_EQ(link_up(), "0 open");
    EXPECT_EQ(the_bar.word[RESPONSE_AREA], 0xFFFFFFFFu);
    EXPECT_EQ(time.now(), 1999u * 500000ull + 1500000);
    EXPECT_EQ(link_up(0, 0), "0 closed");
    accesses();
    kelvane_device_delete(0);
    EXPECT_EQ(link_up(0) + " " + link_up(3), "22 closed 22 closed");
    EXPECT_EQ(accesses(), "");
}

TEST_F(lifecycle_test, every_failing_access_closes_the_gate_or_is_borne)
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

TEST_F(lifecycle_test, a_failure_past_5_22_keeps_its_locks)
{
    the_bar.on_write = [](uint32_t offset, uint32_t value) {
        if (offset == 0x01D00000 && value == 2) { // the first idle that the second sirane is shown
            the_bar.fail_from = the_bar.access_number + 1;
            the_bar.fail_count = 1000;
        }
    };
    version = 0x0005000A;
    EXPECT_EQ(link_up(), "64174 closed");
    EXPECT_EQ(held_locks(), "");
    the_bar.fail_from = 0;
    version = 0x00050016;
    EXPECT_EQ(link_up(), "64172 closed");
    EXPECT_EQ(held_locks(), "1 command, 1 response 0, 1 response 1, 1 response 2, ");
    the_bar.on_write = nullptr;
    the_bar.fail_from = 0;
    std::thread([&] { kelvane_mutex_lock(&record.sirane[0].answers[1].response_mutex); }).join();
    // What was taken before is locked once more, and that failure is what the caller sees.
    EXPECT_EQ(link_up(), "64172 closed");
    EXPECT_EQ(held_locks().substr(0, 38), "0 command, 0 response 0, 0 response 1,");
    EXPECT_EQ(time.now(), 360000000000u);
}

} // namespace
