// A card on the bench of a test: virtual time, a host in the test's own hand that moves words over the bus,
// and scripts of steps for both, one a line or several with semicolons between.
//
//     > unplug 3 = text         a verb that is accepted; the text is a part of its answer
//     ! plug 10 = DEV is 0      a verb that is refused
//     9 0 s0 0x9010 0 = 0 0 s0  a command over sirane 0's mailbox: error word and first words of the answer,
//                               or `none`; an error word of 0 and nothing else when nothing is said
//     1: 9 0 s1 0x9010 0        over sirane 1's mailbox
//     offer 9 0 s0 = 16         what F shows when the host only offers the command
//     take 4000 = none          header and words that the mailbox at 0x01C04000 offers
//     r 1c00004 = 2 0           words of the BAR, one behind the other
//     w 1c00000 4 2             the same word written as 4, then as 2
//     t 300ms                   time passes
//     events = 1                interrupts that came; `irq` clears the pending bits after each
//     reference 0x51            of the commands from now on; `sync 13` likewise
//
// What stands behind a # is a remark. b is the board's address, s1 a sirane's, m10 the one of port 0's module
// there, h12 of its host port 2; 7*3 is the word 7 three times.
#ifndef TESTS_CARD_BENCH_H
#define TESTS_CARD_BENCH_H

#include <cstdint>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "card_simulator/card.h"
#include "support/virtual_time.h"

using words = std::vector<uint32_t>;

class bench : public testing::Test {
  protected:
    bench()
    {
        start({});
    }
    ~bench() override
    {
        card_destroy(it);
    }

    // A card in place of the one that may be there; its mailboxes are idle.
    void start(const card_options &options)
    {
        if (it != nullptr) {
            card_destroy(it);
        }
        it = card_create(options);
        link_up();
    }

    void link_up() const
    {
        for (const uint32_t state : {0, 2}) {
            for (const uint32_t mailbox : {0x01C00000, 0x01C02000, 0x01C08000, 0x01C04000}) {
                for (const uint32_t sirane : {0x000000, 0x100000, 0x200000}) {
                    write(mailbox + sirane, state);
                }
            }
        }
    }

    uint32_t read(uint32_t offset) const
    {
        return card_host_read(it, offset);
    }

    words read(uint32_t offset, size_t count) const
    {
        words all;
        for (uint32_t i = 0; i < count; i++) {
            all.push_back(read(offset + 4 * i));
        }
        return all;
    }

    void write(uint32_t offset, uint32_t value) const
    {
        card_host_write(it, offset, value);
    }

    // Writes a message into a sirane's command mailbox and offers it; what the firmware then shows.
    uint32_t offer(const words &message, uint32_t base = 0x01C00000) const
    {
        words all = {message.at(0), reference, static_cast<uint32_t>(message.size() - 1), 0, sync, 0};
        all.insert(all.end(), message.begin() + 1, message.end());
        for (uint32_t i = 0; i < all.size(); i++) {
            write(base + 0x100 + 4 * i, all[i]);
        }
        write(base, 4);
        return read(base + 4);
    }

    // Header and words of what a mailbox offers; nothing when it offers nothing.
    words take(uint32_t base = 0x01C02000) const
    {
        if (read(base + 4) != 4) {
            return {};
        }
        const words got = read(base + 0x100, 6 + read(base + 0x108));
        write(base, 4);
        EXPECT_EQ(read(base + 4), 2u);
        write(base, 2);
        return got;
    }

    // The next message that is no notice of a module or a restart.
    words take_answer(uint32_t base = 0x01C02000) const
    {
        words got = take(base);
        while (!got.empty() && (got[0] == 37 || got[0] == 41)) {
            got = take(base);
        }
        return got;
    }

    // Error word and words of the answer to a command.
    words run(const words &message, uint32_t base = 0x01C00000) const
    {
        EXPECT_EQ(offer(message, base), 4u);
        write(base, 2);
        words got = take_answer(base + 0x2000);
        if (!got.empty()) {
            EXPECT_EQ(words(got.begin(), got.begin() + 3),
                      (words{message[0], reference, static_cast<uint32_t>(message.size() - 1)}));
            EXPECT_EQ(got[4], sync);
            got.erase(got.begin(), got.begin() + 5);
        }
        return got;
    }

