#include "kelvaned/alarm_board.h"

#include <cstring>

#include "control/address.h"

namespace {

struct alarm_word {
    kelvane_device_address address;
    uint32_t word;
    std::span<const kelvane_alarm_name> names;
};

// The words of a sirane, in the order of the record. A network port's and its module's have one address.
std::vector<alarm_word> words_of(uint32_t sirane, const global_alarms &alarms, host_kind kind)
{
    std::vector<alarm_word> words;
    for (const field &it : global_alarms_fields(kind).fields) {
        for (uint32_t i = 0; i < it.count; i++) {
            uint32_t word = 0;
            memcpy(&word, reinterpret_cast<const char *>(&alarms) + it.offset + i * sizeof word, sizeof word);
            const kelvane_device_address address =
                it.count == KELVANE_HOST_PORTS_PER_SIRANE      ? KELVANE_ADDRESS_HOST_PORT(sirane, i)
                : it.count == KELVANE_NETWORK_PORTS_PER_SIRANE ? KELVANE_ADDRESS_NETWORK_PORT(sirane, i)
                                                               : KELVANE_ADDRESS_SIRANE(sirane);
            words.push_back({address, word, it.bits});
        }
    }
    return words;
}

} // namespace

std::vector<alarm_change> alarm_board::update(uint32_t sirane, const global_alarms &now)
{
    const std::vector<alarm_word> before = words_of(sirane, known_[sirane].value_or(global_alarms{}), kind_);
    const std::vector<alarm_word> after = words_of(sirane, now, kind_);
    std::vector<alarm_change> changes;
    for (size_t i = 0; i < after.size(); i++) {
        const uint32_t changed = before[i].word ^ after[i].word;
        for (json &alarm : json_of_alarms(after[i].names, changed & after[i].word)) {
            changes.push_back({after[i].address, true, std::move(alarm)});
        }
        for (json &alarm : json_of_alarms(after[i].names, changed & before[i].word)) {
            changes.push_back({after[i].address, false, std::move(alarm)});
        }
    }
    known_[sirane] = now;
    updates_[sirane]++;
    return changes;
}

json alarm_board::raised() const
{
    json all = json::object();
    for (uint32_t sirane = 0; sirane < known_.size(); sirane++) {
        if (!known_[sirane]) {
            all[words_of_address(KELVANE_ADDRESS_SIRANE(sirane))] = nullptr;
            continue;
        }
        for (const alarm_word &it : words_of(sirane, *known_[sirane], kind_)) {
            for (json &alarm : json_of_alarms(it.names, it.word)) {
                all[words_of_address(it.address)].push_back(std::move(alarm));
            }
        }
    }
    return all;
}
