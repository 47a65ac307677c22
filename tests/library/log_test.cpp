#include <filesystem>
#include <fstream>
#include <sstream>
#include <unistd.h>

#include "core/mutex.h"
#include "kelvane_trace_defs.h"
#include "platform/trace_ring.h"
#include "support/library.h"

namespace {

std::vector<std::string> lines_of(const std::string &text)
{
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

class log_test : public library_test {
  protected:
    void start()
    {
        setenv("TZ", "UTC", 1);
        tzset();
        turn_log_on();
        start_library();
    }
};

TEST_F(log_test, one_whole_line)
{
    start();
    logFileFp_rowcounter = 123456;
    // The virtual wall clock stands at 12:26:40 UTC.
    time.advance(2 * 1000000000ull + 123000 - time.now());
    TRACE(INFO, 0, 0xFF00FFFF, " start reg_address = %08x ", 0x9010u);
    const std::string last = lines_of(log_text()).back();
    EXPECT_EQ(last, " 123456 [12:26:42.000123] t127 tid=" + std::to_string(gettid()) +
                        " [d:000|n:255|h:255] INFO  Slot:00 TestBody:  start reg_address = 00009010 ");
    TRACE(ERROR, NO_HANDLE, 0xFF0100FF, "x");
    const std::string next = lines_of(log_text()).back();
    EXPECT_NE(next.find("[d:001|n:000|h:255] ERROR Slot:-1 TestBody: x"), std::string::npos);
    EXPECT_EQ(next.substr(0, 8), " 123457 ");
}

TEST_F(log_test, without_a_file_none_is_made)
{
    testing::internal::CaptureStdout();
    start_library();
    EXPECT_EQ(
        testing::internal::GetCapturedStdout(),
        "\tfile platforms/common/drivers/kelvane/lib/src/kelvane_trace_defs line 115 initTrace fopen file "
        "NOT exists ");
    TRACE(ERROR, 0, NO_ADDRESS, "x");
    EXPECT_FALSE(std::ifstream(log_path()).good());
}

TEST_F(log_test, an_existing_file_is_appended_to_and_numbered_from_0)
{
    std::ofstream(log_path()) << "kept\n";
    testing::internal::CaptureStdout();
    ASSERT_EQ(kelvane_init_driver(), 0);
    EXPECT_EQ(
        testing::internal::GetCapturedStdout(),
        "\tfile platforms/common/drivers/kelvane/lib/src/kelvane_trace_defs line 100 initTrace fopen file "
        "exists ");
    const std::vector<std::string> lines = lines_of(log_text());
    EXPECT_EQ(lines[0], "kept");
    EXPECT_EQ(lines[1].substr(0, 8), "      0 ");
    EXPECT_EQ(lines[2].substr(0, 8), "      1 ");
    const std::vector<std::string> expected_levels = {"ERROR", "INFO ", "DEBUG", "ALARM", "PM   ", "REG  ",
                                                      "LOWPR", "ERROR", "INFO ", "INFO ", "INFO ", "DEBUG",
                                                      "ALARM", "PM   ", "REG  ", "LOWPR", "INFO "};
    std::vector<std::string> levels;
    for (const std::string &line : log_lines()) {
        levels.push_back(line.substr(0, 5));
    }
    EXPECT_EQ(levels, expected_levels); // the opening asterisks, then the version's banner
    EXPECT_NE(log_text().find("initTrace: *********************************************************\n"),
              std::string::npos);
    EXPECT_NE(log_text().find("kelvane_get_sw_sdk_version: ********* sdk release = 01.43 *********\n"),
              std::string::npos);
    EXPECT_NE(log_text().find("kelvane_get_sw_sdk_version: 08/03/2021 14:40:59   \n"), std::string::npos);
}

TEST_F(log_test, a_file_that_cannot_be_appended_to_fails_the_start)
{
    std::filesystem::create_directory(log_path()); // can be opened for reading only
    testing::internal::CaptureStdout();
    EXPECT_EQ(kelvane_init_driver(), 64170);
    EXPECT_NE(testing::internal::GetCapturedStdout().find(" line 107 initTrace fopen FAIL "),
              std::string::npos);
    std::filesystem::remove(log_path());
    EXPECT_EQ(kelvane_init_driver(), 0);
}

TEST_F(log_test, the_file_is_cleared_at_a_million_rows)
{
    start();
    logFileFp_rowcounter = 999999;
    TRACE(ERROR, 0, NO_ADDRESS, "last");
    TRACE(ERROR, 0, NO_ADDRESS, "first without a number");
    TRACE(ERROR, 0, NO_ADDRESS, "numbered again");
    const std::vector<std::string> lines = lines_of(log_text());
    ASSERT_EQ(lines.size(), 6u);
    for (int i = 0; i < 4; i++) {
        EXPECT_EQ(lines[i], " ********************* FILE CLEARED **********************");
    }
    EXPECT_EQ(lines[4][0], '[');
    EXPECT_NE(lines[4].find("first without a number"), std::string::npos);
    EXPECT_EQ(lines[5].substr(0, 8), "      0 ");
}

TEST_F(log_test, a_file_that_cannot_be_opened_again_turns_the_log_off)
{
    start();
    std::filesystem::remove_all(folder.path + "/root");
    logFileFp_rowcounter = 1000000;
    testing::internal::CaptureStderr();
    TRACE(ERROR, 0, NO_ADDRESS, "x");
    TRACE(ERROR, 0, NO_ADDRESS, "y");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "kelvane: /root/kelvane.log cannot be opened again after clearing, file logging is off\n");
}

TEST_F(log_test, a_long_message_is_whole_in_the_file)
{
    start();
    const std::string message(5000, 'm');
    TRACE(ERROR, 0, NO_ADDRESS, "%s.", message.c_str());
    EXPECT_EQ(log_lines().back(), "ERROR TestBody: " + message + ".");
}

TEST_F(log_test, the_mask_chooses_the_levels)
{
    start();
    log_lines();
    EXPECT_EQ(trace_level_mask_get(), 127u);
    trace_level_mask_clear(2);
    int evaluated = 0;
    TRACE(INFO, 0, NO_ADDRESS, "off %d", ++evaluated);
    EXPECT_EQ(evaluated, 0);
    EXPECT_TRUE(log_lines().empty());
    EXPECT_EQ(trace_level_mask_set(16), 0);
    TRACE(DEBUG, 0, NO_ADDRESS, "on");
    trace_level_mask_add(1);
    TRACE(ERROR, 0, NO_ADDRESS, "on too");
    EXPECT_EQ(trace_level_mask_get(), 17u);
    trace_level_mask_set(127);
    for (const uint32_t no_level : {0u, 3u, 128u, 127u}) {
        TRACE(no_level, 0, NO_ADDRESS, "never");
    }
    EXPECT_EQ(log_lines(), (std::vector<std::string>{"DEBUG TestBody: on", "ERROR TestBody: on too"}));
}

TEST_F(log_test, tagged_lines)
{
    start();
    const int rows = logFileFp_rowcounter;
    log_lines();
    kelvane_trace_tagged(1, 0xC05000000CB, 0, 0xFF01FFFF, "fn", "count", 7);
    kelvane_trace_tagged(32, 0x1C05000000CA, 0, NO_ADDRESS, "fn", "one", "two");
    kelvane_trace_tagged(2, 0xC04000000C9, 0, NO_ADDRESS, "fn", "alone");
    kelvane_trace_tagged(4, 0xC8, 0, NO_ADDRESS, "fn", "ignored");
    EXPECT_EQ(log_lines(), (std::vector<std::string>{"ERR   fn:count 7 ", "UNKNW fn:one two ",
                                                     "INFO  fn:alone ", "ALARM fn:UNKNOWN "}));
    EXPECT_EQ(logFileFp_rowcounter, rows);
}

TEST_F(log_test, a_broken_lock_of_the_log_ends_neither_the_line_nor_the_process)
{
    start();
    log_lines();
    ASSERT_EQ(kelvane_mutex_lock(&log_file_mutex), 0); // this thread's own: a second lock fails
    TRACE(ERROR, 0, NO_ADDRESS, "through");
    kelvane_mutex_unlock(&log_file_mutex);
    EXPECT_EQ(log_lines(), std::vector<std::string>{"ERROR TestBody: through"});
}

} // namespace
