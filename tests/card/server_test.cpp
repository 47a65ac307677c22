// The simulator as a process, and this test as one of its hosts. All waits are for events; the limits
// on them only end a test that failed.
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <poll.h>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "platform/host_tree.h"
#include "platform/uio.h"

namespace {

namespace fs = std::filesystem;

constexpr int LIMIT_MS = 20000;

struct folder {
    folder()
    {
        char name[] = "/tmp/card_test.XXXXXX";
        path = mkdtemp(name);
    }
    ~folder()
    {
        fs::remove_all(path);
    }
    std::string path;
};

struct result {
    int status;
    std::string text; // standard output and standard error
};

struct child {
    pid_t pid = -1;
    int output = -1; // what the read end of its output or of its ready descriptor is
};

// Starts a program; `fd` is the child's descriptor that `output` reads, 1 with standard error in it.
child start(const std::vector<std::string> &words, int fd)
{
    int ends[2] = {-1, -1};
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(ends[1], fd);
        if (fd == 1) {
            dup2(ends[1], 2);
        }
        std::vector<char *> arguments;
        for (const std::string &word : words) {
            arguments.push_back(const_cast<char *>(word.c_str()));
        }
        arguments.push_back(nullptr);
        execv(arguments[0], arguments.data());
        _exit(127);
    }
    close(ends[1]);
    return {pid, ends[0]};
}

std::string read_to_end(int fd)
{
    std::string text;
    char bytes[4096];
    for (;;) {
        pollfd readable{fd, POLLIN, 0};
        if (poll(&readable, 1, LIMIT_MS) <= 0) {
            ADD_FAILURE() << "the other end says nothing";
            break;
        }
        const ssize_t got = read(fd, bytes, sizeof bytes);
        if (got <= 0) {
            break;
        }
        text.append(bytes, static_cast<size_t>(got));
    }
    close(fd);
    return text;
}

