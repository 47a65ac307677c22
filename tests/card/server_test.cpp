// The simulator as a process, and this test as its hosts.
#include <csignal>
#include <memory>
#include <sstream>

#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/host_tree.h"
#include "platform/uio.h"
#include "support/temporary_folder.h"
#include "card/process.h"

namespace {

namespace fs = std::filesystem;

// Exit status, and what it says on both streams.
std::string run(std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), CARD_SIMULATOR);
    process it(arguments, {});
    const int status = it.wait();
    return std::to_string(status) + " " + it.out + it.err;
}

// A host on the tree: the platform's own way to the device.
struct host {
    explicit host(const std::string &root)
    {
        setenv("KELVANE_HOST_ROOT", root.c_str(), 1);
        host_tree_forget();
        fd = uio_open("/dev/uio0");
        EXPECT_EQ(uio_map(fd, 0x04000000, &bar), 0);
    }
    host(const host &) = delete;
    host &operator=(const host &) = delete;

    uint32_t read(uint32_t offset) const
    {
        return mmio_read32(&bar, offset);
    }

    void await(uint32_t offset, uint32_t value) const
    {
        while (read(offset) != value) {
            usleep(100);
        }
    }

    uint32_t wait_interrupt() const
    {
        uint32_t count = 0;
        EXPECT_EQ(uio_wait_interrupt(fd, &count), 4);
        return count;
    }

    int fd = -1;
    mmio_mapping bar{};
};

class server : public testing::Test {
  protected:
    std::unique_ptr<process> start(const std::vector<std::string> &more) const
    {
        std::vector<std::string> all = {CARD_SIMULATOR, "--quiet", "--ready-fd", "1", "--exit-with-parent"};
        all.insert(all.end(), more.begin(), more.end());
        auto it = std::make_unique<process>(all, std::vector{"TMPDIR=" + folder.path});
        EXPECT_TRUE(it->wait_for_output("\n")) << it->err;
        return it;
    }

    static std::string text_of(const std::string &file)
    {
        std::ifstream stream(file);
        return {std::istreambuf_iterator<char>(stream), {}};
    }

    static auto entries(const std::string &path)
    {
        return std::distance(fs::directory_iterator(path), {});
    }

    temporary_folder folder;
    const std::string root = folder.path + "/tree";
};

TEST_F(server, hosts_use_the_card_and_get_its_interrupts)
{
    folder.write("script", "# a bench\n\nset-register 1 9010 77\nunplug 2\n");
    const auto card =
        start({"--host", root, "--firmware", "5.9", "--script", folder.path + "/script", "--name", "CARD"});
    EXPECT_EQ(card->out, root + "\n");
    EXPECT_EQ(text_of(root + "/sys/class/uio/uio0/name"), "CARD\n");
    EXPECT_EQ(text_of(root + "/sys/class/uio/uio0/maps/map0/size"), "0x0000000004000000\n");
    EXPECT_NE(run({"--send", "--host", root, "show"}).find("register 0x9010 = 0x00000077"),
              std::string::npos);
    const host first(root), second(root), third(root);
    EXPECT_NE(run({"--send", "--host", root, "show"}).find("3 clients"), std::string::npos);
    shutdown(third.fd, SHUT_RDWR); // it leaves
    for (uint32_t number = 1; number <= 3; number++) {
        mmio_write32(&first.bar, 0x01804000, 0x11);
        mmio_write32(&first.bar, 0x20, 7);
        mmio_write32(&second.bar, 0x01C0C000, 1024);
        EXPECT_EQ(first.wait_interrupt(), number);
        EXPECT_EQ(second.wait_interrupt(), number);
        EXPECT_EQ(first.read(0x24), 1u);
        mmio_write32(&first.bar, 0x24, 0xFFFFFFFF);
        EXPECT_EQ(second.read(0x24), 0u);
    }
    EXPECT_NE(run({"--send", "--host", root, "show"}).find("2 clients, 3 interrupts"), std::string::npos);
    EXPECT_EQ(run({"--send", "--host", root, "remove"}), "0 ");
    EXPECT_EQ(first.read(0x01F04004), 0xFFFFFFFFu);
    EXPECT_EQ(run({"--send", "--host", root, "insert"}), "0 ");
    EXPECT_EQ(first.read(0x20), 0u);
}

TEST_F(server, command_lines_and_verbs_are_answered)
{
    const auto card = start({"--host", root});
    folder.write("bad", "unplug 2\nunplug 2\n");
    folder.write("memory", "");
    const std::string s = "1 card_simulator: ", bad = s + "bad option ", memory = folder.path + "/memory";
    const std::string other = folder.path, both = s + "--uio-device and --interrupt-file go together\n";
    const std::string none = s + "cannot open ", pid = std::to_string(card->pid());
    const std::pair<std::string, std::string> LINES[] = {
        {"--firmware 5", bad + "--firmware; --help tells more\n"},
        {"show", s + "nothing is expected but options; --help tells more\n"},
        {"--send", s + "a verb is missing; --help lists them\n"},
        {"--send show", s + "--send needs --host\n"},
        {"--uio-device x", both},
        {"--interrupt-file x", both},
        {"--help", "0 card_simulator [OPTION...]  "},
        {"--quiet --host " + root, s + "a card runs on " + root + " already, process " + pid + "\n"},
        {"--quiet --host " + other + " --script " + other + "/bad",
         s + other + "/bad, line 2: unplug: there is no module"},
        {"--host " + other + " --uio-device /none --interrupt-file " + memory, none},
        {"--host " + other + " --interrupt-file /none --uio-device " + memory, none},
        {"--host " + other + " --interrupt-file " + memory + " --uio-device " + memory,
         s + "cannot map a BAR"},
        {"--send --host " + other + " show", "1 card: no card runs on " + other},
        {"--send --host " + root + " peek 1f04000", "0 0x55667788\n"},
        {"--send --host " + root + " plug 2", "1 plug: there is a module already"},
        {"--send --host " + root + " " + std::string(2000, 'x'),
         "1 a line is text of up to 1024 characters\n"},
        {"--send --host " + root + " show", "0 firmware 5.22, up"},
    };
    const auto expect = [](const std::string &line, const std::string &expected) {
        std::vector<std::string> split;
        std::istringstream in(line + " ");
        for (std::string word; std::getline(in, word, ' ');) { // two blanks: an empty one
            split.push_back(word);
        }
        EXPECT_EQ(run(split).substr(0, expected.size()), expected) << line;
    };
    for (const auto &[line, expected] : LINES) {
        expect(line, expected);
    }
    const std::string too_long = "--name " + std::string(64, 'n');
    for (const char *line :
         {"--firmware 5.99999999", "--firmware 65536.1", "--seed x", "--client-type sonet", "--name ",
          too_long.c_str(), "--ready-fd -1", "--no-such-option", "--host", "--link "}) {
        expect(line, bad + std::string(line).substr(0, std::string(line).find(' ')));
    }
}

