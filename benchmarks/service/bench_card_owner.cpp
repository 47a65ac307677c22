// The service's card, where it is the bench's: one that answers at once. A simulated card answers within one
// to four looks at its mailbox, half a millisecond each, and what the service adds to a command is a tenth of
// one.
#include "control/card_owner.h"

#include "benchmarks/library/bench_card.h"

bool card_is_there()
{
    return true;
}

std::string take_card(host_kind, const card_events &)
{
    start_on_bench_card(WITH_THREADS);
    fill_rings();
    return "";
}

std::string record_card(const std::string &)
{
    return "this card is not to be recorded";
}

int32_t link_up_card()
{
    return KELVANE_EOK;
}

bool card_reads_all_ones()
{
    return false;
}

uint64_t card_words_written()
{
    return 0;
}
