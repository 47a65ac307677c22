// Ring files that nobody honest has written.
#include "platform/trace_ring_file.h"

#include <cerrno>
#include <cstring>
#include <random>

#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/trace_ring_folder.h"
#include "support/temporary_folder.h"

namespace {

// A ring of two places with 16 bytes of message each, written out by hand; one is in use.
struct forged_ring {
    trace_ring_header header{0x474E49525F4D564B, 1, 144, 16, 2, 0, 0, 0, "FORGED", "", {}, 1, 0, {}, 2, 0, 0};
    trace_ring_entry entry{2, 0, 0xC04000000C8, 0, 0, 8, 0, "f"};
    char message[16] = "text";

    std::string bytes() const
    {
        std::string out(4096 + 2 * 144, '\0');
        memcpy(out.data(), &header, sizeof header);
        memcpy(out.data() + 4096, &entry, sizeof entry);
        memcpy(out.data() + 4096 + 128, message, sizeof message);
        return out;
    }
};

struct trace_ring_file_test : testing::Test {
    int open_bytes(const std::string &bytes)
    {
        trace_ring_file_close(&file);
        folder.write("ring", bytes);
        return trace_ring_file_open(folder.path + "/ring", &file);
    }

    std::string message_of(uint64_t tag, uint32_t length)
    {
        ring.entry.tag = tag;
        ring.entry.length = length;
        EXPECT_EQ(open_bytes(ring.bytes()), 0);
        EXPECT_EQ(trace_ring_file_read(file, 0, 0, &line), trace_ring_reading::complete);
        return line.function + ": " + line.message;
    }

    temporary_folder folder;
    forged_ring ring;
    trace_ring_file file;
    trace_ring_line line;
};

TEST_F(trace_ring_file_test, forged_headers_are_no_rings)
{
    const trace_ring_header good = ring.header;
    const std::pair<uint32_t trace_ring_header::*, uint32_t> WORDS[] = {
        {&trace_ring_header::version, 2},        {&trace_ring_header::entries, 0xFFFFFFFF},
        {&trace_ring_header::capacity, 0},       {&trace_ring_header::capacity, 3},
        {&trace_ring_header::entry_bytes, 16},   {&trace_ring_header::message_bytes, 0},
        {&trace_ring_header::message_bytes, 17}, {&trace_ring_header::message_bytes, 65544},
    };
    const auto refused = [this, &good] {
        EXPECT_EQ(open_bytes(ring.bytes()), EINVAL);
        ring.header = good;
    };
    for (const auto &[word, value] : WORDS) {
        ring.header.*word = value;
        ring.header.entry_bytes += ring.header.message_bytes - 16;
        refused();
    }
    ring.header.magic++, refused();
    ring.header.entries = ring.header.capacity = 0, refused();
    memset(ring.header.name, 'n', sizeof ring.header.name), refused();
    strcpy(ring.header.name, "\033[2J"), refused(); // for the terminal
    EXPECT_EQ(open_bytes(""), EINVAL);
    EXPECT_EQ(open_bytes(ring.bytes().substr(0, 207)), EINVAL);
    memset(ring.header.program, '\a', sizeof ring.header.program);
    EXPECT_EQ(open_bytes(ring.bytes()), 0);
    EXPECT_STREQ(file.header.program, "???????????????");
}

TEST_F(trace_ring_file_test, forged_entries_show_what_is_there)
{
    EXPECT_EQ(message_of(0xC04000000C8, 8), "f: text");
    memset(ring.entry.function, 'x', sizeof ring.entry.function);
    memset(ring.message, 'y', sizeof ring.message);
    EXPECT_EQ(message_of(0xC04000000C8, 0xFFFFFFFF), std::string(88, 'x') + ": yyyyyyyyyyyyyyyy");
    strcpy(ring.entry.function, "f");
    EXPECT_EQ(message_of(0x1C05000000CA, 0xFFFFFFFF), "f: yyyyyyyyyyyyyyyy "); // the second string is beyond
    EXPECT_EQ(message_of(0xC05000000CB, 0xFFFFFFFF), "f: yyyyyyyyyyyyyyyy ");
    strcpy(ring.message, "z");
    EXPECT_EQ(message_of(0xC05000000CB, 11), "f: z "); // a number cut short
    EXPECT_EQ(message_of(0xC05000000CB, 0), "f:  ");
    const std::pair<uint64_t, trace_ring_reading> OF_TICKET_5[] = {
        {0, trace_ring_reading::pending},  {11, trace_ring_reading::pending},
        {10, trace_ring_reading::pending}, {13, trace_ring_reading::lost},
        {14, trace_ring_reading::lost},    {12, trace_ring_reading::complete}};
    for (const auto &[sequence, reading] : OF_TICKET_5) {
        ring.entry.sequence = sequence;
        ASSERT_EQ(open_bytes(ring.bytes()), 0);
        EXPECT_EQ(trace_ring_file_read(file, 5, 0, &line), reading) << sequence;
    }
    ASSERT_EQ(truncate((folder.path + "/ring").c_str(), 4096 + 143), 0);
    std::vector<trace_ring_mark> marks;
    EXPECT_EQ(trace_ring_file_marks(file, &marks), 0);
    EXPECT_EQ(marks.size(), 0u);
    EXPECT_EQ(trace_ring_file_read(file, 5, 0, &line), trace_ring_reading::lost);
    EXPECT_EQ(trace_ring_file_read(file, 5, 0xFFFFFFFF, &line), trace_ring_reading::lost);
}

TEST_F(trace_ring_file_test, rubbish_is_survived)
{
    std::mt19937 random(1);
    for (int round = 0; round < 200; round++) {
        std::string bytes = ring.bytes();
        for (int i = 0; i < 20; i++) {
            bytes[(round % 2 ? 4096 : 0) + random() % 208] = static_cast<char>(random());
        }
        std::vector<trace_ring_mark> marks;
        if (open_bytes(bytes) == 0 && trace_ring_file_marks(file, &marks) == 0 && !marks.empty()) {
            EXPECT_EQ(trace_ring_file_read(file, marks[0].ticket, marks[0].place, &line),
                      trace_ring_reading::complete);
        }
    }
}

TEST_F(trace_ring_file_test, only_plain_files_of_the_right_name_are_listed)
{
    for (const char *name : {"kelvane_trace.7.0.FORGED", "kelvane_trace.-7.0.A", "kelvane_trace.7.A",
                             "kelvane_trace.7.0.", "kelvane_trace.99999999999.0.A", "kelvane_trace.7.0.A.B",
                             "kelvane_trace.7.4294967296.A", "kelvane_trace. 7.0.A", "other"}) {
        folder.write(name, ring.bytes());
    }
    const std::string odd = folder.path + "/kelvane_trace.7.";
    std::filesystem::create_symlink("kelvane_trace.7.0.FORGED", odd + "1.LINK");
    std::filesystem::create_directory(odd + "2.FOLDER");
    ASSERT_EQ(mkfifo((odd + "3.FIFO").c_str(), 0600), 0);
    std::vector<trace_ring_listed> all;
    uint32_t unreadable = 0;
    ASSERT_EQ(trace_ring_list(folder.path, &all, &unreadable), 0);
    ASSERT_EQ(all.size(), 1u);
    EXPECT_EQ(all[0].pid, 7);
    EXPECT_FALSE(all[0].alive);
    EXPECT_EQ(unreadable, 3u);
    EXPECT_EQ(trace_ring_list(folder.path + "/missing", &all, &unreadable), ENOENT);
}

} // namespace
