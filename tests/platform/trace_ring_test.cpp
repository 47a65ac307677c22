#include "platform/trace/trace_ring.h"

#include <atomic>
#include <cerrno>
#include <thread>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/trace/trace_ring_file.h"
#include "platform/trace/trace_ring_folder.h"
#include "support/file_size_limit.h"
#include "support/temporary_folder.h"
#include "support/virtual_time.h"

namespace {

constexpr uint64_t STRING = 0xC04000000C8, STRING_NUMBER = 0xC05000000CB, TWO_STRINGS = 0x1C05000000CA;

class trace_rings : public testing::Test {
  protected:
    // The one ring that there is.
    trace_ring_listed listed() const
    {
        trace_ring_listing all;
        EXPECT_EQ(trace_ring_list(rings, geteuid(), &all), 0);
        EXPECT_EQ(all.rings.size() + all.unreadable, 1u);
        return all.rings.at(0);
    }

    // All complete entries of it, by ticket.
    std::vector<trace_ring_line> lines() const
    {
        std::vector<trace_ring_line> out;
        std::vector<trace_ring_mark> marks;
        trace_ring_file file;
        EXPECT_EQ(trace_ring_file_open(listed().path, &file) + trace_ring_file_marks(file, &marks), 0);
        for (trace_ring_line line; const trace_ring_mark &mark : marks) {
            if (trace_ring_file_read(file, mark.ticket, mark.place, &line) == trace_ring_reading::complete) {
                out.push_back(line);
            }
        }
        trace_ring_file_close(&file);
        return out;
    }

    // The first message, the last one, and how many there are.
    std::string span() const
    {
        const auto all = lines();
        return all.front().message + " " + all.back().message + " " + std::to_string(all.size());
    }

    const host_folder folder;
    const std::string rings = folder.path + "/rings";
};

void write_numbers(struct trace_ring *ring, int count)
{
    for (int number = 0; number < count; number++) {
        trace_ring_write(ring, STRING, number, 0, "write_numbers", std::to_string(number).c_str());
    }
}

TEST_F(trace_rings, keeps_every_argument_of_every_tag)
{
    virtual_time time;
    time.advance(1234);
    struct trace_ring *ring = trace_ring_create("A23456789012345678901234567890X", 9, 576);
    const std::string f(100, 'f'), m(100, 'm');
    trace_ring_write(ring, STRING, -1, 0xFF0100FF, f.c_str(), "12345678");
    trace_ring_write(ring, 0xC04000000C9, 7, 0, "two", m.c_str());
    trace_ring_write(ring, STRING_NUMBER, 7, 0, "three", "number", -5);
    trace_ring_write(ring, STRING_NUMBER, 7, 0, "four", m.c_str(), 5);
    trace_ring_write(ring, TWO_STRINGS, 7, 0, "six", m.c_str(), "123456789");
    trace_ring_write(ring, 0x77, 7, 0, "seven", "unknown");
    trace_ring_write(ring, STRING, 7, 0, nullptr, "a\nb\033[2J\xff");
    trace_ring_write(nullptr, STRING, 0, 0, "nobody", "nothing");
    if (fork() == 0) {
        trace_ring_write(ring, STRING, 0, 0, "child", "a process of its own");
        _exit(0);
    }
    wait(nullptr);
    std::string messages;
    const auto all = lines();
    for (const trace_ring_line &line : all) {
        messages += line.message + "|";
    }
    EXPECT_EQ(messages, "12345678|" + m.substr(0, 63) + "|number -5|" + m.substr(0, 55) + " 5|" +
                            m.substr(0, 55) +
                            " 1234567|(tag 0x77)|a\\x0ab\\x1b[2J\\xff|a process of its own|");
    EXPECT_EQ(all.at(0).function + all.at(6).function, f.substr(0, 87) + "(null)");
    const trace_ring_entry &first = all[0].entry;
    EXPECT_EQ(std::tuple(first.time_ns, first.slot, first.device_address, first.thread),
              std::tuple(1600000000000001234u, -1, 0xFF0100FFu, getpid()));
    EXPECT_NE(all.at(7).entry.thread, getpid());
    EXPECT_EQ(listed().header.next, 8u);
    setenv("KELVANE_TRACE_DIR", (folder.path + "/missing").c_str(), 1);
    EXPECT_EQ(trace_ring_create("A", 64, 32768), nullptr);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(trace_rings, takes_memory_only_as_it_is_written_until_there_is_no_more)
{
    limit_file_size(4096);
    EXPECT_EQ(trace_ring_create("NONE", 65536, 0x2000000), nullptr);
    EXPECT_EQ(errno, EFBIG);
    limit_file_size(4096 + 200 * 640); // three chunks and a bit
    errno = 0;
    write_numbers(trace_ring_create("FROZEN", 65536, 0x2000000), 1000);
    EXPECT_EQ(errno, 0); // a trace line leaves its caller's error alone
    limit_file_size(RLIM_INFINITY);
    EXPECT_EQ(span(), "808 999 192"); // the newest overwrite the oldest
    EXPECT_EQ(listed().header.capacity, 192u);
}

TEST_F(trace_rings, a_full_file_system_is_survived)
{
    if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("none", rings.c_str(), "tmpfs", 0, "size=256k") != 0) {
        GTEST_SKIP() << "NOT TESTED: no right to mount a small file system here";
    }
    write_numbers(trace_ring_create("FIRST", 4096, 4096 * 512), 8200);
    EXPECT_EQ(span(), "7816 8199 384"); // the capacity is frozen in the first lap and holds in the third
    umount2(rings.c_str(), MNT_DETACH);
}

TEST_F(trace_rings, many_writers_never_mix_in_one_entry)
{
    struct trace_ring *ring = trace_ring_create("STORM", 32, 32 * 256);
    std::atomic<int> writing = 3;
    std::vector<std::jthread> threads;
    for (const char letter : {'a', 'b', 'c'}) {
        threads.emplace_back([&writing, ring, letter, text = std::string(160, letter)] {
            for (uint32_t number = 0; number < 2000; number++) {
                trace_ring_write(ring, STRING, letter, number % 160, text.c_str(), &text[160 - number % 160]);
            }
            writing--;
        });
    }
    for (bool last = false; !last;) {
        last = writing == 0;
        for (const auto &[entry, function, message] : lines()) {
            const char letter = static_cast<char>(entry.slot);
            ASSERT_EQ(function, std::string(87, letter));
            ASSERT_EQ(message, std::string(entry.device_address, letter));
        }
    }
    EXPECT_EQ(listed().header.next, 6000u);
}

TEST_F(trace_rings, a_place_that_is_still_being_written_is_left_alone)
{
    struct trace_ring *ring = trace_ring_create("LATE", 4, 64);
    write_numbers(ring, 4);
    const int fd = open(listed().path.c_str(), O_RDWR);
    // As if the writer of ticket 1 had not come back yet, had come back, and had been lapped by others
    // between its ticket and its claim.
    for (const auto &[sequence, dropped, complete] :
         {std::tuple<uint64_t, uint64_t, size_t>{3, 1, 3}, {4, 1, 4}, {100, 2, 4}}) {
        ASSERT_EQ(pwrite(fd, &sequence, 8, 4096 + 1 * (128 + 16)), 8);
        write_numbers(ring, 4); // all places once more
        EXPECT_EQ(listed().header.dropped, dropped);
        EXPECT_EQ(lines().size(), complete);
    }
}

} // namespace
