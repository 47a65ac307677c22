#include "core/trace/trace.h"

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <ctime>
#include <string>

#include "core/mutex.h"
#include "platform/host_tree.h"
#include "platform/thread.h"
#include "platform/trace_ring.h"
#include "platform/wait.h"

std::atomic<uint32_t> trace_level_mask{0x7F};
char traceFile[64];
std::atomic<FILE *> logFileFp;
int32_t logFileFp_rowcounter;
kelvane_mutex log_file_mutex;

namespace {

constexpr uint32_t ALL_LEVELS = 127;
constexpr const char *SOURCE_NAME = "platforms/common/drivers/kelvane/lib/src/kelvane_trace_defs";

kelvane_mutex trace_level_mutex;

trace_ring *kelvane_err_ltrace;
trace_ring *kelvane_info_ltrace;
trace_ring *kelvane_alarm_ltrace;
trace_ring *kelvane_pm_ltrace;
trace_ring *kelvane_debug_ltrace;
trace_ring *kelvane_lowpr_ltrace;
trace_ring *kelvane_reg_ltrace;
trace_ring *kelvane_zynq_ltrace; // the last three take no entry of this library
trace_ring *kelvane_srn_ltrace;
trace_ring *kelvane_eprom_ltrace;

struct ring_row {
    trace_ring **ring;
    trace_ring **cleared_on_failure;
    const char *name;
    uint32_t entries;
    uint64_t bytes;
};

const ring_row rings[] = {
    {&kelvane_err_ltrace, &kelvane_err_ltrace, "KELVANE_ERR__", 8192, 0x400000},
    {&kelvane_info_ltrace, &kelvane_info_ltrace, "KELVANE_INFO_", 65536, 0x2000000},
    {&kelvane_alarm_ltrace, &kelvane_alarm_ltrace, "KELVANE_ALARM", 65536, 0x2000000},
    {&kelvane_pm_ltrace, &kelvane_pm_ltrace, "KELVANE_PM___", 65536, 0x2000000},
    {&kelvane_debug_ltrace, &kelvane_debug_ltrace, "KELVANE_DEBUG", 65536, 0x2000000},
    {&kelvane_lowpr_ltrace, &kelvane_lowpr_ltrace, "KELVANE_LOWPR", 65536, 0x2000000},
    {&kelvane_reg_ltrace, &kelvane_reg_ltrace, "KELVANE_REG__", 65536, 0x2000000},
    {&kelvane_zynq_ltrace, &kelvane_zynq_ltrace, "KELVANE_ZYNQ_", 65536, 0x2000000},
    {&kelvane_srn_ltrace, &kelvane_srn_ltrace, "KELVANE_SRN__", 65536, 0x2000000},
    // A failure here takes the siranes' ring away instead of its own handle, which is null anyway.
    {&kelvane_eprom_ltrace, &kelvane_srn_ltrace, "KELVANE_PROM_", 65536, 0x2000000},
};

struct level_row {
    uint32_t level;
    const char *word;
    const char *tagged_word; // of kelvane_trace_tagged
    trace_ring **ring;
};

const level_row levels[] = {
    {LEVEL_ERROR, "ERROR", "ERR  ", &kelvane_err_ltrace},
    {LEVEL_INFO, "INFO ", "INFO ", &kelvane_info_ltrace},
    {LEVEL_ALARM, "ALARM", "ALARM", &kelvane_alarm_ltrace},
    {LEVEL_PM, "PM   ", "PM   ", &kelvane_pm_ltrace},
    {LEVEL_DEBUG, "DEBUG", "DEBUG", &kelvane_debug_ltrace},
    {LEVEL_REG, "REG  ", "UNKNW", &kelvane_reg_ltrace},
    {LEVEL_LOWPR, "LOWPR", "UNKNW", &kelvane_lowpr_ltrace},
};

const level_row *find_level(uint32_t level)
{
    for (const level_row &row : levels) {
        if (row.level == level) {
            return &row;
        }
    }
    return nullptr;
}

// Set while this thread writes to the file: a trace that the log's own lock causes goes to its ring only.
thread_local bool writing_to_file;

FILE *open_unbuffered(const char *mode)
{
    FILE *file = host_tree_fopen(traceFile, mode);
    if (file != nullptr) {
        setvbuf(file, nullptr, _IONBF, 0);
    }
    return file;
}

void write_whole(const char *text, size_t length)
{
    fwrite(text, 1, length, logFileFp.load()); // the log has nowhere to report that it cannot be written
}

void clear_log_file()
{
    static const char cleared[] = " ********************* FILE CLEARED **********************\n";
    fclose(logFileFp.load());
    FILE *emptied = open_unbuffered("w");
    if (emptied != nullptr) {
        fclose(emptied);
    }
    logFileFp = open_unbuffered("a");
    if (logFileFp == nullptr) {
        fprintf(stderr, "kelvane: %s cannot be opened again after clearing, file logging is off\n",
                traceFile);
        return;
    }
    for (int i = 0; i < 4; i++) {
        write_whole(cleared, sizeof cleared - 1);
    }
    logFileFp_rowcounter = 0;
}

// Time, mask, thread, address: what stands between the row number and the level word.
int format_line_head(char *out, size_t size, kelvane_device_address device_address)
{
    timespec now{};
    wait_realtime(&now);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    return snprintf(out, size, "[%02d:%02d:%02d.%06d] t%d tid=%d [d:%03d|n:%03d|h:%03d] ", local.tm_hour,
                    local.tm_min, local.tm_sec, static_cast<int>(now.tv_nsec / 1000),
                    static_cast<int>(trace_level_mask.load(std::memory_order_relaxed)), thread_kernel_id(),
                    static_cast<int>(device_address >> 16 & 0xFF),
                    static_cast<int>(device_address >> 8 & 0xFF), static_cast<int>(device_address & 0xFF));
}

struct file_line {
    const char *level_word;
    const char *after_function; // between the function's name and the message
    uint32_t slot;
    kelvane_device_address device_address;
    const char *function;
    const char *message;
    size_t message_length;
    bool counted;
};

// Writes the whole line at once, under log_file_mutex.
void write_file_line(const file_line &line)
{
    char head[512];
    int length = 0;
    if (line.counted) {
        if (logFileFp_rowcounter < LOG_FILE_MAX_ROWS) {
            length = snprintf(head, sizeof head, " %6d ", logFileFp_rowcounter);
            logFileFp_rowcounter++;
        } else { // this row's number goes with the old contents
            clear_log_file();
            if (logFileFp == nullptr) {
                return;
            }
        }
    }
    length += format_line_head(head + length, sizeof head - static_cast<size_t>(length), line.device_address);
    length += snprintf(head + length, sizeof head - static_cast<size_t>(length), "%s Slot:%02d %.128s:%s",
                       line.level_word, static_cast<int>(line.slot), line.function, line.after_function);
    const size_t head_length = std::min(static_cast<size_t>(length), sizeof head - 1);

    char whole[1536];
    if (head_length + line.message_length + 1 <= sizeof whole) {
        memcpy(whole, head, head_length);
        memcpy(whole + head_length, line.message, line.message_length);
        whole[head_length + line.message_length] = '\n';
        write_whole(whole, head_length + line.message_length + 1);
    } else {
        const std::string longer =
            std::string(head, head_length) + std::string(line.message, line.message_length) + "\n";
        write_whole(longer.data(), longer.size());
    }
}

void write_to_file(const file_line &line)
{
    if (logFileFp == nullptr || writing_to_file) {
        return;
    }
    writing_to_file = true;
    const bool locked = kelvane_mutex_lock(&log_file_mutex) == KELVANE_EOK;
    if (logFileFp != nullptr) {
        write_file_line(line);
    }
    if (locked) {
        kelvane_mutex_unlock(&log_file_mutex);
    }
    writing_to_file = false;
}

} // namespace

