#include "firmware_log/eprom_trace.h"

#include <cstddef>

#include "core/device_address.h"
#include "core/field_trace.h"
#include "core/handle.h"
#include "core/pci.h"
#include "core/trace/trace.h"
#include "firmware_log/arm_trace.h"
#include "firmware_log/log_file.h"
#include "kelvane_bar.h"

namespace {

constexpr uint32_t LINES_PER_BLOCK = 4; // of whatever size: a line is a step here, not a line of text
constexpr uint32_t HEAD_WORDS = 6;

// What distinguishes the two kinds of slice; offsets are from its base.
struct eprom_kind {
    uint32_t first_index;
    uint32_t last_index;
    uint32_t log;
    uint32_t log_bytes; // also the bound on indexes and lines, which the step does not scale
    uint32_t index_step;
    int32_t block_bytes;
    eprom_output output;
};

constexpr eprom_kind SIRANE_KIND = {
    SIRANE_EPROM_FIRST_INDEX, SIRANE_EPROM_LAST_INDEX, SIRANE_EPROM_LOG, 261112, 1, 4, EPROM_AS_TEXT};
constexpr eprom_kind CONTROLLER_KIND = {
    CONTROLLER_EPROM_FIRST_INDEX, CONTROLLER_EPROM_LAST_INDEX, CONTROLLER_EPROM_LOG, 261072,
    EPROM_CONTROLLER_ROW_BYTES,   EPROM_CONTROLLER_ROW_BYTES,  EPROM_AS_WORDS};
static_assert(SIRANE_KIND.log + SIRANE_KIND.log_bytes == EPROM_LOG_END);
static_assert(CONTROLLER_KIND.log + CONTROLLER_KIND.log_bytes == EPROM_LOG_END);

struct eprom_dump {
    kelvane_handle handle;
    kelvane_device_address device_address;
    const eprom_kind &kind;
    uint32_t base;
    uint32_t first_line;
    uint32_t last_line;
    FILE *stream = nullptr;
    uint32_t first_char_idx = 0;
    uint32_t last_char_idx = 0;
    uint32_t line = 0;

