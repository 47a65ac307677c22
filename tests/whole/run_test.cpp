// ./run, the front door: it is the client, and the card is its.
#include <fcntl.h>
#include <fstream>
#include <sys/file.h>
#include <unistd.h>

#include "whole/card_host.h"

namespace {

class run : public card_host {
  protected:
    run()
    {
        EXPECT_EQ(chdir("/"), 0); // it works from anywhere
    }

    process start(std::vector<std::string> options)
    {
        std::vector<std::string> words = {RUN};
        words.insert(words.end(), options.begin(), options.end());
        std::vector<std::string> variables = {"KELVANE_BUILD=" BUILD_FOLDER};
        variables.insert(variables.end(), environment.begin(), environment.end());
        return process(words, variables);
    }

    // A card holds the lock of its tree as long as it lives.
    void expect_that_the_card_ends() const
    {
        const int fd = open((host + "/card.lock").c_str(), O_RDONLY | O_CLOEXEC);
        if (fd >= 0) {
            EXPECT_EQ(flock(fd, LOCK_EX), 0);
            close(fd);
        }
    }
};

TEST_F(run, is_the_client_on_the_card_that_is_asked_for)
{
    process door = start({"--firmware", "5.21", "--host", host, "--log"});
    door.write("read 1 9010\nquit\n");
    EXPECT_EQ(door.wait(), 0);
    EXPECT_NE(door.out.find(">>> Running Firmware Version for device (0): (5.15)\n"), std::string::npos);
    EXPECT_TRUE(door.out.ends_with(">>> Value of register 0x00009010 on device 0xff00ffff is 0x00000001  \n"
                                   ">>> \n>>> Please enter input :"));
    EXPECT_TRUE(door.err.starts_with(">>> DEBUG <<< Initialzing PCIe : Done\n"));
    expect_that_the_card_ends();
    EXPECT_GT(std::filesystem::file_size(host + "/root/kelvane.log"), 1000u);
    EXPECT_FALSE(std::filesystem::exists(host + "/dev"));
}

TEST_F(run, has_the_clients_status_and_tells_its_own_failures_apart)
{
    folder.write("verbs", "error 13 80100015 always\n");
    process refused = start({"--script=" + folder.path + "/verbs", "--host=" + host, "--", "-a", "x"});
    refused.write("laser_tout 1\n");
    EXPECT_EQ(refused.wait(), 0x15);

    process bad_card = start({"--firmware", "new", "--host", host});
    EXPECT_EQ(bad_card.wait(), 125);
    EXPECT_EQ(bad_card.out, "");

    process bad_option = start({"-w", "1"});
    EXPECT_EQ(bad_option.wait(), 125);
    EXPECT_EQ(bad_option.err,
              "run: unknown option -w; --help tells more, and options of mock_client go behind --\n");
}

TEST_F(run, takes_the_card_along_when_it_is_killed)
{
    process door = start({"--host", host});
    ASSERT_TRUE(door.wait_for_output(PROMPT));
    EXPECT_EQ(door.kill(), -9);
    expect_that_the_card_ends();

    process next = start({"--host", host});
    next.write("quit\n");
    EXPECT_EQ(next.wait(), 0);
}

} // namespace
