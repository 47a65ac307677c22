// A card in the test's own process: a socket in a made-up tree, two memories, and the reader's half of the
// queue.
#include <atomic>
#include <cerrno>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/host_tree.h"
#include "platform/simulated_uio_queue.h"
#include "platform/uio.h"
#include "support/temporary_folder.h"

namespace {

namespace fs = std::filesystem;

using write = std::pair<uint32_t, uint32_t>; // offset, value
using writes = std::vector<write>;

constexpr uint32_t BAR_BYTES = 0x10000;

auto open_descriptors()
{
    return std::distance(fs::directory_iterator("/proc/self/fd"), {});
}

struct memory {
    memory(size_t bytes, int seals) : fd(memfd_create("fake_card", MFD_CLOEXEC | MFD_ALLOW_SEALING))
    {
        EXPECT_EQ(ftruncate(fd, static_cast<off_t>(bytes)) | fcntl(fd, F_ADD_SEALS, seals), 0);
        at = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    }
    int fd;
    void *at;
};

class simulated_uio : public testing::Test {
  protected:
    simulated_uio()
    {
        *control = {0x4B53494D, 1, BAR_BYTES, 0, 0, 0, 0x24, 2, {0x24, 0x8000, 0x26}, {}, 0, {}};
        simulated_uio_reader_init(&reader, control);
        tree.write("dev/empty", "");
        sockaddr_un address{AF_UNIX, {}};
        strcpy(address.sun_path, (tree.path + "/dev/uio0").c_str());
        EXPECT_EQ(bind(listening, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
        EXPECT_EQ(listen(listening, 1), 0);
    }

    // The host opens the node, the card takes the connection.
    void connect(const std::string &root)
    {
        setenv("KELVANE_HOST_ROOT", root.c_str(), 1);
        host_tree_forget();
        host = uio_open("/dev/uio0");
        card = accept(listening, nullptr, nullptr);
    }

    // What the host says to a greeting.
    int map(simulated_uio_greeting greeting, std::vector<int> descriptors, size_t bytes = 16)
    {
        alignas(cmsghdr) char space[CMSG_SPACE(16 * sizeof(int))] = {};
        const size_t length = descriptors.size() * sizeof(int);
        iovec vector{&greeting, bytes};
        const msghdr message{nullptr, 0, &vector, 1, space, length > 0 ? CMSG_SPACE(length) : 0, 0};
        *static_cast<cmsghdr *>(static_cast<void *>(space)) = {CMSG_LEN(length), SOL_SOCKET, SCM_RIGHTS};
        std::copy_n(descriptors.data(), descriptors.size(), reinterpret_cast<int *>(space + CMSG_LEN(0)));
        EXPECT_EQ(sendmsg(card, &message, MSG_NOSIGNAL), static_cast<ssize_t>(bytes));
        return uio_map(host, BAR_BYTES, &mapping);
    }

    void map_card()
    {
        connect(tree.path);
        ASSERT_EQ(map(GREETING, {bar_memory.fd, control_memory.fd}), 0);
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

    static constexpr uint32_t CONTROL_BYTES = sizeof(simulated_uio_control);
    static constexpr simulated_uio_greeting GREETING = {0x4B53494D, 1, BAR_BYTES, CONTROL_BYTES};

    const temporary_folder tree;
    const memory bar_memory{BAR_BYTES, F_SEAL_SHRINK | F_SEAL_GROW},
        control_memory{CONTROL_BYTES, F_SEAL_SHRINK};
    uint32_t *const bar = static_cast<uint32_t *>(bar_memory.at);
    simulated_uio_control *const control = static_cast<simulated_uio_control *>(control_memory.at);
    const int listening = socket(AF_UNIX, SOCK_SEQPACKET, 0);
    int card = -1, host = -1;
    simulated_uio_reader reader{};
    mmio_mapping mapping{};
};

TEST_F(simulated_uio, both_sides_see_one_memory_and_posted_writes_arrive_in_order)
{
    const auto before = open_descriptors();
    map_card();
    EXPECT_EQ(open_descriptors(), before + 3); // two ends, and the watcher's
    bar[2] = 9;
    bar[9] = 0b1111; // where a 1 clears its bit
    const writes ALL = {{0xFFFC, 1}, {0x8000, 4}, {0x8000, 4}, {0x8004, 5}, {0x24, 0b0101}, {0x24, 0}};
    for (const auto &[offset, value] : ALL) {
        put(offset, value);
    }
    EXPECT_EQ((std::vector{bar[2], bar[0x3FFF], bar[0x2000], bar[0x2001], bar[9]}),
              (std::vector<uint32_t>{9, 1, 4, 5, 0b1010}));
    EXPECT_EQ(mmio_read32(&mapping, 8), 9u);
    EXPECT_EQ(mmio_read32(&mapping, BAR_BYTES), 0xFFFFFFFFu);
    EXPECT_EQ(posted(),
              (writes{{0x8000, 4}, {0x8000, 4}, {0x24, 0b0101}, {0x24, 0}})); // of 0x8000's page only it
    uint32_t count = 0;
    for (const uint32_t sent : {7u, 9u}) {
        EXPECT_EQ(send(card, &sent, sizeof sent, 0), 4);
    }
    EXPECT_EQ(send(card, "xx", 2, 0), 2); // rubbish behind them changes nothing
    EXPECT_EQ(uio_wait_interrupt(host, &count), 4);
    EXPECT_EQ(count, 9u); // the newest
}

TEST_F(simulated_uio, a_full_queue_holds_its_writer_and_a_card_that_is_gone_lets_go_of_it)
{
    map_card();
    std::thread writer = put_in_vain(5);
    EXPECT_EQ(posted(0, 1), (writes{{0x8000, 0}}));
    writer.join();
    EXPECT_EQ(posted(0, 1023).back(), (write{0x8000, 1023}));
    EXPECT_EQ(posted(), (writes{{0x8000, 5}}));
    for (const bool dead : {false, true}) {
        writer = put_in_vain(6);
        if (dead) {
            EXPECT_EQ(send(card, "\3\0\0", 4, 0), 4);
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
    uint32_t last = 0; // the watcher left the packets alone
    EXPECT_EQ(uio_wait_interrupt(host, &last), 4);
    EXPECT_EQ(last, 3u);
    EXPECT_LE(uio_wait_interrupt(host, &last), 0);
}

TEST_F(simulated_uio, dead_writers_are_given_up_after_one_span_of_patience)
{
    map_card();
    control->tail = 3; // three tickets whose writers died
    put(0x8000, 7);
    EXPECT_EQ(posted(1000), writes{});
    EXPECT_EQ(posted(20000999), writes{});
    EXPECT_EQ(posted(20001000), (writes{{0x8000, 7}}));
    control->tail++; // one that dies later has a span of its own
    EXPECT_EQ(posted(30000000), writes{});
    put(0x8000, 8);
    EXPECT_EQ(posted(49999999), writes{});
    EXPECT_EQ(posted(50000000), (writes{{0x8000, 8}}));
    control->tail = 4; // as if a writer drew a ticket long ago and comes only now: it draws others
    put(0x24, 9);
    EXPECT_EQ(control->tail, 7u);
    EXPECT_EQ(posted(50000000), (writes{{0x24, 9}}));
}

TEST_F(simulated_uio, the_end_of_the_lap_count_and_words_of_rubbish_are_survived)
{
    map_card();
    reader.head = control->tail = (uint64_t{1} << 34) - 2;          // the last but one ticket of lap 2^24 - 1
    control->slot[1022] = control->slot[1023] = 0xFFFFFF0000000000; // the others: lap 0 of the next round
    for (const uint32_t value : {1, 2, 3}) {
        put(0x8000, value);
    }
    EXPECT_EQ(posted(), (writes{{0x8000, 1}, {0x8000, 2}, {0x8000, 3}}));
    control->slot[1] = 0x0000000300000007; // index 2 of 2
    control->slot[2] = 0x0000050100000007; // lap 5
    control->tail += 2;
    put(0x8000, 8);
    EXPECT_EQ(posted(), (writes{{0x8000, 8}}));
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
    map_card();
    put(0x8000, 1);
    simulated_uio_sleep(&reader, UINT64_MAX); // would never return
    EXPECT_EQ(posted().size(), 1u);
    simulated_uio_wake(control);
    simulated_uio_sleep(&reader, UINT64_MAX);
    EXPECT_EQ(control->asleep, 0u);
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
    for (size_t taken = 0; taken < 8000;) {
        const writes some = posted(); // no clock: no ticket is given up
        for (const auto &[offset, value] : some) {
            ASSERT_EQ(value & 0xFFFF, next[value >> 16 & 3]++);
        }
        taken += some.size();
        if (some.empty()) {
            simulated_uio_sleep(&reader, UINT64_MAX);
        }
    }
}

TEST_F(simulated_uio, forged_greetings_and_control_pages_are_refused_and_leave_nothing_behind)
{
    connect(tree.path);
    const memory open_one(BAR_BYTES, 0), small(4096, F_SEAL_SHRINK),
        page(BAR_BYTES, F_SEAL_SHRINK | F_SEAL_WRITE);
    const int file = open(tree.path.c_str(), O_RDWR | O_TMPFILE, 0600);
    const int a = bar_memory.fd, b = control_memory.fd;
    ASSERT_EQ(ftruncate(file, BAR_BYTES), 0);
    const auto before = open_descriptors();
    const auto expect = [&](int error, int got, size_t which) {
        EXPECT_EQ(got, error) << which;
        EXPECT_EQ(open_descriptors(), before) << which;
    };
    const std::tuple<uint32_t, uint32_t, uint32_t, uint32_t> GREETINGS[] = {
        {1, 0, 0, 0},          {0, 1, 0, 0}, {0, 0, -BAR_BYTES, 0}, {0, 0, -1, 0},
        {0, 0, 0x3FFF0004, 0}, {0, 0, 4, 0}, {0, 0, 0, -1}}; // off by
    for (const auto &[magic, version, bytes, page_bytes] : GREETINGS) {
        expect(EPROTO,
               map({0x4B53494D + magic, 1 + version, BAR_BYTES + bytes, CONTROL_BYTES + page_bytes}, {a, b}),
               bytes);
    }
    expect(EINVAL, map({0x4B53494D, 1, BAR_BYTES - 4, CONTROL_BYTES}, {a, b}), 4); // less than asked
    expect(EPROTO, map(GREETING, {a, b}, 15), 15);
    expect(EPERM, map(GREETING, {page.fd, b}), 0); // cannot be written
    const std::vector<int> DESCRIPTORS[] = {
        {},       {a}, {a, b, a}, {a, a, a, a, a, a, a, a, a}, {open_one.fd, b}, {small.fd, b}, {a, small.fd},
        {file, b}};
    for (const auto &descriptors : DESCRIPTORS) {
        expect(EPROTO, map(GREETING, descriptors), descriptors.size());
    }
    uint32_t *const posts = control->posted_offset;
    const std::pair<uint32_t *, uint32_t> WORDS[] = {
        {&control->magic, 0},           {&control->version, 2},       {posts, 0x26},
        {&control->bar_bytes, 0x10004}, {&control->posted_count, 65}, {posts + 1, 0x10000},
        {posts + 1, 0xFFFFFFFC}};
    for (const auto &[word, value] : WORDS) {
        const uint32_t right = std::exchange(*word, value);
        expect(EPROTO, map(GREETING, {a, b}), value);
        *word = right;
    }
    control->clear_on_one_offset = 0xFFFFFFFF; // none
    posts[2] = 0;
    control->posted_count = 64;
    EXPECT_EQ(map(GREETING, {a, b}), 0);
}

TEST_F(simulated_uio, a_socket_is_reached_deep_in_the_tree_and_only_in_a_tree)
{
    const std::string deep = tree.path + "/" + std::string(120, 'd');
    fs::create_directories(deep);
    fs::rename(tree.path + "/dev", deep + "/dev");
    const auto before = open_descriptors();
    connect(deep);
    EXPECT_EQ(open_descriptors(), before + 2);
    close(card);
    EXPECT_EQ(uio_map(host, BAR_BYTES, &mapping), EPROTO); // it hung up instead of greeting
    setenv("KELVANE_HOST_ROOT", "", 1);
    host_tree_forget();
    EXPECT_EQ(uio_open((deep + "/dev/uio0").c_str()), -1);
    EXPECT_EQ(errno, ENXIO);
}

} // namespace
