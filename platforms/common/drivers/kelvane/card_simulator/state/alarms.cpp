#include "card_simulator/state/alarms.h"

namespace {

constexpr uint32_t bit(uint32_t number)
{
    return uint32_t{1} << number;
}

constexpr uint32_t CONTROLLER_ALARMS = bit(KELVANE_GENERIC_ORD_EEP_FAIL) |
                                       bit(KELVANE_GENERIC_ORD_LCIDB_FAIL) | bit(KELVANE_GENERIC_ORD_HW_FLT) |
                                       bit(KELVANE_GENERIC_ORD_TEMP);

uint32_t with_summaries(uint32_t generic)
{
    if ((generic & CONTROLLER_ALARMS) != 0) {
        generic |= bit(KELVANE_GENERIC_ORD_SUMMARY_ALRM);
    }
    if ((generic & ~(CONTROLLER_ALARMS | bit(KELVANE_GENERIC_ORD_SUMMARY_ALRM))) != 0) {
        generic |= bit(KELVANE_GENERIC_SRN_SUMMARY_ALRM);
    }
    return generic;
}

} // namespace

global_alarms alarms_of(const card_state &state, uint32_t sirane_id)
{
    global_alarms alarms = state.raised[sirane_id];
    for (uint32_t port = 0; port < NETWORK_PORTS_PER_SIRANE; port++) {
        if (!has_module(state, module_device(sirane_id, port))) {
            alarms.ntwk_port[port] |= bit(KELVANE_NTWK_RX_NTWK_LOCH);
            alarms.xpm2[port] = 0; // there is nothing that could be wrong
        }
        if (alarms.xpm2[port] != 0) {
            alarms.xpm2[port] |= bit(KELVANE_XPM2_SUMMARY_ALRM);
        }
    }
    alarms.generic = with_summaries(alarms.generic);
    return alarms;
}
