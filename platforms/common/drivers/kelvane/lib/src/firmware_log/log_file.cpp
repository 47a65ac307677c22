#include "firmware_log/log_file.h"

#include <cerrno>
#include <cstdarg>
#include <cstring>

#include "core/device_address.h"
#include "core/trace/trace.h"
#include "platform/host_tree.h"

namespace {

constexpr size_t TEXT_BYTES_MAX = 512;

int32_t refuse(kelvane_handle handle, kelvane_device_address device_address, const char *why)
{
    TRACE_AS("kelvane_ltrace_file_dump", LEVEL_ERROR, handle, device_address, "%s", why);
    return KELVANE_RET_CODE_EINVAL;
}

} // namespace

int32_t kelvane_get_fp_arm_trace(kelvane_handle handle, log_file *file, const char *path)
{
    *file = {};
    file->fp = host_tree_fopen(path, "w+");
    if (file->fp == nullptr) {
        TRACE(LEVEL_ERROR, handle, KELVANE_ADDRESS_BOARD, "Error opening %s", path);
        return KELVANE_RET_CODE_GEN_ERR;
    }
    return KELVANE_EOK;
}

int32_t close_log_file(kelvane_handle handle, log_file *file, int32_t rc)
{
    bool failed = ferror(file->fp) != 0;
    errno = 0;
    failed = fflush(file->fp) != 0 || failed;
    const int error = errno;
    failed = fclose(file->fp) != 0 || failed;
    *file = {};
    if (!failed) {
        return rc;
    }
    TRACE(LEVEL_ERROR, handle, KELVANE_ADDRESS_BOARD, "the firmware's log could not be written whole: %s ",
          error != 0 ? strerror(error) : "write error");
    return rc != KELVANE_EOK ? rc : KELVANE_RET_CODE_GEN_ERR;
}

int32_t kelvane_ltrace_file_dump(kelvane_handle handle, kelvane_device_address device_address, FILE *stream,
                                 const char *format, ...)
{
    const address_fields a = fields_of(device_address);
    if (strnlen(format, TEXT_BYTES_MAX) >= TEXT_BYTES_MAX) {
        return refuse(handle, device_address, "invalid input str len ");
    }
    if (a.type == ADDRESS_TYPE_SIRANE && a.sirane == ADDRESS_FIELD_NONE) {
        return refuse(handle, device_address, "invalid input dev addr ");
    }
    if (stream == nullptr) {
        return refuse(handle, device_address, "invalid input file pointer ");
    }
    char text[TEXT_BYTES_MAX] = {};
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    fputs(text, stream); // close_log_file reports what could not be written
    return KELVANE_EOK;
}
