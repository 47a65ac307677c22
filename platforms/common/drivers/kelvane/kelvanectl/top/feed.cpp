#include "kelvanectl/top/feed.h"

#include "control/address.h"
#include "kelvanectl/text/output.h"

namespace {

constexpr int MESSAGES_AT_ONCE = 256;

} // namespace

json feed::ask(const std::string &method, const std::string &address)
{
    question question = {method, json::object()};
    if (!address.empty()) {
        question.parameters["address"] = address;
    }
    int64_t id = 0;
    const json problem = service_.begin(question, &id);
    asked_[id] = question;
    return problem.is_null() ? problem : lose(problem);
}

json feed::lose(const json &problem)
{
    service_.disconnect();
    asked_.clear();
    begins_again_ = false;
    to_.lose(in_words(member_of(problem, "message")));
    return problem;
}

json feed::begin()
{
    if (to_.link == service_link::lost) {
        to_.link = service_link::asked;
        to_.link_since = std::chrono::steady_clock::now();
    }
    return ask("subscribe");
}

void feed::begin_again()
{
    begins_again_ = !asked_.empty();
    if (!begins_again_) {
        begin();
    }
}

// An older service that tells nothing of the modules is asked for that as well.
void feed::ask_for_the_rest()
{
    json problem = ask("service_status");
    for (const std::string &address : all_address_words()) {
        const bool is_module = address.starts_with("module/") && !tells_of_modules_;
        for (const char *const method : {"get_global_pm", "is_xpm2_present", "get_laser"}) {
            const bool is_pm = method[4] == 'g';
            if (problem.is_null() && (is_pm ? address.starts_with("sirane/") : is_module)) {
                problem = ask(method, address);
            }
        }
    }
}

bool feed::take()
{
    for (int i = 0; i < MESSAGES_AT_ONCE && service_.descriptor() >= 0; i++) {
        json message;
        const json problem = service_.take_message(&message);
        const json &event = member_of(message, "params");
        const json &type = member_of(event, "type");
        if (!problem.is_null()) {
            lose(problem);
        } else if (message.is_null()) {
            return false;
        } else if (!message.contains("method")) {
            take_answer(message);
        } else {
            to_.take_event(event);
            const bool may_be_of_a_module = type == "finished" || type == "plugin";
            if (type == "events_lost" || (type == "state" && to_.state == "up") ||
                (may_be_of_a_module && !tells_of_modules_)) {
                begin_again();
            }
        }
    }
    return service_.descriptor() >= 0;
}

void feed::take_answer(const json &message)
{
    const json &id = member_of(message, "id");
    const json &error = member_of(message, "error");
    const auto found = id.is_number_integer() ? asked_.find(id.get<int64_t>()) : asked_.end();
    const question asked = found != asked_.end() ? found->second : question();
    if (!error.is_null() && (asked.method.empty() || asked.method == "subscribe")) {
        lose(error);
    } else if (!asked.method.empty()) {
        asked_.erase(found);
        take_result(asked, error.is_null() ? member_of(message, "result") : json());
        if (asked_.empty() && begins_again_) {
            begin_again();
        }
    }
}

// Null for what could not be read, which is shown as not known.
void feed::take_result(const question &asked, const json &result)
{
    const std::string address = in_words(member_of(asked.parameters, "address"));
    if (asked.method == "subscribe") {
        tells_of_modules_ = member_of(result, "modules").is_object();
        to_.take_snapshot(result);
        ask_for_the_rest();
    } else if (asked.method == "service_status") {
        to_.firmware = in_words(member_of(result, "firmware"));
    } else if (asked.method == "get_global_pm") {
        to_.take_measurements(address, result);
    } else {
        const char *const member = asked.method == "get_laser" ? "laser" : "is_present";
        to_.take_module(address, {{member, member_of(result, member)}});
    }
}
