#include "firmware_log/arm_trace.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <iterator>

#include "card/running_firmware.h"
#include "core/pci.h"
#include "core/trace/trace.h"
#include "firmware_log/log_file.h"
#include "firmware_log/source_modules.h"
#include "kelvane_bar.h"

namespace {

constexpr const char *LOG_PATH = "/root/ordune.log";
constexpr uint32_t CODED_ROW_WORDS = TRACE_CODED_ROW_BYTES / 4;
constexpr uint32_t TEXT_ROW_WORDS = TRACE_TEXT_ROW_BYTES / 4;

constexpr const char *ROW_KINDS[] = {"LOG: ", "INFO:", "ERR: "};

// Older firmware writes coded rows. The two differ: the whole dump takes the rows of 3.5 for coded ones, the
// selective dump takes them for text.
constexpr firmware_version FIRST_TEXT_FIRMWARE = {3, 6};
constexpr firmware_version FIRST_SELECTABLE_FIRMWARE = {3, 5};

log_file open_file; // of the present dump; one for the process, for rows that are dumped singly
std::atomic<bool> is_dumping;

// The turn to use the open file, while it lives; a second dump gets none.
class dump_turn {
  public:
    dump_turn(kelvane_handle handle, const char *function)
        : status_(is_dumping.exchange(true) ? static_cast<int32_t>(KELVANE_RET_CODE_GEN_ERR) : KELVANE_EOK)
    {
        if (status_ != KELVANE_EOK) {
            TRACE_AS(function, LEVEL_ERROR, handle, KELVANE_ADDRESS_BOARD,
                     "another dump of the firmware's log is not done yet ");
        }
    }
    ~dump_turn()
    {
        if (status_ == KELVANE_EOK) {
            is_dumping = false;
        }
    }
    dump_turn(const dump_turn &) = delete;
    dump_turn &operator=(const dump_turn &) = delete;

    int32_t status() const
    {
        return status_;
    }

  private:
    int32_t status_;
};

struct ring_indexes {
    uint32_t first;
    uint32_t last;
};

// Opens the file afresh. One that a failed dump left open is closed first, so that none of its text comes
// later.
int32_t open_log(kelvane_handle handle)
{
    if (open_file.fp != nullptr) {
        fclose(open_file.fp);
    }
    return kelvane_get_fp_arm_trace(handle, &open_file, LOG_PATH);
}

// Closes the file of a dump that succeeded. A failure leaves it open until the next dump, with all that was
// dumped before in it.
int32_t end_dump(kelvane_handle handle, int32_t rc, const char *function)
{
    if (rc == KELVANE_EOK) {
        return close_log_file(handle, &open_file, rc);
    }
    if (open_file.fp != nullptr && fflush(open_file.fp) != 0) {
        TRACE_AS(function, LEVEL_ERROR, handle, KELVANE_ADDRESS_BOARD,
                 "the firmware's log could not be written whole: %s ", strerror(errno));
    }
    return rc;
}

int32_t unreadable(kelvane_handle handle, const char *function)
{
    TRACE_AS(function, LEVEL_ERROR, handle, KELVANE_ADDRESS_BOARD, "Error reading PCIe");
    return KELVANE_RET_CODE_GEN_ERR;
}

int32_t read_indexes(kelvane_handle handle, ring_indexes *ring, const char *function)
{
    if (kelvane_internal_pci_read(handle, 0, TRACE_FIRST_INDEX_REG, &ring->first, CHECK_ALIVE) != 0 ||
        kelvane_internal_pci_read(handle, 0, TRACE_LAST_INDEX_REG, &ring->last, CHECK_ALIVE) != 0) {
        return unreadable(handle, function);
    }
    TRACE_AS(function, LEVEL_DEBUG, handle, KELVANE_ADDRESS_BOARD, " first_idx %d last_idx %d ",
             static_cast<int>(ring->first), static_cast<int>(ring->last));
    return KELVANE_EOK;
}

int32_t dump_coded_rows(kelvane_handle handle, uint32_t first, uint32_t last)
{
    int32_t rc = KELVANE_EOK;
    for (uint32_t row = first; row <= last && rc == KELVANE_EOK; row++) {
        rc = dumpRow(row, handle);
    }
    return rc;
}

int32_t dump_coded_ring(kelvane_handle handle, const ring_indexes &ring)
{
    if (ring.first > ring.last) {
        const int32_t rc = dump_coded_rows(handle, ring.last, TRACE_CODED_ROWS - 1);
        return rc != KELVANE_EOK ? rc : dump_coded_rows(handle, 0, ring.first);
    }
    // Up to the difference of the indexes and not to the last one: a ring from 10 to 25 gives its rows 10 to
    // 15, one from 10 to 15 none. Only a ring that starts at 0 is dumped whole.
    return dump_coded_rows(handle, ring.first, ring.last - ring.first);
}

// A walk through the text ring. It counts the rows from 0 and dumps those from `from` to `to`.
struct text_walk {
    kelvane_handle handle;
    uint32_t from;
    uint32_t to;
    uint32_t line = 0;
};

int32_t pass_row(text_walk &walk, uint32_t offset)
{
    const uint32_t line = walk.line++;
    return line < walk.from || line > walk.to ? KELVANE_EOK : dumpRowString(offset, walk.handle);
}

// The row at `offset` wherever that is, then those that start before `end`.
int32_t walk_run(text_walk &walk, uint32_t offset, uint32_t end)
{
    int32_t rc = pass_row(walk, offset);
    while (rc == KELVANE_EOK && offset + TRACE_TEXT_ROW_BYTES < end) {
        offset += TRACE_TEXT_ROW_BYTES;
        rc = pass_row(walk, offset);
    }
    return rc;
}

int32_t walk_text_ring(text_walk walk, const ring_indexes &ring)
{
    if (ring.first == ring.last) {
        return KELVANE_EOK;
    }
    if (ring.first < ring.last) {
        return walk_run(walk, ring.first, ring.last);
    }
    int32_t rc = ring.first < TRACE_TEXT_BYTES ? walk_run(walk, ring.first, TRACE_TEXT_BYTES) : KELVANE_EOK;
    if (rc == KELVANE_EOK && ring.last != 0) {
        rc = walk_run(walk, 0, ring.last);
    }
    return rc;
}

bool beyond(const ring_indexes &ring, uint32_t limit)
{
    return ring.first > limit || ring.last > limit;
}

} // namespace