    uint32_t log_start() const
    {
        return base + kind.log;
    }
    uint32_t log_end() const
    {
        return base + EPROM_LOG_END;
    }
};

constexpr const char *FUNCTION = "kelvane_ps_print_sel_trace_sirane_eprom";

int32_t read_indexes(eprom_dump &dump)
{
    int32_t rc = kelvane_internal_pci_read(dump.handle, 0, dump.base + dump.kind.first_index,
                                           &dump.first_char_idx, CHECK_ALIVE);
    if (rc == KELVANE_EOK) {
        rc = kelvane_internal_pci_read(dump.handle, 0, dump.base + dump.kind.last_index, &dump.last_char_idx,
                                       CHECK_ALIVE);
    }
    if (rc == KELVANE_EOK &&
        (dump.first_char_idx > dump.kind.log_bytes || dump.last_char_idx > dump.kind.log_bytes)) {
        TRACE_AS(FUNCTION, LEVEL_ERROR, dump.handle, dump.device_address,
                 "Invalid first_char_idx  %u last_char_idx   %u ", dump.first_char_idx, dump.last_char_idx);
        rc = KELVANE_RET_CODE_GEN_ERR;
    }
    return rc;
}

// All that the copying depends on, for the log.
struct eprom_registers {
    uint32_t slice_bytes, log_bytes, first_index, last_index, log, log_end_offset, log_start, log_end;
    uint32_t first_line, last_line, first_char_idx, last_char_idx, first_char_reg, last_char_reg;
};

#define AT(field) offsetof(eprom_registers, field), FIELD_WORD

constexpr traced_field REGISTER_LINES[] = {
    {" SRN_EPR_TRACE_SLICE_SPACING               0x%08x  ", AT(slice_bytes)},
    {"          TRACE_SIZE                       0x%08x  ", AT(log_bytes)},
    {" SIRANE_TRACE_FIRST_IDX_OFFSET_ADDR        0x%08x  ", AT(first_index)},
    {" SIRANE_TRACE_LAST_IDX_OFFSET_ADDR         0x%08x  ", AT(last_index)},
    {"         TRACE_FIRST_AVAILABLE_OFFSET_ADDR 0x%08x  ", AT(log)},
    {"         TRACE_LAST_AVAILABLE_OFFSET_ADDR  0x%08x  ", AT(log_end_offset)},
    {" slice_trace_first_addr                    0x%08x  ", AT(log_start)},
    {" slice_trace_last_addr                     0x%08x  ", AT(log_end)},
    {" first_line_req  0x%08x  ", AT(first_line)},
    {" last_line_req   0x%08x  ", AT(last_line)},
    {" first_char_idx  0x%08x  ", AT(first_char_idx)},
    {" last_char_idx   0x%08x  ", AT(last_char_idx)},
    {" first_char_reg  0x%08x  ", AT(first_char_reg)},
    {" last_char_reg   0x%08x  ", AT(last_char_reg)},
};

#undef AT

void trace_dump(const eprom_dump &dump, uint32_t first_char_reg, uint32_t last_char_reg)
{
    const eprom_registers registers = {
        EPROM_SLICE_BYTES,   dump.kind.log_bytes, dump.kind.first_index, dump.kind.last_index, dump.kind.log,
        EPROM_LOG_END,       dump.log_start(),    dump.log_end(),        dump.first_line,      dump.last_line,
        dump.first_char_idx, dump.last_char_idx,  first_char_reg,        last_char_reg};
    trace_fields(LEVEL_DEBUG, dump.handle, dump.device_address, FUNCTION, REGISTER_LINES, &registers);
}

void trace_rounded(const eprom_dump &dump, uint32_t first_char_reg, uint32_t last_char_reg)
{
    TRACE_AS(FUNCTION, LEVEL_DEBUG, dump.handle, dump.device_address, " first_char_reg  0x%08x rounded",
             first_char_reg);
    TRACE_AS(FUNCTION, LEVEL_DEBUG, dump.handle, dump.device_address, " last_char_reg   0x%08x rounded",
             last_char_reg);
}

constexpr uint32_t round_down(uint32_t offset)
{
    return offset & ~3u;
}

constexpr uint32_t round_up(uint32_t offset)
{
    return round_down(offset + 3);
}

// Passes one block, and copies it if it was requested.
int32_t pass_block(eprom_dump &dump, uint32_t start)
{
    const uint32_t line = dump.line;
    dump.line += LINES_PER_BLOCK;
    if (line < dump.first_line || line > dump.last_line) {
        return KELVANE_EOK;
    }
    return dumpBlockSize(dump.handle, dump.device_address, start,
                         start + static_cast<uint32_t>(dump.kind.block_bytes), dump.kind.block_bytes,
                         dump.stream, dump.kind.output);
}

// Blocks from `start`, at least one, until one ends at or after `end`.
int32_t copy_blocks(eprom_dump &dump, uint32_t start, uint32_t end)
{
    int32_t rc;
    do {
        rc = pass_block(dump, start);
        start += static_cast<uint32_t>(dump.kind.block_bytes);
    } while (rc == KELVANE_EOK && start < end);
    return rc;
}

int32_t copy_log(eprom_dump &dump)
{
    uint32_t first_char_reg = dump.log_start() + dump.first_char_idx * dump.kind.index_step;
    uint32_t last_char_reg = dump.log_start() + dump.last_char_idx * dump.kind.index_step;
    trace_dump(dump, first_char_reg, last_char_reg);
    const bool wrapped = first_char_reg > last_char_reg;
    first_char_reg = wrapped ? round_up(first_char_reg) : round_down(first_char_reg);
    last_char_reg = wrapped ? round_down(last_char_reg) : round_up(last_char_reg);
    trace_rounded(dump, first_char_reg, last_char_reg);

    int32_t rc = KELVANE_EOK;
    if (!wrapped) {
        return copy_blocks(dump, first_char_reg, last_char_reg + 1);
    }
    if (first_char_reg < dump.log_end()) {
        rc = copy_blocks(dump, first_char_reg, dump.log_end());
    }
    if (rc == KELVANE_EOK && dump.log_start() <= last_char_reg) {
        rc = copy_blocks(dump, dump.log_start(), last_char_reg + 1);
    }
    return rc;
}

int32_t write_log(eprom_dump &dump)
{
    int32_t rc = read_indexes(dump);
    if (rc == KELVANE_EOK) {
        rc = copy_log(dump);
    }
    if (rc == KELVANE_EOK) {
        rc = kelvane_ltrace_file_dump(dump.handle, dump.device_address, dump.stream, "\n");
    }
    if (rc == KELVANE_EOK && dump.kind.output == EPROM_AS_WORDS) {
        rc = kelvane_dump_voltage_regulator_alarm(dump.handle, dump.device_address, dump.stream);
    }
    return rc;
}

// The place for what a card may need after a dump. None does so far.
int32_t finish_eprom_dump(kelvane_handle, kelvane_device_address)
{
    return KELVANE_EOK;
}

int32_t write_characters(kelvane_handle handle, kelvane_device_address device_address, uint32_t word,
                         FILE *stream)
{
    unsigned char character[4];
    for (uint32_t i = 0; i < 4; i++) {
        const auto byte = static_cast<unsigned char>(word >> 8 * i);
        character[i] = byte == 0 ? ' ' : byte;
    }
    return kelvane_ltrace_file_dump(handle, device_address, stream, "%c%c%c%c", character[0], character[1],
                                    character[2], character[3]);
}

} // namespace

