// The words of every request, the result and output of a given answer, what is checked first, and what a
// failure leaves alone.
#include "library/wire_rows.h"

#include <algorithm>
#include <set>

#include "core/transaction_id.h"
#include "support/handshake.h"
#include "support/library.h"

namespace {

constexpr uint32_t UNWRITTEN = 0x5555AAAA;
constexpr size_t OUT_WORDS = 128;

// Addresses that each kind of check refuses.
const std::vector<uint32_t> refused_by[] = {
    {0xFF03FFFF, 0xFFFFFFFF, 0xFF000000, 0xF000FFFF},                                     // DEVICE
    {0xFF03FFFF, 0xFFFFFFFF, 0xFF000000, 0xF0FFFFFF, 0xFF00FFFF, 0xFF00FF00, 0xFF0300FF}, // NETWORK_PORT
    {0xFF03FFFF, 0xFFFFFFFF, 0xFF000000, 0xF0FFFFFF, 0xFF00FFFF, 0xFF0000FF},             // HOST_PORT
    {0xFF03FFFF, 0xFFFFFFFF, 0xFF000000, 0xF0FFFFFF, 0xFF0000FF, 0xFF00FF00},             // SIRANE
    {},
    {},
};

class wire_test : public library_test {
  protected:
    wire_test()
    {
        turn_log_on();
        start_library();
        firmware.install();
        for (const auto &family : {device_rows, provisioning_rows, monitoring_rows}) {
            rows.insert(rows.end(), family.begin(), family.end());
        }
    }

    int32_t call(const wire_row &row, kelvane_handle handle, uint32_t address)
    {
        kelvane_transaction_counter.next = 0x1234;
        the_bar.take_accesses();
        std::fill_n(out, OUT_WORDS, UNWRITTEN);
        return row.call(handle, address, out);
    }

    words written() const
    {
        const auto *end = std::find_if(out, out + OUT_WORDS, [](uint32_t word) { return word == UNWRITTEN; });
        EXPECT_TRUE(std::all_of(end, out + OUT_WORDS, [](uint32_t word) { return word == UNWRITTEN; }));
        return {static_cast<const uint32_t *>(out), end};
    }