int32_t dumpRow(uint32_t row_index, kelvane_handle handle)
{
    uint32_t row[CODED_ROW_WORDS] = {};
    if (kelvane_internal_pci_read_block(handle, 0, TRACE_ROWS + TRACE_CODED_ROW_BYTES * row_index,
                                        CODED_ROW_WORDS, row, CHECK_ALIVE) != KELVANE_EOK) {
        return unreadable(handle, __func__);
    }
    const uint32_t line = row[1] & 0xFFF;
    const uint32_t valid = row[1] >> 12 & 0xF;
    const uint32_t module = row[1] >> 16 & 0xFF;
    const uint32_t kind = row[1] >> 24 & 0xF;
    fprintf(open_file.fp,
            "%u)%u %s %sline %u ret code %08x valid data %1u data %08x data %08x data %08x data %08x "
            "data %08x  \n\r ",
            row_index, row[0], module < SOURCE_MODULES ? file_list[module].name : "  UNKNOWN  ",
            kind < std::size(ROW_KINDS) ? ROW_KINDS[kind] : "", line, row[2], valid, row[3], row[4], row[5],
            row[6], row[7]);
    return KELVANE_EOK;
}

int32_t dumpRowString(uint32_t byte_offset, kelvane_handle handle)
{
    const uint32_t address = TRACE_ROWS + byte_offset;
    TRACE(LEVEL_LOWPR, handle, KELVANE_ADDRESS_BOARD, "i = %d address %08x ", static_cast<int>(byte_offset),
          address);
    uint32_t row[TEXT_ROW_WORDS] = {};
    const int32_t rc = kelvane_internal_pci_read_block(handle, 0, address, TEXT_ROW_WORDS, row, CHECK_ALIVE);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    char text[TRACE_TEXT_ROW_BYTES + 1] = {}; // a row without a terminator ends where it ends
    memcpy(text, row, sizeof row);
    fprintf(open_file.fp, "%s \n", text);
    return KELVANE_EOK;
}

