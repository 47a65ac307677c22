// A card in the test's own process: a socket in a made-up tree, two memories, and the reader's half of
// the queue.
#include <cerrno>
#include <functional>
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
#include "temporary_folder.h"

namespace {

constexpr uint32_t BAR_BYTES = 0x10000;

size_t open_descriptors()
{
    size_t count = 0;
    for ([[maybe_unused]] const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        count++;
    }
    return count;
}

int make_memory(size_t bytes, int seals)
{
    const int fd = memfd_create("fake_card", MFD_CLOEXEC | MFD_ALLOW_SEALING);
    EXPECT_EQ(ftruncate(fd, static_cast<off_t>(bytes)), 0);
    EXPECT_EQ(fcntl(fd, F_ADD_SEALS, seals), 0);
    return fd;
}

class simulated_uio_client : public testing::Test {
  protected:
    simulated_uio_client()
    {
        set_root(tree.path());
        std::filesystem::create_directories(tree.path() + "/dev");
        remake_memories();
    }
    ~simulated_uio_client() override
    {
        for (const int fd : {listening, card, host, bar_fd, control_fd}) {
            if (fd >= 0) {
                close(fd);
            }
        }
        munmap(control, sizeof *control);
        munmap(bar, BAR_BYTES);
        unsetenv("KELVANE_HOST_ROOT");
        host_tree_forget();
    }

    static void set_root(const std::string &root)
    {
        setenv("KELVANE_HOST_ROOT", root.c_str(), 1);
        host_tree_forget();
    }

    void remake_memories()
    {
        bar_fd = make_memory(BAR_BYTES, F_SEAL_SHRINK | F_SEAL_GROW);
        control_fd = make_memory(sizeof(simulated_uio_control), F_SEAL_SHRINK);
        bar =
            static_cast<uint32_t *>(mmap(nullptr, BAR_BYTES, PROT_READ | PROT_WRITE, MAP_SHARED, bar_fd, 0));
        control = static_cast<simulated_uio_control *>(
            mmap(nullptr, sizeof *control, PROT_READ | PROT_WRITE, MAP_SHARED, control_fd, 0));
        control->magic = 0x4B53494D;
        control->version = 1;
        control->bar_bytes = BAR_BYTES;
        control->clear_on_one_offset = 0x24;
        control->posted_count = 2;
        control->posted_offset[0] = 0x24;
        control->posted_offset[1] = 0x8000;
        simulated_uio_reader_init(&reader, control);
    }