    void pass(uint64_t nanoseconds)
    {
        time.advance(nanoseconds);
        card_step(it);
    }

    std::string verb(const std::string &line, int32_t expected = 0) const
    {
        std::string answer;
        EXPECT_EQ(card_verb(it, line.c_str(), &answer), expected) << line << ": " << answer;
        return answer;
    }

    void play(const std::string &script)
    {
        std::istringstream lines(script);
        for (std::string line; std::getline(lines, line);) {
            std::istringstream steps(line.substr(0, line.find(" # ")));
            for (std::string step; std::getline(steps >> std::ws, step, ';');) {
                SCOPED_TRACE(step);
                const size_t equals = step.find(" = ");
                play_step(step.substr(0, equals), equals < step.size() ? step.substr(equals + 3) : "");
            }
        }
    }

    virtual_time time;
    card *it = nullptr;
    uint32_t reference = 0x1234, sync = 0xFF00FF00;

    static uint32_t word_of(const std::string &text)
    {
        const auto digit = [&text](size_t i) { return static_cast<uint32_t>(text.at(i) - '0'); };
        switch (text[0]) {
        case 'b':
            return 0xF0FFFFFF;
        case 's':
            return 0xFF00FFFF | digit(1) << 16;
        case 'm':
            return 0xFF0000FF | digit(1) << 16 | digit(2) << 8;
        case 'h':
            return 0xFF00FF00 | digit(1) << 16 | digit(2);
        default:
            return static_cast<uint32_t>(std::stoll(text, nullptr, 0));
        }
    }

    static words words_of(const std::string &text)
    {
        words all;
        std::istringstream in(text == "none" ? "" : text);
        for (std::string word; in >> word;) {
            const size_t star = word.find('*');
            all.insert(all.end(), star < word.size() ? std::stoul(word.substr(star + 1)) : 1, word_of(word));
        }
        return all;
    }

  private:
    uint32_t count_events(bool clear) const
    {
        uint32_t count = 0;
        for (; card_take_interrupt(it); count++) {
            if (clear) {
                write(0x24, 7);
            }
        }
        return count;
    }

    void play_step(const std::string &step, const std::string &expected)
    {
        std::istringstream in(step);
        std::string kind, rest;
        in >> kind >> std::ws;
        std::getline(in, rest);
        const uint32_t sirane_base = kind[1] == ':' ? 0x01C00000 + (kind[0] - '0') * 0x100000u : 0x01C00000;
        words wanted = kind == ">" || kind == "!" ? words{} : words_of(expected), got;
        if (kind == ">" || kind == "!") {
            const std::string answer = verb(rest, kind == ">" ? 0 : 22);
            EXPECT_NE(answer.find(expected), std::string::npos) << answer;
        } else if (kind == "t") {
            pass(std::stoull(rest) * (rest.ends_with("ms")   ? 1000000
                                      : rest.ends_with("ns") ? 1
                                                             : 1000000000));
        } else if (kind == "w") {
            const words values = words_of(rest.substr(rest.find(' ')));
            for (const uint32_t value : values) {
                write(static_cast<uint32_t>(std::stoul(rest, nullptr, 16)), value);
            }
        } else if (kind == "r") {
            got = read(static_cast<uint32_t>(std::stoul(rest, nullptr, 16)), wanted.size());
        } else if (kind == "take") {
            got = take(0x01C00000 + static_cast<uint32_t>(std::stoul(rest, nullptr, 16)));
        } else if (kind == "offer") {
            got = {offer(words_of(rest))};
        } else if (kind == "events" || kind == "irq") {
            got = {count_events(kind == "irq")};
        } else if (kind == "reference" || kind == "sync") {
            (kind == "sync" ? sync : reference) = word_of(rest);
        } else {
            got = run(words_of(kind[1] == ':' ? rest : step), sirane_base);
            wanted = expected.empty() ? words{0} : wanted;
            got.resize(std::min(got.size(), expected == "none" ? got.size() : wanted.size()));
        }
        EXPECT_EQ(got, wanted);
    }
};

#endif
