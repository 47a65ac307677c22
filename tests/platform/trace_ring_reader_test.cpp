// The program, run as an engineer runs it.
#include <csignal>
#include <cstdio>
#include <string>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/trace_ring.h"
#include "support/temporary_folder.h"
#include "support/virtual_time.h"

namespace {

struct trace_ring_reader : testing::Test {
    trace_ring_reader()
    {
        setenv("KELVANE_TRACE_DIR", folder.path.c_str(), 1);
        setenv("TZ", "UTC", 1);
    }

    // Exit status, and what it said on both streams; process ids in it become PID.
    static std::string run(const std::string &arguments, pid_t writer = getpid(), pid_t killed = 0)
    {
        FILE *pipe = popen((TRACE_RING_READER " " + arguments + " 2>&1").c_str(), "r");
        std::string out;
        for (int c = 0; (c = fgetc(pipe)) != EOF;) {
            out += static_cast<char>(c);
            if (killed != 0 && out.size() > 20000) { // by now some that were written after its start
                kill(std::exchange(killed, 0), SIGKILL);
                waitpid(writer, nullptr, 0);
            }
        }
        const int status = WEXITSTATUS(pclose(pipe));
        const std::string pid = std::to_string(writer);
        for (size_t at = 0; (at = out.find(pid, at)) != std::string::npos;) {
            out.replace(at, pid.size(), "PID");
        }
        return std::to_string(status) + " " + out;
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

TEST_F(trace_ring_reader, merges_rings_by_time_and_says_what_it_cannot_do)
{
    const std::string none = "1 trace_ring_reader: no rings in " + folder.path + "\n";
    EXPECT_EQ(run(""), none);
    write_entries();
    const std::string HEAD =
        "trace_ring_reader: process PID (platform_test), alive, started 2020-09-13 12:26:40.000000\n";
    const std::string ONE =
        "2020-09-13 12:26:40.000001 KELVANE_INFO_ Slot:00 [d:001|n:000|h:255] tid=PID first: one\n";
    const std::string TWO =
        "2020-09-13 12:26:40.000002 KELVANE_ERR__ Slot:-1 [d:255|n:255|h:255] tid=PID second: two\n";
    const std::string THREE =
        "2020-09-13 12:26:40.000003 KELVANE_INFO_ Slot:12 [d:000|n:000|h:000] tid=PID third: three 3\n";
    const std::string pid = std::to_string(getpid()), say = "1 trace_ring_reader: ";
    const std::pair<std::string, std::string> RUNS[] = {
        {"", "0 " + HEAD + ONE + TWO + THREE},
        {"--last 2", "0 " + HEAD + TWO + THREE},
        {"--level INFO " + pid, "0 " + HEAD + ONE + THREE},
        {"--ring KELVANE_ERR__", "0 " + HEAD + TWO},
        {"-l ERROR -r KELVANE_INFO_ -n 0", "0 " + HEAD},
        {"--remove " + pid, say + "process PID is alive, its rings stay\n"},
        {"--remove 1", say + "no rings of process 1 in " + folder.path + "\n"},
        {"--ring NOWHERE", "1 " + HEAD + "trace_ring_reader: no ring NOWHERE of process PID\n"},
        {"1", say + "no rings of process 1 in " + folder.path + "\n"},
    };
    for (const auto &[arguments, expected] : RUNS) {
        EXPECT_EQ(run(arguments), expected) << arguments;
    }
    for (const char *wrong :
         {"x", "1 2", "-1x", "--last -1", "--last x", "--level error", "--remove", "--odd", "99999999999"}) {
        const std::string said = run(wrong);
        EXPECT_TRUE(said.starts_with("2 ") && said.ends_with("Try trace_ring_reader --help\n")) << said;
    }
    EXPECT_TRUE(run("--help").starts_with("0 Usage: "));
    folder.write("kelvane_trace.1.0.ODD", "");
    const std::string listed = run("--list");
    EXPECT_TRUE(listed.starts_with("0 trace_ring_reader: 1 files in " + folder.path + " are no sound rings"));
    EXPECT_NE(listed.find("PID alive platform_test    2020-09-13 12:26:40.000000 KELVANE_INFO_  "),
              std::string::npos)
        << listed;
    EXPECT_TRUE(run("--list >/dev/full").starts_with("1 "));
}

TEST_F(trace_ring_reader, follows_until_the_process_ends)
{
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const pid_t child = fork();
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        struct trace_ring *late = trace_ring_create("LATE", 4096, 4096 * 64);
        EXPECT_EQ(write(ready[1], "x", 1), 1);
        for (;; usleep(100)) {
            trace_ring_write(late, 0xC04000000C8, 0, 0, "late", "later");
        }
    }
    char byte = 0;
    ASSERT_EQ(read(ready[0], &byte, 1), 1);
    const std::string followed = run("--follow --ring LATE", child, child);
    EXPECT_TRUE(followed.starts_with("0 ") &&
                followed.ends_with("\ntrace_ring_reader: process PID has ended\n"));
    EXPECT_EQ(followed.find("overwritten"), std::string::npos);
    EXPECT_EQ(run("--remove " + std::to_string(child)), "0 ");
}

} // namespace
