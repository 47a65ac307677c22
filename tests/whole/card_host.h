// A simulated card and its hosts, the real programs, on a host's tree that is the test's own.
#ifndef TESTS_SYSTEM_CARD_HOST_H
#define TESTS_SYSTEM_CARD_HOST_H

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/temporary_folder.h"
#include "whole/process.h"

constexpr const char *PROMPT = ">>> \n>>> Please enter input :";

class card_host : public testing::Test {
  protected:
    // Returns when a host finds the card.
    void start_card(const std::vector<std::string> &options = {})
    {
        std::vector<std::string> words = {CARD_SIMULATOR, "--quiet", "--host", host, "--ready-fd", "1"};
        words.insert(words.end(), options.begin(), options.end());
        card.emplace(words, environment);
        ASSERT_TRUE(card->wait_for_output(host + "\n"));
    }

    // Up to the first prompt.
    void start_client(const std::vector<std::string> &options = {})
    {
        std::vector<std::string> words = {MOCK_CLIENT};
        words.insert(words.end(), options.begin(), options.end());
        client.emplace(words, environment);
        ASSERT_TRUE(client->wait_for_output(PROMPT));
    }

    // One command, up to the next prompt. Returns what came on standard error.
    std::string type(const std::string &line)
    {
        const size_t before = client->err.size();
        client->write(line + "\n");
        EXPECT_TRUE(client->wait_for_output(PROMPT));
        return client->err.substr(before);
    }

    temporary_folder folder;
    const std::string host = std::filesystem::canonical(folder.path).string() + "/the host";
    const std::vector<std::string> environment = {"KELVANE_HOST_ROOT=" + host,
                                                  "KELVANE_TRACE_DIR=" + folder.path};
    std::optional<process> card;
    std::optional<process> client;
};

#endif
