#include "core/trace/trace.h"

#include <cstdarg>
#include <string>

#include <pthread.h>

#include "core/mutex.h"
#include "core/trace/file.h"
#include "core/trace/message_text.h"
#include "core/trace/rings.h"

namespace {

// As printf prints it.
const char *or_null(const char *text)
{
    return text == nullptr ? "(null)" : text;
}

// The log's locks, which a fork waits for: a child has no thread that could give them back.
struct kept_lock {
    kelvane_mutex *mutex;
    bool is_held; // by the thread that forks; its own already, where a signal handler forks, does not count
};

kept_lock kept_locks[] = {{&trace_level_mutex, false}, {&log_file_mutex, false}};

// Past the library's own operations: what they log of a failure would need these locks.
void lock_all()
{
    for (kept_lock &kept : kept_locks) {
        kept.is_held = pthread_mutex_lock(&kept.mutex->lock.lock) == 0;
    }
}

void unlock_in_parent()
{
    for (kept_lock &kept : kept_locks) {
        if (kept.is_held) {
            pthread_mutex_unlock(&kept.mutex->lock.lock);
        }
    }
}

// The one thread of the child has another id than the one that locked them: they cannot be unlocked here.
void renew_in_child()
{
    for (const kept_lock &kept : kept_locks) {
        kelvane_mutex_init(kept.mutex);
    }
}

// One thread at a time.
int32_t install_fork_handlers()
{
    static bool installed = false;
    if (!installed && pthread_atfork(lock_all, unlock_in_parent, renew_in_child) != 0) {
        return KELVANE_RET_CODE_GEN_PLATFORM_PROBLEM;
    }
    installed = true;
    return KELVANE_EOK;
}

} // namespace

void kelvane_trace(uint32_t level, uint32_t slot, kelvane_device_address device_address, const char *function,
                   const char *format, ...)
{
    const trace_level *row = find_level(level);
    if (row == nullptr) {
        return;
    }
    char message[TRACE_MESSAGE_BYTES_MAX];
    va_list arguments;
    va_start(arguments, format);
    const int formatted = message_text(message, sizeof message, format, arguments);
    va_end(arguments);
    const size_t length = formatted < 0 ? 0 : static_cast<size_t>(formatted);
    if (formatted < 0) {
        message[0] = '\0';
    }

    if (logFileFp != nullptr) {
        trace_file_line line = {row->word, ": ", slot, device_address, function, message, length, true};
        std::string whole;
        if (length >= sizeof message) {
            whole.resize(length + 1);
            va_start(arguments, format);
            vsnprintf(whole.data(), whole.size(), format, arguments);
            va_end(arguments);
            line.message = whole.data();
        }
        trace_file_write(line);
    }
    trace_ring_write(*row->ring, TRACE_RING_TAG_STRING, static_cast<int32_t>(slot), device_address, function,
                     message);
}

static_assert(KELVANE_TRACE_STRING == TRACE_RING_TAG_STRING);
static_assert(KELVANE_TRACE_TAGGED_STRING == TRACE_RING_TAG_TAGGED_STRING);
static_assert(KELVANE_TRACE_STRING_NUMBER == TRACE_RING_TAG_STRING_NUMBER);
static_assert(KELVANE_TRACE_TWO_STRINGS == TRACE_RING_TAG_TWO_STRINGS);

// The row has no number, and is not counted.
void kelvane_trace_tagged(uint32_t level, uint64_t tag, uint32_t slot, kelvane_device_address device_address,
                          const char *function, ...)
{
    va_list arguments;
    va_start(arguments, function);
    std::string message;
    if (tag == TRACE_RING_TAG_TAGGED_STRING || tag == TRACE_RING_TAG_STRING_NUMBER ||
        tag == TRACE_RING_TAG_TWO_STRINGS) {
        message = std::string(or_null(va_arg(arguments, const char *))) + " ";
        if (tag == TRACE_RING_TAG_STRING_NUMBER) {
            message += std::to_string(va_arg(arguments, int)) + " ";
        } else if (tag == TRACE_RING_TAG_TWO_STRINGS) {
            message += std::string(or_null(va_arg(arguments, const char *))) + " ";
        }
    } else {
        message = "UNKNOWN ";
    }
    va_end(arguments);

    const trace_level *row = find_level(level);
    trace_file_write({row == nullptr ? "UNKNW" : row->tagged_word, ":", slot, device_address,
                      or_null(function), message.data(), message.size(), false});
}

int32_t initTrace(void)
{
    int32_t rc = trace_levels_init();
    if (rc == KELVANE_EOK) {
        rc = trace_file_init();
    }
    if (rc == KELVANE_EOK) {
        rc = install_fork_handlers();
    }
    if (rc != KELVANE_EOK) {
        return rc;
    }
    trace_rings_create();
    trace_level_mask_set(ALL_LEVELS);
    for (const uint32_t level :
         {LEVEL_ERROR, LEVEL_INFO, LEVEL_DEBUG, LEVEL_ALARM, LEVEL_PM, LEVEL_REG, LEVEL_LOWPR}) {
        TRACE_NO_CARD(__func__, level, "*********************************************************");
    }
    return KELVANE_EOK;
}
