// A card on the bench of a test: virtual time, a host in the test's own hand that moves words over the bus,
// and scripts of steps for both, one a line or several with semicolons between.
//
//     > unplug 3 = text         a verb that is accepted; the text is a part of its answer
//     ! plug 10 = DEV is 0      a verb that is refused
//     get_laser m00 0 = 0 1     a command over sirane 0's mailbox, and its answer: error word and first words
//                               after handle and address, or `none`; an error word of 0 when nothing is said
//     m01 0 = 0x8050000F        the latest command once more, with other words
//     1: get_laser m10 0        over sirane 1's mailbox
//     offer get_laser m00 0 = 4 what F shows when the host only offers the command
//     take 4000 = none          header and words that the mailbox at 0x01C04000 offers
//     r 1c00004 = 2 0           words of the BAR, one after the other
//     text 3f00020 = LOG        the letters that begin there
//     w 1c00000 4 2             the same word written as 4, then as 2
//     t 300ms                   time passes
//     events = 1                interrupts that came; `irq` clears the pending bits after each
//     reference 0x51            of the commands from now on; `sync 13` and `handle 7` likewise
//     link                      the host resets the mailboxes, as when it comes
//
// What follows a # is a remark. b is the board's address, s1 a sirane's, m10 the one of port 0's module
// there, h12 of its host port 2; 7*3 is the word 7 three times.
#ifndef TESTS_CARD_BENCH_H
#define TESTS_CARD_BENCH_H

#include <algorithm>
#include <memory>
#include <sstream>

#include <gtest/gtest.h>

#include "card_simulator/card.h"
#include "kelvane_commands.h"
#include "support/virtual_time.h"

// A test that is a script and nothing else.
#define SCRIPT(suite, name, ...)                                                                             \
    TEST_F(suite, name)                                                                                      \
    {                                                                                                        \
        play(__VA_ARGS__);                                                                                   \
    }

using words = std::vector<uint32_t>;

class bench : public testing::Test {
  protected:
    bench()
    {
        start({});
    }

    // Another card in place of the one that is there; its mailboxes are idle.
    void start(const card_options &options)
    {
        card_.reset(card_create(options));
        play("link");
    }

    words read(uint32_t offset, size_t count) const
    {
        words all(count);
        for (size_t i = 0; i < count; i++) {
            all[i] = card_host_read(card_.get(), offset + 4 * i);
        }
        return all;
    }

    void write(uint32_t offset, uint32_t value) const
    {
        card_host_write(card_.get(), offset, value);
    }

    // Writes a message into a sirane's command mailbox and offers it; what the firmware then shows.
    words offer(const words &message, uint32_t base = 0x01C00000) const
    {
        words all = {message.at(0), reference, static_cast<uint32_t>(message.size()), 0, sync, 0, handle};
        all.insert(all.end(), message.begin() + 1, message.end());
        for (uint32_t i = 0; i < all.size(); i++) {
            write(base + 0x100 + 4 * i, all[i]);
        }
        write(base, 4);
        return read(base + 4, 1);
    }

    // Header and words of what a mailbox offers; nothing when it offers nothing.
    words take(uint32_t base) const
    {
        if (read(base + 4, 1) != words{4}) {
            return {};
        }
        const words got = read(base + 0x100, 6 + read(base + 0x108, 1)[0]);
        write(base, 4);
        write(base, 2);
        return got;
    }

