// The firmware's logs, from the card's memory into files of the host.
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <regex>
#include <sstream>

#include "firmware_log/arm_trace.h"
#include "firmware_log/log_file.h"
#include "support/file_size_limit.h"
#include "support/library.h"

namespace {

namespace fs = std::filesystem;

constexpr uint32_t RING = 0x03F00020;
constexpr uint32_t SIRANE_LOG = 0x03E40000; // of sirane 1

enum log { CODED, TEXT, LINES, SIRANE, CONTROLLER };
constexpr int BASES[] = {10, 10, 10, 36, 16}; // of the numbers that their lines begin with
constexpr const char *FILES[] = {"ordune.log", "ordune.log", "ordune.log", "sirane_1.log", "ord_prom.log"};

void set(uint32_t offset, const std::vector<uint32_t> &words)
{
    std::ranges::copy(words, the_bar.memory.begin() + (offset - 0x02000000) / 4);
}

void put_text(uint32_t offset, const std::string &text)
{
    text.copy(reinterpret_cast<char *>(the_bar.memory.data()) + offset - 0x02000000, text.size());
}

class firmware_logs_test : public firmware_test {
  protected:
    firmware_logs_test()
    {
        the_bar.memory.assign(0x02000000 / 4, 0);
    }

    // Of all logs at once.
    static void set_indexes(uint32_t first, uint32_t last)
    {
        set(0x03F0000C, {first, last});
        set(SIRANE_LOG, {first, last});
        set(0x03EC0004, {first, last, 1, 0, 0x01AC7F26});
    }

    int32_t dump(log kind, uint32_t from = 0, uint32_t to = 0) const
    {
        the_bar.word[0x01F04004] = kind == CODED ? 0x00030005 : 0x00050016;
        return kind <= TEXT ? kelvane_ps_print_trace(0)
               : kind == CONTROLLER
                   ? kelvane_ps_print_eprom_trace(0)
                   : kelvane_ps_print_sel_trace(0, kind == LINES ? 0xF0FFFFFF : 0xFF01FFFF, from, to);
    }

    std::string path(log kind) const
    {
        return folder.path + "/root/" + FILES[kind];
    }

    std::string file(log kind) const
    {
        std::ifstream stream(path(kind));
        return {std::istreambuf_iterator<char>(stream), {}};
    }

