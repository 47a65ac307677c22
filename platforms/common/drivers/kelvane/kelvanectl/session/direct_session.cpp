#include "control/card_owner.h"
#include "kelvanectl/session/session.h"

answer direct_session::put_one(const question &question, int image)
{
    const json address = question.parameters.value("address", json());
    const operation *const found = operation_of_name(question.method);
    if (found == nullptr) {
        return {{},
                error_of({RPC_NO_METHOD, "only the service has it, not --direct"}, question.method.c_str(),
                         address)};
    }
    request request;
    outcome done = request_of(*found, question.parameters, &request);
    if (done.code == 0 && !has_card_) {
        done.problem = take_direct_card(kind_);
        has_card_ = done.problem.empty();
        if (!has_card_) {
            done.code = RPC_NO_CARD;
        }
    }
    if (done.code == 0) {
        done = run_request(request, image, kind_);
    }
    json error = done.code != 0 ? error_of(done, found->name, address) : json();
    if (done.code == RPC_NO_CARD) {
        error["data"]["advice"] = "it has to be there, and nobody's; leave --direct out when a service runs";
    }
    return {done.result, error, done.file};
}

std::vector<answer> direct_session::put(const std::vector<question> &questions, int image)
{
    std::vector<answer> answers;
    for (const question &it : questions) {
        answers.push_back(put_one(it, image));
        if (!has_card_) {
            return std::vector<answer>(questions.size(), answers.back());
        }
    }
    return answers;
}
