#include "firmware_log/arm_trace.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <iterator>

#include "firmware_log/source_modules.h"
#include "library/logged_card.h"

namespace {

class arm_trace_test : public logged_card_test {
  protected:
    arm_trace_test()
    {
        run_firmware(0x00050016);
    }

    static void run_firmware(uint32_t version)
    {
        set(0x01F04004, version);
    }

    static void set_indexes(uint32_t first, uint32_t last)
    {
        set(0x03F0000C, first);
        set(0x03F00010, last);
    }

    // The numbers that rows of the file begin with, as runs: "200-203 0-1".
    std::string rows_of_file() const
    {
        std::istringstream text(file_text("ordune.log"));
        std::string runs;
        long start = -2;
        long end = -2;
        const auto close_run = [&] {
            if (start >= 0) {
                runs += (runs.empty() ? "" : " ") + std::to_string(start) + "-" + std::to_string(end);
            }
        };
        for (std::string line; std::getline(text, line);) {
            const size_t digits = line.find_first_of("0123456789");
            if (digits == std::string::npos) {
                continue;
            }
            const long row = std::stol(line.substr(digits));
            if (row != end + 1) {
                close_run();
                start = row;
            }
            end = row;
        }
        close_run();
        return runs;
    }

    struct ring_case {
        uint32_t first;
        uint32_t last;
        int32_t code;
        const char *rows;
    };

    void expect_rows(int32_t (*read)(kelvane_handle), const std::vector<ring_case> &cases)
    {
        trace_level_mask_set(1);
        for (const ring_case &c : cases) {
            SCOPED_TRACE(testing::Message() << c.first << " " << c.last);
            set_indexes(c.first, c.last);
            EXPECT_EQ(read(0), c.code);
            EXPECT_EQ(rows_of_file(), c.rows);
        }
    }

    // Text rows that say their place in the ring.
    static void number_text_rows()
    {
        for (uint32_t row = 0; row < 10920; row++) {
            put_text(0x03F00020 + 96 * row, std::to_string(row));
        }
    }