    // The numbers that the lines of a file begin with: "200-203 0-1".
    std::string runs(log kind) const
    {
        std::istringstream text(file(kind));
        std::string runs;
        long last = -2;
        for (std::string line; std::getline(text, line);) {
            char *end = nullptr;
            const long number = strtol(line.c_str(), &end, BASES[kind]);
            if (end != line.c_str() && number != last + 1) {
                runs += (last < 0 ? "" : std::to_string(last) + " ") + std::to_string(number) + "-";
            }
            last = end != line.c_str() ? number : last;
        }
        return last < 0 ? "" : runs + std::to_string(last);
    }
};

TEST_F(firmware_logs_test, what_is_copied_between_two_indexes)
{
    for (uint32_t row = 0; row < 10920; row++) { // each row or word says its number
        put_text(RING + 96 * row, std::to_string(row));
    }
    constexpr char DIGITS[] = "0123456789abcdefghijklmnopqrstuvwxyz";
    for (uint32_t i = 0; i < 65278; i++) { // in a sirane's log of three digits and a newline
        const char text[] = {DIGITS[i / 1296 % 36], DIGITS[i / 36 % 36], DIGITS[i % 36], '\n'};
        put_text(SIRANE_LOG + 8 + 4 * i, std::string(text, 4));
        set(0x03EC0030 + 4 * i, {i / 6});
    }
    put_text(0x03E7FC00, "zzz\n"); // after it
    // Indexes of the card, first and last line as requested: what is copied, or the code.
    const std::pair<log, const char *> tables[] = {
        // Coded rows go up to the difference of the indexes, even beyond the ring and the BAR.
        {CODED, "0 9 > 0-9; 10 25 > 10-15; 10 15 > ; 1 0 > 0-32511 0-1; 40000 32511 > 32511-32511 0-40000; "
                "40000 32512 > 0-40000; 0 0x1FC00 > 0-130048; 0x1FC01 0 > 64171; 0 0x1FC01 > 64171"},
        {TEXT,
         "0 0 > ; 0 96 > 0-0; 0 1 > 0-0; 96 480 > 1-4; 0xFFE40 192 > 10918-10919 0-1; 0xFFF00 96 > 0-0; "
         "0xFFF00 0 > ; 0xFFF01 0 > 64171; 0 0xFFF01 > 64171"},
        {LINES, "0 0xFFF00 > 0-10919; 0 960 2 4 > 2-4; 0 960 0 3 > 0-3; 0 960 8 10920 > 8-9; 0 960 4 3 > ; "
                "0xFFE40 192 1 2 > 10919-10919 0-0; 0 960 10920 0 > ; 0 960 10921 0 > 22; "
                "0 960 0 10921 > 22; 0xFFF01 0 > 64171"},
        // Characters, rounded to words: inwards where the log wraps. Lines count four a word.
        {SIRANE, "100 100 > 25-25; 3 5 > 0-2; 201 103 > 51-46655 0-18621 0-25; 261111 0 > 0-0; "
                 "261108 3 > 18621-18621 0-0; 0 261112 > 0-46655 0-18621 46655-46655; 0 400 8 11 > 2-2; "
                 "0 400 1 7 > 1-1; 0 400 0 8 > 0-2; 200 100 260912 260916 > 0-1; 0 400 261112 0 > ; "
                 "0 400 261113 0 > 22; 0 400 0 261113 > 22; 261113 0 > 64170; 0 261113 > 64170"},
        {CONTROLLER, "0 0 > 0-0; 10 5 > 10-10877 0-5; 10878 0 > 0-0; 261072 0 > 0-0; 261073 0 > 64170; "
                     "261072 261072 > 4294967295-4294967295"},
    };
    trace_level_mask_set(1);
    for (const auto &[kind, table] : tables) {
        for (const auto &[given, expected] : cases_of(table)) {
            uint32_t first = 0, last = 0, from = 0, to = 0;
            std::istringstream(given) >> std::setbase(0) >> first >> last >> from >> to;
            set_indexes(first, last);
            fs::remove(path(kind));
            const int32_t rc = dump(kind, from, to);
            EXPECT_EQ(runs(kind) + (rc == 0 ? "" : std::to_string(rc)), expected) << kind << " " << given;
            EXPECT_EQ(fs::exists(path(kind)), rc != 22); // a bad request opens no file
        }
    }
}

TEST_F(firmware_logs_test, rows_literally)
{
    set(RING, {4000000000, 0x010ACFFF, 0x80300004, 1, 2, 3, 4, 0xFFFFFFFF});
    EXPECT_EQ(dump(CODED), 0);
    EXPECT_EQ(file(CODED),
              "0)4000000000  mbox_common_functions   INFO:line 4095 ret code 80300004 valid data 12 data "
              "00000001 data 00000002 data 00000003 data 00000004 data ffffffff  \n\r ");
    for (const auto &[code, row] :
         cases_of("0 > reserved = 0             LOG: ; 30f >  hurlePSPLinterface      ; "
                  "210 >  hurleZynqSystem        ERR: ; 2f >            LOG: ; 30 >   UNKNOWN   LOG: ")) {
        set(RING, {0, static_cast<uint32_t>(std::stoul(code, nullptr, 16)) << 16});
        EXPECT_EQ(dump(CODED), 0);
        EXPECT_EQ(file(CODED).find("0)0 " + row + "line 0 "), 0u) << row;
    }
    put_text(RING, std::string(96, 'a') + "b"); // a row of text without a terminator
    set_indexes(0, 192);
    EXPECT_EQ(dump(TEXT), 0);
    EXPECT_EQ(file(TEXT), std::string(96, 'a') + " \nb \n");
    set(RING + 8, {0});
    for (const auto &[version, readers] : cases_of("0 > text text; 30004 > coded none; 30005 > coded text; "
                                                   "30006 > text text")) {
        the_bar.word[0x01F04004] = std::stoul(version, nullptr, 16);
        EXPECT_EQ(kelvane_ps_print_trace(0), 0);
        const std::string got = file(TEXT).find("aaaaaaaa \n") == 0 ? "text " : "coded ";
        fs::remove(path(TEXT));
        EXPECT_EQ(kelvane_ps_print_sel_trace(0, 0xF0FFFFFF, 0, 0), 0);
        EXPECT_EQ(got + (fs::exists(path(TEXT)) ? "text" : "none"), readers) << version;
    }
    set_indexes(9, 15);
    put_text(SIRANE_LOG + 16, std::string("up\0\n12\xE9\0\0\0\0\0", 12));
    EXPECT_EQ(dump(SIRANE), 0);
    EXPECT_EQ(file(SIRANE), "up \n12\xE9     \n");
}

TEST_F(firmware_logs_test, a_second_dump_is_refused_while_the_first_runs)
{
    static int32_t refused; // codes of those in the midst of the first
    local_handles_array[0].init_device.pci_read_cb = [](auto, auto, auto offset, auto *value, auto alive) {
        refused += offset != RING ? 0
                                  : kelvane_ps_print_trace_coded(0) + kelvane_ps_print_trace_string(0) +
                                        kelvane_ps_print_sel_trace_ordune_string(0, 0, 0);
        return the_bar.access(false, offset, value, alive);
    };
    set_indexes(0, 2 * 96);
    EXPECT_EQ(dump(TEXT) + dump(LINES), 0);
    EXPECT_EQ(file(LINES), " \n \n");
    EXPECT_EQ(refused, 2 * 3 * 64170);
}

TEST_F(firmware_logs_test, the_controllers_log_and_the_regulators)
{
    EXPECT_EQ(dump(CONTROLLER), 64174);
    set(0x03EC0014, {0x01AC7F26});
    EXPECT_EQ(dump(CONTROLLER), 0);
    EXPECT_FALSE(fs::exists(path(CONTROLLER)));
    set_indexes(1, 2);
    set(0x03EC0048, {6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17});
    set(0x03EFFC1C, {0xAAAAAAAA}); // no two bits look alike
    set(0x03EFFC3C, {0xCCCCCCCC});
    set(0x03EFFC5C, {0x00111110});
    EXPECT_EQ(dump(CONTROLLER), 0);
    EXPECT_NE(file(CONTROLLER).find("\n SIRANE_P2P8_DCDC   \n SIRANE_3V3_OSC_A1  \n"), std::string::npos);
    EXPECT_EQ(std::regex_replace(file(CONTROLLER), std::regex(" SIRANE_(\\w+) *\n"), "$1 "),
              " 0x00000006 0x00000007 0x00000008 0x00000009 0x0000000a 0x0000000b\n"
              " 0x0000000c 0x0000000d 0x0000000e 0x0000000f 0x00000010 0x00000011\n\n"
              "\n sirane_id 0 volt_reg_fail_alarm_word 0xaaaaaaaa \nP2P8_DCDC 3V3_OSC_A1 3V3_OSC_D1 VDDT "
              "AVD09Q_DAC VDDV VDDP PLL_VDDFEC P1P25V_REF P6P0V_DCDC MAXCH "
              "\n sirane_id 1 volt_reg_fail_alarm_word 0xcccccccc \nVP2P5_SW 3V3_OSC_A1 3V3_OSC_D0 VDDT "
              "AVD09N_DAC VDDV VDDB PLL_VDDFEC P3P4V_DCDC P6P0V_DCDC "
              "\n sirane_id 2 volt_reg_fail_alarm_word 0x00111110 \n3V3_OSC_A0 VDDR VDDHOST AVDNEGADC "
              "P5P0V_DCDC ");
}

TEST_F(firmware_logs_test, what_fails)
{
    for (const uint32_t address : {0xFF03FFFFu, 0xFFFFFFFFu, 0xFF0000FFu, 0xFF00FF00u, 0xF0FFFF00u}) {
        EXPECT_EQ(kelvane_ps_print_sel_trace(0, address, 0, 0), 22) << std::hex << address;
    }
    EXPECT_EQ(kelvane_ps_print_sel_trace(1, 0xFF00FFFF, 0, 0), 22);
    const auto open_files = [] { return std::distance(fs::directory_iterator("/proc/self/fd"), {}); };
    set_indexes(960, 192);
    set(0x03EC0004, {0, 3});
    EXPECT_EQ(dump(TEXT), 0);
    trace_level_mask_set(1);
    const auto before = open_files();
    // The word whose reading fails: the code, and how many bytes the file keeps.
    for (const auto &[kind, table] :
         {std::pair{CODED, "3F0000C > 64170 0; 3F01824 > 64170 0; 3F01844 > 64170 148"},
          {TEXT, "1F04004 > 64174 0; 3F00010 > 64170 0; 3F003E0 > 64174 0"},
          {LINES, "1F04004 > 64174 0; 3F0000C > 64170 0; 3F003E0 > 64174 0; 3F00440 > 64174 2"},
          {SIRANE, "3E40000 > 64174 0; 3E40004 > 64174 0; 3E403D0 > 64174 8; 3E40010 > 64174 260160"},
          {CONTROLLER, "3EC0014 > 64174 0; 3EC0048 > 64174 67; 3EFFC04 > 64174 269; 3EFFC1C > 64174 269; "
                       "3EFFC5C > 64174 371"}}) {
        for (const auto &[offset, expected] : cases_of(table)) {
            the_bar.failing_offset = std::stoul(offset, nullptr, 16);
            fs::remove(path(kind));
            const int32_t rc = dump(kind);
            EXPECT_EQ(std::to_string(rc) + " " + std::to_string(file(kind).size()), expected)
                << kind << " " << offset;
            EXPECT_LE(open_files(), before + 1); // some leave it open until the next dump
        }
    }
    the_bar.failing_offset = 1;
    signal(SIGXFSZ, SIG_IGN);
    for (const log kind : {CODED, TEXT, LINES, SIRANE}) { // files that cannot be written, or not even opened
        for (const rlim_t bytes : {0, 7}) {
            limit_file_size(bytes);
            EXPECT_EQ(dump(kind), 64170);
            limit_file_size(RLIM_INFINITY);
            fs::remove(path(kind));
        }
        fs::create_directory(path(kind));
        EXPECT_EQ(dump(kind), 64170);
    }
    EXPECT_EQ(open_files(), before);
    log_file file = {fopen("/dev/full", "w")};
    fputs("x", file.fp);
    EXPECT_EQ(close_log_file(0, &file, 0), 64170);
    file.fp = fopen("/dev/full", "w");
    setvbuf(file.fp, nullptr, _IONBF, 0); // fails at once, and not at the close
    fputs("x", file.fp);
    EXPECT_EQ(close_log_file(0, &file, 5), 5); // after another failure
    file.fp = tmpfile();
    close(fileno(file.fp)); // so that the close itself fails
    EXPECT_EQ(close_log_file(0, &file, 0), 64170);
    EXPECT_TRUE(log_contains("the firmware's log could not be written whole: No space left on device \n"));
}

} // namespace