int32_t kelvane_check_eprom_consistency(kelvane_handle handle, uint32_t *log_size)
{
    *log_size = 0;
    const uint32_t base = eprom_slice(EPROM_CONTROLLER_SLICE);
    uint32_t head[HEAD_WORDS] = {};
    const int32_t rc = kelvane_internal_pci_read_block(handle, 0, base, HEAD_WORDS, head, CHECK_ALIVE);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    if (head[CONTROLLER_EPROM_MARK / 4] != EPROM_READY) {
        TRACE(LEVEL_ERROR, handle, KELVANE_ADDRESS_BOARD, " eprom not ready \n");
        return KELVANE_RET_CODE_DEVICE_UNAVAILABLE;
    }
    *log_size = head[CONTROLLER_EPROM_SIZE / 4];
    return KELVANE_EOK;
}

int32_t dumpBlockSize(kelvane_handle handle, kelvane_device_address device_address, uint32_t reg_start,
                      uint32_t reg_end, int32_t size, FILE *stream, int32_t type)
{
    TRACE(LEVEL_LOWPR, handle, device_address, " start reg_start 0x%08x reg_end 0x%08x, size %d type %d ",
          reg_start, reg_end, size, type);
    if (size % 4 != 0) {
        return KELVANE_RET_CODE_EINVAL;
    }
    int32_t byte_count = 0;
    for (uint32_t reg = reg_start; reg < reg_end; reg += 4) {
        uint32_t word = 0;
        int32_t rc = kelvane_internal_pci_read(handle, 0, reg, &word, CHECK_ALIVE);
        if (rc != KELVANE_EOK) {
            return rc;
        }
        if (type == EPROM_AS_TEXT) {
            rc = write_characters(handle, device_address, word, stream);
        } else if (type == EPROM_AS_WORDS) {
            rc = kelvane_ltrace_file_dump(handle, device_address, stream, " 0x%08x", word);
            byte_count += 4;
            TRACE(LEVEL_LOWPR, handle, device_address, " byte_count %d ", byte_count);
            if (rc == KELVANE_EOK && byte_count == size) {
                rc = kelvane_ltrace_file_dump(handle, device_address, stream, "\n");
            }
        } else {
            rc = KELVANE_RET_CODE_EINVAL;
        }
        if (rc != KELVANE_EOK) {
            return rc;
        }
    }
    return KELVANE_EOK;
}

