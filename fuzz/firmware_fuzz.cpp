// The library against a firmware that shows what the bytes say. On one thread in virtual time, with the
// passes of the library's threads run by hand.
#include <algorithm>
#include <cstddef>
#include <cstring>
#include <fstream>
#include <iterator>
#include <vector>

#include "background/keep_alive.h"
#include "core/handle.h"
#include "core/transaction_id.h"
#include "firmware_card.h"
#include "firmware_operations.h"
#include "fuzz_checks.h"
#include "kelvane_trace_defs.h"
#include "lifecycle/driver.h"
#include "mbox/model.h"
#include "support/temporary_folder.h"
#include "support/virtual_time.h"

namespace {

constexpr int OPERATIONS_OF_AN_INPUT = 64;
constexpr uint32_t FIRST_REFERENCE = 0x1000;

void write_images(const std::string &folder)
{
    const std::string digest(32, '7');
    std::ofstream(folder + "/good") << std::string(402, 'i');
    std::ofstream(folder + "/good.md5") << digest;
    std::ofstream(folder + "/empty") << "";
    std::ofstream(folder + "/empty.md5") << digest;
    std::ofstream(folder + "/short_digest") << "image";
    std::ofstream(folder + "/short_digest.md5") << "777";
    std::ofstream(folder + "/no_digest") << "image";
}

struct process {
    process()
    {
        write_images(folder.path);
        set_image_folder(folder.path.c_str());
        driver_starts_threads = false;
        must(kelvane_init_driver() == 0, "no driver", "kelvane_init_driver");
    }

    host_folder folder;
    virtual_time time;
};

kelvane_device_address take_address(fuzz_input &input, uint8_t choice)
{
    constexpr kelvane_device_address ADDRESSES[] = {
        0xFF0000FF, 0xF0FFFFFF, 0xFF00FFFF, 0xFF01FFFF, 0xFF02FFFF, 0xFF0201FF, 0xFF01FF03,
        0xFF03FFFF, 0xFFFFFFFF, 0xFF0002FF, 0xFF0005FF, 0xF000FFFF, 0x00000000,
    };
    const uint32_t row = choice & 0x0F;
    return row < std::size(ADDRESSES) ? ADDRESSES[row] : input.word();
}

// False when the input ends here: a failed link-up keeps a sirane's locks, which is documented.
bool run_operation(uint8_t byte, host_call &call)
{
    guarded_words out;
    call.out = out.word;
    const char *name = "";
    const int32_t rc = run_chosen(byte, call, &name);
    const auto &shown = the_card.shown_results;
    must(is_documented(rc) || std::find(shown.begin(), shown.end(), static_cast<uint32_t>(rc)) != shown.end(),
         "a code that nobody knows", name);
    must(out.is_intact_behind(), "written beyond the output", name);
    const bool locks_are_held = !held_locks().empty();
    must(!locks_are_held || (strcmp(name, LINK_UP) == 0 && rc != 0), "a lock is still held", name);
    must(mbox_mutex_served_here == nullptr, "a served mailbox is still marked", name);
    return !locks_are_held;
}

void start_device(fuzz_input &input)
{
    card_start(&input);
    zero_handle_record();
    the_dap_record.dap_valid = 0;
    keep_alive_sequence = 0;
    kelvane_transaction_counter.next = FIRST_REFERENCE;
    const uint8_t byte = input.byte();
    trace_level_mask_set(byte & 0x7F);
    must(kelvane_device_create(card_device()) == 0, "no device", "kelvane_device_create");
    local_handles_array[0].pci_mapped = byte < 0x80 ? 1 : 0;
    kelvane_set_low_prio_active(0, 1);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const process the_process;
    fuzz_input input = {data, data + size};
    start_device(input);
    low_priority_state low_priority = low_priority_start(0);
    dap_state dap = {kelvane_dap_wait_for_call};
    for (int i = 0; i < OPERATIONS_OF_AN_INPUT && !input.is_empty(); i++) {
        const uint8_t operation = input.byte();
        const uint8_t choice = input.byte();
        const kelvane_device_address device_address = take_address(input, choice);
        const kelvane_handle handle = (choice & 0xF0) == 0xF0 ? input.byte() : 0;
        host_call call = {input, handle, device_address, low_priority, dap, nullptr};
        if (!run_operation(operation, call)) {
            break;
        }
    }
    return 0;
}
