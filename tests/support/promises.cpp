#include "support/promises.h"

#include "core/handle.h"
#include "core/mutex.h"
#include "core/trace/file.h"
#include "core/transaction_id.h"
#include "dap/dap_channel.h"

bool is_documented(int32_t code)
{
    const auto word = static_cast<uint32_t>(code);
    return word == 0 || word == 16 || word == 22 || word == 110 || (word >= 64170 && word <= 64175) ||
           word > 0x80000000;
}

std::string held_locks()
{
    std::string held;
    const auto look = [&held](const kelvane_mutex &mutex, const std::string &name) {
        held += kelvane_mutex_get_owner(&mutex) != 0 ? name + ", " : "";
    };
    for (const sirane_link &link : local_handles_array[0].sirane) {
        const std::string of = std::to_string(link.sirane_id);
        look(link.command_mutex, of + " command");
        for (uint32_t mbox = 0; mbox < MBOX_THREAD_COUNT; mbox++) {
            look(link.answers[mbox].response_mutex, of + " response " + std::to_string(mbox));
        }
        look(link.requests.lock, of + " requests");
    }
    look(the_dap_record.dap_lock, "DAP");
    look(kelvane_transaction_counter.mutex, "transaction");
    look(log_file_mutex, "log");
    return held;
}
