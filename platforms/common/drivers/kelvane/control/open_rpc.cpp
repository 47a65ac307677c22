#include "control/open_rpc.h"

#include <limits>
#include <vector>

namespace {

json words_schema(const value_words &words)
{
    if (words.data() == SWITCH.data()) {
        return {{"type", "boolean"}};
    }
    json names = json::array();
    for (const value_word &it : words) {
        names.push_back(it.word);
    }
    return {{"anyOf", {{{"enum", names}}, {{"type", "integer"}}}}}; // a number where there is no word
}

json parameter_schema(const parameter &it)
{
    if (it.words != nullptr) {
        return words_schema(*it.words);
    }
    switch (it.type) {
    case parameter_type::f32:
        return {{"type", "number"}};
    case parameter_type::digest:
        return {{"type", "string"}, {"pattern", "^[0-9A-Fa-f]{32}$"}};
    case parameter_type::i32:
        return {{"type", "integer"}, {"minimum", INT32_MIN}, {"maximum", INT32_MAX}};
    case parameter_type::u32:
        break;
    }
    return {{"type", "integer"}, {"minimum", 0}, {"maximum", UINT32_MAX}};
}

json alarms_schema(std::span<const kelvane_alarm_name> bits)
{
    json names = json::array();
    for (const kelvane_alarm_name &it : bits) {
        names.push_back(name_of_alarm(it));
    }
    return {{"type", "array"}, {"items", {{"anyOf", {{{"enum", names}}, {{"type", "integer"}}}}}}};
}

json record_schema(const record_fields &record);

json element_schema(const field &it)
{
    if (it.words != nullptr) {
        return words_schema(*it.words);
    }
    switch (it.type) {
    case field_type::record:
        return record_schema(*it.of);
    case field_type::alarms:
        return alarms_schema(it.bits);
    case field_type::text:
        return {{"type", "string"}};
    case field_type::f32:
        return {{"type", {"number", "null"}}};
    default:
        break;
    }
    const char *const number = it.scale == 1 ? "integer" : "number";
    return {{"type", it.may_lack ? json{number, "null"} : json(number)}};
}

json record_schema(const record_fields &record)
{
    json properties = json::object();
    for (const field &it : record.fields) {
        const json element = element_schema(it);
        const bool is_array = it.count > 1 && it.type != field_type::text;
        properties[name_of_field(it)] =
            is_array
                ? json{{"type", "array"}, {"minItems", it.count}, {"maxItems", it.count}, {"items", element}}
                : element;
    }
    return {{"title", record.name}, {"type", "object"}, {"properties", properties}};
}

json result_schema(const result_shape &shape, host_kind kind)
{
    if (shape.record != nullptr) {
        return record_schema(shape.record(kind));
    }
    json properties = json::object();
    for (const output &it : shape.words) {
        properties[it.name] = !it.bits.empty()      ? alarms_schema(it.bits)
                              : it.words != nullptr ? words_schema(*it.words)
                                                    : json{{"type", "integer"}};
    }
    if (shape.file != nullptr) {
        properties = {{"file", {{"type", "string"}}}, {"bytes", {{"type", "integer"}}}};
    }
    return {{"type", "object"}, {"properties", properties}};
}

} // namespace

std::string library_version()
{
    return std::to_string(KELVANE_VERSION_MAJOR) + "." + std::to_string(KELVANE_VERSION_MINOR);
}

const char *word_of_effect(effect effect)
{
    constexpr const char *words[] = {"reads", "sets", "disturbs", "restarts", "copies"};
    return words[static_cast<size_t>(effect)];
}

json open_rpc_method(const operation &operation, host_kind kind)
{
    constexpr const char *addresses[] = {"", "any device", "sirane/N", "module/N", "host/N.P"};
    json parameters = json::array();
    if (operation.address != address_kind::none) {
        parameters.push_back({{"name", "address"},
                              {"summary", addresses[static_cast<size_t>(operation.address)]},
                              {"required", true},
                              {"schema", {{"type", "string"}}}});
    }
    for (const parameter &it : operation.in) {
        parameters.push_back(
            {{"name", it.name}, {"required", !it.may_lack}, {"schema", parameter_schema(it)}});
    }
    return {{"name", operation.name},
            {"summary", operation.sentence},
            {"x-effect", word_of_effect(operation.does)},
            {"paramStructure", "by-name"},
            {"params", parameters},
            {"result", {{"name", "result"}, {"schema", result_schema(operation.out, kind)}}}};
}

json open_rpc_document(host_kind kind, const json &own)
{
    json methods = own;
    for (const operation &it : all_operations()) {
        methods.push_back(open_rpc_method(it, kind));
    }
    return {{"openrpc", "1.2.6"},
            {"info", {{"title", "kelvane"}, {"version", library_version()}}},
            {"methods", methods}};
}
