// The simulator as a process, and this test as its hosts.
#include <csignal>
#include <memory>

#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/host_tree.h"
#include "platform/uio.h"
#include "support/temporary_folder.h"
#include "whole/process.h"

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
    ~host()
    {
        close(fd);
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

    // The firmware runs in another process.
    void await(uint32_t offset, uint32_t value) const
    {
        while (read(offset) != value) {
            usleep(50);
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
    std::unique_ptr<process> start(const std::string &tree, const std::vector<std::string> &more = {})
    {
        std::vector<std::string> words = {CARD_SIMULATOR, "--quiet", "--ready-fd", "1", "--exit-with-parent"};
        words.insert(words.end(), more.begin(), more.end());
        words.insert(words.end(), tree.empty() ? 0 : 2, "--host");
        if (!tree.empty()) {
            words.back() = tree;
        }
        auto it = std::make_unique<process>(words, std::vector{"TMPDIR=" + folder.path});
        EXPECT_TRUE(it->wait_for_output("\n")) << it->err;
        return it;
    }

    // The answer of the card to a verb, behind the status.
    std::string send(std::vector<std::string> verb) const
    {
        verb.insert(verb.begin(), {"--send", "--host", root});
        return run(verb);
    }

    std::string text_of(const std::string &file) const
    {
        std::ifstream stream(file);
        return {std::istreambuf_iterator<char>(stream), {}};
    }

    temporary_folder folder;
    const std::string root = folder.path + "/tree";
};

TEST_F(server, hosts_use_the_card_and_get_its_interrupts)
{
    folder.write("script", "# a bench\n\nset-register 1 9010 77\nunplug 2\n");
    const auto card =
        start(root, {"--firmware", "5.9", "--script", folder.path + "/script", "--name", "CARD"});
    EXPECT_EQ(card->out, root + "\n");
    EXPECT_EQ(text_of(root + "/sys/class/uio/uio0/name"), "CARD\n");
    EXPECT_EQ(text_of(root + "/sys/class/uio/uio0/maps/map0/size"), "0x0000000004000000\n");
    const host first(root), second(root);
    EXPECT_NE(send({"show"}).find("2 clients"), std::string::npos);
    EXPECT_EQ(first.read(0x01F04004), 0x00050009u);
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
    second.write(0x01C02000, 2);
    uint32_t offset = 0x01C00100;
    for (const uint32_t word : {9u, 0x77u, 4u, 0u, 0xFF00FF00u, 0u, 0u, 0xFF00FFFFu, 0x9010u, 0u}) {
        second.write(offset, word);
        offset += 4;
    }
    second.write(0x01C00000, 4);
    second.await(0x01C00004, 4);
    second.write(0x01C00000, 2);
    second.await(0x01C02004, 4);
    EXPECT_EQ(second.read(0x01C02124), 0x77u);
    EXPECT_EQ(send({"remove"}), "0 ");
    EXPECT_EQ(first.read(0x01F04000), 0xFFFFFFFFu);
    first.write(0x300, 5);
    EXPECT_EQ(send({"insert"}), "0 ");
    EXPECT_EQ(first.read(0x300), 0u);
}

TEST_F(server, command_lines_and_verbs_are_answered)
{
    const auto card = start(root);
    folder.write("bad", "unplug 2\nunplug 2\n");
    folder.write("memory", "");
    const std::string bad = "1 card_simulator: bad option ", memory = folder.path + "/memory",
                      other = folder.path;
    const std::pair<std::vector<std::string>, std::string> LINES[] = {
        {{"--firmware", "5"}, bad + "--firmware; --help tells more\n"},
        {{"--firmware", "5.99999999"}, bad},
        {{"--firmware", "65536.1"}, bad},
        {{"--seed", "x"}, bad},
        {{"--client-type", "sonet"}, bad},
        {{"--name", ""}, bad},
        {{"--name", std::string(64, 'n')}, bad},
        {{"--ready-fd", "-1"}, bad},
        {{"--no-such-option"}, bad + "--no-such-option"},
        {{"--host"}, bad},
        {{"--link", ""}, bad},
        {{"show"}, "1 card_simulator: nothing is expected but options; --help tells more\n"},
        {{"--send"}, "1 card_simulator: a verb is missing; --help lists them\n"},
        {{"--send", "show"}, "1 card_simulator: --send needs --host\n"},
        {{"--uio-device", "x"}, "1 card_simulator: --uio-device and --interrupt-file go together\n"},
        {{"--interrupt-file", "x"}, "1 card_simulator: --uio-device and --interrupt-file go together\n"},
        {{"--help"}, "0 card_simulator [OPTION...]  "},
        {{"--quiet", "--host", root},
         "1 card_simulator: a card runs on " + root + " already, process " + std::to_string(card->pid()) +
             "\n"},
        {{"--quiet", "--host", other, "--script", other + "/bad"},
         "1 card_simulator: " + other + "/bad, line 2: unplug: there is no module"},
        {{"--quiet", "--host", other, "--script", other + "/none"}, "1 card_simulator: "},
        {{"--host", other, "--uio-device", "/none", "--interrupt-file", memory},
         "1 card_simulator: cannot open "},
        {{"--host", other, "--uio-device", memory, "--interrupt-file", "/none"},
         "1 card_simulator: cannot open "},
        {{"--host", other, "--uio-device", memory, "--interrupt-file", memory},
         "1 card_simulator: cannot map a BAR"},
        {{"--send", "--host", other, "show"}, "1 card: no card runs on " + other},
        {{"--send", "--host", root, "peek", "1f04000"}, "0 0x55667788\n"},
        {{"--send", "--host", root, "plug", "2"}, "1 plug: there is a module already"},
        {{"--send", "--host", root, std::string(2000, 'x')}, "1 a line is text of up to 1024 characters\n"},
        {{"--send", "--host", root, "show"}, "0 firmware 5.22, up"},
    };
    for (const auto &[words, expected] : LINES) {
        EXPECT_EQ(run(words).substr(0, expected.size()), expected) << words.back();
    }
}

TEST_F(server, ends_on_a_signal_or_a_verb_and_takes_its_files_along)
{
    for (const int signal : {SIGTERM, SIGINT, SIGHUP, 0}) {
        const auto card = start(root, {"--link", root + ".link"});
        EXPECT_EQ(fs::read_symlink(root + ".link"), root);
        const host it(root);
        folder.write("tree/root/kelvane.log", "kept");
        EXPECT_TRUE(signal == 0 ? send({"quit"}) == "0 " : kill(card->pid(), signal) == 0);
        EXPECT_EQ(card->wait(), 0);
        EXPECT_FALSE(fs::exists(fs::symlink_status(root + ".link")));
        EXPECT_EQ(std::distance(fs::directory_iterator(root), {}), 1); // the host's own folder
        EXPECT_EQ(text_of(root + "/root/kelvane.log"), "kept");
        it.await(0x01F04000, 0xFFFFFFFF);
    }
}

TEST_F(server, takes_over_and_away_what_dead_cards_left)
{
    start(root)->kill();
    EXPECT_TRUE(fs::exists(root + "/dev/uio0"));
    const std::string deep = root + "/" + std::string(120, 'd'); // deeper than a socket's address holds
    const auto card = start(root, {"--firmware", "6.1"}), below = start(deep, {"--client-type", "otn"});
    EXPECT_EQ(host(root).read(0x01F04004), 0x00060001u);
    EXPECT_EQ(host(deep).read(0x01F04004), 0x00050016u);
    EXPECT_EQ(run({"--send", "--host", deep, "alarm", "raise", "1.h0", "TX_HOST_LOL_0"}), "0 ");
    std::vector<std::unique_ptr<process>> cards;
    std::vector<std::string> roots; // where nobody chose one
    for (int i = 0; i < 4; i++) {
        cards.push_back(start(""));
        roots.push_back(cards[i]->out.substr(0, cards[i]->out.find('\n')));
        EXPECT_TRUE(roots[i].starts_with(folder.path + "/kelvane_card."));
        if (i == 1) {
            folder.write(fs::relative(roots[i], folder.path).string() + "/root/kelvane.log", "kept");
        }
        if (i < 2) {
            cards[i]->kill();
            EXPECT_TRUE(fs::exists(roots[i] + "/control"));
        }
    }
    EXPECT_FALSE(fs::exists(roots[0]));
    EXPECT_EQ(std::distance(fs::directory_iterator(roots[1]), {}), 1);
    EXPECT_EQ(text_of(roots[1] + "/root/kelvane.log"), "kept");
    EXPECT_EQ(run({"--send", "--host", roots[2], "quit"}), "0 ");
}

// A file in place of the kernel's device; what a kernel does is tried in a virtual machine.
TEST_F(server, a_card_in_given_memory_makes_no_device)
{
    folder.write("memory", "what was there before");
    folder.write("interrupts", "");
    const std::string memory = folder.path + "/memory";
    fs::resize_file(memory, 0x04000000);
    const auto word = [&memory](long offset) {
        uint32_t value = 0;
        std::ifstream(memory, std::ios::binary).seekg(offset).read(reinterpret_cast<char *>(&value), 4);
        return value;
    };
    const auto card = start(root, {"--uio-device", memory, "--interrupt-file", folder.path + "/interrupts"});
    EXPECT_FALSE(fs::exists(root + "/sys/class/uio/uio0/name"));
    EXPECT_EQ((std::vector{word(4), word(0x01F04000), word(0x01F04004)}),
              (std::vector{0u, 0x55667788u, 0x50016u}));
    EXPECT_EQ(send({"quit"}) + text_of(folder.path + "/interrupts"), "0 ");
    EXPECT_EQ(card->wait(), 0);
    for (const long offset : {0, 0x01C00004, 0x01F04000, 0x03FFFFFC}) {
        EXPECT_EQ(word(offset), 0xFFFFFFFFu) << offset;
    }
}

} // namespace
