// A card in the test's own process: one end of a socket, two memories, and the reader's half of the queue.
#include <atomic>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/simulated_uio_queue.h"
#include "platform/uio.h"

namespace {

using write = std::pair<uint32_t, uint32_t>; // offset, value
using writes = std::vector<write>;

constexpr uint32_t BAR_BYTES = 0x10000, CONTROL_BYTES = sizeof(simulated_uio_control);
constexpr simulated_uio_greeting GREETING = {0x4B53494D, 1, BAR_BYTES, CONTROL_BYTES};

int memory(uint32_t bytes, int seals)
{
    const int fd = memfd_create("fake_card", MFD_CLOEXEC | MFD_ALLOW_SEALING);
    EXPECT_EQ(ftruncate(fd, bytes) | fcntl(fd, F_ADD_SEALS, seals), 0);
    return fd;
}

class simulated_uio : public testing::Test {
  protected:
    simulated_uio()
    {
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends), 0);
        *control = {0x4B53494D, 1, BAR_BYTES, 0, 0, 0, 0x24, 2, {0x24, 0x8000, 0x26}, {}, 0, {}};
        simulated_uio_reader_init(&reader, control);
        EXPECT_EQ(map(GREETING, {a, b}), 0);
    }

    // What the host says to a greeting.
    int map(simulated_uio_greeting greeting, const std::vector<int> &descriptors, size_t bytes = 16)
    {
        alignas(cmsghdr) char space[CMSG_SPACE(16 * sizeof(int))] = {};
        const size_t length = descriptors.size() * sizeof(int);
        iovec vector{&greeting, bytes};
        const msghdr message{nullptr, 0, &vector, 1, space, length > 0 ? CMSG_SPACE(length) : 0, 0};
        *static_cast<cmsghdr *>(static_cast<void *>(space)) = {CMSG_LEN(length), SOL_SOCKET, SCM_RIGHTS};
        std::copy(descriptors.begin(), descriptors.end(), reinterpret_cast<int *>(space + CMSG_LEN(0)));
        EXPECT_EQ(sendmsg(card, &message, MSG_NOSIGNAL), static_cast<ssize_t>(bytes));
        return uio_map(host, BAR_BYTES, &mapping);
    }

    template <typename type> static type *shared(int fd, uint32_t bytes)
    {
        return static_cast<type *>(mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0));
    }

    void put(uint32_t offset, uint32_t value) const
    {
        mmio_write32(&mapping, offset, value);
    }

    writes posted(uint64_t now_ns = 0, size_t most = SIZE_MAX)
    {
        writes all;
        for (write one; all.size() < most && simulated_uio_pop(&reader, now_ns, &one.first, &one.second);) {
            all.push_back(one);
        }
        return all;
    }

    // The queue is full, and another thread has drawn a ticket for one write more.
    std::thread put_in_vain(uint32_t value)
    {
        for (uint32_t i = 0; i < 1024; i++) {
            put(0x8000, i);
        }
        std::thread writer([this, value] { put(0x8000, value); });
        while (__atomic_load_n(&control->tail, __ATOMIC_RELAXED) < reader.head + 1025) {
            std::this_thread::yield();
        }
        return writer;
    }

    const int a = memory(BAR_BYTES, F_SEAL_SHRINK | F_SEAL_GROW), b = memory(CONTROL_BYTES, F_SEAL_SHRINK);
    uint32_t *const bar = shared<uint32_t>(a, BAR_BYTES);
    simulated_uio_control *const control = shared<simulated_uio_control>(b, CONTROL_BYTES);
    int ends[2] = {}, &card = ends[0], &host = ends[1];
    simulated_uio_reader reader{};
    mmio_mapping mapping{};
};

TEST_F(simulated_uio, a_full_queue_holds_its_writer_and_a_card_that_is_gone_lets_go_of_it)
{
    std::thread writer = put_in_vain(5);
    EXPECT_EQ(posted(0, 1), (writes{{0x8000, 0}}));
    writer.join();
    EXPECT_EQ(posted(0, 1023).back(), (write{0x8000, 1023}));
    EXPECT_EQ(posted(), (writes{{0x8000, 5}}));
    for (const bool dead : {false, true}) {
        writer = put_in_vain(6);
        if (dead) {
            shutdown(card, SHUT_RDWR); // as when its process dies
        } else {
            __atomic_store_n(&control->removed, 1, __ATOMIC_RELAXED);
        }
        writer.join();
        while (mmio_read32(&mapping, 16) != 0xFFFFFFFF) {
            std::this_thread::yield();
        }
        for (const uint32_t offset : {16, 0x24, 0x8000}) {
            bar[offset / 4] = 1;
            put(offset, 3);
            EXPECT_EQ(bar[offset / 4], 1u);
        }
        EXPECT_EQ(posted().size(), 1024u);
        control->tail = reader.head; // the ticket of the write that was let go is drawn again
        __atomic_store_n(&control->removed, 0, __ATOMIC_RELAXED);
    }
}

TEST_F(simulated_uio, dead_writers_are_given_up_after_one_span_of_patience)
{
    control->tail = 3; // three tickets whose writers died
    put(0x8000, 7);
    EXPECT_EQ(posted(1000), writes{});
    EXPECT_EQ(posted(20000999), writes{});
    EXPECT_EQ(posted(20001000), (writes{{0x8000, 7}}));
    control->tail = 0; // as if a writer drew a ticket long ago and comes only now: it draws others
    put(0x24, 9);
    EXPECT_EQ(control->tail, 5u);
    EXPECT_EQ(posted(), (writes{{0x24, 9}}));
}

