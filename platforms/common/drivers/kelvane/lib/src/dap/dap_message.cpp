// The moves of a DAP message: into the record, into the mailbox, and the answer out of it.
#include <algorithm>
#include <cstring>

#include "core/pci.h"
#include "core/trace/trace.h"
#include "core/transaction_id.h"
#include "dap/dap_channel.h"
#include "mbox/message.h"
#include "mbox/model.h"

namespace {

constexpr kelvane_device_address DAP_ADDRESS = KELVANE_ADDRESS_BOARD;

uint32_t words_of(uint32_t bytes)
{
    return (bytes + 3) / 4;
}

void trace_data(const void *data, uint32_t size)
{
    if (!trace_is_on(LEVEL_LOWPR)) {
        return;
    }
    constexpr const char *name = "kelvane_dap_mbox_handler_set_data";
    TRACE_AS(name, LEVEL_LOWPR, NO_HANDLE, DAP_ADDRESS, "size=%d spare=%d 32bit_word=%d",
             static_cast<int>(size), static_cast<int>(size % 4), static_cast<int>(size / 4));
    for (uint32_t i = 0; i <= size / 4; i++) { // one line more than whole words, even with no byte left
        uint32_t word = 0;
        if (size > 4 * i) {
            memcpy(&word, static_cast<const char *>(data) + 4 * i, std::min<uint32_t>(4, size - 4 * i));
        }
        TRACE_AS(name, LEVEL_LOWPR, NO_HANDLE, DAP_ADDRESS, " 0x%08x ", word);
    }
}

// `same`: the mailbox holds the word.
int32_t write_and_read_back(kelvane_handle handle, uint32_t offset, uint32_t written, bool *same)
{
    uint32_t read = 0;
    int32_t rc = kelvane_internal_pci_write(handle, 0, offset, written, CHECK_ALIVE);
    if (rc == KELVANE_EOK) {
        rc = kelvane_internal_pci_read(handle, 0, offset, &read, CHECK_ALIVE);
    }
    *same = rc == KELVANE_EOK && read == written;
    if (rc == KELVANE_EOK && !*same) {
        TRACE_AS("kelvane_dap_mbox_handler_move_data_to_regs", LEVEL_ERROR, handle, DAP_ADDRESS,
                 "VALUE NOT WRITTEN written %08x read %08x  ", written, read);
    }
    return rc;
}

// The answer that follows a good header, and the application's callback.
int32_t take_answer(kelvane_handle handle, dap_record *record, const mailbox_handler &mb,
                    mbox_data_header *header)
{
    constexpr const char *name = "kelvane_dap_mbox_handler_manage_done_state";
    if (header->ref_id != record->dap_ref_id || header->size >= DAP_BUFFER_BYTES) {
        TRACE_AS(name, LEVEL_ERROR, handle, DAP_ADDRESS, " ERROR on size or refid   ");
        return KELVANE_RET_CODE_VERSION_MISMATCH;
    }
    mbox_data data{};
    const int32_t rc = read_mbox_data(handle, mb, &data, words_of(header->size));
    memcpy(record->dap_buffer, data.word, sizeof record->dap_buffer); // what was read, and zeroes
    if (rc != KELVANE_EOK) {
        return rc;
    }
    for (uint32_t i = 0; i < words_of(header->size); i++) {
        TRACE_AS(name, mb.flow_level, handle, DAP_ADDRESS, " %d  data %08x ", static_cast<int>(i),
                 record->dap_buffer[i]);
    }
    if (record->dap_callback == nullptr) {
        TRACE_AS(name, LEVEL_ERROR, handle, DAP_ADDRESS, " callback not evaluated ");
        return KELVANE_EOK;
    }
    TRACE_AS(name, mb.flow_level, handle, DAP_ADDRESS, " size = %d", static_cast<int>(header->size));
    const int32_t callback_rc = record->dap_callback(handle, record->dap_buffer, &header->size);
    if (callback_rc != KELVANE_EOK) {
        TRACE_AS(name, LEVEL_ERROR, handle, DAP_ADDRESS, " ERROR FROM callback rc = %d  ", callback_rc);
    }
    return KELVANE_EOK;
}

} // namespace

int32_t kelvane_dap_mbox_handler_set_data(dap_record *record, const void *data, uint32_t size,
                                          kelvane_dap_cb callback)
{
    if (size > DAP_BUFFER_BYTES) {
        uint32_t first_word = 0; // which the line shows instead of the size
        memcpy(&first_word, data, sizeof first_word);
        TRACE(LEVEL_ERROR, NO_HANDLE, DAP_ADDRESS, "size = %d  too big !!! ", static_cast<int>(first_word));
        return KELVANE_RET_CODE_EINVAL;
    }
    trace_data(data, size);
    if (size % 4 != 0) {
        record->dap_buffer[size / 4] = 0;
    }
    if (size != 0) {
        memcpy(record->dap_buffer, data, size);
    }
    record->dap_callback = callback;
    record->dap_size = size;
    return KELVANE_EOK;
}

int32_t kelvane_dap_mbox_handler_move_data_to_regs(kelvane_handle handle, dap_record *record)
{
    uint32_t ref_id = 0;
    int32_t rc = kelvane_transaction_id_next(&ref_id);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    const mbox_data_header header = {CMD_DAP_MESSAGE, ref_id, record->dap_size, 0, MBOX_SYNC_WORD, 0};
    record->dap_ref_id = ref_id;
    uint32_t words[MBOX_HEADER_WORDS + DAP_BUFFER_WORDS];
    const uint32_t data_words = std::min(words_of(record->dap_size), DAP_BUFFER_WORDS);
    memcpy(words, &header, sizeof header);
    memcpy(words + MBOX_HEADER_WORDS, record->dap_buffer, 4 * data_words);
    bool same = true;
    for (uint32_t i = 0; i < MBOX_HEADER_WORDS + data_words && rc == KELVANE_EOK && same; i++) {
        rc = write_and_read_back(handle, record->dap_mailbox_addr + 4 * i, words[i], &same);
    }
    return rc;
}

int32_t kelvane_dap_mbox_handler_manage_done_state(kelvane_handle handle, dap_record *record)
{
    const mailbox_handler &mb = mailbox_of(0, MBOX_DAP);
    mbox_data_header header{};
    int32_t rc = read_mbox_header(handle, mb, &header, true);
    if (rc == KELVANE_EOK) {
        TRACE(mb.flow_level, handle, DAP_ADDRESS, "size red from header[%d]", static_cast<int>(header.size));
    }
    if (rc == KELVANE_EOK && header.rc == 0) { // an error word is not passed on to the application
        rc = take_answer(handle, record, mb, &header);
    }
    TRACE(mb.header_level, handle, DAP_ADDRESS, " end rc = %d  ", rc);
    return rc;
}
