// One synchronous command: its request, the exchange with the firmware, its answer.
//
// An operation names its command, checks and words, runs them, and takes what it wants from the answer.
// Locks, headers and the handshake are not its concern.
#ifndef MBOX_COMMAND_H
#define MBOX_COMMAND_H

#include <cstddef>
#include <cstdint>
#include <initializer_list>

#include "core/trace_context.h"
#include "kelvane.h"
#include "kelvane_mbox.h"

constexpr uint32_t COMMAND_WORDS_MAX = 116; // in the largest request, the performance subscription

struct command {
    mbox_data_header header;
    uint32_t data[COMMAND_WORDS_MAX]; // unassigned words go out as 0
    mbox_data_header response_header;
    mbox_data response; // words that were not received stay 0
};

// What an operation checks before anything is sent, in this order: the address in general, its kind, the
// handle. The first failure is returned. The shared path checks the exchange's address and handle once more.
enum command_checks {
    CHECK_DEVICE,       // any address that names a device, and the handle
    CHECK_NETWORK_PORT, // a network port, and the handle
    CHECK_HOST_PORT,
    CHECK_SIRANE,
    CHECK_SIRANE_ADDRESS, // a sirane, but not the handle
    CHECK_HANDLE,         // the caller gives no address
    CHECK_NOTHING,
};

// One operation: what is particular to it, and who called.
struct operation {
    command_id command;
    command_checks checks;
    const char *function; // its own name, for the log
    kelvane_handle handle;
    kelvane_device_address device_address;
    kelvane_device_address carrier = 0; // the exchange's address, if not device_address
    uint32_t delay_ns = 0;              // slept before the send, with the command mutex held
};

// Checks the input, fills the request with `words`, and exchanges it. Blocks as long as a command does.
// Returns KELVANE_EOK when an answer came, whatever its error word, otherwise what failed.
int32_t command_run(command *c, const operation &op, std::initializer_list<uint32_t> words);

// The checks alone: KELVANE_EOK or KELVANE_RET_CODE_EINVAL.
int32_t command_check(const operation &op);

// Fills the request: id, a new reference, size and version from the catalogue, and `words` at the start of
// the data. Returns KELVANE_EOK, KELVANE_RET_CODE_GEN_ERR for an unknown id, or the failure of the
// reference's lock.
int32_t command_prepare(command *c, command_id id, std::initializer_list<uint32_t> words);

// One exchange under the sirane's command mutex: sends the request and receives the answer. Returns as
// command_run.
int32_t command_exchange(command *c, const operation &op);

// For a request that is answered later: stores its record in the request table of the address's sirane, for a
// standard request with the first words of the data, and puts the slot into the request's `sy`. `mbox` is
// where the answer will arrive. Returns KELVANE_EOK, KELVANE_RET_CODE_GEN_ERR when there is no such sirane,
// or what the table refuses it with.
int32_t command_register(command *c, kelvane_handle handle, kelvane_device_address device_address,
                         mbox_id mbox, kelvane_asynch_type type, asynch_callback callback);

// Takes a subscription's record out of the table. Returns as above.
int32_t command_unregister(kelvane_handle handle, kelvane_device_address device_address, mbox_id mbox,
                           uint32_t fixed_slot);

// The usual shapes of an operation, with their lines in the log: set a value, get a word, fetch a record.

// Returns the firmware's result, or what failed.
int32_t command_set(const operation &op, std::initializer_list<uint32_t> words);

// The same; `*out` becomes the answer's third word, whatever the result.
int32_t command_get(const operation &op, std::initializer_list<uint32_t> words, uint32_t *out);

// The same; the record is copied from the answer whatever the result, and `repair(header)` turns it into what
// the caller is to see, and traces it.
template <typename record_type, typename repair_type>
int32_t command_fetch(const operation &op, record_type *record, repair_type repair);

// Sends under the sirane's command mutex without awaiting an answer. Returns KELVANE_EOK, or the failure of
// the lock or of the send.
int32_t command_send(command *c, kelvane_handle handle, kelvane_device_address device_address,
                     const char *function);

// Copies `bytes` of the answer from its third word on, where every record starts.
void command_copy_record(const command &c, void *record, size_t bytes);

// The firmware's result of an exchange that succeeded.
inline int32_t command_result(const command &c)
{
    return static_cast<int32_t>(c.response_header.rc);
}

template <typename record_type, typename repair_type>
int32_t command_fetch(const operation &op, record_type *record, repair_type repair)
{
    TRACE_AS(op.function, LEVEL_INFO, op.handle, op.device_address, "start ");
    command c;
    const int32_t rc = command_run(&c, op, {op.handle, op.device_address});
    if (rc != KELVANE_EOK) {
        return rc;
    }
    command_copy_record(c, record, sizeof *record);
    repair(c.response_header);
    TRACE_AS(op.function, LEVEL_INFO, op.handle, op.device_address, "end ");
    return command_result(c);
}

// The shared path: checks address and handle, exchanges, and after a failure logs the header concerned.
// Returns KELVANE_EOK when an answer came, whatever its error word, otherwise what failed.
int32_t kelvane_manage_sync_call(kelvane_handle handle, kelvane_device_address device_address,
                                 const mbox_data_header &header, const uint32_t *data,
                                 mbox_data_header *response_header, mbox_data *response_data);

#endif
