// The firmware's logs, from the card's memory into files of the host.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <sstream>

#include "support/library.h"

namespace {

std::vector<uint32_t> memory; // of the whole BAR; beyond it a read gives all ones
uint32_t failing_offset;      // a read of this word fails

constexpr uint32_t NOWHERE = 1;
constexpr uint32_t CODED_FIRMWARE = 0x00030005;
constexpr uint32_t TEXT_FIRMWARE = 0x00050016;
constexpr uint32_t RING = 0x03F00020;
constexpr uint32_t SIRANE_LOGS[] = {0x03E00000, 0x03E40000, 0x03E80000};

kelvane_init_device_t device_with_memory()
{
    kelvane_init_device_t device = recorded_bar_device();
    device.pci_read_cb = [](kelvane_handle, uint32_t, uint32_t offset, uint32_t *value, uint32_t) {
        *value = offset / 4 < memory.size() ? memory[offset / 4] : 0xFFFFFFFF;
        return offset == failing_offset ? 5 : 0;
    };
    return device;
}

class firmware_logs_test : public firmware_test {
  protected:
    firmware_logs_test() : firmware_test(device_with_memory())
    {
        memory.assign(0x04000000 / 4, 0);
        failing_offset = NOWHERE;
        set(0x01F04004, {TEXT_FIRMWARE});
    }

    static void set(uint32_t offset, const std::vector<uint32_t> &words)
    {
        std::ranges::copy(words, memory.begin() + offset / 4);
    }

    static void put_text(uint32_t offset, const std::string &text)
    {
        text.copy(reinterpret_cast<char *>(memory.data()) + offset, text.size());
    }

    // Each row, line or word of a log says its number; a sirane's words start again behind 46655.
    static void number_logs()
    {
        for (uint32_t row = 0; row < 10920; row++) {
            put_text(RING + 96 * row, std::to_string(row));
        }
        constexpr char DIGITS[] = "0123456789abcdefghijklmnopqrstuvwxyz";
        for (uint32_t i = 0; i < 65278; i++) {
            const char text[] = {DIGITS[i / 1296 % 36], DIGITS[i / 36 % 36], DIGITS[i % 36], '\n'};
            put_text(SIRANE_LOGS[1] + 8 + 4 * i, std::string(text, 4));
            set(0x03EC0030 + 4 * i, {i / 6});
        }
        set(0x03E7FC00, {0x0A7A7A7A}); // behind the sirane's log: zzz
    }

    std::string path(const std::string &name) const
    {
        return folder.path + "/root/" + name;
    }

    std::string file(const std::string &name) const
    {
        std::ostringstream text;
        text << std::ifstream(path(name)).rdbuf();
        return text.str();
    }

    // The numbers that the lines of a file begin with: "200-203 0-1".
    std::string runs(const std::string &name, int base) const
    {
        std::istringstream text(file(name));
        std::string runs;
        long last = -2;
        for (std::string line; std::getline(text, line);) {
            char *end = nullptr;
            const long number = strtol(line.c_str(), &end, base);
            if (end != line.c_str()) {
                runs += number == last + 1
                            ? ""
                            : (last < 0 ? "" : std::to_string(last) + " ") + std::to_string(number) + "-";
                last = number;
            }
        }
        return last < 0 ? "" : runs + std::to_string(last);
    }

