// The file of the log: its lines, its levels, its beginning and its clearing.
#include <climits>
#include <filesystem>
#include <fstream>
#include <random>
#include <thread>

#include <sys/wait.h>
#include <unistd.h>

#include "core/trace/file.h"
#include "core/trace/message_text.h"
#include "core/trace/trace.h"
#include "lifecycle/driver.h"
#include "support/file_size_limit.h"
#include "support/library.h"

namespace {

using log_test = firmware_test;
using log_file_test = library_test; // of a driver not yet initialised

TEST_F(log_test, whole_lines_of_the_levels_in_the_mask)
{
    logFileFp_rowcounter = 123456;
    time.advance(2 * 1000000000ull + 123000 - time.now()); // after 12:26:40 UTC
    TRACE(LEVEL_INFO, 0, 0xFF0102FE, " start reg_address = %08x ", 0x9010u);
    const std::string message(5000, 'm');
    ASSERT_EQ(kelvane_mutex_lock(&log_file_mutex), 0); // this thread's own: its second lock fails
    TRACE(LEVEL_ERROR, NO_HANDLE, NO_ADDRESS, "%s.", message.c_str());
    kelvane_mutex_unlock(&log_file_mutex);
    const std::string head = " [12:26:42.000123] t127 tid=" + std::to_string(kelvane_gettid()) + " [d:";
    EXPECT_TRUE(
        log_contains(" 123456" + head +
                     "001|n:002|h:254] INFO  Slot:00 TestBody:  start reg_address = 00009010 \n 123457" +
                     head + "255|n:255|h:255] ERROR Slot:-1 TestBody: " + message + ".\n"));
    log_lines();
    trace_level_mask_clear(2);
    EXPECT_EQ(trace_level_mask_get(), 125u);
    EXPECT_EQ(trace_level_mask_set(16), 0);
    trace_level_mask_add(1);
    for (const uint32_t level : {0u, 1u, 2u, 3u, 16u, 127u, 128u}) {
        TRACE(level, 0, NO_ADDRESS, "%u", level);
    }
    const char *const none = nullptr;
    const std::string name(200, 'f');
    kelvane_trace_tagged(1, 0xC05000000CB, 0, NO_ADDRESS, name.c_str(), "count", 7);
    kelvane_trace_tagged(32, 0x1C05000000CA, 0, NO_ADDRESS, "fn", "one", none);
    EXPECT_EQ(log_lines(), (std::vector<std::string>{"ERROR TestBody: 1", "DEBUG TestBody: 16",
                                                     "ERR   " + name + ":count 7 ", "UNKNW fn:one (null) "}));
}

TEST_F(log_file_test, a_file_that_is_there_is_appended_to)
{
    EXPECT_EQ(kelvane_init_driver(), 0); // no file, and none is made
    TRACE(LEVEL_ERROR, 0, NO_ADDRESS, "x");
    EXPECT_FALSE(std::filesystem::exists(log_path()));
    is_driver_initialized = false;
    std::filesystem::create_directory(log_path()); // can only be opened for reading
    testing::internal::CaptureStdout();
    EXPECT_EQ(kelvane_init_driver(), 64170);
    const std::string place = "\tfile platforms/common/drivers/kelvane/lib/src/kelvane_trace_defs line ";
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              place + "100 initTrace fopen file exists " + place + "107 initTrace fopen FAIL ");
    std::filesystem::remove(log_path());
    std::ofstream(log_path()) << "kept\n";
    EXPECT_EQ(kelvane_init_driver(), 0);
    EXPECT_EQ(log_text().substr(0, 15), "kept\n      0 [1");
    EXPECT_EQ(log_lines().size(), 7u + 9 + 1); // a line of each level, the banner, the date
    EXPECT_TRUE(log_contains("kelvane_get_sw_sdk_version: ********* sdk release = 01.43 *********\n"));
}

