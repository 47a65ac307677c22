// A message in a mailbox's area: header and data words, moved one 32-bit access at a time in ascending order
// and never read back. The functions with a status return KELVANE_EOK or that of the first access that fails.
#ifndef MBOX_MESSAGE_H
#define MBOX_MESSAGE_H

#include <cstdint>

#include "kelvane.h"
#include "kelvane_mbox.h"

int32_t write_mbox_header(kelvane_handle handle, const mailbox_handler &mb, const mbox_data_header &header);
int32_t write_mbox_data(kelvane_handle handle, const mailbox_handler &mb, const uint32_t *data,
                        uint32_t words);

// Overwrites the first `words` words with all ones, so that an old header cannot be read twice.
void invalidate_mbox_data(kelvane_handle handle, const mailbox_handler &mb, uint32_t words);

// An error word in the header is logged and is no failure. With `trace` the header is logged in any case.
int32_t read_mbox_header(kelvane_handle handle, const mailbox_handler &mb, mbox_data_header *header_out,
                         bool trace);

// Reads at most MBOX_DATA_WORDS words, whatever `words` asks for.
int32_t read_mbox_data(kelvane_handle handle, const mailbox_handler &mb, mbox_data *data_out, uint32_t words);

#endif
