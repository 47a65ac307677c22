// Faults that the operator arms and the firmware then commits, a number of times.
#ifndef CARD_SIMULATOR_STATE_FAULTS_H
#define CARD_SIMULATOR_STATE_FAULTS_H

#include <cstdint>
#include <vector>

#include "kelvane_mbox.h"

enum class fault_kind {
    refuse,         // the command's message is refused
    error,          // the command is answered with the error word `value`, and not run
    delay,          // the command's answer comes `value` milliseconds late
    drop_answer,    // the command is run and never answered
    corrupt,        // header word `subject` of an answer becomes `value`, or another request's
    corrupt_notice, // the same, of what the firmware says of its own accord
    skip_batch,     // a performance batch is counted and not sent
    drop_interrupt, // a message is offered without an interrupt
    late_interrupt, // its interrupt comes `value` milliseconds late
    double_interrupt,
};

constexpr uint32_t FAULT_ALWAYS = UINT32_MAX;

struct armed_fault {
    fault_kind kind;
    uint32_t subject; // the command or header word; 0 for the others
    uint32_t value;
    uint32_t left;          // times, FAULT_ALWAYS: without end
    uint32_t percent = 100; // of the occasions
    bool of_another = false;
};

constexpr size_t CONFUSABLE_REQUESTS = 4;

struct faults {
    std::vector<armed_fault> armed;
    uint64_t dice = 0;                                    // what the occasions are drawn from
    std::vector<mbox_data_header> requests[SIRANE_COUNT]; // the latest for whose answer nobody waits
};

// Notes a request that a later answer may be confused with.
void faults_note_request(faults &faults, uint32_t sirane_id, const mbox_data_header &header);

// Arms the fault, in place of one of the same kind and subject; `left` 0 only removes that one.
void faults_arm(faults &faults, const armed_fault &fault);

// Whether the fault is to be committed now, which uses it up once. `value` gets the fault's, if any.
bool faults_strike(faults &faults, fault_kind kind, uint32_t subject, uint32_t *value = nullptr);

// Commits the faults of this kind that are armed for words of a header.
void faults_corrupt(faults &faults, fault_kind kind, uint32_t sirane_id, mbox_data_header &header);

#endif
