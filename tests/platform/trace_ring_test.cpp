#include "platform/trace_ring.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <functional>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/trace_ring_file.h"
#include "platform/trace_ring_folder.h"
#include "support/virtual_time.h"
#include "temporary_folder.h"

namespace {

class trace_rings : public testing::Test {
  protected:
    trace_rings()
    {
        setenv("KELVANE_TRACE_DIR", folder.path().c_str(), 1);
    }
    ~trace_rings() override
    {
        unsetenv("KELVANE_TRACE_DIR");
    }

    std::vector<trace_ring_listed> list() const
    {
        std::vector<trace_ring_listed> all;
        uint32_t unreadable = 0;
        EXPECT_EQ(trace_ring_list(folder.path(), &all, &unreadable), 0);
        EXPECT_EQ(unreadable, 0u);
        return all;
    }

    // All complete entries of a ring, by ticket.
    std::vector<trace_ring_line> lines(const std::string &ring) const
    {
        std::vector<trace_ring_line> out;
        for (const trace_ring_listed &listed : list()) {
            if (listed.header.name == ring) {
                trace_ring_file file;
                EXPECT_EQ(trace_ring_file_open(listed.path, &file), 0);
                std::vector<trace_ring_mark> marks;
                EXPECT_EQ(trace_ring_file_marks(file, &marks), 0);
                for (const trace_ring_mark &mark : marks) {
                    trace_ring_line line;
                    EXPECT_EQ(trace_ring_file_read(file, mark.ticket, mark.place, &line),
                              trace_ring_reading::complete);
                    out.push_back(line);
                }
                trace_ring_file_close(&file);
            }
        }
        return out;
    }

    size_t files() const
    {
        const std::filesystem::directory_iterator entries(folder.path());
        return static_cast<size_t>(std::distance(begin(entries), end(entries)));
    }

    temporary_folder folder;
};

void write_numbers(struct trace_ring *ring, int count)
{
    for (int number = 0; number < count; number++) {
        trace_ring_write(ring, 0xC04000000C8, number, 0, "write_numbers", std::to_string(number).c_str());
    }
}

// Runs `body` in a process of its own that then waits, alive, until it is let go.
class process {
  public:
    explicit process(const std::function<void()> &body)
    {
        int ready[2], go[2];
        EXPECT_EQ(pipe(ready), 0);
        EXPECT_EQ(pipe(go), 0);
        pid = fork();
        if (pid == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            close(go[1]);
            body();
            char byte = 0;
            _exit(write(ready[1], &byte, 1) == 1 && read(go[0], &byte, 1) >= 0 ? 0 : 1);
        }
        char byte = 0;
        close(ready[1]);
        close(go[0]);
        EXPECT_EQ(read(ready[0], &byte, 1), 1);
        close(ready[0]);
        go_ = go[1];
    }
    ~process()
    {
        kill();
    }
    process(const process &) = delete;
    process &operator=(const process &) = delete;
    void kill()
    {
        if (go_ >= 0) {
            ::kill(pid, SIGKILL);
            waitpid(pid, nullptr, 0);
            close(go_);
            go_ = -1;
        }
    }
    pid_t pid;

