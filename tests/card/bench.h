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
//     link                      the host resets the mailboxes, as when it comes
//     image                     an image of 4 bytes and its digest stand in the download memory
//     wait 14 0 2 4 = 0 100     a command that takes its time: error word, and the milliseconds
//
// What stands behind a # is a remark. b is the board's address, s1 a sirane's, m10 the one of port 0's module
// there, h12 of its host port 2; 7*3 is the word 7 three times.
#ifndef TESTS_CARD_BENCH_H
#define TESTS_CARD_BENCH_H

#include <algorithm>
#include <cstdint>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "card_simulator/card.h"
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
        link_up();
    }

    uint32_t read(uint32_t offset) const
    {
        return card_host_read(card_.get(), offset);
    }

    words read(uint32_t offset, size_t count) const
    {
        words all(count);
        std::ranges::generate(all, [&] { return read(std::exchange(offset, offset + 4)); });
        return all;
    }

    void write(uint32_t offset, uint32_t value) const
    {
        card_host_write(card_.get(), offset, value);
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
    words take(uint32_t base) const
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
            got[3] = 0; // the layout's version
            EXPECT_EQ(words(got.begin(), got.begin() + 5),
                      (words{message[0], reference, static_cast<uint32_t>(message.size() - 1), 0, sync}));
            got.erase(got.begin(), got.begin() + 5);
        }
        return got;
    }

    void pass(uint64_t nanoseconds)
    {
        time.advance(nanoseconds);
        card_step(card_.get());
    }

    std::string verb(const std::string &line, int32_t expected = 0) const
    {
        std::string answer;
        EXPECT_EQ(card_verb(card_.get(), line.c_str(), &answer), expected) << line << ": " << answer;
        return answer;
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
    uint32_t reference = 0x1234, sync = 0xFF00FF00;

  private:
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

    static uint32_t word_of(const std::string &text)
    {
        const auto digit = [&text](size_t i) { return static_cast<uint32_t>(text.at(i) - '0'); };
        return text[0] == 'b'   ? 0xF0FFFFFF
               : text[0] == 's' ? 0xFF00FFFF | digit(1) << 16
               : text[0] == 'm' ? 0xFF0000FF | digit(1) << 16 | digit(2) << 8
               : text[0] == 'h' ? 0xFF00FF00 | digit(1) << 16 | digit(2)
                                : static_cast<uint32_t>(std::stoll(text, nullptr, 0));
    }

    void write_image() const
    {
        std::istringstream digest("6cc307a7ec2e27a14f140a7161c487cf"); // as md5sum tells it
        for (uint32_t at = 0x02000000; at < 0x02000020; at += 4) {
            uint32_t word = 0;
            digest.read(reinterpret_cast<char *>(&word), 4);
            write(at, word);
        }
        write(0x02000040, 0x13579BDF);
    }

    // Error word and milliseconds; only the firmware's time passes.
    words wait_for(const words &message)
    {
        words got = run(message);
        uint32_t ms = 0;
        for (; got.empty() && ms < 1000; ms++) {
            pass(1000000);
            got = take_answer();
            got.erase(got.begin(), got.begin() + (got.empty() ? 0 : 5));
        }
        return {got.empty() ? 0xBAD : got[0], ms};
    }

    void play_step(const std::string &step, const std::string &kind, const std::string &rest,
                   const std::string &expected)
    {
        if (kind == ">" || kind == "!") {
            const std::string answer = verb(rest, kind == ">" ? 0 : 22);
            EXPECT_NE(answer.find(expected), std::string::npos) << answer;
            return;
        }
        const auto number = [&rest](int base) {
            return static_cast<uint32_t>(std::stoul(rest, nullptr, base));
        };
        words wanted = words_of(expected), got;
        if (kind == "t") {
            pass(uint64_t{number(10)} * (rest.ends_with("ms") ? 1000000 : 1000000000));
        } else if (kind == "w") {
            for (const uint32_t value : words_of(rest.substr(rest.find(' ')))) {
                write(number(16), value);
            }
        } else if (kind == "r") {
            got = read(number(16), wanted.size());
        } else if (kind == "take") {
            got = take(0x01C00000 + number(16));
        } else if (kind == "offer") {
            got = {offer(words_of(rest))};
        } else if (kind == "events" || kind == "irq") {
            for (got = {0}; card_take_interrupt(card_.get()); got[0]++) {
                write(0x24, kind == "irq" ? 7 : 0);
            }
        } else if (kind == "reference" || kind == "sync") {
            (kind == "sync" ? sync : reference) = number(0);
        } else if (kind == "link") {
            link_up();
        } else if (kind == "image") {
            write_image();
        } else if (kind == "wait") {
            got = wait_for(words_of(rest));
            wanted.resize(2, got[1]);
        } else {
            const bool other = kind.ends_with(':'); // sirane
            got = run(words_of(other ? rest : step),
                      other ? 0x01C00000 + (kind[0] - '0') * 0x100000u : 0x01C00000);
            wanted = expected.empty() ? words{0} : wanted;
            got.resize(std::min(got.size(), expected == "none" ? got.size() : wanted.size()));
        }
        EXPECT_EQ(got, wanted);
    }

    std::unique_ptr<card, decltype(&card_destroy)> card_{nullptr, card_destroy};
};

#endif
