// A firmware image on its way from a host file into the card: the digest's text, the image, the command.
#ifndef DEVICE_FIRMWARE_IMAGE_H
#define DEVICE_FIRMWARE_IMAGE_H

#include <cstddef>
#include <cstdint>

#include "kelvane.h"

constexpr size_t MAX_FILE_NAME = 255;
constexpr char DIGEST_SUFFIX[] = ".md5";
constexpr uint32_t LAST_IMAGE_WORD = 0x7FFEFE; // the largest image: so many words and up to three bytes

// What the progress is of.
enum fpd_op : uint32_t {
    FPD_DOWNLOAD = 0,
    FPD_PROGRAM = 1,
};

// Where an image of that kind goes, and how many words the kind is meant to have; both are written in any
// case. Returns 0, or 22 for an unknown kind. The writing goes by the base alone.
int32_t kelvane_get_donwl_reg_info(kelvane_handle handle, uint32_t download_device, uint32_t *base,
                                   uint32_t *limit);

// The name of the digest's file. The caller has room for MAX_FILE_NAME characters and the suffix. Returns 0,
// or 22 for a longer name.
int32_t kelvane_get_md5_file_name(const char *file_name, char *md5_file_name);

// Both return 0, 22, 64170 for a file that cannot be read or does not fit, or the failure of a write. What
// was written up to a failure stays in the card, and levels that were turned off meanwhile stay off.
int32_t kelvane_write_md5_in_ram(kelvane_handle handle, uint32_t download_device, const char *file_name);
int32_t kelvane_write_image_file_in_ram(kelvane_handle handle, uint32_t download_device,
                                        const char *file_name, uint32_t *size);

// See kelvane_get_download_progress.
int32_t kelvane_get_progress(kelvane_handle handle, kelvane_device_address device_address, uint32_t fpd_op,
                             uint32_t *progress);

#endif