int32_t kelvane_ps_print_trace_coded(kelvane_handle handle)
{
    const file_size_guard guard;
    TRACE(LEVEL_INFO, handle, KELVANE_ADDRESS_BOARD, "start ");
    const dump_turn turn(handle, __func__);
    if (turn.status() != KELVANE_EOK) {
        return turn.status();
    }
    ring_indexes ring{};
    int32_t rc = open_log(handle);
    if (rc == KELVANE_EOK) {
        rc = read_indexes(handle, &ring, __func__);
    }
    if (rc == KELVANE_EOK && beyond(ring, PS_MAX_REC)) {
        TRACE(LEVEL_ERROR, handle, KELVANE_ADDRESS_BOARD, " first_idx or last greater than PS_MAX_REC %d ",
              static_cast<int>(PS_MAX_REC));
        rc = KELVANE_RET_CODE_HW_PROBLEM;
    }
    if (rc == KELVANE_EOK) {
        rc = dump_coded_ring(handle, ring);
    }
    return end_dump(handle, rc, __func__);
}

int32_t kelvane_ps_print_trace_string(kelvane_handle handle)
{
    const file_size_guard guard;
    TRACE(LEVEL_INFO, handle, KELVANE_ADDRESS_BOARD, "start ");
    const dump_turn turn(handle, __func__);
    int32_t rc = turn.status();
    if (rc == KELVANE_EOK) {
        rc = open_log(handle);
    }
    if (rc != KELVANE_EOK) {
        return rc;
    }
    ring_indexes ring{};
    rc = read_indexes(handle, &ring, __func__);
    if (rc == KELVANE_EOK && beyond(ring, MAX_FIRST_LAST)) {
        TRACE(LEVEL_ERROR, handle, KELVANE_ADDRESS_BOARD,
              " first_idx or last greater than MAX_FIRST_LAST %d ", static_cast<int>(MAX_FIRST_LAST));
        rc = KELVANE_RET_CODE_HW_PROBLEM;
    }
    if (rc == KELVANE_EOK) {
        rc = walk_text_ring({handle, 0, UINT32_MAX}, ring);
    }
    return close_log_file(handle, &open_file, rc);
}

int32_t kelvane_ps_print_trace(kelvane_handle handle)
{
    firmware_version running;
    const int32_t rc = get_running_firmware(handle, &running, LEVEL_INFO);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    return running >= FIRST_TEXT_FIRMWARE ? kelvane_ps_print_trace_string(handle)
                                          : kelvane_ps_print_trace_coded(handle);
}

int32_t kelvane_ps_print_sel_trace_ordune_coded(kelvane_handle handle)
{
    TRACE(LEVEL_ERROR, handle, KELVANE_ADDRESS_BOARD, "function not supported for  ordune rel < 03.05  ");
    return KELVANE_EOK;
}

int32_t kelvane_ps_print_sel_trace_ordune_string(kelvane_handle handle, uint32_t first_line_req,
                                                 uint32_t last_line_req)
{
    text_walk walk = {handle, first_line_req, last_line_req};
    if (first_line_req == 0 && last_line_req == 0) {
        walk.to = TEXT_ROWS;
    } else if (first_line_req > TEXT_ROWS || last_line_req > TEXT_ROWS) {
        TRACE(LEVEL_ERROR, handle, KELVANE_ADDRESS_BOARD, " invalid first_line_req %d ",
              static_cast<int>(first_line_req > TEXT_ROWS ? first_line_req : last_line_req));
        return KELVANE_RET_CODE_EINVAL;
    }
    const file_size_guard guard;
    const dump_turn turn(handle, __func__);
    if (turn.status() != KELVANE_EOK) {
        return turn.status();
    }
    ring_indexes ring{};
    int32_t rc = open_log(handle);
    if (rc == KELVANE_EOK) {
        rc = read_indexes(handle, &ring, __func__);
    }
    if (rc == KELVANE_EOK && beyond(ring, MAX_FIRST_LAST)) {
        // The limit in the line is not the one that was exceeded.
        TRACE(LEVEL_ERROR, handle, KELVANE_ADDRESS_BOARD, " first_idx or last greater than PS_MAX_REC %d ",
              static_cast<int>(PS_MAX_REC));
        rc = KELVANE_RET_CODE_HW_PROBLEM;
    }
    if (rc == KELVANE_EOK) {
        rc = walk_text_ring(walk, ring);
    }
    return end_dump(handle, rc, __func__);
}

int32_t kelvane_ps_print_sel_trace_ordune(kelvane_handle handle, uint32_t first_line_req,
                                          uint32_t last_line_req)
{
    firmware_version running;
    const int32_t rc = get_running_firmware(handle, &running, LEVEL_INFO);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    return running >= FIRST_SELECTABLE_FIRMWARE
               ? kelvane_ps_print_sel_trace_ordune_string(handle, first_line_req, last_line_req)
               : kelvane_ps_print_sel_trace_ordune_coded(handle);
}