    static long open_files()
    {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    }
};

TEST_F(firmware_logs_test, what_is_copied_between_two_indexes)
{
    enum log { CODED, TEXT, LINES, SIRANE, CONTROLLER };
    // "indexes of the card, first and last line as requested: what is copied", or the code.
    const std::pair<log, const char *> cases[] = {
        // From a ring of coded rows up to the difference of the indexes, on beyond the ring and the BAR.
        {CODED, "0 0 0 0:0-0;0 9 0 0:0-9;10 25 0 0:10-15;10 20 0 0:10-10;10 15 0 0:;1 0 0 0:0-32511 0-1;"
                "30000 200 0 0:200-32511 0-30000;40000 32511 0 0:32511-32511 0-40000;"
                "40000 32512 0 0:0-40000;0 0x1FC00 0 0:0-130048;0x1FC01 0 0 0:64171;0 0x1FC01 0 0:64171"},
        {TEXT, "0 0 0 0:;0 96 0 0:0-0;0 192 0 0:0-1;0 1 0 0:0-0;96 480 0 0:1-4;0 0xFFF00 0 0:0-10919;"
               "0xFFEA0 0 0 0:10919-10919;0xFFE40 192 0 0:10918-10919 0-1;0xFFF00 96 0 0:0-0;"
               "0xFFF00 0 0 0:;0xFFF01 0 0 0:64171;0 0xFFF01 0 0:64171"},
        {LINES, "0 0xFFF00 0 0:0-10919;0 960 2 4:2-4;0 960 0 3:0-3;0 960 8 10920:8-9;0 960 4 3:;"
                "0xFFE40 192 1 2:10919-10919 0-0;96 96 0 0:;0 960 10921 0:22;0 960 0 10921:22;"
                "0xFFF01 0 0 0:64171"},
        // Characters, rounded to words: inwards where the log wraps. Lines count four a word.
        {SIRANE, "100 100 0 0:25-25;0 4 0 0:0-1;3 5 0 0:0-2;200 100 0 0:50-46655 0-18621 0-25;"
                 "201 103 0 0:51-46655 0-18621 0-25;261111 0 0 0:0-0;261108 3 0 0:18621-18621 0-0;"
                 "0 261112 0 0:0-46655 0-18621 46655-46655;0 400 8 11:2-2;0 400 1 7:1-1;0 400 0 8:0-2;"
                 "0 400 404 400:;200 100 260912 260916:0-1;0 400 261113 0:22;0 400 0 261113:22;"
                 "261113 0 0 0:64170;0 261113 0 0:64170"},
        {CONTROLLER, "0 0 0 0:0-0;10 5 0 0:10-10877 0-5;10878 0 0 0:0-0;261073 0 0 0:64170"},
    };
    const char *files[] = {"ordune.log", "ordune.log", "ordune.log", "sirane_1.log", "ord_prom.log"};
    number_logs();
    trace_level_mask_set(1);
    for (const auto &[kind, texts] : cases) {
        const std::string name = files[kind];
        set(0x01F04004, {kind == CODED ? CODED_FIRMWARE : TEXT_FIRMWARE});
        std::istringstream all(texts);
        for (std::string text; std::getline(all, text, ';');) {
            uint32_t first = 0, last = 0, from = 0, to = 0;
            std::istringstream in(text);
            in >> std::setbase(0) >> first >> last >> from >> to;
            set(0x03F0000C, {first, last});
            set(SIRANE_LOGS[1], {first, last});
            set(0x03EC0004, {first, last, 1, 0, 0x01AC7F26});
            std::filesystem::remove(path(name));
            const uint32_t address = kind == LINES ? 0xF0FFFFFF : 0xFF01FFFF;
            const int32_t rc = kind == CONTROLLER ? kelvane_ps_print_eprom_trace(0)
                               : kind < LINES     ? kelvane_ps_print_trace(0)
                                                  : kelvane_ps_print_sel_trace(0, address, from, to);
            const std::string copied = runs(name, kind == SIRANE ? 36 : kind == CONTROLLER ? 16 : 10);
            EXPECT_EQ(rc == 0 ? copied : copied + std::to_string(rc), text.substr(text.find(':') + 1))
                << kind << text;
            EXPECT_EQ(std::filesystem::exists(path(name)), rc != 22); // a bad request opens no file
        }
    }
    const std::string beyond = " first_idx or last greater than ";
    for (const std::string &tail : {"trace_coded: " + beyond + "PS_MAX_REC 130048 \n",
                                   "trace_string: " + beyond + "MAX_FIRST_LAST 1048320 \n",
                                   "sel_trace_ordune_string: " + beyond + "PS_MAX_REC 130048 \n"}) {
        EXPECT_TRUE(log_contains("kelvane_ps_print_" + tail)) << tail;
    }
}

TEST_F(firmware_logs_test, coded_rows)
{
    set(0x01F04004, {CODED_FIRMWARE});
    set(RING, {4000000000, 0x010ACFFF, 0x80300004, 1, 2, 3, 4, 0xFFFFFFFF});
    EXPECT_EQ(kelvane_ps_print_trace(0), 0);
    EXPECT_EQ(file("ordune.log"),
              "0)4000000000  mbox_common_functions   INFO:line 4095 ret code 80300004 valid data 12 data "
              "00000001 data 00000002 data 00000003 data 00000004 data ffffffff  \n\r ");
    std::istringstream names(
        "reserved = 0, ORDUNE_DEBUG_ALL_FILES, cfgExecutor, commander, commands_mbox_task, Sirane_download,"
        " sirane_powercntl, siraneRateSetting, siraneNtwkMgnt, Main_full, mbox_common_functions,"
        " ordune_PLPS_heartbeat, hurle_pl_poller, hurle_pl_utils, hurle_plps_diag, hurlePSPLinterface,"
        " hurleZynqSystem, sequence_functions, sequence_tasks, FreeRTOS_CLI, ordune_CLI_commands,"
        " ordune_CLI_sirane, ordune_CLI_regtest, Ordune_CLI_test, UARTCommandConsole, dapSerial, dapwrapper,"
        " i2cdrv, ordune_mdio_op, memUtils, ParTest, pl_gpio_g, pl_gpio_intr, pl_gpio_sinit, pl_gpio, qspi,"
        " sd, serialDriver, ordune_download, deviceStatusTask, poller_seq_executor, sirane_state_machine,"
        " devicesPMTask, commonSiraneXpmFunc, siraneGeneralFunction, siraneTuning,"
        " ORDUNE_DEBUG_LAST_FILENAME,          ,  UNKNOWN  ,  UNKNOWN  ");
    const char *kinds[] = {"LOG: ", "INFO:", "ERR: ", ""};
    for (uint32_t i = 0; i < 50; i++) {
        set(RING, {0, (i % 4) << 24 | i << 16});
        EXPECT_EQ(kelvane_ps_print_trace(0), 0);
        std::string name;
        std::getline(names, name, ',');
        name.resize(std::max<size_t>(name.size(), i < 16 ? 24 : i < 46 ? 23 : 0), ' ');
        const std::string expected = "0)0 " + name + " " + kinds[i % 4] + "line 0 ";
        EXPECT_EQ(file("ordune.log").substr(0, expected.size()), expected);
    }
}

TEST_F(firmware_logs_test, the_reader_by_the_firmware)
{
    put_text(RING, "text");
    set(0x03F0000C, {0, 96});
    const char *unsupported = "function not supported for  ordune rel < 03.05  |";
    for (const auto &[version, whole_is_text, selected_is_text] : {std::tuple{0x00000000u, true, true},
                                                                   {0x00000001, false, false},
                                                                   {0x00030004, false, false},
                                                                   {0x00030005, false, true},
                                                                   {0x00030006, true, true},
                                                                   {0x00050016, true, true}}) {
        set(0x01F04004, {version});
        EXPECT_EQ(kelvane_ps_print_trace(0), 0);
        EXPECT_EQ(file("ordune.log") == "text \n", whole_is_text) << version;
        std::filesystem::remove(path("ordune.log"));
        EXPECT_EQ(kelvane_ps_print_sel_trace(0, 0xF0FFFFFF, 0, 0), 0);
        EXPECT_EQ(file("ordune.log"), selected_is_text ? "text \n" : "") << version;
        EXPECT_EQ(said("kelvane_ps_print_sel_trace_ordune_coded"), selected_is_text ? "" : unsupported);
    }
    put_text(RING, std::string(96, 'a') + "b"); // a row without an end
    set(0x03F0000C, {0, 192});
    EXPECT_EQ(kelvane_ps_print_trace(0), 0);
    EXPECT_EQ(file("ordune.log"), std::string(96, 'a') + " \nb \n");
}

TEST_F(firmware_logs_test, a_siranes_text_and_the_registers_of_its_dump)
{
    set(SIRANE_LOGS[2], {9, 15});
    put_text(SIRANE_LOGS[2] + 16, std::string("up\0\n12\xE9\0\0\0\0\0", 12));
    EXPECT_EQ(kelvane_ps_print_sel_trace(0, 0xFF02FFFF, 4, 8), 0);
    EXPECT_EQ(file("sirane_2.log"), "12\xE9     \n");
    EXPECT_EQ(kelvane_ps_print_sel_trace(0, 0xFF02FFFF, 0, 0), 0);
    EXPECT_EQ(file("sirane_2.log"), "up \n12\xE9     \n");
    set(SIRANE_LOGS[0], {201, 103});
    trace_level_mask_set(0x10);
    log_lines();
    EXPECT_EQ(kelvane_ps_print_sel_trace(0, 0xFF00FFFF, 4, 8), 0);
    EXPECT_EQ(
        said("kelvane_ps_print_sel_trace_sirane_eprom"),
        " SRN_EPR_TRACE_SLICE_SPACING               0x00040000  |          TRACE_SIZE                     "
        "  0x0003fbf8  | SIRANE_TRACE_FIRST_IDX_OFFSET_ADDR        0x00000000  | SIRANE_TRACE_LAST_IDX_"
        "OFFSET_ADDR         0x00000004  |         TRACE_FIRST_AVAILABLE_OFFSET_ADDR 0x00000008  |        "
        " TRACE_LAST_AVAILABLE_OFFSET_ADDR  0x0003fc00  | slice_trace_first_addr                    0x03e0"
        "0008  | slice_trace_last_addr                     0x03e3fc00  | first_line_req  0x00000004  |"
        " last_line_req   0x00000008  | first_char_idx  0x000000c9  | last_char_idx   0x00000067  |"
        " first_char_reg  0x03e000d1  | last_char_reg   0x03e0006f  |"
        " first_char_reg  0x03e000d4 rounded| last_char_reg   0x03e0006c rounded|"
        "end   first_line_req 4 last_line_req  8 |");
}

TEST_F(firmware_logs_test, the_controllers_log_and_the_regulators)
{
    set(0x03EC0004, {1, 2, 48, 0, 0x01AC7F26});
    set(0x03EC0048, {6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17});
    set(0x03EFFC1C, {1});
    set(0x03EFFC5C, {0x00200802});
    EXPECT_EQ(kelvane_ps_print_eprom_trace(0), 0);
    EXPECT_EQ(file("ord_prom.log"), " 0x00000006 0x00000007 0x00000008 0x00000009 0x0000000a 0x0000000b\n"
                                    " 0x0000000c 0x0000000d 0x0000000e 0x0000000f 0x00000010 0x00000011\n"
                                    "\n"
                                    "\n sirane_id 0 volt_reg_fail_alarm_word 0x00000001 \n"
                                    "\n sirane_id 1 volt_reg_fail_alarm_word 0x00000000 \n"
                                    "\n sirane_id 2 volt_reg_fail_alarm_word 0x00200802 \n"
                                    " SIRANE_P2P8_DCDC   \n SIRANE_VDDV        \n SIRANE_MAXCH       \n");
    std::string names;
    for (uint32_t bit = 0; bit < 32; bit++) {
        set(0x03EFFC5C, {1u << bit});
        EXPECT_EQ(kelvane_ps_print_eprom_trace(0), 0);
        const std::string text = file("ord_prom.log");
        std::istringstream behind_the_word(text.substr(text.rfind(" 0x") + 13));
        for (std::string name; behind_the_word >> name;) {
            names += std::to_string(bit) + " " + name.substr(7) + " ";
        }
    }
    EXPECT_EQ(names,
              "1 P2P8_DCDC 2 VP2P5_SW 3 3V3_OSC_A1 4 3V3_OSC_A0 5 3V3_OSC_D1 6 3V3_OSC_D0 7 VDDT 8 VDDR "
              "9 AVD09Q_DAC 10 AVD09N_DAC 11 VDDV 12 VDDHOST 13 VDDP 14 VDDB 15 PLL_VDDFEC "
              "16 AVDNEGADC 17 P1P25V_REF 18 P3P4V_DCDC 19 P6P0V_DCDC 20 P5P0V_DCDC 21 MAXCH ");
}

TEST_F(firmware_logs_test, logs_that_are_not_there)
{
    EXPECT_EQ(kelvane_ps_print_eprom_trace(0), 64174);
    EXPECT_TRUE(log_has("ERROR kelvane_check_eprom_consistency:  eprom not ready "));
    set(0x03EC0014, {0x01AC7F26});
    EXPECT_EQ(kelvane_ps_print_eprom_trace(0), 0);
    EXPECT_TRUE(log_has("DEBUG kelvane_ps_print_eprom_trace:  empty eprom log "));
    for (const uint32_t address :
         {0xFF03FFFFu, 0xFFFEFFFFu, 0xFFFFFFFFu, 0xFF0000FFu, 0xFF00FF00u, 0xF000FFFFu, 0xF0FFFF00u}) {
        EXPECT_EQ(kelvane_ps_print_sel_trace(0, address, 0, 0), 22) << std::hex << address;
    }
    EXPECT_EQ(kelvane_ps_print_sel_trace(1, 0xFF00FFFF, 0, 0), 22);
    EXPECT_EQ(kelvane_ps_print_eprom_trace(1), 22);
    EXPECT_EQ(kelvane_ps_print_trace(1), 22);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path + "/root"), {}),
              1); // the own log
}

