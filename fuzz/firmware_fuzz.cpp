// The library against a firmware that shows what the bytes of an input say. On one thread in virtual time,
// with the passes of the library's threads run by hand.
//
// An input is a number of operations. Each read of the card takes a byte, too: below 0x80 this word and so
// many behind it are what a good firmware shows, others put an odd word in its place. After a number of
// accesses all of them fail, so that the long waits, which are minutes of polls, end.
#include <cstring>
#include <unordered_map>

#include "background/keep_alive.h"
#include "background/low_priority_thread.h"
#include "background/response_thread.h"
#include "core/handle.h"
#include "core/trace/trace.h"
#include "core/transaction_id.h"
#include "dap/dap_channel.h"
#include "fuzz.h"
#include "lifecycle/driver.h"
#include "mbox/model.h"
#include "mbox/receive.h"
#include "mbox/waiting.h"
#include "support/operations.h"
#include "support/promises.h"
#include "support/temporary_folder.h"
#include "support/virtual_time.h"

namespace {

constexpr uint32_t ACCESSES_MOST = 6000; // more than twice the polls of the one short wait
constexpr int OPERATIONS_MOST = 64;
constexpr uint32_t SIRANES_AT = 0x01C00000, SIRANE_BYTES = 0x00100000;
constexpr uint32_t DAP = 0x01C0C000, KEEP_ALIVE = 0x01C0C008, BUNDLE_VERSION = 0x01F04004;
constexpr uint32_t COMMAND = 0, ANSWER = 0x2000, ALARMS = 0x4000, PERFORMANCE = 0x8000; // of a sirane
constexpr uint32_t AREA = 0x100, AREA_WORDS = 6 + 64;                                   // behind a mailbox

struct fuzz_card {
    fuzz_input input;
    std::unordered_map<uint32_t, uint32_t> word; // what is right at an offset
    uint32_t accesses, failing_access;
    uint32_t same; // so many reads go on like the last one, with the truth or its lie
    bool lies;
    uint32_t lie;
    std::vector<uint32_t> lies_told; // an error word may be among them
    low_priority_state low_priority;
    dap_state dap;
};

fuzz_card the_card;

int32_t next_access()
{
    the_card.accesses++;
    return the_card.accesses > ACCESSES_MOST || the_card.accesses == the_card.failing_access ? 5 : 0;
}

int32_t read_word(kelvane_handle, uint32_t, uint32_t offset, uint32_t *value, uint32_t)
{
    static_assert(COMMAND_COUNT == 66); // the first number of no command, below
    static constexpr uint32_t ODD[] = {
        0,    1,    2,    3,    4,    6,          8,          14,         16,         17,        20,
        24,   31,   35,   37,   41,   54,         55,         65,         66,         111,       463,
        1024, 1978, 1979, 2048, 4096, 0x00050009, 0x00020006, 0x41414141, 0x80000000, 0xFFFFFFFF};
    fuzz_card &it = the_card;
    if (it.same > 0) {
        it.same--;
    } else {
        const uint8_t byte = it.input.byte();
        it.lies = byte >= 0x80;
        it.lie = byte == 0xFF ? it.input.word() : ODD[byte % std::size(ODD)];
        it.same = !it.lies ? byte : byte >= 0xC0 ? it.input.byte() : 0;
    }
    if (it.lies) {
        it.lies_told.push_back(it.lie);
    }
    *value = it.lies ? it.lie : it.word[offset];
    return next_access();
}

// A good firmware takes a command and answers it with an echo, but for those whose answers come elsewhere.
int32_t write_word(kelvane_handle, uint32_t, uint32_t offset, uint32_t value, uint32_t)
{
    std::unordered_map<uint32_t, uint32_t> &word = the_card.word;
    if (next_access() != 0) {
        return 5;
    }
    word[offset] = value;
    if (offset == DAP || offset == KEEP_ALIVE) {
        word[offset + 4] = offset == DAP && value == 4 ? 2048 : value;
    } else if (offset < SIRANES_AT || offset >= SIRANES_AT + 3 * SIRANE_BYTES) {
        return 0;
    } else if (offset % SIRANE_BYTES == COMMAND) {
        const uint32_t command = word[offset + AREA];
        if (value == 2 && word[offset + 4] == 4 && command != CMD_ENABLE_PM_NOTIFY &&
            command != CMD_ENABLE_ALARMS_NOTIFY && command != CMD_FORCE_GLOBAL_ALARMS_NOTIFY) {
            for (uint32_t at = offset + AREA; at < offset + AREA + 4 * AREA_WORDS; at += 4) {
                word[ANSWER + at] = word[at];
            }
            word[offset + ANSWER + 4] = 4;
        }
        word[offset + 4] = value == 4 ? 4 : 2;
    } else if (offset % 0x2000 == 0 && value != 2) {
        word[offset + 4] = 2;
    }
    return 0;
}

// A message of the firmware's own. References are drawn from a counter: that of the last command fits the
// newest request.
int32_t offer_message(operation_call &)
{
    static constexpr uint32_t SIZES[] = {4, 3, 0, 14, 31, 55, 111, 116, 463, 1978, 1979, 0xFFFFFFFF};
    fuzz_input &input = the_card.input;
    const uint32_t sirane = SIRANES_AT + input.byte() % 3 * SIRANE_BYTES;
    const uint32_t base = sirane + input.one_of({ANSWER, ALARMS, PERFORMANCE});
    const uint32_t command =
        input.one_of({CMD_SET_LASER, CMD_SET_TRAFFIC_TYPE, CMD_ENABLE_PM_NOTIFY, CMD_ENABLE_ALARMS_NOTIFY,
                      CMD_NOTIFY_PLUGIN, CMD_APP_ZYNQ_RESTART_NOTIFY, CMD_DOWNLOAD_SOFTWARE, CMD_DAP_MESSAGE,
                      COMMAND_COUNT});
    const uint32_t reference = the_card.word[sirane + AREA + 4];
    uint32_t at = base + AREA;
    for (const uint32_t word :
         {command, reference, input.one_of(SIZES), input.byte() % 3u, uint32_t{input.byte()}, 0u}) {
        the_card.word[at] = word;
        at += 4;
    }
    the_card.word[base + 4] = 4;
    return 0;
}

// A byte says whether it fails.
template <typename... arguments> int32_t answer_of_application(arguments...)
{
    return the_card.input.byte() >= 0x80 ? KELVANE_RET_CODE_EBUSY : 0;
}

int32_t dap_answered(kelvane_handle, void *data, const uint32_t *size)
{
    must(*size < 1024, "an answer beyond the buffer", "kelvane_dap_cb");
    const auto *bytes = static_cast<const uint8_t *>(data); // each of which can be read
    return static_cast<int32_t>(std::count(bytes, bytes + *size, 1) % 2);
}

int32_t send_dap(operation_call &call)
{
    uint8_t message[1100];
    memset(message, the_card.input.byte(), sizeof message);
    const uint32_t size = call.in() * 5;
    return kelvane_dap_command(call.handle, message, &size, dap_answered);
}

// A pass over one of the mailboxes that the firmware talks over.
template <auto serve> int32_t serve_any(operation_call &call)
{
    const uint32_t choice = call.in();
    return serve(0, local_handles_array[0].sirane[choice % 3], ANSWER_MAILBOXES[choice / 16 % 3]);
}

constexpr char LINK_UP[] = "kelvane_pci_mapped";

// The table of all operations stands behind these. The kept inputs name them by number.
constexpr std::pair<const char *, int32_t (*)(operation_call &)> OPERATIONS[] = {
    {"the card offers", offer_message},
    {"a later access fails",
     [](operation_call &it) { return the_card.failing_access = the_card.accesses + 1 + it.in(), 0; }},
    {"response thread", serve_any<kelvane_asyc_resp_common>},
    {"low-priority thread", [](operation_call &) { return low_priority_pass(&the_card.low_priority), 0; }},
    {"DAP thread", [](operation_call &) { return dap_serve_event(0, &the_dap_record, &the_card.dap), 0; }},
    {LINK_UP, [](operation_call &it) { return kelvane_pci_mapped(it.handle, it.in() % 16 != 15, 0, 0); }},
    {"the drain", serve_any<kelvane_deque_resp_receive>},
    {"kelvane_keep_alive", [](operation_call &it) { return kelvane_keep_alive(it.handle, it.address); }},
    {"kelvane_enable_keep_alive_notify",
     [](operation_call &it) {
         return kelvane_enable_keep_alive_notify(it.handle, it.in() % 4, answer_of_application);
     }},
    {"kelvane_enable_pm_notify",
     [](operation_call &it) {
         return kelvane_enable_pm_notify(it.handle, it.address, it.in() % 2, answer_of_application);
     }},
    {"kelvane_set_laser",
     [](operation_call &it) {
         return kelvane_set_laser(it.handle, it.address, it.in() % 2, answer_of_application, 7);
     }},
    {"kelvane_dap_command", send_dap},
    {"kelvane_print_local_handler",
     [](operation_call &it) { return kelvane_print_local_handler(it.handle), 0; }},
};

// False when the input ends here: a failed link-up keeps a sirane's locks, which is documented.
bool run_operation()
{
    static constexpr kelvane_device_address ADDRESSES[] = {
        0xFF0000FF, 0xF0FFFFFF, 0xFF00FFFF, 0xFF01FFFF, 0xFF02FFFF, 0xFF0201FF, 0xFF01FF03, 0xFF03FFFF,
        0xFFFFFFFF, 0xFF0002FF, 0xFF0005FF, 0xF000FFFF, 0x00000000, 0xFF00FF00, 0xFF01FFFF, 0xFF02FF05};
    constexpr size_t OWN = std::size(OPERATIONS);
    static fuzz_input &input = the_card.input;
    const size_t choice = input.byte() % (OWN + command_rows.size() + register_rows.size());
    const uint8_t where = input.byte();
    guarded_words out;
    const kelvane_handle handle = where >= 0xF0 ? input.byte() : 0;
    operation_call call = {handle, ADDRESSES[where % 16], [] { return input.byte(); }, out.word};
    const auto &rows = choice < OWN + command_rows.size() ? command_rows : register_rows;
    const size_t row = choice - OWN - (&rows == &command_rows ? 0 : command_rows.size());
    const char *name = choice < OWN ? OPERATIONS[choice].first : rows[row].name;
    const int32_t rc = choice < OWN ? OPERATIONS[choice].second(call) : rows[row].call(call);
    must(is_documented(rc) || std::ranges::count(the_card.lies_told, static_cast<uint32_t>(rc)) > 0,
         "a code that nobody knows", name);
    must(out.is_intact_behind(), "written beyond the output", name);
    const bool locks_are_held = !held_locks().empty();
    must(!locks_are_held || (name == LINK_UP && rc != 0), "a lock is still held", name);
    must(mbox_mutex_served_here == nullptr, "a served mailbox is still marked", name);
    return !locks_are_held;
}

// A card fresh from the start, and the library on it.
void start(fuzz_input input)
{
    the_card = {};
    the_card.input = input;
    the_card.word[BUNDLE_VERSION] = the_card.input.one_of(
        {0x00050016u, 0u, 0x00050015u, 0x0005000Au, 0x00050009u, 0x00030005u, 0x00030006u, 0x00020006u});
    for (uint32_t at = SIRANES_AT; at < SIRANES_AT + 3 * SIRANE_BYTES; at += SIRANE_BYTES) {
        for (const uint32_t base : {COMMAND, ANSWER, ALARMS, PERFORMANCE}) {
            the_card.word[at + base + 4] = 2;
        }
    }
    the_card.word[DAP + 4] = the_card.word[KEEP_ALIVE + 4] = 2;
    zero_handle_record();
    the_dap_record.dap_valid = 0;
    keep_alive_sequence = 0;
    kelvane_transaction_counter.next = 0x1000;
    const uint8_t byte = the_card.input.byte();
    trace_level_mask_set(byte & 0x7F);
    kelvane_init_device_t device{};
    device.notify_plugin_cb = answer_of_application;
    device.pci_read_cb = read_word;
    device.pci_write_cb = write_word;
    device.app_zynq_restart_notify_cb = answer_of_application;
    device.generic_cb = answer_of_application;
    must(kelvane_device_create(device) == 0, "no device", "kelvane_device_create");
    local_handles_array[0].pci_mapped = byte < 0x80 ? 1 : 0;
    kelvane_set_low_prio_active(0, 1);
    the_card.low_priority = low_priority_start(0);
    the_card.dap = {kelvane_dap_wait_for_call};
}

struct process {
    process()
    {
        std::filesystem::create_directory(folder.path + "/root/sirane_2.log"); // cannot be written
        driver_starts_threads = false;
        must(kelvane_init_driver() == 0, "no driver", "kelvane_init_driver");
    }

    host_folder folder;
    virtual_time time;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const process the_process;
    start({data, data + size});
    for (int i = 0; i < OPERATIONS_MOST && !the_card.input.is_empty() && run_operation(); i++) {
    }
    return 0;
}
