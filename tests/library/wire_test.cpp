// The words of every request, the result and output of a given answer, what is checked first, and what a
// failure leaves alone.
#include <algorithm>
#include <set>

#include "support/library.h"
#include "support/operations.h"
#include "support/promises.h"

namespace {

// Addresses that each kind of check refuses.
const words refused_by[] = {
    {0xFF03FFFF, 0xFFFFFFFF, 0xFF000000, 0xF000FFFF},                                     // DEVICE
    {0xFF03FFFF, 0xFFFFFFFF, 0xFF000000, 0xF0FFFFFF, 0xFF00FFFF, 0xFF00FF00, 0xFF0300FF}, // PORT
    {0xFF03FFFF, 0xFFFFFFFF, 0xFF000000, 0xF0FFFFFF, 0xFF00FFFF, 0xFF0000FF},             // HOST
    {0xFF03FFFF, 0xFFFFFFFF, 0xFF000000, 0xF0FFFFFF, 0xFF0000FF, 0xFF00FF00},             // SIRANE
    {},
    {},
};

class wire_test : public firmware_test {
  protected:
    // What comes back; the output is then in out, and in size.
    int32_t call(const operation_row &row, kelvane_handle handle, uint32_t address)
    {
        firmware.next_reference(0x1234);
        accesses();
        out = {};
        const int32_t rc = row.run(handle, address, out.word);
        const auto *end = std::ranges::find(out.word, guarded_words::UNWRITTEN);
        written.assign(static_cast<const uint32_t *>(out.word), end);
        EXPECT_TRUE(out.is_intact_behind(written.size()));
        return rc;
    }

