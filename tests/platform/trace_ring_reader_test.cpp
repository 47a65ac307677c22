// The program, run as an engineer runs it.
#include <csignal>
#include <cstdio>
#include <cstring>
#include <random>
#include <regex>
#include <string>

#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/trace_ring.h"
#include "platform/trace_ring_file.h"
#include "support/temporary_folder.h"
#include "support/virtual_time.h"

namespace {

// A ring of two places with 16 bytes of message each, written out by hand; one is in use. No process has that
// id.
struct forged_ring {
    trace_ring_header header{
        0x474E49525F4D564B, 1, 144, 16, 2, 5000000, 0, 0, "FORGED", "maker", {}, 1, 0, {}, 2, 0, 0};
    trace_ring_entry entry{2, 0, 0xC04000000C8, 0, 0, 0, 8, "f"};
    char message[16] = "text";
};

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
        const int ended = pclose(pipe), status = WIFEXITED(ended) ? WEXITSTATUS(ended) : -1;
        const std::regex ids("(process |tid=)" + std::to_string(writer) + "\\b");
        return std::to_string(status) + " " + std::regex_replace(out, ids, "$1PID");
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

    // What the program says of such a ring, behind the head.
    std::string read(const forged_ring &ring, size_t bytes = 4096 + 2 * 144, const char *index = "0") const
    {
        std::string file(4096 + 2 * 144, '\0');
        memcpy(file.data(), &ring.header, sizeof ring.header);
        memcpy(file.data() + 4096, &ring.entry, sizeof ring.entry + sizeof ring.message);
        folder.write(std::string("kelvane_trace.5000000.") + index + ".FORGED", file.substr(0, bytes));
        const std::string said = run("5000000");
        const size_t head = said.find("tid=0 ");
        return head == std::string::npos ? said : said.substr(head + 6);
    }

    temporary_folder folder;
};

