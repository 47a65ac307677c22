// The commands that this firmware runs. A family of commands is a file of its own that ends in a
// command_family; command_handlers.cpp lists the families.
#ifndef CARD_SIMULATOR_COMMANDS_COMMAND_HANDLERS_H
#define CARD_SIMULATOR_COMMANDS_COMMAND_HANDLERS_H

#include <cstdint>
#include <cstring>
#include <span>
#include <type_traits>

#include "card_simulator/bus/bar.h"
#include "card_simulator/state/card_state.h"
#include "kelvane.h"
#include "kelvane_mbox.h"

// One command under way. The answer's data start as a copy of the request's: word 0 the handle and, in
// most commands, word 1 the device address.
struct command_exchange {
    card_state &state;
    struct bar &bar;
    uint32_t sirane_id; // whose mailbox brought it
    const mbox_data_header &request;
    uint32_t version;          // of the answer's layout; lowered for older firmware
    std::span<uint32_t> words; // as many as the command's row says
    uint64_t work_ms = 0;      // of work that the handler began; the answer comes at its end
};

// Words of a request and of its answer.
constexpr size_t DEVICE_ADDRESS_WORD = 1;
constexpr size_t VALUE_WORD = 2; // first of the command's own
constexpr size_t SECOND_VALUE_WORD = 3;
constexpr size_t RECORD_WORD = VALUE_WORD;

enum class command_answer {
    at_once,
    when_done, // a request that nobody waits for is answered after the time that the work takes
    none,
};

struct command_row {
    uint32_t command;
    uint32_t words; // size of the request and of the answer
    uint32_t version;
    int32_t (*run)(command_exchange &exchange); // 0 or an enum kelvane_arm_error
    command_answer answer = command_answer::at_once;
    bool uses_download_memory = false; // an image there may have covered the logs
};

using command_family = std::span<const command_row>;

// The command's row, null for one that this firmware refuses.
const command_row *command_row_of(uint32_t command);

// What the request's device address names, or why not: no such device, an empty port, one of another kind.
int32_t find_device(const command_exchange &exchange, uint32_t *device);
int32_t find_module(const command_exchange &exchange, uint32_t *device);
int32_t find_network_port(const command_exchange &exchange, uint32_t *device); // with a module or without
int32_t find_whole_sirane(const command_exchange &exchange, uint32_t *sirane_id);
int32_t find_host_port(const command_exchange &exchange, uint32_t *sirane_id, uint32_t *host_port);

// The sirane of any address on it; for the board that of the mailbox.
int32_t find_sirane(const command_exchange &exchange, uint32_t *sirane_id);

// A record becomes the answer's data after its first two words.
template <typename record> void put_record(command_exchange &exchange, const record &it)
{
    static_assert(std::is_trivially_copyable_v<record> && sizeof it % sizeof(uint32_t) == 0);
    const std::span<uint32_t> place = exchange.words.subspan(RECORD_WORD, sizeof it / sizeof(uint32_t));
    std::memcpy(place.data(), &it, place.size_bytes());
}

// What a request to enable or disable a subscription asks for.
subscription subscription_of(const command_exchange &exchange);

// The families.
extern const command_family alarm_commands;
extern const command_family card_control_commands;
extern const command_family image_commands;
extern const command_family module_commands;
extern const command_family performance_commands;
extern const command_family provisioning_commands;
extern const command_family status_commands;

#endif
