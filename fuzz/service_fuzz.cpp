// What the service makes of lines of any bytes, in pieces as a socket brings them: each is answered by one
// line of JSON, with the id that was sent. No card is asked: what one would have said are the same bytes.
//
// The first byte of an input is the length of its pieces, the second what the library returns.
#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "fuzz.h"
#include "kelvaned/line_reader.h"
#include "kelvaned/rpc.h"

namespace {

constexpr uint8_t MANY_BLANKS = 0xFF; // in no text. It stands for them, so that short inputs have long lines
constexpr size_t MANY = 16 * 1024;
constexpr int MANY_MOST = 6;

struct fuzz_service {
    std::string_view said;
    std::string_view unread; // of that
    std::string_view card;
    uint8_t code;
};

std::string said_by(const uint8_t *data, size_t size)
{
    std::string all;
    int times = 0;
    std::for_each(data, data + size, [&](uint8_t byte) {
        const bool is_many = byte == MANY_BLANKS && times++ < MANY_MOST;
        all.append(is_many ? MANY : 1, is_many ? ' ' : static_cast<char>(byte));
    });
    return all;
}

// The next line that is not blank, as whoever sent it wrote it.
std::string_view next_line(fuzz_service &it)
{
    std::string_view line;
    do {
        must(it.unread.find('\n') != it.unread.npos, "a line that nobody sent", "line_reader");
        line = it.unread.substr(0, it.unread.find('\n'));
        it.unread.remove_prefix(line.size() + 1);
    } while (line.size() <= 65536 && line.find_first_not_of(" \t\r") == line.npos);
    return line;
}

json id_in(const std::string &line)
{
    int depth = 0;
    const auto look = [&](int before, json::parse_event_t what, json &) {
        using event = json::parse_event_t;
        depth = std::max(depth, before + (what == event::object_start || what == event::array_start ? 1 : 0));
        return true;
    };
    const json message = json::parse(line, look, false);
    const json id = message.is_object() && depth <= 16 ? message.value("id", json()) : json();
    return id.is_string() || id.is_number() ? id : json();
}

outcome outcome_on(const fuzz_service &it, const rpc_call &asked)
{
    const operation *const operation = operation_of_name(asked.method);
    if (operation == nullptr) {
        return {RPC_NO_METHOD, "there is no method " + asked.method};
    }
    request request;
    const outcome wrong = request_of(*operation, asked.parameters, &request);
    if (wrong.code != 0 || operation->out.file != nullptr) {
        return wrong;
    }
    it.card.copy(request.call.record, sizeof request.call.record);
    memcpy(request.call.words, request.call.record, sizeof request.call.words);
    return outcome_of(request, it.code < 0x80 ? 0 : 64000 + it.code, host_kind::otn);
}

void answer_line(fuzz_service &it, const std::string &line, bool is_too_long)
{
    const std::string_view sent = next_line(it);
    must(is_too_long == (sent.size() > 65536), "a line that is too long, or is not", "line_reader");
    must(is_too_long || line == sent, "a line that was not sent like that", "line_reader");
    rpc_call asked;
    outcome done = is_too_long ? outcome{RPC_NO_REQUEST, "a long line"} : rpc_call_of(line, &asked);
    done = done.code == 0 ? outcome_on(it, asked) : done;
    const json address = asked.parameters.is_object() ? asked.parameters.value("address", json()) : json();
    const std::string told = rpc_answer(asked.id, done, asked.method.c_str(), address);
    must(told.find('\n') == told.size() - 1, "an answer that is not one line", "rpc_answer");
    const json answer = json::parse(told, nullptr, false);
    must(answer.is_object() && answer["jsonrpc"] == "2.0", "an answer that is none", "rpc_answer");
    must(answer["id"] == (is_too_long ? json() : id_in(line)), "an id that was not sent", "rpc_answer");
    must(answer.contains("result") != answer.contains("error"), "a result and an error", "rpc_answer");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz_input input = {data, data + size};
    const size_t piece = 1 + input.byte();
    const uint8_t code = input.byte();
    const std::string said = said_by(input.next, static_cast<size_t>(input.end - input.next));
    fuzz_service it = {said, said, said, code};
    line_reader reader;
    for (size_t at = 0; at < said.size(); at += piece) {
        reader.feed(it.said.substr(at, piece),
                    [&it](const std::string &line, bool is_too_long) { answer_line(it, line, is_too_long); });
    }
    const size_t end = it.unread.rfind('\n');
    must(end == it.unread.npos || it.unread.substr(0, end).find_first_not_of(" \t\r\n") == it.unread.npos,
         "a line that was passed over", "line_reader");
    return 0;
}
