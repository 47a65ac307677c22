// The version of the firmware that runs on the card.
#ifndef CARD_RUNNING_FIRMWARE_H
#define CARD_RUNNING_FIRMWARE_H

#include <cstdint>

#include "card/firmware_version.h"
#include "kelvane.h"

// Asks the card, and logs the answer at `log_level`. Returns what kelvane_get_software_running returns;
// `running` is left alone when the inquiry fails.
int32_t get_running_firmware(kelvane_handle handle, firmware_version *running, uint32_t log_level);

// Asks the card whether its firmware is `asked` or later. A firmware that gives no version (0.0) always is,
// and any firmware is when 0.0 is asked for. `out` is left alone when the inquiry fails.
int32_t is_current_ver_later_or_equal(kelvane_handle handle, firmware_version asked, bool *out);

// Asks for the version and keeps it in the handle: 0.0 when there is no answer.
void kelvane_store_firmware_version(kelvane_handle handle);

#endif