TEST_F(server, ends_on_a_signal_or_a_verb_and_takes_its_files_along)
{
    for (const int signal : {SIGTERM, SIGINT, SIGHUP, 0}) {
        const auto card = start({"--host", root, "--link", root + ".link"});
        EXPECT_EQ(fs::read_symlink(root + ".link"), root);
        const host it(root);
        folder.write("tree/root/kelvane.log", "kept");
        if (signal != 0) {
            kill(card->pid(), signal);
        } else {
            EXPECT_EQ(run({"--send", "--host", root, "quit"}), "0 ");
        }
        EXPECT_EQ(card->wait(), 0);
        EXPECT_FALSE(fs::exists(fs::symlink_status(root + ".link")));
        EXPECT_EQ(entries(root), 1); // the host's own folder
        EXPECT_EQ(text_of(root + "/root/kelvane.log"), "kept");
        EXPECT_EQ(it.read(0x01F04004), 0xFFFFFFFFu);
    }
}

TEST_F(server, takes_over_and_away_what_dead_cards_left)
{
    start({"--host", root})->kill();
    EXPECT_TRUE(fs::exists(root + "/dev/uio0"));
    const std::string deep = root + "/" + std::string(120, 'd'); // deeper than a socket's address holds
    const auto card = start({"--host", root, "--firmware", "6.1"});
    const auto below = start({"--host", deep, "--client-type", "otn"});
    EXPECT_EQ(host(root).read(0x01F04004), 0x00060001u);
    EXPECT_EQ(host(deep).read(0x01F04004), 0x00050016u);
    EXPECT_EQ(run({"--send", "--host", deep, "alarm", "raise", "1.h0", "TX_HOST_LOL_0"}), "0 ");
    std::vector<std::string> roots; // where nobody chose one
    for (const char *kept : {"", "kept"}) {
        const auto dead = start({});
        roots.push_back(dead->out.substr(0, dead->out.size() - 1));
        EXPECT_TRUE(roots.back().starts_with(folder.path + "/kelvane_card."));
        std::ofstream(roots.back() + "/root" + (*kept == 0 ? "" : "/kelvane.log")) << kept;
        dead->kill();
        EXPECT_TRUE(fs::exists(roots.back() + "/control"));
    }
    const auto living = start({}), newest = start({});
    EXPECT_FALSE(fs::exists(roots[0]));
    EXPECT_EQ(entries(roots[1]), 1);
    EXPECT_EQ(text_of(roots[1] + "/root/kelvane.log"), "kept");
    EXPECT_EQ(run({"--send", "--host", living->out.substr(0, living->out.size() - 1), "quit"}), "0 ");
}

// A file in place of the kernel's device; what a kernel does is tried in a virtual machine.
TEST_F(server, a_card_in_given_memory_hears_of_plain_stores)
{
    const std::string memory = folder.path + "/host/dev/uio0", interrupts = folder.path + "/interrupts";
    folder.write("host/dev/uio0", "what was there before");
    folder.write("interrupts", "");
    fs::resize_file(memory, 0x04000000);
    const auto card = start({"--host", root, "--uio-device", memory, "--interrupt-file", interrupts});
    EXPECT_FALSE(fs::exists(root + "/sys/class/uio/uio0/name"));
    const host it(folder.path + "/host");
    EXPECT_EQ((std::vector{it.read(4), it.read(0x01F04004)}), (std::vector{0u, 0x50016u}));
    for (const auto &[offset, value] : {std::pair(0x01804000, 0x11), {0x20, 7}, {0x01C0C000, 1024}}) {
        mmio_write32(&it.bar, static_cast<uint32_t>(offset), static_cast<uint32_t>(value));
    }
    it.await(0x01C0C004, 1024);
    while (text_of(interrupts).empty()) {
        usleep(100);
    }
    it.await(0x24, 0); // the bit goes by itself, since a 1 that is written there clears nothing
    mmio_write32(&it.bar, 0x01C0C000, 2);
    it.await(0x01C0C004, 2);
    EXPECT_EQ(run({"--send", "--host", root, "quit"}), "0 ");
    EXPECT_EQ(card->wait(), 0);
    EXPECT_EQ((std::vector{it.read(0), it.read(0x01C00004), it.read(0x03FFFFFC)}),
              std::vector(3, 0xFFFFFFFF));
}

} // namespace
