// A firmware image on its way from a host file into the card: the text of its digest, the image, the command.
#ifndef DEVICE_FIRMWARE_IMAGE_H
#define DEVICE_FIRMWARE_IMAGE_H

#include <cstddef>
#include <cstdint>

#include "kelvane.h"

constexpr size_t MAX_FILE_NAME = 255;
constexpr char DIGEST_SUFFIX[] = ".md5";
constexpr uint32_t LAST_IMAGE_WORD = 0x7FFEFE; // the largest image has this many words and up to three bytes

// The two kinds of image that have no public name.
constexpr uint32_t DOWNLOAD_UNNAMED = 3;
constexpr uint32_t DOWNLOAD_XPM2 = 4; // the kind whose progress is that of a network port

// What makes progress.
enum fpd_op : uint32_t {
    FPD_DOWNLOAD = 0,
    FPD_PROGRAM = 1,
};

// Where an image of that kind goes, and how many words it should have at most; both are always written.
// Returns KELVANE_EOK, or KELVANE_RET_CODE_EINVAL for an unknown kind. The copying heeds only the base.
int32_t kelvane_get_donwl_reg_info(kelvane_handle handle, uint32_t download_device, uint32_t *base,
                                   uint32_t *limit);

// The name of the digest's file. The caller has room for MAX_FILE_NAME characters and the suffix. Returns
// KELVANE_EOK, or KELVANE_RET_CODE_EINVAL for a longer name.
int32_t kelvane_get_md5_file_name(const char *file_name, char *md5_file_name);

// Both return KELVANE_EOK, KELVANE_RET_CODE_EINVAL, KELVANE_RET_CODE_GEN_ERR for a file that cannot be read
// or does not fit, or the failure of a write. What was written before a failure stays in the card.
int32_t kelvane_write_md5_in_ram(kelvane_handle handle, uint32_t download_device, const char *file_name);
int32_t kelvane_write_image_file_in_ram(kelvane_handle handle, uint32_t download_device,
                                        const char *file_name, uint32_t *size);

// See kelvane_get_download_progress.
int32_t kelvane_get_progress(kelvane_handle handle, kelvane_device_address device_address, uint32_t fpd_op,
                             uint32_t *progress);

#endif
