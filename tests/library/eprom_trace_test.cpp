#include "firmware_log/eprom_trace.h"

#include <filesystem>
#include <unistd.h>

#include "firmware_log/log_file.h"
#include "library/logged_card.h"

namespace {

constexpr uint32_t SLICES[] = {0x03E00000, 0x03E40000, 0x03E80000, 0x03EC0000};

class eprom_trace_test : public logged_card_test {
  protected:
    // Indexes of a sirane's log; each of its words says its place: "0000", "0001" and so on in base 36.
    static void set_sirane_log(uint32_t sirane, uint32_t first, uint32_t last)
    {
        set(SLICES[sirane], first);
        set(SLICES[sirane] + 4, last);
        for (uint32_t word = 0; word < 261112 / 4; word++) {
            put_text(SLICES[sirane] + 8 + 4 * word, place(word));
        }
    }

    static std::string place(uint32_t word)
    {
        std::string text;
        for (int digit = 0; digit < 4; digit++) {
            text.insert(text.begin(), "0123456789abcdefghijklmnopqrstuvwxyz"[word % 36]);
            word /= 36;
        }
        return text;
    }

    static void set_controller_log(uint32_t first, uint32_t last, uint32_t size)
    {
        set(0x03EC0004, first);
        set(0x03EC0008, last);
        set(0x03EC000C, size);
        set(0x03EC0014, 0x01AC7F26);
        for (uint32_t word = 0; word < 261072 / 4; word++) {
            set(0x03EC0030 + 4 * word, word);
        }
    }

