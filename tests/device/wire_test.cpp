// Every command of the library on the wire: the words of its request, its result from a given answer, and
// what it checks first.
#include <functional>

#include "core/transaction_id.h"
#include "support/handshake.h"
#include "support/library.h"

namespace {

using words = std::vector<uint32_t>;

struct wire_row {
    const char *name;
    std::function<int32_t(kelvane_handle, uint32_t address, uint32_t *out)> call;
    uint32_t address; // a good one
    words header;     // of the request, with reference 0x1234
    words data;
    words answer;                        // what the firmware answers
    uint32_t output;                     // then; UNWRITTEN for an operation without output
    std::vector<uint32_t> bad_addresses; // each refused with 22, in front of a bad handle
    bool checks_handle;
};

constexpr uint32_t UNWRITTEN = 0x5555AAAA;
const std::vector<uint32_t> no_device = {0xFF03FFFF, 0xFFFFFFFF, 0xFF000000, 0xF000FFFF};
const std::vector<uint32_t> no_port = {0xFF03FFFF, 0xFFFFFFFF, 0xFF000000,
                                       0xF0FFFFFF, 0xFF00FFFF, 0xFF00FF00};

const wire_row rows[] = {
    {"kelvane_read_register",
     [](auto h, auto a, auto *out) { return kelvane_read_register(h, a, 0x9010, out); },
     0xFF00FFFF,
     {9, 0x1234, 4, 0, 0xFF00FF00, 0},
     {0, 0xFF00FFFF, 0x9010, 0},
     {0, 0, 0, 0xCAFE},
     0xCAFE,
     no_device,
     true},
    {"kelvane_read_register of the board",
     [](auto h, auto a, auto *out) { return kelvane_read_register(h, a, 0x10, out); },
     0xF0FFFFFF,
     {9, 0x1234, 4, 0, 0xFF00FF00, 0},
     {0, 0xF0FFFFFF, 0x10, 0},
     {1}, // too short: zeros behind what came
     0,
     no_device,
     true},
    {"kelvane_write_register",
     [](auto h, auto a, auto *) { return kelvane_write_register(h, a, 0x9100, 0x82); },
     0xFF000000, // not for the library to judge
     {10, 0x1234, 4, 0, 0xFF00FF00, 0},
     {0, 0xFF000000, 0x9100, 0x82},
     {},
     UNWRITTEN,
     {},
     false},
    {"kelvane_diag_command",
     [](auto h, auto a, auto *) { return kelvane_diag_command(h, a, 34); },
     0xFF00FFFF,
     {13, 0x1234, 3, 0, 0xFF00FF00, 0},
     {0, 0xFF00FFFF, 34},
     {},
     UNWRITTEN,
     no_device,
     true},
    {"kelvane_default_initialize",
     [](auto h, auto, auto *) { return kelvane_default_initialize(h); },
     0,
     {16, 0x1234, 1, 0, 0xFF00FF00, 0},
     {0},
     {},
     UNWRITTEN,
     {},
     true},
    {"kelvane_enable_keep_alive_notify",
     [](auto h, auto, auto *) { return kelvane_enable_keep_alive_notify(h, 2, nullptr); },
     0,
     {55, 0x1234, 2, 0, 0xFF00FF00, 0},
     {0, 2},
     {},
     UNWRITTEN,
     {},
     true},
    {"kelvane_set_arm_trace_level",
     [](auto h, auto, auto *) { return kelvane_set_arm_trace_level(h, 0x1F); },
     0,
     {56, 0x1234, 2, 0, 0xFF00FF00, 0},
     {0, 0x1F},
     {},
     UNWRITTEN,
     {},
     true},
    {"kelvane_recover_device",
     [](auto h, auto a, auto *) { return kelvane_recover_device(h, a); },
     0xFF0001FF, // a port: its sirane is recovered
     {59, 0x1234, 2, 0, 0xFF00FF00, 0},
     {0, 0xFF0001FF},
     {},
     UNWRITTEN,
     no_device,
     true},
    {"kelvane_get_xpm2_status",
     [](auto h, auto a, auto *out) { return kelvane_get_xpm2_status(h, a, out); },
     0xFF0001FF,
     {60, 0x1234, 3, 0, 0xFF00FF00, 0},
     {0, 0xFF0001FF, 0},
     {0, 0, 0x1F},
     0x1F,
     no_port,
     true},
};

class wire_test : public library_test {
  protected:
    wire_test()
    {
        start_library();
        firmware.install();
    }

