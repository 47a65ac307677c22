#include "device/firmware_image.h"

#include <cstdio>
#include <cstring>

#include "core/handle.h"
#include "core/pci.h"
#include "device/word_file.h"
#include "kelvane_bar.h"
#include "kelvane_trace_defs.h"
#include "mbox/command.h"
#include "platform/wait.h"

namespace {

constexpr uint64_t PAUSE_NSEC = 2000; // lets the card keep up
constexpr uint32_t WORDS_BETWEEN_PAUSES = 50;
constexpr uint32_t TRACED_WORDS = 10;

struct download_row {
    uint32_t download_device;
    uint32_t limit_words;
};

constexpr download_row DOWNLOADS[] = {
    {KELVANE_DOWNLOAD_HESPERA_GOLDEN, 0x7FFEFF},
    {KELVANE_DOWNLOAD_HESPERA, 0x7FFEFF},
    {KELVANE_DOWNLOAD_SIRANE, 0x3FFFFF},
    {3, 0x3FFFFF},
    {4, 0x7FFEFF},
};
constexpr uint32_t LIMIT_OF_UNKNOWN = 0x7FFEFF;

int32_t open_to_end(kelvane_handle handle, word_file &file, const char *name, uint64_t *bytes,
                    const char *function)
{
    if (word_file_open(file, name) != 0) {
        TRACE_AS(function, LEVEL_ERROR, handle, KELVANE_ADDRESS_BOARD, "could not open %s", name);
        return KELVANE_RET_CODE_GEN_ERR;
    }
    if (word_file_size(file, bytes) != 0) {
        TRACE_AS(function, LEVEL_ERROR, handle, KELVANE_ADDRESS_BOARD, "failed seeking");
        word_file_close(file);
        return KELVANE_RET_CODE_GEN_ERR;
    }
    return KELVANE_EOK;
}

int32_t write_digest(kelvane_handle handle, word_file &file, uint32_t base)
{
    for (uint32_t i = 0; i < DOWNLOAD_DIGEST_WORDS; i++) {
        uint32_t word = 0;
        const size_t taken = word_file_read(file, sizeof word, &word);
        if (taken != sizeof word) {
            TRACE_AS("kelvane_write_md5_in_ram", LEVEL_ERROR, handle, KELVANE_ADDRESS_BOARD,
                     "fread failed taken_char %d rem %d  ", static_cast<int>(taken),
                     static_cast<int>(sizeof word - taken));
            printf("Reading error");
            return KELVANE_RET_CODE_GEN_ERR;
        }
        const int32_t rc = kelvane_internal_pci_write(handle, 0, base + 4 * i, word, CHECK_ALIVE);
        if (rc != KELVANE_EOK) {
            return rc;
        }
    }
    return KELVANE_EOK;
}

// The levels that would trace every word go off behind the first few.
uint32_t quiet_trace()
{
    const uint32_t cleared = trace_level_mask_get() & (LEVEL_DEBUG | LEVEL_REG);
    trace_level_mask_clear(cleared);
    return cleared;
}

// Crossed: who had one of the two levels on has the other one on afterwards.
void restore_trace(uint32_t cleared)
{
    trace_level_mask_add(((cleared & LEVEL_REG) != 0 ? LEVEL_DEBUG : 0) |
                         ((cleared & LEVEL_DEBUG) != 0 ? LEVEL_REG : 0));
}

struct image_copy {
    kelvane_handle handle;
    word_file &file;
    uint32_t address; // of the image's first word
    uint32_t words = 0;
};

int32_t copy_bytes(image_copy &copy, size_t bytes, size_t needed)
{
    uint32_t word = 0;
    const size_t taken = word_file_read(copy.file, bytes, &word);
    if (taken < needed) {
        TRACE_AS("kelvane_write_image_file_in_ram", LEVEL_ERROR, copy.handle, KELVANE_ADDRESS_BOARD,
                 "fread failed taken_char %d ", static_cast<int>(taken));
        return KELVANE_RET_CODE_GEN_ERR;
    }
    if (bytes == sizeof word && copy.words % WORDS_BETWEEN_PAUSES == 0) {
        wait_busy(PAUSE_NSEC);
    }
    return kelvane_internal_pci_write(copy.handle, 0, copy.address + 4 * copy.words, word, CHECK_ALIVE);
}

int32_t copy_whole_words(image_copy &copy, uint64_t words)
{
    uint32_t cleared = 0;
    while (copy.words < words) {
        const int32_t rc = copy_bytes(copy, 4, 4);
        if (rc != KELVANE_EOK) {
            return rc;
        }
        copy.words++;
        if (copy.words == TRACED_WORDS) {
            cleared = quiet_trace();
        } else if (copy.words > LAST_IMAGE_WORD) {
            TRACE_AS("kelvane_write_image_file_in_ram", LEVEL_ERROR, copy.handle, KELVANE_ADDRESS_BOARD,
                     "file too large to be written");
            return KELVANE_RET_CODE_GEN_ERR;
        }
    }
    restore_trace(cleared);
    return KELVANE_EOK;
}

int32_t copy_image(image_copy &copy, uint64_t bytes)
{
    int32_t rc = copy_whole_words(copy, bytes / 4);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    const size_t remaining = bytes % 4;
    TRACE_AS("kelvane_write_image_file_in_ram", LEVEL_DEBUG, copy.handle, KELVANE_ADDRESS_BOARD,
             " remainig_char %d", static_cast<int>(remaining));
    if (remaining != 0) {
        rc = copy_bytes(copy, remaining, 1); // a file that has just become shorter still gives what it has
    }
    return rc;
}

// 0, or 64170 for a size that no image has.
int32_t judge_size(kelvane_handle handle, uint64_t bytes, const char *function)
{
    if (static_cast<uint32_t>(bytes) == 0xFFFFFFFF) { // what the end of a folder reads as
        TRACE_AS(function, LEVEL_ERROR, handle, KELVANE_ADDRESS_BOARD, "Invalid file size ");
        return KELVANE_RET_CODE_GEN_ERR;
    }
    if (bytes == 0) {
        TRACE_AS(function, LEVEL_ERROR, handle, KELVANE_ADDRESS_BOARD, "file has NULL size");
        return KELVANE_RET_CODE_GEN_ERR;
    }
    TRACE_AS(function, LEVEL_INFO, handle, KELVANE_ADDRESS_BOARD, "file size %d", static_cast<int>(bytes));
    return KELVANE_EOK;
}

} // namespace

