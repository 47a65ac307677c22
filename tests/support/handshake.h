// The firmware's half of the handshake on the_bar, for tests that look at the library's half: it accepts
// every command on sirane 0 and answers it at once.
#ifndef TESTS_SUPPORT_HANDSHAKE_H
#define TESTS_SUPPORT_HANDSHAKE_H

#include "support/recorded_bar.h"

struct answering_firmware {
    uint32_t rc = 0;
    std::vector<uint32_t> data; // the answer's words; empty: an echo of the request's
    bool refuse = false;        // shows 16 instead of 4
    bool answer = true;         // false: accepts and stays silent
    std::function<void(std::vector<uint32_t> &header)> spoil; // of the answer
    std::vector<uint32_t> request_header;                     // of the last command
    std::vector<uint32_t> request_data;

    // Of the library's next request; they count up from there.
    static void next_reference(uint32_t reference);

    // Shows idle everywhere and hooks itself into the_bar, where it must outlive its use.
    void install();

  private:
    void on_write(uint32_t offset, uint32_t value);
    void offer_answer();

    bool taken_ = false; // a command, whose answer follows the host's idle
};

// The addresses of sirane 0, typed out.
constexpr uint32_t COMMAND_H = 0x01C00000;
constexpr uint32_t COMMAND_F = 0x01C00004;
constexpr uint32_t COMMAND_AREA = 0x01C00100;
constexpr uint32_t RESPONSE_H = 0x01C02000;
constexpr uint32_t RESPONSE_F = 0x01C02004;
constexpr uint32_t RESPONSE_AREA = 0x01C02100;
constexpr uint32_t ALARM_H = 0x01C04000;
constexpr uint32_t PERFORMANCE_H = 0x01C08000;

// Puts a message on offer in the mailbox whose registers start at `base`: the response mailbox of sirane 0.
void offer_message(std::vector<uint32_t> message, const std::vector<uint32_t> &data,
                   uint32_t base = RESPONSE_H);

#endif