    static void put_coded_row(uint32_t row, const std::vector<uint32_t> &words)
    {
        std::ranges::copy(words, logged_words.begin() + (0x03F00020 + 32 * row) / 4);
    }
};

TEST_F(arm_trace_test, coded_rows_literally)
{
    set_indexes(0, 4);
    put_coded_row(0, {4000000000, 0x000A2123, 0, 1, 2, 3, 4, 5});
    put_coded_row(1, {1, 0x01155FFF, 0x80300004, 0xFFFFFFFF, 0, 0, 0, 0});
    put_coded_row(2, {2, 0x02000000, 7, 0, 0, 0, 0, 0});
    put_coded_row(3, {3, 0xF330F001, 7, 0, 0, 0, 0, 0x1234});
    put_coded_row(4, {4, 0x002FE010, 7, 0, 0, 0, 0, 0});
    EXPECT_EQ(kelvane_ps_print_trace_coded(0), 0);
    EXPECT_EQ(
        file_text("ordune.log"),
        "0)4000000000  mbox_common_functions   LOG: line 291 ret code 00000000 valid data 2 data 00000001 "
        "data 00000002 data 00000003 data 00000004 data 00000005  \n\r "
        "1)1  ordune_CLI_sirane      INFO:line 4095 ret code 80300004 valid data 5 data ffffffff "
        "data 00000000 data 00000000 data 00000000 data 00000000  \n\r "
        "2)2 reserved = 0             ERR: line 0 ret code 00000007 valid data 0 data 00000000 "
        "data 00000000 data 00000000 data 00000000 data 00000000  \n\r "
        "3)3   UNKNOWN   line 1 ret code 00000007 valid data 15 data 00000000 "
        "data 00000000 data 00000000 data 00000000 data 00001234  \n\r "
        "4)4            LOG: line 16 ret code 00000007 valid data 14 data 00000000 "
        "data 00000000 data 00000000 data 00000000 data 00000000  \n\r ");
}

TEST_F(arm_trace_test, names_of_modules_are_padded)
{
    for (uint32_t i = 0; i < 48; i++) {
        EXPECT_EQ(file_list[i].number, i);
        EXPECT_EQ(strlen(file_list[i].name), i < 16 ? 24u : i < 46 ? 23u : i == 46 ? 27u : 10u) << i;
        EXPECT_EQ(file_list[i].name[0] == ' ', i != 0) << i;
    }
    EXPECT_STREQ(file_list[1].name, " ORDUNE_DEBUG_ALL_FILES ");
    EXPECT_STREQ(file_list[15].name, " hurlePSPLinterface     ");
    EXPECT_STREQ(file_list[45].name, " siraneTuning          ");
}

TEST_F(arm_trace_test, which_coded_rows)
{
    const std::vector<ring_case> cases = {
        {0, 0, 0, "0-0"},
        {0, 9, 0, "0-9"},
        {10, 25, 0, "10-15"},
        {10, 20, 0, "10-10"},
        {10, 15, 0, ""},
        {30000, 200, 0, "200-32511 0-30000"},
        {1, 0, 0, "0-32511 0-1"},
        {40000, 32511, 0, "32511-32511 0-40000"},
        {40000, 32512, 0, "0-40000"},
        {0x1FC00, 0x1FC00, 0, ""},
        {0, 0x1FC00, 0, "0-130048"}, // runs on beyond the ring, and beyond the BAR
        {0x1FC01, 0, 64171, ""},
        {0, 0x1FC01, 64171, ""},
        {0xFFFFFFFF, 0xFFFFFFFF, 64171, ""},
    };
    expect_rows(kelvane_ps_print_trace_coded, cases);
    EXPECT_TRUE(
        log_has("ERROR kelvane_ps_print_trace_coded:  first_idx or last greater than PS_MAX_REC 130048 "));
}

TEST_F(arm_trace_test, which_text_rows)
{
    number_text_rows();
    const std::vector<ring_case> cases = {
        {0, 0, 0, ""},
        {0, 96, 0, "0-0"},
        {0, 192, 0, "0-1"},
        {0, 1, 0, "0-0"},
        {96, 480, 0, "1-4"},
        {0, 0xFFF00, 0, "0-10919"},
        {0xFFEA0, 0, 0, "10919-10919"},
        {0xFFE40, 192, 0, "10918-10919 0-1"},
        {0xFFF00, 96, 0, "0-0"}, // none of the upper part
        {0xFFF00, 0, 0, ""},
        {0xFFF01, 0, 64171, ""},
        {0, 0xFFF01, 64171, ""},
    };
    expect_rows(kelvane_ps_print_trace_string, cases);
    EXPECT_TRUE(log_has(
        "ERROR kelvane_ps_print_trace_string:  first_idx or last greater than MAX_FIRST_LAST 1048320 "));
}

TEST_F(arm_trace_test, a_text_row_without_an_end)
{
    put_text(0x03F00020, std::string(96, 'a') + "b");
    set_indexes(0, 192);
    EXPECT_EQ(kelvane_ps_print_trace_string(0), 0);
    EXPECT_EQ(file_text("ordune.log"), std::string(96, 'a') + " \nb \n");
    EXPECT_TRUE(log_has("LOWPR dumpRowString: i = 96 address 03f00080 "));
}

TEST_F(arm_trace_test, the_reader_by_the_firmware)
{
    put_text(0x03F00020, "text");
    set_indexes(0, 96);
    const struct {
        uint32_t version;
        bool whole_is_text;
        bool selective_is_text;
    } cases[] = {
        {0x00000000, true, true},  {0x00000001, false, false}, {0x00030004, false, false},
        {0x00030005, false, true}, {0x00030006, true, true},   {0x00050016, true, true},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(testing::Message() << std::hex << c.version);
        run_firmware(c.version);
        EXPECT_EQ(kelvane_ps_print_trace(0), 0);
        EXPECT_EQ(file_text("ordune.log") == "text \n", c.whole_is_text);
        std::filesystem::remove(folder.path + "/root/ordune.log");
        EXPECT_EQ(kelvane_ps_print_sel_trace(0, 0xF0FFFFFF, 0, 0), 0);
        EXPECT_EQ(file_text("ordune.log"), c.selective_is_text ? "text \n" : "");
        EXPECT_EQ(log_has("ERROR kelvane_ps_print_sel_trace_ordune_coded: function not supported for  "
                          "ordune rel < 03.05  "),
                  !c.selective_is_text);
    }
    EXPECT_EQ(kelvane_ps_print_trace(1), 22);
    EXPECT_EQ(kelvane_ps_print_sel_trace(1, 0xF0FFFFFF, 0, 0), 22);
    EXPECT_EQ(kelvane_ps_print_sel_trace(0, 0xF0FFFF00, 0, 0), 22);
    close_gate();
    EXPECT_EQ(kelvane_ps_print_trace(0), 64174);
}

TEST_F(arm_trace_test, selected_text_rows)
{
    number_text_rows();
    const struct {
        uint32_t first, last; // of the ring
        uint32_t first_line, last_line;
        int32_t code;
        const char *rows;
    } cases[] = {
        {0, 0xFFF00, 0, 0, 0, "0-10919"},
        {0, 960, 2, 4, 0, "2-4"},
        {0, 960, 0, 3, 0, "0-3"},
        {0, 960, 8, 10920, 0, "8-9"},
        {0, 960, 4, 3, 0, ""},
        {0xFFE40, 192, 1, 2, 0, "10919-10919 0-0"},
        {96, 96, 0, 0, 0, ""},
        {0, 960, 10921, 0, 22, ""},
        {0, 960, 0, 10921, 22, ""},
        {0xFFF01, 0, 0, 0, 64171, ""},
    };
    trace_level_mask_set(1);
    for (const auto &c : cases) {
        SCOPED_TRACE(testing::Message() << c.first << " " << c.last << " " << c.first_line);
        std::filesystem::remove(folder.path + "/root/ordune.log");
        set_indexes(c.first, c.last);
        EXPECT_EQ(kelvane_ps_print_sel_trace_ordune(0, c.first_line, c.last_line), c.code);
        EXPECT_EQ(rows_of_file(), c.rows);
        EXPECT_EQ(has_file("ordune.log"), c.code != 22); // a bad request opens no file
    }
    EXPECT_EQ(log_lines().back(),
              "ERROR kelvane_ps_print_sel_trace_ordune_string:  first_idx or last greater "
              "than PS_MAX_REC 130048 ");
}

TEST_F(arm_trace_test, reads_that_fail)
{
    const struct {
        uint32_t version;
        uint32_t offset;
        int32_t code;
        const char *line;
    } cases[] = {
        {0x00030005, 0x03F0000C, 64170, "ERROR kelvane_ps_print_trace_coded: Error reading PCIe"},
        {0x00030005, 0x03F00010, 64170, "ERROR kelvane_ps_print_trace_coded: Error reading PCIe"},
        {0x00030005, 0x03F00044, 64170, "ERROR dumpRow: Error reading PCIe"},
        {0x00050016, 0x03F00010, 64170, "ERROR kelvane_ps_print_trace_string: Error reading PCIe"},
        {0x00050016, 0x03F00084, 64174, ""},
    };
    set_indexes(0, 960);
    const auto open_files = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    };
    EXPECT_EQ(kelvane_ps_print_trace(0), 0);
    const auto before = open_files();
    for (const auto &c : cases) {
        SCOPED_TRACE(testing::Message() << std::hex << c.version << " " << c.offset);
        run_firmware(c.version);
        failing_offset = c.offset;
        EXPECT_EQ(kelvane_ps_print_trace(0), c.code);
        EXPECT_TRUE(*c.line == '\0' || log_has(c.line));
        EXPECT_LE(open_files(), before + 1); // coded dumps leave it open, up to the next dump
        failing_offset = 0;
        EXPECT_EQ(kelvane_ps_print_trace(0), 0);
        EXPECT_EQ(open_files(), before);
    }
}

