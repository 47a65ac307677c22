#include "kelvaned/alarm_board.h"

#include <cstring>

#include "control/address.h"

std::vector<alarm_word> alarm_words(uint32_t sirane, const global_alarms &alarms, host_kind kind)
{
    std::vector<alarm_word> words;
    for (const field &it : global_alarms_fields(kind).fields) {
        for (uint32_t i = 0; i < it.count; i++) {
            uint32_t word = 0;
            memcpy(&word, reinterpret_cast<const char *>(&alarms) + it.offset + i * sizeof word, sizeof word);
            words.push_back({device_of_element(it, sirane, i), word, it.bits});
        }
    }
    return words;
}

std::vector<alarm_change> alarm_board::update(uint32_t sirane, const global_alarms &now)
{
    const std::vector<alarm_word> before =
        alarm_words(sirane, known_[sirane].value_or(global_alarms{}), kind_);
    const std::vector<alarm_word> after = alarm_words(sirane, now, kind_);
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
        for (const alarm_word &it : alarm_words(sirane, *known_[sirane], kind_)) {
            for (json &alarm : json_of_alarms(it.names, it.word)) {
                all[words_of_address(it.address)].push_back(std::move(alarm));
            }
        }
    }
    return all;
}