    // "no. 3 to 7, 12 words": the first and the last word of a sirane's file and how many there are.
    std::string extent(const std::string &name) const
    {
        const std::string text = file_text(name);
        if (text.size() < 5) {
            return "none";
        }
        return text.substr(0, 4) + "-" + text.substr(text.size() - 5, 4) + " " +
               std::to_string(text.size() / 4);
    }
};

TEST_F(eprom_trace_test, which_words_of_a_sirane)
{
    const struct {
        uint32_t first, last; // indexes
        uint32_t first_line, last_line;
        int32_t code;
        const char *extent;
    } cases[] = {
        {100, 100, 0, 0, 0, "000p-000p 1"},
        {0, 0, 0, 0, 0, "0000-0000 1"},
        {0, 4, 0, 0, 0, "0000-0001 2"},
        {3, 5, 0, 0, 0, "0000-0002 3"},
        {200, 100, 0, 0, 0, "001e-000p 65254"},
        {201, 103, 0, 0, 0, "001f-000p 65253"}, // up to the next word, down to the one before
        {261111, 0, 0, 0, 0, "0000-0000 1"},    // nothing is left above
        {261108, 3, 0, 0, 0, "1ed9-0000 2"},
        {0, 261112, 0, 0, 0, "0000-   \x01 65279"}, // one word further than the log
        {0, 400, 8, 11, 0, "0002-0002 1"},
        {0, 400, 1, 7, 0, "0001-0001 1"},
        {0, 400, 0, 8, 0, "0000-0002 3"},
        {0, 400, 404, 400, 0, "none"},
        {200, 100, 260912, 260916, 0, "0000-0001 2"}, // counted on across the wrap
        {0, 400, 261113, 0, 22, "none"},
        {0, 400, 0, 261113, 22, "none"},
        {261113, 0, 0, 0, 64170, "none"},
        {0, 0xFFFFFFFF, 0, 0, 64170, "none"},
    };
    trace_level_mask_set(1);
    for (const auto &c : cases) {
        SCOPED_TRACE(testing::Message() << c.first << " " << c.last << " " << c.first_line);
        std::filesystem::remove(folder.path + "/root/sirane_1.log");
        set_sirane_log(1, c.first, c.last);
        set(0x03E7FC00, 0x01000000);
        EXPECT_EQ(kelvane_ps_print_sel_trace(0, 0xFF01FFFF, c.first_line, c.last_line), c.code);
        EXPECT_EQ(extent("sirane_1.log"), c.extent);
        EXPECT_EQ(has_file("sirane_1.log"), c.code != 22);
    }
}

TEST_F(eprom_trace_test, a_siranes_text_literally)
{
    set(0x03E80000, 8);
    set(0x03E80004, 16);
    put_text(0x03E80010, std::string("up\0\n12\xE9\0\0\0\0\0", 12));
    EXPECT_EQ(kelvane_ps_print_sel_trace(0, 0xFF02FFFF, 0, 0), 0);
    EXPECT_EQ(file_text("sirane_2.log"), "up \n12\xE9     \n");
}

TEST_F(eprom_trace_test, the_registers_of_a_dump_in_the_log)
{
    set_sirane_log(0, 201, 103);
    trace_level_mask_set(0x10);
    log_lines();
    EXPECT_EQ(kelvane_ps_print_sel_trace(0, 0xFF00FFFF, 4, 8), 0);
    std::vector<std::string> expected;
    for (const char *line :
         {" SRN_EPR_TRACE_SLICE_SPACING               0x00040000  ",
          "          TRACE_SIZE                       0x0003fbf8  ",
          " SIRANE_TRACE_FIRST_IDX_OFFSET_ADDR        0x00000000  ",
          " SIRANE_TRACE_LAST_IDX_OFFSET_ADDR         0x00000004  ",
          "         TRACE_FIRST_AVAILABLE_OFFSET_ADDR 0x00000008  ",
          "         TRACE_LAST_AVAILABLE_OFFSET_ADDR  0x0003fc00  ",
          " slice_trace_first_addr                    0x03e00008  ",
          " slice_trace_last_addr                     0x03e3fc00  ", " first_line_req  0x00000004  ",
          " last_line_req   0x00000008  ", " first_char_idx  0x000000c9  ", " last_char_idx   0x00000067  ",
          " first_char_reg  0x03e000d1  ", " last_char_reg   0x03e0006f  ",
          " first_char_reg  0x03e000d4 rounded", " last_char_reg   0x03e0006c rounded"}) {
        expected.push_back(std::string("DEBUG kelvane_ps_print_sel_trace_sirane_eprom: ") + line);
    }
    std::vector<std::string> lines = log_lines();
    lines.resize(expected.size());
    EXPECT_EQ(lines, expected);
}

TEST_F(eprom_trace_test, the_controllers_log_literally)
{
    set_controller_log(1, 2, 48);
    set(0x03EFFC1C, 0x00000001);
    set(0x03EFFC3C, 0xFFFFFFFF);
    set(0x03EFFC5C, 0x00200802);
    EXPECT_EQ(kelvane_ps_print_eprom_trace(0), 0);
    EXPECT_EQ(file_text("ord_prom.log"),
              " 0x00000006 0x00000007 0x00000008 0x00000009 0x0000000a 0x0000000b\n"
              " 0x0000000c 0x0000000d 0x0000000e 0x0000000f 0x00000010 0x00000011\n"
              "\n"
              "\n sirane_id 0 volt_reg_fail_alarm_word 0x00000001 \n"
              "\n sirane_id 1 volt_reg_fail_alarm_word 0xffffffff \n"
              " SIRANE_P2P8_DCDC   \n SIRANE_VP2P5_SW    \n SIRANE_3V3_OSC_A1  \n SIRANE_3V3_OSC_A0  \n"
              " SIRANE_3V3_OSC_D1  \n SIRANE_3V3_OSC_D0  \n SIRANE_VDDT        \n SIRANE_VDDR        \n"
              " SIRANE_AVD09Q_DAC  \n SIRANE_AVD09N_DAC  \n SIRANE_VDDV        \n SIRANE_VDDHOST     \n"
              " SIRANE_VDDP        \n SIRANE_VDDB        \n SIRANE_PLL_VDDFEC  \n SIRANE_AVDNEGADC   \n"
              " SIRANE_P1P25V_REF  \n SIRANE_P3P4V_DCDC  \n SIRANE_P6P0V_DCDC  \n SIRANE_P5P0V_DCDC  \n"
              " SIRANE_MAXCH       \n"
              "\n sirane_id 2 volt_reg_fail_alarm_word 0x00200802 \n"
              " SIRANE_P2P8_DCDC   \n SIRANE_VDDV        \n SIRANE_MAXCH       \n");
}

TEST_F(eprom_trace_test, which_rows_of_the_controller)
{
    const struct {
        uint32_t first, last;
        uint32_t first_line, last_line;
        int32_t code;
        uint32_t rows;
        const char *first_word;
    } cases[] = {
        {0, 0, 0, 0, 0, 1, " 0x00000000"},
        {10, 5, 0, 0, 0, 10874, " 0x0000003c"},     // to the end of the slice, then rows 0 to 5
        {10878, 0, 0, 0, 0, 1, " 0x00000000"},      // the upper part is behind the end
        {0, 20, 8, 11, 0, 1, " 0x0000000c"},        // lines count 4 a row
        {0, 261072, 0, 0, 0, 65269, " 0x00000000"}, // runs out of the slice and of the BAR, to the last line
        {261072, 261072, 0, 0, 0, 1, " 0xffffffff"},
        {261073, 0, 0, 0, 64170, 0, ""},
        {0, 20, 261073, 0, 22, 0, ""},
    };
    trace_level_mask_set(1);
    for (const auto &c : cases) {
        SCOPED_TRACE(testing::Message() << c.first << " " << c.last);
        std::filesystem::remove(folder.path + "/root/ord_prom.log");
        set_controller_log(c.first, c.last, 1);
        EXPECT_EQ(kelvane_ps_print_sel_trace_sirane_eprom(0, 0xF0FFFFFF, c.first_line, c.last_line, 1),
                  c.code);
        const std::string text = file_text("ord_prom.log");
        EXPECT_EQ(text.substr(0, 11), c.first_word);
        uint32_t rows = 0;
        for (size_t at = text.find(" 0x");
             at != std::string::npos && text[at + 11] == ' ' && text[at + 12] == '0';
             at = text.find(" 0x", at + 66)) {
            rows++;
        }
        EXPECT_EQ(rows, c.rows);
    }
}

TEST_F(eprom_trace_test, a_controllers_log_that_is_not_there)
{
    set_controller_log(0, 0, 0);
    EXPECT_EQ(kelvane_ps_print_eprom_trace(0), 0);
    EXPECT_TRUE(log_has("DEBUG kelvane_ps_print_eprom_trace:  empty eprom log "));
    uint32_t size = 7;
    set(0x03EC000C, 48);
    EXPECT_EQ(kelvane_check_eprom_consistency(0, &size), 0);
    EXPECT_EQ(size, 48u);
    set(0x03EC0014, 0x01AC7F27);
    EXPECT_EQ(kelvane_check_eprom_consistency(0, &size), 64174);
    EXPECT_EQ(size, 0u);
    EXPECT_TRUE(log_has("ERROR kelvane_check_eprom_consistency:  eprom not ready "));
    EXPECT_EQ(kelvane_ps_print_eprom_trace(0), 64174);
    EXPECT_EQ(kelvane_ps_print_eprom_trace(1), 22);
    EXPECT_FALSE(has_file("ord_prom.log"));
}

TEST_F(eprom_trace_test, addresses_that_have_no_log)
{
    for (const uint32_t address :
         {0xFF03FFFFu, 0xFFFEFFFFu, 0xFFFFFFFFu, 0xFF0000FFu, 0xFF00FF00u, 0xF000FFFFu}) {
        EXPECT_EQ(kelvane_ps_print_sel_trace(0, address, 0, 0), 22) << std::hex << address;
    }
    EXPECT_EQ(kelvane_ps_print_sel_trace(1, 0xFF00FFFF, 0, 0), 22);
    EXPECT_TRUE(std::filesystem::is_regular_file(log_path()));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path + "/root"), {}), 1);
}

