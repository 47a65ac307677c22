// Ring files that nobody honest has written.
#include "platform/trace_ring_file.h"

#include <cerrno>
#include <cstring>
#include <functional>
#include <random>

#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/trace_ring_folder.h"
#include "temporary_folder.h"

namespace {

// A ring of two places with 16 bytes of message each, written out by hand.
struct forged_ring {
    forged_ring()
    {
        header.magic = 0x474E49525F4D564B;
        header.version = 1;
        header.entry_bytes = 144;
        header.message_bytes = 16;
        header.entries = 2;
        header.capacity = 2;
        header.next = 1;
        strcpy(header.name, "FORGED");
        entry.sequence = 2;
        entry.tag = 0xC04000000C8;
        entry.length = 8;
        strcpy(entry.function, "f");
        strcpy(message, "text");
    }

    std::string bytes() const
    {
        std::string out(4096 + 2 * 144, '\0');
        memcpy(out.data(), &header, sizeof header);
        memcpy(out.data() + 4096, &entry, sizeof entry);
        memcpy(out.data() + 4096 + 128, message, sizeof message);
        return out;
    }

    trace_ring_header header{};
    trace_ring_entry entry{};
    char message[16] = {};
};

class trace_ring_file_test : public testing::Test {
  protected:
    int open_bytes(const std::string &bytes)
    {
        trace_ring_file_close(&file);
        folder.write("ring", bytes);
        return trace_ring_file_open(folder.path() + "/ring", &file);
    }
    ~trace_ring_file_test() override
    {
        trace_ring_file_close(&file);
    }

    std::string message_of(const forged_ring &ring)
    {
        trace_ring_line line;
        EXPECT_EQ(open_bytes(ring.bytes()), 0);
        EXPECT_EQ(trace_ring_file_read(file, 0, 0, &line), trace_ring_reading::complete);
        return line.function + ": " + line.message;
    }

