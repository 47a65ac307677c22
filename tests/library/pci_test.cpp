#include "core/pci.h"

#include "kelvane_handle.h"
#include "support/library.h"

namespace {

class gate_test : public library_test {
  protected:
    gate_test()
    {
        turn_log_on();
        start_library();
        log_lines();
    }

    // Every form of access with one word; the result of each.
    std::vector<int32_t> all_forms(uint32_t check_alive)
    {
        uint32_t word = 0;
        return {kelvane_internal_pci_read(0, 0, 0x300, &word, check_alive),
                kelvane_internal_pci_write(0, 0, 0x300, 1, check_alive),
                kelvane_internal_pci_read_block(0, 0, 0x300, 1, &word, check_alive),
                kelvane_internal_pci_write_block(0, 0, 0x300, 1, &word, check_alive)};
    }

    kelvane_handle_record &record = local_handles_array[0];
};

const std::vector<int32_t> passed = {0, 0, 0, 0};
const std::vector<int32_t> refused = {64174, 64174, 64174, 64174};

TEST_F(gate_test, who_passes)
{
    const struct {
        int32_t mapped;
        uint32_t watch, status, check_alive;
        bool passes;
    } cases[] = {
        {0, 0, 0, 0, false}, {0, 0, 0, 1, false}, {1, 0, 0, 1, true}, {1, 0, 2, 1, true}, {1, 1, 1, 1, true},
        {1, 1, 0, 1, false}, {1, 1, 2, 1, false}, {1, 1, 2, 0, true}, {1, 1, 2, 7, true}, {1, 1, 3, 1, false},
    };
    for (const auto &c : cases) {
        record.pci_mapped = c.mapped;
        record.keep_alive_enabled = c.watch;
        record.keep_alive_status = c.status;
        the_bar.take_accesses();
        SCOPED_TRACE(testing::Message() << c.mapped << c.watch << c.status << c.check_alive);
        EXPECT_EQ(all_forms(c.check_alive), c.passes ? passed : refused);
        EXPECT_EQ(the_bar.take_accesses().size(), c.passes ? 4u : 0u);
    }
}

TEST_F(gate_test, a_closed_gate_tells_the_console_of_word_writes_only)
{
    close_gate();
    testing::internal::CaptureStdout();
    all_forms(1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "fpga is not PCI mapped \n");
    EXPECT_EQ(log_lines(), (std::vector<std::string>{
                               "ERROR kelvane_internal_pci_read: fpga is not PCI mapped ",
                               "ERROR kelvane_internal_pci_write: fpga is not PCI mapped ",
                               "ERROR kelvane_internal_pci_read_block: fpga is not PCI mapped ",
                               "ERROR kelvane_internal_pci_write_block: fpga is not PCI mapped ",
                           }));
}

TEST_F(gate_test, a_failing_callback_is_one_code_and_its_own_stays_in_the_log)
{
    the_bar.fail_from = 1;
    the_bar.fail_count = 100;
    EXPECT_EQ(all_forms(1), refused);
    EXPECT_TRUE(log_has("ERROR kelvane_internal_pci_read: callback rc = 5 "));
}

TEST_F(gate_test, all_ones_is_a_value)
{
    the_bar.word[0x10] = 0xFFFFFFFF;
    uint32_t value = 0;
    EXPECT_EQ(kelvane_internal_pci_read(0, 0, 0x10, &value, 1), 0);
    EXPECT_EQ(value, 0xFFFFFFFF);
    EXPECT_EQ(log_lines().back(), "REG   kelvane_internal_pci_read: offset 0x00000010 value 0xffffffff ");
}

TEST_F(gate_test, blocks_go_word_by_word_without_a_callback)
{
    const uint32_t out[] = {7, 8, 9};
    EXPECT_EQ(kelvane_internal_pci_write_block(0, 0, 0x40, 3, out, 0), 0);
    EXPECT_EQ(the_bar.check_alive, (std::vector<uint32_t>{0, 0, 0}));
    EXPECT_EQ(the_bar.take_accesses(), (std::vector<std::string>{"W 00000040=00000007", "W 00000044=00000008",
                                                                 "W 00000048=00000009"}));
    uint32_t in[3] = {1, 1, 1};
    the_bar.fail_from = the_bar.access_number + 2;
    EXPECT_EQ(kelvane_internal_pci_read_block(0, 0, 0x40, 3, in, 1), 64174);
    EXPECT_EQ(the_bar.take_accesses(), (std::vector<std::string>{"R 00000040", "R 00000044"}));
    EXPECT_EQ(in[0], 7u);
    EXPECT_EQ(in[2], 1u);
    EXPECT_EQ(kelvane_internal_pci_read_block(0, 0, 0x40, 0, in, 1), 0);
    EXPECT_TRUE(the_bar.take_accesses().empty());
}

TEST_F(gate_test, blocks_go_whole_through_a_callback_and_leave_no_register_line)
{
    record.init_device.pci_read_block_cb = [](kelvane_handle, uint32_t, uint32_t offset, uint32_t words,
                                              uint32_t *data, uint32_t alive) -> int32_t {
        data[0] = offset;
        data[1] = words * 10 + alive;
        return offset == 0 ? 3 : 0;
    };
    uint32_t in[2] = {};
    log_lines();
    EXPECT_EQ(kelvane_internal_pci_read_block(0, 0, 0x80, 2, in, 1), 0);
    EXPECT_EQ(in[0], 0x80u);
    EXPECT_EQ(in[1], 21u);
    EXPECT_TRUE(log_lines().empty());
    EXPECT_EQ(kelvane_internal_pci_read_block(0, 0, 0, 2, in, 1), 64174);
    EXPECT_EQ(log_lines(),
              std::vector<std::string>{"ERROR kelvane_internal_pci_read_block: callback rc = 3 "});
}

TEST_F(gate_test, a_handle_that_names_no_card_finds_the_gate_closed)
{
    uint32_t value = 0;
    EXPECT_EQ(kelvane_internal_pci_read(1, 0, 0, &value, 0), 64174);
    EXPECT_EQ(kelvane_internal_pci_read(0xFFFFFFFF, 0, 0, &value, 1), 64174);
    EXPECT_EQ(check_keep_alive(1), 0); // nobody watches there
}

} // namespace