    std::vector<wire_row> rows;
    answering_firmware firmware;
    alignas(8) uint32_t out[OUT_WORDS];
};

TEST_F(wire_test, requests_and_results)
{
    for (const wire_row &row : rows) {
        SCOPED_TRACE(row.name);
        words request = row.data;
        request.resize(row.header[2]);
        firmware.answer = row.result != NO_ANSWER;
        firmware.data = {0, row.address};
        firmware.data.insert(firmware.data.end(), row.answer.begin(), row.answer.end());
        firmware.rc = 0;
        EXPECT_EQ(call(row, 0, row.address), 0);
        EXPECT_EQ(firmware.request_header, row.header);
        EXPECT_EQ(firmware.request_data, request);
        EXPECT_EQ(written(), row.output);

        firmware.rc = 0x80100005; // the output is written all the same
        EXPECT_EQ(call(row, 0, row.address), row.result == RETURNS_RC ? ORDUNE_INVALID_CMD : 0);
        EXPECT_EQ(written(), row.output);
    }
}

TEST_F(wire_test, a_transport_failure_writes_no_output)
{
    for (const wire_row &row : rows) {
        SCOPED_TRACE(row.name);
        firmware.install();
        firmware.refuse = true;
        log_lines();
        EXPECT_EQ(call(row, 0, row.address), 64173);
        EXPECT_TRUE(written().empty());
        // The shared path alone dumps the header of what failed.
        const std::vector<std::string> lines = log_lines();
        const bool dumped = std::any_of(lines.begin(), lines.end(), [](const std::string &line) {
            return line.find("ERROR trace_mbox_header: mbx 3 cmd ") == 0;
        });
        EXPECT_EQ(dumped, row.path == SHARED);
        firmware.refuse = false;
        close_gate();
        EXPECT_EQ(call(row, 0, row.address), 64174);
        EXPECT_TRUE(written().empty());
        open_gate();
    }
}

TEST_F(wire_test, checks_come_first)
{
    for (const wire_row &row : rows) {
        SCOPED_TRACE(row.name);
        for (const uint32_t address : refused_by[row.checks]) {
            EXPECT_EQ(call(row, 0, address), 22) << std::hex << address;
            EXPECT_TRUE(the_bar.take_accesses().empty());
        }
        if (row.checks != NOTHING) {
            EXPECT_EQ(call(row, 1, row.address), 22);
            EXPECT_TRUE(the_bar.take_accesses().empty());
        }
        EXPECT_TRUE(written().empty());
    }
}

TEST_F(wire_test, answers_of_any_length_stay_in_their_record)
{
    trace_level_mask_set(0);
    for (const wire_row &row : rows) {
        SCOPED_TRACE(row.name);
        if (row.result == NO_ANSWER) {
            continue;
        }
        for (const uint32_t length : {0u, 1u, 2u, 3u, row.header[2] + 1, 2000u, 0xFFFFFFFFu}) {
            firmware.install();
            firmware.data.assign(std::min(length, 2000u), 0xFFFFFFFF);
            firmware.spoil = [&](words &header) { header[2] = length; };
            const int32_t rc = call(row, 0, row.address);
            EXPECT_TRUE(rc == 0 || rc == 64173) << length << ": " << rc;
            EXPECT_EQ(written().size(), rc == 0 ? row.output.size() : 0u) << length;
        }
        // Another command's record with the right reference is taken for the answer.
        firmware.data.assign(row.header[2], 7);
        firmware.spoil = [](words &header) {
            header[0] = 53;
            header[3] = 0;
        };
        EXPECT_EQ(call(row, 0, row.address), 0);
    }
}

TEST_F(wire_test, every_command_has_its_row)
{
    std::set<uint32_t> covered;
    for (const wire_row &row : rows) {
        covered.insert(row.header[0]);
    }
    // 14, the download, needs files: firmware_image_test.
    const std::set<uint32_t> with_an_operation = {0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 13, 15, 16,
                                                  17, 18, 19, 20, 21, 22, 23, 24, 26, 27, 28, 31, 32, 34,
                                                  35, 36, 38, 39, 40, 42, 43, 44, 45, 46, 47, 48, 49, 50,
                                                  51, 52, 53, 55, 56, 57, 58, 59, 60, 61, 62, 63, 64, 65};
    EXPECT_EQ(covered, with_an_operation);
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

TEST_F(wire_test, what_is_refused_before_anything_is_sent)
{
    the_bar.take_accesses();
    uint32_t check = 0;
    EXPECT_EQ(kelvane_set_pm_parameters(0, 0xFF00FFFF, 65), 22);
    EXPECT_EQ(log_lines().back(), "ERROR kelvane_set_pm_parameters: invalid pm_interval=65");
    EXPECT_EQ(kelvane_get_zynq_rsa_check(1, 1, &check), 22);
    EXPECT_EQ(kelvane_get_zynq_rsa_check(0, 3, &check), 22);
    EXPECT_EQ(kelvane_get_zynq_rsa_check(0, 0, &check), 22);
    EXPECT_EQ(log_lines().back(), "ERROR kelvane_get_zynq_rsa_check:  Invalid parameter ");
    EXPECT_EQ(kelvane_enable_pm_notify(0, 0xFF00FFFF, 1, nullptr), 22);
    EXPECT_EQ(log_lines().back(),
              "ERROR kelvane_enable_pm_notify: invalid calling callback must no be null ");
    EXPECT_EQ(kelvane_enable_alarms_notify(0, 0xFF00FFFF, 1, nullptr), 22);
    EXPECT_EQ(kelvane_enable_alarms_notify(0, 0xFF00FFFF, 2, nullptr), 22);
    EXPECT_TRUE(the_bar.take_accesses().empty());
}

} // namespace