    temporary_folder folder;
    trace_ring_file file;
};

TEST_F(trace_ring_file_test, forged_headers_are_no_rings)
{
    EXPECT_EQ(open_bytes(forged_ring().bytes()), 0);
    const struct {
        const char *what;
        void (*change)(trace_ring_header &header);
    } cases[] = {
        {"magic", [](auto &h) { h.magic++; }},
        {"version", [](auto &h) { h.version = 2; }},
        {"no entries", [](auto &h) { h.entries = h.capacity = 0; }},
        {"entries beyond all bounds", [](auto &h) { h.entries = 0xFFFFFFFF; }},
        {"no capacity", [](auto &h) { h.capacity = 0; }},
        {"capacity above the entries", [](auto &h) { h.capacity = 3; }},
        {"entry that is too short", [](auto &h) { h.entry_bytes = 16; }},
        {"no message", [](auto &h) { h.message_bytes = 0, h.entry_bytes = 128; }},
        {"odd message", [](auto &h) { h.message_bytes = 17, h.entry_bytes = 145; }},
        {"huge message", [](auto &h) { h.message_bytes = 65544, h.entry_bytes = 65672; }},
        {"name without end", [](auto &h) { memset(h.name, 'n', sizeof h.name); }},
        {"name for the terminal", [](auto &h) { strcpy(h.name, "\033[2J"); }},
    };
    for (const auto &one : cases) {
        forged_ring ring;
        one.change(ring.header);
        EXPECT_EQ(open_bytes(ring.bytes()), EINVAL) << one.what;
    }
    EXPECT_EQ(open_bytes(""), EINVAL);
    EXPECT_EQ(open_bytes(forged_ring().bytes().substr(0, 207)), EINVAL);
}

TEST_F(trace_ring_file_test, forged_entries_show_what_is_there)
{
    forged_ring ring;
    EXPECT_EQ(message_of(ring), "f: text");
    memset(ring.entry.function, 'x', sizeof ring.entry.function);
    memset(ring.message, 'y', sizeof ring.message);
    ring.entry.length = 0xFFFFFFFF;
    EXPECT_EQ(message_of(ring), std::string(88, 'x') + ": " + std::string(16, 'y'));
    strcpy(ring.entry.function, "f");
    ring.entry.tag = 0x1C05000000CA; // its second string lies beyond the store
    EXPECT_EQ(message_of(ring), "f: " + std::string(16, 'y') + " ");
    ring.entry.tag = 0xC05000000CB;
    EXPECT_EQ(message_of(ring), "f: " + std::string(16, 'y') + " ");
    strcpy(ring.message, "z");
    ring.entry.length = 11; // a number cut short
    EXPECT_EQ(message_of(ring), "f: z ");
    ring.entry.length = 0;
    EXPECT_EQ(message_of(ring), "f:  ");
}

TEST_F(trace_ring_file_test, a_file_that_is_cut_short_has_fewer_entries)
{
    const std::string bytes = forged_ring().bytes();
    std::vector<trace_ring_mark> marks;
    ASSERT_EQ(open_bytes(bytes), 0);
    ASSERT_EQ(truncate((folder.path() + "/ring").c_str(), 4096 + 143), 0);
    EXPECT_EQ(trace_ring_file_marks(file, &marks), 0);
    EXPECT_EQ(marks.size(), 0u);
    trace_ring_line line;
    EXPECT_EQ(trace_ring_file_read(file, 0, 0, &line), trace_ring_reading::lost);
    EXPECT_EQ(trace_ring_file_read(file, 0, 0xFFFFFFFF, &line), trace_ring_reading::lost);
}

TEST_F(trace_ring_file_test, entries_that_are_not_complete_are_told_apart)
{
    const struct {
        uint64_t sequence;
        trace_ring_reading of_ticket_5;
    } cases[] = {
        {0, trace_ring_reading::pending},  {11, trace_ring_reading::pending},
        {10, trace_ring_reading::pending}, {13, trace_ring_reading::lost},
        {14, trace_ring_reading::lost},    {12, trace_ring_reading::complete},
    };
    for (const auto &one : cases) {
        forged_ring ring;
        ring.entry.sequence = one.sequence;
        ASSERT_EQ(open_bytes(ring.bytes()), 0);
        trace_ring_line line;
        EXPECT_EQ(trace_ring_file_read(file, 5, 0, &line), one.of_ticket_5) << one.sequence;
    }
}

TEST_F(trace_ring_file_test, rubbish_is_survived)
{
    std::mt19937 random(1);
    for (int round = 0; round < 200; round++) {
        std::string bytes = forged_ring().bytes();
        for (int i = 0; i < 20; i++) {
            bytes[(round % 2 ? 4096 : 0) + random() % 208] = static_cast<char>(random());
        }
        std::vector<trace_ring_mark> marks;
        if (open_bytes(bytes) == 0 && trace_ring_file_marks(file, &marks) == 0) {
            for (const trace_ring_mark &mark : marks) {
                trace_ring_line line;
                EXPECT_EQ(trace_ring_file_read(file, mark.ticket, mark.place, &line),
                          trace_ring_reading::complete);
            }
        }
    }
}

TEST_F(trace_ring_file_test, only_plain_files_of_the_right_name_are_listed)
{
    const std::string good = forged_ring().bytes();
    for (const char *name : {"kelvane_trace.7.0.FORGED", "kelvane_trace.-7.0.A", "kelvane_trace.7.A",
                             "kelvane_trace.7.0.", "kelvane_trace.99999999999.0.A", "kelvane_trace.7.0.A.B",
                             "kelvane_trace.7.4294967296.A", "kelvane_trace. 7.0.A", "other"}) {
        folder.write(name, good);
    }
    std::filesystem::create_symlink("kelvane_trace.7.0.FORGED", folder.path() + "/kelvane_trace.7.1.LINK");
    std::filesystem::create_directory(folder.path() + "/kelvane_trace.7.2.FOLDER");
    ASSERT_EQ(mkfifo((folder.path() + "/kelvane_trace.7.3.FIFO").c_str(), 0600), 0);
    std::vector<trace_ring_listed> all;
    uint32_t unreadable = 0;
    ASSERT_EQ(trace_ring_list(folder.path(), &all, &unreadable), 0);
    ASSERT_EQ(all.size(), 1u);
    EXPECT_EQ(all[0].pid, 7);
    EXPECT_FALSE(all[0].alive);
    EXPECT_EQ(unreadable, 3u);
    EXPECT_EQ(trace_ring_list(folder.path() + "/missing", &all, &unreadable), ENOENT);
}

} // namespace