TEST_F(firmware_logs_test, what_fails)
{
    int32_t (*const dumps[])() = {[] { return kelvane_ps_print_trace(0); },
                                  [] { return kelvane_ps_print_sel_trace(0, 0xF0FFFFFF, 0, 0); },
                                  [] { return kelvane_ps_print_sel_trace(0, 0xFF00FFFF, 0, 0); },
                                  [] { return kelvane_ps_print_eprom_trace(0); }};
    const char *names[] = {"ordune.log", "ordune.log", "sirane_0.log", "ord_prom.log"};
    const struct {
        size_t dump;
        uint32_t version, offset;
        int32_t code;
        size_t bytes; // that the file keeps
    } cases[] = {
        {0, CODED_FIRMWARE, 0x03F0000C, 64170, 0},        {0, CODED_FIRMWARE, 0x03F00010, 64170, 0},
        {0, CODED_FIRMWARE, 0x03F01824, 64170, 0},        {0, TEXT_FIRMWARE, 0x01F04004, 64174, 0},
        {0, TEXT_FIRMWARE, 0x03F00010, 64170, 0},         {0, TEXT_FIRMWARE, 0x03F003E0, 64174, 0},
        {1, TEXT_FIRMWARE, 0x01F04004, 64174, 0},         {1, TEXT_FIRMWARE, 0x03F0000C, 64170, 0},
        {1, TEXT_FIRMWARE, 0x03F003E0, 64174, 0},         {2, TEXT_FIRMWARE, 0x03E00000, 64174, 0},
        {2, TEXT_FIRMWARE, 0x03E00004, 64174, 0},         {2, TEXT_FIRMWARE, 0x03E00198, 64174, 0},
        {2, TEXT_FIRMWARE, 0x03E00010, 64174, 260720}, {3, TEXT_FIRMWARE, 0x03EC0014, 64174, 0},
        {3, TEXT_FIRMWARE, 0x03EC0048, 64174, 67},        {3, TEXT_FIRMWARE, 0x03EFFC04, 64174, 269},
        {3, TEXT_FIRMWARE, 0x03EFFC1C, 64174, 269},       {3, TEXT_FIRMWARE, 0x03EFFC5C, 64174, 371},
    };
    set(0x03F0000C, {960, 192});
    set(SIRANE_LOGS[0], {400, 100});
    set(0x03EC0004, {0, 3, 1, 0, 0x01AC7F26});
    EXPECT_EQ(dumps[0](), 0);
    const long before = open_files();
    trace_level_mask_set(1);
    for (const auto &c : cases) {
        std::filesystem::remove(path(names[c.dump]));
        set(0x01F04004, {c.version});
        failing_offset = c.offset;
        EXPECT_EQ(dumps[c.dump](), c.code) << std::hex << c.offset;
        EXPECT_EQ(file(names[c.dump]).size(), c.bytes) << std::hex << c.offset;
        EXPECT_LE(open_files(), before + 1); // some leave it open, up to the next dump
    }
    failing_offset = NOWHERE;
    for (const size_t dump : {0, 1, 2}) { // files that cannot be written, or not be opened
        std::filesystem::remove(path(names[dump]));
        std::filesystem::create_symlink("/dev/full", path(names[dump]));
        EXPECT_EQ(dumps[dump](), 64170);
        std::filesystem::remove(path(names[dump]));
        std::filesystem::create_directory(path(names[dump]));
        EXPECT_EQ(dumps[dump](), 64170);
    }
    EXPECT_EQ(open_files(), before);
    for (const char *line :
         {"kelvane_ps_print_trace_coded: Error reading PCIe\n", "dumpRow: Error reading PCIe\n",
          "close_log_file: the firmware's log could not be written whole: No space left on",
          "kelvane_get_fp_arm_trace: Error opening /root/ordune.log\n"}) {
        EXPECT_TRUE(log_contains(line)) << line;
    }
}

} // namespace
