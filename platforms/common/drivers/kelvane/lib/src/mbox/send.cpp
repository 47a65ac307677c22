#include "mbox/send.h"

#include "core/pci.h"
#include "core/thread.h"
#include "core/trace/trace.h"
#include "mbox/message.h"
#include "mbox/model.h"
#include "mbox/state.h"

namespace {

constexpr uint32_t STARTUP_ATTEMPTS = 100;
constexpr uint32_t STARTUP_PAUSE_NS = 500000000;
constexpr mbox_id startup_order[] = {MBOX_COMMAND, MBOX_RESPONSE, MBOX_ALARM, MBOX_PM};

// One of the send's waits; a time-out is logged with the last state.
int32_t wait_for(trace_context at, const mailbox_handler &mb, uint32_t mask, uint32_t *state)
{
    const int32_t rc = mbox_wait_for_state(at, mb, mask, MATCH_ANY_BIT, CHECK_ALIVE, state);
    if (rc == KELVANE_RET_CODE_ETIMEDOUT) {
        TRACE_AT_AS("manage_cmd_send", LEVEL_ERROR, at,
                    "state on MBOX not available reg_address = %08x  read_state = %08x ", mb.waiting_reg,
                    *state);
    }
    return rc;
}

// From the wait for idle to the host's closing idle.
int32_t offer_message(trace_context at, const mailbox_handler &mb, const mbox_data_header &header,
                      const uint32_t *data)
{
    uint32_t state = 0;
    int32_t rc = wait_for(at, mb, MBOX_STATE_IDLE, &state);
    if (rc == KELVANE_EOK) {
        rc = write_mbox_header(at.handle, mb, header);
    }
    if (rc == KELVANE_EOK) {
        rc = write_mbox_data(at.handle, mb, data, header.size);
    }
    if (rc == KELVANE_EOK) { // from here on the firmware owns the message area
        rc = write_mbox_state(at.handle, mb, MBOX_STATE_READY, CHECK_ALIVE);
    }
    if (rc == KELVANE_EOK) {
        rc = wait_for(at, mb, MBOX_STATE_READY | MBOX_STATE_REFUSED, &state);
    }
    if (rc == KELVANE_EOK) {
        rc = write_mbox_state(at.handle, mb, MBOX_STATE_IDLE, CHECK_ALIVE);
    }
    if (rc == KELVANE_EOK && (state & MBOX_STATE_READY) == 0) {
        rc = KELVANE_RET_CODE_VERSION_MISMATCH;
        TRACE_AT_AS("manage_cmd_send", LEVEL_ERROR, at, "received 0x%08x on mbox %d  returning 0x%08x ",
                    state, static_cast<int>(mb.mbox), static_cast<unsigned>(rc));
    }
    return rc;
}

} // namespace

int32_t manage_cmd_send(trace_context at, const mailbox_handler &mb, const mbox_data_header &header,
                        const uint32_t *data)
{
    TRACE_AT(mb.flow_level, at, "start mbox = %d ", static_cast<int>(mb.mbox));
    const int32_t rc = offer_message(at, mb, header, data);
    if (rc != KELVANE_EOK) { // leave the mailbox usable for the next command
        const int32_t idle_rc = write_mbox_state(at.handle, mb, MBOX_STATE_IDLE, CHECK_ALIVE);
        if (idle_rc != KELVANE_EOK) {
            return idle_rc;
        }
    }
    TRACE_AT(mb.flow_level, at, "end mbox = %d ", static_cast<int>(mb.mbox));
    return rc;
}

int32_t global_reset_mbox(kelvane_handle handle, uint32_t sirane_id, uint32_t value)
{
    TRACE(LEVEL_INFO, handle, KELVANE_ADDRESS_SIRANE(sirane_id), "start");
    for (const mbox_id mbox : startup_order) {
        const int32_t rc = write_mbox_state(handle, mailbox_of(sirane_id, mbox), value, SKIP_ALIVE);
        if (rc != KELVANE_EOK) {
            return rc;
        }
    }
    return write_mbox_state(handle, mailbox_of(sirane_id, MBOX_DAP), MBOX_STATE_RESET, SKIP_ALIVE);
}

int32_t kelvane_wait_for_mbox_idle_startup(kelvane_handle handle, uint32_t sirane_id)
{
    const kelvane_device_address address = KELVANE_ADDRESS_SIRANE(sirane_id);
    TRACE(LEVEL_INFO, handle, address, "start");
    for (const mbox_id mbox : startup_order) {
        uint32_t state = 0;
        const int32_t rc = mbox_wait_for_state({handle, address}, mailbox_of(sirane_id, mbox),
                                               MBOX_STATE_IDLE, MATCH_EXACT, SKIP_ALIVE, &state);
        if (rc != KELVANE_EOK) {
            return rc;
        }
    }
    TRACE(LEVEL_INFO, handle, address, "end rc = %d ", KELVANE_EOK);
    return KELVANE_EOK;
}

int32_t kelvane_check_for_mbox_idle_startup(kelvane_handle handle, uint32_t sirane_id)
{
    const kelvane_device_address address = KELVANE_ADDRESS_SIRANE(sirane_id);
    TRACE(LEVEL_INFO, handle, address, "start");
    int32_t rc = KELVANE_RET_CODE_DEVICE_NOT_READY;
    for (uint32_t attempt = 1; attempt <= STARTUP_ATTEMPTS; attempt++) {
        kelvane_delay(0, STARTUP_PAUSE_NS);
        global_reset_mbox(handle, sirane_id, MBOX_STATE_NONE); // a failure shows in the look below
        kelvane_delay(0, STARTUP_PAUSE_NS);
        global_reset_mbox(handle, sirane_id, MBOX_STATE_IDLE);
        kelvane_delay(0, STARTUP_PAUSE_NS);

        int32_t status = KELVANE_EOK;
        for (const mbox_id mbox : startup_order) {
            uint32_t state = 0; // any will do, as long as it is a state
            status = mbox_check_for_state({handle, address}, mailbox_of(sirane_id, mbox), MBOX_STATE_IDLE,
                                          attempt, &state);
            if (status != KELVANE_EOK) {
                break;
            }
        }
        if (status == KELVANE_EOK) {
            rc = KELVANE_EOK;
            break;
        }
    }
    TRACE(LEVEL_INFO, handle, address, "end rc = %d", rc);
    return rc;
}
