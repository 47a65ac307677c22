#include "core/trace/file.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <string>

#include "core/mutex.h"
#include "core/trace/levels.h"
#include "platform/host_tree.h"
#include "platform/thread.h"
#include "platform/wait.h"

char traceFile[LOG_FILE_PATH_BYTES_MAX];
std::atomic<FILE *> logFileFp;
int32_t logFileFp_rowcounter;
kelvane_mutex log_file_mutex;

namespace {

// What the operator reads on standard output at the start. Scripts look for these words with these numbers:
// they are a fixed text, and no place in today's source.
constexpr const char *START_SOURCE = "platforms/common/drivers/kelvane/lib/src/kelvane_trace_defs";
constexpr const char *START_FUNCTION = "initTrace";
constexpr int START_LINE_EXISTS = 100;
constexpr int START_LINE_FAILED = 107;
constexpr int START_LINE_MISSING = 115;

// Set while this thread writes to the file: a line that the file's own mutex causes goes to its ring only.
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
    fwrite(text, 1, length, logFileFp.load()); // a log that cannot be written has nowhere to say so
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

// Under log_file_mutex.
void write_line(const trace_file_line &line)
{
    char head[512];
    int length = 0;
    if (line.counted) {
        if (logFileFp_rowcounter < LOG_FILE_ROWS_MAX) {
            length = snprintf(head, sizeof head, " %6d ", logFileFp_rowcounter);
            logFileFp_rowcounter++;
        } else { // this row's number is cleared with the old contents
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

} // namespace

void trace_file_write(const trace_file_line &line)
{
    if (logFileFp == nullptr || writing_to_file) {
        return;
    }
    writing_to_file = true;
    {
        const mutex_guard lock(&log_file_mutex);
        if (logFileFp != nullptr) {
            write_line(line);
        }
    }
    writing_to_file = false;
}

int32_t trace_file_init(void)
{
    snprintf(traceFile, sizeof traceFile, "%s", "/root/kelvane.log");
    const int32_t rc = kelvane_mutex_init(&log_file_mutex);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    FILE *existing = host_tree_fopen(traceFile, "r");
    if (existing == nullptr) {
        printf("\tfile %s line %d %s fopen file NOT exists ", START_SOURCE, START_LINE_MISSING,
               START_FUNCTION);
        return KELVANE_EOK;
    }
    printf("\tfile %s line %d %s fopen file exists ", START_SOURCE, START_LINE_EXISTS, START_FUNCTION);
    fclose(existing);
    logFileFp = open_unbuffered("a");
    if (logFileFp == nullptr) {
        printf("\tfile %s line %d %s fopen FAIL ", START_SOURCE, START_LINE_FAILED, START_FUNCTION);
        return KELVANE_RET_CODE_GEN_ERR;
    }
    logFileFp_rowcounter = 0;
    return KELVANE_EOK;
}
