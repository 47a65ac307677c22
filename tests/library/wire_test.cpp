// The words of every request, the result and output of a given answer, what is checked first, and what a
// failure leaves alone.
#include <algorithm>

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
    // What comes back; the output is then in `written`.
    int32_t call(const operation_row &row, kelvane_handle handle, uint32_t address)
    {
        firmware.next_reference(0x1234);
        accesses();
        guarded_words out;
        const int32_t rc = row.run(handle, address, out.word);
        written.assign(out.word, std::ranges::find(out.word, guarded_words::UNWRITTEN));
        EXPECT_TRUE(out.is_intact_behind(written.size()));
        return rc;
    }

    words written;
};

TEST_F(wire_test, requests_and_results)
{
    for (const operation_row &row : command_rows) {
        SCOPED_TRACE(row.name);
        words request = {0};
        if (row.checks != CARD) {
            request.push_back(row.address());
        }
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

TEST_F(wire_test, a_failure_writes_no_output_and_checks_come_first)
{
    firmware.refuse = true;
    for (const operation_row &row : command_rows) {
        SCOPED_TRACE(row.name);
        const auto failure = [&](kelvane_handle handle, uint32_t address) {
            const int32_t rc = call(row, handle, address);
            EXPECT_TRUE(written.empty());
            return rc;
        };
        EXPECT_EQ(failure(0, row.address()), 64173);
        close_gate();
        EXPECT_EQ(failure(0, row.address()), 64174);
        open_gate();
        for (const uint32_t address : refused_by[row.checks]) {
            EXPECT_EQ(failure(0, address), 22) << std::hex << address;
            EXPECT_EQ(accesses(), "");
        }
        EXPECT_EQ(failure(1, row.address()), row.checks == NOTHING ? 64170 : 22);
    }
    uint32_t check = 0;
    accesses();
    EXPECT_EQ(kelvane_set_pm_parameters(0, 0xFF00FFFF, 65), 22);
    EXPECT_EQ(kelvane_get_zynq_rsa_check(0, 3, &check), 22);
    EXPECT_EQ(kelvane_get_zynq_rsa_check(0, 0, &check), 22);
    EXPECT_EQ(kelvane_enable_pm_notify(0, 0xFF00FFFF, 1, nullptr), 22);
    EXPECT_EQ(kelvane_enable_alarms_notify(0, 0xFF00FFFF, 1, nullptr), 22);
    EXPECT_EQ(kelvane_enable_alarms_notify(0, 0xFF00FFFF, 2, nullptr), 22);
    EXPECT_EQ(accesses(), "");
}

TEST_F(wire_test, answers_of_any_length_stay_in_their_record)
{
    trace_level_mask_set(0);
    for (const operation_row &row : command_rows) {
        SCOPED_TRACE(row.name);
        firmware.answer = row.result != NO_ANSWER;
        for (const uint32_t length : {0u, 1u, 2u, 3u, row.header[1] + 1, 2000u, 0xFFFFFFFFu}) {
            firmware.data.assign(std::min(length, 2000u), 0xFFFFFFFF);
            firmware.spoil = [&](words &header) { header[2] = length; };
            const int32_t rc = call(row, 0, row.address());
            EXPECT_TRUE(rc == 0 || rc == 64173) << length << ": " << rc;
            EXPECT_EQ(written.size(), rc == 0 ? row.output.size() : 0u) << length;
        }
    }
}

TEST_F(wire_test, a_diagnostic_waits_10_ms_before_the_send)
{
    time.on_sleep([this] { EXPECT_EQ(accesses().empty(), time.now() == 10000000); });
    EXPECT_EQ(kelvane_diag_command(0, 0xFF00FFFF, 5), 0);
    EXPECT_EQ(time.now(), 10500000u);
}

} // namespace
