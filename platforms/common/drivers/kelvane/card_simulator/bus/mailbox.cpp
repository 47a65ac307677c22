#include "card_simulator/bus/mailbox.h"

#include <algorithm>
#include <cstring>

namespace {

void show(const mbox_registers &registers, bar &bar, uint32_t state)
{
    bar_write(bar, registers.waiting_reg, state);
}

uint32_t data_address(const mbox_registers &registers)
{
    return registers.mailbox_addr + MBOX_HEADER_BYTES;
}

} // namespace

mbox_data_header message_read_header(const bar &bar, uint32_t address)
{
    uint32_t words[MBOX_HEADER_WORDS];
    for (uint32_t i = 0; i < MBOX_HEADER_WORDS; i++) {
        words[i] = bar_read(bar, address + 4 * i);
    }
    mbox_data_header header;
    std::memcpy(&header, words, sizeof header);
    return header;
}

void message_write_header(bar &bar, uint32_t address, const mbox_data_header &header)
{
    uint32_t words[MBOX_HEADER_WORDS];
    std::memcpy(words, &header, sizeof header);
    for (uint32_t i = 0; i < MBOX_HEADER_WORDS; i++) {
        bar_write(bar, address + 4 * i, words[i]);
    }
}

void inbox_start(inbox &inbox, bar &bar, const mbox_registers &registers)
{
    inbox = {};
    inbox.registers = registers;
    show(registers, bar, MBOX_STATE_IDLE);
}

bool inbox_take(inbox &inbox, bar &bar)
{
    if (inbox.holds_message || inbox.refused) {
        return false;
    }
    mailbox_message &message = inbox.message;
    message.header = message_read_header(bar, inbox.registers.mailbox_addr);
    message.data.resize(std::min(message.header.size, MBOX_DATA_WORDS));
    for (uint32_t i = 0; i < message.data.size(); i++) {
        message.data[i] = bar_read(bar, data_address(inbox.registers) + 4 * i);
    }
    return true;
}

void inbox_accept(inbox &inbox, bar &bar)
{
    inbox.holds_message = true;
    show(inbox.registers, bar, MBOX_STATE_READY);
}

void inbox_refuse(inbox &inbox, bar &bar)
{
    inbox.refused = true;
    show(inbox.registers, bar, MBOX_STATE_REFUSED);
}

bool inbox_release(inbox &inbox, bar &bar)
{
    const bool to_run = inbox.holds_message;
    inbox.holds_message = false;
    inbox.refused = false;
    show(inbox.registers, bar, MBOX_STATE_IDLE);
    return to_run;
}

void outbox_start(outbox &outbox, bar &bar, const mbox_registers &registers)
{
    outbox = {};
    outbox.registers = registers;
    outbox.host = bar_read(bar, registers.resp_reg_to_write);
    show(registers, bar, MBOX_STATE_IDLE);
}

void outbox_host_wrote(outbox &outbox, bar &bar, uint32_t state)
{
    outbox.host = state;
    if (state == MBOX_STATE_NONE) {
        outbox.queue.clear();
        outbox.offered = false;
        show(outbox.registers, bar, MBOX_STATE_IDLE);
    } else if (outbox.offered && (state == MBOX_STATE_READY || state == MBOX_STATE_REFUSED)) {
        outbox.offered = false;
        show(outbox.registers, bar, MBOX_STATE_IDLE);
    }
}

bool outbox_offer(outbox &outbox, bar &bar)
{
    if (outbox.offered || outbox.host != MBOX_STATE_IDLE || outbox.queue.empty()) {
        return false;
    }
    const mailbox_message &message = outbox.queue.front();
    for (uint32_t i = 0; i < message.data.size(); i++) {
        bar_write(bar, data_address(outbox.registers) + 4 * i, message.data[i]);
    }
    message_write_header(bar, outbox.registers.mailbox_addr, message.header);
    show(outbox.registers, bar, MBOX_STATE_READY);
    outbox.queue.pop_front();
    outbox.offered = true;
    return true;
}
