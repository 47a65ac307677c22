// The card for this process: found, mapped, linked up. Nothing of it is ever undone, the process's end does
// that. The card's traffic is not touched.
#ifndef CONTROL_CARD_OWNER_H
#define CONTROL_CARD_OWNER_H

#include <cstdint>
#include <string>

#include "control/record_fields.h"
#include "kelvane.h"

// What the owner is told, on threads of the library or its own; each may be null.
struct card_events {
    kelvane_notify_plugin_cb plugin = nullptr;
    kelvane_app_zynq_restart_notify_cb restart = nullptr;
    kelvane_generic_cb generic = nullptr;
    void (*gone)() = nullptr; // no interrupt can come any more
};

// Whether the host has such a device.
bool card_is_there();

// Takes the card, makes the library's device of it, and forwards its interrupts. Empty when it succeeded,
// otherwise what failed, for an operator. Blocks for 5 seconds at most. Once in a process.
std::string take_card(host_kind kind, const card_events &events);

// Before take_card: records what crosses the link from then on in the file `path`, until recorder_stop; what
// that file held becomes `path`.1. Empty when it succeeded, otherwise what failed.
std::string record_card(const std::string &path);

// The link-up, after take_card: minutes with a silent firmware. Returns what kelvane_pci_mapped does, or
// kelvane_enable_msi.
int32_t link_up_card();

// Both for one command, with nobody to be told.
std::string take_direct_card(host_kind kind);

// Whether the latest word that was read has all bits set, as the bus gives them where there is no card. Any
// thread.
bool card_reads_all_ones();

// How many words were written to the card so far. Any thread.
uint64_t card_words_written();

#endif