  private:
    int go_;
};

TEST_F(trace_rings, keeps_every_argument_of_every_tag)
{
    virtual_time time;
    time.advance(1234);
    struct trace_ring *ring = trace_ring_create("TAGS", 8, 512);
    ASSERT_NE(ring, nullptr);
    const std::string longest(100, 'f');
    trace_ring_write(ring, 0xC04000000C8, -1, 0xFF0100FF, longest.c_str(), "12345678");
    trace_ring_write(ring, 0xC04000000C9, 7, 0, "two", std::string(100, 'm').c_str());
    trace_ring_write(ring, 0xC05000000CB, 7, 0, "three", "number", -5);
    trace_ring_write(ring, 0xC05000000CB, 7, 0, "four", std::string(100, 'm').c_str(), 5);
    trace_ring_write(ring, 0x1C05000000CA, 7, 0, "five", "first", "second");
    trace_ring_write(ring, 0x1C05000000CA, 7, 0, "six", std::string(100, 'm').c_str(), "123456789");
    trace_ring_write(ring, 0x77, 7, 0, "seven", "unknown");
    trace_ring_write(ring, 0xC04000000C8, 7, 0, nullptr, "a\nb\033[2J\xff");
    const auto all = lines("TAGS");
    ASSERT_EQ(all.size(), 8u);
    EXPECT_EQ(all[0].entry.time_ns, 1600000000000001234u);
    EXPECT_EQ(all[0].entry.slot, -1);
    EXPECT_EQ(all[0].entry.device_address, 0xFF0100FFu);
    EXPECT_EQ(all[0].entry.thread, getpid());
    EXPECT_EQ(all[0].function, std::string(87, 'f'));
    EXPECT_EQ(all[0].message, "12345678");
    EXPECT_EQ(all[1].message, std::string(63, 'm'));
    EXPECT_EQ(all[2].message, "number -5");
    EXPECT_EQ(all[3].message, std::string(55, 'm') + " 5");
    EXPECT_EQ(all[4].message, "first second");
    EXPECT_EQ(all[5].message, std::string(55, 'm') + " 1234567");
    EXPECT_EQ(all[6].message, "(tag 0x77)");
    EXPECT_EQ(all[7].function, "(null)");
    EXPECT_EQ(all[7].message, "a\\x0ab\\x1b[2J\\xff");
}

TEST_F(trace_rings, the_newest_entries_overwrite_the_oldest)
{
    struct trace_ring *ring = trace_ring_create("WRAP", 100, 100 * 16);
    write_numbers(ring, 250);
    const auto all = lines("WRAP");
    ASSERT_EQ(all.size(), 100u);
    EXPECT_EQ(all.front().message, "150");
    EXPECT_EQ(all.back().message, "249");
    EXPECT_EQ(list()[0].header.next, 250u);
}

TEST_F(trace_rings, refuses_what_is_no_ring)
{
    const struct {
        const char *name;
        uint32_t entries;
        uint64_t bytes;
    } cases[] = {
        {nullptr, 64, 32768}, {"", 64, 32768},
        {"../up", 64, 32768}, {"A234567890123456789012345678901X", 64, 32768},
        {"A\n", 64, 32768},   {"A", 0, 32768},
        {"A", 64, 0},         {"A", 64, 64 * 15},
        {"A", 1, 65544},      {"A", 65536, 1ull << 30},
    };
    for (const auto &one : cases) {
        EXPECT_EQ(trace_ring_create(one.name, one.entries, one.bytes), nullptr);
        EXPECT_EQ(errno, EINVAL);
    }
    EXPECT_EQ(files(), 0u);
    EXPECT_NE(trace_ring_create("A23456789012345678901234567890X", 64, 32768), nullptr);
    trace_ring_write(nullptr, 0xC04000000C8, 0, 0, "nobody", "nothing");
    setenv("KELVANE_TRACE_DIR", (folder.path() + "/missing").c_str(), 1);
    EXPECT_EQ(trace_ring_create("A", 64, 32768), nullptr);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(trace_rings, takes_memory_only_as_it_is_written)
{
    struct trace_ring *ring = trace_ring_create("KELVANE_INFO_", 65536, 0x2000000);
    struct stat status {};
    ASSERT_EQ(stat(list()[0].path.c_str(), &status), 0);
    EXPECT_EQ(status.st_size, 4096 + 64 * 640);
    write_numbers(ring, 65);
    ASSERT_EQ(stat(list()[0].path.c_str(), &status), 0);
    EXPECT_EQ(status.st_size, 4096 + 128 * 640);
    EXPECT_EQ(lines("KELVANE_INFO_").size(), 65u);
}

TEST_F(trace_rings, a_file_size_limit_freezes_the_ring_at_what_it_has)
{
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    struct trace_ring *ring = trace_ring_create("FROZEN", 65536, 0x2000000);
    rlimit limit = before;
    limit.rlim_cur = 4096 + 200 * 640; // three chunks and a bit
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    errno = 0;
    write_numbers(ring, 1000);
    EXPECT_EQ(errno, 0); // a trace line leaves its caller's error alone
    struct trace_ring *second = nullptr;
    limit.rlim_cur = 4096;
    EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    second = trace_ring_create("NONE", 65536, 0x2000000);
    const int error = errno;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);

    EXPECT_EQ(second, nullptr);
    EXPECT_EQ(error, EFBIG);
    EXPECT_EQ(files(), 1u);
    const auto all = lines("FROZEN");
    ASSERT_EQ(all.size(), 192u);
    EXPECT_EQ(all.front().message, "808");
    EXPECT_EQ(all.back().message, "999");
    EXPECT_EQ(list()[0].header.capacity, 192u);
}

TEST_F(trace_rings, a_full_file_system_is_survived)
{
    const pid_t child = fork();
    if (child == 0) { // a mount of its own needs a process of its own
        if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            mount("none", folder.path().c_str(), "tmpfs", 0, "size=256k") != 0) {
            _exit(77);
        }
        struct trace_ring *first = trace_ring_create("FIRST", 4096, 4096 * 512);
        struct trace_ring *second = trace_ring_create("SECOND", 4096, 4096 * 512);
        write_numbers(first, 8200); // the capacity is frozen in the first lap and holds in the third
        write_numbers(second, 10000);
        const auto kept_first = lines("FIRST");
        const auto kept_second = lines("SECOND");
        const bool good = second != nullptr && trace_ring_create("THIRD", 4096, 4096 * 512) == nullptr &&
                          errno == ENOSPC && files() == 2 && kept_first.size() == 320 &&
                          kept_second.size() == 64 && kept_first.front().message == "7880" &&
                          kept_second.front().message == "9936";
        umount2(folder.path().c_str(), MNT_DETACH);
        _exit(good ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    if (WIFEXITED(status) && WEXITSTATUS(status) == 77) {
        GTEST_SKIP() << "NOT TESTED: no right to mount a small file system here";
    }
    EXPECT_EQ(status, 0);
}

TEST_F(trace_rings, many_writers_never_mix_in_one_entry)
{
    constexpr int writers = 3, each = 4000;
    struct trace_ring *ring = trace_ring_create("STORM", 32, 32 * 256);
    std::vector<std::thread> threads;
    for (int writer = 0; writer < writers; writer++) {
        threads.emplace_back([ring, writer] {
            const std::string text(static_cast<size_t>(20 + 70 * writer), static_cast<char>('a' + writer));
            for (int number = 0; number < each; number++) {
                trace_ring_write(ring, 0xC04000000C8, writer, static_cast<uint32_t>(writer), text.c_str(),
                                 text.c_str());
            }
        });
    }
    std::atomic<bool> stop = false;
    uint64_t seen = 0;
    const auto check = [&](const trace_ring_file &file) {
        std::vector<trace_ring_mark> marks;
        EXPECT_EQ(trace_ring_file_marks(file, &marks), 0);
        for (const trace_ring_mark &mark : marks) {
            trace_ring_line line;
            if (trace_ring_file_read(file, mark.ticket, mark.place, &line) == trace_ring_reading::complete) {
                const int writer = line.entry.slot;
                ASSERT_TRUE(writer >= 0 && writer < writers);
                const std::string text(static_cast<size_t>(20 + 70 * writer),
                                       static_cast<char>('a' + writer));
                ASSERT_EQ(line.message, text);
                ASSERT_EQ(line.function, text.substr(0, 87));
                ASSERT_EQ(line.entry.device_address, static_cast<uint32_t>(writer));
                ASSERT_EQ(mark.ticket % 32, mark.place);
                seen++;
            }
        }
    };
    trace_ring_file file;
    ASSERT_EQ(trace_ring_file_open(list()[0].path, &file), 0);
    std::thread reader([&] {
        while (!stop) {
            check(file);
        }
    });
    for (std::thread &thread : threads) {
        thread.join();
    }
    stop = true;
    reader.join();
    check(file);
    ASSERT_EQ(trace_ring_file_read_header(file.fd, &file.header), 0);
    EXPECT_EQ(file.header.next, 12000u);
    EXPECT_GE(seen, 1u);
    trace_ring_file_close(&file);
}

TEST_F(trace_rings, a_place_that_is_still_being_written_is_left_alone)
{
    struct trace_ring *ring = trace_ring_create("LATE", 4, 64);
    write_numbers(ring, 4);
    const int fd = open(list()[0].path.c_str(), O_RDWR);
    const uint64_t writing = 3; // as if the writer of ticket 1 had not come back yet
    ASSERT_EQ(pwrite(fd, &writing, sizeof writing, 4096 + 1 * (128 + 16)), 8);
    write_numbers(ring, 4);
    EXPECT_EQ(list()[0].header.dropped, 1u);
    EXPECT_EQ(lines("LATE").size(), 3u);
    const uint64_t complete = 4;
    ASSERT_EQ(pwrite(fd, &complete, sizeof complete, 4096 + 1 * (128 + 16)), 8);
    write_numbers(ring, 4);
    EXPECT_EQ(list()[0].header.dropped, 1u);
    const uint64_t newer = 100; // as if others had lapped a writer between its ticket and its claim
    ASSERT_EQ(pwrite(fd, &newer, sizeof newer, 4096 + 1 * (128 + 16)), 8);
    write_numbers(ring, 4);
    EXPECT_EQ(list()[0].header.dropped, 2u);
    close(fd);
}

TEST_F(trace_rings, a_killed_process_leaves_its_rings_readable)
{
    process writer([] { write_numbers(trace_ring_create("CRASH", 100, 100 * 512), 1000); });
    ASSERT_EQ(list().size(), 1u);
    EXPECT_TRUE(list()[0].alive);
    EXPECT_EQ(trace_ring_remove(folder.path(), writer.pid), EBUSY);
    writer.kill();
    ASSERT_EQ(list().size(), 1u);
    EXPECT_FALSE(list()[0].alive);
    EXPECT_EQ(list()[0].pid, writer.pid);
    const auto all = lines("CRASH");
    ASSERT_EQ(all.size(), 100u);
    EXPECT_EQ(all.back().message, "999");
    EXPECT_EQ(all.back().entry.thread, writer.pid);
    EXPECT_EQ(trace_ring_remove(folder.path(), writer.pid + 1), ESRCH);
    EXPECT_EQ(trace_ring_remove(folder.path(), writer.pid), 0);
    EXPECT_EQ(files(), 0u);
}

TEST_F(trace_rings, a_start_keeps_the_living_and_the_one_that_wrote_last)
{
    const auto make_rings = [] {
        for (const char *name : {"ONE", "TWO"}) {
            write_numbers(trace_ring_create(name, 64, 32768), 1);
        }
    };
    const std::string unborn = folder.path() + "/kelvane_trace.1.0.UNBORN";
    const std::string leftover = folder.path() + "/kelvane_trace.1.1.LEFT";
    const std::string foreign = folder.path() + "/kelvane_trace.note";
    for (const std::string &file : {unborn, leftover, foreign}) {
        std::ofstream(file) << "";
    }
    const timespec long_ago[2] = {{1000000000, 0}, {1000000000, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, leftover.c_str(), long_ago, 0), 0);

    process living(make_rings), first(make_rings), second(make_rings);
    EXPECT_FALSE(std::filesystem::exists(leftover));
    first.kill();
    second.kill();
    process third(make_rings); // the first is gone now, the second stays to be read
    std::vector<pid_t> pids;
    std::vector<trace_ring_listed> all;
    uint32_t unreadable = 0;
    ASSERT_EQ(trace_ring_list(folder.path(), &all, &unreadable), 0);
    for (const trace_ring_listed &listed : all) {
        pids.push_back(listed.pid);
    }
    EXPECT_EQ(pids,
              (std::vector<pid_t>{third.pid, third.pid, second.pid, second.pid, living.pid, living.pid}));
    EXPECT_EQ(unreadable, 1u);
    EXPECT_TRUE(std::filesystem::exists(unborn)); // its owner may be about to lock it
    EXPECT_TRUE(std::filesystem::exists(foreign));
}

} // namespace
