#include "mbox/send.h"

#include "core/pci.h"
#include "core/thread.h"
#include "core/trace/trace.h"
#include "mbox/message.h"
#include "mbox/model.h"
#include "mbox/state.h"

namespace {

constexpr uint32_t STARTUP_ATTEMPTS = 100;
constexpr uint32_t STARTUP_PAUSE_NSEC = 500000000;
constexpr uint32_t startup_order[] = {MBOX_COMMAND, MBOX_RESPONSE, MBOX_ALARM, MBOX_PM};

// A wait of the send; a time-out is told with the last state.
int32_t wait_for(kelvane_handle handle, kelvane_device_address device_address, const mailbox_handler *mb,
                 uint32_t mask, uint32_t *state)
{
    const int32_t rc =
        mbox_wait_for_state(handle, device_address, mb, mask, MATCH_ANY_BIT, CHECK_ALIVE, state);
    if (rc == KELVANE_RET_CODE_ETIMEDOUT) {
        TRACE_AS("manage_cmd_send", LEVEL_ERROR, handle, device_address,
                 "state on MBOX not available reg_address = %08x  read_state = %08x ",
                 mbox_fields(mb).waiting_reg, *state);
    }
    return rc;
}

// From the wait for idle to the host's closing idle; anything but 0 leaves through the failure exit.
int32_t offer_message(kelvane_handle handle, kelvane_device_address device_address, const mailbox_handler *mb,
                      const mbox_data_header &header, const uint32_t *data)
{
    uint32_t state = 0;
    int32_t rc = wait_for(handle, device_address, mb, MBOX_STATE_IDLE, &state);
    if (rc == KELVANE_EOK) {
        rc = write_mbox_header(handle, mb, header);
    }
    if (rc == KELVANE_EOK) {
        rc = write_mbox_data(handle, mb, data, header.size);
    }
    if (rc == KELVANE_EOK) { // from here on the firmware owns the message area
        rc = write_mbox_state(handle, mb, MBOX_STATE_READY, CHECK_ALIVE);
    }
    if (rc == KELVANE_EOK) {
        rc = wait_for(handle, device_address, mb, MBOX_STATE_READY | MBOX_STATE_REFUSED, &state);
    }
    if (rc == KELVANE_EOK) {
        rc = write_mbox_state(handle, mb, MBOX_STATE_IDLE, CHECK_ALIVE);
    }
    if (rc == KELVANE_EOK && (state & MBOX_STATE_READY) == 0) {
        rc = KELVANE_RET_CODE_VERSION_MISMATCH;
        TRACE_AS("manage_cmd_send", LEVEL_ERROR, handle, device_address,
                 "received 0x%08x on mbox %d  returning 0x%08x ", state,
                 static_cast<int>(mbox_fields(mb).mbox), static_cast<unsigned>(rc));
    }
    return rc;
}

} // namespace

int32_t manage_cmd_send(kelvane_handle handle, kelvane_device_address device_address, uint32_t mbox,
                        const mbox_data_header &header, const uint32_t *data)
{
    const mailbox_handler *mb = get_mbox_handler(sirane_id_of_address(device_address), mbox);
    if (mb == nullptr) {
        return KELVANE_RET_CODE_GEN_ERR;
    }
    TRACE(mb->flow_level, handle, device_address, "start mbox = %d ", static_cast<int>(mbox));
    const int32_t rc = offer_message(handle, device_address, mb, header, data);
    if (rc != KELVANE_EOK) { // leave the mailbox usable for the next command
        const int32_t idle_rc = write_mbox_state(handle, mb, MBOX_STATE_IDLE, CHECK_ALIVE);
        if (idle_rc != KELVANE_EOK) {
            return idle_rc;
        }
    }
    TRACE(mb->flow_level, handle, device_address, "end mbox = %d ", static_cast<int>(mbox));
    return rc;
}

int32_t global_reset_mbox(kelvane_handle handle, uint32_t sirane_id, uint32_t value)
{
    TRACE(LEVEL_INFO, handle, KELVANE_ADDRESS_SIRANE(sirane_id), "start");
    const auto reset = [&](uint32_t mbox, uint32_t state) -> int32_t {
        const mailbox_handler *mb = get_mbox_handler(sirane_id, mbox);
        return mb == nullptr ? static_cast<int32_t>(KELVANE_RET_CODE_GEN_ERR)
                             : write_mbox_state(handle, mb, state, SKIP_ALIVE);
    };
    for (const uint32_t mbox : startup_order) {
        const int32_t rc = reset(mbox, value);
        if (rc != KELVANE_EOK) {
            return rc;
        }
    }
    return reset(MBOX_DAP, MBOX_STATE_RESET);
}

int32_t kelvane_wait_for_mbox_idle_startup(kelvane_handle handle, uint32_t sirane_id)
{
    const kelvane_device_address address = KELVANE_ADDRESS_SIRANE(sirane_id);
    TRACE(LEVEL_INFO, handle, address, "start");
    for (const uint32_t mbox : startup_order) {
        const mailbox_handler *mb = get_mbox_handler(sirane_id, mbox);
        if (mb == nullptr) {
            return KELVANE_RET_CODE_GEN_ERR;
        }
        uint32_t state = 0;
        const int32_t rc =
            mbox_wait_for_state(handle, address, mb, MBOX_STATE_IDLE, MATCH_EXACT, SKIP_ALIVE, &state);
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
        kelvane_delay(0, STARTUP_PAUSE_NSEC);
        global_reset_mbox(handle, sirane_id, MBOX_STATE_NONE);
        kelvane_delay(0, STARTUP_PAUSE_NSEC);
        global_reset_mbox(handle, sirane_id, MBOX_STATE_IDLE);
        kelvane_delay(0, STARTUP_PAUSE_NSEC);

        int32_t status = KELVANE_EOK;
        for (const uint32_t mbox : startup_order) {
            const mailbox_handler *mb = get_mbox_handler(sirane_id, mbox);
            if (mb == nullptr) {
                return KELVANE_RET_CODE_GEN_ERR;
            }
            uint32_t state = 0; // any state will do: only that there is one counts
            status = mbox_check_for_state(handle, address, mb, MBOX_STATE_IDLE, attempt, &state);
            if (status != KELVANE_EOK) {
                break;
            }
        }
        if (status == KELVANE_EOK) {
            rc = KELVANE_EOK;
            break;
        }
    }
    TRACE(LEVEL_INFO, handle, address, "end rc = %d ", rc);
    return rc;
}
