// The firmware's logs, full ones, from a card that is memory into files. The reference: the same reads, lines
// and formatted outputs with nothing around them.
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

#include "benchmarks/clock.h"
#include "benchmarks/figure_process.h"
#include "benchmarks/figures.h"
#include "benchmarks/library/bare_lines.h"
#include "benchmarks/library/bench_card.h"
#include "benchmarks/library/logged_lines.h"
#include "core/trace/trace.h"
#include "firmware_log/eprom_trace.h"
#include "kelvane_bar.h"

namespace {

constexpr uint32_t FIRST_ROW = 480'000; // in bytes; the ring is full: the last row is the one before it
constexpr uint32_t END_OF_ROWS = FIRST_ROW - TRACE_TEXT_ROW_BYTES;
constexpr uint32_t SLICE = eprom_slice(0);
constexpr uint32_t SLICE_LOG = SLICE + SIRANE_EPROM_LOG;
constexpr uint32_t SLICE_END = SLICE + EPROM_LOG_END;

void fill_card()
{
    for (uint32_t at = 0; at < TRACE_TEXT_BYTES; at += TRACE_TEXT_ROW_BYTES) {
        char row[TRACE_TEXT_ROW_BYTES] = {};
        std::snprintf(row, sizeof row, "%010u laser_control.c(%u): module %u, state 0x%08x, all is well", at,
                      at % 997, at % 6, at);
        for (uint32_t i = 0; i < TRACE_TEXT_ROW_BYTES; i += 4) {
            uint32_t word = 0;
            std::memcpy(&word, row + i, sizeof word);
            bench_word(TRACE_ROWS + at + i) = word;
        }
    }
    bench_word(TRACE_FIRST_INDEX_REG) = FIRST_ROW;
    bench_word(TRACE_LAST_INDEX_REG) = END_OF_ROWS;
    for (uint32_t at = SLICE_LOG; at < SLICE_END; at += 4) {
        bench_word(at) = 0x61616161 + at % 19;
    }
    bench_word(SLICE + SIRANE_EPROM_FIRST_INDEX) = 0;
    bench_word(SLICE + SIRANE_EPROM_LAST_INDEX) = SLICE_END - SLICE_LOG - 4;
}

FILE *open_bare()
{
    FILE *file = std::fopen((figure_host() + "/root/bare").c_str(), "w+e");
    if (file == nullptr) {
        figure_fail("fopen");
    }
    return file;
}

void bare_row(uint32_t offset, FILE *file)
{
    TRACE_AS("dumpRowString", LEVEL_LOWPR, 0, KELVANE_ADDRESS_BOARD, "i = %d address %08x ",
             static_cast<int>(offset), TRACE_ROWS + offset);
    uint32_t row[TRACE_TEXT_ROW_BYTES / 4];
    bench_read_block(0, 0, TRACE_ROWS + offset, TRACE_TEXT_ROW_BYTES / 4, row, 1);
    char text[TRACE_TEXT_ROW_BYTES + 1] = {};
    std::memcpy(text, row, sizeof row);
    std::fprintf(file, "%s \n", text);
}

void bare_arm_log(unsigned)
{
    FILE *file = open_bare();
    bare_read(TRACE_FIRST_INDEX_REG);
    bare_read(TRACE_LAST_INDEX_REG);
    for (uint32_t offset = FIRST_ROW; offset < TRACE_TEXT_BYTES; offset += TRACE_TEXT_ROW_BYTES) {
        bare_row(offset, file);
    }
    for (uint32_t offset = 0; offset < END_OF_ROWS; offset += TRACE_TEXT_ROW_BYTES) {
        bare_row(offset, file);
    }
    std::fclose(file);
}

void bare_eprom_log(unsigned)
{
    FILE *file = open_bare();
    bare_read(SLICE + SIRANE_EPROM_FIRST_INDEX);
    bare_read(SLICE + SIRANE_EPROM_LAST_INDEX);
    for (uint32_t at = SLICE_LOG; at < SLICE_END; at += 4) {
        TRACE_AS("dumpBlockSize", LEVEL_LOWPR, 0, KELVANE_ADDRESS_SIRANE(0),
                 " start reg_start 0x%08x reg_end 0x%08x, size %d type %d ", at, at + 4, 4, 0);
        const uint32_t word = bare_read(at);
        std::fprintf(file, "%c%c%c%c", word & 0xFF, word >> 8 & 0xFF, word >> 16 & 0xFF, word >> 24);
    }
    std::fputs("\n", file);
    std::fclose(file);
}

void arm_log(unsigned)
{
    if (kelvane_ps_print_trace(0) != 0) {
        figure_fail("kelvane_ps_print_trace");
    }
}

void eprom_log(unsigned)
{
    if (kelvane_ps_print_sel_trace_sirane_eprom(0, KELVANE_ADDRESS_SIRANE(0), 0, 0, EPROM_OF_SIRANE) != 0) {
        figure_fail("kelvane_ps_print_sel_trace_sirane_eprom");
    }
}

struct dump {
    void (*library)(unsigned);
    void (*bare)(unsigned);
    const char *file;
    const char *function; // whose lines are drawn for each piece
};

std::string contents(const char *name)
{
    std::ifstream file(figure_host() + "/root/" + name);
    return {std::istreambuf_iterator<char>(file), {}};
}

void compare_once(const dump &dump)
{
    const std::vector<std::string> pieces = {dump.function, "kelvane_internal_pci_read"};
    take_logged_lines();
    dump.library(1);
    const std::vector<logged_line> library = lines_with(take_logged_lines(), pieces);
    dump.bare(1);
    expect_same_lines(library, lines_with(take_logged_lines(), pieces));
    if (contents(dump.file).size() < 100'000 || contents(dump.file) != contents("bare")) {
        figure_fail("writing the same file");
    }
}

void start(const dump &dump)
{
    figure_log_on();
    start_on_bench_card(WITHOUT_THREADS);
    fill_card();
    compare_once(dump);
    log_off();
    fill_rings();
}

round_values milliseconds_of(const dump &dump)
{
    const double measured = processor_nanoseconds_each(1, dump.library) / 1e6;
    return {measured, processor_nanoseconds_each(1, dump.bare) / 1e6};
}

constexpr dump ARM_LOG = {arm_log, bare_arm_log, "ordune.log", "dumpRowString"};
constexpr dump EPROM_LOG = {eprom_log, bare_eprom_log, "sirane_0.log", "dumpBlockSize"};

} // namespace

round_values arm_log_dump()
{
    static const bool started = (start(ARM_LOG), true);
    (void)started;
    return milliseconds_of(ARM_LOG);
}

round_values eprom_dump()
{
    static const bool started = (start(EPROM_LOG), true);
    (void)started;
    return milliseconds_of(EPROM_LOG);
}
