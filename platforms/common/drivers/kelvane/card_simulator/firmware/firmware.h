// The firmware loop: takes what the host writes, runs commands, offers messages, raises interrupts.
//
// H is the state register that the host writes, F the one that it reads. The firmware never shows 0 or
// a value that is no state once it is up; publishes in the order data, header, F = 4, interrupt source,
// pending bit, interrupt; and never overwrites a message that it offered.
#ifndef CARD_SIMULATOR_FIRMWARE_FIRMWARE_H
#define CARD_SIMULATOR_FIRMWARE_FIRMWARE_H

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "card_simulator/bus/mailbox.h"
#include "card_simulator/bus/msi.h"
#include "card_simulator/firmware/dap.h"
#include "card_simulator/firmware/notices.h"
#include "card_simulator/state/firmware_images.h"
#include "kelvane_mbox.h"

struct card;

constexpr uint64_t FIRMWARE_START_NS = 1000000000; // from a restart until it is up
constexpr uint64_t RESTART_NOTICE_NS = 3000000000; // from its announcement to the restart: a host may look
                                                   // for messages no more often than every 2 s
constexpr uint64_t FIRMWARE_NOTHING_DUE = UINT64_MAX;
constexpr size_t MESSAGES_AT_MOST = 64; // in the queue of a mailbox, for a host that takes none
constexpr uint32_t OUTBOX_COUNT = 3;    // MBOX_RESPONSE, MBOX_PM, MBOX_ALARM

struct late_answer {
    uint64_t due_ns;
    uint32_t sirane_id;
    mailbox_message message;
    bool awaits_image_work; // whose verdict it tells
};

struct late_interrupt {
    uint64_t due_ns;
    uint32_t sirane_id;
    uint32_t source;
};

// A restart that the host was told of, and that has not begun.
struct announced_restart {
    uint64_t due_ns = FIRMWARE_NOTHING_DUE;
    std::optional<firmware_version> version; // to come up with
};

struct sirane_mailboxes {
    bool up = false;
    uint32_t failing_resets = 0; // so many resets by the host will still find it not up
    bool reset_begun = false;    // the host wrote 0 to the command mailbox
    inbox commands;
    outbox out[OUTBOX_COUNT];
};

struct firmware {
    bool up = false;
    bool hung = false;
    bool cold_start = false; // the start under way is one with power lost
    bool reset_armed = false;
    uint64_t up_at_ns = 0;
    sirane_mailboxes siranes[SIRANE_COUNT];
    msi interrupts;
    std::vector<late_answer> late;
    std::vector<late_interrupt> late_interrupts;
    announced_restart announced;
    uint32_t restart_to_tell = KELVANE_APP_ZYNQ_RESTART_UNDEF; // when it is up
    notices told;
    struct dap dap;
    uint64_t scrub_due_ns = 0;
    uint64_t lost_messages = 0;           // for which a queue had no room
    std::map<uint32_t, uint32_t> unheard; // last write of each register while hung

    // By the operator.
    uint32_t laser_time_ms = 300;   // that a laser or traffic-type request takes
    uint32_t batch_interval_ms = 0; // 0: as the host set it
    struct dap_settings dap_settings;
};

// From nothing to up, at once.
void firmware_start(card &card);

// Goes down and comes up again after FIRMWARE_START_NS; `cold` as after a loss of power.
void firmware_restart(card &card, bool cold);

// The restarts that a host is told of. A warm one is announced RESTART_NOTICE_NS before and told again when
// it is done, possibly with another version; of one with the power lost only its end is told.
void firmware_announce_restart(card &card, const std::optional<firmware_version> &version);
void firmware_restart_cold(card &card);

void firmware_hang(card &card);
void firmware_resume(card &card);

// The next link-up finds the firmware not up for so many attempts.
void firmware_start_slowly(card &card, uint32_t attempts);

// The host wrote a posted register.
void firmware_host_wrote(card &card, uint32_t offset, uint32_t value);

// Does what is due, and says when it wants to be called again (wait_monotonic).
void firmware_step(card &card);
uint64_t firmware_next_due(const card &card);

// Things may have changed: tells the host what it is to hear of.
void firmware_follow(card &card);

#endif
