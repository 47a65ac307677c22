// Card and host, each killed at random points while the other works with it. Nothing hangs, the next one
// starts as if nothing had been, and nothing is left behind that the next one does not take away.
//
// KELVANE_KILL_SEED repeats the points of a run that failed.
#include <chrono>
#include <cstdlib>
#include <random>
#include <set>
#include <thread>

#include "whole/card_host.h"

namespace {

namespace fs = std::filesystem;

constexpr int SHARES = 10; // tests that run beside each other
constexpr int POINTS = 10; // of each
constexpr std::chrono::seconds AT_ONCE(10);

constexpr const char *LINES[] = {
    "read 1 9000\n",      "write 4 9010 77\n", "version 0\n",     "get 4\n",    "pm 7\n",
    "dump_status_info\n", "sirane_reset 7\n",  "init_sirane 1\n", "alarms 1\n", "read 8 1\n",
};
constexpr int LINES_AT_ONCE = 12;
constexpr int LINE_US = 20000;       // about as long as one of them takes
constexpr int COMPLETION_US = 80000; // from a request to its late answer, and somewhat more

uint64_t first_seed()
{
    const char *given = std::getenv("KELVANE_KILL_SEED");
    return given != nullptr ? std::strtoull(given, nullptr, 10) : std::random_device{}();
}

class killed : public card_host, public testing::WithParamInterface<int> {
  protected:
    killed() : random(seed + static_cast<uint64_t>(GetParam()))
    {
    }

    int draw(int most)
    {
        return std::uniform_int_distribution<int>(0, most)(random);
    }

    // A client in the middle of its work: some lines done, some still to be read.
    void work_up_to_a_random_point()
    {
        std::string lines;
        for (int i = 0; i < LINES_AT_ONCE; i++) {
            lines += LINES[draw(std::size(LINES) - 1)];
        }
        client->write(lines);
        for (int done = draw(LINES_AT_ONCE); done > 0; done--) {
            ASSERT_TRUE(client->wait_for_output(PROMPT));
        }
        std::this_thread::sleep_for(std::chrono::microseconds(draw(LINE_US)));
    }

    // A client with requests under way that the card answers later, to the next one if it could. It may wait
    // for their completion for seconds: nobody waits for it here.
    void request_up_to_a_random_point()
    {
        client->write("init 4\n");
        std::this_thread::sleep_for(std::chrono::microseconds(draw(COMPLETION_US)));
    }

    // The rings of a dead process stay until the start after next.
    size_t processes_with_rings() const
    {
        std::set<std::string> processes;
        for (const auto &entry : fs::directory_iterator(folder.path)) {
            const std::string name = entry.path().filename();
            if (name.starts_with("kelvane_trace.")) {
                processes.insert(name.substr(0, name.find('.', 14)));
            }
        }
        return processes.size();
    }

    // Beside the rings: what the client itself keeps in /root.
    std::set<std::string> files_of_the_host() const
    {
        std::set<std::string> files;
        for (const auto &entry : fs::recursive_directory_iterator(folder.path)) {
            if (!entry.is_directory() && !entry.path().filename().string().starts_with("kelvane_trace.")) {
                files.insert(entry.path().filename());
            }
        }
        return files;
    }

    void expect_an_orderly_end()
    {
        process verb({CARD_SIMULATOR, "--send", "--host", host, "quit"}, {});
        EXPECT_EQ(verb.wait(), 0);
        EXPECT_EQ(card->wait(), 0);
        EXPECT_EQ(files_of_the_host(), std::set<std::string>());
    }