int status_of(pid_t pid)
{
    int status = 0;
    EXPECT_EQ(waitpid(pid, &status, 0), pid);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

result run(const std::vector<std::string> &words)
{
    const child it = start(words, 1);
    const std::string text = read_to_end(it.output);
    return {status_of(it.pid), text};
}

struct simulator {
    explicit simulator(const std::string &tree, std::vector<std::string> more = {}) : root(tree)
    {
        std::vector<std::string> words = {CARD_SIMULATOR, "--quiet", "--exit-with-parent", "--ready-fd", "9",
                                          "--host",       root};
        words.insert(words.end(), more.begin(), more.end());
        const child it = start(words, 9);
        pid = it.pid;
        EXPECT_EQ(read_to_end(it.output), root + "\n");
    }
    ~simulator()
    {
        if (pid > 0) {
            kill(pid, SIGKILL);
            status_of(pid);
        }
    }
    simulator(const simulator &) = delete;
    simulator &operator=(const simulator &) = delete;

    int end(int signal)
    {
        kill(pid, signal);
        return status_of(std::exchange(pid, -1));
    }

    result verb(const std::vector<std::string> &words) const
    {
        std::vector<std::string> all = {CARD_SIMULATOR, "--send", "--host", root};
        all.insert(all.end(), words.begin(), words.end());
        return run(all);
    }

    std::string root;
    pid_t pid = -1;
};

// A host on the tree: the platform's own way to the device.
struct host {
    explicit host(const std::string &root)
    {
        setenv("KELVANE_HOST_ROOT", root.c_str(), 1);
        host_tree_forget();
        info = uio_find_devices_by_name("ZYNQFPGA");
        if (info == nullptr) {
            ADD_FAILURE() << "no device";
            return;
        }
        EXPECT_EQ(uio_get_all_info(info), 0);
        fd = uio_open(("/dev/uio" + std::to_string(info->number)).c_str());
        EXPECT_GE(fd, 0);
        EXPECT_EQ(uio_map(fd, info->maps[0].size, &bar), 0);
    }
    ~host()
    {
        uio_free(info);
        if (fd >= 0) {
            close(fd);
        }
    }
    host(const host &) = delete;
    host &operator=(const host &) = delete;

    uint32_t read(uint32_t offset) const
    {
        return mmio_read32(&bar, offset);
    }

    void write(uint32_t offset, uint32_t value) const
    {
        mmio_write32(&bar, offset, value);
    }

    // Reads until the word has the value; the firmware runs in another process.
    bool comes(uint32_t offset, uint32_t value) const
    {
        for (int i = 0; i < 100 * LIMIT_MS; i++) {
            if (read(offset) == value) {
                return true;
            }
            std::this_thread::yield();
        }
        return false;
    }

    void send(const std::vector<uint32_t> &request) const
    {
        for (uint32_t i = 0; i < request.size(); i++) {
            write(0x01C00100 + 4 * i, request[i]);
        }
        write(0x01C02000, 2);
        write(0x01C00000, 4);
        EXPECT_TRUE(comes(0x01C00004, 4));
        write(0x01C00000, 2);
    }

    // The value of register 0x9010 of sirane 0, over the mailboxes.
    uint32_t read_register() const
    {
        send({9, 0x77, 4, 0, 0xFF00FF00, 0, 0, 0xFF00FFFF, 0x9010, 0});
        EXPECT_TRUE(comes(0x01C02004, 4));
        const uint32_t value = read(0x01C02124);
        write(0x01C02000, 4);
        EXPECT_TRUE(comes(0x01C02004, 2));
        write(0x01C02000, 2);
        return value;
    }

    uint32_t wait_interrupt() const
    {
        uint32_t count = 0;
        pollfd readable{fd, POLLIN, 0};
        EXPECT_EQ(poll(&readable, 1, LIMIT_MS), 1);
        EXPECT_EQ(uio_wait_interrupt(fd, &count), 4);
        return count;
    }

    uio_info *info = nullptr;
    int fd = -1;
    mmio_mapping bar{};
};

std::string text_of(const std::string &path)
{
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

TEST(server, a_host_finds_maps_and_uses_the_card)
{
    const folder tree;
    const simulator card(tree.path, {"--firmware", "5.9"});
    const std::string device = tree.path + "/sys/class/uio/uio0";
    EXPECT_EQ(text_of(device + "/name"), "ZYNQFPGA\n");
    EXPECT_EQ(text_of(device + "/maps/map0/size"), "0x0000000004000000\n");
    EXPECT_EQ(text_of(device + "/maps/map0/offset"), "0x0\n");
    EXPECT_TRUE(fs::is_directory(tree.path + "/root"));
    const host it(tree.path);
    EXPECT_EQ(it.bar.size, 0x04000000u);
    EXPECT_EQ(it.read(0x01F04004), 0x00050009u);
    EXPECT_EQ(it.read_register(), 1u);
}

TEST(server, the_progress_of_an_image_moves_by_itself)
{
    const folder tree;
    const simulator card(tree.path);
    const host it(tree.path);
    const char DIGEST[] = "a26785922b3516fe627bab9726c66e43"; // of one byte 0xDF
    for (uint32_t i = 0; i < 32; i += 4) {
        it.write(0x02000000 + i, static_cast<uint32_t>(DIGEST[i] | DIGEST[i + 1] << 8 | DIGEST[i + 2] << 16 |
                                                       DIGEST[i + 3] << 24));
    }
    it.write(0x02000040, 0xDF);
    it.send({14, 0x78, 3, 0, 0xFF00FF00, 0, 0, 2, 1});
    EXPECT_TRUE(it.comes(0x01C02004, 4));
    EXPECT_EQ(it.read(0x01C02114), 0u);
    it.write(0x01C02000, 4);
    EXPECT_TRUE(it.comes(0x01C02004, 2));
    EXPECT_EQ(card.verb({"program-time", "5000"}).status, 0);
    it.send({15, 0x79, 3, 0, 0xFF00FF00, 0, 0, 0xFF00FFFF, 0});
    uint32_t percent = 0; // 100 is still the download's
    for (int i = 0; i < 100 * LIMIT_MS && percent % 100 == 0; i++) {
        percent = it.read(0x01F04500) >> 16 & 0x7F;
        std::this_thread::yield();
    }
    EXPECT_GE(percent, 1u);
    EXPECT_LE(percent, 99u);
}

TEST(server, a_tree_may_lie_deeper_than_a_socket_address_holds)
{
    const folder tree;
    std::string deep = tree.path;
    for (int i = 0; i < 3; i++) {
        deep += "/" + std::string(60, 'd');
        fs::create_directory(deep);
    }
    const simulator card(deep, {"--client-type", "otn"});
    EXPECT_EQ(host(deep).read_register(), 1u);
    EXPECT_EQ(card.verb({"alarm", "raise", "1.h0", "TX_HOST_LOL_0"}).status, 0);
}

TEST(server, interrupts_reach_all_clients)
{
    const folder tree;
    const simulator card(tree.path);
    const host first(tree.path);
    const host second(tree.path);
    EXPECT_EQ(card.verb({"show"}).text.find("2 clients") != std::string::npos, true);
    first.write(0x01804000, 0x11);
    first.write(0x20, 7);
    second.write(0x01C0C000, 1024);
    EXPECT_EQ(first.wait_interrupt(), 1u);
    EXPECT_EQ(second.wait_interrupt(), 1u);
    EXPECT_EQ(first.read(0x24), 1u);
    first.write(0x24, 0xFFFFFFFF);
    EXPECT_EQ(second.read(0x24), 0u);
    first.write(0x01C0C000, 1024);
    EXPECT_EQ(second.wait_interrupt(), 2u);
}

TEST(server, a_killed_client_disturbs_nobody_and_the_state_stays)
{
    const folder tree;
    const simulator card(tree.path);
    int go[2] = {-1, -1};
    ASSERT_EQ(pipe2(go, O_CLOEXEC), 0);
    const pid_t pid = fork(); // while this process has one thread
    if (pid == 0) {
        char told = 0;
        [[maybe_unused]] const ssize_t got = read(go[0], &told, 1);
        const host dying(tree.path);
        dying.write(0x01804000, 0x11);
        dying.write(0x20, 7);
        dying.write(0x01C00100, 9);
        dying.write(0x01C00108, 4);
        dying.write(0x01C00000, 4); // a message offered, and nobody to go on with it
        dying.comes(0x01C00004, 4);
        kill(getpid(), SIGKILL);
    }
    const host survivor(tree.path);
    EXPECT_EQ(write(go[1], "g", 1), 1);
    close(go[0]);
    close(go[1]);
    EXPECT_EQ(status_of(pid), 128 + SIGKILL);
    EXPECT_EQ(survivor.read(0x01C00004), 4u);
    for (const uint32_t state : {0u, 2u}) { // as a host resets the mailboxes when it comes
        survivor.write(0x01C00000, state);
        survivor.write(0x01C02000, state);
    }
    EXPECT_TRUE(survivor.comes(0x01C00004, 2));
    EXPECT_EQ(card.verb({"set-register", "1", "9010", "abc"}).status, 0);
    EXPECT_EQ(survivor.read_register(), 0xABCu);
    survivor.write(0x01C0C000, 1024); // the dead one's enable stands
    EXPECT_GE(survivor.wait_interrupt(), 1u);
}

TEST(server, verbs_over_the_socket)
{
    const folder tree;
    const simulator card(tree.path);
    EXPECT_EQ(card.verb({"peek", "1f04000"}).text, "0x55667788\n");
    const result refused = card.verb({"plug", "2"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.text.find("there is a module already"), std::string::npos);
    const result long_one = card.verb({std::string(2000, 'x')});
    EXPECT_EQ(long_one.status, 1);
    EXPECT_EQ(long_one.text, "a line is text of up to 1024 characters\n");
    EXPECT_EQ(card.verb({"show"}).status, 0);
}

TEST(server, a_pulled_card_reads_all_ones_until_it_is_back)
{
    const folder tree;
    const simulator card(tree.path);
    const host it(tree.path);
    EXPECT_EQ(card.verb({"remove"}).status, 0);
    EXPECT_EQ(it.read(0x01F04000), 0xFFFFFFFFu);
    it.write(0x300, 5);
    EXPECT_EQ(card.verb({"insert"}).status, 0);
    EXPECT_EQ(it.read(0x300), 0u);
}

TEST(server, ends_on_a_signal_or_a_verb_and_takes_its_files_along)
{
    for (const int signal : {SIGTERM, SIGINT, 0}) {
        const folder tree;
        const std::string link = tree.path + ".link";
        simulator card(tree.path, {"--link", link});
        EXPECT_EQ(fs::read_symlink(link), tree.path);
        const host it(tree.path);
        std::ofstream(tree.path + "/root/kelvane.log") << "kept";
        if (signal == 0) {
            EXPECT_EQ(card.verb({"quit"}).status, 0);
        }
        EXPECT_EQ(card.end(signal), 0);
        EXPECT_FALSE(fs::exists(fs::symlink_status(link)));
        EXPECT_FALSE(fs::exists(tree.path + "/sys"));
        EXPECT_FALSE(fs::exists(tree.path + "/dev"));
        EXPECT_EQ(text_of(tree.path + "/root/kelvane.log"), "kept");
        EXPECT_EQ(it.read(0x01F04000), 0xFFFFFFFFu);
        const result late = card.verb({"show"});
        EXPECT_EQ(late.status, 1);
        EXPECT_NE(late.text.find("no card runs on " + tree.path), std::string::npos);
    }
}

TEST(server, takes_over_the_tree_of_a_dead_card_but_not_of_a_live_one)
{
    const folder tree;
    {
        simulator dead(tree.path);
        EXPECT_EQ(dead.end(SIGKILL), 128 + SIGKILL);
    }
    EXPECT_TRUE(fs::exists(tree.path + "/dev/uio0"));
    const simulator card(tree.path, {"--firmware", "6.1"});
    EXPECT_EQ(host(tree.path).read(0x01F04004), 0x00060001u);
    const result second = run({CARD_SIMULATOR, "--quiet", "--host", tree.path});
    EXPECT_EQ(second.status, 1);
    EXPECT_EQ(second.text, "card_simulator: a card runs on " + tree.path + " already, process " +
                               std::to_string(card.pid) + "\n");
    EXPECT_EQ(card.verb({"show"}).status, 0);
}

TEST(server, takes_away_what_dead_cards_left_where_nobody_looks)
{
    const folder place;
    setenv("TMPDIR", place.path.c_str(), 1);
    std::vector<std::pair<child, std::string>> cards;
    for (const char *name : {"dead", "dead with files", "alive", "new"}) {
        const child it = start({CARD_SIMULATOR, "--quiet", "--exit-with-parent", "--ready-fd", "9"}, 9);
        std::string root = read_to_end(it.output);
        ASSERT_TRUE(root.starts_with(place.path + "/kelvane_card.")) << root;
        root.pop_back();
        EXPECT_TRUE(fs::exists(root + "/control"));
        if (name == std::string("dead with files")) {
            std::ofstream(root + "/root/kelvane.log") << "kept";
        }
        if (name[0] == 'd') {
            kill(it.pid, SIGKILL);
            EXPECT_EQ(status_of(it.pid), 128 + SIGKILL);
            EXPECT_TRUE(fs::exists(root + "/control"));
        }
        cards.emplace_back(it, root);
    }
    EXPECT_FALSE(fs::exists(cards[0].second));
    EXPECT_FALSE(fs::exists(cards[1].second + "/dev"));
    EXPECT_FALSE(fs::exists(cards[1].second + "/control"));
    EXPECT_EQ(text_of(cards[1].second + "/root/kelvane.log"), "kept");
    for (const size_t living : {2, 3}) {
        EXPECT_EQ(run({CARD_SIMULATOR, "--send", "--host", cards[living].second, "quit"}).status, 0);
        EXPECT_EQ(status_of(cards[living].first.pid), 0);
    }
}

TEST(server, a_script_runs_before_the_card_is_ready)
{
    const folder tree;
    const folder scripts;
    const std::string good = scripts.path + "/good";
    const std::string bad = scripts.path + "/bad";
    std::ofstream(good) << "# a bench\n\nset-register 1 9010 77\nunplug 2\n";
    std::ofstream(bad) << "unplug 2\nunplug 2\n";
    const simulator card(tree.path, {"--script", good});
    EXPECT_EQ(host(tree.path).read_register(), 0x77u);
    const folder other;
    const result refused = run({CARD_SIMULATOR, "--quiet", "--host", other.path, "--script", bad});
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.text.find(bad + ", line 2: unplug: there is no module"), std::string::npos)
        << refused.text;
}

uint32_t word_of(const std::string &path, uint32_t offset)
{
    uint32_t word = 0;
    std::ifstream file(path, std::ios::binary);
    file.seekg(offset);
    EXPECT_TRUE(file.read(reinterpret_cast<char *>(&word), sizeof word));
    return word;
}

// A file in place of the kernel's device; what a kernel does is tried in a virtual machine.
TEST(server, a_card_in_given_memory_makes_no_device)
{
    const folder tree;
    const folder files;
    const std::string memory = files.path + "/memory";
    const std::string interrupts = files.path + "/interrupts";
    std::ofstream(memory) << "what was there before";
    fs::resize_file(memory, 0x04000000);
    std::ofstream(interrupts) << "";
    simulator card(tree.path, {"--uio-device", memory, "--interrupt-file", interrupts});
    EXPECT_FALSE(fs::exists(tree.path + "/sys/class/uio/uio0/name"));
    EXPECT_EQ(word_of(memory, 4), 0u); // of what was there before
    EXPECT_EQ(word_of(memory, 0x01F04000), 0x55667788u);
    EXPECT_EQ(word_of(memory, 0x01F04004), 0x00050016u);
    EXPECT_EQ(card.verb({"show"}).status, 0);
    EXPECT_EQ(text_of(interrupts), "");
    EXPECT_EQ(card.end(SIGTERM), 0);
    for (const uint32_t offset : {0u, 0x01C00004u, 0x01F04000u, 0x03FFFFFCu}) {
        EXPECT_EQ(word_of(memory, offset), 0xFFFFFFFFu) << offset;
    }
    EXPECT_FALSE(fs::exists(tree.path + "/card.lock"));

    for (const auto &[device, interrupt_file, problem] :
         {std::tuple(files.path + "/none", interrupts, "cannot open "),
          std::tuple(memory, files.path + "/none", "cannot open "),
          std::tuple(std::string("/dev/null"), interrupts, "cannot map a BAR in "),
          std::tuple(interrupts, interrupts, "cannot map a BAR in ")}) {
        const result refused = run({CARD_SIMULATOR, "--quiet", "--host", tree.path, "--uio-device", device,
                                    "--interrupt-file", interrupt_file});
        EXPECT_EQ(refused.status, 1);
        EXPECT_NE(refused.text.find(problem), std::string::npos) << refused.text;
    }
}

TEST(server, command_lines_that_make_no_sense_are_refused)
{
    const std::vector<std::string> LINES[] = {
        {"--firmware", "5"},
        {"--firmware", "5.99999999"},
        {"--seed", "x"},
        {"--client-type", "sonet"},
        {"--name", ""},
        {"--ready-fd", "-1"},
        {"--no-such-option"},
        {"show"},
        {"--send"},
        {"--send", "show"},
        {"--host"},
        {"--uio-device", "/dev/null"},
        {"--interrupt-file", "/dev/null"},
    };
    for (std::vector<std::string> words : LINES) {
        words.insert(words.begin(), CARD_SIMULATOR);
        const result it = run(words);
        EXPECT_EQ(it.status, 1) << words[1];
        EXPECT_EQ(it.text.rfind("card_simulator: ", 0), 0u) << it.text;
    }
    EXPECT_EQ(run({CARD_SIMULATOR, "--help"}).status, 0);
}

} // namespace