int32_t kelvane_get_donwl_reg_info(kelvane_handle handle, uint32_t download_device, uint32_t *base,
                                   uint32_t *limit)
{
    *base = DOWNLOAD_RAM;
    *limit = LIMIT_OF_UNKNOWN;
    for (const download_row &row : DOWNLOADS) {
        if (row.download_device == download_device) {
            *limit = row.limit_words;
            return KELVANE_EOK;
        }
    }
    TRACE(LEVEL_ERROR, handle, KELVANE_ADDRESS_BOARD, "invalid download_device = %d ",
          static_cast<int>(download_device));
    return KELVANE_RET_CODE_EINVAL;
}

int32_t kelvane_get_md5_file_name(const char *file_name, char *md5_file_name)
{
    const size_t length = strlen(file_name);
    TRACE(LEVEL_DEBUG, NO_HANDLE, NO_ADDRESS, "namefile len = %d MAX_FILE_NAME %d   ",
          static_cast<int>(length), static_cast<int>(MAX_FILE_NAME));
    if (length > MAX_FILE_NAME) {
        TRACE(LEVEL_INFO, NO_HANDLE, NO_ADDRESS, "Invalid file name len = %d ", static_cast<int>(length));
        return KELVANE_RET_CODE_EINVAL;
    }
    snprintf(md5_file_name, MAX_FILE_NAME + sizeof DIGEST_SUFFIX, "%s%s", file_name, DIGEST_SUFFIX);
    return KELVANE_EOK;
}

