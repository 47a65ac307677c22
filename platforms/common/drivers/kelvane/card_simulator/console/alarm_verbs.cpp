#include "card_simulator/console/alarm_verbs.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <span>

#include "card_simulator/state/alarms.h"
#include "kelvane_alarm_names.h"

namespace {

using alarm_names = std::span<const kelvane_alarm_name>;

// A word of alarms as the operator sees it: whose it is and what its bits are called.
struct alarm_word {
    uint32_t sirane_id;
    uint32_t *raised;
    alarm_names names;
};

// Where alarms are raised: one word, two for a network port with its module, three for the board.
struct alarm_place {
    alarm_word words[SIRANE_COUNT];
    size_t count = 0;
};

constexpr uint32_t SUMMARY_BITS_OF_MODULE = 1u << KELVANE_XPM2_SUMMARY_ALRM;
constexpr uint32_t SUMMARY_BITS_OF_GENERIC =
    1u << KELVANE_GENERIC_SRN_SUMMARY_ALRM | 1u << KELVANE_GENERIC_ORD_SUMMARY_ALRM;

alarm_names host_names(const card_state &state)
{
    return state.client == host_client::ethernet ? alarm_names(kelvane_host_pcs_alarm_names)
                                                 : alarm_names(kelvane_host_otn_alarm_names);
}

void add_word(alarm_place &place, uint32_t sirane_id, uint32_t *raised, alarm_names names)
{
    place.words[place.count++] = {sirane_id, raised, names};
}

void add_network_port(card_state &state, alarm_place &place, uint32_t sirane_id, uint32_t port)
{
    global_alarms &raised = state.raised[sirane_id];
    add_word(place, sirane_id, &raised.ntwk_port[port], kelvane_ntwk_port_alarm_names);
    if (has_module(state, module_device(sirane_id, port))) {
        add_word(place, sirane_id, &raised.xpm2[port], kelvane_xpm2_alarm_names);
    }
}

// The part of a sirane that is named by a letter and a number after a point.
bool add_part(card_state &state, alarm_place &place, uint32_t sirane_id, std::string_view part)
{
    uint32_t port = 0;
    if (part.empty() || !to_number(part.substr(1), 10, &port)) {
        return false;
    }
    if (part[0] == 'h' && port < HOST_PORTS_PER_SIRANE) {
        add_word(place, sirane_id, &state.raised[sirane_id].host[port], host_names(state));
    } else if (part[0] == 'n' && port < NETWORK_PORTS_PER_SIRANE) {
        add_network_port(state, place, sirane_id, port);
    }
    return place.count != 0;
}

bool find_place(card_state &state, std::string_view text, alarm_place *place)
{
    const size_t point = text.find('.');
    uint32_t device = 0;
    if (!to_number(text.substr(0, point), 10, &device) || device >= DEVICE_COUNT) {
        return false;
    }
    if (point != std::string_view::npos) {
        return is_sirane_device(device) &&
               add_part(state, *place, sirane_of_device(device), text.substr(point + 1));
    }
    if (is_module_device(device)) {
        add_network_port(state, *place, sirane_of_device(device), network_port_of_device(device));
        return true;
    }
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) {
        if (device == BOARD_DEVICE || device == sirane_device(sirane_id)) {
            add_word(*place, sirane_id, &state.raised[sirane_id].generic, kelvane_generic_alarm_names);
        }
    }
    return true;
}

bool same_letters(std::string_view one, std::string_view other)
{
    return std::ranges::equal(
        one, other, [](unsigned char a, unsigned char b) { return std::tolower(a) == std::tolower(b); });
}

// The long names of host ports are known by their last part, too.
std::string_view last_part(std::string_view name)
{
    const size_t at = name.rfind("__");
    return at == std::string_view::npos ? name : name.substr(at + 2);
}