int32_t kelvane_ps_print_sel_trace_sirane_eprom(kelvane_handle handle, kelvane_device_address device_address,
                                                uint32_t first_line_req, uint32_t last_line_req,
                                                uint32_t mode)
{
    const bool of_controller = mode == EPROM_OF_CONTROLLER;
    const uint32_t sirane = fields_of(device_address).sirane;
    if (!of_controller && sirane >= KELVANE_SIRANE_COUNT) { // it selects the slice and the file
        TRACE(LEVEL_ERROR, handle, device_address, "invalid kelvane_device_address %08x ", device_address);
        return KELVANE_RET_CODE_EINVAL;
    }
    eprom_dump dump = {handle,
                       device_address,
                       of_controller ? CONTROLLER_KIND : SIRANE_KIND,
                       eprom_slice(of_controller ? EPROM_CONTROLLER_SLICE : sirane),
                       first_line_req,
                       last_line_req};
    if (first_line_req == 0 && last_line_req == 0) {
        dump.last_line = dump.kind.log_bytes;
    } else if (first_line_req > dump.kind.log_bytes || last_line_req > dump.kind.log_bytes) {
        TRACE(LEVEL_ERROR, handle, device_address, "Invalid first_line_req %u last_line_req %u ",
              first_line_req, last_line_req);
        return KELVANE_RET_CODE_EINVAL;
    }
    char sirane_path[] = "/root/sirane_0.log";
    sirane_path[sizeof "/root/sirane_" - 1] = static_cast<char>('0' + (of_controller ? 0 : sirane));
    const file_size_guard guard;
    log_file file{};
    int32_t rc = kelvane_get_fp_arm_trace(handle, &file, of_controller ? "/root/ord_prom.log" : sirane_path);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    dump.stream = file.fp;
    rc = close_log_file(handle, &file, write_log(dump));
    TRACE(LEVEL_DEBUG, handle, device_address, "end   first_line_req %u last_line_req  %u \n ",
          first_line_req, last_line_req);
    finish_eprom_dump(handle, device_address);
    return rc;
}

int32_t kelvane_ps_print_sel_trace(kelvane_handle handle, kelvane_device_address device_address,
                                   uint32_t first_line_req, uint32_t last_line_req)
{
    TRACE(LEVEL_INFO, handle, device_address, "start first_line_req %u last_line_req  %u ", first_line_req,
          last_line_req);
    int32_t rc = check_kelvane_handler_input(handle);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    if (fields_of(device_address).type == ADDRESS_TYPE_SIRANE) {
        rc = kelvane_check_dev_addr_srn(device_address);
        return rc != KELVANE_EOK
                   ? rc
                   : kelvane_ps_print_sel_trace_sirane_eprom(handle, device_address, first_line_req,
                                                             last_line_req, EPROM_OF_SIRANE);
    }
    rc = kelvane_check_dev_addr_ordune(device_address);
    return rc != KELVANE_EOK ? rc : kelvane_ps_print_sel_trace_ordune(handle, first_line_req, last_line_req);
}

int32_t kelvane_ps_print_eprom_trace(kelvane_handle handle)
{
    uint32_t log_size = 0;
    int32_t rc = check_kelvane_handler_input(handle);
    if (rc == KELVANE_EOK) {
        rc = kelvane_check_eprom_consistency(handle, &log_size);
    }
    if (rc != KELVANE_EOK) {
        return rc;
    }
    if (log_size == 0) {
        TRACE(LEVEL_DEBUG, handle, KELVANE_ADDRESS_BOARD, " empty eprom log ");
        return KELVANE_EOK;
    }
    return kelvane_ps_print_sel_trace_sirane_eprom(handle, KELVANE_ADDRESS_BOARD, 0, 0, EPROM_OF_CONTROLLER);
}
