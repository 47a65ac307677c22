#include "mbox/msi.h"

#include "core/handle.h"
#include "core/pci.h"
#include "core/semaphore.h"
#include "core/trace/trace.h"
#include "kelvane_bar.h"
#include "mbox/model.h"

namespace {

constexpr uint32_t MSI_SIRANE_MASK = 0x7;

struct source_row {
    uint32_t source; // low byte of the source register
    uint32_t mbox;
};

constexpr source_row sources[] = {
    {MSI_SOURCE_COMMAND, MBOX_COMMAND}, {MSI_SOURCE_RESPONSE, MBOX_RESPONSE}, {MSI_SOURCE_PM, MBOX_PM},
    {MSI_SOURCE_ALARM, MBOX_ALARM},     {MSI_SOURCE_DAP, MBOX_DAP},
};

uint32_t mbox_of_source(uint32_t source)
{
    for (const source_row &row : sources) {
        if (row.source == source) {
            return row.mbox;
        }
    }
    return MBOX_NONE;
}

// Wakes the thread of the mailbox that interrupted. A failure is only logged: the drain makes up for it.
void wake_for_interrupt(kelvane_handle handle, uint32_t sirane_id)
{
    constexpr const char *name = "kelvane_notify_msi";
    const kelvane_device_address address = KELVANE_ADDRESS_SIRANE(sirane_id);
    uint32_t mbox = MBOX_NONE;
    if (kelvane_read_ir_mbox(handle, sirane_id, &mbox) != KELVANE_EOK) {
        return;
    }
    kelvane_semaphore *semaphore = mbox_sem_of(handle, sirane_id, mbox);
    if (semaphore == nullptr) {
        TRACE_AS(name, LEVEL_ERROR, handle, address,
                 "problem with retrieve sem: sirane_id %d mbox_with_ir %d", static_cast<int>(sirane_id),
                 static_cast<int>(mbox));
        return;
    }
    kelvane_sem_give(semaphore);
    TRACE_AS(name, mailbox_of(sirane_id, static_cast<mbox_id>(mbox)).flow_level, handle, address,
             "unloking sem mbox = %d ", static_cast<int>(mbox));
}

} // namespace

int32_t kelvane_glb_interrupt_enable(kelvane_handle handle, uint32_t enable)
{
    TRACE(LEVEL_INFO, handle, KELVANE_ADDRESS_BOARD, "start enable = %d", static_cast<int>(enable));
    uint32_t board_id = 0;
    int32_t rc = kelvane_internal_pci_read(handle, 0, BOARD_ID_REG, &board_id, SKIP_ALIVE);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    if (board_id >> 24 > LAST_REAL_BOARD_ID) { // a board without a global enable
        return KELVANE_EOK;
    }
    TRACE(LEVEL_DEBUG, handle, KELVANE_ADDRESS_BOARD, "NOT ordune simulator  ");
    uint32_t word = 0;
    rc = kelvane_internal_pci_read(handle, 0, GLOBAL_IRQ_ENABLE_REG, &word, SKIP_ALIVE);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    word = enable == 1 ? word | GLOBAL_IRQ_ENABLE_MASK : word & ~GLOBAL_IRQ_ENABLE_MASK;
    return kelvane_internal_pci_write(handle, 0, GLOBAL_IRQ_ENABLE_REG, word, SKIP_ALIVE);
}

int32_t kelvane_enable_msi(kelvane_handle handle, uint32_t enable)
{
    TRACE(LEVEL_INFO, handle, KELVANE_ADDRESS_BOARD, "start enable = %d\n", static_cast<int>(enable));
    int32_t rc = kelvane_glb_interrupt_enable(handle, enable);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    uint32_t word = 0;
    rc = kelvane_internal_pci_read(handle, 0, MSI_ENABLE_REG, &word, SKIP_ALIVE);
    if (rc != KELVANE_EOK) { // carries on as if nothing were enabled
        TRACE(LEVEL_ERROR, handle, KELVANE_ADDRESS_BOARD, "problem with access rc = %d \n", rc);
        word = 0;
    }
    word = enable == 1 ? word | MSI_SIRANE_MASK : word & ~MSI_SIRANE_MASK;
    rc = kelvane_internal_pci_write(handle, 0, MSI_ENABLE_REG, word, SKIP_ALIVE);
    if (rc != KELVANE_EOK) {
        TRACE(LEVEL_ERROR, handle, KELVANE_ADDRESS_BOARD, "problem with access rc = %d \n", rc);
    }
    TRACE(LEVEL_INFO, handle, KELVANE_ADDRESS_BOARD, "end \n");
    return rc;
}