TEST_F(simulated_uio, the_end_of_the_lap_count_and_words_of_rubbish_are_survived)
{
    reader.head = control->tail = (uint64_t{1} << 34) - 2;          // the last but one ticket of lap 2^24 - 1
    control->slot[1022] = control->slot[1023] = 0xFFFFFF0000000000; // the others: lap 0 of the next round
    for (const uint32_t value : {1, 2, 3}) {
        put(0x8000, value);
    }
    control->slot[1] = 0x0000000300000007; // index 2 of 2
    control->slot[2] = 0x0000050100000007; // lap 5
    control->tail += 2;
    put(0x8000, 8);
    EXPECT_EQ(posted(), (writes{{0x8000, 1}, {0x8000, 2}, {0x8000, 3}, {0x8000, 8}}));
    control->posted_count = 0xFFFFFFFF; // it has no more than 64
    control->slot[4] = 0x0000004100000007;
    control->slot[5] = 0x0000004000000007;
    control->tail += 2;
    EXPECT_EQ(posted(), (writes{{0, 7}}));
}

// Each writer waits now and then until its word is taken, so that the card falls asleep often and every
// lost wake-up would hang the test.
TEST_F(simulated_uio, nothing_is_lost_between_many_writers_and_a_sleeping_card)
{
    put(0x8000, 1);
    simulated_uio_sleep(&reader, UINT64_MAX); // would never return
    EXPECT_EQ(posted().size(), 1u);
    simulated_uio_wake(control);
    simulated_uio_sleep(&reader, UINT64_MAX);
    std::atomic<uint32_t> next[4] = {};
    std::vector<std::jthread> threads;
    for (uint32_t writer = 0; writer < 4; writer++) {
        threads.emplace_back([&, writer] {
            for (uint32_t number = 0; number < 2000; number++) {
                put(0x8000, writer << 16 | number);
                while (number % 64 == 0 && next[writer] <= number) {
                    std::this_thread::yield();
                }
            }
        });
    }
    size_t taken = 0;
    for (writes some; taken < 8000; taken += some.size()) {
        some = posted(); // no clock: no ticket is given up
        for (const auto &[offset, value] : some) {
            ASSERT_EQ(value & 0xFFFF, next[value >> 16 & 3]++);
        }
        if (some.empty()) {
            simulated_uio_sleep(&reader, UINT64_MAX);
        }
    }
}

TEST_F(simulated_uio, forged_greetings_and_control_pages_are_refused_and_leave_nothing_behind)
{
    const int open_one = memory(BAR_BYTES, 0), small = memory(4096, F_SEAL_SHRINK),
              closed = memory(BAR_BYTES, F_SEAL_SHRINK | F_SEAL_WRITE);
    const auto open_files = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    };
    const auto mappings = [] {
        std::ifstream maps("/proc/self/maps"); // behind the name of each memory: (deleted)
        return std::count(std::istreambuf_iterator<char>(maps), {}, '(');
    };
    const auto before = open_files(), mapped = mappings();
    simulated_uio_greeting greeting = GREETING;
    // Of the greeting: magic, version, bytes; of the page, from 10 on, these and count and offsets of
    // registers.
    const std::pair<uint32_t, uint32_t> WORDS[] = {
        {0, 1},  {1, 2},  {2, 0},        {2, 0xFFFF}, {2, 0x40000004}, {2, 0x10004},  {3, 8519},
        {10, 0}, {11, 2}, {12, 0x10004}, {17, 65},    {18, 0x26},      {19, 0x10000}, {19, 0xFFFFFFFC}};
    for (const auto &[index, value] : WORDS) {
        uint32_t *const word = index < 10 ? &greeting.magic + index : &control->magic + index - 10;
        const uint32_t right = std::exchange(*word, value);
        EXPECT_EQ(map(greeting, {a, b}), EPROTO) << index << " " << value;
        *word = right;
    }
    EXPECT_EQ(map({0x4B53494D, 1, BAR_BYTES - 4, CONTROL_BYTES}, {a, b}), EINVAL); // less than asked
    EXPECT_EQ(map(GREETING, {a, b}, 15), EPROTO);
    EXPECT_EQ(map(GREETING, {closed, b}), EPERM); // cannot be written
    const std::vector<int> DESCRIPTORS[] = {
        {}, {a}, {a, b, a}, {a, a, a, a, a, a, a, a, a}, {open_one, b}, {small, b}, {a, small}, {host, b}};
    for (const auto &descriptors : DESCRIPTORS) {
        EXPECT_EQ(map(GREETING, descriptors), EPROTO) << descriptors.size();
    }
    EXPECT_EQ(mappings(), mapped);
    control->clear_on_one_offset = 0xFFFFFFFF; // none
    control->posted_offset[2] = 0;
    control->posted_count = 64;
    EXPECT_EQ(map(GREETING, {a, b}), 0);
    EXPECT_EQ(open_files(), before + 1);                      // the watcher's
    for (const std::string packet : {"7777", "9999", "xx"}) { // counts of interrupts, the last one is rubbish
        EXPECT_EQ(send(card, packet.data(), packet.size(), 0), static_cast<ssize_t>(packet.size()));
    }
    close(card);
    uint32_t count = 0;
    EXPECT_EQ(uio_wait_interrupt(host, &mapping, &count), 4);
    EXPECT_EQ(count, 0x39393939u);                         // the newest
    EXPECT_EQ(uio_map(host, BAR_BYTES, &mapping), EPROTO); // no greeting
    EXPECT_EQ(uio_wait_interrupt(host, &mapping, &count), 0);
}

} // namespace
