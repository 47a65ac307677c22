// The tables that the card publishes in the BAR, and the versions that are read from them.
#ifndef CARD_INFO_TABLES_H
#define CARD_INFO_TABLES_H

#include <cstdint>

#include "kelvane.h"
#include "kelvane_bar.h"

// Words of the controller's table.
enum zynq_info_word : uint32_t {
    ZYNQ_IMAGE_BUNDLE_RUNNING = 0,
    ZYNQ_RUNNING_BUNDLE_VERSION = 1,
    ZYNQ_FSBL_VERSION = 2,        // packed version and date
    ZYNQ_APPLICATION_VERSION = 3, // packed version and date
    ZYNQ_APP_IS_BARE_METAL = 4,
    ZYNQ_PLBIT_VERSION = 5,
    ZYNQ_WORKING_BUNDLE_VERSION = 6,
    ZYNQ_GOLDEN_BUNDLE_VERSION = 7,
    ZYNQ_SECURE_BOOT_FLAG = 8,
    ZYNQ_DDR_DIM_FLAG = 9,
    ZYNQ_CARD_ID = 10,
    ZYNQ_CARD_VERSION = 11,
    ZYNQ_SIRANE_BOARD_ID = 12,
    ZYNQ_SIRANE_BOARD_REVISION = 13,
};

// Words of a sirane's table. Only four runs of them are read.
enum sirane_info_word : uint32_t {
    SIRANE_BANK_VERSION = 0, // one word for each of the two banks
    SIRANE_BANK_VALID = 2,   // one word for each of the two banks
    SIRANE_DOWNLOADED_BANK = 4,
    SIRANE_RUNNING_BANK = 5,
    SIRANE_PORT_SOFTWARE = 64, // 64 words further for each port
    SIRANE_PORT_VERSION = 65,
    SIRANE_PROGRESS = 192,
};
constexpr uint32_t SIRANE_PORT_STRIDE = 64;

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

// All return KELVANE_EOK, KELVANE_RET_CODE_EINVAL, KELVANE_RET_CODE_DEVICE_UNAVAILABLE,
// KELVANE_RET_CODE_GEN_ERR for a table that contradicts itself, or KELVANE_RET_CODE_DEVICE_NOT_READY with
// both outputs 0 while the controller is still checking an image.
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

#endif
