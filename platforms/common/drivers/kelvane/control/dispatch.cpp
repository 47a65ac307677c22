#include "control/dispatch.h"

#include <algorithm>
#include <cmath>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "control/address.h"
#include "control/staged_image.h"
#include "platform/host_tree.h"

namespace {

constexpr const char *KIND_NAMES[] = {"", "a device", "a sirane", "a module's port", "a host port"};
constexpr size_t DIGEST_DIGITS = 32;

outcome wrong(std::string problem)
{
    return {RPC_BAD_PARAMETERS, std::move(problem)};
}

std::string in_quotes(const json &given)
{
    return given.dump(-1, ' ', false, json::error_handler_t::replace);
}

// Empty when it is taken.
std::string take_address(const operation &operation, const json &parameters, request *out)
{
    const auto given = parameters.find("address");
    out->has_address = operation.address != address_kind::none;
    if (!out->has_address) {
        return given == parameters.end() ? "" : std::string(operation.name) + " takes no address";
    }
    if (given == parameters.end() || !given->is_string()) {
        return std::string(operation.name) + " needs an address, such as module/0 or sirane/1";
    }
    if (!address_of_words(given->get<std::string>(), &out->call.address)) {
        return in_quotes(*given) + " is no address: board, sirane/0 to sirane/2, module/0 to module/5, "
                                   "host/0.0 to host/2.3, or a "
                                   "number such as 0xff01ffff";
    }
    return address_fits(operation.address, out->call.address)
               ? ""
               : std::string(operation.name) + " needs " + KIND_NAMES[static_cast<size_t>(operation.address)];
}

bool take_word(const parameter &it, int64_t number, argument *out)
{
    const bool is_signed = it.type == parameter_type::i32;
    out->word = static_cast<uint32_t>(number);
    return number >= (is_signed ? INT32_MIN : 0) && number <= (is_signed ? INT32_MAX : UINT32_MAX);
}

bool take_real(double number, argument *out)
{
    out->real = static_cast<float>(number);
    return std::isfinite(out->real);
}

bool take_argument(const parameter &it, const json &given, argument *out)
{
    const bool is_real = it.type == parameter_type::f32;
    if (given.is_string()) {
        const std::string text = given.get<std::string>();
        int64_t number = 0;
        double real = 0;
        return is_real ? real_of_text(text, &real) && take_real(real, out)
                       : value_of_word(it.words, text, &number) && take_word(it, number, out);
    }
    if (is_real) {
        return given.is_number() && take_real(given.get<double>(), out);
    }
    if (given.is_boolean() && it.words == &SWITCH) {
        return take_word(it, given.get<bool>() ? 1 : 0, out);
    }
    const bool is_huge = given.is_number_unsigned() && given.get<uint64_t>() > UINT32_MAX;
    return given.is_number_integer() && !is_huge && take_word(it, given.get<int64_t>(), out);
}

bool take_digest(const json &given, std::string *digest)
{
    *digest = given.is_string() ? given.get<std::string>() : "";
    return digest->size() == DIGEST_DIGITS && std::ranges::all_of(*digest, [](char it) {
               return (it >= '0' && it <= '9') || (it >= 'a' && it <= 'f') || (it >= 'A' && it <= 'F');
           });
}

std::string take_parameters(const operation &operation, const json &parameters, request *out)
{
    for (size_t i = 0; i < operation.in.size(); i++) {
        const parameter &it = operation.in[i];
        const auto given = parameters.find(it.name);
        if (given == parameters.end()) {
            if (it.may_lack) {
                continue;
            }
            return std::string(operation.name) + " needs " + it.name;
        }
        const bool is_taken = it.type == parameter_type::digest ? take_digest(*given, &out->digest)
                                                                : take_argument(it, *given, &out->call.in[i]);
        if (!is_taken) {
            return std::string(it.name) + " cannot be " + in_quotes(*given);
        }
    }
    for (const auto &[name, value] : parameters.items()) {
        const auto is_it = [&given = name](const parameter &it) { return given == it.name; };
        if (name != "address" && std::ranges::none_of(operation.in, is_it)) {
            return std::string(operation.name) + " takes no " + name;
        }
    }
    return "";
}

json json_of_output(const output &it, uint32_t word)
{
    if (!it.bits.empty()) {
        return json_of_alarms(it.bits, word);
    }
    return it.is_signed ? json(static_cast<int32_t>(word)) : json_of_value(it.words, word);
}

// An empty log leaves no file, and the one of an earlier copy must not pass for it.
void forget_file(const std::string &name)
{
    const int old = host_tree_open(("/root/" + name).c_str(), O_WRONLY | O_TRUNC | O_NOFOLLOW);
    if (old >= 0) {
        close(old);
    }
}

outcome with_file(const std::string &name)
{
    outcome done;
    struct stat status = {};
    done.file = host_tree_open(("/root/" + name).c_str(), O_RDONLY | O_NOFOLLOW);
    const bool is_there = done.file >= 0 && fstat(done.file, &status) == 0;
    done.result = {{"file", name}, {"bytes", is_there ? status.st_size : 0}};
    return done;
}

} // namespace

