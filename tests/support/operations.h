// The operations of kelvane.h that reach the card, called alike, and what each of their commands says on the
// wire: a row is an operation.
#ifndef TESTS_SUPPORT_OPERATIONS_H
#define TESTS_SUPPORT_OPERATIONS_H

#include <bit>
#include <functional>
#include <span>
#include <tuple>
#include <utility>
#include <vector>

#include "kelvane.h"

using words = std::vector<uint32_t>;

// What an operation is called with. `in` gives its numbers one after the other, the words of a record that it
// takes, and for a callback 0 for none or 1 for one that does nothing. Outputs go to `out`, one behind the
// other.
struct operation_call {
    kelvane_handle handle;
    kelvane_device_address address;
    std::function<uint32_t()> in;
    uint32_t *out;
};

template <typename... arguments> int32_t no_matter(arguments...)
{
    return 0;
}

template <typename type> type next_argument(operation_call &call)
{
    if constexpr (std::is_floating_point_v<type>) {
        return std::bit_cast<type>(call.in());
    } else if constexpr (std::is_same_v<type, const char *>) {
        return "image.bin";
    } else if constexpr (!std::is_pointer_v<type>) {
        return static_cast<type>(call.in());
    } else if constexpr (std::is_function_v<std::remove_pointer_t<type>>) {
        return call.in() != 0 ? static_cast<type>(no_matter) : nullptr;
    } else if constexpr (std::is_const_v<std::remove_pointer_t<type>>) {
        static uint32_t record[sizeof(std::remove_pointer_t<type>) / 4];
        for (uint32_t &word : record) {
            word = call.in();
        }
        return reinterpret_cast<type>(record);
    } else {
        uint32_t *const output = call.out;
        call.out += sizeof(std::remove_pointer_t<type>) / 4;
        return reinterpret_cast<type>(output);
    }
}

// An operation of a card, or of the device at the address of the call.
template <auto operation, bool has_address> struct caller;
template <typename... arguments, int32_t (*operation)(kelvane_handle, arguments...), bool has_address>
struct caller<operation, has_address> {
    static int32_t call(operation_call call)
    {
        bool is_address = has_address;
        [[maybe_unused]] const auto next = [&]<typename type>() -> type {
            if constexpr (std::is_same_v<type, kelvane_device_address>) {
                if (std::exchange(is_address, false)) {
                    return call.address;
                }
            }
            return next_argument<type>(call);
        };
        // Braces are evaluated from the left to the right, the arguments of a function in any order.
        const std::tuple<arguments...> given{next.template operator()<arguments>()...};
        return std::apply([&](auto... it) { return operation(call.handle, it...); }, given);
    }
};

enum operation_result {
    RC,         // the firmware's error word is the operation's result
    NO_RC,      // only failures of the transport are told
    NO_ANSWER,  // nothing is awaited after the send
    NO_COMMAND, // words of the card's are read or written, no mailbox
};
enum operation_checks {
    DEVICE, // any address that names a device, and the handle
    PORT,   // a network port, and the handle
    HOST,
    SIRANE,
    CARD,    // the handle; the operation takes no address
    NOTHING, // an address, unchecked
};

struct operation_row {
    const char *name;
    int32_t (*call)(operation_call call);
    operation_result result = NO_COMMAND;
    operation_checks checks = CARD;
    words in = {};
    words header = {};  // command, size and version; the sync word, where a caller waits for no answer
    words request = {}; // behind handle and device address, up to the last word that is not 0
    words answer = {};  // of the firmware, behind the same
    words output = {};  // what the operation then gives, in full

    kelvane_device_address address() const; // a good one
    int32_t run(kelvane_handle handle, kelvane_device_address address, uint32_t *out) const;
};

extern const std::span<const operation_row> command_rows;  // each with its command
extern const std::span<const operation_row> register_rows; // NO_COMMAND

#endif
