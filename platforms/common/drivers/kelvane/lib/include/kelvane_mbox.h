// The mailboxes between the host and the firmware: what the two sides agree on, and the records that
// describe a mailbox and a request in progress.
#ifndef KELVANE_MBOX_H
#define KELVANE_MBOX_H

#include <cstddef>
#include <cstdint>

#include "kelvane.h"
#include "kelvane_commands.h"

constexpr uint32_t SIRANE_COUNT = 3;
constexpr uint32_t MBOX_COUNT = 6;
constexpr uint32_t MBOX_THREAD_COUNT = 3; // mailboxes 0 to 2 have a response mutex, a semaphore and a thread

enum mbox_id : uint32_t {
    MBOX_RESPONSE = 0,
    MBOX_PM = 1,
    MBOX_ALARM = 2,
    MBOX_COMMAND = 3,
    MBOX_DAP = 4,
    MBOX_KEEP_ALIVE = 5,
    MBOX_NONE = 6,
};

enum mbox_state : uint32_t {
    MBOX_STATE_NONE = 0, // the firmware is not up yet; from the host, the first half of a reset
    MBOX_STATE_IDLE = 2,
    MBOX_STATE_READY = 4,
    MBOX_STATE_HOLD = 8,
    MBOX_STATE_REFUSED = 16,
    MBOX_STATE_RESET = 1024,
    MBOX_STATE_DONE = 2048,
};

constexpr uint32_t PCI_ALL_ONES = 0xFFFFFFFF;

struct mbox_registers {
    uint32_t resp_reg_to_write; // the host writes its state here
    uint32_t waiting_reg;       // the host reads the firmware's state here
    uint32_t mailbox_addr;      // start of the message area, 0 for none
};

// The registers of one of a sirane's mailboxes; mailboxes 4 and 5 exist once per card.
constexpr mbox_registers mbox_registers_of(uint32_t sirane_id, uint32_t mbox)
{
    const uint32_t base = 0x01C00000 + sirane_id * 0x00100000;
    switch (mbox) {
    case MBOX_COMMAND:
        return {base + 0x0000, base + 0x0004, base + 0x0100};
    case MBOX_RESPONSE:
        return {base + 0x2000, base + 0x2004, base + 0x2100};
    case MBOX_ALARM:
        return {base + 0x4000, base + 0x4004, base + 0x4100};
    case MBOX_PM:
        return {base + 0x8000, base + 0x8004, base + 0x8100};
    case MBOX_DAP:
        return {0x01C0C000, 0x01C0C004, 0x01F08000};
    case MBOX_KEEP_ALIVE:
        return {0x01C0C008, 0x01C0C00C, 0};
    default:
        return {0, 0, 0};
    }
}

// A message is this header at mailbox_addr, followed directly by its data words.
struct mbox_data_header {
    uint32_t cmd;
    uint32_t ref_id;
    uint32_t size; // 32-bit data words; bytes on MBOX_DAP
    uint32_t version;
    uint32_t sy; // MBOX_SYNC_WORD, or the slot of a request
    uint32_t rc; // 0 in a request; in an answer 0 or a firmware error word
};
static_assert(sizeof(mbox_data_header) == 24);
static_assert(offsetof(mbox_data_header, rc) == 20);

constexpr uint32_t MBOX_HEADER_WORDS = 6;
constexpr uint32_t MBOX_HEADER_BYTES = 4 * MBOX_HEADER_WORDS;
constexpr uint32_t MBOX_SYNC_WORD = 0xFF00FF00;

// What the smallest message area holds after its header: nothing beyond it is read or written.
constexpr uint32_t MBOX_DATA_WORDS = 1978;

struct mbox_data {
    uint32_t word[MBOX_DATA_WORDS];
};

// The read-only description of one mailbox.
struct mailbox_handler {
    uint32_t sirane_id; // 0 for mailboxes 4 and 5
    uint32_t mbox;
    uint32_t resp_reg_to_write;
    uint32_t waiting_reg;
    uint32_t mailbox_addr;
    uint32_t polling_sec; // never read: polling_nsec alone is slept
    uint32_t polling_nsec;
    uint32_t timeout_sec;
    uint32_t timeout_nsec;
    uint32_t header_level; // trace levels
    uint32_t flow_level;
    uint32_t error_level;
};

// Slots of the request table.
constexpr uint32_t ASYNCH_REQ_STANDARD_SLOTS = 12;
constexpr uint32_t KELVANE_MAX_ASYNCH_REQ = 17;
constexpr uint32_t FIXED_REQ_ID_PM = 13; // slot 12 is never given out
constexpr uint32_t FIXED_REQ_ID_ALARM = 14;
constexpr uint32_t FIXED_REQ_ID_NOTIFY_PLUGIN = 15;
constexpr uint32_t FIXED_REQ_ID_APP_ZYNQ_RESTART = 16;
constexpr uint32_t ASYNCH_REQ_ID_NONE = MBOX_SYNC_WORD;

constexpr uint32_t ASYNCH_REQ_SIGNATURE_FREE = 0xBBAACC00;
constexpr uint32_t ASYNCH_REQ_SIGNATURE_USED = 0xCCBBDD11;
constexpr uint32_t ASYNCH_REQ_AGING_STEP_S = 2;
constexpr uint32_t ASYNCH_REQ_AGING_LIMIT_S = 299; // above it a request is out of date

enum kelvane_asynch_type : uint32_t {
    KELVANE_ASYNCH_TYPE_OP_UNDEF = 0,
    KELVANE_ASYNCH_TYPE_OP_STANDARD_ASYNCH = 1,
    KELVANE_ASYNCH_TYPE_OP_PM = 2,
    KELVANE_ASYNCH_TYPE_OP_ALARM = 3,
    KELVANE_ASYNCH_TYPE_OP_NOTIFY_PLUGIN = 4,
    KELVANE_ASYNCH_TYPE_OP_APP_ZYNQ_RESTART_NOTIFY = 5,
};

// The application's callback; the asynch_op_type next to it tells which one.
union asynch_callback {
    kelvane_set_laser_cb completion; // of KELVANE_ASYNCH_TYPE_OP_STANDARD_ASYNCH, also for the traffic type
    kelvane_pm_notify_cb performance;
    kelvane_alarms_notify_cb alarms;
    kelvane_notify_plugin_cb plugin;
    kelvane_app_zynq_restart_notify_cb restart;
    void (*address)(void); // for the log and for comparison with null
};
static_assert(sizeof(asynch_callback) == sizeof(void *));

// One request or subscription in progress.
struct asynch_req_t {
    mbox_data_header header; // as sent; sy is the record's own slot
    uint32_t req_data[4];    // first words of the request: handle, device address, value, transaction id
    uint64_t reserved;
    asynch_callback fn_cb;
    uint32_t aging_time; // seconds
    uint32_t signature;
    uint32_t asynch_op_type; // enum kelvane_asynch_type
};

#endif
