// What is left when the card or a host ends at the worst moment.
#include <chrono>

#include "whole/card_host.h"

namespace {

using card_that_dies = card_host;
using host_that_dies = card_host;

TEST_F(card_that_dies, makes_every_exchange_fail_at_once)
{
    ASSERT_NO_FATAL_FAILURE(start_card());
    ASSERT_NO_FATAL_FAILURE(start_client());
    EXPECT_EQ(card->kill(), -9);

    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(type("read 1 9010"), ">>> DEBUG <<< Device address : ff00ffff\n"
                                   ">>> DEBUG <<< Register address : 00009010\n"
                                   "failed\n"
                                   ">>> ERROR <<<Failed to read register 00009010  \n"
                                   ">>> ERROR <<<Failed to read register \n");
    EXPECT_EQ(type("write 4 9010 1"), ">>> DEBUG <<< Register address : 0x00009010\n"
                                      ">>> DEBUG <<< Device address : 0xff01ffff\n"
                                      "failed\n"
                                      ">>> ERROR <<<Failed to write to register 00009010  \n"
                                      ">>> ERROR <<<Failed to write register \n");
    EXPECT_EQ(type("version 1"), ">>> DEBUG <<< Input buffer: ( 1)\n"
                                 ">>> DEBUG <<< Word after tokenize: (1)\n"
                                 "failed\n");
    EXPECT_EQ(type("sirane_reset 7"), ">>> ERROR <<<Failed to reset the sirane 7, rc=0xfaab\n");
    EXPECT_EQ(type("init_sirane 1"), ">>> DEBUG <<< Sirane init sequence for device (1)\n"
                                     "failed\n"
                                     "Diag command (low power) failed - rc = 64171\n");
    client->write("quit\n");
    EXPECT_EQ(client->wait(), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20)); // not 300 each
}

TEST_F(card_that_dies, ends_the_client_through_laser_tout)
{
    ASSERT_NO_FATAL_FAILURE(start_card());
    ASSERT_NO_FATAL_FAILURE(start_client());
    card->kill();
    client->write("laser_tout 2\n");
    EXPECT_EQ(client->wait(), 171); // 64171, as a process status holds it
    EXPECT_TRUE(client->err.ends_with("failed\nDiag command (laser timeout err) failed\n - rc = 64171\n"));
}

TEST_F(card_that_dies, leaves_its_tree_to_the_next_card)
{
    ASSERT_NO_FATAL_FAILURE(start_card());
    card->kill();
    ASSERT_NO_FATAL_FAILURE(start_card());
    ASSERT_NO_FATAL_FAILURE(start_client());
    EXPECT_TRUE(type("read 1 9000").ends_with("passed\n"));
}

// The default state, which a client asks for as it starts, is refused here: it would take the register's
// value away. The reset in whose middle the first client dies would be answered after a minute.
TEST_F(host_that_dies, leaves_the_card_as_it_was)
{
    folder.write("verbs", "error 16 ORDUNE_OPERATION_NOT_ALLOWED always\ndelay 59 60000 always\n");
    ASSERT_NO_FATAL_FAILURE(start_card({"--script", folder.path + "/verbs"}));
    ASSERT_NO_FATAL_FAILURE(start_client());
    EXPECT_TRUE(type("write 1 9010 1234")
                    .ends_with("passed\n>>> DEBUG <<< Value of register written "
                               "0x00009010 : 0x00001234  \n"));
    client->write("sirane_reset 4\n");
    ASSERT_TRUE(client->wait_for_output("Calling sirane reset for device 4 (0xff01ffff)\n"));
    EXPECT_EQ(client->kill(), -9);

    ASSERT_NO_FATAL_FAILURE(start_client());
    for (const auto &[line, answer] :
         {std::pair("read 1 9010\n", "on device 0xff00ffff is 0x00001234  \n"),
          std::pair("read 4 9000\n", "on device 0xff01ffff is 0x000051a0  \n")}) {
        client->write(line);
        EXPECT_TRUE(client->wait_for_output(answer));
    }
    client->write("quit\n");
    EXPECT_EQ(client->wait(), 0);
}

} // namespace
