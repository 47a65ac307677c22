#include "control/card_owner.h"
#include "kelvanectl/session.h"

answer direct_session::ask(const std::string &method, const json &parameters, int image)
{
    const json address = parameters.value("address", json());
    const operation *const found = operation_of_name(method);
    if (found == nullptr) {
        return {{}, error_of({RPC_NO_METHOD, "there is no operation " + method}, method.c_str(), address)};
    }
    request request;
    outcome done = request_of(*found, parameters, &request);
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
    if (done.code != 0) {
        return {{}, error_of(done, found->name, address)};
    }
    return {done.result, nullptr, done.file};
}