TEST_F(eprom_trace_test, reads_and_writes_that_fail)
{
    set_sirane_log(0, 0, 400);
    set_controller_log(0, 3, 1);
    const struct {
        uint32_t offset;
        bool of_controller;
        size_t bytes;
    } cases[] = {
        {0x03E00000, false, 0},  {0x03E00004, false, 0},  {0x03E00008, false, 0},
        {0x03E00018, false, 16}, {0x03EC0004, true, 0},   {0x03EC0048, true, 67},
        {0x03EFFC04, true, 269}, {0x03EFFC1C, true, 269}, {0x03EFFC5C, true, 371},
    };
    const auto before = std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    for (const auto &c : cases) {
        failing_offset = c.offset;
        EXPECT_EQ(kelvane_ps_print_sel_trace_sirane_eprom(0, c.of_controller ? 0xF0FFFFFF : 0xFF00FFFF, 0, 0,
                                                          c.of_controller ? 1 : 0),
                  64174);
        EXPECT_EQ(file_text(c.of_controller ? "ord_prom.log" : "sirane_0.log").size(), c.bytes)
            << std::hex << c.offset;
    }
    failing_offset = 0;
    std::filesystem::remove(folder.path + "/root/sirane_0.log");
    std::filesystem::create_symlink("/dev/full", folder.path + "/root/sirane_0.log");
    EXPECT_EQ(kelvane_ps_print_sel_trace(0, 0xFF00FFFF, 0, 0), 64170);
    std::filesystem::create_directories(folder.path + "/root/sirane_1.log");
    EXPECT_EQ(kelvane_ps_print_sel_trace(0, 0xFF01FFFF, 0, 0), 64170);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}), before);
}