    // The host opens the node, the card takes the connection.
    void connect_host()
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        snprintf(address.sun_path, sizeof address.sun_path, "%s/dev/uio0", tree.path().c_str());
        listening = socket(AF_UNIX, SOCK_SEQPACKET, 0);
        ASSERT_EQ(bind(listening, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
        ASSERT_EQ(listen(listening, 4), 0);
        reconnect_host();
    }

    void reconnect_host()
    {
        host = uio_open("/dev/uio0");
        ASSERT_GE(host, 0);
        card = accept(listening, nullptr, nullptr);
        ASSERT_GE(card, 0);
    }

    void send_greeting(const void *text, size_t bytes, std::vector<int> descriptors) const
    {
        alignas(cmsghdr) char space[CMSG_SPACE(16 * sizeof(int))] = {};
        iovec vector{const_cast<void *>(text), bytes};
        msghdr message{};
        message.msg_iov = &vector;
        message.msg_iovlen = 1;
        const size_t length = descriptors.size() * sizeof(int);
        if (length > 0) {
            message.msg_control = space;
            message.msg_controllen = CMSG_SPACE(length);
            cmsghdr *part = CMSG_FIRSTHDR(&message);
            part->cmsg_level = SOL_SOCKET;
            part->cmsg_type = SCM_RIGHTS;
            part->cmsg_len = CMSG_LEN(length);
            memcpy(CMSG_DATA(part), descriptors.data(), length);
        }
        ASSERT_EQ(sendmsg(card, &message, MSG_NOSIGNAL), static_cast<ssize_t>(bytes));
    }

    void map_card()
    {
        connect_host();
        const simulated_uio_greeting greeting = {0x4B53494D, 1, BAR_BYTES, sizeof *control};
        send_greeting(&greeting, sizeof greeting, {bar_fd, control_fd});
        ASSERT_EQ(uio_map(host, BAR_BYTES, &mapping), 0);
    }

    std::vector<std::pair<uint32_t, uint32_t>> posted()
    {
        std::vector<std::pair<uint32_t, uint32_t>> all;
        std::pair<uint32_t, uint32_t> one;
        while (simulated_uio_pop(&reader, 0, &one.first, &one.second)) {
            all.push_back(one);
        }
        return all;
    }

    temporary_folder tree;
    int listening = -1, card = -1, host = -1, bar_fd = -1, control_fd = -1;
    uint32_t *bar = nullptr;
    simulated_uio_control *control = nullptr;
    simulated_uio_reader reader{};
    mmio_mapping mapping{};
};

TEST_F(simulated_uio_client, both_sides_see_one_memory)
{
    const size_t before = open_descriptors();
    map_card();
    EXPECT_EQ(open_descriptors(), before + 4); // two ends, the listening one, the watcher's
    mmio_write32(&mapping, 0xFFFC, 0x12345678);
    EXPECT_EQ(bar[0x3FFF], 0x12345678u);
    bar[2] = 9;
    EXPECT_EQ(mmio_read32(&mapping, 8), 9u);
    EXPECT_EQ(mmio_read32(&mapping, BAR_BYTES), 0xFFFFFFFFu);
    EXPECT_TRUE(posted().empty());
}

TEST_F(simulated_uio_client, posted_writes_arrive_in_order_and_after_their_store)
{
    map_card();
    mmio_write32(&mapping, 0x8000, 4);
    mmio_write32(&mapping, 0x8000, 4);
    mmio_write32(&mapping, 0x8004, 5); // same page, not posted
    mmio_write32(&mapping, 0x24, 1);
    mmio_write32(&mapping, 0x8000, 2);
    EXPECT_EQ(bar[0x2000], 2u);
    EXPECT_EQ(bar[0x2001], 5u);
    EXPECT_EQ(posted(),
              (std::vector<std::pair<uint32_t, uint32_t>>{{0x8000, 4}, {0x8000, 4}, {0x24, 1}, {0x8000, 2}}));
}

TEST_F(simulated_uio_client, a_one_clears_its_bit_in_the_status_register)
{
    map_card();
    bar[9] = 0b1111;
    mmio_write32(&mapping, 0x24, 0b0101);
    EXPECT_EQ(bar[9], 0b1010u);
    mmio_write32(&mapping, 0x24, 0);
    EXPECT_EQ(mmio_read32(&mapping, 0x24), 0b1010u);
}

TEST_F(simulated_uio_client, a_removed_card_reads_all_ones_until_it_is_back)
{
    map_card();
    bar[4] = 1;
    __atomic_store_n(&control->removed, 1, __ATOMIC_RELAXED);
    EXPECT_EQ(mmio_read32(&mapping, 16), 0xFFFFFFFFu);
    mmio_write32(&mapping, 16, 2);
    mmio_write32(&mapping, 0x24, 1);
    mmio_write32(&mapping, 0x8000, 2);
    __atomic_store_n(&control->removed, 0, __ATOMIC_RELAXED);
    EXPECT_EQ(mmio_read32(&mapping, 16), 1u);
    EXPECT_TRUE(posted().empty());
}

// No limit here: if the hang-up went unseen, the test would run into the limit of the test driver.
TEST_F(simulated_uio_client, a_card_whose_process_died_reads_all_ones_and_frees_its_writers)
{
    map_card();
    const uint32_t count = 3;
    ASSERT_EQ(send(card, &count, sizeof count, 0), 4);
    for (int i = 0; i < 1024; i++) {
        mmio_write32(&mapping, 0x8000, 2);
    }
    std::thread writer([&] { mmio_write32(&mapping, 0x8000, 4); });
    while (__atomic_load_n(&control->tail, __ATOMIC_RELAXED) < 1025) {
        std::this_thread::yield();
    }
    close(card);
    card = -1;
    writer.join();
    while (mmio_read32(&mapping, 16) != 0xFFFFFFFF) {
        std::this_thread::yield();
    }
    mmio_write32(&mapping, 16, 1);
    EXPECT_EQ(bar[4], 0u);

    uint32_t last = 0; // the watcher left the packets alone
    EXPECT_EQ(uio_wait_interrupt(host, &last), 4);
    EXPECT_EQ(last, 3u);
    EXPECT_LE(uio_wait_interrupt(host, &last), 0);
}

TEST_F(simulated_uio_client, the_newest_interrupt_count_wins)
{
    map_card();
    for (const uint32_t count : {7u, 8u, 9u}) {
        ASSERT_EQ(send(card, &count, sizeof count, 0), 4);
    }
    ASSERT_EQ(send(card, "xx", 2, 0), 2); // rubbish behind them changes nothing
    uint32_t count = 0;
    EXPECT_EQ(uio_wait_interrupt(host, &count), 4);
    EXPECT_EQ(count, 9u);
    std::thread sender([this] {
        const uint32_t next = 10;
        EXPECT_EQ(send(card, &next, sizeof next, 0), 4);
    });
    EXPECT_EQ(uio_wait_interrupt(host, &count), 4);
    EXPECT_EQ(count, 10u);
    sender.join();
}

TEST_F(simulated_uio_client, a_sleeping_card_is_woken_by_a_posted_write)
{
    map_card();
    std::thread writer([this] {
        while (__atomic_load_n(&control->asleep, __ATOMIC_SEQ_CST) == 0) {
            std::this_thread::yield();
        }
        mmio_write32(&mapping, 0x8000, 4);
    });
    simulated_uio_sleep(&reader, UINT64_MAX);
    writer.join();
    EXPECT_EQ(posted().size(), 1u);
}

TEST_F(simulated_uio_client, forged_greetings_are_refused_and_leave_nothing_behind)
{
    connect_host();
    const simulated_uio_greeting good = {0x4B53494D, 1, BAR_BYTES, sizeof(simulated_uio_control)};
    const int unsealed = make_memory(BAR_BYTES, 0);
    const int unwritable = make_memory(BAR_BYTES, F_SEAL_SHRINK | F_SEAL_WRITE);
    const int small = make_memory(4096, F_SEAL_SHRINK);
    const int file = open(tree.path().c_str(), O_RDWR | O_TMPFILE, 0600);
    ASSERT_EQ(ftruncate(file, BAR_BYTES), 0);
    const auto with = [&](auto change) {
        simulated_uio_greeting greeting = good;
        change(greeting);
        return greeting;
    };
    const struct {
        const char *what;
        int expected;
        simulated_uio_greeting greeting;
        size_t bytes;
        std::vector<int> descriptors;
    } cases[] = {
        {"magic", EPROTO, with([](auto &g) { g.magic++; }), 16, {bar_fd, control_fd}},
        {"version", EPROTO, with([](auto &g) { g.version = 2; }), 16, {bar_fd, control_fd}},
        {"no BAR", EPROTO, with([](auto &g) { g.bar_bytes = 0; }), 16, {bar_fd, control_fd}},
        {"odd BAR", EPROTO, with([](auto &g) { g.bar_bytes--; }), 16, {bar_fd, control_fd}},
        {"huge BAR", EPROTO, with([](auto &g) { g.bar_bytes = 0x40000004; }), 16, {bar_fd, control_fd}},
        {"BAR longer than told", EPROTO, with([](auto &g) { g.bar_bytes += 4; }), 16, {bar_fd, control_fd}},
        {"less than asked", EINVAL, with([](auto &g) { g.bar_bytes -= 4; }), 16, {bar_fd, control_fd}},
        {"control page", EPROTO, with([](auto &g) { g.control_bytes--; }), 16, {bar_fd, control_fd}},
        {"short packet", EPROTO, good, 15, {bar_fd, control_fd}},
        {"no descriptor", EPROTO, good, 16, {}},
        {"one descriptor", EPROTO, good, 16, {bar_fd}},
        {"three descriptors", EPROTO, good, 16, {bar_fd, control_fd, bar_fd}},
        {"too many descriptors", EPROTO, good, 16, std::vector<int>(12, bar_fd)},
        {"unsealed BAR", EPROTO, good, 16, {unsealed, control_fd}},
        {"unwritable BAR", EPERM, good, 16, {unwritable, control_fd}},
        {"short BAR", EPROTO, good, 16, {small, control_fd}},
        {"short control page", EPROTO, good, 16, {bar_fd, small}},
        {"no memory at all", EPROTO, good, 16, {file, control_fd}},
    };
    const size_t before = open_descriptors();
    for (const auto &one : cases) {
        SCOPED_TRACE(one.what);
        send_greeting(&one.greeting, one.bytes, one.descriptors);
        EXPECT_EQ(uio_map(host, BAR_BYTES, &mapping), one.expected);
        EXPECT_EQ(open_descriptors(), before);
    }
    for (const int fd : {unsealed, unwritable, small, file}) {
        close(fd);
    }
}

TEST_F(simulated_uio_client, forged_control_pages_are_refused)
{
    connect_host();
    const simulated_uio_greeting good = {0x4B53494D, 1, BAR_BYTES, sizeof(simulated_uio_control)};
    const struct {
        const char *what;
        uint32_t *word;
        uint32_t value;
    } cases[] = {
        {"magic", &control->magic, 0},
        {"version", &control->version, 2},
        {"another BAR", &control->bar_bytes, BAR_BYTES + 4},
        {"too many registers", &control->posted_count, 65},
        {"register beyond the BAR", &control->posted_offset[1], BAR_BYTES},
        {"register far beyond", &control->posted_offset[1], 0xFFFFFFFC},
        {"odd register", &control->posted_offset[0], 0x26},
    };
    const size_t before = open_descriptors();
    for (const auto &one : cases) {
        SCOPED_TRACE(one.what);
        const uint32_t right = *one.word;
        *one.word = one.value;
        send_greeting(&good, sizeof good, {bar_fd, control_fd});
        EXPECT_EQ(uio_map(host, BAR_BYTES, &mapping), EPROTO);
        EXPECT_EQ(open_descriptors(), before);
        *one.word = right;
    }
    control->clear_on_one_offset = 0xFFFFFFFF; // none
    send_greeting(&good, sizeof good, {bar_fd, control_fd});
    EXPECT_EQ(uio_map(host, BAR_BYTES, &mapping), 0);
}

TEST_F(simulated_uio_client, a_card_that_hangs_up_instead_of_greeting_is_refused)
{
    connect_host();
    close(card);
    card = -1;
    EXPECT_EQ(uio_map(host, BAR_BYTES, &mapping), EPROTO);
}

TEST_F(simulated_uio_client, a_socket_deep_in_the_tree_is_reached)
{
    connect_host();
    close(host);
    close(card);
    const std::string deep = tree.path() + "/" + std::string(120, 'd');
    std::filesystem::create_directories(deep);
    std::filesystem::rename(tree.path() + "/dev", deep + "/dev");
    set_root(deep);
    const size_t before = open_descriptors();
    reconnect_host();
    EXPECT_EQ(open_descriptors(), before + 2);
}

TEST_F(simulated_uio_client, without_a_host_tree_a_socket_is_no_device)
{
    connect_host();
    set_root("");
    EXPECT_EQ(uio_open((tree.path() + "/dev/uio0").c_str()), -1);
    EXPECT_EQ(errno, ENXIO);
}

} // namespace
