#include "control/record_json.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

namespace {

constexpr std::string_view NAME_PREFIX_END = "__"; // of "IS_PRESENT__HOST_PCS_ALARMS__TX_HOST_LOA"

template <typename type> type load(const void *bytes, size_t index)
{
    type value;
    memcpy(&value, static_cast<const char *>(bytes) + index * sizeof value, sizeof value);
    return value;
}

json scaled(const field &it, double number)
{
    return it.scale == 1 ? json(number) : json(std::round(number * it.scale * 1000) / 1000);
}

json json_of_signed(const field &it, int32_t number)
{
    if (it.may_lack && number == -1) {
        return nullptr;
    }
    if (it.words != nullptr) {
        return json_of_value(it.words, static_cast<uint32_t>(number));
    }
    return it.scale == 1 ? json(number) : scaled(it, number);
}

// With the digits that tell the number apart from its neighbours, and no more.
json json_of_float(float number)
{
    char digits[64];
    const auto [end, error] = std::to_chars(digits, std::end(digits), number);
    return std::isfinite(number) && error == std::errc() ? json::parse(digits, end) : json(nullptr);
}

json json_of_element(const field &it, const void *bytes, size_t index)
{
    switch (it.type) {
    case field_type::u16:
        return load<uint16_t>(bytes, index);
    case field_type::u32:
        return json_of_value(it.words, load<uint32_t>(bytes, index));
    case field_type::i32:
        return json_of_signed(it, load<int32_t>(bytes, index));
    case field_type::u64:
        return load<uint64_t>(bytes, index);
    case field_type::f32:
        return json_of_float(load<float>(bytes, index));
    case field_type::alarms:
        return json_of_alarms(it.bits, load<uint32_t>(bytes, index));
    case field_type::record:
        return json_of_record(*it.of, static_cast<const char *>(bytes) + index * it.of->size);
    case field_type::text:
        break;
    }
    return json_of_text(static_cast<const char *>(bytes), it.count);
}

} // namespace

std::string name_of_field(const field &field)
{
    return std::string(field.name) + field.unit;
}

std::string_view name_of_alarm(const kelvane_alarm_name &alarm)
{
    const std::string_view name = alarm.name;
    const size_t prefix = name.rfind(NAME_PREFIX_END);
    return prefix == name.npos ? name : name.substr(prefix + NAME_PREFIX_END.size());
}

json json_of_record(const record_fields &record, const void *bytes)
{
    json all = json::object();
    for (const field &it : record.fields) {
        const void *const at = static_cast<const char *>(bytes) + it.offset;
        json &value = all[name_of_field(it)];
        if (it.count == 1 || it.type == field_type::text) {
            value = json_of_element(it, at, 0);
            continue;
        }
        value = json::array();
        for (size_t index = 0; index < it.count; index++) {
            value.push_back(json_of_element(it, at, index));
        }
    }
    return all;
}

json json_of_alarms(std::span<const kelvane_alarm_name> bits, uint32_t word)
{
    json raised = json::array();
    for (uint32_t bit = 32; bit-- > 0;) {
        if ((word >> bit & 1) == 0) {
            continue;
        }
        const auto named = std::ranges::find(bits, bit, &kelvane_alarm_name::bit);
        raised.push_back(named != bits.end() ? json(name_of_alarm(*named)) : json(bit));
    }
    return raised;
}

json json_of_value(const value_words *words, uint32_t value)
{
    if (words == &SWITCH && value <= 1) {
        return value == 1;
    }
    const char *const word = words != nullptr ? word_of_value(*words, value) : nullptr;
    return word != nullptr ? json(word) : json(value);
}

json json_of_text(const char *text, size_t bytes_max)
{
    const std::string raw(text, strnlen(text, bytes_max));
    const std::string quoted = json(raw).dump(-1, ' ', false, json::error_handler_t::replace);
    return json::parse(quoted);
}
