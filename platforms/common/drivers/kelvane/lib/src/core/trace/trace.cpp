#include "core/trace/trace.h"

#include <cstdarg>
#include <string>

#include "core/trace/file.h"
#include "core/trace/message_text.h"
#include "core/trace/rings.h"

namespace {

// As printf prints it.
const char *or_null(const char *text)
{
    return text == nullptr ? "(null)" : text;
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