TEST_F(arm_trace_test, files_that_cannot_be_written)
{
    number_text_rows();
    set_indexes(0, 0xFFF00);
    std::filesystem::create_symlink("/dev/full", folder.path + "/root/ordune.log");
    EXPECT_EQ(kelvane_ps_print_trace(0), 64170);
    EXPECT_TRUE(
        log_has("ERROR close_log_file: the firmware's log could not be written whole: No space left on "
                "device "));
    std::filesystem::remove(folder.path + "/root/ordune.log");
    std::filesystem::create_directory(folder.path + "/root/ordune.log");
    EXPECT_EQ(kelvane_ps_print_trace(0), 64170);
    EXPECT_TRUE(log_has("ERROR kelvane_get_fp_arm_trace: Error opening /root/ordune.log"));
}

TEST_F(arm_trace_test, reads_that_fail_in_the_first_part_of_a_wrapped_ring)
{
    set_indexes(960, 192);
    failing_offset = 0x03F00020 + 960;
    EXPECT_EQ(kelvane_ps_print_trace(0), 64174);
    EXPECT_EQ(kelvane_ps_print_sel_trace(0, 0xF0FFFFFF, 0, 0), 64174);
    run_firmware(0x00030005);
    set_indexes(10, 5);
    failing_offset = 0x03F00020 + 32 * 5;
    EXPECT_EQ(kelvane_ps_print_trace(0), 64170);
    EXPECT_EQ(file_text("ordune.log"), "");
}

TEST_F(arm_trace_test, a_selective_dump_that_cannot_begin)
{
    failing_offset = 0x01F04004; // the version
    EXPECT_EQ(kelvane_ps_print_sel_trace(0, 0xF0FFFFFF, 0, 0), 64174);
    EXPECT_FALSE(has_file("ordune.log"));
    failing_offset = 0x03F00010;
    EXPECT_EQ(kelvane_ps_print_sel_trace(0, 0xF0FFFFFF, 0, 0), 64170);
    failing_offset = 0;
    std::filesystem::remove(folder.path + "/root/ordune.log");
    std::filesystem::create_directory(folder.path + "/root/ordune.log");
    EXPECT_EQ(kelvane_ps_print_sel_trace(0, 0xF0FFFFFF, 0, 0), 64170);
    run_firmware(0x00030005);
    EXPECT_EQ(kelvane_ps_print_trace(0), 64170);
}

} // namespace
