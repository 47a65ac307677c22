#include "mbox/state.h"

#include "core/pci.h"
#include "core/thread.h"
#include "core/trace/trace.h"
#include "mbox/model.h"

namespace {

// The last that are traced in detail, counted from 0.
constexpr uint32_t LAST_DETAILED_LOOK = 3;
constexpr uint32_t LAST_DETAILED_POLL = 2;

// Hides the detail of a long poll while it lives. Two threads that do so at once may restore a stale mask,
// which affects only how much is traced.
class hidden_detail {
  public:
    explicit hidden_detail(bool hide)
        : saved_(trace_level_mask_get()), hide_(hide && (saved_ & LEVEL_DEBUG) != 0)
    {
        if (hide_) {
            trace_level_mask_set(saved_ & ~(LEVEL_DEBUG | LEVEL_REG));
        }
    }
    ~hidden_detail()
    {
        show();
    }
    hidden_detail(const hidden_detail &) = delete;
    hidden_detail &operator=(const hidden_detail &) = delete;

    void show()
    {
        if (hide_) {
            trace_level_mask_set(saved_);
            hide_ = false;
        }
    }

  private:
    uint32_t saved_;
    bool hide_;
};

} // namespace

int32_t is_mbox_reg_valid(kelvane_handle handle, const mailbox_handler &mb, uint32_t reg,
                          const uint32_t *state)
{
    const kelvane_device_address address = KELVANE_ADDRESS_SIRANE(mb.sirane_id);
    switch (*state) {
    case MBOX_STATE_IDLE:
    case MBOX_STATE_READY:
    case MBOX_STATE_HOLD:
    case MBOX_STATE_REFUSED:
    case MBOX_STATE_RESET:
    case MBOX_STATE_DONE:
        return KELVANE_EOK;
    case MBOX_STATE_NONE:
        TRACE(LEVEL_ERROR, handle, address, "ERROR mailbox register %08x = %08x", reg, *state);
        return KELVANE_RET_CODE_DEVICE_NOT_READY;
    default:
        TRACE(LEVEL_ERROR, handle, address, "ERROR invalid mailbox register %08x = %08x", reg, *state);
        return KELVANE_RET_CODE_HW_PROBLEM;
    }
}

int32_t read_mbox_state(kelvane_handle handle, const mailbox_handler &mb, uint32_t *state_out,
                        uint32_t check_alive)
{
    const uint32_t reg = mb.waiting_reg;
    const int32_t rc = kelvane_internal_pci_read(handle, 0, reg, state_out, check_alive);
    if (rc != KELVANE_EOK || check_alive != CHECK_ALIVE) {
        return rc;
    }
    return is_mbox_reg_valid(handle, mb, reg, state_out);
}

int32_t write_mbox_state(kelvane_handle handle, const mailbox_handler &mb, uint32_t value,
                         uint32_t check_alive)
{
    return kelvane_internal_pci_write(handle, 0, mb.resp_reg_to_write, value, check_alive);
}

int32_t manage_cmd_mbox_new_state(kelvane_handle handle, const mailbox_handler &mb, uint32_t new_state)
{
    TRACE(mb.flow_level, handle, KELVANE_ADDRESS_SIRANE(mb.sirane_id),
          "mbox = %d new_state=%08x resp_reg_to_write=%08x ", static_cast<int>(mb.mbox), new_state,
          mb.resp_reg_to_write);
    return write_mbox_state(handle, mb, MBOX_STATE_IDLE, CHECK_ALIVE);
}

int32_t mbox_check_for_state(trace_context at, const mailbox_handler &mb, uint32_t waiting_state_mask,
                             uint32_t incr_counter, uint32_t *state_out)
{
    *state_out = 0;
    hidden_detail detail(incr_counter > LAST_DETAILED_LOOK);
    TRACE_AT(mb.flow_level, at, " waiting_reg %08x waiting_state_mask %08x incr_counter = %d ",
             mb.waiting_reg, waiting_state_mask, static_cast<int>(incr_counter));
    const int32_t rc = read_mbox_state(at.handle, mb, state_out, CHECK_ALIVE);
    const bool found = (*state_out & waiting_state_mask) != 0;
    if (rc == KELVANE_EOK && !found) {
        TRACE_AT(mb.flow_level, at, "state read %08x  not valid ", *state_out);
    }
    detail.show();
    if (rc == KELVANE_EOK && found) {
        TRACE_AT(mb.flow_level, at,
                 "FOUND %08x on waiting_state_mask %08x on reg %08x, attempts done incr_counter %d ",
                 *state_out, waiting_state_mask, mb.waiting_reg, static_cast<int>(incr_counter));
    }
    return rc;
}

int32_t mbox_wait_for_state(trace_context at, const mailbox_handler &mb, uint32_t waiting_state_mask,
                            state_match exact, uint32_t check_alive, uint32_t *state_out)
{
    const uint64_t polling_number = mbox_polling_number(mb);
    *state_out = 0;
    TRACE_AT(mb.flow_level, at, " waiting_reg %08x waiting_state_mask %08x polling_number = %lu",
             mb.waiting_reg, waiting_state_mask, static_cast<unsigned long>(polling_number));

    for (uint64_t left = polling_number;; left--) {
        const uint64_t done = polling_number - left;
        int32_t rc;
        {
            const hidden_detail detail(done > LAST_DETAILED_POLL);
            rc = read_mbox_state(at.handle, mb, state_out, check_alive);
        }
        if (rc != KELVANE_EOK) {
            TRACE_AT(LEVEL_ERROR, at, "fail: unable to read reg %08x ", mb.waiting_reg);
            return rc;
        }
        if (*state_out == PCI_ALL_ONES) {
            TRACE_AT(mb.error_level, at, "state read = %08x DEFAULT PCI ERROR VALUE, EXECUTION NOT STOPPED",
                     *state_out);
        }
        if (exact == MATCH_EXACT ? *state_out == waiting_state_mask
                                 : (*state_out & waiting_state_mask) != 0) {
            TRACE_AT(mb.flow_level, at,
                     "FOUND %08x on waiting_state_mask %08x on reg %08x polling_number %lu", *state_out,
                     waiting_state_mask, mb.waiting_reg, static_cast<unsigned long>(left));
            return KELVANE_EOK;
        }
        if (done <= LAST_DETAILED_POLL) {
            TRACE_AT(mb.flow_level, at, "state read not valid ");
        }
        if (left <= 1) {
            TRACE_AT(LEVEL_ERROR, at, "TIMEOUT EXPIRED on reg %08x polling number=0 waited 0x%08x",
                     mb.waiting_reg, *state_out);
            write_mbox_state(at.handle, mb, MBOX_STATE_IDLE, check_alive);
            return KELVANE_RET_CODE_ETIMEDOUT;
        }
        kelvane_delay(0, mb.polling_nsec);
    }
}