TEST_F(eprom_trace_test, blocks)
{
    FILE *file = tmpfile();
    const struct {
        uint32_t start, end;
        int32_t size, type, code;
        uint32_t reads;
    } cases[] = {
        {0x100, 0x104, 4, 0, 0, 1},   {0x100, 0x118, 24, 1, 0, 6}, {0x100, 0x104, 6, 0, 22, 0},
        {0x104, 0x104, 4, 1, 0, 0},   {0x108, 0x104, 4, 1, 0, 0},  {0x100, 0x104, 4, 2, 22, 1},
        {0x100, 0x104, 4, -1, 22, 1},
    };
    for (const auto &c : cases) {
        logged_reads = 0;
        EXPECT_EQ(dumpBlockSize(0, 0xFF00FFFF, c.start, c.end, c.size, file, c.type), c.code);
        EXPECT_EQ(logged_reads, c.reads);
    }
    EXPECT_TRUE(
        log_has("LOWPR dumpBlockSize:  start reg_start 0x00000100 reg_end 0x00000118, size 24 type 1 "));
    fclose(file);
}

TEST_F(eprom_trace_test, formatted_output)
{
    FILE *file = tmpfile();
    const std::string longest(511, 'x');
    EXPECT_EQ(kelvane_ltrace_file_dump(0, 0xFF00FFFF, file, "%s", std::string(600, 'y').c_str()), 0);
    EXPECT_EQ(ftell(file), 511);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    EXPECT_EQ(kelvane_ltrace_file_dump(0, 0xFF00FFFF, file, longest.c_str()), 0);
    EXPECT_EQ(kelvane_ltrace_file_dump(0, 0xFF00FFFF, file, (longest + "x").c_str()), 22);
#pragma GCC diagnostic pop
    EXPECT_EQ(kelvane_ltrace_file_dump(0, 0xFFFFFFFF, file, "x"), 22);
    EXPECT_EQ(kelvane_ltrace_file_dump(0, 0xF0FFFFFF, nullptr, "x"), 22);
    EXPECT_EQ(ftell(file), 1022);
    for (const char *line :
         {"invalid input str len ", "invalid input dev addr ", "invalid input file pointer "}) {
        EXPECT_NE(log_text().find(line), std::string::npos);
    }
    fclose(file);
}

TEST_F(eprom_trace_test, a_wrapped_log_whose_first_part_cannot_be_read)
{
    set_sirane_log(0, 400, 100);
    failing_offset = 0x03E00008 + 400;
    EXPECT_EQ(kelvane_ps_print_sel_trace(0, 0xFF00FFFF, 0, 0), 64174);
    EXPECT_EQ(file_text("sirane_0.log"), "");
}

TEST_F(eprom_trace_test, a_head_that_cannot_be_read)
{
    uint32_t size = 9;
    failing_offset = 0x03EC0014;
    EXPECT_EQ(kelvane_check_eprom_consistency(0, &size), 64174);
    EXPECT_EQ(size, 0u);
}

TEST_F(eprom_trace_test, output_that_is_refused_ends_the_dump)
{
    FILE *file = tmpfile();
    set(0x03EFFC1C, 0xFFFFFFFF);
    logged_reads = 0;
    EXPECT_EQ(dumpBlockSize(0, 0xFFFFFFFF, 0x100, 0x118, 4, file, 1), 22); // an address of nothing
    EXPECT_EQ(logged_reads, 1u);
    EXPECT_EQ(kelvane_dump_voltage_regulator_alarm(0, 0xFF00FFFF, nullptr), 22);
    EXPECT_EQ(logged_reads, 3u);
    EXPECT_EQ(ftell(file), 0);
    fclose(file);
}

TEST_F(eprom_trace_test, a_file_that_cannot_be_closed_well)
{
    const struct {
        int32_t before, code; // the dump's, and what becomes of it
    } cases[] = {{0, 64170}, {64174, 64174}};
    for (const auto &c : cases) {
        log_file file{};
        ASSERT_EQ(kelvane_get_fp_arm_trace(0, &file, "/root/taken_away.log"), 0);
        close(fileno(file.fp));
        EXPECT_EQ(close_log_file(0, &file, c.before), c.code);
        EXPECT_EQ(file.fp, nullptr);
        EXPECT_TRUE(
            log_has("ERROR close_log_file: the firmware's log could not be written whole: write error "));
    }
}

TEST_F(eprom_trace_test, a_text_that_was_lost_before_the_closing)
{
    log_file file{fopen("/dev/full", "w")};
    ASSERT_NE(file.fp, nullptr);
    setvbuf(file.fp, nullptr, _IONBF, 0);
    EXPECT_EQ(kelvane_ltrace_file_dump(0, 0xF0FFFFFF, file.fp, "x"), 0);
    EXPECT_EQ(close_log_file(0, &file, 0), 64170);
}

} // namespace
