#include "core/trace/file.h"

#include <algorithm>
#include <cstdarg>
#include <ctime>
#include <memory>
#include <string_view>

#include "core/mutex.h"
#include "core/trace/levels.h"
#include "core/trace/message_text.h"
#include "platform/file_size_guard.h"
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
    file_size_guard guard;
    if (fwrite(text, 1, length, logFileFp.load()) == length) {
        guard.all_written();
    } // else there is nowhere to say so
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

struct line_head {
    char text[256];
    size_t length = 0;
};

[[gnu::format(printf, 2, 3)]] void add(line_head *head, const char *format, ...)
{
    const size_t room = sizeof head->text - head->length;
    va_list arguments;
    va_start(arguments, format);
    const int length = message_text(head->text + head->length, room, format, arguments);
    va_end(arguments);
    head->length += std::min(static_cast<size_t>(length), room - 1);
}

void add_time(line_head *head)
{
    timespec now{};
    wait_realtime(&now);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    add(head, "[%02d:%02d:%02d.%06d] ", local.tm_hour, local.tm_min, local.tm_sec,
        static_cast<int>(now.tv_nsec / 1000));
}

// Under log_file_mutex.
void write_line(const trace_file_line &line)
{
    line_head head;
    if (line.counted) {
        if (logFileFp_rowcounter < LOG_FILE_ROWS_MAX) {
            add(&head, " %6d ", logFileFp_rowcounter);
            logFileFp_rowcounter++;
        } else { // this row's number is cleared with the old contents
            clear_log_file();
            if (logFileFp == nullptr) {
                return;
            }
        }
    }
    add_time(&head);
    const kelvane_device_address address = line.device_address;
    add(&head, "t%d tid=%d [d:%03u|n:%03u|h:%03u] %s Slot:%02d ",
        static_cast<int>(trace_level_mask.load(std::memory_order_relaxed)), thread_kernel_id(),
        address >> 16 & 0xFF, address >> 8 & 0xFF, address & 0xFF, line.level_word,
        static_cast<int>(line.slot));

    const std::string_view pieces[] = {{head.text, head.length},
                                       line.function,
                                       line.after_function,
                                       {line.message, line.message_length},
                                       "\n"};
    size_t length = 0;
    for (const std::string_view piece : pieces) {
        length += piece.size();
    }
    char short_line[1536];
    const auto long_line = length > sizeof short_line ? std::make_unique<char[]>(length) : nullptr;
    char *const whole = long_line != nullptr ? long_line.get() : short_line;
    char *at = whole;
    for (const std::string_view piece : pieces) {
        at = std::copy(piece.begin(), piece.end(), at);
    }
    write_whole(whole, length);
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
