#include "background/keep_alive.h"

#include "background/handlers.h"
#include "core/device_address.h"
#include "core/handle.h"
#include "core/pci.h"
#include "core/trace/trace.h"
#include "device/keep_alive_switch.h"
#include "mbox/model.h"
#include "mbox/receive.h"
#include "mbox/state.h"

uint16_t keep_alive_sequence;

namespace {

// Writes the token and awaits its echo, even if the write failed; `status` is the verdict.
int32_t exchange_token(trace_context at, const mailbox_handler &mb, uint32_t *status)
{
    keep_alive_sequence++;
    const uint32_t token = KEEP_ALIVE_TOKEN | keep_alive_sequence;
    uint32_t echo = 0;
    const int32_t write_rc = write_mbox_state(at.handle, mb, token, SKIP_ALIVE);
    int32_t rc = mbox_wait_for_state(at, mb, token, MATCH_EXACT, SKIP_ALIVE, &echo);
    *status =
        rc == KELVANE_EOK && write_rc == KELVANE_EOK && echo == token ? KELVANE_ALIVE : KELVANE_NOT_ALIVE;
    return rc != KELVANE_EOK ? rc : write_rc;
}

void drain_mailboxes(kelvane_handle handle)
{
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) {
        const kelvane_device_address address = KELVANE_ADDRESS_SIRANE(sirane_id);
        for (const mbox_id mbox : ANSWER_MAILBOXES) {
            const int32_t rc = kelvane_deque_resp_receive(handle, *find_link(handle, sirane_id), mbox);
            if (rc != KELVANE_EOK) {
                TRACE_AS("kelvane_keep_alive", LEVEL_ERROR, handle, address,
                         "ERROR on deque_resp_receive rc %x", static_cast<unsigned>(rc));
            }
        }
    }
}

const char *generic_value_name(uint32_t value)
{
    return value == KELVANE_GENERIC_CB_VAL_SEU_PL_UNCORRECTABLE
               ? "KELVANE_GENERIC_CB_VAL_SEU_PL_UNCORRECTABLE"
               : "KELVANE_GENERIC_CB_VAL_UNDEF";
}

} // namespace

int32_t kelvane_keep_alive(kelvane_handle handle, kelvane_device_address device_address)
{
    kelvane_handle_record *record = handle_record(handle);
    const mailbox_handler *mb = get_mbox_handler(fields_of(device_address).sirane, MBOX_KEEP_ALIVE);
    if (record == nullptr || mb == nullptr) {
        return KELVANE_RET_CODE_GEN_ERR;
    }
    const uint32_t old_status = record->keep_alive_status.load(std::memory_order_relaxed);
    uint32_t new_status = KELVANE_NOT_ALIVE;
    int32_t rc = exchange_token({handle, device_address}, *mb, &new_status);
    if (new_status == old_status) {
        return rc;
    }
    TRACE(LEVEL_INFO, handle, device_address, "changing keep alive status new %s old %s ",
          keep_alive_status_name(new_status), keep_alive_status_name(old_status));
    record->keep_alive_status.store(new_status, std::memory_order_relaxed);
    if (new_status == KELVANE_ALIVE) {
        drain_mailboxes(handle); // of what the firmware posted meanwhile
    }
    rc = kelvane_deque_msi(handle);
    if (rc != KELVANE_EOK) {
        TRACE(LEVEL_ERROR, handle, device_address, "ERROR on kelvane_deque_msi  rc = %x",
              static_cast<unsigned>(rc));
    }
    const kelvane_keep_alive_cb callback = record->keep_alive_cb.load(std::memory_order_relaxed);
    if (callback != nullptr) {
        rc = callback(handle, rc, new_status);
        trace_callback_failure({handle, device_address}, rc, __func__);
    }
    return rc;
}

int32_t kelvane_manage_seu_pl_uncorrectable(kelvane_handle handle)
{
    uint32_t current = KELVANE_SEU_PL_UNDEF;
    int32_t rc = kelvane_get_seu_pl_uncorrectable(handle, &current);
    uint32_t last = KELVANE_SEU_PL_UNDEF;
    if (rc == KELVANE_EOK) {
        rc = kelvane_get_last_seu_pl_uncorrectable(handle, &last);
    }
    if (rc != KELVANE_EOK || current == last) {
        return rc;
    }
    rc = kelvane_set_last_seu_pl_uncorrectable(handle, current); // stored first, so that it is reported once
    if (rc != KELVANE_EOK || current != KELVANE_SEU_PL_UNC) {
        return rc;
    }
    constexpr uint32_t value = KELVANE_GENERIC_CB_VAL_SEU_PL_UNCORRECTABLE;
    TRACE(LEVEL_INFO, handle, KELVANE_ADDRESS_BOARD,
          "calling callback function handler=%d dev_addr=0x%08x kelvane_generic_cb_val %s ",
          static_cast<int>(handle), KELVANE_ADDRESS_BOARD, generic_value_name(value));
    const kelvane_generic_cb callback = handle_record(handle)->generic_cb.load(std::memory_order_relaxed);
    if (callback == nullptr) {
        TRACE(LEVEL_ERROR, handle, KELVANE_ADDRESS_BOARD, " invalid cb function");
        return KELVANE_RET_CODE_EINVAL;
    }
    trace_callback_failure({handle, KELVANE_ADDRESS_BOARD}, callback(handle, KELVANE_ADDRESS_BOARD, value),
                           __func__);
    return KELVANE_EOK;
}
