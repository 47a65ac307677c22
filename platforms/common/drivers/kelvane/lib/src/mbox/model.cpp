#include "mbox/model.h"

#include "core/handle.h"
#include "core/trace/trace.h"
#include "platform/wait.h"

mbox_registers global_mbox_register[SIRANE_COUNT][MBOX_COUNT];
mailbox_handler mbox_handlers[SIRANE_COUNT][MBOX_COUNT];

namespace {

constexpr uint32_t POLLING_NS = 500000;
constexpr uint32_t TIMEOUT_S = 300;
constexpr uint32_t KEEP_ALIVE_TIMEOUT_S = 1;
constexpr uint32_t REGISTER_ROWS = 4; // mailboxes that every sirane has of its own

struct mbox_levels {
    uint32_t header;
    uint32_t flow;
    uint32_t error;
};

// By mailbox id; busy streams are kept out of the ordinary traces.
constexpr mbox_levels levels_of[MBOX_COUNT] = {
    {LEVEL_INFO, LEVEL_DEBUG, LEVEL_ERROR},  {LEVEL_LOWPR, LEVEL_LOWPR, LEVEL_PM},
    {LEVEL_ALARM, LEVEL_LOWPR, LEVEL_ALARM}, {LEVEL_INFO, LEVEL_DEBUG, LEVEL_ERROR},
    {LEVEL_LOWPR, LEVEL_LOWPR, LEVEL_LOWPR}, {LEVEL_LOWPR, LEVEL_LOWPR, LEVEL_LOWPR},
};

} // namespace

void init_global_mbox_register(void)
{
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) {
        for (uint32_t mbox = 0; mbox < REGISTER_ROWS; mbox++) {
            global_mbox_register[sirane_id][mbox] = mbox_registers_of(sirane_id, mbox);
        }
    }
}

void init_mbox_handlers(void)
{
    init_global_mbox_register();
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) {
        for (uint32_t mbox = 0; mbox < MBOX_COUNT; mbox++) {
            const bool card_wide = mbox >= REGISTER_ROWS;
            const mbox_registers registers =
                card_wide ? mbox_registers_of(0, mbox) : global_mbox_register[sirane_id][mbox];
            mbox_handlers[sirane_id][mbox] = {
                card_wide ? 0 : sirane_id,
                mbox,
                registers.resp_reg_to_write,
                registers.waiting_reg,
                registers.mailbox_addr,
                0,
                POLLING_NS,
                mbox == MBOX_KEEP_ALIVE ? KEEP_ALIVE_TIMEOUT_S : TIMEOUT_S,
                0,
                levels_of[mbox].header,
                levels_of[mbox].flow,
                levels_of[mbox].error,
            };
        }
    }
}

const mailbox_handler *get_mbox_handler(uint32_t sirane_id, uint32_t mbox)
{
    if (sirane_id >= SIRANE_COUNT || mbox >= MBOX_COUNT) {
        TRACE(LEVEL_ERROR, NO_HANDLE, NO_ADDRESS, "invalid parameter sirane_id %d mbox %d ",
              static_cast<int>(sirane_id), static_cast<int>(mbox));
        return nullptr;
    }
    return &mbox_handlers[sirane_id][mbox];
}

uint64_t mbox_polling_number(const mailbox_handler &mb)
{
    return static_cast<uint64_t>(mb.timeout_sec) * (WAIT_NS_PER_S / mb.polling_nsec) +
           mb.timeout_nsec / mb.polling_nsec;
}

kelvane_semaphore *mbox_sem_of(kelvane_handle handle, uint32_t sirane_id, uint32_t mbox)
{
    kelvane_handle_record *record = handle_record(handle);
    if (record != nullptr && mbox == MBOX_DAP) {
        return &record->dap_semaphore;
    }
    sirane_link *link = find_link(handle, sirane_id);
    return link != nullptr && mbox < MBOX_THREAD_COUNT ? &link->answers[mbox].semaphore : nullptr;
}

void trace_mbox_header(trace_context at, uint32_t mbox, const mbox_data_header &header, uint32_t level)
{
    TRACE_AT(level, at, "mbx %d cmd %d rfd 0x%08x sz %d ver %d sy 0x%08x rc 0x%x", static_cast<int>(mbox),
             static_cast<int>(header.cmd), header.ref_id, static_cast<int>(header.size),
             static_cast<int>(header.version), header.sy, header.rc);
}
