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
uint32_t draw(uint64_t &dice, uint64_t end)
{
    dice += 0x9E3779B97F4A7C15;
    uint64_t mixed = dice;
    mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9;
    mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EB;
    return static_cast<uint32_t>((mixed ^ (mixed >> 31)) % end);
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
    if (fault == faults.armed.end() || (fault->percent < 100 && draw(faults.dice, 100) >= fault->percent)) {
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

void faults_note_request(faults &faults, uint32_t sirane_id, const mbox_data_header &header)
{
    std::vector<mbox_data_header> &requests = faults.requests[sirane_id];
    if (requests.size() == CONFUSABLE_REQUESTS) {
        requests.erase(requests.begin());
    }
    requests.push_back(header);
}

void faults_corrupt(faults &faults, fault_kind kind, uint32_t sirane_id, mbox_data_header &header)
{
    constexpr uint32_t mbox_data_header::*WORDS[MBOX_HEADER_WORDS] = {
        &mbox_data_header::cmd,     &mbox_data_header::ref_id, &mbox_data_header::size,
        &mbox_data_header::version, &mbox_data_header::sy,     &mbox_data_header::rc};
    std::vector<mbox_data_header> others = faults.requests[sirane_id];
    std::erase_if(others, [&header](const mbox_data_header &it) { return it.ref_id == header.ref_id; });
    const size_t other = others.empty() ? 0 : draw(faults.dice, others.size()); // one for all the words
    for (uint32_t i = 0; i < MBOX_HEADER_WORDS; i++) {
        const auto fault = find(faults, kind, i);
        const bool confused = fault != faults.armed.end() && fault->of_another;
        uint32_t value = 0;
        if ((confused && others.empty()) || !faults_strike(faults, kind, i, &value)) {
            continue;
        }
        header.*WORDS[i] = confused ? others[other].*WORDS[i] : value;
    }
}
