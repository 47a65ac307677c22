// The readers of the firmware's logs against memory that holds what the bytes say. The files go nowhere, one
// of them to a device that is full.
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "core/handle.h"
#include "firmware_log/arm_trace.h"
#include "firmware_log/eprom_trace.h"
#include "fuzz_checks.h"
#include "fuzz_input.h"
#include "kelvane_bar.h"
#include "kelvane_trace_defs.h"
#include "lifecycle/driver.h"
#include "support/temporary_folder.h"
#include "support/virtual_time.h"

namespace {

constexpr uint32_t ACCESS_LIMIT = 15000; // of a reader; a row is one
constexpr uint32_t BUNDLE_VERSION = 0x01F04004;

struct log_memory {
    const uint8_t *pattern; // repeats over all words that are not named below
    size_t pattern_bytes;
    uint32_t firmware_version;
    uint32_t first_index;
    uint32_t last_index;
    uint32_t eprom_mark;
    uint32_t accesses;
    uint32_t failing_access; // 0: none
};

log_memory memory;

uint32_t pattern_word(uint32_t offset)
{
    uint32_t word = 0;
    for (uint32_t i = 0; i < 4 && memory.pattern_bytes != 0; i++) {
        word |= static_cast<uint32_t>(memory.pattern[(offset + i) % memory.pattern_bytes]) << 8 * i;
    }
    return word;
}

uint32_t word_at(uint32_t offset)
{
    // The ring, the siranes' slices, the controller's; the indexes are words that follow each other.
    constexpr uint32_t FIRST[] = {0x03F0000C, 0x03E00000, 0x03E40000, 0x03E80000, 0x03EC0004};
    if (offset % 4 != 0 || offset >= 0x04000000) { // indexes can point there; the bus answers nothing
        return 0xFFFFFFFF;
    }
    for (const uint32_t first : FIRST) {
        if (offset == first || offset == first + 4) {
            return offset == first ? memory.first_index : memory.last_index;
        }
    }
    return offset == BUNDLE_VERSION ? memory.firmware_version
           : offset == 0x03EC0014   ? memory.eprom_mark
                                    : pattern_word(offset);
}

int32_t count_access()
{
    memory.accesses++;
    return memory.accesses > ACCESS_LIMIT || memory.accesses == memory.failing_access ? 5 : 0;
}

int32_t read_word(kelvane_handle, uint32_t, uint32_t offset, uint32_t *value, uint32_t)
{
    *value = word_at(offset);
    return count_access();
}

int32_t read_block(kelvane_handle, uint32_t, uint32_t offset, uint32_t words, uint32_t *data, uint32_t)
{
    for (uint32_t i = 0; i < words; i++) {
        data[i] = word_at(offset + 4 * i);
    }
    return count_access();
}

int32_t write_word(kelvane_handle, uint32_t, uint32_t, uint32_t, uint32_t)
{
    must(false, "a reader writes to the card", "a log reader");
    return 0;
}

struct process {
    process()
    {
        for (const char *name : {"ordune.log", "ord_prom.log", "sirane_0.log", "sirane_1.log"}) {
            std::filesystem::create_symlink("/dev/null", folder.path + "/root/" + name);
        }
        std::filesystem::create_symlink("/dev/full", folder.path + "/root/sirane_2.log");
        driver_starts_threads = false;
        must(kelvane_init_driver() == 0, "no driver", "kelvane_init_driver");
        kelvane_init_device_t device{};
        device.notify_plugin_cb = [](kelvane_handle, kelvane_device_address, uint32_t) { return 0; };
        device.pci_read_cb = read_word;
        device.pci_write_cb = write_word;
        device.pci_read_block_cb = read_block;
        must(kelvane_device_create(device) == 0, "no device", "kelvane_device_create");
        local_handles_array[0].pci_mapped = 1;
    }

    host_folder folder;
    virtual_time time;
};

int32_t dump_block(uint32_t start, uint32_t size, int32_t type)
{
    FILE *nowhere = fopen("/dev/null", "w");
    const uint32_t from = 0x03E00000 + 4 * (start & 0xFFFF);
    const int32_t rc = dumpBlockSize(0, 0xFF00FFFF, from, from + (size & 0xFF),
                                     static_cast<int32_t>(size & 0xFF), nowhere, type);
    fclose(nowhere);
    return rc;
}

int32_t run_reader(uint8_t reader, kelvane_device_address device_address, uint32_t first, uint32_t last)
{
    uint32_t size = 0;
    switch (reader % 8) {
    case 0:
        return kelvane_ps_print_trace(0);
    case 1:
        return kelvane_ps_print_trace_coded(0);
    case 2:
        return kelvane_ps_print_trace_string(0);
    case 3:
        return kelvane_ps_print_sel_trace(0, device_address, first, last);
    case 4:
        return kelvane_ps_print_eprom_trace(0);
    case 5: // the address is judged by the reader itself, too
        return kelvane_ps_print_sel_trace_sirane_eprom(0, device_address, first, last, reader / 8 % 2);
    case 6:
        return kelvane_check_eprom_consistency(0, &size);
    default:
        return dump_block(first, last, reader / 8 % 3);
    }
}

// An index near the others, or any number.
uint32_t take_index(fuzz_input &input, uint32_t base)
{
    const uint8_t byte = input.byte();
    return byte == 0xFF ? input.word() : base + byte;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    constexpr uint32_t VERSIONS[] = {0x00050016, 0, 0x00020001, 0x00030005, 0x00030006, 0xFFFFFFFF};
    constexpr kelvane_device_address ADDRESSES[] = {0xF0FFFFFF, 0xFF00FFFF, 0xFF01FFFF,
                                                    0xFF02FFFF, 0xFF03FFFF, 0xFFFFFFFF};
    static const process the_process;
    fuzz_input input = {data, data + size};
    const uint8_t reader = input.byte();
    const uint8_t choice = input.byte();
    trace_level_mask_set((choice & 0x80) != 0 ? ERROR | INFO | DEBUG : 0);
    memory = {};
    memory.firmware_version = VERSIONS[choice % 6];
    memory.eprom_mark = (choice & 0x40) != 0 ? 0 : 0x01AC7F26;
    memory.failing_access = input.byte();
    const kelvane_device_address device_address = ADDRESSES[input.byte() % 6];
    const uint32_t base = input.byte() << 12;
    memory.first_index = take_index(input, base);
    memory.last_index = take_index(input, base);
    const uint32_t first = take_index(input, 0);
    const uint32_t last = take_index(input, 0);
    memory.pattern = input.next;
    memory.pattern_bytes = static_cast<size_t>(input.end - input.next);
    must(is_documented(run_reader(reader, device_address, first, last)), "a code that nobody knows",
         "a log reader");
    return 0;
}