TEST_F(log_test, the_file_is_cleared_at_a_million_rows)
{
    logFileFp_rowcounter = 999999;
    for (const char *const text : {"last", "first without a number", "numbered again"}) {
        TRACE(LEVEL_ERROR, 0, NO_ADDRESS, "%s", text);
    }
    const std::string cleared = " ********************* FILE CLEARED **********************\n";
    EXPECT_EQ(log_text().find(cleared + cleared + cleared + cleared + "[12:26:"), 0u);
    EXPECT_TRUE(log_contains(" first without a number\n      0 ["));
    limit_file_size(5);
    TRACE(LEVEL_ERROR, 0, NO_ADDRESS, "lost, and no harm done");
    limit_file_size(RLIM_INFINITY);
    EXPECT_FALSE(log_contains("lost"));
    std::filesystem::remove_all(folder.path + "/root");
    logFileFp_rowcounter = 1000000;
    testing::internal::CaptureStderr();
    TRACE(LEVEL_ERROR, 0, NO_ADDRESS, "x");
    TRACE(LEVEL_ERROR, 0, NO_ADDRESS, "y");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "kelvane: /root/kelvane.log cannot be opened again after clearing, file logging is off\n");
}

TEST_F(log_test, a_forked_child_finds_the_locks_free)
{
    const std::jthread other([](const std::stop_token &end) {
        while (!end.stop_requested()) {
            kelvane_mutex_lock(&log_file_mutex); // as for a line, of which a million would clear the file
            kelvane_mutex_unlock(&log_file_mutex);
            trace_level_mask_add(1);
        }
    });
    int status = 0;
    for (int child = 0; child < 30 && status == 0; child++) {
        if (fork() == 0) {
            alarm(20); // ends a child that hangs
            const int32_t holders = log_file_mutex.lockingTID | trace_level_mutex.lockingTID;
            trace_level_mask_add(1);
            TRACE(LEVEL_ERROR, 0, NO_ADDRESS, "child %d", child);
            _exit(holders == 0 && log_contains("child " + std::to_string(child)) ? 0 : 1);
        }
        wait(&status);
    }
    EXPECT_EQ(status, 0);
}

// The text and the length that vsnprintf makes of it, and nothing behind the `size` bytes.
[[gnu::format(printf, 2, 3)]] void compare_text(size_t size, const char *format, ...)
{
    std::string made[] = {std::string(600, '#'), std::string(600, '#')};
    for (std::string &text : made) {
        va_list arguments;
        va_start(arguments, format);
        const auto print = &text == made ? message_text : vsnprintf;
        text += std::to_string(print(text.data(), size, format, arguments));
        va_end(arguments);
    }
    ASSERT_EQ(made[0], made[1]) << format << " in " << size;
}

TEST(message_text_test, is_the_text_that_vsnprintf_makes)
{
    std::mt19937_64 random(4711);
    for (int round = 0; round < 3000 && !HasFatalFailure(); round++) {
        constexpr uint64_t SELDOM[] = {0, 1, 10, ULONG_MAX, 1ul << 63, INT_MAX, UINT_MAX, 1u << 31};
        const uint64_t bits = round % 4 == 0 ? SELDOM[random() % 8] : random() >> random() % 64;
        const auto word = static_cast<unsigned>(bits);
        const auto number = static_cast<int>(word);
        const std::string text(random() % 300, 's');
        const char *const s = round % 8 == 1 ? nullptr : text.c_str();
        const size_t size = round % 2 == 0 ? 512 : 1 + random() % 512;
        compare_text(size, "%s Slot:%02d %03d %08d|%6d %10d %1d %32d", s, number, number, number, number,
                     number, number, number);
        compare_text(size, "%u %10u %02u|%x %08x %04x 0x%040x", word, word, word, word, word, word, word);
        compare_text(size, "%ld %025ld %lu %lx %08lx %c", static_cast<long>(bits),
                     -static_cast<long>(bits >> 1), bits, bits, bits, number);
        compare_text(size, "%p %s%s", reinterpret_cast<void *>(bits), s, s);
        compare_text(size, "%d %f %s|%+d %-5d %.3s %%", number, 0.1 * number, s, number, number, s);
    }
}

} // namespace