    // Header and words of the answer to a command; notices before it are taken along.
    words run(const std::string &command, uint32_t base = 0x01C00000) const
    {
        const words message = words_of(command);
        EXPECT_EQ(offer(message, base), words{4});
        write(base, 2);
        words got;
        do {
            got = take(base + 0x2000);
        } while (!got.empty() && got[0] != message[0]);
        EXPECT_TRUE(got.empty() || (words{got[1], got[2], got[4], got[6]} ==
                                    words{reference, static_cast<uint32_t>(message.size()), sync, handle}));
        EXPECT_TRUE(got.size() < 8 || got[7] == message[1]);
        return got;
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

    void play(const std::string &script)
    {
        std::istringstream lines(script);
        for (std::string line; std::getline(lines, line);) {
            std::istringstream steps(line.substr(0, line.find(" # ")));
            for (std::string step; std::getline(steps >> std::ws, step, ';');) {
                SCOPED_TRACE(step);
                const size_t equals = step.find(" = "), blank = step.find(' ');
                const std::string expected = equals < step.size() ? step.substr(equals + 3) : "";
                step.resize(std::min(equals, step.size()));
                play_step(step, step.substr(0, blank), blank < step.size() ? step.substr(blank + 1) : "",
                          expected);
            }
        }
    }

    virtual_time time;
    uint32_t reference = 0x1234, sync = 0xFF00FF00, handle = 0;

  private:
    static uint32_t word_of(const std::string &text)
    {
        const auto command = std::ranges::find(command_names, text) - command_names;
        const auto digit = [&text](size_t i) { return static_cast<uint32_t>(text.at(i) - '0'); };
        return command < COMMAND_COUNT ? static_cast<uint32_t>(command)
               : text[0] == 'b'        ? 0xF0FFFFFF
               : text[0] == 's'        ? 0xFF00FFFF | digit(1) << 16
               : text[0] == 'm'        ? 0xFF0000FF | digit(1) << 16 | digit(2) << 8
               : text[0] == 'h'        ? 0xFF00FF00 | digit(1) << 16 | digit(2)
                                       : static_cast<uint32_t>(std::stoll(text, nullptr, 0));
    }

    void play_step(const std::string &step, const std::string &kind, const std::string &rest,
                   const std::string &expected)
    {
        const auto number = [&rest](int base) { return std::stoul(rest, nullptr, base); };
        if (kind == ">" || kind == "!") {
            std::string answer;
            EXPECT_EQ(card_verb(card_.get(), rest.c_str(), &answer), kind == ">" ? 0 : 22) << answer;
            EXPECT_NE(answer.find(expected), std::string::npos) << answer;
            return;
        }
        if (kind == "text") {
            const words letters = read(number(16), expected.size() / 4 + 1);
            EXPECT_EQ(std::string(reinterpret_cast<const char *>(letters.data()), expected.size()), expected);
            return;
        }
        words wanted = words_of(expected), got;
        if (kind == "t") {
            time.advance(uint64_t{number(10)} * (rest.ends_with("ms") ? 1000000 : 1000000000));
            card_step(card_.get());
        } else if (kind == "w") {
            for (const uint32_t value : words_of(rest.substr(rest.find(' ')))) {
                write(number(16), value);
            }
        } else if (kind == "r") {
            got = read(number(16), wanted.size());
        } else if (kind == "take") {
            got = take(0x01C00000 + number(16));
        } else if (kind == "offer") {
            got = offer(words_of(rest));
        } else if (kind == "events" || kind == "irq") {
            for (got = {0}; card_take_interrupt(card_.get()); got[0]++) {
                write(0x24, kind == "irq" ? 7 : 0);
            }
        } else if (kind == "reference" || kind == "sync" || kind == "handle") {
            (kind == "sync" ? sync : kind == "handle" ? handle : reference) = number(0);
        } else if (kind == "link") {
            play("w 1c00000 0 2; w 1c02000 0 2; w 1c04000 0 2; w 1c08000 0 2; w 1d00000 0 2; w 1d02000 0 2;"
                 "w 1d04000 0 2; w 1d08000 0 2; w 1e00000 0 2; w 1e02000 0 2; w 1e04000 0 2; w 1e08000 0 2");
        } else {
            const bool other = kind.ends_with(':'); // sirane
            const std::string said = other ? rest : step, name = said.substr(0, said.find(' '));
            const bool again = std::ranges::count(command_names, name) == 0;
            latest_ = again ? latest_ : name;
            got = run(again ? latest_ + " " + said : said,
                      0x01C00000 + (other ? (kind[0] - '0') * 0x100000u : 0));
            if (!got.empty()) { // error word, and what follows handle and address
                got.erase(got.begin() + 6, got.begin() + std::min<ptrdiff_t>(8, std::ssize(got)));
                got.erase(got.begin(), got.begin() + 5);
            }
            wanted = expected.empty() ? words{0} : wanted;
            got.resize(std::min(got.size(), expected == "none" ? got.size() : wanted.size()));
        }
        EXPECT_EQ(got, wanted);
    }

    std::string latest_; // command
    std::unique_ptr<card, decltype(&card_destroy)> card_{nullptr, card_destroy};
};

#endif
