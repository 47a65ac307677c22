#include "kelvanectl/session/session.h"

#include <algorithm>

namespace {

constexpr std::string_view SERVICE_METHODS[] = {"rpc.discover", "service_status", "subscribe"};

} // namespace

json problem_of(const question &question)
{
    const json address = question.parameters.value("address", json());
    const operation *const found = operation_of_name(question.method);
    if (found == nullptr) {
        return std::ranges::count(SERVICE_METHODS, question.method) != 0
                   ? json()
                   : error_of({RPC_NO_METHOD, "there is no such operation; `kelvanectl methods` lists them"},
                              question.method.c_str(), address);
    }
    json parameters = question.parameters;
    parameters.erase("timeout_ms"); // the service's
    request request;
    const outcome checked = request_of(*found, parameters, &request);
    return checked.code == 0 ? json() : error_of(checked, found->name, address);
}

answer session::ask(const std::string &method, const json &parameters, int image)
{
    const question question = {method, parameters};
    const json problem = problem_of(question);
    return problem.is_null() ? put({question}, image)[0] : answer{{}, problem};
}

std::vector<answer> session::ask_all(const std::vector<question> &questions)
{
    std::vector<answer> answers;
    for (const question &it : questions) {
        const json problem = problem_of(it);
        if (!problem.is_null()) {
            return std::vector<answer>(questions.size(), answer{{}, problem});
        }
    }
    return put(questions, -1);
}
