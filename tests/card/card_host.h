// A host in the test's own hand: it moves words over the bus of a simulated card, by the addresses of
// sirane 0 typed in full, and adds 0x00100000 for each sirane further.
#ifndef TESTS_CARD_SIMULATOR_CARD_HOST_H
#define TESTS_CARD_SIMULATOR_CARD_HOST_H

#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "card_simulator/card.h"

struct card_host {
    explicit card_host(const card_options &options = {}) : it(card_create(options))
    {
    }
    ~card_host()
    {
        card_destroy(it);
    }
    card_host(const card_host &) = delete;
    card_host &operator=(const card_host &) = delete;

    uint32_t read(uint32_t offset) const
    {
        return card_host_read(it, offset);
    }

    void write(uint32_t offset, uint32_t value)
    {
        card_host_write(it, offset, value);
    }

    bool interrupted()
    {
        return card_take_interrupt(it);
    }

    // An accepted verb's answer.
    std::string verb(const char *line)
    {
        std::string answer;
        EXPECT_EQ(card_verb(it, line, &answer), 0) << line << ": " << answer;
        return answer;
    }

    std::string refused_verb(const char *line)
    {
        std::string answer;
        EXPECT_EQ(card_verb(it, line, &answer), 22) << line;
        return answer;
    }

    // Brings the mailboxes of all siranes to idle, as a host does when the link comes up.
    void link_up()
    {
        for (const uint32_t state : {0u, 2u}) {
            for (const uint32_t base : {0x01C00000u, 0x01D00000u, 0x01E00000u}) {
                for (const uint32_t mailbox : {0x0000u, 0x2000u, 0x8000u, 0x4000u}) {
                    write(base + mailbox, state);
                }
            }
        }
    }

    void enable_interrupts()
    {
        write(0x01804000, 0x11);
        write(0x20, 0x7);
    }

    // Writes a message into the command mailbox and offers it; what the firmware then shows.
    uint32_t offer(uint32_t command, const std::vector<uint32_t> &data, uint32_t sirane = 0,
                   uint32_t sync = 0xFF00FF00)
    {
        const uint32_t base = 0x01C00000 + sirane * 0x00100000;
        const uint32_t header[6] = {command, reference, static_cast<uint32_t>(data.size()), 0, sync, 0};
        for (uint32_t i = 0; i < 6; i++) {
            write(base + 0x0100 + 4 * i, header[i]);
        }
        for (uint32_t i = 0; i < data.size(); i++) {
            write(base + 0x0118 + 4 * i, data[i]);
        }
        write(base, 4);
        return read(base + 0x0004);
    }

    struct received {
        bool there = false;
        uint32_t header[6] = {};
        std::vector<uint32_t> data;
    };

    // Takes what a mailbox offers (0x2000 answers, 0x4000 alarms, 0x8000 performance) and closes the
    // handshake.
    received take(uint32_t mailbox, uint32_t sirane = 0)
    {
        const uint32_t base = 0x01C00000 + mailbox + sirane * 0x00100000;
        received got;
        if (read(base + 0x0004) != 4) {
            return got;
        }
        got.there = true;
        for (uint32_t i = 0; i < 6; i++) {
            got.header[i] = read(base + 0x0100 + 4 * i);
        }
        for (uint32_t i = 0; i < got.header[2] && i < 1978; i++) {
            got.data.push_back(read(base + 0x0118 + 4 * i));
        }
        write(base, 4);
        EXPECT_EQ(read(base + 0x0004), 2u);
        write(base, 2);
        return got;
    }

    // The next answer; notices of modules and restarts before it are passed over.
    received take_answer(uint32_t sirane = 0)
    {
        received got = take(0x2000, sirane);
        while (got.there && (got.header[0] == 37 || got.header[0] == 41)) {
            got = take(0x2000, sirane);
        }
        return got;
    }

    // Header and data of what a mailbox offers, one after the other; nothing when it offers nothing.
    std::vector<uint32_t> take_words(uint32_t mailbox, uint32_t sirane = 0)
    {
        const received got = take(mailbox, sirane);
        std::vector<uint32_t> words;
        if (got.there) {
            words.assign(got.header, got.header + 6);
            words.insert(words.end(), got.data.begin(), got.data.end());
        }
        return words;
    }

    received run(uint32_t command, const std::vector<uint32_t> &data, uint32_t sirane = 0)
    {
        EXPECT_EQ(offer(command, data, sirane), 4u);
        write(0x01C00000 + sirane * 0x00100000, 2);
        return take_answer(sirane);
    }

    // A command that gets no answer: a subscription.
    void send(uint32_t command, const std::vector<uint32_t> &data, uint32_t sirane = 0,
              uint32_t sync = 0xFF00FF00)
    {
        EXPECT_EQ(offer(command, data, sirane, sync), 4u);
        write(0x01C00000 + sirane * 0x00100000, 2);
    }

    // The error word of a command's answer.
    uint32_t error_of(uint32_t command, const std::vector<uint32_t> &data)
    {
        const received got = run(command, data);
        EXPECT_TRUE(got.there);
        EXPECT_EQ(got.header[2], data.size());
        return got.header[5];
    }

    uint32_t register_of(uint32_t device_address, uint32_t number)
    {
        const received got = run(9, {0, device_address, number, 0});
        EXPECT_EQ(got.header[5], 0u);
        return got.data.size() == 4 ? got.data[3] : 0xBAD;
    }

    card *it;
    uint32_t reference = 0x1234; // of the commands
};

#endif
