#include "card_simulator/state/performance_layout.h"

#include <cstring>

#include "card_simulator/state/measurements.h"

namespace {

constexpr size_t OLD_PORT_BYTES = 88;

// A power is a half word; the other half is what the module's bus left there.
int32_t half_word_of(int32_t power)
{
    return static_cast<int32_t>(0x5A5A0000u | (static_cast<uint32_t>(power) & 0xFFFF));
}

void put_in_old_layout(const kelvane_global_pm &pm, std::span<uint32_t> words)
{
    auto *at = reinterpret_cast<unsigned char *>(words.data());
    std::memset(at, 0, 4 * OLD_GLOBAL_PM_WORDS);
    const auto put = [&at](const void *piece, size_t bytes, size_t room) {
        std::memcpy(at, piece, bytes);
        at += room;
    };
    put(pm.host, sizeof pm.host, sizeof pm.host);
    for (const kelvane_sirane_port_pm &port : pm.sirane_port) {
        put(&port, OLD_PORT_FIELDS_BYTES, OLD_PORT_BYTES);
    }
    put(pm.xpm2_port, sizeof pm.xpm2_port, sizeof pm.xpm2_port);
    put(&pm.generic, sizeof pm.generic, sizeof pm.generic);
}

} // namespace

uint32_t performance_layout_version(const card_state &state)
{
    return firmware_is_before(state, 4, 1) ? 0 : 1;
}

kelvane_xpm2_port_pm module_pm_as_sent(kelvane_xpm2_port_pm pm)
{
    pm.optical_output_power = half_word_of(pm.optical_output_power);
    pm.optical_input_power = half_word_of(pm.optical_input_power);
    pm.optical_signal_power = half_word_of(pm.optical_signal_power);
    return pm;
}

size_t put_global_pm(const card_state &state, uint32_t sirane_id, std::span<uint32_t> words)
{
    kelvane_global_pm pm = measure_sirane(state, sirane_id);
    for (kelvane_xpm2_port_pm &module : pm.xpm2_port) {
        module = module_pm_as_sent(module);
    }
    if (performance_layout_version(state) == 0) {
        put_in_old_layout(pm, words.first(OLD_GLOBAL_PM_WORDS));
        return OLD_GLOBAL_PM_WORDS;
    }
    std::memcpy(words.first(GLOBAL_PM_WORDS).data(), &pm, sizeof pm);
    return GLOBAL_PM_WORDS;
}
