// The program, run as an engineer runs it.
#include <csignal>
#include <cstdio>
#include <string>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/trace_ring.h"
#include "support/virtual_time.h"
#include "temporary_folder.h"

namespace {

class trace_ring_reader : public testing::Test {
  protected:
    trace_ring_reader()
    {
        setenv("KELVANE_TRACE_DIR", folder.path().c_str(), 1);
        setenv("TZ", "UTC", 1);
    }

    struct outcome {
        int status;
        std::string out; // both streams
    };

    static outcome run(const std::string &arguments)
    {
        FILE *pipe = popen((TRACE_RING_READER " " + arguments + " 2>&1").c_str(), "r");
        std::string out;
        for (int c = 0; (c = fgetc(pipe)) != EOF;) {
            out += static_cast<char>(c);
        }
        const int status = pclose(pipe);
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, out};
    }

    // Three entries in two rings, from a clock that stands where the test puts it.
    static void write_entries()
    {
        virtual_time time;
        struct trace_ring *error = trace_ring_create("KELVANE_ERR__", 64, 32768);
        struct trace_ring *info = trace_ring_create("KELVANE_INFO_", 64, 32768);
        time.advance(1000);
        trace_ring_write(info, 0xC04000000C8, 0, 0xFF0100FF, "first", "one");
        time.advance(1000);
        trace_ring_write(error, 0xC04000000C8, -1, 0xFFFFFFFF, "second", "two");
        time.advance(1000);
        trace_ring_write(info, 0xC05000000CB, 12, 0, "third", "three", 3);
    }

    temporary_folder folder;
};

TEST_F(trace_ring_reader, merges_rings_by_time)
{
    write_entries();
    const std::string pid = std::to_string(getpid());
    const std::string tid = " tid=" + pid + " ";
    const outcome all = run("");
    EXPECT_EQ(all.status, 0);
    EXPECT_EQ(all.out, "trace_ring_reader: process " + pid +
                           " (platform_test), alive, started 2020-09-13 12:26:40.000000\n"
                           "2020-09-13 12:26:40.000001 KELVANE_INFO_ Slot:00 [d:001|n:000|h:255]" +
                           tid +
                           "first: one\n"
                           "2020-09-13 12:26:40.000002 KELVANE_ERR__ Slot:-1 [d:255|n:255|h:255]" +
                           tid +
                           "second: two\n"
                           "2020-09-13 12:26:40.000003 KELVANE_INFO_ Slot:12 [d:000|n:000|h:000]" +
                           tid + "third: three 3\n");
    const auto shown = [](const outcome &result) {
        return std::string(result.out.find("one") != std::string::npos ? "1" : "") +
               (result.out.find("two") != std::string::npos ? "2" : "") +
               (result.out.find("three") != std::string::npos ? "3" : "");
    };
    EXPECT_EQ(shown(run("--last 2")), "23");
    EXPECT_EQ(shown(run("--level INFO " + pid)), "13");
    EXPECT_EQ(shown(run("--ring KELVANE_ERR__")), "2");
    EXPECT_EQ(shown(run("-l ERROR -r KELVANE_INFO_ -n 0")), "");
    EXPECT_EQ(run("--list").status, 0);
    EXPECT_NE(run("--list").out.find("KELVANE_ERR__"), std::string::npos);
    EXPECT_EQ(run("--remove " + pid).status, 1); // it lives
    EXPECT_EQ(run("--ring NOWHERE").status, 1);
    EXPECT_EQ(run("1").status, 1);
}

TEST_F(trace_ring_reader, tells_what_it_can_not_do)
{
    EXPECT_EQ(run("").status, 1); // no rings at all
    EXPECT_EQ(run("--help").status, 0);
    for (const char *wrong :
         {"x", "1 2", "-1x", "--last -1", "--last x", "--level error", "--remove", "--odd", "99999999999"}) {
        EXPECT_EQ(run(wrong).status, 2) << wrong;
    }
    write_entries();
    EXPECT_EQ(run("--list >/dev/full").status, 1);
}

TEST_F(trace_ring_reader, follows_until_the_process_ends)
{
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const pid_t child = fork();
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        write_entries();
        struct trace_ring *late = trace_ring_create("LATE", 4096, 4096 * 64);
        EXPECT_EQ(write(ready[1], "x", 1), 1);
        for (;;) {
            trace_ring_write(late, 0xC04000000C8, 0, 0, "late", "later");
            usleep(100);
        }
    }
    char byte = 0;
    ASSERT_EQ(read(ready[0], &byte, 1), 1);
    FILE *follower = popen(TRACE_RING_READER " --follow --ring LATE 2>&1", "r");
    size_t lines = 0;
    std::string last;
    for (char line[512]; fgets(line, sizeof line, follower) != nullptr; lines++) {
        last = line;
        if (lines == 200) { // by now some that were written after its start
            kill(child, SIGKILL);
            waitpid(child, nullptr, 0);
        }
    }
    EXPECT_EQ(WEXITSTATUS(pclose(follower)), 0);
    EXPECT_GT(lines, 200u);
    EXPECT_EQ(last, "trace_ring_reader: process " + std::to_string(child) + " has ended\n");
    EXPECT_EQ(run("--remove " + std::to_string(child)).status, 0);
    EXPECT_EQ(run("").status, 1);
    close(ready[0]);
    close(ready[1]);
}

} // namespace