    int32_t call(const wire_row &row, kelvane_handle handle, uint32_t address, uint32_t *out)
    {
        kelvane_transaction_counter.next = 0x1234;
        the_bar.take_accesses();
        *out = UNWRITTEN;
        return row.call(handle, address, out);
    }

    answering_firmware firmware;
};

TEST_F(wire_test, requests_and_results)
{
    for (const wire_row &row : rows) {
        SCOPED_TRACE(row.name);
        uint32_t out;
        firmware.data = row.answer;
        firmware.rc = 0;
        EXPECT_EQ(call(row, 0, row.address, &out), 0);
        EXPECT_EQ(firmware.request_header, row.header);
        EXPECT_EQ(firmware.request_data, row.data);
        EXPECT_EQ(out, row.output);

        firmware.rc = 0x80100005; // the output is written all the same
        EXPECT_EQ(call(row, 0, row.address, &out), ORDUNE_INVALID_CMD);
        EXPECT_EQ(out, row.output);
    }
}

TEST_F(wire_test, a_transport_failure_writes_no_output)
{
    for (const wire_row &row : rows) {
        SCOPED_TRACE(row.name);
        uint32_t out;
        firmware.install();
        firmware.refuse = true;
        EXPECT_EQ(call(row, 0, row.address, &out), 64173);
        EXPECT_EQ(out, UNWRITTEN);
        firmware.refuse = false;
        close_gate();
        EXPECT_EQ(call(row, 0, row.address, &out), 64174);
        EXPECT_EQ(out, UNWRITTEN);
        open_gate();
    }
}

TEST_F(wire_test, checks_come_first)
{
    for (const wire_row &row : rows) {
        SCOPED_TRACE(row.name);
        uint32_t out;
        for (const uint32_t address : row.bad_addresses) {
            EXPECT_EQ(call(row, 0, address, &out), 22) << std::hex << address;
            EXPECT_TRUE(the_bar.take_accesses().empty());
        }
        if (row.checks_handle) {
            EXPECT_EQ(call(row, 1, row.address, &out), 22);
            EXPECT_TRUE(the_bar.take_accesses().empty());
        }
        EXPECT_EQ(out, UNWRITTEN);
    }
}

TEST_F(wire_test, a_diagnostic_waits_10_ms_before_the_send)
{
    time.on_sleep([this] {
        if (time.sleeps() == 1) {
            EXPECT_EQ(time.now(), 10000000u);
            EXPECT_TRUE(the_bar.take_accesses().empty());
        }
    });
    EXPECT_EQ(kelvane_diag_command(0, 0xFF00FFFF, 5), 0);
    EXPECT_EQ(time.now(), 10500000u);
}

TEST_F(wire_test, each_sirane_has_its_own_mailbox_and_the_board_shares_the_first)
{
    const struct {
        uint32_t address;
        const char *first_access;
    } cases[] = {
        {0xF0FFFFFF, "R 01c00004"},
        {0xFF0001FF, "R 01c00004"},
        {0xFF01FFFF, "R 01d00004"},
        {0xFF0200FF, "R 01e00004"},
    };
    for (const auto &c : cases) {
        the_bar.take_accesses();
        the_bar.fail_from = the_bar.access_number + 1;
        EXPECT_EQ(kelvane_write_register(0, c.address, 1, 2), 64174);
        EXPECT_EQ(the_bar.take_accesses()[0], c.first_access);
    }
}

} // namespace