TEST_F(trace_ring_reader, merges_rings_by_time_and_says_what_it_cannot_do)
{
    EXPECT_EQ(run(""), "1 trace_ring_reader: no rings in " + folder.path + "\n");
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
    EXPECT_NE(listed.find(pid + " alive platform_test    2020-09-13 12:26:40.000000 KELVANE_INFO_  "),
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
    ASSERT_EQ(::read(ready[0], &byte, 1), 1);
    const std::string followed = run("--follow --ring LATE", child, child);
    EXPECT_TRUE(followed.starts_with("0 ") &&
                followed.ends_with("\ntrace_ring_reader: process PID has ended\n"));
    EXPECT_EQ(followed.find("overwritten"), std::string::npos);
    EXPECT_EQ(run("--remove " + std::to_string(child)), "0 ");
}

TEST_F(trace_ring_reader, forged_headers_are_no_rings)
{
    const std::string REFUSED =
        "1 trace_ring_reader: 1 files in " + folder.path +
        " are no sound rings or not yours to read\ntrace_ring_reader: no rings of process 5000000 in " +
        folder.path + "\n";
    const std::pair<uint32_t trace_ring_header::*, uint32_t> WORDS[] = {
        {&trace_ring_header::version, 2},        {&trace_ring_header::entries, 0xFFFFFFFF},
        {&trace_ring_header::capacity, 0},       {&trace_ring_header::capacity, 3},
        {&trace_ring_header::entry_bytes, 16},   {&trace_ring_header::message_bytes, 0},
        {&trace_ring_header::message_bytes, 17}, {&trace_ring_header::message_bytes, 65544}};
    for (const auto &[word, value] : WORDS) {
        forged_ring ring;
        ring.header.*word = value;
        ring.header.entry_bytes += ring.header.message_bytes - 16;
        EXPECT_EQ(read(ring), REFUSED) << value;
    }
    forged_ring magic, empty, endless, odd, good;
    magic.header.magic++;
    empty.header.entries = empty.header.capacity = 0;
    memset(endless.header.name, 'n', sizeof endless.header.name);
    strcpy(odd.header.name, "\033[2J"); // for the terminal
    for (const forged_ring &ring : {magic, empty, endless, odd}) {
        EXPECT_EQ(read(ring), REFUSED);
    }
    EXPECT_EQ(read(good, 207), REFUSED);
    EXPECT_EQ(read(good, 4096 + 143),
              "0 trace_ring_reader: process 5000000 (maker), dead, started 1970-01-01 00:00:00.000000\n");
    memset(good.header.program, '\a', sizeof good.header.program);
    EXPECT_NE(read(good, 4096).find(" 5000000 (" + std::string(15, '?') + "), dead"), std::string::npos);
}

TEST_F(trace_ring_reader, forged_entries_show_what_is_there)
{
    forged_ring ring;
    const auto message_of = [&](uint64_t tag, uint32_t length) {
        ring.entry.tag = tag;
        ring.entry.length = length;
        return read(ring);
    };
    EXPECT_EQ(message_of(0xC04000000C8, 8), "f: text\n");
    memset(ring.entry.function, 'x', sizeof ring.entry.function);
    memset(ring.message, 'y', sizeof ring.message);
    EXPECT_EQ(message_of(0xC04000000C8, 0xFFFFFFFF), std::string(88, 'x') + ": yyyyyyyyyyyyyyyy\n");
    strcpy(ring.entry.function, "f");
    EXPECT_EQ(message_of(0x1C05000000CA, 0xFFFFFFFF),
              "f: yyyyyyyyyyyyyyyy \n"); // the second string is beyond
    EXPECT_EQ(message_of(0xC05000000CB, 0xFFFFFFFF), "f: yyyyyyyyyyyyyyyy \n");
    strcpy(ring.message, "z");
    EXPECT_EQ(message_of(0xC05000000CB, 11), "f: z \n"); // a number cut short
    EXPECT_EQ(message_of(0xC05000000CB, 0), "f:  \n");
    forged_ring later; // of another process that had the same id
    later.header.process_start_ns = 1;
    EXPECT_EQ(read(later, 4096 + 144, "1"), "f: text\n");
    std::filesystem::remove(folder.path + "/kelvane_trace.5000000.1.FORGED");
    const std::pair<uint64_t, trace_ring_reading> OF_TICKET_5[] = {
        {0, trace_ring_reading::pending},  {11, trace_ring_reading::pending},
        {10, trace_ring_reading::pending}, {13, trace_ring_reading::lost},
        {14, trace_ring_reading::lost},    {12, trace_ring_reading::complete}};
    for (const auto &[sequence, reading] : OF_TICKET_5) {
        trace_ring_file file;
        trace_ring_line line;
        ring.entry.sequence = sequence;
        read(ring);
        ASSERT_EQ(trace_ring_file_open(folder.path + "/kelvane_trace.5000000.0.FORGED", &file), 0);
        EXPECT_EQ(trace_ring_file_read(file, 5, 0, &line), reading) << sequence;
        EXPECT_EQ(trace_ring_file_read(file, 5, 0xFFFFFFFF, &line), trace_ring_reading::lost);
        trace_ring_file_close(&file);
    }
}

TEST_F(trace_ring_reader, rubbish_is_survived)
{
    std::mt19937 random(1);
    for (int round = 0; round < 30; round++) {
        forged_ring ring;
        auto *bytes = reinterpret_cast<char *>(&ring);
        for (int i = 0; i < 10; i++) {
            bytes[(round % 2 ? sizeof ring.header : 8) + random() % 144] = static_cast<char>(random());
        }
        EXPECT_NE(read(ring)[0], '-');
    }
}

TEST_F(trace_ring_reader, only_plain_files_of_the_right_name_are_listed)
{
    for (const char *name :
         {"kelvane_trace.-7.0.A", "kelvane_trace.7.A", "kelvane_trace.7.0.", "kelvane_trace.99999999999.0.A",
          "kelvane_trace.7.0.A.B", "kelvane_trace.7.4294967296.A", "kelvane_trace. 7.0.A", "other"}) {
        folder.write(name, "would be counted");
    }
    const std::string odd = folder.path + "/kelvane_trace.7.";
    std::filesystem::create_symlink("kelvane_trace.5000000.0.FORGED", odd + "1.LINK");
    std::filesystem::create_directory(odd + "2.FOLDER");
    ASSERT_EQ(mkfifo((odd + "3.FIFO").c_str(), 0600), 0);
    EXPECT_EQ(read({}), "f: text\n");
    EXPECT_TRUE(run("--list").starts_with("0 trace_ring_reader: 3 files in " + folder.path));
    setenv("KELVANE_TRACE_DIR", (folder.path + "/missing").c_str(), 1);
    EXPECT_EQ(run(""), "1 trace_ring_reader: " + folder.path + "/missing: No such file or directory\n");
}

} // namespace