void kelvane_trace(uint32_t level, uint32_t slot, kelvane_device_address device_address, const char *function,
                   const char *format, ...)
{
    const level_row *row = find_level(level);
    if (row == nullptr) {
        return;
    }
    char message[TRACE_MESSAGE_BYTES];
    va_list arguments;
    va_start(arguments, format);
    const int formatted = vsnprintf(message, sizeof message, format, arguments);
    va_end(arguments);
    const size_t length = formatted < 0 ? 0 : static_cast<size_t>(formatted);
    if (formatted < 0) {
        message[0] = '\0';
    }

    if (logFileFp != nullptr) {
        file_line line = {row->word, " ", slot, device_address, function, message, length, true};
        std::string whole;
        if (length >= sizeof message) {
            whole.resize(length + 1);
            va_start(arguments, format);
            vsnprintf(whole.data(), whole.size(), format, arguments);
            va_end(arguments);
            line.message = whole.data();
        }
        write_to_file(line);
    }
    trace_ring_write(*row->ring, TRACE_RING_TAG_STRING, static_cast<int32_t>(slot), device_address, function,
                     message);
}

void kelvane_trace_tagged(uint32_t level, uint64_t tag, uint32_t slot, kelvane_device_address device_address,
                          const char *function, ...)
{
    va_list arguments;
    va_start(arguments, function);
    std::string message;
    if (tag == TRACE_RING_TAG_TAGGED_STRING || tag == TRACE_RING_TAG_STRING_NUMBER ||
        tag == TRACE_RING_TAG_TWO_STRINGS) {
        message = std::string(va_arg(arguments, const char *)) + " ";
        if (tag == TRACE_RING_TAG_STRING_NUMBER) {
            message += std::to_string(va_arg(arguments, int)) + " ";
        } else if (tag == TRACE_RING_TAG_TWO_STRINGS) {
            message += std::string(va_arg(arguments, const char *)) + " ";
        }
    } else {
        message = "UNKNOWN ";
    }
    va_end(arguments);

    const level_row *row = find_level(level);
    write_to_file({row == nullptr ? "UNKNW" : row->tagged_word, "", slot, device_address, function,
                   message.data(), message.size(), false});
}

