// The tables that the card publishes in the BAR, and the versions that are read from them.
#ifndef CARD_INFO_TABLES_H
#define CARD_INFO_TABLES_H

#include <cstdint>

#include "kelvane.h"
#include "kelvane_bar.h"

struct zynq_info_table {
    uint32_t word[ZYNQ_INFO_WORDS];
};
struct sirane_info_table_image {
    uint32_t word[SIRANE_INFO_WORDS];
};

enum software_choice : int32_t {
    SOFTWARE_RUNNING = 0,
    SOFTWARE_DOWNLOADED = 1, // of the controller: the working image
    SOFTWARE_GOLDEN = 2,     // of the controller only
};

// All return 0, 22, 64174, 64170 for a table that contradicts itself, or 64175 with both outputs 0 while
// the controller checks an image.
int32_t kelvane_get_zynq_info_table(kelvane_handle handle, zynq_info_table *table);
int32_t kelvane_get_sirane_subsys_info_table(kelvane_handle handle, uint32_t sirane_id,
                                             sirane_info_table_image *table); // zeroed by the caller
int32_t kelvane_get_sirane_software(kelvane_handle handle, uint32_t sirane_id, int32_t which, uint32_t *major,
                                    uint32_t *minor);
int32_t kelvane_get_ordune_software(kelvane_handle handle, uint32_t device_id, int32_t which, uint32_t *major,
                                    uint32_t *minor);
int32_t kelvane_get_internal_software_running(kelvane_handle handle, kelvane_device_address device_address,
                                              uint32_t *major, uint32_t *minor, uint32_t log_level);
int32_t kelvane_trace_zynq_info_table(kelvane_handle handle);

// Whether the running firmware is at least that version; a firmware that gives no version (0.0) is.
// `out` stays untouched when the inquiry fails.
int32_t is_current_ver_later_or_equal(kelvane_handle handle, uint32_t major, uint32_t minor, uint32_t *out);

// Asks the firmware for its version and keeps it in the handle, 0.0 when it cannot be had.
void kelvane_store_firmware_version(kelvane_handle handle);

#endif