int32_t kelvane_write_md5_in_ram(kelvane_handle handle, uint32_t download_device, const char *file_name)
{
    char md5_file_name[MAX_FILE_NAME + sizeof DIGEST_SUFFIX];
    uint32_t base = 0;
    uint32_t unused_limit = 0;
    int32_t rc = kelvane_get_md5_file_name(file_name, md5_file_name);
    if (rc == KELVANE_EOK) {
        rc = kelvane_get_donwl_reg_info(handle, download_device, &base, &unused_limit);
    }
    word_file file;
    uint64_t unused_size = 0;
    if (rc == KELVANE_EOK) {
        rc = open_to_end(handle, file, md5_file_name, &unused_size, __func__);
    }
    if (rc != KELVANE_EOK) {
        return rc;
    }
    rc = write_digest(handle, file, base);
    word_file_close(file);
    return rc;
}

int32_t kelvane_write_image_file_in_ram(kelvane_handle handle, uint32_t download_device,
                                        const char *file_name, uint32_t *size)
{
    TRACE(LEVEL_INFO, handle, KELVANE_ADDRESS_BOARD, "start dev=%d file %s",
          static_cast<int>(download_device), file_name);
    uint32_t base = 0;
    uint32_t unused_limit = 0;
    int32_t rc = kelvane_get_donwl_reg_info(handle, download_device, &base, &unused_limit);
    word_file file;
    uint64_t bytes = 0;
    if (rc == KELVANE_EOK) {
        rc = open_to_end(handle, file, file_name, &bytes, __func__);
    }
    if (rc != KELVANE_EOK) {
        return rc;
    }
    image_copy copy = {handle, file, base + DOWNLOAD_IMAGE_OFFSET};
    rc = judge_size(handle, bytes, __func__);
    if (rc == KELVANE_EOK) {
        *size = static_cast<uint32_t>(bytes);
        rc = copy_image(copy, bytes);
    }
    if (rc == KELVANE_EOK) {
        TRACE(LEVEL_INFO, handle, KELVANE_ADDRESS_BOARD, "end   dev=%d file %s final i %d ",
              static_cast<int>(download_device), file_name, static_cast<int>(copy.words));
    }
    word_file_close(file);
    return rc;
}

int32_t kelvane_download_software(kelvane_handle handle, uint32_t download_device, const char *file_name)
{
    TRACE(LEVEL_INFO, handle, KELVANE_ADDRESS_SIRANE(0), "start ");
    uint32_t size = 0;
    int32_t rc = check_kelvane_handler_input(handle);
    if (rc == KELVANE_EOK) {
        rc = kelvane_write_md5_in_ram(handle, download_device, file_name);
    }
    if (rc == KELVANE_EOK) {
        rc = kelvane_write_image_file_in_ram(handle, download_device, file_name, &size);
    }
    command c;
    if (rc == KELVANE_EOK) {
        rc = command_run(&c,
                         {CMD_DOWNLOAD_SOFTWARE, CHECK_NOTHING, __func__, handle, KELVANE_ADDRESS_SIRANE(0)},
                         {handle, download_device, size});
    }
    if (rc != KELVANE_EOK) {
        return rc;
    }
    TRACE(LEVEL_INFO, handle, KELVANE_ADDRESS_SIRANE(0), " end, rc 0x%x", c.response_header.rc);
    return command_result(c);
}

int32_t kelvane_program_activate_software(kelvane_handle handle, kelvane_device_address device_address,
                                          const char *file_name, kelvane_program_activate_cb fn_cb,
                                          uint32_t transaction_id)
{
    TRACE(LEVEL_INFO, handle, device_address, "start file %s cb=%s transaction_id=%d ", file_name,
          fn_cb != nullptr ? "NOT_NULL" : "NULL", static_cast<int>(transaction_id));
    if (fn_cb != nullptr) { // before every check: nobody is to believe that it will be called
        TRACE(LEVEL_ERROR, handle, device_address, " aynch mode temporary not supported ");
        return KELVANE_RET_CODE_GEN_ERR;
    }
    command c;
    const int32_t rc =
        command_run(&c, {CMD_PROGRAM_ACTIVATE_SOFTWARE, CHECK_HANDLE, __func__, handle, device_address},
                    {handle, device_address, transaction_id});
    if (rc != KELVANE_EOK) {
        return rc;
    }
    TRACE(LEVEL_INFO, handle, device_address, " end, rc 0x%x", c.response_header.rc);
    return command_result(c);
}
