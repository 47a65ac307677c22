// The firmware's half of one mailbox. H below is the state that the host wrote last, F the one that the
// firmware shows.
#ifndef CARD_SIMULATOR_BUS_MAILBOX_H
#define CARD_SIMULATOR_BUS_MAILBOX_H

#include <cstdint>
#include <deque>
#include <vector>

#include "card_simulator/bus/bar.h"
#include "kelvane_mbox.h"

struct mailbox_message {
    mbox_data_header header;
    std::vector<uint32_t> data;
};

mbox_data_header message_read_header(const bar &bar, uint32_t address);
void message_write_header(bar &bar, uint32_t address, const mbox_data_header &header);

// From the host: commands.
struct inbox {
    mbox_registers registers;
    bool holds_message = false;
    bool refused = false;
    mailbox_message message;
};

void inbox_start(inbox &inbox, bar &bar, const mbox_registers &registers);

// H = 4 with nothing taken: copies the message. Returns whether there is one, to be accepted or refused.
bool inbox_take(inbox &inbox, bar &bar);
void inbox_accept(inbox &inbox, bar &bar);
void inbox_refuse(inbox &inbox, bar &bar);

// H = 2 or 0: frees the mailbox. Returns whether an accepted message is now to be run.
bool inbox_release(inbox &inbox, bar &bar);

// To the host: answers, alarms, performance data.
struct outbox {
    mbox_registers registers;
    uint32_t host = 0; // H
    bool offered = false;
    std::deque<mailbox_message> queue;
};

void outbox_start(outbox &outbox, bar &bar, const mbox_registers &registers);
void outbox_host_wrote(outbox &outbox, bar &bar, uint32_t state);

// Offers the next message if the host is ready for one. Returns whether it did.
bool outbox_offer(outbox &outbox, bar &bar);

#endif