int32_t kelvane_read_ir_mbox(kelvane_handle handle, uint32_t sirane_id, uint32_t *mbox_out)
{
    const kelvane_device_address address = KELVANE_ADDRESS_SIRANE(sirane_id);
    uint32_t word = 0;
    int32_t rc = kelvane_internal_pci_read(handle, 0, msi_source_reg(sirane_id), &word, CHECK_ALIVE);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    *mbox_out = mbox_of_source(word & 0xFF);
    if (*mbox_out == MBOX_COMMAND) {
        TRACE(LEVEL_ERROR, handle, address, "mbox should not have msi found ");
        rc = KELVANE_RET_CODE_GEN_ERR;
    } else if (*mbox_out == MBOX_NONE) {
        TRACE(LEVEL_ERROR, handle, address, "reg[0x%x]: mbox not found srn[%u] ", word, sirane_id);
        rc = KELVANE_RET_CODE_GEN_ERR;
    }
    TRACE(LEVEL_LOWPR, handle, address, "mbox_with_ir = %d ", static_cast<int>(*mbox_out));
    return rc;
}

int32_t kelvane_ordune_msi_clear_interrupt(kelvane_handle handle, uint32_t sirane_id)
{
    const kelvane_device_address address = KELVANE_ADDRESS_SIRANE(sirane_id);
    TRACE(LEVEL_LOWPR, handle, address, "start function ");
    uint32_t word = 0;
    int32_t rc = kelvane_internal_pci_read(handle, 0, MSI_STATUS_REG, &word, SKIP_ALIVE);
    if (rc != KELVANE_EOK) {
        TRACE(LEVEL_ERROR, handle, address, "problem with pci access rc = %d \n", rc);
        word = 0;
    }
    rc = kelvane_internal_pci_write(handle, 0, MSI_STATUS_REG, word | 1u << (sirane_id & 31), SKIP_ALIVE);
    if (rc != KELVANE_EOK) {
        TRACE(LEVEL_ERROR, handle, address, "problem with pci access rc = %d \n", rc);
    }
    TRACE(LEVEL_LOWPR, handle, address, "end function \n");
    return rc;
}

int32_t kelvane_notify_msi(kelvane_handle handle)
{
    TRACE(LEVEL_LOWPR, handle, NO_ADDRESS, "start ");
    uint32_t pending = 0;
    int32_t rc = kelvane_internal_pci_read(handle, 0, MSI_STATUS_REG, &pending, CHECK_ALIVE);
    if (rc != KELVANE_EOK) {
        pending = 0;
    }
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) {
        const bool is_pending = (pending >> sirane_id & 1) != 0;
        TRACE(LEVEL_LOWPR, handle, KELVANE_ADDRESS_SIRANE(sirane_id), " is_ir_present %s on sirane_id %d ",
              is_pending ? "true" : "false", static_cast<int>(sirane_id));
        if (is_pending) {
            wake_for_interrupt(handle, sirane_id);
            rc = kelvane_ordune_msi_clear_interrupt(handle, sirane_id);
        }
    }
    return rc;
}

int32_t kelvane_deque_msi(kelvane_handle handle)
{
    TRACE(LEVEL_LOWPR, handle, NO_ADDRESS, "start ");
    for (;;) {
        uint32_t pending = 0;
        int32_t rc = kelvane_internal_pci_read(handle, 0, MSI_STATUS_REG, &pending, CHECK_ALIVE);
        if (rc != KELVANE_EOK || pending == 0) {
            return rc;
        }
        TRACE(LEVEL_INFO, handle, NO_ADDRESS, "calling internal kelvane_notify_msi");
        rc = kelvane_notify_msi(handle);
        if (rc != KELVANE_EOK) {
            return rc;
        }
    }
}
