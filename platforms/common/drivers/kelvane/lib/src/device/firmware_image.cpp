#include "device/firmware_image.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "core/handle.h"
#include "core/pci.h"
#include "core/trace/trace.h"
#include "device/word_file.h"
#include "kelvane_bar.h"
#include "mbox/command.h"
#include "platform/wait.h"

namespace {

constexpr uint64_t PAUSE_NS = 2000; // for the card to keep up
constexpr uint32_t WORDS_BETWEEN_PAUSES = 50;
constexpr uint32_t TRACED_WORDS = 10;

struct download_row {
    uint32_t download_device;
    uint32_t limit_words;
};

constexpr uint32_t WIDE_LIMIT_WORDS = 0x7FFEFF; // also of an unknown kind
constexpr uint32_t NARROW_LIMIT_WORDS = 0x3FFFFF;

constexpr download_row DOWNLOADS[] = {
    {KELVANE_DOWNLOAD_HESPERA_GOLDEN, WIDE_LIMIT_WORDS},
    {KELVANE_DOWNLOAD_HESPERA, WIDE_LIMIT_WORDS},
    {KELVANE_DOWNLOAD_SIRANE, NARROW_LIMIT_WORDS},
    {DOWNLOAD_UNNAMED, NARROW_LIMIT_WORDS},
    {DOWNLOAD_XPM2, WIDE_LIMIT_WORDS},
};

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

// Turns the levels that trace every word off while it lives, so that an image does not flood the log. They
// come back swapped: a caller with DEBUG on and REG off has DEBUG off and REG on afterwards. After a failure
// they do not come back at all.
class paused_levels {
  public:
    paused_levels() : paused_(trace_level_mask_get() & (LEVEL_DEBUG | LEVEL_REG))
    {
        trace_level_mask_clear(paused_);
    }
    ~paused_levels()
    {
        trace_level_mask_add(((paused_ & LEVEL_REG) != 0 ? LEVEL_DEBUG : 0) |
                             ((paused_ & LEVEL_DEBUG) != 0 ? LEVEL_REG : 0));
    }
    paused_levels(const paused_levels &) = delete;
    paused_levels &operator=(const paused_levels &) = delete;

    void stay_off()
    {
        paused_ = 0;
    }

  private:
    uint32_t paused_;
};

struct image_copy {
    kelvane_handle handle;
    word_file &file;
    uint32_t address; // of the image's first word
    uint32_t words = 0;
};

int32_t read_bytes(image_copy &copy, size_t bytes, size_t needed, uint32_t *word)
{
    const size_t taken = word_file_read(copy.file, bytes, word);
    if (taken < needed) {
        TRACE_AS("kelvane_write_image_file_in_ram", LEVEL_ERROR, copy.handle, KELVANE_ADDRESS_BOARD,
                 "fread failed taken_char %d ", static_cast<int>(taken));
        return KELVANE_RET_CODE_GEN_ERR;
    }
    return KELVANE_EOK;
}

int32_t write_word(const image_copy &copy, uint32_t word)
{
    return kelvane_internal_pci_write(copy.handle, 0, copy.address + 4 * copy.words, word, CHECK_ALIVE);
}

int32_t copy_words_up_to(image_copy &copy, uint64_t words)
{
    while (copy.words < words) {
        uint32_t word = 0;
        int32_t rc = read_bytes(copy, sizeof word, sizeof word, &word);
        if (rc == KELVANE_EOK && copy.words % WORDS_BETWEEN_PAUSES == 0) {
            wait_busy(PAUSE_NS);
        }
        if (rc == KELVANE_EOK) {
            rc = write_word(copy, word);
        }
        if (rc != KELVANE_EOK) {
            return rc;
        }
        copy.words++;
        if (copy.words > LAST_IMAGE_WORD) {
            TRACE_AS("kelvane_write_image_file_in_ram", LEVEL_ERROR, copy.handle, KELVANE_ADDRESS_BOARD,
                     "file too large to be written");
            return KELVANE_RET_CODE_GEN_ERR;
        }
    }
    return KELVANE_EOK;
}

int32_t copy_whole_words(image_copy &copy, uint64_t words)
{
    int32_t rc = copy_words_up_to(copy, std::min<uint64_t>(words, TRACED_WORDS));
    if (copy.words < TRACED_WORDS) { // a failure or a small image
        return rc;
    }
    paused_levels paused;
    rc = copy_words_up_to(copy, words);
    if (rc != KELVANE_EOK) {
        paused.stay_off();
    }
    return rc;
}

// The bytes after the last whole word. If the file has shrunk meanwhile, what is left of them.
int32_t read_rest(image_copy &copy, size_t remaining, uint32_t *word)
{
    TRACE_AS("kelvane_write_image_file_in_ram", LEVEL_DEBUG, copy.handle, KELVANE_ADDRESS_BOARD,
             " remainig_char %d", static_cast<int>(remaining));
    return remaining == 0 ? KELVANE_EOK : read_bytes(copy, remaining, 1, word);
}

// KELVANE_EOK, or KELVANE_RET_CODE_GEN_ERR for a size that no image has. The firmware is told 32 bits of it.
int32_t judge_size(kelvane_handle handle, uint64_t bytes, const char *function)
{
    const auto told = static_cast<uint32_t>(bytes);
    if (told == 0xFFFFFFFF) { // of where a folder ends
        TRACE_AS(function, LEVEL_ERROR, handle, KELVANE_ADDRESS_BOARD, "Invalid file size ");
        return KELVANE_RET_CODE_GEN_ERR;
    }
    if (told == 0) {
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
    *limit = WIDE_LIMIT_WORDS;
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
        rc = copy_whole_words(copy, bytes / 4);
    }
    const size_t remaining = bytes % 4;
    uint32_t rest = 0;
    if (rc == KELVANE_EOK) {
        rc = read_rest(copy, remaining, &rest);
    }
    if (rc == KELVANE_EOK) {
        rc = remaining == 0 ? KELVANE_EOK : write_word(copy, rest);
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
    if (fn_cb != nullptr) { // before all checks, so that nobody waits for a callback
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