bool address_fits(address_kind kind, kelvane_device_address address)
{
    const bool is_board = KELVANE_IS_BOARD(address);
    const bool has_network = KELVANE_NETWORK_PORT_OF(address) != KELVANE_NO_FIELD;
    const bool has_host = KELVANE_HOST_PORT_OF(address) != KELVANE_NO_FIELD;
    switch (kind) {
    case address_kind::sirane:
        return !is_board && !has_network && !has_host;
    case address_kind::network_port:
        return !is_board && has_network;
    case address_kind::host_port:
        return !is_board && has_host;
    default:
        return true;
    }
}

outcome request_of(const operation &operation, const json &parameters, request *out)
{
    *out = request();
    out->what = &operation;
    std::string problem = parameters.is_object() ? take_address(operation, parameters, out)
                                                 : "the parameters are an object, by their names";
    if (problem.empty()) {
        problem = take_parameters(operation, parameters, out);
    }
    return problem.empty() ? outcome() : wrong(std::move(problem));
}

outcome run_request(request &request, int image, host_kind kind)
{
    if (!request.digest.empty()) {
        staged_image staged;
        const std::string problem = staged.copy(image, request.digest);
        if (!problem.empty()) {
            return wrong("the image " + problem);
        }
        request.call.image = staged.path();
        return outcome_of(request, request.what->run(request.call), kind);
    }
    if (request.what->out.file != nullptr) {
        forget_file(request.what->out.file(request.call.address));
    }
    return outcome_of(request, request.what->run(request.call), kind);
}

outcome outcome_of(const request &request, int32_t code, host_kind kind)
{
    const result_shape &shape = request.what->out;
    if (code != KELVANE_EOK) {
        return {static_cast<uint32_t>(code), ""};
    }
    if (shape.file != nullptr) {
        return with_file(shape.file(request.call.address));
    }
    outcome done;
    if (shape.record != nullptr) {
        done.result = json_of_record(shape.record(kind), request.call.record);
    }
    for (size_t i = 0; i < shape.words.size(); i++) {
        done.result[shape.words[i].name] = json_of_output(shape.words[i], request.call.words[i]);
    }
    return done;
}

std::string name_of_code(int64_t code)
{
    switch (code) {
    case RPC_NO_JSON:
        return "no JSON";
    case RPC_NO_REQUEST:
        return "no request";
    case RPC_NO_METHOD:
        return "no such method";
    case RPC_BAD_PARAMETERS:
        return "bad parameters";
    case RPC_INTERNAL:
        return "internal";
    case RPC_QUEUE_FULL:
        return "queue full";
    case RPC_TIMED_OUT:
        return "timed out";
    case RPC_NO_CARD:
        return "no card";
    case RPC_NO_RIGHT:
        return "no right";
    case RPC_LINKING:
        return "linking";
    default:
        break;
    }
    std::string name = kelvane_rc_to_string(static_cast<int32_t>(code)); // padded for the columns of a log
    name.erase(name.find_last_not_of(' ') + 1);
    name.erase(0, name.find_first_not_of(' '));
    return name;
}

json error_of(const outcome &failed, const char *operation, const json &address)
{
    const std::string name = name_of_code(failed.code);
    json data = {{"name", name}};
    if (operation != nullptr) {
        data["operation"] = operation;
    }
    if (!address.is_null()) {
        data["address"] = address;
    }
    data.update(failed.result);
    return {
        {"code", failed.code}, {"message", failed.problem.empty() ? name : failed.problem}, {"data", data}};
}