uint32_t trace_level_mask_get(void)
{
    return trace_level_mask.load(std::memory_order_relaxed);
}

// The mask changes under its mutex; a failed lock does not stop the change.
static void change_mask(uint32_t keep, uint32_t add)
{
    const bool locked = kelvane_mutex_lock(&trace_level_mutex) == KELVANE_EOK;
    trace_level_mask.store((trace_level_mask.load(std::memory_order_relaxed) & keep) | add,
                           std::memory_order_relaxed);
    if (locked) {
        kelvane_mutex_unlock(&trace_level_mutex);
    }
}

int32_t trace_level_mask_set(uint32_t mask)
{
    change_mask(0, mask);
    return KELVANE_EOK;
}

void trace_level_mask_add(uint32_t bits)
{
    change_mask(~0u, bits);
}

void trace_level_mask_clear(uint32_t bits)
{
    change_mask(~bits, 0);
}

int32_t initTrace(void)
{
    int32_t rc = kelvane_mutex_init(&trace_level_mutex);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    snprintf(traceFile, sizeof traceFile, "%s", "/root/kelvane.log");
    rc = kelvane_mutex_init(&log_file_mutex);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    FILE *existing = host_tree_fopen(traceFile, "r");
    if (existing != nullptr) {
        printf("\tfile %s line %d %s fopen file exists ", SOURCE_NAME, 100, __func__);
        fclose(existing);
        logFileFp = open_unbuffered("a");
        if (logFileFp == nullptr) {
            printf("\tfile %s line %d %s fopen FAIL ", SOURCE_NAME, 107, __func__);
            return KELVANE_RET_CODE_GEN_ERR;
        }
        logFileFp_rowcounter = 0;
    } else {
        printf("\tfile %s line %d %s fopen file NOT exists ", SOURCE_NAME, 115, __func__);
    }
    for (const ring_row &row : rings) {
        *row.ring = trace_ring_create(row.name, row.entries, row.bytes);
        if (*row.ring == nullptr) {
            *row.cleared_on_failure = nullptr;
        }
    }
    trace_level_mask_set(ALL_LEVELS);
    for (const uint32_t level :
         {LEVEL_ERROR, LEVEL_INFO, LEVEL_DEBUG, LEVEL_ALARM, LEVEL_PM, LEVEL_REG, LEVEL_LOWPR}) {
        TRACE(level, NO_HANDLE, NO_ADDRESS, "*********************************************************");
    }
    return KELVANE_EOK;
}