    guarded_words out;
    words written;
};

TEST_F(wire_test, requests_and_results)
{
    for (const operation_row &row : command_rows) {
        SCOPED_TRACE(row.name);
        words both = {0};
        if (row.checks != CARD) {
            both.push_back(row.address());
        }
        words request = both;
        request.insert(request.end(), row.request.begin(), row.request.end());
        request.resize(row.header[1]);
        const uint32_t sync = row.header.size() > 3 ? row.header[3] : 0xFF00FF00;
        firmware.answer = row.result != NO_ANSWER;
        firmware.data = {0, row.address()};
        firmware.data.insert(firmware.data.end(), row.answer.begin(), row.answer.end());
        for (const uint32_t rc : {0u, 0x80100005u}) { // the output is written all the same
            firmware.rc = rc;
            EXPECT_EQ(call(row, 0, row.address()), row.result == RC ? static_cast<int32_t>(rc) : 0);
            EXPECT_EQ(written, row.output);
            EXPECT_EQ(firmware.request_data, request);
            EXPECT_EQ(firmware.request_header,
                      (words{row.header[0], 0x1234, row.header[1], row.header[2], sync, 0}));
        }
    }
}

TEST_F(wire_test, a_transport_failure_writes_no_output)
{
    for (const operation_row &row : command_rows) {
        SCOPED_TRACE(row.name);
        firmware.refuse = true;
        log_lines();
        EXPECT_EQ(call(row, 0, row.address()), 64173);
        EXPECT_TRUE(written.empty());
        // The shared path alone dumps the header of what failed.
        EXPECT_EQ(std::ranges::any_of(log_lines(),
                                      [](const auto &line) {
                                          return line.starts_with("ERROR trace_mbox_header: mbx 3 cmd ");
                                      }),
                  row.path == SHARED);
        firmware.refuse = false;
        close_gate();
        EXPECT_EQ(call(row, 0, row.address()), 64174);
        EXPECT_TRUE(written.empty());
        open_gate();
    }
}

TEST_F(wire_test, checks_come_first)
{
    for (const operation_row &row : command_rows) {
        SCOPED_TRACE(row.name);
        for (const uint32_t address : refused_by[row.checks]) {
            EXPECT_EQ(call(row, 0, address), 22) << std::hex << address;
        }
        EXPECT_EQ(call(row, 1, row.address()), row.checks == NOTHING ? 64170 : 22);
        EXPECT_EQ(accesses(), "");
        EXPECT_TRUE(written.empty());
    }
}

TEST_F(wire_test, answers_of_any_length_stay_in_their_record)
{
    trace_level_mask_set(0);
    for (const operation_row &row : command_rows) {
        SCOPED_TRACE(row.name);
        if (row.result == NO_ANSWER) {
            continue;
        }
        for (const uint32_t length : {0u, 1u, 2u, 3u, row.header[1] + 1, 2000u, 0xFFFFFFFFu}) {
            firmware.data.assign(std::min(length, 2000u), 0xFFFFFFFF);
            firmware.spoil = [&](words &header) { header[2] = length; };
            const int32_t rc = call(row, 0, row.address());
            EXPECT_TRUE(rc == 0 || rc == 64173) << length << ": " << rc;
            EXPECT_EQ(written.size(), rc == 0 ? row.output.size() : 0u) << length;
        }
        // Another command's record with the right reference is taken for the answer.
        firmware.data.assign(row.header[1], 7);
        firmware.spoil = [](words &header) {
            header[0] = 53;
            header[3] = 0;
        };
        EXPECT_EQ(call(row, 0, row.address()), 0);
    }
}

TEST_F(wire_test, every_command_has_its_row)
{
    std::set<uint32_t> without;
    for (uint32_t command = 0; command < 66; command++) {
        without.insert(command);
    }
    for (const operation_row &row : command_rows) {
        without.erase(row.header[0]);
    }
    // 14, the download, needs files; the others are reserved, or come from the card alone.
    EXPECT_EQ(without, (std::set<uint32_t>{11, 12, 14, 25, 29, 30, 33, 37, 41, 54}));
}

TEST_F(wire_test, a_diagnostic_waits_10_ms_before_the_send)
{
    time.on_sleep([this] {
        if (time.sleeps() == 1) {
            EXPECT_EQ(time.now(), 10000000u);
            EXPECT_EQ(accesses(), "");
        }
    });
    EXPECT_EQ(kelvane_diag_command(0, 0xFF00FFFF, 5), 0);
    EXPECT_EQ(time.now(), 10500000u);
}

TEST_F(wire_test, each_sirane_has_its_own_mailbox_and_the_board_shares_the_first)
{
    for (const auto &[address, first] : {std::pair{0xF0FFFFFFu, "r1c00004 "},
                                         {0xFF0001FFu, "r1c00004 "},
                                         {0xFF01FFFFu, "r1d00004 "},
                                         {0xFF0200FFu, "r1e00004 "}}) {
        the_bar.fail_from = the_bar.access_number + 1;
        EXPECT_EQ(kelvane_write_register(0, address, 1, 2), 64174);
        EXPECT_EQ(accesses().substr(0, 9), first);
    }
}

TEST_F(wire_test, what_is_refused_before_anything_is_sent)
{
    uint32_t check = 0;
    EXPECT_EQ(kelvane_set_pm_parameters(0, 0xFF00FFFF, 65), 22);
    EXPECT_TRUE(log_has("ERROR kelvane_set_pm_parameters: invalid pm_interval=65"));
    EXPECT_EQ(kelvane_get_zynq_rsa_check(0, 3, &check), 22);
    EXPECT_EQ(kelvane_get_zynq_rsa_check(0, 0, &check), 22);
    EXPECT_TRUE(log_has("ERROR kelvane_get_zynq_rsa_check:  Invalid parameter "));
    EXPECT_EQ(kelvane_enable_pm_notify(0, 0xFF00FFFF, 1, nullptr), 22);
    EXPECT_TRUE(log_has("ERROR kelvane_enable_pm_notify: invalid calling callback must no be null "));
    EXPECT_EQ(kelvane_enable_alarms_notify(0, 0xFF00FFFF, 1, nullptr), 22);
    EXPECT_EQ(kelvane_enable_alarms_notify(0, 0xFF00FFFF, 2, nullptr), 22);
    EXPECT_EQ(accesses(), "");
}

} // namespace
