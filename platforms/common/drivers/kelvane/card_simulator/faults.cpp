#include "card_simulator/faults.h"

#include <algorithm>

namespace {

auto find(faults &faults, fault_kind kind, uint32_t subject)
{
    return std::ranges::find_if(faults.armed, [kind, subject](const armed_fault &fault) {
        return fault.kind == kind && fault.subject == subject;
    });
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
    if (fault == faults.armed.end()) {
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