    const uint64_t seed = first_seed();
    std::mt19937_64 random;
};

using card_that_is_killed = killed;
using host_that_is_killed = killed;

TEST_P(card_that_is_killed, is_a_removed_card)
{
    SCOPED_TRACE("KELVANE_KILL_SEED=" + std::to_string(seed));
    for (int point = 0; point < POINTS; point++) {
        SCOPED_TRACE("point " + std::to_string(point));
        ASSERT_NO_FATAL_FAILURE(start_card());
        ASSERT_NO_FATAL_FAILURE(start_client());
        ASSERT_NO_FATAL_FAILURE(work_up_to_a_random_point());
        EXPECT_EQ(card->kill(), -9);

        const auto start = std::chrono::steady_clock::now();
        client->write("read 1 9000\nquit\n");
        ASSERT_EQ(client->wait(), 0);
        EXPECT_LT(std::chrono::steady_clock::now() - start, AT_ONCE);
        EXPECT_TRUE(client->err.ends_with("failed\n"
                                          ">>> ERROR <<<Failed to read register 00009000  \n"
                                          ">>> ERROR <<<Failed to read register \n"))
            << client->err;
        EXPECT_LE(processes_with_rings(), 2u);
    }
    ASSERT_NO_FATAL_FAILURE(start_card());
    ASSERT_NO_FATAL_FAILURE(start_client());
    EXPECT_TRUE(type("read 1 9000").ends_with("passed\n"));
    client->write("quit\n");
    EXPECT_EQ(client->wait(), 0);
    expect_an_orderly_end();
}

template <typename condition> bool comes_true(condition holds)
{
    for (const auto end = std::chrono::steady_clock::now() + AT_ONCE; !holds();) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

// What the card holds of each client: its socket.
size_t open_files(const std::string &folder)
{
    size_t count = 0;
    for ([[maybe_unused]] const auto &entry : fs::directory_iterator(folder)) {
        count++;
    }
    return count;
}

TEST_P(host_that_is_killed, makes_room_for_the_next_one)
{
    SCOPED_TRACE("KELVANE_KILL_SEED=" + std::to_string(seed));
    folder.write("verbs", "laser-time 50\n");
    ASSERT_NO_FATAL_FAILURE(start_card({"--script", folder.path + "/verbs"}));
    fs::remove(folder.path + "/verbs");
    const std::string descriptors = "/proc/" + std::to_string(card->pid()) + "/fd";
    EXPECT_TRUE(comes_true([&] { return !fs::exists(descriptors + "/1"); })); // closed once it is ready
    const size_t without_client = open_files(descriptors);
    for (int point = 0; point < POINTS; point++) {
        SCOPED_TRACE("point " + std::to_string(point));
        const auto start = std::chrono::steady_clock::now();
        const bool asynchronous = point % 2 != 0;
        ASSERT_NO_FATAL_FAILURE(
            start_client(asynchronous ? std::vector<std::string>{"-a", "1"} : std::vector<std::string>{}));
        EXPECT_LT(std::chrono::steady_clock::now() - start, AT_ONCE);
        EXPECT_EQ(client->err.find("failed"), std::string::npos) << client->err;
        EXPECT_TRUE(type("read 1 9000").ends_with("passed\n")) << client->err;
        ASSERT_NO_FATAL_FAILURE(asynchronous ? request_up_to_a_random_point() : work_up_to_a_random_point());
        EXPECT_EQ(client->kill(), -9);
        EXPECT_EQ(client->err.find("failed"), std::string::npos) << client->err;
        EXPECT_TRUE(comes_true([&] { return open_files(descriptors) == without_client; }))
            << open_files(descriptors) << " instead of " << without_client;
        EXPECT_LE(processes_with_rings(), 2u);
    }
    ASSERT_NO_FATAL_FAILURE(start_client());
    EXPECT_TRUE(type("read 1 9000").ends_with("passed\n"));
    client->write("quit\n");
    EXPECT_EQ(client->wait(), 0);
    expect_an_orderly_end();
}

INSTANTIATE_TEST_SUITE_P(at_random_points, card_that_is_killed, testing::Range(0, SHARES));
INSTANTIATE_TEST_SUITE_P(at_random_points, host_that_is_killed, testing::Range(0, SHARES));

} // namespace
