#include "kelvanectl/top/board.h"

#include <algorithm>
#include <cmath>

#include "control/address.h"
#include "kelvanectl/text/output.h"

namespace {

constexpr size_t BATCHES_KEPT = 1024;
constexpr size_t EVENTS_KEPT = 256;
constexpr size_t TIME_AT = 11; // in "2026-11-23T19:40:00.123Z"
constexpr size_t TIME_LENGTH = 8;
constexpr uint32_t PORTS = KELVANE_NETWORK_PORTS_PER_SIRANE;

std::string sirane_words(const std::string &address)
{
    kelvane_device_address device = 0;
    return address_of_words(address, &device)
               ? words_of_address(KELVANE_ADDRESS_SIRANE(sirane_serving(device)))
               : "";
}

void keep_batch(module_board &module, bool is_gap = false)
{
    for (size_t i = 0; i < module.batches.size(); i++) {
        module.batches[i].push_back(is_gap ? NAN : value_of(module, HISTORIES[i].of));
        if (module.batches[i].size() > BATCHES_KEPT) {
            module.batches[i].pop_front();
        }
    }
}

void hear_batch(board &to, const std::string &address, const json &data)
{
    to.take_measurements(address, member_of(data, "record"));
    for (size_t i = 0; i < to.modules.size(); i++) {
        if (sirane_words(words_of_module(i)) == address) {
            keep_batch(to.modules[i]);
            to.last_batch[i / PORTS] = std::chrono::steady_clock::now();
        }
    }
}

void hear_cleared(board &to, const std::string &address, const json &data)
{
    json left = json::array();
    for (const json &it : to.alarms_of(address)) {
        if (it != member_of(data, "alarm")) {
            left.push_back(it);
        }
    }
    to.alarms[address] = left;
}

void hear_raised(board &to, const std::string &address, const json &data)
{
    hear_cleared(to, address, data);
    to.alarms[address].push_back(member_of(data, "alarm"));
}

void hear_progress(board &to, const std::string &, const json &data)
{
    to.note = members_in_words(data);
}

void hear_finished(board &to, const std::string &, const json &)
{
    to.note.clear();
}

void hear_state(board &to, const std::string &, const json &data)
{
    to.state = in_words(member_of(data, "state"));
    to.note.clear();
}

void hear_watch(board &to, const std::string &, const json &data)
{
    to.firmware = in_words(member_of(data, "status"));
}

struct hearing {
    const char *type;
    void (*hear)(board &to, const std::string &address, const json &data);
    bool is_listed = true; // among the events
};

constexpr hearing HEARD[] = {
    {"batch", hear_batch, false},
    {"progress", hear_progress, false},
    {"alarm_raised", hear_raised},
    {"alarm_cleared", hear_cleared},
    {"module",
     [](board &to, const std::string &address, const json &data) { to.take_module(address, data); }},
    {"finished", hear_finished},
    {"state", hear_state},
    {"watch", hear_watch},
};

} // namespace

const json &member_of(const json &record, const std::string &name)
{
    static const json none;
    const auto found = record.is_object() ? record.find(name) : record.end();
    return found != record.end() ? *found : none;
}

std::string words_of_module(size_t module)
{
    return words_of_address(KELVANE_ADDRESS_MODULE(module));
}

const field &field_of(const figure &it)
{
    return *std::ranges::find(it.record->fields, std::string_view(it.field), &field::name);
}

double value_of(const module_board &module, const figure &it)
{
    const auto record = module.measured.find(it.record);
    if (record == module.measured.end() || module.is_present == false) {
        return NAN;
    }
    const json &value = member_of(record->second, name_of_field(field_of(it)));
    return value.is_number() ? value.get<double>() : NAN;
}

void board::lose(const std::string &why)
{
    if (link == service_link::heard) {
        std::ranges::for_each(modules, [](module_board &it) { keep_batch(it, true); });
    }
    link = service_link::lost;
    note = printable(why);
}

void board::take_snapshot(const json &snapshot)
{
    link = service_link::heard;
    hear_state(*this, "", snapshot);
    const json &raised = member_of(snapshot, "alarms");
    alarms = raised.is_object() ? raised : json::object();
    const json &told = member_of(snapshot, "modules");
    for (size_t i = 0; told.is_object() && i < modules.size(); i++) {
        const json &own = member_of(told, words_of_module(i));
        take_module(words_of_module(i),
                    {{"is_present", member_of(own, "is_present")}, {"laser", member_of(own, "laser")}});
    }
}

void board::take_module(const std::string &address, const json &members)
{
    for (size_t i = 0; i < modules.size(); i++) {
        if (members.is_object() && words_of_module(i) == address) {
            modules[i].is_present = members.value("is_present", modules[i].is_present);
            modules[i].laser = members.value("laser", modules[i].laser);
        }
    }
}

void board::take_measurements(const std::string &address, const json &record)
{
    for (const field &it : global_pm_fields(host_kind::ethernet).fields) {
        const json &parts = member_of(record, name_of_field(it));
        for (size_t i = 0; it.count == PORTS && i < modules.size(); i++) {
            if (sirane_words(words_of_module(i)) == address) {
                const bool is_there = parts.is_array() && parts.size() == PORTS;
                modules[i].measured[it.of] = is_there ? parts[i % PORTS] : json();
            }
        }
    }
}

void board::take_event(const json &event)
{
    const std::string type = in_words(member_of(event, "type"));
    const std::string address = in_words(member_of(event, "address"));
    const json &data = member_of(event, "data");
    const auto *const found = std::ranges::find(HEARD, std::string_view(type), &hearing::type);
    if (found != std::end(HEARD)) {
        found->hear(*this, address, data);
    }
    if (found != std::end(HEARD) && !found->is_listed) {
        return;
    }
    const std::string time = in_words(member_of(event, "time"));
    events.push_front({time.size() > TIME_AT ? time.substr(TIME_AT, TIME_LENGTH) : time, type, address,
                       members_in_words(data)});
    if (events.size() > EVENTS_KEPT) {
        events.pop_back();
    }
}

json board::alarms_of(const std::string &address) const
{
    const json &own = member_of(alarms, address);
    const auto sirane = alarms.find(sirane_words(address));
    const bool is_unknown = sirane != alarms.end() && sirane->is_null();
    return own.is_array() ? own : is_unknown ? json() : json::array();
}

bool board::is_live() const
{
    return link == service_link::heard && state == "up" && firmware != "not_alive";
}
