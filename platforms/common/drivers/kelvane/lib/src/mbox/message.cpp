#include "mbox/message.h"

#include <algorithm>
#include <cstring>

#include "core/arm_errors.h"
#include "core/pci.h"
#include "core/trace/trace.h"
#include "mbox/model.h"

namespace {

int32_t write_words(kelvane_handle handle, uint32_t offset, const uint32_t *data, uint32_t words)
{
    int32_t rc = KELVANE_EOK;
    for (uint32_t i = 0; i < words && rc == KELVANE_EOK; i++) {
        rc = kelvane_internal_pci_write(handle, 0, offset + 4 * i, data[i], CHECK_ALIVE);
    }
    return rc;
}

int32_t read_words(kelvane_handle handle, uint32_t offset, uint32_t *data, uint32_t words)
{
    int32_t rc = KELVANE_EOK;
    for (uint32_t i = 0; i < words && rc == KELVANE_EOK; i++) {
        rc = kelvane_internal_pci_read(handle, 0, offset + 4 * i, &data[i], CHECK_ALIVE);
    }
    return rc;
}

void trace_area(kelvane_handle handle, const mailbox_handler &mb, uint32_t words, const char *function)
{
    TRACE_AS(function, mb.flow_level, handle, KELVANE_ADDRESS_SIRANE(mb.sirane_id),
             " offset mailbox_addr %08x size %d", mb.mailbox_addr, static_cast<int>(words));
}

void trace_read(kelvane_handle handle, const mailbox_handler &mb, const char *function)
{
    TRACE_AS(function, mb.flow_level, handle, KELVANE_ADDRESS_SIRANE(mb.sirane_id),
             " offset mailbox_addr  %08x ", mb.mailbox_addr);
}

} // namespace

int32_t write_mbox_header(kelvane_handle handle, const mailbox_handler &mb, const mbox_data_header &header)
{
    trace_area(handle, mb, MBOX_HEADER_WORDS, __func__);
    uint32_t words[MBOX_HEADER_WORDS];
    memcpy(words, &header, sizeof words);
    const int32_t rc = write_words(handle, mb.mailbox_addr, words, MBOX_HEADER_WORDS);
    if (rc == KELVANE_EOK) {
        trace_mbox_header({handle, KELVANE_ADDRESS_SIRANE(mb.sirane_id)}, mb.mbox, header, mb.header_level);
    }
    return rc;
}

int32_t write_mbox_data(kelvane_handle handle, const mailbox_handler &mb, const uint32_t *data,
                        uint32_t words)
{
    trace_area(handle, mb, words, __func__);
    return write_words(handle, mb.mailbox_addr + MBOX_HEADER_BYTES, data, std::min(words, MBOX_DATA_WORDS));
}

void invalidate_mbox_data(kelvane_handle handle, const mailbox_handler &mb, uint32_t words)
{
    trace_area(handle, mb, words, __func__);
    for (uint32_t i = 0; i < words; i++) {
        if (kelvane_internal_pci_write(handle, 0, mb.mailbox_addr + 4 * i, PCI_ALL_ONES, CHECK_ALIVE) !=
            KELVANE_EOK) {
            return; // the gate has logged it, and the handshake that follows will meet the same failure
        }
    }
}

int32_t read_mbox_header(kelvane_handle handle, const mailbox_handler &mb, mbox_data_header *header_out,
                         bool trace)
{
    const kelvane_device_address address = KELVANE_ADDRESS_SIRANE(mb.sirane_id);
    trace_read(handle, mb, __func__);
    uint32_t words[MBOX_HEADER_WORDS];
    const int32_t rc = read_words(handle, mb.mailbox_addr, words, MBOX_HEADER_WORDS);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    memcpy(header_out, words, sizeof words);
    if (header_out->rc != 0) {
        kelvane_dump_arm_error(handle, header_out->rc);
        TRACE(LEVEL_ERROR, handle, address, "ARM ERROR mbx_addr[0x%x], size[%d]", mb.mailbox_addr,
              static_cast<int>(MBOX_HEADER_WORDS));
        trace_mbox_header({handle, address}, mb.mbox, *header_out, LEVEL_ERROR);
    }
    if (trace) {
        trace_mbox_header({handle, address}, mb.mbox, *header_out, mb.header_level);
    }
    return KELVANE_EOK;
}

int32_t read_mbox_data(kelvane_handle handle, const mailbox_handler &mb, mbox_data *data_out, uint32_t words)
{
    trace_read(handle, mb, __func__);
    return read_words(handle, mb.mailbox_addr + MBOX_HEADER_BYTES, data_out->word,
                      std::min(words, MBOX_DATA_WORDS));
}
