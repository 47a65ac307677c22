// What the library reads and writes without the firmware.
#include "support/library.h"

namespace {

TEST_F(library_test, the_scratchpad)
{
    start_library();
    const uint32_t value = 0xCAFEBABE;
    EXPECT_EQ(kelvane_write_scratchpad_register(0, &value), 0);
    EXPECT_EQ(the_bar.check_alive, std::vector<uint32_t>{1});
    uint32_t read = 0;
    EXPECT_EQ(kelvane_read_scratchpad_register(0, &read), 0);
    EXPECT_EQ(read, 0xCAFEBABE);
    EXPECT_EQ(the_bar.take_accesses(), (std::vector<std::string>{"W 000003f8=cafebabe", "R 000003f8"}));
    EXPECT_EQ(kelvane_write_scratchpad_register(1, &value), 22);
    EXPECT_EQ(kelvane_read_scratchpad_register(1, &read), 22);
    close_gate();
    EXPECT_EQ(kelvane_write_scratchpad_register(0, &value), 64174);
    EXPECT_EQ(kelvane_read_scratchpad_register(0, &read), 64174);
    EXPECT_EQ(kelvane_set_endianess(0), 0);
    EXPECT_TRUE(the_bar.take_accesses().empty());
}

TEST_F(library_test, the_reset_trigger)
{
    start_library();
    EXPECT_EQ(kelvane_set_trigger_reset(0, 1), 0);
    EXPECT_EQ(time.now(), 100000000u);
    EXPECT_EQ(kelvane_set_trigger_reset(0, 0), 0);
    EXPECT_EQ(the_bar.take_accesses(),
              (std::vector<std::string>{"W 01f000a0=a5670000", "W 01f000a0=a5110000", "W 01f000a0=a5670000",
                                        "W 01f000a0=a5330000"}));
    EXPECT_EQ(kelvane_set_trigger_reset(0, 2), 22);
    EXPECT_EQ(kelvane_set_trigger_reset(1, 1), 22);
    EXPECT_TRUE(the_bar.take_accesses().empty());
    the_bar.fail_from = the_bar.access_number + 1;
    EXPECT_EQ(kelvane_set_trigger_reset(0, 1), 64174);
    EXPECT_EQ(the_bar.take_accesses().size(), 1u);
    EXPECT_EQ(time.now(), 200000000u);
}

} // namespace