// The bits of a name in a word, 0 when it has none of that name.
uint32_t bits_of_name(const alarm_word &word, std::string_view name)
{
    for (const kelvane_alarm_name &it : word.names) {
        if (same_letters(it.name, name) || same_letters(last_part(it.name), name)) {
            return uint32_t{1} << it.bit;
        }
    }
    return 0;
}

bool is_summary(const alarm_word &word, uint32_t bits)
{
    return (word.names.data() == kelvane_xpm2_alarm_names && (bits & SUMMARY_BITS_OF_MODULE) != 0) ||
           (word.names.data() == kelvane_generic_alarm_names && (bits & SUMMARY_BITS_OF_GENERIC) != 0);
}

bool take_place(card &card, arguments &args, alarm_place *place, std::string_view *name)
{
    std::string_view text;
    if (!take_word(args, "PLACE", &text)) {
        return false;
    }
    if (!find_place(card.state, text, place)) {
        return reject(args, "PLACE is a device from 0 to 9 or like 1.h0, 1.n0: " + std::string(text));
    }
    return take_word(args, "NAME", name) && take_end(args);
}

bool clear_all(std::span<const alarm_word> words)
{
    for (const alarm_word &word : words) {
        *word.raised = 0;
    }
    return true;
}

bool change(card &card, arguments &args, bool raise)
{
    alarm_place place;
    std::string_view name;
    if (!take_place(card, args, &place, &name)) {
        return false;
    }
    const std::span<const alarm_word> words(place.words, place.count);
    if (!raise && same_letters(name, "all")) {
        return clear_all(words);
    }
    bool known = false;
    bool was_raised = false;
    for (const alarm_word &word : words) {
        const uint32_t bits = bits_of_name(word, name);
        if (is_summary(word, bits)) {
            return reject(args, "this alarm follows from the others: " + std::string(name));
        }
        known = known || bits != 0;
        was_raised = was_raised || (*word.raised & bits) != 0;
        *word.raised = raise ? *word.raised | bits : *word.raised & ~bits;
    }
    if (!known) {
        return reject(args, "there is no such alarm: " + std::string(name));
    }
    return raise || was_raised || reject(args, "nobody raised it: " + std::string(name));
}

void append_word(std::string *text, const std::string &place, uint32_t word, alarm_names names)
{
    if (word == 0) {
        return;
    }
    char number[16];
    std::snprintf(number, sizeof number, " 0x%08x", word);
    *text += place + number;
    for (const kelvane_alarm_name &it : names) {
        if ((word >> it.bit & 1) != 0) {
            *text += ' ';
            *text += last_part(it.name);
        }
    }
    *text += '\n';
}

bool list(const card &card, arguments &args, std::string *answer)
{
    if (!take_end(args)) {
        return false;
    }
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) {
        const global_alarms alarms = alarms_of(card.state, sirane_id);
        const std::string sirane = std::to_string(sirane_device(sirane_id));
        append_word(answer, sirane, alarms.generic, kelvane_generic_alarm_names);
        for (uint32_t port = 0; port < HOST_PORTS_PER_SIRANE; port++) {
            append_word(answer, sirane + ".h" + std::to_string(port), alarms.host[port],
                        host_names(card.state));
        }
        for (uint32_t port = 0; port < NETWORK_PORTS_PER_SIRANE; port++) {
            append_word(answer, sirane + ".n" + std::to_string(port), alarms.ntwk_port[port],
                        kelvane_ntwk_port_alarm_names);
            append_word(answer, std::to_string(module_device(sirane_id, port)), alarms.xpm2[port],
                        kelvane_xpm2_alarm_names);
        }
    }
    return true;
}

} // namespace

bool verb_alarm(card &card, arguments &args, std::string *answer)
{
    std::string_view what;
    if (!take_word(args, "raise, clear or list", &what)) {
        return false;
    }
    if (what == "list") {
        return list(card, args, answer);
    }
    if (what != "raise" && what != "clear") {
        return reject(args, "what is to be done is raise, clear or list: " + std::string(what));
    }
    return change(card, args, what == "raise");
}
