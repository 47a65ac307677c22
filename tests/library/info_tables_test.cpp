#include "card/info_tables.h"

#include <cstring>

#include "core/handle.h"
#include "kelvane_handle.h"
#include "support/library.h"

namespace {

// Tables of a card whose every word is typed here.
class info_tables_test : public library_test {
  protected:
    info_tables_test()
    {
        turn_log_on();
        start_library();
        const uint32_t zynq[] = {0x55667788, 0x00050016, 0x02011683, 0x05162A69, 0xAA005500, 0x00C0FFEE,
                                 0x00050017, 0x00040003, 0x53C0EEDD, 0x2,        0x1234,     0x7,
                                 0xB0A4D,    0x3,        0xDEAD,     0xBEEF};
        uint32_t offset = 0x01F04000;
        for (const uint32_t word : zynq) {
            the_bar.word[offset] = word;
            offset += 4;
        }
        set_sirane(1, {0x01040304, 0x02000005, 1, 1, 1, 0});
        the_bar.word[0x01F04504 + 0x104] = 0x00030021; // the first port's module
        the_bar.word[0x01F04504 + 0x204] = 0x00040022;
        log_lines();
        the_bar.take_accesses();
    }

    static void set_sirane(uint32_t sirane_id, const std::vector<uint32_t> &words)
    {
        const uint32_t tables[] = {0x01F04200, 0x01F04504, 0x01F04808};
        for (size_t i = 0; i < words.size(); i++) {
            the_bar.word[tables[sirane_id] + 4 * static_cast<uint32_t>(i)] = words[i];
        }
    }
};

TEST_F(info_tables_test, versions_by_address)
{
    const struct {
        uint32_t address;
        int32_t code;
        uint32_t running_major, running_minor, downloaded_major, downloaded_minor;
    } cases[] = {
        {0xF0FFFFFF, 0, 5, 0x16, 5, 0x17}, {0xFF01FFFF, 0, 1, 0x0704, 2, 5},
        {0xFF0100FF, 0, 3, 0x21, 3, 0x21},                                   // a module has one version only
        {0xFF0101FF, 0, 4, 0x22, 4, 0x22}, {0xFF01FF02, 0, 1, 0x0704, 2, 5}, // a host port is its sirane's
        {0xFF0102FF, 22, 9, 9, 9, 9},                                        // no such port
        {0xFF03FFFF, 22, 9, 9, 9, 9},      {0xFFFFFFFF, 22, 9, 9, 9, 9},
        {0xFF010000, 22, 9, 9, 9, 9},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(testing::Message() << std::hex << c.address);
        uint32_t major = 9, minor = 9;
        EXPECT_EQ(kelvane_get_software_running(0, c.address, &major, &minor), c.code);
        EXPECT_EQ(major, c.running_major);
        EXPECT_EQ(minor, c.running_minor);
        major = minor = 9;
        EXPECT_EQ(kelvane_get_software_downloaded(0, c.address, &major, &minor), c.code);
        EXPECT_EQ(major, c.downloaded_major);
        EXPECT_EQ(minor, c.downloaded_minor);
        EXPECT_EQ(kelvane_get_software_running(1, c.address, &major, &minor), 22);
    }
}

TEST_F(info_tables_test, a_sirane_table_is_read_in_four_runs)
{
    uint32_t major = 0, minor = 0;
    EXPECT_EQ(kelvane_get_sirane_software(0, 1, 0, &major, &minor), 0);
    EXPECT_EQ(the_bar.check_alive, std::vector<uint32_t>(15, 1));
    EXPECT_EQ(
        the_bar.take_accesses(),
        (std::vector<std::string>{"R 01f04504", "R 01f04508", "R 01f0450c", "R 01f04510", "R 01f04514",
                                  "R 01f04518", "R 01f04604", "R 01f04608", "R 01f0460c", "R 01f04610",
                                  "R 01f04704", "R 01f04708", "R 01f0470c", "R 01f04710", "R 01f04804"}));
    EXPECT_EQ(kelvane_get_ordune_software(0, 0, 0, &major, &minor), 0);
    EXPECT_EQ(the_bar.check_alive, std::vector<uint32_t>(16, 0));
}

TEST_F(info_tables_test, a_sirane_table_that_contradicts_itself)
{
    const std::vector<uint32_t> broken[] = {
        {1, 1, 1, 1, 0, 2}, // no such bank
        {1, 1, 0, 1, 1, 0}, // the running bank is not valid
        {1, 1, 2, 1, 1, 0},
        {1, 1, 1, 1, 0, 0xFFFFFFFF},
    };
    uint32_t major = 9, minor = 9;
    for (const auto &words : broken) {
        set_sirane(1, words);
        EXPECT_EQ(kelvane_get_sirane_software(0, 1, 0, &major, &minor), 64170);
        EXPECT_TRUE(log_has("ERROR kelvane_get_sirane_software: incongruent sirane_id 1 info table "));
    }
    EXPECT_EQ(kelvane_get_sirane_software(0, 1, 2, &major, &minor), 64170);
    EXPECT_EQ(kelvane_get_sirane_software(0, 3, 0, &major, &minor), 22);
    EXPECT_EQ(major, 9u);
}

TEST_F(info_tables_test, an_image_that_is_still_checked)
{
    the_bar.word[0x01F04018] = 0xFFFFFFFD;
    the_bar.word[0x01F0401C] = 0xFFFFFFFD;
    uint32_t major = 9, minor = 9;
    EXPECT_EQ(kelvane_get_software_downloaded(0, 0xF0FFFFFF, &major, &minor), 64175);
    EXPECT_EQ(major + minor, 0u);
    EXPECT_TRUE(log_has("ERROR kelvane_get_ordune_software:  ordune not ready for check RSA "));
    major = 9;
    EXPECT_EQ(kelvane_get_software_downloaded_golden_zynq(0, &major, &minor), 64175);
    EXPECT_EQ(major, 0u);
    EXPECT_EQ(kelvane_get_software_running(0, 0xF0FFFFFF, &major, &minor), 0);
    EXPECT_EQ(major, 5u);
    the_bar.word[0x01F0401C] = 0x00040003;
    EXPECT_EQ(kelvane_get_software_downloaded_golden_zynq(0, &major, &minor), 0);
    EXPECT_EQ(major, 4u);
    EXPECT_EQ(minor, 3u);
    EXPECT_EQ(kelvane_get_ordune_software(0, 0, 3, &major, &minor), 64170);
    EXPECT_EQ(kelvane_get_software_downloaded_golden_zynq(2, &major, &minor), 22);
}

TEST_F(info_tables_test, a_differing_stored_version_is_only_told)
{
    local_handles_array[0].stored_ordune_ver_maj = 4;
    uint32_t major = 0, minor = 0;
    EXPECT_EQ(kelvane_get_software_running(0, 0xF0FFFFFF, &major, &minor), 0);
    EXPECT_EQ(major, 5u);
    EXPECT_TRUE(log_has("DEBUG kelvane_get_ordune_software: ERROR problem stored_ver  4 0 real_ver 5 22 "));
}

TEST_F(info_tables_test, at_least_a_version)
{
    const struct {
        uint32_t running, major, minor, answer;
    } cases[] = {
        {0x00050016, 5, 22, 1}, {0x00050016, 5, 23, 0}, {0x00050016, 6, 0, 0}, {0x00050016, 4, 99, 1},
        {0x0006FFFF, 5, 99, 1}, {0x00000000, 5, 22, 1}, // no version passes for the newest
        {0x00000001, 5, 22, 0}, {0xFFFFFFFF, 5, 22, 1},
    };
    for (const auto &c : cases) {
        the_bar.word[0x01F04004] = c.running;
        uint32_t answer = 9;
        EXPECT_EQ(is_current_ver_later_or_equal(0, c.major, c.minor, &answer), 0);
        EXPECT_EQ(answer, c.answer) << std::hex << c.running;
    }
    close_gate();
    uint32_t answer = 9;
    EXPECT_EQ(is_current_ver_later_or_equal(0, 5, 22, &answer), 64174);
    EXPECT_EQ(answer, 9u);
}

TEST_F(info_tables_test, the_level_of_the_reading_is_the_callers)
{
    uint32_t major = 0, minor = 0;
    const std::string tail = " kelvane_get_internal_software_running: maj_ver 5 min_ver 22 - 0x5 0x16 ";
    for (const auto &[level, word] : {std::pair{2u, "INFO "}, {64u, "LOWPR"}, {4u, "ALARM"}}) {
        kelvane_get_internal_software_running(0, 0xF0FFFFFF, &major, &minor, level);
        EXPECT_EQ(log_lines().back(), word + tail);
    }
    kelvane_get_internal_software_running(0, 0xF0FFFFFF, &major, &minor, 3);
    for (const std::string &line : log_lines()) {
        EXPECT_EQ(line.find("maj_ver"), std::string::npos);
    }
}

TEST_F(info_tables_test, the_controller_in_the_log)
{
    trace_level_mask_set(2);
    EXPECT_EQ(kelvane_trace_zynq_info_table(0), 0);
    std::vector<std::string> expected;
    for (const char *line :
         {"Zynq Info Table ", "imageBundleRunning: working ", "workingBundleImageVersion 5.23 0x0005.0x0017",
          "GoldenBundleImageVersion  4.3 0x0004.0x0003", "runningBundleImageVersion 5.22 0x0005.0x0016",
          "fsbl_RunningVersion 2.1 - 11/04/03 ", "application_RunningVersion 5.22 - 21/03/09 ",
          "appIsBareMetal: yes ", "plbit_RunningVersion 0x00c0ffee ", "secureBootFlag: SB_mode ",
          "DDRdimFlag: 0x2 ", "cardID: 0x00001234", "cardVer: 0x00000007", "siraneBoardId: 0x000b0a4d",
          "siraneBoardRev: 0x00000003"}) {
        expected.push_back(std::string("INFO  kelvane_trace_zynq_info_table: ") + line);
    }
    EXPECT_EQ(log_lines(), expected);
}

TEST_F(info_tables_test, tables_that_cannot_be_read)
{
    uint32_t major = 9, minor = 9;
    the_bar.fail_from = the_bar.access_number + 1;
    the_bar.fail_count = 3;
    for (const uint32_t address : {0xFF0100FFu, 0xFF01FFFFu, 0xF0FFFFFFu}) {
        EXPECT_EQ(kelvane_get_software_running(0, address, &major, &minor), 64174) << std::hex << address;
    }
    EXPECT_EQ(major, 9u);
    kelvane_store_firmware_version(0);
    kelvane_store_firmware_version(1); // of no card: what is stored stays
    EXPECT_EQ(kelvane_get_stored_version(0, &major, &minor), 0);
    EXPECT_EQ(major, 5u);
    EXPECT_EQ(minor, 22u);
}

TEST_F(info_tables_test, what_the_controller_is)
{
    kelvane_ordune_inventory_t inventory{};
    EXPECT_EQ(kelvane_get_ordune_inventory_inf(0, &inventory), 0);
    const uint32_t expected[9] = {0x55667788, 0x00050016, 0x00C0FFEE, 0x00050017, 0x00040003,
                                  0x53C0EEDD, 0x2,        0x1234,     0x7};
    EXPECT_EQ(memcmp(&inventory, expected, sizeof expected), 0);
    uint32_t type = 0;
    EXPECT_EQ(kelvane_get_zynq_run_type(0, &type), 0);
    EXPECT_EQ(type, 1u);
    EXPECT_EQ(kelvane_get_secure_type(0, &type), 0);
    EXPECT_EQ(type, 1u);
    the_bar.word[0x01F04000] = 0x55667789;
    the_bar.word[0x01F04020] = 0;
    kelvane_get_zynq_run_type(0, &type);
    EXPECT_EQ(type, 2u);
    kelvane_get_secure_type(0, &type);
    EXPECT_EQ(type, 2u);
    EXPECT_TRUE(log_has("INFO  kelvane_get_secure_type:  secure_type =  NO SB_mode - KELVANE_UNSECURED "));
    close_gate();
    EXPECT_EQ(kelvane_get_secure_type(0, &type), 64174);
    EXPECT_EQ(type, 0u);
    EXPECT_EQ(kelvane_get_secure_type(1, &type), 22);
    EXPECT_EQ(kelvane_get_ordune_inventory_inf(1, &inventory), 22);
    EXPECT_EQ(kelvane_get_zynq_run_type(1, &type), 22);
}

} // namespace
