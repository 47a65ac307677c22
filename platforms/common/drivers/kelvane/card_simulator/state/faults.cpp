#include "card_simulator/state/faults.h"

#include <algorithm>

namespace {

auto find(faults &faults, fault_kind kind, uint32_t subject)
{
    return std::ranges::find_if(faults.armed, [kind, subject](const armed_fault &fault) {
        return fault.kind == kind && fault.subject == subject;
    });
}

// splitmix64: any state will do, and the same seed commits the same faults.
uint32_t draw_percent(uint64_t &dice)
{
    dice += 0x9E3779B97F4A7C15;
    uint64_t mixed = dice;
    mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9;
    mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EB;
    return static_cast<uint32_t>((mixed ^ (mixed >> 31)) % 100);
}

} // namespace

void faults_arm(faults &faults, const armed_fault &fault)
{
    const auto old = find(faults, fault.kind, fault.subject);
    if (old != faults.armed.end()) {
        faults.armed.erase(old);
    }
    if (fault.left > 0) {
        faults.armed.push_back(fault);
    }
}

bool faults_strike(faults &faults, fault_kind kind, uint32_t subject, uint32_t *value)
{
    const auto fault = find(faults, kind, subject);
    if (fault == faults.armed.end() ||
        (fault->percent < 100 && draw_percent(faults.dice) >= fault->percent)) {
        return false;
    }
    if (value != nullptr) {
        *value = fault->value;
    }
    if (fault->left != FAULT_ALWAYS && --fault->left == 0) {
        faults.armed.erase(fault);
    }
    return true;
}

void faults_corrupt(faults &faults, fault_kind kind, mbox_data_header &header)
{
    uint32_t *const words[MBOX_HEADER_WORDS] = {&header.cmd,     &header.ref_id, &header.size,
                                                &header.version, &header.sy,     &header.rc};
    for (uint32_t i = 0; i < MBOX_HEADER_WORDS; i++) {
        uint32_t value = 0;
        if (faults_strike(faults, kind, i, &value)) {
            *words[i] = value;
        }
    }
}
