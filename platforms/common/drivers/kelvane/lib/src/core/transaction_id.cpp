#include "core/transaction_id.h"

#include <cstdlib>

#include "core/mutex.h"

transaction_counter kelvane_transaction_counter;

int32_t kelvane_transaction_id_init(transaction_counter *counter)
{
    const int32_t rc = kelvane_mutex_init(&counter->mutex);
    if (rc != KELVANE_EOK) {
        return rc;
    }
    srand(static_cast<unsigned>(kelvane_gettid()));
    counter->next = static_cast<uint32_t>(rand());
    return KELVANE_EOK;
}

int32_t kelvane_transaction_id_next(uint32_t *out)
{
    transaction_counter &counter = kelvane_transaction_counter;
    return with_lock(&counter.mutex, [&] {
        *out = counter.next;
        counter.next++;
        return KELVANE_EOK;
    });
}
