// What the firmware keeps in its memory while it runs, and what the operator set for it.
#ifndef CARD_SIMULATOR_FIRMWARE_FIRMWARE_STATE_H
#define CARD_SIMULATOR_FIRMWARE_FIRMWARE_STATE_H

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "card_simulator/bus/mailbox.h"
#include "card_simulator/bus/msi.h"
#include "card_simulator/state/devices.h"
#include "card_simulator/state/durations.h"
#include "card_simulator/state/firmware_images.h"
#include "kelvane.h"
#include "kelvane_mbox.h"

constexpr uint32_t OUTBOX_COUNT = 3; // MBOX_RESPONSE, MBOX_PM, MBOX_ALARM

// How the operator wants DAP exchanges to go.
struct dap_settings {
    uint32_t holds = 0; // before each answer
    uint32_t delay_ms = 0;
    uint32_t ignored_resets = 0; // of those to come
    uint32_t error_word = 0;
    std::optional<uint32_t> answer_bytes; // otherwise the answer is an echo
};

enum class dap_phase {
    idle,
    reset,   // F = 1024: the host may write its message
    working, // on the message
    held,    // F = 8: the host is to echo it
    done,    // F = 2048: the answer is there
};

// One exchange over the DAP channel.
struct dap_exchange {
    dap_phase phase = dap_phase::idle;
    uint32_t holds_left = 0;
    mbox_data_header request = {};
    std::vector<uint32_t> data; // the request's
    uint64_t due_ns = 0;        // of the work's end, or of the next reminder
    uint32_t reminders_left = 0;
};

// What the host knows already.
struct told_changes {
    global_alarms alarms[SIRANE_COUNT] = {};
    bool present[DEVICE_COUNT] = {}; // modules
    uint32_t reference = 0;          // of the latest notice that is nobody's answer
};

// Answers and interrupts that come later than the firmware could send them.
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

// A restart that was announced to the host and has not begun.
struct announced_restart {
    uint64_t due_ns = NEVER_NS;
    std::optional<firmware_version> version; // to come up with
};

struct sirane_mailboxes {
    bool up = false;
    uint32_t failing_resets = 0; // resets by the host that will still find it not up
    bool reset_begun = false;    // the host wrote 0 to the command mailbox
    inbox commands;
    outbox out[OUTBOX_COUNT];
};

struct firmware {
    bool up = false;
    bool hung = false;
    bool cold_start = false; // the power was lost before the start under way
    bool reset_armed = false;
    uint64_t up_at_ns = 0;
    sirane_mailboxes siranes[SIRANE_COUNT];
    msi interrupts;
    std::vector<late_answer> late;
    std::vector<late_interrupt> late_interrupts;
    announced_restart announced;
    uint32_t restart_to_tell = KELVANE_APP_ZYNQ_RESTART_UNDEF; // when it is up
    told_changes told;
    dap_exchange dap;
    uint64_t scrub_due_ns = 0;
    uint64_t lost_messages = 0;                 // a queue had no room for them
    std::map<uint32_t, uint32_t> missed_writes; // last write of each register while hung

    // By the operator.
    uint32_t laser_time_ms = 300;   // that a laser or traffic-type request takes
    uint32_t batch_interval_ms = 0; // 0: as the host set it
    struct dap_settings dap_settings;
};

#endif
